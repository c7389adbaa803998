#include "image_facts.h"

namespace wbx::tool {

namespace {

// How many bytes a UTF-8 sequence has that begins with this byte; 0 if none does.
size_t sequenceLength(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first <= 0xDF) return 2;
  if (first >= 0xE0 && first <= 0xEF) return 3;
  if (first >= 0xF0 && first <= 0xF4) return 4;
  return 0;
}

// The second byte of a sequence has to stay clear of over-long forms, surrogates and what lies
// beyond the last character.
bool secondByteFits(unsigned char first, unsigned char second) {
  switch (first) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second <= 0x9F;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second <= 0x8F;
    default:
      return true;
  }
}

bool isUtf8(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const size_t length = sequenceLength(first);
    if (length == 0 || length > bytes.size() - i) return false;
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      if ((next & 0xC0) != 0x80 || (k == 1 && !secondByteFits(first, next))) return false;
    }
    // The control characters U+0080 to U+009F steer terminals too.
    if (first == 0xC2 && static_cast<unsigned char>(bytes[i + 1]) < 0xA0) return false;
    i += length;
  }
  return true;
}

// Latin-1 as UTF-8. The control characters of both halves are left out.
void appendLatin1(std::string& text, unsigned char c) {
  if (c < 0x20 || (c >= 0x7F && c < 0xA0)) {
    text += '?';
  } else if (c < 0x80) {
    text += static_cast<char>(c);
  } else {
    text += static_cast<char>(0xC0 | (c >> 6));
    text += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace

std::string printable(std::string_view bytes) {
  const bool utf8 = isUtf8(bytes);
  std::string text;
  for (const char byte : bytes) {
    const auto c = static_cast<unsigned char>(byte);
    if (utf8 && c >= 0x80) {
      text += byte;
    } else {
      appendLatin1(text, c);
    }
  }
  return text;
}

std::string readableText(const MetadataItem& item) {
  if (item.kind != WBX_META_TEXT && item.kind != WBX_META_URL) return {};
  std::string_view bytes = item.bytes();
  while (!bytes.empty() && bytes.back() == '\0') bytes.remove_suffix(1);
  return printable(bytes);
}

Outcome gatherFacts(const Image& image, ImageFacts& facts) {
  facts.info = image.info();
  facts.boxed = (facts.info.flags & WBX_INFO_JP2) != 0;
  facts.reversible = (facts.info.flags & WBX_INFO_REVERSIBLE) != 0;
  int32_t count = 0;
  int32_t code = WBX_GetResolutions(image.handle(), &count);
  for (int32_t level = 0; code == WBX_OK && level < count; ++level) {
    Size size;
    code = WBX_GetResolutionDimensions(image.handle(), level, &size.width, &size.height);
    facts.resolutions.push_back(size);
  }
  if (code != WBX_OK) return Outcome::library(image.name(), code);
  facts.metadata = listMetadata(image);
  return {};
}

}  // namespace wbx::tool
