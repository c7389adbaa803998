#include "parse/jp2_boxes.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"
#include "parse/metadata_reader.h"

namespace wbx {

namespace {

constexpr u32 fourCC(const char (&name)[5]) {
  u32 word = 0;
  for (int i = 0; i < 4; ++i) word = word << 8 | static_cast<u8>(name[i]);
  return word;
}

// The signature box without its first two bytes, which were read as a marker.
constexpr u16 kSignatureLength = 0x000C;
constexpr u32 kSignatureType = 0x6A502020;
constexpr u32 kSignatureContents = 0x0D0A870A;

constexpr u32 kBrandJP2 = fourCC("jp2 ");
constexpr u32 kBrandJPX = fourCC("jpx ");
constexpr u32 kFileTypeFixedSize = 8;  // brand and minor version
constexpr u32 kCompatibleSize = 4;
constexpr u32 kMaxCompatible = 32;

constexpr u32 kBoxHeaderSize = 8;
constexpr u32 kLengthToEnd = 0;     // LBox of a box that runs to the end of the file
constexpr u32 kLengthExtended = 1;  // LBox of a box with its length in XLBox
constexpr u32 kLengthLimit = 1u << 31;

constexpr i32 kUuidSize = 16;
constexpr u8 kGeoTiffUuid[kUuidSize] = {0xB1, 0x4B, 0xF8, 0xBD, 0x08, 0x3D, 0x4B, 0x43,
                                        0xA5, 0xAE, 0x8C, 0xD7, 0xD5, 0xA6, 0xCE, 0x03};

enum ColourMethod : u8 { kMethodEnumerated = 1, kMethodRestrictedIcc = 2, kMethodIcc = 3 };

constexpr u32 kColourBilevel2 = 18;

struct ColourName {
  u32 value;
  const char* name;
};

constexpr ColourName kColourNames[] = {{0, "Bi-level"},
                                       {12, "CMYK"},
                                       {14, "Lab"},
                                       {16, "sRGB"},
                                       {17, "grayscale"},
                                       {kColourBilevel2, "Bi-level(2)"},
                                       {kColourYcc, "sRGB based YCC"}};

const char* colourName(u32 space) {
  const auto* found = std::find_if(std::begin(kColourNames), std::end(kColourNames),
                                   [space](const ColourName& c) { return c.value == space; });
  return found != std::end(kColourNames) ? found->name : "unknown";
}

bool isKnownBrand(u32 brand) {
  return brand == kBrandJP2 || brand == kBrandJPX;
}

// Reads all of them, so that the stream stands behind the box.
bool readCompatibility(Stream& stream, u32 count) {
  bool compatible = false;
  for (u32 i = 0; i < count; ++i) compatible |= isKnownBrand(takeU32(stream));
  return compatible;
}

i32 readSignature(Stream& stream) {
  const u16 length = takeU16(stream);
  const u32 type = takeU32(stream);
  const u32 contents = takeU32(stream);
  if (!stream.isGood()) return WBX_ERROR_READ;
  const bool matches =
      length == kSignatureLength && type == kSignatureType && contents == kSignatureContents;
  return matches ? WBX_OK : WBX_ERROR_NOT_PART1;
}

// A walk over boxes in one flat row. It holds the header of the box at hand.
class BoxWalk {
 public:
  BoxWalk(Stream& stream, MetadataStore& store) : stream_(stream), store_(store) {}

  [[nodiscard]] i32 parseFileType();
  [[nodiscard]] i32 walkToCodestream();
  [[nodiscard]] i32 walkToEnd();

 private:
  // How the walk goes on behind a box.
  struct Step {
    i32 code;
    bool ended;
  };

  [[nodiscard]] i32 readBoxHeader();
  [[nodiscard]] Step parseBox();
  [[nodiscard]] Step stepOver();
  [[nodiscard]] i32 parseColourSpec();
  void readEnumeratedSpace();
  [[nodiscard]] i32 storeProfile(ColourSpace space, const char* name);
  [[nodiscard]] i32 parseChannelDefinition();
  [[nodiscard]] i32 parseURL();
  [[nodiscard]] i32 parseUUID();
  [[nodiscard]] i32 storeUnknownUUID(const u8* uuid);
  [[nodiscard]] i32 store(MetadataKind kind, i32 fieldsRead);
  // The payload as a length to store: one of 2 gigabytes or more is negative and gets no memory.
  [[nodiscard]] i32 storable() const { return static_cast<i32>(payload_); }
  [[nodiscard]] i32 readOrFailed() const { return stream_.isGood() ? WBX_OK : WBX_ERROR_READ; }

  Stream& stream_;
  MetadataStore& store_;
  u32 type_ = 0;
  u32 payload_ = 0;  // bytes behind the header; it has wrapped for an LBox of 0
};

i32 BoxWalk::parseFileType() {
  const i32 code = readBoxHeader();
  if (code != 0) return code;
  // A payload without room for the fixed fields wraps to a count that is refused as well.
  const u32 compatible = (payload_ - kFileTypeFixedSize) / kCompatibleSize;
  if (compatible > kMaxCompatible) return WBX_ERROR_CORRUPT;

  const u32 brand = takeU32(stream_);
  static_cast<void>(takeU32(stream_));  // minor version
  store_.isJP2 = brand == kBrandJP2;
  store_.isJPX = brand == kBrandJPX;
  if (store_.isJPX)
    logger.writeStamped(
        " ATTENTION! The file is actually JPX! Some features may not be supported.");
  if (!isKnownBrand(brand)) return WBX_ERROR_NOT_PART1;
  return readCompatibility(stream_, compatible) ? WBX_OK : WBX_ERROR_NOT_PART1;
}

i32 BoxWalk::walkToCodestream() {
  bool colourRead = false;
  for (;;) {
    const i32 code = readBoxHeader();
    if (code != 0) return code;
    if (!stream_.isGood()) return WBX_ERROR_READ;
    switch (type_) {
      case fourCC("jp2c"):
        logger.writeStamped(" Found.");
        return 0;
      case fourCC("jp2h"):
        continue;  // its children follow as if they stood at the top level
      default:
        break;
    }
    const bool isColour = type_ == fourCC("colr") && !colourRead;
    colourRead |= isColour;
    const Step step = isColour ? Step{parseColourSpec(), false} : parseBox();
    if (step.code != 0 || step.ended) return step.code;
  }
}

i32 BoxWalk::walkToEnd() {
  for (;;) {
    const i32 code = readBoxHeader();
    if (code != 0) return code;
    if (stream_.isEof()) return 0;
    if (!stream_.isGood()) return WBX_ERROR_READ;
    const Step step = parseBox();
    if (step.code != 0 || step.ended) return step.code;
  }
}

i32 BoxWalk::readBoxHeader() {
  const u32 length = takeU32(stream_);
  type_ = takeU32(stream_);
  payload_ = length;
  if (stream_.isEof()) return 0;
  if (logger.active()) {
    const auto letter = [this](int shift) { return static_cast<int>(type_ >> shift & 0xFF); };
    logger.writeStamped("[%c%c%c%c]: %u bytes", letter(24), letter(16), letter(8), letter(0),
                        length);
  }
  if (length == kLengthExtended) return WBX_ERROR_BOX;
  if (length != kLengthToEnd && length < kBoxHeaderSize) return WBX_ERROR_NOT_PART1;
  payload_ = length - kBoxHeaderSize;
  return 0;
}

// The boxes that stand for the same on both sides of the codestream.
BoxWalk::Step BoxWalk::parseBox() {
  switch (type_) {
    case fourCC("cdef"):
      return {parseChannelDefinition(), false};
    case fourCC("pclr"):
      return {store(kMetaPalette, 0), false};
    case fourCC("xml "):
      return {store(kMetaXml, 0), false};
    case fourCC("url "):
      return {parseURL(), false};
    case fourCC("uuid"):
      return {parseUUID(), false};
    default:
      return stepOver();
  }
}

BoxWalk::Step BoxWalk::stepOver() {
  const u32 length = payload_ + kBoxHeaderSize;
  if (payload_ == 0 || length == kLengthToEnd) return {WBX_OK, true};
  if (length >= kLengthLimit || !skipBytes(stream_, payload_)) return {WBX_ERROR_BOX, true};
  return {WBX_OK, false};
}

i32 BoxWalk::parseColourSpec() {
  store_.colourSpace = kColourNone;
  const u8 method = takeU8(stream_);
  logger.writeStamped(" >> METHOD: %u", method);
  static_cast<void>(takeU16(stream_));  // PREC and APPROX
  i32 code = 0;
  switch (method) {
    case kMethodEnumerated:
      readEnumeratedSpace();
      break;
    case kMethodRestrictedIcc:
      code = storeProfile(kColourRestrictedIcc, "Restricted ICC Profile");
      break;
    case kMethodIcc:
      code = storeProfile(kColourIcc, "ICC Profile");
      break;
    default:
      return WBX_ERROR_NOT_PART1;
  }
  return code != 0 ? code : readOrFailed();
}

i32 BoxWalk::storeProfile(ColourSpace space, const char* name) {
  store_.colourSpace = space;
  logger.writeStamped(" >> CS: \"%s\"", name);
  return store(kMetaIcc, 3);
}

void BoxWalk::readEnumeratedSpace() {
  const u32 space = takeU32(stream_);
  logger.writeStamped(" >> ENUM CS: %u", space);
  // 18 is a bi-level space in JPX, and in JP2 files an old number of YCC.
  store_.colourSpace = space == kColourBilevel2 && !store_.isJPX ? u32{kColourYcc} : space;
  logger.writeStamped(" >> CS: \"%s\"", colourName(store_.colourSpace));
}

i32 BoxWalk::parseChannelDefinition() {
  stream_.readU16(&store_.channelCount);
  logger.writeStamped(" >> Components: %u", store_.channelCount);
  for (u32 i = 0; i < store_.channelCount; ++i) {
    const u16 channel = takeU16(stream_);
    const u16 type = takeU16(stream_);
    const u16 association = takeU16(stream_);
    logger.writeStamped(" >> cmp[%u]: type=%u, assoc=%u", channel, type, association);
    if (channel < std::size(store_.channelDefinition))
      store_.channelDefinition[channel] = {type, association};
  }
  return 0;
}

i32 BoxWalk::parseURL() {
  static_cast<void>(takeU32(stream_));  // version and flags
  u8* text = nullptr;
  const i32 code = storeEntry(stream_, store_, kMetaUrl, i64{storable()} - 4, &text);
  if (code != 0) return code;
  logger.writeStamped(" URL: \"%.55s%s\"", previewText(text), previewMark(text));
  return readOrFailed();
}

i32 BoxWalk::parseUUID() {
  u8 uuid[kUuidSize];
  for (u8& byte : uuid) byte = takeU8(stream_);
  const bool isGeoTiff = std::equal(std::begin(uuid), std::end(uuid), kGeoTiffUuid);
  logger.writeStamped("%s", isGeoTiff ? "  GeoTIFF" : "  Unknown");
  const i32 code = isGeoTiff ? store(kMetaGeoTiff, kUuidSize) : storeUnknownUUID(uuid);
  return code != 0 ? code : readOrFailed();
}

// Kept whole, since only the UUID in front says what it is.
i32 BoxWalk::storeUnknownUUID(const u8* uuid) {
  const i32 length = storable();
  u8* data = nullptr;
  const i32 code = makeRoom(stream_, store_, length, i64{length} - kUuidSize, &data);
  if (code != 0) return code;
  if (length < kUuidSize) return WBX_ERROR_CORRUPT;
  std::memcpy(data, uuid, kUuidSize);
  stream_.readBytes(data + kUuidSize, static_cast<u32>(length - kUuidSize));
  return store_.append(kMetaUuid, data, length) ? WBX_OK : WBX_ERROR_MEMORY;
}

// What is left of the payload behind the fields that were read.
i32 BoxWalk::store(MetadataKind kind, i32 fieldsRead) {
  u8* data = nullptr;
  return storeEntry(stream_, store_, kind, i64{storable()} - fieldsRead, &data);
}

}  // namespace

i32 parseJP2(Stream& stream, MetadataStore& store) {
  logger.writeStamped(" Suspecting JP2...");
  i32 code = readSignature(stream);
  if (code != 0) return code;
  logger.writeMore(" Confirmed.");
  BoxWalk walk(stream, store);
  code = walk.parseFileType();
  if (code != 0) return code;
  logger.writeStamped(" Looking for 'jp2c'...");
  return walk.walkToCodestream();
}

i32 parseTrailingBoxes(Stream& stream, MetadataStore& store) {
  if ((!store.isJP2 && !store.isJPX) || stream.isEof()) return 0;
  return BoxWalk(stream, store).walkToEnd();
}

}  // namespace wbx
