#include <algorithm>
#include <string_view>
#include <utility>

#include "byte_reader.h"
#include "file_facts.h"

namespace wbx::tool {

namespace {

constexpr size_t kMostTypes = 64;
// No real file has so many boxes; a hostile one shall not keep us busy.
constexpr size_t kMostBoxes = size_t{1} << 20;
constexpr size_t kMostColours = 16;
// The largest of the boxes that are read whole: a palette of 1024 entries and 255 columns.
constexpr size_t kMostPayload = size_t{1} << 21;

struct Box {
  std::string type;
  uint64_t payload = 0;  // where it begins
  uint64_t claimed = 0;  // where it says to end
  uint64_t end = 0;      // where it ends, in the box around it
  bool inImageHeader = false;
};

std::string_view fourth(ByteReader& reader, std::array<char, 4>& letters) {
  for (char& letter : letters) letter = static_cast<char>(reader.u8());
  return {letters.data(), letters.size()};
}

std::string fourLetters(ByteReader& reader) {
  std::array<char, 4> letters{};
  return std::string(fourth(reader, letters));
}

uint64_t saturatedSum(uint64_t a, uint64_t b) {
  return a + b < a ? UINT64_MAX : a + b;
}

class BoxWalk {
 public:
  BoxWalk(ByteSource& source, std::optional<CodestreamPlace>& codestream)
      : source_(source), codestream_(codestream) {}

  BoxFacts facts;

  void walk(uint64_t begin, uint64_t end, bool inImageHeader, int depth) {
    Box box;
    while (boxes_ < kMostBoxes && next(begin, end, box)) {
      ++boxes_;
      box.inImageHeader = inImageHeader;
      if (facts.types.size() < kMostTypes) facts.types.push_back(box.type);
      visit(box, depth);
      begin = box.end;
    }
  }

 private:
  // Reads the box header at `begin`. False at the end, and at what cannot be a box.
  bool next(uint64_t begin, uint64_t end, Box& box) {
    const std::vector<uint8_t> header = source_.read(begin, 16);
    ByteReader reader(header);
    uint64_t length = reader.u32();
    box.type = fourLetters(reader);
    box.payload = begin + 8;
    if (length == 1) {
      length = reader.u64();
      box.payload = begin + 16;
    } else if (length == 0) {
      length = end - begin;
    }
    if (!reader.good() || begin >= end || length < box.payload - begin) return false;
    box.claimed = saturatedSum(begin, length);
    box.end = std::min(box.claimed, end);
    if (box.claimed > source_.size()) {
      facts.cut = CutBox{box.type, box.claimed - source_.size()};
    }
    return box.payload <= box.end;
  }

  std::vector<uint8_t> payload(const Box& box, size_t most = kMostPayload) {
    return source_.read(box.payload,
                        static_cast<size_t>(std::min<uint64_t>(box.end - box.payload, most)));
  }

  void visit(const Box& box, int depth) {
    constexpr int kDeepest = 4;
    const bool holdsBoxes =
        box.type == "jp2h" || box.type == "jpch" || box.type == "jplh" || box.type == "cgrp";
    if (holdsBoxes && depth < kDeepest) {
      walk(box.payload, box.end, box.type == "jp2h", depth + 1);
    } else if (box.type == "jp2c" && !codestream_) {
      codestream_ = CodestreamPlace{box.payload, box.end};
    } else if (box.type == "ftyp") {
      readFileType(payload(box));
    } else if (box.type == "ihdr") {
      readImageHeader(payload(box));
    } else if (box.type == "bpcc" && facts.bitsPerComponent.empty()) {
      facts.bitsPerComponent = payload(box, 16384);
    } else if (box.type == "colr" && facts.colours.size() < kMostColours) {
      readColour(box);
    } else if (box.type == "pclr" && !facts.palette) {
      readPalette(payload(box));
    } else if (box.type == "cmap" && facts.mapping.empty()) {
      readMapping(payload(box));
    } else if (box.type == "cdef" && facts.channels.empty()) {
      readChannels(payload(box));
    }
  }

  void readFileType(const std::vector<uint8_t>& bytes) {
    ByteReader reader(bytes);
    const std::string brand = fourLetters(reader);
    if (facts.brand.empty()) facts.brand = brand;
    reader.u32();  // minor version
    while (reader.left() >= 4 && facts.compatible.size() < kMostTypes) {
      facts.compatible.push_back(fourLetters(reader));
    }
  }

  void readImageHeader(const std::vector<uint8_t>& bytes) {
    ByteReader reader(bytes);
    reader.skip(11);  // height, width, components and depth: SIZ has them too
    facts.compression = reader.u8();
    reader.u8();
    facts.intellectualProperty = reader.u8() != 0;
  }

  void readColour(const Box& box) {
    constexpr uint64_t kFixed = 3;
    const std::vector<uint8_t> bytes = payload(box, 32);
    ByteReader reader(bytes);
    ColourFacts colour;
    colour.method = reader.u8();
    reader.u16();  // precedence and approximation
    if (!reader.good()) return;
    colour.inImageHeader = box.inImageHeader;
    if (colour.method == static_cast<uint8_t>(ColourMethod::kEnumerated)) {
      colour.space = reader.u32();
    } else {
      colour.profileSize = box.end - box.payload - kFixed;
      reader.skip(16);  // to the colour space in the header of an ICC profile
      fourth(reader, colour.profileSpace);
    }
    facts.colours.push_back(colour);
  }

  void readPalette(const std::vector<uint8_t>& bytes) {
    ByteReader reader(bytes);
    Palette palette;
    palette.entries = reader.u16();
    const uint32_t columns = reader.u8();
    for (uint32_t i = 0; i < columns && reader.left() > 0; ++i) {
      const uint8_t depth = reader.u8();
      palette.columns.push_back({(depth & 0x7Fu) + 1, (depth & 0x80) != 0});
    }
    for (uint32_t i = 0; i < palette.entries && reader.good(); ++i) {
      for (const PaletteColumn& column : palette.columns) {
        const size_t size = (column.bits + 7) / 8;
        palette.values.push_back(size <= 8 ? reader.number(size) : 0);
        if (size > 8) reader.skip(size);
      }
    }
    if (!reader.good() || columns == 0) palette.values.clear();
    facts.palette = std::move(palette);
  }

  void readMapping(const std::vector<uint8_t>& bytes) {
    ByteReader reader(bytes);
    while (reader.left() >= 4) {
      ChannelMapping mapping;
      mapping.component = reader.u16();
      mapping.throughPalette = reader.u8() == 1;
      mapping.column = reader.u8();
      facts.mapping.push_back(mapping);
    }
  }

  void readChannels(const std::vector<uint8_t>& bytes) {
    ByteReader reader(bytes);
    const uint32_t count = reader.u16();
    for (uint32_t i = 0; i < count && reader.left() >= 6; ++i) {
      ChannelMeaning meaning;
      meaning.channel = reader.u16();
      meaning.type = reader.u16();
      meaning.association = reader.u16();
      facts.channels.push_back(meaning);
    }
  }

  ByteSource& source_;
  std::optional<CodestreamPlace>& codestream_;
  size_t boxes_ = 0;
};

}  // namespace

BoxFacts readBoxes(ByteSource& source, std::optional<CodestreamPlace>& codestream) {
  BoxWalk walk(source, codestream);
  walk.walk(0, source.size(), false, 0);
  return std::move(walk.facts);
}

}  // namespace wbx::tool
