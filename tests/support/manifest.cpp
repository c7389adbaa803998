#include "support/manifest.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace wbx::test {

namespace {

std::vector<std::string> linesOf(const std::string& file) {
  std::ifstream in(dataPath(file));
  if (!in) throw std::runtime_error(file + " is missing");
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

uint32_t number(const std::string& text, int base = 10) {
  return static_cast<uint32_t>(std::stoul(text, nullptr, base));
}

std::array<uint32_t, 4> four(const std::string& text) {
  const std::vector<std::string> parts = split(text, ',');
  return {number(parts.at(0)), number(parts.at(1)), number(parts.at(2)), number(parts.at(3))};
}

Accepted parseAccepted(const std::string& line) {
  std::istringstream in(line);
  Accepted entry;
  std::string image, tile, steps;
  in >> entry.file >> image >> tile >> entry.components >> entry.precision >> entry.levels >>
      entry.colourTransform >> entry.reversible >> entry.boxed >> steps >> entry.picture >>
      entry.kind;
  if (!in) throw std::runtime_error("accepted.txt: " + line);
  entry.image = four(image);
  entry.tile = four(tile);
  for (const std::string& step : split(steps, ':')) {
    const std::vector<std::string> pair = split(step, 'x');
    entry.steps.emplace_back(number(pair.at(0)), number(pair.at(1)));
  }
  return entry;
}

}  // namespace

bool Accepted::subsampled() const {
  return std::any_of(steps.begin(), steps.end(),
                     [](const auto& step) { return step.first > 1 || step.second > 1; });
}

bool Accepted::halfWidthChroma() const {
  return components == 3 && steps[2] == std::pair<uint32_t, uint32_t>(2, 1);
}

std::string dataPath(const std::string& file) {
  return std::string(WBX_TEST_DATA) + "/" + file;
}

const std::vector<Accepted>& acceptedFiles() {
  static const std::vector<Accepted> files = [] {
    std::vector<Accepted> all;
    for (const std::string& line : linesOf("accepted.txt")) all.push_back(parseAccepted(line));
    return all;
  }();
  return files;
}

const std::vector<Refused>& refusedFiles() {
  static const std::vector<Refused> files = [] {
    std::vector<Refused> all;
    for (const std::string& line : linesOf("refused.txt")) {
      const std::vector<std::string> parts = split(line, ' ');
      all.push_back({parts.at(0), static_cast<int32_t>(number(parts.at(1)))});
    }
    return all;
  }();
  return files;
}

const std::map<std::string, std::vector<MetadataFact>>& metadataFacts() {
  static const std::map<std::string, std::vector<MetadataFact>> facts = [] {
    std::map<std::string, std::vector<MetadataFact>> all;
    for (const std::string& line : linesOf("metadata.txt")) {
      const std::vector<std::string> parts = split(line, ' ');
      all[parts.at(0)].push_back(
          {number(parts.at(1)), number(parts.at(2)), number(parts.at(3), 16)});
    }
    return all;
  }();
  return facts;
}

const Golden& golden() {
  static const Golden table = [] {
    Golden read;
    const std::vector<std::string> lines = linesOf("golden.txt");
    read.options = split(lines.at(0), '|');
    for (size_t i = 1; i < lines.size(); ++i) {
      const std::vector<std::string> parts = split(lines[i], ' ');
      for (size_t k = 1; k < parts.size(); ++k) read.crcs[parts[0]].push_back(number(parts[k], 16));
    }
    return read;
  }();
  return table;
}

const Accepted& accepted(const std::string& file) {
  for (const Accepted& entry : acceptedFiles())
    if (entry.file == file) return entry;
  throw std::out_of_range(file);
}

std::string testName(const std::string& file) {
  std::string name = file;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

void PrintTo(const Accepted& entry, std::ostream* out) {
  *out << entry.file;
}
void PrintTo(const Refused& entry, std::ostream* out) {
  *out << entry.file;
}

}  // namespace wbx::test
