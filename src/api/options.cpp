#include "api/options.h"

#include <cstring>

#include "wbx.h"

#include "base/logger.h"

namespace wbx {

namespace {

enum class Option { kBpp, kResLevel, kCompOrder, kMulByAlpha, kBitmap, kVideo, kSse, kNoMct };

struct Keyword {
  const char* text;
  Option option;
};

// The first match decides, so a form with "=" stands before the one without. One without is short
// for a value of 1.
constexpr Keyword kKeywords[] = {
    {"bpp=", Option::kBpp},
    {"rl=", Option::kResLevel},
    {"res_level=", Option::kResLevel},
    {"co=", Option::kCompOrder},
    {"comp_order=", Option::kCompOrder},
    {"mba=", Option::kMulByAlpha},
    {"mul_by_alpha=", Option::kMulByAlpha},
    {"mba", Option::kMulByAlpha},
    {"mul_by_alpha", Option::kMulByAlpha},
    {"bmp=", Option::kBitmap},
    {"bitmap=", Option::kBitmap},
    {"bmp", Option::kBitmap},
    {"bitmap", Option::kBitmap},
    {"video=", Option::kVideo},
    {"video", Option::kVideo},
    {"sse=", Option::kSse},
    {"nomct", Option::kNoMct},
};

char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool startsWith(const char* text, const char* keyword) {
  while (*keyword != '\0' && lowerCase(*text) == *keyword) ++text, ++keyword;
  return *keyword == '\0';
}

const Keyword* findKeyword(const char* text) {
  for (const Keyword& keyword : kKeywords) {
    if (startsWith(text, keyword.text)) return &keyword;
  }
  return nullptr;
}

const char* skipSpaces(const char* text) {
  while (*text == ' ') ++text;
  return text;
}

// Wraps when the number is too long.
i32 parseInteger(const char* text) {
  text = skipSpaces(text);
  const bool negative = *text == '-';
  if (negative) ++text;
  u32 value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) value = value * 10 + static_cast<u32>(*text - '0');
  return static_cast<i32>(negative ? 0 - value : value);
}

void parseOrder(char (&order)[5], const char* text) {
  std::memcpy(order, "0000", sizeof order);
  size_t length = 0;
  while (length < 4 && text[length] != '\0' && text[length] != ',') {
    order[length] = text[length];
    ++length;
  }
  order[length] = '\0';
}

const char* yesOrNo(i32 value) {
  return value != 0 ? "yes" : "no";
}

i32 valueAfter(const char* text, size_t keywordLength) {
  return text[keywordLength - 1] == '=' ? parseInteger(text + keywordLength) : 1;
}

void store(DecodeOptions& options, Option option, const char* text, i32 value) {
  switch (option) {
    case Option::kBpp:
      options.bpp = value;
      break;
    case Option::kResLevel:
      options.res_level = value;
      break;
    case Option::kCompOrder:
      parseOrder(options.comp_order, text);
      break;
    case Option::kMulByAlpha:
      options.mul_by_alpha = value != 0;
      break;
    case Option::kBitmap:
      options.bitmap = value != 0;
      break;
    case Option::kVideo:
      options.video = value;
      break;
    case Option::kNoMct:
      options.nomct = 1;
      break;
    case Option::kSse:
      break;
  }
}

void logOption(const DecodeOptions& options, Option option) {
  switch (option) {
    case Option::kBpp:
      logger.writeStamped(" Options: bpp=%d.", options.bpp);
      break;
    case Option::kResLevel:
      logger.writeStamped(" Options: res_level=%d.", options.res_level);
      break;
    case Option::kCompOrder:
      logger.writeStamped(" Options: comp_order=%s.", options.comp_order);
      break;
    case Option::kMulByAlpha:
      logger.writeStamped(" Options: mul_by_alpha=%s.", yesOrNo(options.mul_by_alpha));
      break;
    case Option::kBitmap:
      logger.writeStamped(" Options: bitmap=%s.", yesOrNo(options.bitmap));
      break;
    case Option::kVideo:
      logger.writeStamped(" Options: video=%s (%d).", yesOrNo(options.video), options.video);
      break;
    case Option::kNoMct:
      logger.writeStamped(" Options: noMCT=yes.");
      break;
    case Option::kSse:
      break;
  }
}

}  // namespace

i32 parseOptions(DecodeOptions& options, const char* text, bool keep, bool quiet) {
  if (!keep) options = {};
  if (text == nullptr || *text == '\0') return WBX_OK;

  while (text != nullptr) {
    while (*text == ' ' || *text == ',') ++text;
    if (*text == '\0') break;
    const Keyword* keyword = findKeyword(text);
    if (keyword == nullptr) return WBX_ERROR_OPTION;
    const size_t length = std::strlen(keyword->text);
    store(options, keyword->option, text + length, valueAfter(text, length));
    if (!quiet) logOption(options, keyword->option);
    text = std::strchr(text, ',');
  }
  if (options.comp_order[0] == 'R' && options.comp_order[1] == 'G') options.rgbOrder = 1;
  if (options.comp_order[0] == '\0') std::memcpy(options.comp_order, "BGR0", 5);
  return WBX_OK;
}

}  // namespace wbx
