#ifndef WBX_TESTS_SUPPORT_MANIFEST_H
#define WBX_TESTS_SUPPORT_MANIFEST_H

#include <array>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace wbx::test {

// A line of tests/data/accepted.txt.
struct Accepted {
  std::string file;
  std::array<uint32_t, 4> image;  // x0, y0, x1, y1
  std::array<uint32_t, 4> tile;   // origin x, y, width, height
  uint32_t components = 0;
  int precision = 0;
  uint32_t levels = 0;
  bool colourTransform = false;
  bool reversible = false;
  bool boxed = false;
  std::vector<std::pair<uint32_t, uint32_t>> steps;  // horizontal, vertical
  std::string picture;
  std::string kind;

  uint32_t width() const { return image[2] - image[0]; }
  uint32_t height() const { return image[3] - image[1]; }
  uint32_t tilesAcross() const { return (image[2] - tile[0] + tile[2] - 1) / tile[2]; }
  uint32_t tilesDown() const { return (image[3] - tile[1] + tile[3] - 1) / tile[3]; }
  uint32_t bytesPerSample() const { return precision > 8 ? 2 : 1; }
  bool subsampled() const;
  // Three components with only the width of the chroma halved: such a picture gets the colour
  // transform and the upscaling of the last level by default.
  bool halfWidthChroma() const;
};

struct Refused {
  std::string file;
  int32_t code = 0;
};

struct MetadataFact {
  uint32_t kind = 0;
  uint32_t length = 0;
  uint32_t crc = 0;
};

// Checksums of a file's decoded pictures, one for each option string.
struct Golden {
  std::vector<std::string> options;
  std::map<std::string, std::vector<uint32_t>> crcs;
};

std::string dataPath(const std::string& file);
const std::vector<Accepted>& acceptedFiles();
const std::vector<Refused>& refusedFiles();
const std::map<std::string, std::vector<MetadataFact>>& metadataFacts();
const Golden& golden();
const Accepted& accepted(const std::string& file);

// Test names: letters and digits of the file's name.
std::string testName(const std::string& file);
void PrintTo(const Accepted& entry, std::ostream* out);
void PrintTo(const Refused& entry, std::ostream* out);

}  // namespace wbx::test

#endif
