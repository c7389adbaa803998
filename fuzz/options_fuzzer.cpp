// The option text: parsed alone, compared with a plain reading of it, and given to the functions
// that take it.
#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include "wbx.h"

#include "api/options.h"
#include "support.h"

namespace wbx::fuzz {

namespace {

// 9 by 5 pixels, 4 components, one tile of empty packets.
constexpr u8 kImage[] = {
    0xFF, 0x4F, 0xFF, 0x51, 0x00, 0x32, 0x00, 0x00, 0x00, 0x00, 0x00, 0x09, 0x00, 0x00,
    0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x09,
    0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04,
    0x07, 0x01, 0x01, 0x07, 0x01, 0x01, 0x07, 0x01, 0x01, 0x07, 0x01, 0x01,              //
    0xFF, 0x52, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x01, 0x01, 0x01, 0x04, 0x04, 0x00, 0x01,  //
    0xFF, 0x5C, 0x00, 0x07, 0x40, 0x40, 0x48, 0x48, 0x50,                                //
    0xFF, 0x90, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x16, 0x00, 0x01, 0xFF, 0x93,  //
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xD9};

std::string lowered(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

i32 integer(const std::string& text) {
  size_t at = text.find_first_not_of(' ');
  if (at == std::string::npos) return 0;
  const bool negative = text[at] == '-';
  if (negative) ++at;
  u32 value = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
    value = value * 10 + static_cast<u32>(text[at] - '0');
  return static_cast<i32>(negative ? 0 - value : value);
}

// One item, without the spaces in front of it. False for an unknown one.
bool readItem(const std::string& item, DecodeOptions& o) {
  const std::string low = lowered(item);
  const auto value = [&](const char* keyword, i32& out) {
    const std::string key = keyword;
    if (low.compare(0, key.size(), key) != 0) return false;
    out = key.back() == '=' ? integer(item.substr(key.size())) : 1;
    return true;
  };
  i32 v = 0;
  if (value("bpp=", v)) return o.bpp = v, true;
  if (value("rl=", v) || value("res_level=", v)) return o.res_level = v, true;
  if (value("co=", v) || value("comp_order=", v)) {
    const std::string order = item.substr(item.find('=') + 1, 4);
    std::memcpy(o.comp_order, "0000", 5);
    std::memcpy(o.comp_order, order.c_str(), order.size() + 1);
    return true;
  }
  if (value("mba=", v) || value("mul_by_alpha=", v) || value("mba", v) || value("mul_by_alpha", v))
    return o.mul_by_alpha = v != 0, true;
  if (value("bmp=", v) || value("bitmap=", v) || value("bmp", v) || value("bitmap", v))
    return o.bitmap = v != 0, true;
  if (value("video=", v) || value("video", v)) return o.video = v, true;
  if (value("sse=", v)) return true;
  if (value("nomct", v)) return o.nomct = 1, true;
  return false;
}

i32 readPlainly(const std::string& text, DecodeOptions& o) {
  if (text.empty()) return WBX_OK;
  size_t at = 0;
  for (;;) {
    at = text.find_first_not_of(" ,", at);
    if (at == std::string::npos) break;
    const size_t comma = std::min(text.find(',', at), text.size());
    if (!readItem(text.substr(at, comma - at), o)) return WBX_ERROR_OPTION;
    at = comma;
  }
  if (o.comp_order[0] == 'R' && o.comp_order[1] == 'G') o.rgbOrder = 1;
  if (o.comp_order[0] == '\0') std::memcpy(o.comp_order, "BGR0", 5);
  return WBX_OK;
}

bool same(const DecodeOptions& a, const DecodeOptions& b) {
  return std::memcmp(a.comp_order, b.comp_order, sizeof a.comp_order) == 0 && a.bpp == b.bpp &&
         a.res_level == b.res_level && a.rgbOrder == b.rgbOrder &&
         a.mul_by_alpha == b.mul_by_alpha && a.bitmap == b.bitmap && a.video == b.video &&
         a.nomct == b.nomct;
}

void compareParsers(const char* text) {
  DecodeOptions parsed, expected;
  const i32 code = parseOptions(parsed, text, false, false);
  require(code == readPlainly(text, expected), "code of the option text");
  require(same(parsed, expected), "options that were read");
  require(parseOptions(parsed, text, true, true) == code, "code of a second reading");
  require(readPlainly(text, expected) == code, "code of a second plain reading");
  require(same(parsed, expected), "options that were read on top");
}

void decodeWith(const char* text, u8 shape) {
  const WBX_Handle image = WBX_OpenMemory(kImage, sizeof kImage);
  require(image != nullptr, "the image does not open");
  u32 width = 0, height = 0;
  const i32 sizeCode = WBX_GetResolutionDimensionsByStr(image, text, &width, &height);
  require(sizeCode == WBX_OK || sizeCode == WBX_ERROR_RESOLUTION, "size by text");
  require(width >= 1 && width <= 9 && height >= 1 && height <= 5, "size at a level");

  constexpr u32 kRoom = 4096;
  const auto storage = std::make_unique<u8[]>(kRoom);
  void* buffer = (shape & 1) != 0 ? storage.get() : nullptr;
  u32 size = kRoom - shape, pitch = shape & 0x70;
  const i32 code = WBX_Decode(image, &buffer, &size, text, &pitch);
  require(code == WBX_OK || code == WBX_ERROR_OPTION || code == WBX_ERROR_BPP ||
              code == WBX_ERROR_MEMORY || code == WBX_ERROR_BUFFER_SIZE,
          "code of a decode");
  if (code == WBX_OK) {
    require(size == pitch * height, "size is not pitch times height");
    require(buffer != nullptr, "no picture");
  }
  require(WBX_Close(image) == WBX_OK, "Close failed");
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  if (size == 0) return -1;
  // Just as long as the text, so that a read behind its zero is seen.
  const size_t length = size - 1;
  const auto text = std::make_unique<char[]>(length + 1);
  std::memcpy(text.get(), data, length);
  text[length] = '\0';
  wbx::fuzz::compareParsers(text.get());
  wbx::fuzz::decodeWith(text.get(), data[length]);
  return 0;
}
