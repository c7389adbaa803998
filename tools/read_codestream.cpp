#include <utility>

#include "byte_reader.h"
#include "file_facts.h"
#include "markers.h"

namespace wbx::tool {

namespace {

// More than all tile-parts of all tiles need; a hostile file shall not keep us busy.
constexpr uint64_t kMostSegments = uint64_t{1} << 25;

struct Segment {
  uint16_t marker = 0;
  std::vector<uint8_t> payload;
};

class CodestreamWalk {
 public:
  CodestreamWalk(ByteSource& source, CodestreamPlace place)
      : source_(source), at_(place.begin), end_(place.end) {}

  CodestreamFacts facts;

  // From SOC to the first SOT, where it stands then.
  bool readMainHeader() {
    if (takeMarker() != kSOC) return false;
    ++facts.markers[kSOC];
    Segment segment;
    while (nextMarker() != kSOT) {
      if (!takeSegment(segment)) return false;
      read(segment);
    }
    return true;
  }

  // Counts what is in the headers of all tile-parts, stepping over the packets.
  void walkTileParts() {
    while (nextMarker() == kSOT && walkTilePart()) {
    }
    if (nextMarker() != kEOC) return;
    ++facts.markers[kEOC];
    facts.complete = true;
  }

 private:
  uint16_t nextMarker() {
    if (at_ >= end_) return 0;
    const std::vector<uint8_t> bytes = source_.read(at_, 2);
    return ByteReader(bytes).u16();
  }

  uint16_t takeMarker() {
    const uint16_t marker = nextMarker();
    at_ += 2;
    return marker;
  }

  // A marker, its length and what belongs to it. False for what is none, or is cut off.
  bool takeSegment(Segment& segment) {
    segment.marker = takeMarker();
    if (segment.marker < 0xFF01 || at_ >= end_ || ++segments_ > kMostSegments) return false;
    ++facts.markers[segment.marker];
    const std::vector<uint8_t> bytes = source_.read(at_, 2);
    const size_t length = ByteReader(bytes).u16();
    if (length < 2) return false;
    segment.payload = source_.read(at_ + 2, length - 2);
    at_ += length;
    return segment.payload.size() == length - 2 && at_ <= end_;
  }

  bool walkTilePart() {
    const uint64_t begin = at_;
    Segment segment;
    if (!takeSegment(segment)) return false;
    ByteReader reader(segment.payload);
    reader.u16();  // tile
    const uint64_t length = reader.u32();
    if (!reader.good()) return false;
    ++facts.tileParts;
    while (nextMarker() != kSOD) {
      if (!takeSegment(segment)) return false;
    }
    ++facts.markers[kSOD];
    at_ += 2;
    // Without a length it runs to the EOC at the end.
    const uint64_t end = length != 0 ? begin + length : end_ - 2;
    if (end < at_ || end > end_) return false;
    at_ = end;
    return true;
  }

  void read(const Segment& segment) {
    ByteReader reader(segment.payload);
    switch (segment.marker) {
      case kSIZ:
        if (!facts.size) readSize(reader);
        break;
      case kCOD:
        if (!facts.coding) readCoding(reader);
        break;
      case kCOC:
        readComponentCoding(reader);
        break;
      case kQCD:
        if (!facts.quantization) readQuantization(reader);
        break;
      default:
        break;
    }
  }

  void readSize(ByteReader& reader) {
    SizeFacts size;
    size.capabilities = reader.u16();
    size.image.x1 = reader.u32();
    size.image.y1 = reader.u32();
    size.image.x0 = reader.u32();
    size.image.y0 = reader.u32();
    const uint32_t tileWidth = reader.u32();
    const uint32_t tileHeight = reader.u32();
    size.firstTile.x0 = reader.u32();
    size.firstTile.y0 = reader.u32();
    size.firstTile.x1 = sumOrMost(size.firstTile.x0, tileWidth);
    size.firstTile.y1 = sumOrMost(size.firstTile.y0, tileHeight);
    const uint32_t count = reader.u16();
    if (!reader.good()) return;
    for (uint32_t i = 0; i < count && reader.left() >= 3; ++i) {
      const uint8_t depth = reader.u8();
      const uint32_t dx = reader.u8();
      size.components.push_back({(depth & 0x7Fu) + 1, (depth & 0x80) != 0, dx, reader.u8()});
    }
    facts.size = std::move(size);
  }

  static uint32_t sumOrMost(uint32_t a, uint32_t b) { return a + b < a ? UINT32_MAX : a + b; }

  void readCoding(ByteReader& reader) {
    CodingFacts coding;
    const uint8_t flags = reader.u8();
    coding.sop = (flags & 2) != 0;
    coding.eph = (flags & 4) != 0;
    coding.progression = reader.u8();
    coding.layers = reader.u16();
    coding.transform = reader.u8();
    coding.style = readStyle(reader, (flags & 1) != 0);
    if (reader.good()) facts.coding = std::move(coding);
  }

  void readComponentCoding(ByteReader& reader) {
    const bool wide = facts.size && facts.size->components.size() > 256;
    const uint32_t component = wide ? reader.u16() : reader.u8();
    const bool ownPrecincts = (reader.u8() & 1) != 0;
    StyleFacts style = readStyle(reader, ownPrecincts);
    if (reader.good()) facts.componentStyles.emplace(component, std::move(style));
  }

  static StyleFacts readStyle(ByteReader& reader, bool ownPrecincts) {
    StyleFacts style;
    style.levels = reader.u8();
    style.codeBlock.width = 1u << ((reader.u8() & 15) + 2);
    style.codeBlock.height = 1u << ((reader.u8() & 15) + 2);
    style.modes = reader.u8();
    style.wavelet = reader.u8();
    for (uint32_t i = 0; ownPrecincts && i <= style.levels && reader.left() > 0; ++i) {
      const uint8_t exponents = reader.u8();
      style.precincts.push_back({1u << (exponents & 15), 1u << (exponents >> 4)});
    }
    return style;
  }

  void readQuantization(ByteReader& reader) {
    const uint8_t style = reader.u8();
    if (!reader.good()) return;
    facts.quantization = QuantizationFacts{static_cast<uint8_t>(style & 31), uint32_t{style} >> 5};
  }

  ByteSource& source_;
  uint64_t at_;
  uint64_t end_;
  uint64_t segments_ = 0;
};

}  // namespace

CodestreamFacts readCodestream(ByteSource& source, CodestreamPlace place, Depth depth) {
  CodestreamWalk walk(source, place);
  if (walk.readMainHeader() && depth == Depth::kTileParts) walk.walkTileParts();
  return std::move(walk.facts);
}

}  // namespace wbx::tool
