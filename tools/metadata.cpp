#include "metadata.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "output_file.h"

namespace wbx::tool {

namespace {

struct Kind {
  const char* name;
  const char* fileEnding;
};

constexpr std::array<Kind, 8> kKinds = {{{"comment", "comment.txt"},
                                         {"binary comment", "comment.bin"},
                                         {"GeoTIFF", "geotiff.tif"},
                                         {"XML", "xml.xml"},
                                         {"URL", "url.txt"},
                                         {"palette", "palette.bin"},
                                         {"ICC profile", "profile.icc"},
                                         {"UUID", "uuid.bin"}}};

std::string fileName(size_t number, uint32_t kind) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%03zu-", number);
  return std::string(digits) + (kind < kKinds.size() ? kKinds[kind].fileEnding : "unknown.bin");
}

}  // namespace

std::vector<MetadataItem> listMetadata(const Image& image) {
  std::vector<MetadataItem> items;
  int32_t index = 0;
  for (;;) {
    MetadataItem item;
    const void* data = nullptr;
    const int32_t code = WBX_GetMetaData(image.handle(), &index, &item.kind, &data, &item.length);
    if (code != WBX_OK || data == nullptr) return items;
    item.data = static_cast<const char*>(data);
    items.push_back(item);
  }
}

const char* metadataName(uint32_t kind) {
  return kind < kKinds.size() ? kKinds[kind].name : "unknown";
}

Outcome saveMetadata(const Image& image, const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return Outcome::image(folder + ": " + error.message());
  size_t number = 0;
  for (const MetadataItem& item : listMetadata(image)) {
    OutputFile file;
    const std::filesystem::path path =
        std::filesystem::path(folder) / fileName(number++, item.kind);
    if (Outcome outcome = file.open(path.string()); outcome.failed()) return outcome;
    file.write(item.data, item.length);
    if (Outcome outcome = file.commit(); outcome.failed()) return outcome;
  }
  return {};
}

}  // namespace wbx::tool
