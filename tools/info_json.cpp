#include <cstdio>

#include "image_facts.h"
#include "info.h"

namespace wbx::tool {

namespace {

// A JSON string of bytes that may be anything.
std::string quoted(std::string_view bytes) {
  std::string text = "\"";
  for (const char c : printable(bytes)) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + "\"";
}

std::string number(uint64_t value) {
  return std::to_string(value);
}

std::string resolution(size_t level, const Size& size) {
  return "{\"level\": " + number(level) + ", \"width\": " + number(size.width) +
         ", \"height\": " + number(size.height) + "}";
}

std::string entry(const MetadataItem& item) {
  std::string text = "{\"kind\": " + number(item.kind) +
                     ", \"name\": " + quoted(metadataName(item.kind)) +
                     ", \"length\": " + number(item.length);
  const bool readable = item.kind == WBX_META_TEXT || item.kind == WBX_META_URL;
  if (readable) text += ", \"text\": " + quoted(readableText(item));
  return text + "}";
}

std::string list(const std::vector<std::string>& items) {
  std::string text = "[";
  for (const std::string& item : items) {
    text += (text.size() == 1 ? "\n    " : ",\n    ") + item;
  }
  return text + (items.empty() ? "]" : "\n  ]");
}

std::string document(const std::string& name, const ImageFacts& facts) {
  std::vector<std::string> resolutions;
  for (const Size& size : facts.resolutions) {
    resolutions.push_back(resolution(resolutions.size(), size));
  }
  std::vector<std::string> metadata;
  for (const MetadataItem& item : facts.metadata) metadata.push_back(entry(item));
  const WBX_ImageInfoEx& info = facts.info;
  return "{\n  \"file\": " + quoted(name) +
         ",\n  \"format\": " + quoted(facts.boxed ? "jp2" : "codestream") +
         ",\n  \"width\": " + number(info.width) + ",\n  \"height\": " + number(info.height) +
         ",\n  \"components\": " + number(info.components) +
         ",\n  \"precision\": " + number(info.precision) +
         ",\n  \"filter\": " + quoted(facts.reversible ? "5-3" : "9-7") +
         ",\n  \"reversible\": " + (facts.reversible ? "true" : "false") +
         ",\n  \"tilesAcross\": " + number(info.tilesAcross) +
         ",\n  \"tilesDown\": " + number(info.tilesDown) +
         ",\n  \"resolutions\": " + list(resolutions) + ",\n  \"metadata\": " + list(metadata) +
         "\n}\n";
}

}  // namespace

Outcome printJson(const Image& image) {
  ImageFacts facts;
  if (Outcome outcome = gatherFacts(image, facts); outcome.failed()) return outcome;
  std::fputs(document(image.name(), facts).c_str(), stdout);
  return std::fflush(stdout) == 0 ? Outcome{}
                                  : Outcome::image("standard output: cannot be written");
}

}  // namespace wbx::tool
