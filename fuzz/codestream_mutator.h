// A mutator that knows how JP2 files and codestreams are built, for the targets that open files.
#pragma once

#include <random>

#include "support.h"

namespace wbx::fuzz {

// A piece of a file. Lengths are not kept but worked out when the file is written, so that they
// are right however its pieces change.
struct Piece {
  enum class Kind {
    kBytes,     // as they stand
    kBox,       // code is the type; content in bytes or children
    kSegment,   // a marker with a length; code is the marker
    kMarker,    // a marker alone
    kTilePart,  // bytes are those of SOT behind its length; children up to the next tile-part
  };

  Kind kind = Kind::kBytes;
  u32 code = 0;
  bool toTheEnd = false;  // a length of 0 is written
  Bytes bytes;
  std::vector<Piece> children;
};

[[nodiscard]] std::vector<Piece> readFile(const u8* data, size_t size);
[[nodiscard]] Bytes writeFile(const std::vector<Piece>& pieces);

// Changes a few pieces and fields.
void mutateFile(std::vector<Piece>& pieces, std::mt19937& random);
// Puts pieces of another file into this one.
void mixFiles(std::vector<Piece>& pieces, const std::vector<Piece>& other, std::mt19937& random);

}  // namespace wbx::fuzz
