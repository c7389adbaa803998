#include "convert_file.h"

#include <cstdio>
#include <new>

#include "image.h"
#include "info.h"
#include "messages.h"
#include "metadata.h"
#include "picture.h"
#include "writers.h"

namespace wbx::tool {

namespace {

std::string_view findProfile(const Image& image) {
  for (const MetadataItem& item : listMetadata(image)) {
    if (item.kind == WBX_META_ICC) return item.bytes();
  }
  return {};
}

Outcome printReport(const FileReport& report, bool asProgram) {
  const std::string text = asProgram ? asJson(report) : asTable(report);
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  return written ? Outcome{} : Outcome::image("standard output: cannot be written");
}

void note(const Image& image, const Arguments& arguments, const std::string& text) {
  if (!arguments.quiet) reportNote(image.name() + ": " + text);
}

Outcome writePicture(const Image& image, const Task& task, const Arguments& arguments) {
  Picture picture(image, arguments, task.format);
  if (Outcome outcome = picture.plan(); outcome.failed()) return outcome;
  Outcome outcome = checkFormat(task.format, picture.shape(), image.name());
  if (outcome.failed()) return outcome;
  OutputFile file;
  if (outcome = file.open(task.output); outcome.failed()) return outcome;
  for (const std::string& text : picture.notes()) note(image, arguments, text);
  const std::string_view profile = findProfile(image);
  PngSettings settings;
  settings.level = arguments.pngLevel;
  if (picture.shape().keepsProfile) settings.iccProfile = profile;
  const auto writer = makeWriter(task.format, picture.shape(), settings, file);
  if (outcome = writer->begin(); outcome.failed()) return outcome;
  if (!profile.empty() && !writer->holdsProfile()) {
    note(image, arguments, "the ICC profile is not in " + file.name());
  }
  if (outcome = picture.decode(*writer); outcome.failed()) return outcome;
  if (outcome = writer->end(); outcome.failed()) return outcome;
  return file.commit();
}

Outcome work(const Task& task, const Arguments& arguments) {
  const bool report = arguments.info || arguments.json;
  Image image;
  const Outcome opened =
      image.open(task.input, task.inputName(), report ? Depth::kTileParts : Depth::kMainHeader);
  if (report) {
    Outcome outcome = printReport(makeReport(image, opened), arguments.json);
    if (outcome.failed()) return outcome;
  }
  if (opened.failed()) return opened;
  if (!arguments.metadataFolder.empty()) {
    Outcome outcome = saveMetadata(image, arguments.metadataFolder);
    if (outcome.failed()) return outcome;
  }
  return task.output.empty() ? Outcome{} : writePicture(image, task, arguments);
}

}  // namespace

Outcome convertFile(const Task& task, const Arguments& arguments) {
  try {
    return work(task, arguments);
  } catch (const std::bad_alloc&) {
    return Outcome::image(task.inputName() + ": no memory");
  }
}

}  // namespace wbx::tool
