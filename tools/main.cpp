// wbx-decode: decodes JPEG 2000 images, and shows what they are made of.

#include <cstdio>
#include <exception>
#include <new>

#include "arguments.h"
#include "image.h"
#include "info.h"
#include "metadata.h"
#include "picture.h"
#include "writers.h"

namespace wbx::tool {

namespace {

std::string_view findMetadata(const Image& image, uint32_t kind) {
  for (const MetadataItem& item : listMetadata(image)) {
    if (item.kind == kind) return item.bytes();
  }
  return {};
}

// The samples of an image with a palette are its indices.
void noteOnPalette(const Image& image, const Arguments& arguments) {
  if (arguments.progress == ProgressLine::kNever) return;
  if (findMetadata(image, WBX_META_PALETTE).empty()) return;
  std::fprintf(stderr, "wbx-decode: %s: note: the palette of the image is not applied\n",
               image.name().c_str());
}

Outcome writeFormat(const Image& image, Format format, const Picture& picture, OutputFile& file) {
  switch (format) {
    case Format::kPng:
      return writePng(picture, findMetadata(image, WBX_META_ICC), file);
    case Format::kPam:
      return writePam(picture, file);
    case Format::kRaw:
      return writeRaw(picture, file);
    default:
      return writePnm(picture, file);
  }
}

Outcome writePicture(const Image& image, const Arguments& arguments) {
  Outcome outcome = checkFormat(arguments.format, image.info().components, image.name());
  if (outcome.failed()) return outcome;
  Picture picture;
  if (outcome = decodePicture(image, arguments, picture); outcome.failed()) return outcome;
  OutputFile file;
  if (outcome = file.open(arguments.output); outcome.failed()) return outcome;
  outcome = writeFormat(image, arguments.format, picture, file);
  if (outcome.failed()) return outcome;
  noteOnPalette(image, arguments);
  return file.commit();
}

Outcome run(const Arguments& arguments) {
  if (arguments.log && WBX_StartLogging(0, 0) != WBX_OK) {
    return Outcome::image("wbx-codec.log: cannot be written");
  }
  Image image;
  if (Outcome outcome = image.open(arguments); outcome.failed()) return outcome;
  if (Outcome outcome = image.select(arguments.tiles); outcome.failed()) return outcome;
  if (arguments.info || arguments.json) {
    Outcome outcome = arguments.json ? printJson(image) : printTable(image);
    if (outcome.failed()) return outcome;
  }
  if (!arguments.metadataFolder.empty()) {
    if (Outcome outcome = saveMetadata(image, arguments.metadataFolder); outcome.failed()) {
      return outcome;
    }
  }
  return arguments.output.empty() ? Outcome{} : writePicture(image, arguments);
}

int runAndReport(const Arguments& arguments) {
  Outcome outcome;
  try {
    outcome = run(arguments);
  } catch (const std::bad_alloc&) {
    outcome = Outcome::image(arguments.inputName() + ": no memory");
  }
  if (outcome.failed()) std::fprintf(stderr, "wbx-decode: %s\n", outcome.message.c_str());
  return outcome.status;
}

}  // namespace

}  // namespace wbx::tool

int main(int argc, char** argv) {
  wbx::tool::Arguments arguments;
  if (const auto status = wbx::tool::parseArguments(argc, argv, arguments)) return *status;
  return wbx::tool::runAndReport(arguments);
}
