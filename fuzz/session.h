// A visit to an image: all queries, the metadata, a selection of tiles and decodes.
#pragma once

#include "wbx.h"

#include "support.h"

namespace wbx::fuzz {

// What a visit saw. Equal for equal images, wherever their bytes come from.
struct Visit {
  i32 openCode = WBX_OK;
  i32 decodeCode = WBX_OK;
  u64 digest = 0;
  bool operator==(const Visit&) const = default;
};

// What a visit may expect of the source and of memory: that decodes succeed and give equal
// pictures, that they fail with a code, or that they end in a fault.
enum class Source { kReliable, kFailing, kFaulting };

// Visits an open image as the decisions say, tests what must hold whatever the image is, and
// leaves it open.
[[nodiscard]] Visit visit(WBX_Handle image, Decisions& tail, Source source);

// Opens from memory, visits and closes.
[[nodiscard]] Visit visitMemory(const u8* file, size_t size, Decisions tail);

// The code of a failed open, which must be a code that an open may give.
[[nodiscard]] i32 codeOfFailedOpen(Source source);

}  // namespace wbx::fuzz
