#include <algorithm>

#include "colour_space.h"
#include "info.h"
#include "text.h"

namespace wbx::tool {

namespace {

constexpr size_t kLabelWidth = 13;

void addLine(std::string& table, std::string label, const std::string& value) {
  label.resize(std::max(kLabelWidth, label.size() + 1), ' ');
  table += "  " + label + value + "\n";
}

// The label of one of several.
std::string itemLabel(uint64_t number) {
  return std::string("  ").append(std::to_string(number));
}

// " 2", but nothing for an ordinary number.
std::string unless(uint64_t ordinary, uint64_t number) {
  return number == ordinary ? std::string() : std::string(" ").append(std::to_string(number));
}

std::string product(uint64_t a, uint64_t b) {
  return std::to_string(a) + " x " + std::to_string(b);
}

std::string product(const Size& size) {
  return product(size.width, size.height);
}

std::string joined(const std::vector<std::string>& items, const char* between = ", ") {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : between) + item;
  return text;
}

std::string describe(const ComponentFacts& component) {
  std::string text = std::to_string(component.bits) + " bits";
  if (component.isSigned) text += ", signed";
  if (component.dx != 1 || component.dy != 1) {
    text += ", sub-sampled " + product(component.dx, component.dy);
  }
  return text;
}

// Neighbours that are alike share a line.
void addComponents(std::string& table, const std::vector<ComponentFacts>& components) {
  addLine(table, "components", std::to_string(components.size()));
  for (size_t first = 0; first < components.size();) {
    size_t end = first + 1;
    while (end < components.size() && components[end] == components[first]) ++end;
    std::string label = itemLabel(first);
    if (end - first > 1) label.append("-").append(std::to_string(end - 1));
    addLine(table, label, describe(components[first]));
    first = end;
  }
}

void addSize(std::string& table, const SizeFacts& size) {
  addLine(table, "size", product(size.image.width(), size.image.height()) + " pixels");
  if (size.image.x0 != 0 || size.image.y0 != 0) {
    addLine(table, "origin", std::to_string(size.image.x0) + ", " + std::to_string(size.image.y0));
  }
  addComponents(table, size.components);
  std::string grid = product(size.tilesAcross(), size.tilesDown());
  grid += " of " + product(size.firstTile.width(), size.firstTile.height());
  if (size.firstTile.x0 != 0 || size.firstTile.y0 != 0) {
    grid += " from " + std::to_string(size.firstTile.x0) + ", " + std::to_string(size.firstTile.y0);
  }
  addLine(table, "tiles", grid);
}

std::string precinctsOf(const StyleFacts& style) {
  std::vector<std::string> sizes;
  for (const Size& size : style.precincts) sizes.push_back(product(size));
  return sizes.empty() ? "one to a resolution" : joined(sizes);
}

void addStyle(std::string& table, const StyleFacts& style) {
  std::string blocks = product(style.codeBlock);
  for (const std::string& mode : modeNames(style.modes)) blocks += ", " + mode;
  addLine(table, "filter",
          std::string(waveletName(style.wavelet)) +
              (style.wavelet == 1 ? ", reversible" : ", irreversible") + ", " +
              std::to_string(style.levels) + " levels");
  addLine(table, "code blocks", blocks);
  addLine(table, "precincts", precinctsOf(style));
}

void addCodestream(std::string& table, const CodestreamFacts& codestream) {
  if (codestream.size) addSize(table, *codestream.size);
  if (codestream.coding) {
    const CodingFacts& coding = *codestream.coding;
    addLine(table, "transform", transformName(coding));
    addStyle(table, coding.style);
    addLine(table, "progression",
            std::string(progressionName(coding.progression)) + ", " +
                std::to_string(coding.layers) + (coding.layers == 1 ? " layer" : " layers"));
  }
  for (const auto& [component, style] : codestream.componentStyles) {
    addLine(table, "of component", std::to_string(component));
    addStyle(table, style);
  }
  std::vector<std::string> markers;
  for (const auto& [marker, count] : codestream.markers) {
    markers.push_back(markerName(marker) + unless(1, count));
  }
  addLine(table, "tile-parts",
          std::to_string(codestream.tileParts) + (codestream.complete ? "" : ", then cut off"));
  addLine(table, "markers", joined(markers));
}

void addBoxes(std::string& table, const FileFacts& facts) {
  const BoxFacts& boxes = *facts.boxes;
  addLine(table, "colours", colourSpaceOf(facts).name);
  addLine(table, "opacity", opacityName(boxes));
  if (boxes.palette) {
    const Palette& palette = *boxes.palette;
    std::vector<std::string> bits;
    for (const PaletteColumn& column : palette.columns) bits.push_back(std::to_string(column.bits));
    addLine(table, "palette",
            std::to_string(palette.entries) + " entries of " + joined(bits, " + ") + " bits");
  }
  if (!boxes.channels.empty()) addLine(table, "channels", std::to_string(boxes.channels.size()));
  for (const ChannelMeaning& meaning : boxes.channels) {
    addLine(table, itemLabel(meaning.channel),
            std::string(channelTypeName(meaning.type)) +
                (meaning.association == 0 ? " of all" : unless(0, meaning.association)));
  }
}

void addResolutions(std::string& table, const std::vector<Size>& resolutions) {
  addLine(table, "resolutions", std::to_string(resolutions.size()));
  size_t level = 0;
  for (const Size& size : resolutions) {
    addLine(table, itemLabel(level++), product(size));
  }
}

void addMetadata(std::string& table, const std::vector<MetadataItem>& metadata) {
  constexpr size_t kShown = 60;
  addLine(table, "metadata", std::to_string(metadata.size()));
  size_t number = 0;
  for (const MetadataItem& item : metadata) {
    std::string value = metadataName(item.kind);
    value += ", " + std::to_string(item.length) + " bytes";
    if (item.missing > 0) value += ", and " + std::to_string(item.missing) + " that are not there";
    const std::string text = printable(readableText(item));
    if (!text.empty() && text.size() <= kShown) value += ": " + text;
    addLine(table, itemLabel(number++), value);
  }
}

const char* formatName(const FileFacts& facts) {
  if (!facts.boxes) return facts.codestream ? "codestream" : "unknown";
  return facts.boxes->brand == "jpx " ? "JPX file" : "JP2 file";
}

}  // namespace

std::string asTable(const FileReport& report) {
  std::string table = printable(report.name) + "\n";
  if (report.error) addLine(table, "error", printable(report.error->text));
  addLine(table, "format", formatName(report.facts));
  if (report.facts.codestream) addCodestream(table, *report.facts.codestream);
  if (report.facts.boxes) addBoxes(table, report.facts);
  addResolutions(table, report.resolutions);
  if (!report.error) addMetadata(table, report.metadata);
  return table;
}

}  // namespace wbx::tool
