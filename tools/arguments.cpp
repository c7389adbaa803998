#include "arguments.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <map>

#include "messages.h"
#include "outcome.h"
#include "platform.h"
#include "text.h"

namespace wbx::tool {

namespace {

namespace fs = std::filesystem;

const std::map<std::string, Format> kFormats = {{"png", Format::kPng}, {"ppm", Format::kPpm},
                                                {"pgm", Format::kPgm}, {"pnm", Format::kPnm},
                                                {"pam", Format::kPam}, {"raw", Format::kRaw}};
constexpr unsigned kMostJobs = 256;

// What CLI11 fills and settleArguments checks.
struct Texts {
  std::vector<std::string> files;
  std::string directory;
  std::string format;
  std::string options;
  std::string tiles;
  std::string region;
  bool progress = false;
};

void declareSelection(CLI::App& app, Arguments& arguments, Texts& texts) {
  app.add_option("-o,--options", texts.options, "decode options for the library, see wbx.h")
      ->type_name("TEXT");
  CLI::Option* reduce =
      app.add_option("-r,--reduce", arguments.reduce, "leave out the N finest resolutions")
          ->check(CLI::Range(0, 32))
          ->type_name("N");
  app.add_option("--fit", arguments.fit,
                 "the smallest resolution with N pixels at least on its longer side")
      ->check(CLI::Range(1, 65535))
      ->type_name("N")
      ->excludes(reduce);
  CLI::Option* tiles =
      app.add_option("-t,--tiles", texts.tiles, "decode tiles A to B only, or tile A alone")
          ->type_name("A-B");
  app.add_option("--region", texts.region, "decode this rectangle of the full-size image only")
      ->type_name("X,Y,W,H")
      ->excludes(tiles);
  app.add_option("--max-pixels", arguments.maxPixels, "refuse to decode more than N pixels")
      ->type_name("N");
  app.add_flag("--indices", arguments.indices, "write the indices of an image with a palette");
}

void declareOutput(CLI::App& app, Arguments& arguments, Texts& texts) {
  app.add_option("-d,--directory", texts.directory,
                 "decode every FILE to a picture of its name in a folder")
      ->type_name("DIR");
  app.add_option("--jobs", arguments.jobs, "with --directory: N files at a time")
      ->check(CLI::Range(1u, kMostJobs))
      ->type_name("N");
  app.add_option("-f,--format", texts.format, "format of OUTPUT, whatever its name")
      ->check(CLI::IsMember(kFormats, CLI::ignore_case))
      ->type_name("FORMAT");
  app.add_option("--png-level", arguments.pngLevel, "compression of PNG, 0 to 9 (3)")
      ->check(CLI::Range(0, 9))
      ->type_name("N");
}

void declareOptions(CLI::App& app, Arguments& arguments, Texts& texts) {
  app.add_option("FILE", texts.files,
                 "INPUT, and OUTPUT if a picture is wanted: .png, .ppm, .pgm, .pnm, .pam or .raw; "
                 "- is standard input and output. With --directory only INPUTs")
      ->type_name("");
  declareOutput(app, arguments, texts);
  declareSelection(app, arguments, texts);
  app.add_flag("-i,--info", arguments.info, "show what the file is made of");
  app.add_flag("-j,--json", arguments.json, "the same as JSON");
  app.add_option("-m,--metadata", arguments.metadataFolder, "save each metadata entry to a folder")
      ->type_name("DIR");
  app.add_flag("--log", arguments.log, "let the library write wbx-codec.log here");
  CLI::Option* progress = app.add_flag("--progress", texts.progress, "show progress always");
  app.add_flag("-q,--quiet", arguments.quiet, "show neither progress nor notes")
      ->excludes(progress);
}

template <class Number>
bool parseNumber(const char*& text, const char* end, Number& number) {
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

// "X,Y,W,H", with something in it.
std::optional<Region> parseRegion(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  uint32_t numbers[4];
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && (at == end || *at++ != ',')) return std::nullopt;
    if (!parseNumber(at, end, numbers[i])) return std::nullopt;
  }
  if (at != end || numbers[2] == 0 || numbers[3] == 0) return std::nullopt;
  return Region{numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::optional<Format> formatNamed(const std::string& name) {
  const auto found = kFormats.find(CLI::detail::to_lower(name));
  return found != kFormats.end() ? std::optional(found->second) : std::nullopt;
}

std::string fileEnding(const std::string& path) {
  const std::string extension = fs::path(path).extension().string();
  return extension.empty() ? extension : extension.substr(1);
}

Outcome settleFormat(const Texts& texts, Task& task) {
  const auto format = formatNamed(texts.format.empty() ? fileEnding(task.output) : texts.format);
  if (!format) {
    return Outcome::usage(task.output + ": the name does not tell the format; use --format");
  }
  task.format = *format;
  if (task.output == "-" && platform::isTerminal(stdout)) {
    return Outcome::usage(
        "standard output is a terminal; give the picture a file name, or send it on with > or |");
  }
  return {};
}

Outcome settleOneFile(const Texts& texts, Arguments& arguments) {
  if (texts.files.empty()) return Outcome::usage("INPUT is required");
  if (texts.files.size() > 2) {
    return Outcome::usage(texts.files[2] +
                          ": more than INPUT and OUTPUT; many files need --directory");
  }
  Task task;
  task.input = texts.files[0];
  if (texts.files.size() == 1) {
    arguments.tasks = {task};
    const bool something = arguments.info || arguments.json || !arguments.metadataFolder.empty();
    return something ? Outcome{}
                     : Outcome::usage("nothing to do: give OUTPUT, --info, --json or --metadata");
  }
  task.output = texts.files[1];
  if (task.output == "-" && (arguments.info || arguments.json)) {
    return Outcome::usage(
        "--info and --json need the standard output; write the picture to a file");
  }
  Outcome outcome = settleFormat(texts, task);
  arguments.tasks = {task};
  return outcome;
}

Outcome settleManyFiles(const Texts& texts, Arguments& arguments) {
  arguments.batch = true;
  if (texts.files.empty()) return Outcome::usage("FILE is required");
  if (arguments.info || arguments.json || !arguments.metadataFolder.empty()) {
    return Outcome::usage("--info, --json and --metadata are for one file");
  }
  const std::string ending = texts.format.empty() ? "png" : CLI::detail::to_lower(texts.format);
  std::map<std::string, std::string> inputs;  // by output
  for (const std::string& file : texts.files) {
    if (file == "-") return Outcome::usage("standard input is for one file");
    const fs::path name = fs::path(file).filename().replace_extension(ending);
    const Task task{file, (fs::path(texts.directory) / name).string(), *formatNamed(ending)};
    const auto [other, isNew] = inputs.emplace(task.output, file);
    if (!isNew) {
      return Outcome::usage(other->second + " and " + file + ": both would become " + task.output);
    }
    arguments.tasks.push_back(task);
  }
  return {};
}

Outcome settleSelection(const Texts& texts, Arguments& arguments) {
  arguments.options = parseDecodeOptions(texts.options);
  if (!texts.tiles.empty()) {
    arguments.tiles = parseTiles(texts.tiles);
    if (!arguments.tiles) return Outcome::usage("--tiles " + texts.tiles + ": not a range A-B");
  }
  if (!texts.region.empty()) {
    arguments.region = parseRegion(texts.region);
    if (!arguments.region) {
      return Outcome::usage("--region " + texts.region + ": not a rectangle X,Y,W,H");
    }
    if (arguments.options.upsideDown) {
      return Outcome::usage("--region and the option bitmap exclude each other");
    }
  }
  if (arguments.fit && arguments.options.level) {
    return Outcome::usage("--fit and the option res_level exclude each other");
  }
  return {};
}

Outcome settleArguments(const Texts& texts, Arguments& arguments) {
  if (texts.progress) arguments.progress = ProgressLine::kAlways;
  if (arguments.quiet) arguments.progress = ProgressLine::kNever;
  if (arguments.info && arguments.json) {
    return Outcome::usage("--info and --json exclude each other");
  }
  if (Outcome outcome = settleSelection(texts, arguments); outcome.failed()) return outcome;
  if (!texts.directory.empty()) return settleManyFiles(texts, arguments);
  if (arguments.jobs != 1) return Outcome::usage("--jobs needs --directory");
  return settleOneFile(texts, arguments);
}

}  // namespace

std::optional<int> parseArguments(int argc, char** argv, Arguments& arguments) {
  CLI::App app("Decodes JPEG 2000 images and shows what they are made of.", "wbx-decode");
  app.allow_windows_style_options(false);  // what starts with / is a path on every system
  app.set_version_flag("--version", "wbx-decode " WBX_TOOL_VERSION);
  app.footer(
      "Exit status: 0, 1 (an image, or a file that cannot be written), 2 (the command line).");
  Texts texts;
  declareOptions(app, arguments, texts);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    report(std::string(error.what()) + "; run with --help for more information.");
    return kStatusUsage;
  }
  const Outcome outcome = settleArguments(texts, arguments);
  if (!outcome.failed()) return std::nullopt;
  report(outcome.message);
  return outcome.status;
}

}  // namespace wbx::tool
