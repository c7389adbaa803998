#include "api/decoder.h"

#include <new>

#include "api/slave_list.h"
#include "base/memory.h"

namespace wbx {

Decoder* Decoder::create(Source source) {
  static_assert(alignof(Decoder) <= alignof(std::max_align_t));
  void* place = allocateMemory(sizeof(Decoder), false);
  return place == nullptr ? nullptr : new (place) Decoder(source);
}

void Decoder::destroy(Decoder* decoder) {
  decoder->~Decoder();
  freeMemory(decoder);
}

Decoder::Decoder(Source source) : stream(&customStream) {
  if (source == Source::kFile) stream = &fileStream;
  if (source == Source::kMemory) stream = &memoryStream;
}

i32 Decoder::readIndex() {
  const i32 code = index.parseHeaders(*stream, cancelled);
  decodeRegion = index.image.image;
  return code;
}

Decoder::~Decoder() {
  engine8.freeArea();
  engine16.freeArea();
  index.tileTable = {};
  outputPlan = {};
  stream->close();
  arena.freeAll();
  slaveList.release(this);
}

}  // namespace wbx
