#include "text.h"

#include <cstdio>

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
    i += length;
  }
  return true;
}

// U+0000 to U+001F and U+007F to U+009F.
bool isControl(unsigned c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

// Hands every character to `add`: its bytes in UTF-8, and whether it is a control character.
template <class Add>
void forEachCharacter(std::string_view bytes, const Add& add) {
  const bool utf8 = isUtf8(bytes);
  for (size_t i = 0; i < bytes.size();) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    if (first < 0x80) {
      add(bytes.substr(i, 1), isControl(first), first);
      ++i;
    } else if (utf8) {
      const size_t length = sequenceLength(first);
      const auto second = static_cast<unsigned char>(bytes[i + 1]);
      add(bytes.substr(i, length), first == 0xC2 && isControl(second), second);
      i += length;
    } else {
      const char pair[2] = {static_cast<char>(0xC0 | first >> 6),
                            static_cast<char>(0x80 | (first & 0x3F))};
      add(std::string_view(pair, 2), isControl(first), first);
      ++i;
    }
  }
}

}  // namespace

std::string printable(std::string_view bytes) {
  std::string text;
  forEachCharacter(bytes, [&](std::string_view character, bool control, unsigned) {
    if (control) {
      text += '?';
    } else {
      text += character;
    }
  });
  return text;
}

std::string jsonString(std::string_view bytes) {
  std::string text = "\"";
  forEachCharacter(bytes, [&](std::string_view character, bool control, unsigned code) {
    if (control) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", code & 0xFFFF);
      text += escape;
      return;
    }
    if (character == "\"" || character == "\\") text += '\\';
    text += character;
  });
  return text + '"';
}

}  // namespace wbx::tool
