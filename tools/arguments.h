#ifndef WBX_TOOLS_ARGUMENTS_H
#define WBX_TOOLS_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "decode_options.h"

namespace wbx::tool {

enum class Format { kPng, kPpm, kPgm, kPnm, kPam, kRaw };

// Tiles from first to last, both included.
struct TileRange {
  int32_t first = 0;
  int32_t last = 0;
};

// Pixels of the image at full size, counted from its top left corner.
struct Region {
  uint32_t x = 0;
  uint32_t y = 0;
  uint32_t width = 0;
  uint32_t height = 0;
};

enum class ProgressLine { kOnTerminal, kAlways, kNever };

// One file to work on.
struct Task {
  std::string input;   // "-" is the standard input
  std::string output;  // "-" is the standard output; empty if no picture is wanted
  Format format = Format::kPng;

  // The input as messages name it.
  std::string inputName() const { return input == "-" ? "standard input" : input; }
};

struct Arguments {
  std::vector<Task> tasks;
  bool batch = false;  // many files: goes on after a failed one
  unsigned jobs = 1;   // files at a time
  DecodeOptions options;
  std::optional<uint32_t> reduce;
  std::optional<uint32_t> fit;
  std::optional<TileRange> tiles;
  std::optional<Region> region;
  std::optional<uint64_t> maxPixels;
  int pngLevel = 3;
  bool indices = false;
  bool info = false;
  bool json = false;
  std::string metadataFolder;  // empty if the metadata is not to be saved
  bool log = false;
  ProgressLine progress = ProgressLine::kOnTerminal;
  bool quiet = false;
};

// Reads the command line. Gives an exit status if the program is to end at once: 0 after --help or
// --version, 2 with a message on standard error for a wrong command line.
std::optional<int> parseArguments(int argc, char** argv, Arguments& arguments);

}  // namespace wbx::tool

#endif
