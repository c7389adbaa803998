#ifndef WBX_TOOLS_ARGUMENTS_H
#define WBX_TOOLS_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>

namespace wbx::tool {

enum class Format { kPng, kPpm, kPgm, kPnm, kPam, kRaw };

// Tiles from first to last, both included.
struct TileRange {
  int32_t first = 0;
  int32_t last = 0;
};

enum class ProgressLine { kOnTerminal, kAlways, kNever };

struct Arguments {
  std::string input;   // "-" is the standard input
  std::string output;  // "-" is the standard output; empty if no picture is wanted
  Format format = Format::kPng;
  std::string options;  // for the library, as given
  std::optional<int32_t> reduce;
  std::optional<TileRange> tiles;
  bool info = false;
  bool json = false;
  std::string metadataFolder;  // empty if the metadata is not to be saved
  bool log = false;
  ProgressLine progress = ProgressLine::kOnTerminal;

  // The input as messages name it.
  std::string inputName() const { return input == "-" ? "standard input" : input; }
};

// Reads the command line. Gives an exit status if the program is to end at once: 0 after --help or
// --version, 2 with a message on standard error for a wrong command line.
std::optional<int> parseArguments(int argc, char** argv, Arguments& arguments);

}  // namespace wbx::tool

#endif
