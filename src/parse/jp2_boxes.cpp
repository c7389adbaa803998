// The boxes around the codestream (T.800 I), walked in one flat row.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "wbx.h"

#include "api/logger.h"
#include "parse/fields.h"
#include "parse/metadata.h"
#include "parse/text_preview.h"

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

i32 readOrFailed(const Stream& stream) {
  return stream.isGood() ? WBX_OK : WBX_ERROR_READ;
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

}  // namespace

i32 MetadataStore::parseJP2(Stream& stream) {
  logger.writeStamped(" Suspecting JP2...");
  i32 code = readSignature(stream);
  if (code != 0) return code;
  logger.writeMore(" Confirmed.");
  code = parseFileType(stream);
  if (code != 0) return code;
  logger.writeStamped(" Looking for 'jp2c'...");
  return walkToCodestream(stream);
}

i32 MetadataStore::parseFileType(Stream& stream) {
  const i32 code = readBoxHeader(stream);
  if (code != 0) return code;
  // A payload without room for the fixed fields wraps to a count that is refused as well.
  const u32 compatible = (static_cast<u32>(current_.length) - kFileTypeFixedSize) / kCompatibleSize;
  if (compatible > kMaxCompatible) return WBX_ERROR_CORRUPT;

  const u32 brand = takeU32(stream);
  static_cast<void>(takeU32(stream));  // minor version
  isJP2_ = brand == kBrandJP2;
  isJPX_ = brand == kBrandJPX;
  if (isJPX_)
    logger.writeStamped(
        " ATTENTION! The file is actually JPX! Some features may not be supported.");
  if (!isKnownBrand(brand)) return WBX_ERROR_NOT_PART1;
  return readCompatibility(stream, compatible) ? WBX_OK : WBX_ERROR_NOT_PART1;
}

i32 MetadataStore::walkToCodestream(Stream& stream) {
  bool colourRead = false;
  for (;;) {
    beginEntry();
    const i32 code = readBoxHeader(stream);
    if (code != 0) return code;
    if (!stream.isGood()) return WBX_ERROR_READ;
    switch (boxType()) {
      case fourCC("jp2c"):
        logger.writeStamped(" Found.");
        return 0;
      case fourCC("jp2h"):
        continue;  // its children follow as if they stood at the top level
      default:
        break;
    }
    const bool isColour = boxType() == fourCC("colr") && !colourRead;
    colourRead |= isColour;
    const WalkStep step = isColour ? WalkStep{parseColourSpec(stream), false} : parseBox(stream);
    if (step.code != 0 || step.ended) return step.code;
  }
}

i32 MetadataStore::parseTrailingBoxes(Stream& stream) {
  if ((!isJP2_ && !isJPX_) || stream.isEof()) return 0;
  for (;;) {
    beginEntry();
    const i32 code = readBoxHeader(stream);
    if (code != 0) return code;
    if (stream.isEof()) return 0;
    if (!stream.isGood()) return WBX_ERROR_READ;
    const WalkStep step = parseBox(stream);
    if (step.code != 0 || step.ended) return step.code;
  }
}

void MetadataStore::beginEntry() {
  current_.data = nullptr;
  current_.next = nullptr;
}

i32 MetadataStore::readBoxHeader(Stream& stream) {
  const u32 length = takeU32(stream);
  const u32 type = takeU32(stream);
  current_.length = static_cast<i32>(length);
  current_.kind = static_cast<i32>(type);
  if (stream.isEof()) return 0;
  if (logger.active()) {
    const auto letter = [type](int shift) { return static_cast<int>(type >> shift & 0xFF); };
    logger.writeStamped("[%c%c%c%c]: %u bytes", letter(24), letter(16), letter(8), letter(0),
                        length);
  }
  if (length == kLengthExtended) return WBX_ERROR_BOX;
  if (length != kLengthToEnd && length < kBoxHeaderSize) return WBX_ERROR_NOT_PART1;
  current_.length = static_cast<i32>(length - kBoxHeaderSize);
  return 0;
}

// The boxes that stand for the same on both sides of the codestream.
MetadataStore::WalkStep MetadataStore::parseBox(Stream& stream) {
  switch (boxType()) {
    case fourCC("cdef"):
      return {parseChannelDefinition(stream), false};
    case fourCC("pclr"):
      return {store(stream, kMetaPalette, current_.length), false};
    case fourCC("xml "):
      return {store(stream, kMetaXml, current_.length), false};
    case fourCC("url "):
      return {parseURL(stream), false};
    case fourCC("uuid"):
      return {parseUUID(stream), false};
    default:
      return stepOver(stream);
  }
}

MetadataStore::WalkStep MetadataStore::stepOver(Stream& stream) const {
  const u32 payload = static_cast<u32>(current_.length);
  const u32 length = payload + kBoxHeaderSize;
  if (payload == 0 || length == kLengthToEnd) return {WBX_OK, true};
  if (length >= kLengthLimit || !skipBytes(stream, payload)) return {WBX_ERROR_BOX, true};
  return {WBX_OK, false};
}

i32 MetadataStore::parseColourSpec(Stream& stream) {
  colourSpace_ = kColourNone;
  const u8 method = takeU8(stream);
  logger.writeStamped(" >> METHOD: %u", method);
  static_cast<void>(takeU16(stream));  // PREC and APPROX
  i32 code = 0;
  switch (method) {
    case kMethodEnumerated:
      readEnumeratedSpace(stream);
      break;
    case kMethodRestrictedIcc:
      colourSpace_ = kColourRestrictedIcc;
      logger.writeStamped(" >> CS: \"Restricted ICC Profile\"");
      code = store(stream, kMetaIcc, i64{current_.length} - 3);
      break;
    case kMethodIcc:
      colourSpace_ = kColourIcc;
      logger.writeStamped(" >> CS: \"ICC Profile\"");
      code = store(stream, kMetaIcc, i64{current_.length} - 3);
      break;
    default:
      return WBX_ERROR_NOT_PART1;
  }
  return code != 0 ? code : readOrFailed(stream);
}

void MetadataStore::readEnumeratedSpace(Stream& stream) {
  const u32 space = takeU32(stream);
  logger.writeStamped(" >> ENUM CS: %u", space);
  // 18 is a bi-level space in JPX, and in JP2 files an old number of YCC.
  colourSpace_ = space == kColourBilevel2 && !isJPX_ ? u32{kColourYcc} : space;
  logger.writeStamped(" >> CS: \"%s\"", colourName(colourSpace_));
}

i32 MetadataStore::parseChannelDefinition(Stream& stream) {
  stream.readU16(&channelCount_);
  logger.writeStamped(" >> Components: %u", channelCount_);
  for (u32 i = 0; i < channelCount_; ++i) {
    const u16 channel = takeU16(stream);
    const u16 type = takeU16(stream);
    const u16 association = takeU16(stream);
    logger.writeStamped(" >> cmp[%u]: type=%u, assoc=%u", channel, type, association);
    if (channel < std::size(channelDefinition_)) channelDefinition_[channel] = {type, association};
  }
  return 0;
}

i32 MetadataStore::parseURL(Stream& stream) {
  static_cast<void>(takeU32(stream));  // version and flags
  const i32 code = store(stream, kMetaUrl, i64{current_.length} - 4);
  if (code != 0) return code;
  logger.writeStamped(" URL: \"%.55s%s\"", previewText(current_.data), previewMark(current_.data));
  return readOrFailed(stream);
}

i32 MetadataStore::parseUUID(Stream& stream) {
  u8 uuid[kUuidSize];
  for (u8& byte : uuid) byte = takeU8(stream);
  const bool isGeoTiff = std::equal(std::begin(uuid), std::end(uuid), kGeoTiffUuid);
  logger.writeStamped("%s", isGeoTiff ? "  GeoTIFF" : "  Unknown");
  const i32 code = isGeoTiff ? store(stream, kMetaGeoTiff, i64{current_.length} - kUuidSize)
                             : storeUnknownUUID(stream, uuid);
  return code != 0 ? code : readOrFailed(stream);
}

// Kept whole, since only the UUID in front says what it is.
i32 MetadataStore::storeUnknownUUID(Stream& stream, const u8* uuid) {
  const i32 length = current_.length;
  auto* data = static_cast<u8*>(arena_.allocateZeroed(length));
  if (data == nullptr) return WBX_ERROR_MEMORY;
  if (length < kUuidSize) return WBX_ERROR_CORRUPT;
  std::memcpy(data, uuid, kUuidSize);
  stream.readBytes(data + kUuidSize, static_cast<u32>(length - kUuidSize));
  current_.kind = kMetaUuid;
  current_.data = data;
  return appendEntry() ? WBX_OK : WBX_ERROR_MEMORY;
}

}  // namespace wbx
