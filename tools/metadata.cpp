#include "metadata.h"

#include <algorithm>
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

// The library takes the word of a box that runs past the end of the file for its length, and gives
// zeros for what is not there.
void trim(MetadataItem& item, uint64_t missing) {
  item.missing = std::min<uint64_t>(missing, item.length);
  item.length -= static_cast<uint32_t>(item.missing);
}

void trimToFile(const FileFacts& facts, std::vector<MetadataItem>& items) {
  constexpr std::array<std::string_view, 4> kStored = {"xml ", "url ", "uuid", "pclr"};
  const CutBox* const cut = facts.boxes && facts.boxes->cut ? &*facts.boxes->cut : nullptr;
  const bool lastIsCut =
      cut != nullptr && std::find(kStored.begin(), kStored.end(), cut->type) != kStored.end();
  for (MetadataItem& item : items) {
    uint64_t missing = item.length > facts.fileSize ? item.length - facts.fileSize : 0;
    if (lastIsCut && &item == &items.back()) missing = std::max(missing, cut->missing);
    trim(item, missing);
  }
}

}  // namespace

std::vector<MetadataItem> listMetadata(const Image& image) {
  std::vector<MetadataItem> items;
  int32_t index = 0;
  for (;;) {
    MetadataItem item;
    const void* data = nullptr;
    const int32_t code = WBX_GetMetaData(image.handle(), &index, &item.kind, &data, &item.length);
    if (code != WBX_OK || data == nullptr) break;
    item.data = static_cast<const char*>(data);
    items.push_back(item);
  }
  trimToFile(image.facts(), items);
  return items;
}

const char* metadataName(uint32_t kind) {
  return kind < kKinds.size() ? kKinds[kind].name : "unknown";
}

std::string_view readableText(const MetadataItem& item) {
  if (item.kind != WBX_META_TEXT && item.kind != WBX_META_URL) return {};
  std::string_view bytes = item.bytes();
  while (!bytes.empty() && bytes.back() == '\0') bytes.remove_suffix(1);
  return bytes;
}

Outcome saveMetadata(const Image& image, const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return Outcome::image(folder + ": " + error.message());
  size_t number = 0;
  Outcome whole;
  for (const MetadataItem& item : listMetadata(image)) {
    OutputFile file;
    const std::filesystem::path path =
        std::filesystem::path(folder) / fileName(number++, item.kind);
    if (Outcome outcome = file.open(path.string()); outcome.failed()) return outcome;
    file.write(item.data, item.length);
    if (Outcome outcome = file.commit(); outcome.failed()) return outcome;
    if (item.missing > 0) {
      whole = Outcome::image(path.string() + ": the file holds " + std::to_string(item.length) +
                             " of " + std::to_string(item.length + item.missing) + " bytes");
    }
  }
  return whole;
}

}  // namespace wbx::tool
