#include "api/decoder.h"

#include <new>

#include "api/memory.h"
#include "api/slave_list.h"

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

Decoder::~Decoder() {
  engine8.freePlane();
  engine16.freePlane();
  tileTable = {};
  outputPlan = {};
  stream->close();
  arena.freeAll();
  slaveList.release(this);
}

}  // namespace wbx
