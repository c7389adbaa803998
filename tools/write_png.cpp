#include <algorithm>
#include <csetjmp>
#include <png.h>
#include <vector>

#include "writers.h"

namespace wbx::tool {

namespace {

// Photographs: the average of left and upper neighbour costs the least time and space. Few levels
// compress better as they are.
int filterFor(const PictureShape& shape) {
  return shape.bits < 8 ? PNG_FILTER_NONE : PNG_FILTER_AVG;
}

// libpng leaves a function by longjmp on an error. So it is called from functions alone that need
// no destructor, each with a setjmp of its own.
class PngWriter : public PictureWriter {
 public:
  PngWriter(const PictureShape& shape, const PngSettings& settings, OutputFile& file)
      : shape_(shape), settings_(settings), file_(file) {
    if (isScaled()) {
      const uint32_t from = shape.maxValue();
      const uint32_t to = shape.bytesPerSample() == 1 ? 255 : 65535;
      // Shifting a scaled sample right gives the original back.
      for (uint32_t i = 0; i <= to; ++i) {
        const uint64_t sample = std::min(i, from);
        scaled_.push_back(static_cast<uint16_t>((sample * to + from / 2) / from));
      }
    }
    if (isScaled() || shape.bytesPerSample() == 2) bytes_.resize(shape.rowBytes());
  }
  ~PngWriter() override { png_destroy_write_struct(&png_, &info_); }

  Outcome begin() override {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
    return info_ != nullptr && writeHeader() ? Outcome{} : failure();
  }

  bool row(const uint8_t* samples) override { return writeRow(prepared(samples)); }

  Outcome end() override { return error_.empty() && writeEnd() ? Outcome{} : failure(); }

  bool holdsProfile() const override { return holdsProfile_; }

 private:
  static void onWrite(png_structp png, png_bytep data, size_t size) {
    // A failure is remembered by the file.
    static_cast<PngWriter*>(png_get_io_ptr(png))->file_.write(data, size);
  }
  static void onFlush(png_structp /*png*/) {}
  static void onError(png_structp png, png_const_charp message) {
    static_cast<PngWriter*>(png_get_error_ptr(png))->error_ = message;
    png_longjmp(png, 1);
  }
  // Warnings are about an ICC profile that libpng does not like and leaves out.
  static void onWarning(png_structp /*png*/, png_const_charp /*message*/) {}

  bool isScaled() const { return shape_.bits != 8 && shape_.bits != 16; }

  Outcome failure() const {
    return Outcome::image(file_.name() + ": " + (error_.empty() ? "no memory" : error_));
  }

  int colourType() const {
    constexpr int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                              PNG_COLOR_TYPE_RGB_ALPHA};
    return kTypes[shape_.samples - 1];
  }

  bool writeHeader() {
    // NOLINTNEXTLINE(cert-err52-cpp): the only way that libpng has
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_set_benign_errors(png_, 1);
    png_set_write_fn(png_, this, onWrite, onFlush);
    png_set_compression_level(png_, settings_.level);
    png_set_filter(png_, PNG_FILTER_TYPE_BASE, filterFor(shape_));
    const int depth = static_cast<int>(shape_.bytesPerSample() * 8);
    png_set_IHDR(png_, info_, shape_.width, shape_.height, depth, colourType(), PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (isScaled()) {
      const png_byte bits = static_cast<png_byte>(shape_.bits);
      const png_color_8 significant = {bits, bits, bits, bits, bits};
      png_set_sBIT(png_, info_, &significant);
    }
    if (!settings_.iccProfile.empty()) {
      png_set_iCCP(png_, info_, "ICC profile", PNG_COMPRESSION_TYPE_BASE,
                   reinterpret_cast<png_const_bytep>(settings_.iccProfile.data()),
                   static_cast<png_uint_32>(settings_.iccProfile.size()));
    }
    png_write_info(png_, info_);
    holdsProfile_ = png_get_valid(png_, info_, PNG_INFO_iCCP) != 0;
    return true;
  }

  bool writeRow(const uint8_t* bytes) {
    if (!error_.empty()) return false;
    // NOLINTNEXTLINE(cert-err52-cpp): the only way that libpng has
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_write_row(png_, bytes);
    return true;
  }

  bool writeEnd() {
    // NOLINTNEXTLINE(cert-err52-cpp): the only way that libpng has
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_write_end(png_, info_);
    return true;
  }

  // One row with samples scaled to the whole range of 8 or 16 bits, the high byte first.
  const uint8_t* prepared(const uint8_t* samples) {
    if (bytes_.empty()) return samples;
    const auto* words = reinterpret_cast<const uint16_t*>(samples);
    uint8_t* out = bytes_.data();
    for (size_t i = 0; i < shape_.samplesPerRow(); ++i) {
      const bool wide = shape_.bytesPerSample() == 2;
      const size_t sample = wide ? words[i] : samples[i];
      const uint16_t value = isScaled() ? scaled_[sample] : static_cast<uint16_t>(sample);
      if (wide) *out++ = static_cast<uint8_t>(value >> 8);
      *out++ = static_cast<uint8_t>(value);
    }
    return bytes_.data();
  }

  PictureShape shape_;
  PngSettings settings_;
  OutputFile& file_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::string error_;
  bool holdsProfile_ = false;
  std::vector<uint16_t> scaled_;
  std::vector<uint8_t> bytes_;
};

}  // namespace

std::unique_ptr<PictureWriter> makePngWriter(const PictureShape& shape, const PngSettings& settings,
                                             OutputFile& file) {
  return std::make_unique<PngWriter>(shape, settings, file);
}

}  // namespace wbx::tool
