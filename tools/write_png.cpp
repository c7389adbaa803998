#include <csetjmp>
#include <png.h>
#include <string>
#include <vector>

#include "writers.h"

namespace wbx::tool {

namespace {

// What the callbacks of libpng reach.
struct Sink {
  OutputFile* file;
  std::string error;
};

void onWrite(png_structp png, png_bytep data, size_t size) {
  // A failure is remembered by the file.
  static_cast<Sink*>(png_get_io_ptr(png))->file->write(data, size);
}

void onFlush(png_structp /*png*/) {}

void onError(png_structp png, png_const_charp message) {
  static_cast<Sink*>(png_get_error_ptr(png))->error = message;
  png_longjmp(png, 1);
}

// Warnings are about an ICC profile that libpng does not like and leaves out.
void onWarning(png_structp /*png*/, png_const_charp /*message*/) {}

int colourType(uint32_t components) {
  constexpr int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                            PNG_COLOR_TYPE_RGB_ALPHA};
  return kTypes[components - 1];
}

void setHeader(png_structp png, png_infop info, const Picture& picture, std::string_view profile) {
  const int depth = static_cast<int>(picture.bytesPerSample() * 8);
  png_set_IHDR(png, info, picture.width, picture.height, depth, colourType(picture.components),
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (picture.precision != static_cast<uint32_t>(depth)) {
    const png_byte bits = static_cast<png_byte>(picture.precision);
    const png_color_8 significant = {bits, bits, bits, bits, bits};
    png_set_sBIT(png, info, &significant);
  }
  if (!profile.empty()) {
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE,
                 reinterpret_cast<png_const_bytep>(profile.data()),
                 static_cast<png_uint_32>(profile.size()));
  }
}

// One row with samples scaled to the whole range of 8 or 16 bits, the high byte first. Shifting a
// scaled sample right gives the original back.
void scaleRow(const Picture& picture, uint32_t y, std::vector<uint8_t>& bytes) {
  const uint32_t from = picture.maxValue();
  const uint32_t to = picture.bytesPerSample() == 1 ? 255 : 65535;
  uint8_t* out = bytes.data();
  for (size_t i = 0; i < picture.samplesPerRow(); ++i) {
    const uint32_t scaled =
        static_cast<uint32_t>((uint64_t{picture.sample(y, i)} * to + from / 2) / from);
    if (to > 255) *out++ = static_cast<uint8_t>(scaled >> 8);
    *out++ = static_cast<uint8_t>(scaled);
  }
}

// libpng leaves this function by longjmp on an error, so nothing in it needs a destructor.
bool writeAll(png_structp png, png_infop info, const Picture& picture, std::string_view profile,
              std::vector<uint8_t>& row) {
  // NOLINTNEXTLINE(cert-err52-cpp): the only way that libpng has
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  setHeader(png, info, picture, profile);
  png_write_info(png, info);
  for (uint32_t y = 0; y < picture.height; ++y) {
    scaleRow(picture, y, row);
    png_write_row(png, row.data());
  }
  png_write_end(png, info);
  return true;
}

}  // namespace

Outcome writePng(const Picture& picture, std::string_view iccProfile, OutputFile& file) {
  Sink sink{&file, {}};
  std::vector<uint8_t> row(picture.samplesPerRow() * picture.bytesPerSample());
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink, onError, onWarning);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  bool written = false;
  if (info != nullptr) {
    png_set_benign_errors(png, 1);
    png_set_write_fn(png, &sink, onWrite, onFlush);
    written = writeAll(png, info, picture, iccProfile, row);
  }
  png_destroy_write_struct(&png, &info);
  if (written) return {};
  return Outcome::image(file.name() + ": " + (sink.error.empty() ? "no memory" : sink.error));
}

}  // namespace wbx::tool
