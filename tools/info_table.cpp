#include <cstdio>

#include "image_facts.h"
#include "info.h"

namespace wbx::tool {

namespace {

void printResolutions(const ImageFacts& facts) {
  std::printf("  resolutions  %zu\n", facts.resolutions.size());
  size_t level = 0;
  for (const Size& size : facts.resolutions) {
    std::printf("    %-11zu%u x %u\n", level++, size.width, size.height);
  }
}

void printMetadata(const ImageFacts& facts) {
  constexpr size_t kShown = 60;
  std::printf("  metadata     %zu\n", facts.metadata.size());
  size_t number = 0;
  for (const MetadataItem& item : facts.metadata) {
    const std::string text = readableText(item);
    std::printf("    %-11zu%s, %u bytes", number++, metadataName(item.kind), item.length);
    if (!text.empty() && text.size() <= kShown) std::printf(": %s", text.c_str());
    std::printf("\n");
  }
}

}  // namespace

Outcome printTable(const Image& image) {
  ImageFacts facts;
  if (Outcome outcome = gatherFacts(image, facts); outcome.failed()) return outcome;
  const WBX_ImageInfoEx& info = facts.info;
  std::printf("%s\n", printable(image.name()).c_str());
  std::printf("  format       %s\n", facts.boxed ? "JP2 or JPX file" : "codestream");
  std::printf("  size         %u x %u pixels\n", info.width, info.height);
  std::printf("  components   %u\n", info.components);
  std::printf("  precision    %u bits\n", info.precision);
  std::printf("  filter       %s\n", facts.reversible ? "5-3, reversible" : "9-7, irreversible");
  std::printf("  tiles        %u x %u\n", info.tilesAcross, info.tilesDown);
  printResolutions(facts);
  printMetadata(facts);
  return std::fflush(stdout) == 0 ? Outcome{}
                                  : Outcome::image("standard output: cannot be written");
}

}  // namespace wbx::tool
