#ifndef WBX_TOOLS_INFO_H
#define WBX_TOOLS_INFO_H

#include <optional>
#include <string>
#include <vector>

#include "file_facts.h"
#include "image.h"
#include "metadata.h"
#include "outcome.h"

namespace wbx::tool {

// What --info and --json tell of a file, also of one that the decoder refuses.
struct FileReport {
  std::string name;
  FileFacts facts;
  std::vector<Size> resolutions;       // from full size down
  std::vector<MetadataItem> metadata;  // of an open image
  // Why the file cannot be decoded: the library's number, 0 if it was not asked, and the text; the
  // system's reason for a file that cannot be opened.
  struct Error {
    int32_t code = 0;
    std::string text;
    std::string reason;
  };
  std::optional<Error> error;
};

// `opened` is how the image was opened.
FileReport makeReport(const Image& image, const Outcome& opened);

// For people, and for programs.
std::string asTable(const FileReport& report);
std::string asJson(const FileReport& report);

// Words that both use for what the headers say.
const char* progressionName(uint32_t progression);
const char* waveletName(uint32_t wavelet);
const char* transformName(const CodingFacts& coding);
const char* opacityName(const BoxFacts& boxes);
const char* channelTypeName(uint32_t type);
std::string markerName(uint16_t marker);
std::vector<std::string> modeNames(uint32_t modes);

}  // namespace wbx::tool

#endif
