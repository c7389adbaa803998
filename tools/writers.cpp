#include "writers.h"

#include <vector>

namespace wbx::tool {

namespace {

// The bytes of the library's buffer.
class RawWriter : public PictureWriter {
 public:
  RawWriter(const PictureShape& shape, OutputFile& file)
      : rowBytes_(shape.rowBytes()), file_(file) {}

  Outcome begin() override { return {}; }
  bool row(const uint8_t* bytes) override { return file_.write(bytes, rowBytes_); }
  Outcome end() override { return {}; }

 private:
  size_t rowBytes_;
  OutputFile& file_;
};

// The formats of the PNM family: a header in letters, then the samples, words with the high byte
// first.
class PnmWriter : public PictureWriter {
 public:
  PnmWriter(const PictureShape& shape, std::string header, OutputFile& file)
      : shape_(shape), header_(std::move(header)), file_(file) {
    if (shape.bytesPerSample() == 2) bytes_.resize(shape.rowBytes());
  }

  Outcome begin() override {
    file_.write(header_.data(), header_.size());
    return {};
  }

  bool row(const uint8_t* samples) override {
    if (bytes_.empty()) return file_.write(samples, shape_.rowBytes());
    const auto* words = reinterpret_cast<const uint16_t*>(samples);
    for (size_t i = 0; i < shape_.samplesPerRow(); ++i) {
      bytes_[2 * i] = static_cast<uint8_t>(words[i] >> 8);
      bytes_[2 * i + 1] = static_cast<uint8_t>(words[i]);
    }
    return file_.write(bytes_.data(), bytes_.size());
  }

  Outcome end() override { return {}; }

 private:
  PictureShape shape_;
  std::string header_;
  OutputFile& file_;
  std::vector<uint8_t> bytes_;
};

std::string pnmHeader(const PictureShape& shape) {
  return std::string(shape.samples == 1 ? "P5\n" : "P6\n") + std::to_string(shape.width) + " " +
         std::to_string(shape.height) + "\n" + std::to_string(shape.maxValue()) + "\n";
}

std::string pamHeader(const PictureShape& shape) {
  constexpr const char* kTypes[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
  return "P7\nWIDTH " + std::to_string(shape.width) + "\nHEIGHT " + std::to_string(shape.height) +
         "\nDEPTH " + std::to_string(shape.samples) + "\nMAXVAL " +
         std::to_string(shape.maxValue()) + "\nTUPLTYPE " + kTypes[shape.samples - 1] +
         "\nENDHDR\n";
}

}  // namespace

Outcome checkFormat(Format format, const PictureShape& shape, const std::string& imageName) {
  const bool grey = shape.samples == 1;
  const bool colour = shape.samples == 3;
  const bool fits = (format == Format::kPgm && grey) || (format == Format::kPpm && colour) ||
                    (format == Format::kPnm && (grey || colour)) || format == Format::kPng ||
                    format == Format::kPam || format == Format::kRaw;
  if (fits) return {};
  const char* holds = format == Format::kPgm   ? "PGM holds 1 component"
                      : format == Format::kPpm ? "PPM holds 3 components"
                                               : "PNM holds 1 or 3 components";
  return Outcome::usage(imageName + ": the image has " + std::to_string(shape.samples) + ", and " +
                        holds + "; write PNG or PAM");
}

std::unique_ptr<PictureWriter> makeWriter(Format format, const PictureShape& shape,
                                          const PngSettings& settings, OutputFile& file) {
  switch (format) {
    case Format::kPng:
      return makePngWriter(shape, settings, file);
    case Format::kRaw:
      return std::make_unique<RawWriter>(shape, file);
    case Format::kPam:
      return std::make_unique<PnmWriter>(shape, pamHeader(shape), file);
    default:
      return std::make_unique<PnmWriter>(shape, pnmHeader(shape), file);
  }
}

}  // namespace wbx::tool
