// BlockDecoder: the three coding passes over a code block (T.800 D).
#pragma once

#include "api/arena.h"
#include "api/types.h"
#include "stream/stream.h"
#include "tier2/tile.h"

namespace wbx {

class BlockDecoder {
 public:
  explicit BlockDecoder(Arena& arena) : arena_(&arena) {}

 private:
  Arena* arena_;
};

}  // namespace wbx
