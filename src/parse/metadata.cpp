// The boxes of a JP2 file (T.800 I.5), walked flat, and comments (T.800 A.9.2).
#include "parse/metadata.h"

#include <algorithm>
#include <cstring>

#include "wbx.h"

#include "api/logger.h"
#include "parse/stream_fields.h"

namespace wbx {
namespace {

constexpr u32 boxType(const char (&name)[5]) {
  u32 type = 0;
  for (int i = 0; i < 4; ++i) type = (type << 8) | static_cast<u8>(name[i]);
  return type;
}

constexpr u32 kBrandJp2 = boxType("jp2 ");
constexpr u32 kBrandJpx = boxType("jpx ");

constexpr u8 kGeoTiffUuid[16] = {0xB1, 0x4B, 0xF8, 0xBD, 0x08, 0x3D, 0x4B, 0x43,
                                 0xA5, 0xAE, 0x8C, 0xD7, 0xD5, 0xA6, 0xCE, 0x03};

constexpr u32 kBoxHeader = 8;
// A stepped-over box of this length would wrap the stream's 32-bit position.
constexpr u32 kBoxLimit = 0x80000000;

// Text for the log: what of it is shown, and the dots behind a longer one.
constexpr size_t kShownText = 55;
const char* dots(const u8* text) {
  return std::strlen(reinterpret_cast<const char*>(text)) > kShownText ? "..." : "";
}

const char* colourSpaceName(u32 space) {
  switch (space) {
    case 0:
      return "Bi-level";
    case 12:
      return "CMYK";
    case 14:
      return "Lab";
    case 16:
      return "sRGB";
    case 17:
      return "grayscale";
    case 18:
      return "Bi-level(2)";
    case kColourYcc:
      return "sRGB based YCC";
    case kColourRestrictedIcc:
      return "Restricted ICC Profile";
    case kColourIcc:
      return "ICC Profile";
    default:
      return "unknown";
  }
}

}  // namespace

i32 MetadataStore::readBoxHeader(Stream& stream) {
  const u32 length = readU32(stream);
  const u32 type = readU32(stream);
  current_.length = static_cast<i32>(length);
  current_.kind = static_cast<i32>(type);
  if (stream.isEof()) return WBX_OK;  // the caller finds out from the stream
  logger.writeStamped("[%c%c%c%c]: %u bytes", static_cast<int>(type >> 24),
                      static_cast<int>((type >> 16) & 0xFF), static_cast<int>((type >> 8) & 0xFF),
                      static_cast<int>(type & 0xFF), length);
  if (length == 1) return WBX_ERROR_BOX;
  if (length >= 2 && length <= 7) return WBX_ERROR_NOT_PART1;
  current_.length = static_cast<i32>(length - kBoxHeader);
  return WBX_OK;
}

i32 MetadataStore::parseJP2(Stream& stream) {
  logger.writeStamped(" Suspecting JP2...");
  const u16 restOfLength = readU16(stream);
  const u32 type = readU32(stream);
  const u32 contents = readU32(stream);
  if (!stream.isGood()) return WBX_ERROR_READ;
  if (restOfLength != 0x000C || type != 0x6A502020 || contents != 0x0D0A870A)
    return WBX_ERROR_NOT_PART1;
  logger.writeMore(" Confirmed.");
  if (const i32 code = parseFileType(stream); code != WBX_OK) return code;

  logger.writeStamped(" Looking for 'jp2c'...");
  bool colourSeen = false;
  for (;;) {
    current_.data = nullptr;
    current_.next = nullptr;
    if (const i32 code = readBoxHeader(stream); code != WBX_OK) return code;
    if (!stream.isGood()) return WBX_ERROR_READ;
    const auto box = static_cast<u32>(current_.kind);
    if (box == boxType("jp2c")) {
      logger.writeStamped(" Found.");
      return WBX_OK;
    }
    if (box == boxType("jp2h")) continue;  // its children are walked as if they stood here
    i32 code = WBX_OK;
    if (box == boxType("colr") && !colourSeen) {
      colourSeen = true;
      code = parseColourSpec(stream);
    } else {
      bool ends = false;
      code = parseCommonBox(stream, box, &ends);
      if (ends) return code;
    }
    if (code != WBX_OK) return code;
  }
}

// The file type box; its own type is not looked at.
i32 MetadataStore::parseFileType(Stream& stream) {
  constexpr u32 kMostEntries = 32;
  if (const i32 code = readBoxHeader(stream); code != WBX_OK) return code;
  const u32 entries = (static_cast<u32>(current_.length) - 8) / 4;
  if (entries > kMostEntries) return WBX_ERROR_CORRUPT;
  const u32 brand = readU32(stream);
  static_cast<void>(readU32(stream));  // minor version
  isJP2_ = brand == kBrandJp2;
  isJPX_ = brand == kBrandJpx;
  if (isJPX_) {
    logger.writeStamped(
        " ATTENTION! The file is actually JPX! Some features may not be supported.");
  }
  if (!isJP2_ && !isJPX_) return WBX_ERROR_NOT_PART1;
  bool compatible = false;
  for (u32 i = 0; i < entries; ++i) {
    const u32 entry = readU32(stream);
    compatible = compatible || entry == kBrandJp2 || entry == kBrandJpx;
  }
  return compatible ? WBX_OK : WBX_ERROR_NOT_PART1;
}

i32 MetadataStore::parseTrailingBoxes(Stream& stream) {
  if ((!isJP2_ && !isJPX_) || stream.isEof()) return WBX_OK;
  for (;;) {
    current_.data = nullptr;
    current_.next = nullptr;
    if (const i32 code = readBoxHeader(stream); code != WBX_OK) return code;
    if (stream.isEof()) return WBX_OK;
    if (!stream.isGood()) return WBX_ERROR_READ;
    bool ends = false;
    const i32 code = parseCommonBox(stream, static_cast<u32>(current_.kind), &ends);
    if (code != WBX_OK || ends) return code;
  }
}

// The boxes that mean the same before and behind the codestream; any other one is stepped over.
// `ends` is set when an empty one ends the walk.
i32 MetadataStore::parseCommonBox(Stream& stream, u32 box, bool* ends) {
  switch (box) {
    case boxType("cdef"):
      return parseChannelDefinition(stream);
    case boxType("pclr"):
      return store(stream, kMetaPalette, current_.length);
    case boxType("xml "):
      return store(stream, kMetaXml, current_.length);
    case boxType("url "):
      return parseURL(stream);
    case boxType("uuid"):
      return parseUUID(stream);
    default:
      // A last box that runs to the end of the file has a length of 0, and so -8 here.
      if (current_.length == 0 || current_.length == -static_cast<i32>(kBoxHeader)) {
        *ends = true;
        return WBX_OK;
      }
      if (static_cast<u32>(current_.length) + kBoxHeader >= kBoxLimit) return WBX_ERROR_BOX;
      stepOver(stream, static_cast<u32>(current_.length));
      return WBX_OK;
  }
}

i32 MetadataStore::parseColourSpec(Stream& stream) {
  colourSpace_ = kColourNone;
  const u8 method = readU8(stream);
  logger.writeStamped(" >> METHOD: %u", unsigned{method});
  static_cast<void>(readU16(stream));  // PREC and APPROX
  if (method == 1) {
    const u32 enumerated = readU32(stream);
    logger.writeStamped(" >> ENUM CS: %u", enumerated);
    colourSpace_ = enumerated == 18 && !isJPX_ ? u32{kColourYcc} : enumerated;
    logger.writeStamped(" >> CS: \"%s\"", colourSpaceName(colourSpace_));
  } else if (method == 2 || method == 3) {
    colourSpace_ = method == 2 ? kColourRestrictedIcc : kColourIcc;
    logger.writeStamped(" >> CS: \"%s\"", colourSpaceName(colourSpace_));
    if (const i32 code = store(stream, kMetaIcc, current_.length - 3); code != WBX_OK) return code;
  } else {
    return WBX_ERROR_NOT_PART1;
  }
  return stream.isGood() ? WBX_OK : WBX_ERROR_READ;
}

i32 MetadataStore::parseChannelDefinition(Stream& stream) {
  channelCount_ = readU16(stream);
  logger.writeStamped(" >> Components: %u", unsigned{channelCount_});
  for (u32 i = 0; i < channelCount_; ++i) {
    const u16 channel = readU16(stream);
    const u16 type = readU16(stream);
    const u16 association = readU16(stream);
    logger.writeStamped(" >> cmp[%u]: type=%u, assoc=%u", unsigned{channel}, unsigned{type},
                        unsigned{association});
    if (channel < 4) channelDefinition_[channel] = {type, association};
  }
  return WBX_OK;
}

i32 MetadataStore::parseURL(Stream& stream) {
  static_cast<void>(readU32(stream));  // version and flags
  if (const i32 code = store(stream, kMetaUrl, current_.length - 4); code != WBX_OK) return code;
  logger.writeStamped(" URL: \"%.55s%s\"", reinterpret_cast<const char*>(current_.data),
                      dots(current_.data));
  return stream.isGood() ? WBX_OK : WBX_ERROR_READ;
}

i32 MetadataStore::parseUUID(Stream& stream) {
  constexpr i32 kUuidBytes = 16;
  u8 uuid[kUuidBytes];
  for (u8& byte : uuid) byte = readU8(stream);
  i32 code;
  if (std::equal(uuid, uuid + kUuidBytes, kGeoTiffUuid)) {
    logger.writeStamped("  GeoTIFF");
    code = store(stream, kMetaGeoTiff, current_.length - kUuidBytes);
  } else {
    logger.writeStamped("  Unknown");
    const i32 length = current_.length;
    if (length >= 1 && length < kUuidBytes) return WBX_ERROR_CORRUPT;
    if (!allocateEntry(kMetaUuid, length, length)) return WBX_ERROR_MEMORY;
    std::copy_n(uuid, kUuidBytes, current_.data);
    fillEntry(stream, current_.data + kUuidBytes, length - kUuidBytes);
    code = appendEntry() ? WBX_OK : WBX_ERROR_MEMORY;
  }
  if (code != WBX_OK) return code;
  return stream.isGood() ? WBX_OK : WBX_ERROR_READ;
}

i32 MetadataStore::parseCOM(Stream& stream, i32 payloadLength) {
  const u16 registration = readU16(stream);
  const i32 kind = registration == 0 ? kMetaBinary : kMetaText;
  if (const i32 code = store(stream, kind, payloadLength - 2); code != WBX_OK) return code;
  logger.writeStamped(" Type=\"%s\", data=\"%.55s%s\"",
                      kind == kMetaBinary ? "Binary" : "Text, ISO 8859-1 (latin-1)",
                      reinterpret_cast<const char*>(current_.data), dots(current_.data));
  return WBX_OK;
}

i32 MetadataStore::store(Stream& stream, i32 kind, i32 length) {
  return readEntryData(stream, kind, length) && appendEntry() ? WBX_OK : WBX_ERROR_MEMORY;
}

bool MetadataStore::readEntryData(Stream& stream, i32 kind, i32 length) {
  if (!allocateEntry(kind, length, i64{length} + 1)) return false;
  fillEntry(stream, current_.data, length);
  current_.data[length] = 0;
  return true;
}

bool MetadataStore::allocateEntry(i32 kind, i32 length, i64 bytes) {
  current_.kind = kind;
  current_.length = length;
  current_.data = static_cast<u8*>(arena_.allocate(bytes));
  return current_.data != nullptr;
}

// Bytes that the source does not have are 0.
void MetadataStore::fillEntry(Stream& stream, u8* to, i32 length) {
  if (length == 0) return;
  const i32 delivered = std::clamp(stream.readBytes(to, static_cast<u32>(length)), 0, length);
  std::memset(to + delivered, 0, static_cast<size_t>(length - delivered));
}

bool MetadataStore::appendEntry() {
  auto* entry = arena_.allocateArray<MetadataEntry>(1);
  if (entry == nullptr) return false;
  *entry = current_;
  entry->next = nullptr;
  (tail_ ? tail_->next : head_) = entry;
  tail_ = entry;
  return true;
}

}  // namespace wbx
