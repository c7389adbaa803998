#include "writers.h"

namespace wbx::tool {

namespace {

class NoPngWriter : public PictureWriter {
 public:
  explicit NoPngWriter(const OutputFile& file) : file_(file) {}

  Outcome begin() override {
    return Outcome::image(file_.name() + ": this program was built without libpng");
  }
  bool row(const uint8_t* /*samples*/) override { return false; }
  Outcome end() override { return begin(); }

 private:
  const OutputFile& file_;
};

}  // namespace

std::unique_ptr<PictureWriter> makePngWriter(const PictureShape& /*shape*/,
                                             const PngSettings& /*settings*/, OutputFile& file) {
  return std::make_unique<NoPngWriter>(file);
}

}  // namespace wbx::tool
