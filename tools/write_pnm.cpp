#include <string>
#include <vector>

#include "writers.h"

namespace wbx::tool {

namespace {

// The formats of the PNM family have samples of 16 bits with the high byte first.
void writeRows(const Picture& picture, OutputFile& file) {
  if (picture.bytesPerSample() == 1) {
    file.write(picture.pixels.get(), static_cast<size_t>(picture.size()));
    return;
  }
  std::vector<uint8_t> bytes(picture.samplesPerRow() * 2);
  for (uint32_t y = 0; y < picture.height; ++y) {
    for (size_t i = 0; i < picture.samplesPerRow(); ++i) {
      const uint32_t sample = picture.sample(y, i);
      bytes[2 * i] = static_cast<uint8_t>(sample >> 8);
      bytes[2 * i + 1] = static_cast<uint8_t>(sample);
    }
    if (!file.write(bytes.data(), bytes.size())) return;
  }
}

const char* tupleType(uint32_t components) {
  constexpr const char* kTypes[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
  return kTypes[components - 1];
}

}  // namespace

Outcome writePnm(const Picture& picture, OutputFile& file) {
  const std::string header = std::string(picture.components == 1 ? "P5\n" : "P6\n") +
                             std::to_string(picture.width) + " " + std::to_string(picture.height) +
                             "\n" + std::to_string(picture.maxValue()) + "\n";
  file.write(header.data(), header.size());
  writeRows(picture, file);
  return {};
}

Outcome writePam(const Picture& picture, OutputFile& file) {
  const std::string header = "P7\nWIDTH " + std::to_string(picture.width) + "\nHEIGHT " +
                             std::to_string(picture.height) + "\nDEPTH " +
                             std::to_string(picture.components) + "\nMAXVAL " +
                             std::to_string(picture.maxValue()) + "\nTUPLTYPE " +
                             tupleType(picture.components) + "\nENDHDR\n";
  file.write(header.data(), header.size());
  writeRows(picture, file);
  return {};
}

}  // namespace wbx::tool
