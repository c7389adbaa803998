#include "session.h"

#include <algorithm>
#include <memory>
#include <string>

#include "engine/kernels.h"

namespace wbx::fuzz {

namespace {

// Larger pictures are left alone, so that an input that takes long is one that should not.
constexpr u64 kMaxPixels = 1u << 19;
constexpr u64 kMaxPictureBytes = 1u << 24;
constexpr u64 kMaxRepeatedPixels = 1u << 14;

class Digest {
 public:
  void add(const void* data, size_t size) {
    const auto* bytes = static_cast<const u8*>(data);
    for (size_t i = 0; i < size; ++i) value_ = (value_ ^ bytes[i]) * 0x100000001B3;
  }
  void add(u32 value) { add(&value, sizeof value); }
  [[nodiscard]] u64 value() const { return value_; }

 private:
  u64 value_ = 0xCBF29CE484222325;
};

void requireKnown(i32 code, Source source) {
  require(code >= WBX_OK && code <= WBX_ERROR_INTERNAL, "a code that is none of the table");
  require(code != WBX_ERROR_INTERNAL || source == Source::kFaulting, "a fault");
}

struct Picture {
  i32 code = WBX_OK;
  u32 size = 0, pitch = 0;
  const u8* bytes = nullptr;
};

// How a decode is asked for.
struct Request {
  std::string options;
  u32 pitch = 0;  // beyond that of the pixels; 0 for the default
  u8 fill = 0;
  bool internal = false;
};

class Session {
 public:
  Session(WBX_Handle image, Decisions& tail, Source source)
      : image_(image), tail_(tail), source_(source) {}

  Visit run() {
    askForInfo();
    walkMetadata();
    Visit seen;
    selectTiles();
    askForResolutions();
    seen.decodeCode = decode();
    if (seen.decodeCode == WBX_ERROR_INTERNAL) return seen;  // all that is left is to close
    walkMetadata();
    seen.digest = digest_.value();
    return seen;
  }

 private:
  void askForInfo() {
    u32 width, height, components;
    require(WBX_GetInfo(image_, &width, &height, &components) == WBX_OK, "GetInfo failed");
    require(WBX_GetInfo(image_, nullptr, nullptr, nullptr) == WBX_OK, "GetInfo failed");
    require(WBX_GetInfoEx(image_, &info_) == WBX_OK, "GetInfoEx failed");
    require(info_.width == width && info_.height == height && info_.components == components,
            "GetInfo and GetInfoEx disagree");
    require(components >= 1 && components <= 4, "number of components");
    require(info_.precision >= 1 && info_.precision <= 16, "precision");
    require(width >= 1 && width <= 65535 && height >= 1 && height <= 65535, "size");
    digest_.add(&info_, sizeof info_);
  }

  void walkMetadata() {
    i32 index = 0;
    for (;;) {
      u32 kind = 0, length = 0;
      const void* data = nullptr;
      require(WBX_GetMetaData(image_, &index, &kind, &data, &length) == WBX_OK, "GetMetaData");
      if (data == nullptr) break;
      digest_.add(kind);
      digest_.add(data, length);
      if (kind != WBX_META_UUID) {
        require(static_cast<const u8*>(data)[length] == 0, "no zero behind metadata");
      }
    }
  }

  void selectTiles() {
    const i32 tiles = static_cast<i32>(info_.tilesAcross * info_.tilesDown);
    const auto number = [&] {
      const i32 v = tail_.byte();
      return v < 250 ? std::min(v, tiles) : v == 250 ? tiles - 1 : v == 251 ? tiles / 2 : v - 256;
    };
    const i32 changes = tail_.below(4);
    for (i32 i = 0; i < changes; ++i) {
      const i32 first = number(), last = number();
      const i32 code = WBX_SelectTiles(image_, first, last, tail_.byte() & 3);
      require(code == WBX_OK || code == WBX_ERROR_TILE, "SelectTiles");
    }
  }

  void askForResolutions() {
    i32 count = 0;
    require(WBX_GetResolutions(image_, &count) == WBX_OK, "GetResolutions failed");
    require(count >= 1, "no resolution");
    digest_.add(static_cast<u32>(count));
    for (i32 level = -1; level <= std::min(count, 34); ++level) {
      u32 width, height;
      const i32 code = WBX_GetResolutionDimensions(image_, level, &width, &height);
      require(code == (level < count ? WBX_OK : WBX_ERROR_RESOLUTION), "code of a level");
      u32 sameWidth, sameHeight;
      const std::string text = "rl=" + std::to_string(level);
      require(
          WBX_GetResolutionDimensionsByStr(image_, text.c_str(), &sameWidth, &sameHeight) == code,
          "code of a level by text");
      require(width == sameWidth && height == sameHeight, "size of a level by text");
      digest_.add(width);
      digest_.add(height);
    }
  }

  Request makeRequest() {
    Request request;
    const auto add = [&](const std::string& option) {
      request.options += (request.options.empty() ? "" : ",") + option;
    };
    const u8 which = tail_.byte();
    const i32 number = tail_.byte();
    if (which & 1) add("rl=" + std::to_string(number % 8));
    if (which & 2) bpp_ = 1 + (number >> 3) % 12, add("bpp=" + std::to_string(bpp_));
    if (which & 4) add((number & 1) != 0 ? "co=RGB" : (number & 2) != 0 ? "co=0X0" : "co=BGRA");
    if (which & 8) add("mul_by_alpha");
    if (which & 16) add("bitmap");
    if (which & 32) add("video=" + std::to_string((number >> 1) & 3));
    if (which & 64) add("nomct");
    request.internal = (which & 128) != 0;
    const u8 shape = tail_.byte();
    request.pitch = (shape & 1) != 0 ? 2u * (shape >> 1) : 0;
    request.fill = tail_.byte();
    return request;
  }

  // Size and row bytes of the picture without decoding it; false when it is refused or too large.
  bool plan(const Request& request) {
    u32 width, height;
    if (WBX_GetResolutionDimensionsByStr(image_, request.options.c_str(), &width, &height) !=
        WBX_OK) {
      // The text asks for less than the smallest resolution; that one is decoded.
    }
    width_ = width;
    height_ = height;
    sampleBytes_ = info_.precision > 8 ? 2 : 1;
    const u64 packed = info_.components * sampleBytes_;
    pixelBytes_ = bpp_ != 0           ? static_cast<u64>(bpp_)
                  : !request.internal ? packed
                                      : (info_.components == 1 ? 1 : 4) * sampleBytes_;
    pixelBytes_ -= pixelBytes_ % sampleBytes_;
    return u64{width} * height <= kMaxPixels &&
           (pixelBytes_ * width + request.pitch + 1) * height <= kMaxPictureBytes;
  }

  Picture decodeInternal(const Request& request) {
    Picture picture;
    void* buffer = nullptr;
    picture.code =
        WBX_Decode(image_, &buffer, &picture.size, request.options.c_str(), &picture.pitch);
    picture.bytes = static_cast<const u8*>(buffer);
    return picture;
  }

  Picture decodeExternal(const Request& request, std::unique_ptr<u8[]>& storage) {
    Picture picture;
    if (request.pitch != 0)
      picture.pitch = (static_cast<u32>(pixelBytes_ * width_) + request.pitch + 1) & ~1u;
    const u64 row = picture.pitch != 0 ? picture.pitch : pixelBytes_ * width_;
    const size_t size = row * height_;
    storage = std::make_unique<u8[]>(size + (size == 0));
    std::memset(storage.get(), request.fill, size);
    picture.size = static_cast<u32>(size);
    void* buffer = storage.get();
    picture.code =
        WBX_Decode(image_, &buffer, &picture.size, request.options.c_str(), &picture.pitch);
    require(buffer == storage.get(), "the caller's buffer was changed");
    picture.bytes = storage.get();
    if (picture.code != WBX_ERROR_BPP && size != 0) requireGapsUntouched(picture, request.fill);
    return picture;
  }

  void requireGapsUntouched(const Picture& picture, u8 fill) const {
    require(picture.size == u64{picture.pitch} * height_, "size is not pitch times height");
    for (u64 y = 0; y < height_; ++y) {
      require(std::all_of(row(picture, y) + rowBytes(), row(picture, y + 1),
                          [fill](u8 v) { return v == fill; }),
              "bytes between the rows were written");
    }
  }

  [[nodiscard]] u64 rowBytes() const { return pixelBytes_ * width_; }
  [[nodiscard]] static const u8* row(const Picture& picture, u64 y) {
    return picture.bytes + y * picture.pitch;
  }

  void addPicture(const Picture& picture) {
    if (picture.code != WBX_OK) return;
    for (u64 y = 0; y < height_; ++y) digest_.add(row(picture, y), rowBytes());
  }

  [[nodiscard]] bool samePixels(const Picture& a, const Picture& b) const {
    for (u64 y = 0; y < height_; ++y) {
      if (std::memcmp(row(a, y), row(b, y), rowBytes()) != 0) return false;
    }
    return true;
  }

  i32 decode() {
    Request request = makeRequest();
    if (!plan(request)) return WBX_OK;
    std::unique_ptr<u8[]> storage;
    const Picture picture =
        request.internal ? decodeInternal(request) : decodeExternal(request, storage);
    requireKnown(picture.code, source_);
    addPicture(picture);
    if (source_ != Source::kReliable) return codeAfterFailure(picture.code, request);
    require(
        picture.code == WBX_OK || picture.code == WBX_ERROR_BPP || picture.code == WBX_ERROR_MEMORY,
        "decode of an open image failed");
    if (picture.code == WBX_OK && u64{width_} * height_ <= kMaxRepeatedPixels)
      decodeEveryWay(request, picture);
    return picture.code;
  }

  // The same picture comes out of every set of kernels, and of the other kind of buffer.
  void decodeEveryWay(Request request, const Picture& picture) {
    for (const Kernels* const* set = availableKernels(); *set != nullptr; ++set) {
      forceKernels(*set);
      const bool toInternal = request.internal || (bpp_ != 0 && request.fill == 0);
      std::unique_ptr<u8[]> storage;
      if (request.internal && bpp_ != 0) {
        request.fill = 0;
        requireSame(picture, decodeExternal(request, storage));
      } else {
        requireSame(picture,
                    toInternal ? decodeInternal(request) : decodeExternal(request, storage));
      }
    }
    forceKernels(nullptr);
  }

  void requireSame(const Picture& a, const Picture& b) const {
    require(b.code == WBX_OK, "a second decode failed");
    require(samePixels(a, b), "a second decode gave another picture");
  }

  // A source that failed once or was cancelled leaves a handle that can be used.
  i32 codeAfterFailure(i32 code, const Request& request) {
    if (code == WBX_OK || code == WBX_ERROR_BPP || code == WBX_ERROR_INTERNAL) return code;
    const i32 second = decodeInternal(request).code;
    requireKnown(second, source_);
    return second == WBX_ERROR_INTERNAL ? second : code;
  }

  WBX_Handle image_;
  Decisions& tail_;
  Source source_;
  WBX_ImageInfoEx info_ = {};
  i32 bpp_ = 0;
  u64 pixelBytes_ = 0, sampleBytes_ = 1;
  u32 width_ = 0, height_ = 0;
  Digest digest_;
};

}  // namespace

Visit visit(WBX_Handle image, Decisions& tail, Source source) {
  return Session(image, tail, source).run();
}

i32 codeOfFailedOpen(Source source) {
  const i32 code = WBX_getLastError();
  requireKnown(code, source);
  if (code == WBX_ERROR_INTERNAL) return code;
  const bool ofOpen = (code >= WBX_ERROR_MEMORY && code <= WBX_ERROR_READ) ||
                      (code >= WBX_ERROR_NOT_PART1 && code <= WBX_ERROR_BOX);
  require(ofOpen, "a code that no open gives");
  char text[128];  // more than any text has
  WBX_getErrorStrVB(code, text);
  require(std::strcmp(WBX_getLastErrorStr(), WBX_getErrorStr(code)) == 0, "text of the code");
  require(std::strcmp(text, WBX_getErrorStr(code)) == 0, "text of the code in a buffer");
  return code;
}

Visit visitMemory(const u8* file, size_t size, Decisions tail) {
  // A copy of its own, so that a read behind the end is seen.
  const auto copy = std::make_unique<u8[]>(size);
  std::copy_n(file, size, copy.get());
  const WBX_Handle image = WBX_OpenMemory(copy.get(), static_cast<i32>(size));
  Visit seen;
  if (image == nullptr) {
    seen.openCode = codeOfFailedOpen(Source::kReliable);
    return seen;
  }
  seen = visit(image, tail, Source::kReliable);
  require(WBX_Close(image) == WBX_OK, "Close failed");
  return seen;
}

}  // namespace wbx::fuzz
