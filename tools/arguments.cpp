#include "arguments.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <map>

#include "wbx.h"

#include "outcome.h"

namespace wbx::tool {

namespace {

const std::map<std::string, Format> kFormats = {{"png", Format::kPng}, {"ppm", Format::kPpm},
                                                {"pgm", Format::kPgm}, {"pnm", Format::kPnm},
                                                {"pam", Format::kPam}, {"raw", Format::kRaw}};

// What CLI11 fills and settleArguments checks.
struct Texts {
  std::string format;
  std::string tiles;
  bool progress = false;
  bool quiet = false;
};

void declareOptions(CLI::App& app, Arguments& arguments, Texts& texts) {
  app.add_option("INPUT", arguments.input, "JPEG 2000 file or codestream; - is standard input")
      ->required();
  app.add_option("OUTPUT", arguments.output,
                 "picture to write: .png, .ppm, .pgm, .pnm, .pam or .raw; - is standard output");
  app.add_option("-f,--format", texts.format, "format of OUTPUT, whatever its name")
      ->check(CLI::IsMember(kFormats, CLI::ignore_case));
  app.add_option("-o,--options", arguments.options, "decode options for the library, see wbx.h");
  app.add_option("-r,--reduce", arguments.reduce, "leave out the N finest resolutions")
      ->check(CLI::Range(0, 32));
  app.add_option("-t,--tiles", texts.tiles, "decode tiles A to B only, or tile A alone")
      ->type_name("A-B");
  app.add_flag("-i,--info", arguments.info, "show what the image is made of");
  app.add_flag("-j,--json", arguments.json, "the same as JSON");
  app.add_option("-m,--metadata", arguments.metadataFolder, "save each metadata entry to a folder")
      ->type_name("DIR");
  app.add_flag("--log", arguments.log, "let the library write wbx-codec.log here");
  CLI::Option* progress = app.add_flag("--progress", texts.progress, "show progress always");
  app.add_flag("-q,--quiet", texts.quiet, "show neither progress nor notes")->excludes(progress);
}

bool parseNumber(const char*& text, const char* end, int32_t& number) {
  const auto [rest, error] = std::from_chars(text, end, number);
  if (error != std::errc() || number < 0) return false;
  text = rest;
  return true;
}

// "A-B" or "A".
std::optional<TileRange> parseTiles(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  TileRange range;
  if (!parseNumber(at, end, range.first)) return std::nullopt;
  range.last = range.first;
  if (at == end) return range;
  if (*at++ != '-' || !parseNumber(at, end, range.last) || at != end) return std::nullopt;
  return range.first <= range.last ? std::optional(range) : std::nullopt;
}

// The ending of a file name in lower case, without the dot.
std::string ending(const std::string& path) {
  const size_t dot = path.rfind('.');
  const size_t slash = path.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  return CLI::detail::to_lower(path.substr(dot + 1));
}

Outcome settleFormat(const Texts& texts, Arguments& arguments) {
  const bool given = !texts.format.empty();
  const auto found =
      kFormats.find(given ? CLI::detail::to_lower(texts.format) : ending(arguments.output));
  if (found == kFormats.end()) {
    return Outcome::usage(arguments.output + ": the name does not tell the format; use --format");
  }
  arguments.format = found->second;
  return {};
}

Outcome settleArguments(const Texts& texts, Arguments& arguments) {
  if (!texts.tiles.empty()) {
    arguments.tiles = parseTiles(texts.tiles);
    if (!arguments.tiles) return Outcome::usage("--tiles " + texts.tiles + ": not a range A-B");
  }
  if (texts.progress) arguments.progress = ProgressLine::kAlways;
  if (texts.quiet) arguments.progress = ProgressLine::kNever;
  if (arguments.info && arguments.json) {
    return Outcome::usage("--info and --json exclude each other");
  }
  if (arguments.output.empty()) {
    const bool something = arguments.info || arguments.json || !arguments.metadataFolder.empty();
    return something ? Outcome{}
                     : Outcome::usage("nothing to do: give OUTPUT, --info, --json or --metadata");
  }
  if (arguments.output == "-" && (arguments.info || arguments.json)) {
    return Outcome::usage(
        "--info and --json need the standard output; write the picture to a file");
  }
  return settleFormat(texts, arguments);
}

}  // namespace

std::optional<int> parseArguments(int argc, char** argv, Arguments& arguments) {
  CLI::App app("Decodes JPEG 2000 images.", "wbx-decode");
  app.set_version_flag("--version",
                       "wbx-decode, library version " + std::to_string(WBX_getVersion()));
  app.footer(
      "Exit status: 0, 1 (the image, or a file that cannot be written), 2 (the command line).");
  Texts texts;
  declareOptions(app, arguments, texts);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kStatusDone : kStatusUsage;
  }
  const Outcome outcome = settleArguments(texts, arguments);
  if (!outcome.failed()) return std::nullopt;
  std::fprintf(stderr, "wbx-decode: %s\n", outcome.message.c_str());
  return outcome.status;
}

}  // namespace wbx::tool
