// Reads a PNG file and writes its samples to standard output as PAM, at the precision that its
// sBIT chunk tells. Gives back what wbx-decode scaled, with nothing of wbx-decode's own code.

#include <cstdint>
#include <cstdio>
#include <png.h>
#include <vector>

namespace {

constexpr const char* kTypes[] = {"", "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};

struct Reader {
  png_structp png = nullptr;
  png_infop info = nullptr;

  explicit Reader(std::FILE* file) {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    info = png_create_info_struct(png);
    png_init_io(png, file);
  }
  ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

int precision(const Reader& reader) {
  png_color_8p significant = nullptr;
  const bool told = png_get_sBIT(reader.png, reader.info, &significant) != 0;
  const bool colour = (png_get_color_type(reader.png, reader.info) & PNG_COLOR_MASK_COLOR) != 0;
  if (!told) return png_get_bit_depth(reader.png, reader.info);
  return colour ? significant->red : significant->gray;
}

}  // namespace

int main(int argc, char** argv) {
  std::FILE* file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
  if (file == nullptr) return 2;
  Reader reader(file);
  png_read_png(reader.png, reader.info, PNG_TRANSFORM_IDENTITY, nullptr);
  const png_uint_32 width = png_get_image_width(reader.png, reader.info);
  const png_uint_32 height = png_get_image_height(reader.png, reader.info);
  const int channels = png_get_channels(reader.png, reader.info);
  const int depth = png_get_bit_depth(reader.png, reader.info);
  const int bits = precision(reader);
  std::printf("P7\nWIDTH %u\nHEIGHT %u\nDEPTH %d\nMAXVAL %d\nTUPLTYPE %s\nENDHDR\n", width, height,
              channels, (1 << bits) - 1, kTypes[channels]);
  png_bytepp rows = png_get_rows(reader.png, reader.info);
  const size_t samples = size_t{width} * static_cast<size_t>(channels);
  for (png_uint_32 y = 0; y < height; ++y) {
    for (size_t i = 0; i < samples; ++i) {
      const int sample = depth == 16 ? rows[y][2 * i] << 8 | rows[y][2 * i + 1] : rows[y][i];
      const int value = sample >> (depth - bits);
      if (bits > 8) std::putchar(value >> 8);
      std::putchar(value & 0xFF);
    }
  }
  std::fclose(file);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
