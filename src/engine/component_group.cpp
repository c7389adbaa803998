#include "engine/component_group.h"

#include "wbx.h"

#include "engine/kernels.h"

namespace wbx {

i32 ComponentGroup::decode(WorkingArea& area) {
  if (!ensureArea(area)) return WBX_ERROR_MEMORY;
  context_.groupDecoder->clear();
  context_.groupDecoder->setPasses(kernels().groupPasses);
  code_ = decodeBlocks();
  if (code_ != WBX_OK) return code_;
  for (i32 y = 0; y < components_[0]->rows(); ++y) {
    for (i32 k = 0; k < count_; ++k)
      if (!components_[k]->writeRow(y)) return code_;
  }
  return WBX_OK;
}

bool ComponentGroup::ensureArea(WorkingArea& area) {
  const auto carve = [this](Carver carver) {
    for (i32 k = 0; k < count_; ++k) components_[k]->carve(carver);
    return carver.used();
  };
  const i64 bytes = carve(Carver(nullptr));
  for (i32 k = 0; k < count_; ++k)
    if (!components_[k]->ensure(area, bytes)) return false;
  (void)carve(Carver(area.memory()));
  return true;
}

i32 ComponentGroup::decodeBlocks() {
  for (i32 k = 0; k < count_; ++k)
    if (const i32 code = components_[k]->takeBlocks()) return code;
  return decodeTaken();
}

void ComponentGroup::refill() {
  if (stopped_) return;
  code_ = decodeBlocks();
  stopped_ = code_ != WBX_OK || context_.cancelled();
}

i32 ComponentGroup::decodeBlock(const BlockTask& task) {
  switch (context_.groupDecoder->take(task, *tile_.stream)) {
    case GroupDecoder::Taken::kYes:
      return context_.groupDecoder->isFull() ? decodeTaken() : i32{WBX_OK};
    case GroupDecoder::Taken::kOutOfMemory:
      return WBX_ERROR_MEMORY;
    case GroupDecoder::Taken::kNo:
      break;
  }
  const i32 code = context_.blockDecoder->decode(task, *tile_.stream);
  if (code == WBX_OK) transfer(*task.band, context_.blockDecoder->result());
  return code;
}

// Blocks that were taken before a cancel are decoded, as they are where there are no groups; only
// one that comes meanwhile stops between them.
i32 ComponentGroup::decodeTaken() {
  // A tile into which no packet brought anything has no stream either.
  if (context_.groupDecoder->isEmpty()) return WBX_OK;
  const bool cancelledBefore = context_.cancelled();
  return context_.groupDecoder->decodeAll(
      *context_.blockDecoder, *tile_.stream,
      [&] { return !cancelledBefore && context_.cancelled(); },
      [&](const BlockBand& band, const DecodedBlock& block) { transfer(band, block); });
}

void ComponentGroup::transfer(const BlockBand& band, const DecodedBlock& block) {
  components_[band.number / kBands]->transfer(band, block);
}

}  // namespace wbx
