#include <algorithm>

#include "wbx.h"

#include "colour_space.h"
#include "info.h"
#include "json.h"

namespace wbx::tool {

namespace {

template <class Items, class Make>
std::vector<std::string> each(const Items& items, const Make& make) {
  std::vector<std::string> list;
  for (const auto& item : items) list.push_back(make(item));
  return list;
}

std::string sizeObject(const Size& size) {
  return JsonObject().number("width", size.width).number("height", size.height).onOneLine();
}

std::string texts(const std::vector<std::string>& items) {
  return jsonList(each(items, [](const std::string& item) { return jsonString(item); }));
}

std::string componentObject(const ComponentFacts& component) {
  return JsonObject()
      .number("bits", component.bits)
      .flag("signed", component.isSigned)
      .number("dx", component.dx)
      .number("dy", component.dy)
      .onOneLine();
}

void addSize(JsonObject& document, const SizeFacts& size) {
  uint32_t precision = 0;
  for (const ComponentFacts& component : size.components) {
    precision = std::max(precision, component.bits);
  }
  document.number("width", size.image.width())
      .number("height", size.image.height())
      .number("components", size.components.size())
      .number("precision", precision);
}

void addStyle(JsonObject& object, const StyleFacts& style) {
  object.number("levels", style.levels)
      .json("codeBlock", sizeObject(style.codeBlock))
      .json("modes", texts(modeNames(style.modes)))
      .json("precincts", jsonList(each(style.precincts, sizeObject)));
}

void addCoding(JsonObject& document, const CodestreamFacts& codestream) {
  const CodingFacts& coding = *codestream.coding;
  document.text("progression", progressionName(coding.progression))
      .number("layers", coding.layers)
      .text("transform", transformName(coding))
      .flag("sop", coding.sop)
      .flag("eph", coding.eph);
  addStyle(document, coding.style);
  std::vector<std::string> others;
  for (const auto& [component, style] : codestream.componentStyles) {
    JsonObject object;
    object.number("component", component);
    object.text("filter", waveletName(style.wavelet));
    addStyle(object, style);
    others.push_back(object.onOneLine());
  }
  document.json("componentStyles", jsonLines(others));
}

void addGrid(JsonObject& document, const SizeFacts& size) {
  const Rect& tile = size.firstTile;
  document.number("tilesAcross", size.tilesAcross())
      .number("tilesDown", size.tilesDown())
      .json("tile", JsonObject()
                        .number("x", tile.x0)
                        .number("y", tile.y0)
                        .number("width", tile.width())
                        .number("height", tile.height())
                        .onOneLine())
      .json("origin",
            JsonObject().number("x", size.image.x0).number("y", size.image.y0).onOneLine())
      .number("capabilities", size.capabilities)
      .json("componentList", jsonLines(each(size.components, componentObject)));
}

void addCodestream(JsonObject& document, const CodestreamFacts& codestream) {
  if (codestream.size) addSize(document, *codestream.size);
  if (codestream.coding) {
    const uint8_t wavelet = codestream.coding->style.wavelet;
    document.text("filter", waveletName(wavelet)).flag("reversible", wavelet == 1);
  }
  if (codestream.size) addGrid(document, *codestream.size);
  if (codestream.coding) addCoding(document, codestream);
  if (codestream.quantization) {
    document.number("guardBits", codestream.quantization->guardBits);
  }
  JsonObject markers;
  for (const auto& [marker, count] : codestream.markers) markers.number(markerName(marker), count);
  document.number("tileParts", codestream.tileParts)
      .flag("complete", codestream.complete)
      .json("markers", markers.onOneLine());
}

std::string colourObject(const FileFacts& facts) {
  if (facts.boxes->colours.empty()) return "null";
  const ColourFacts& colour = facts.boxes->colours.front();
  JsonObject object;
  object.text("name", colourSpaceOf(facts).name).number("method", colour.method);
  if (colour.method == static_cast<uint8_t>(ColourMethod::kEnumerated)) {
    object.number("number", colour.space);
  } else {
    object.number("bytes", colour.profileSize);
  }
  return object.onOneLine();
}

std::string paletteObject(const Palette& palette) {
  const auto bits = [](const PaletteColumn& column) { return std::to_string(column.bits); };
  return JsonObject()
      .number("entries", palette.entries)
      .number("columns", palette.columns.size())
      .json("bits", jsonList(each(palette.columns, bits)))
      .onOneLine();
}

std::string channelObject(const ChannelMeaning& meaning) {
  return JsonObject()
      .number("channel", meaning.channel)
      .text("type", channelTypeName(meaning.type))
      .number("association", meaning.association)
      .onOneLine();
}

void addBoxes(JsonObject& document, const FileFacts& facts) {
  const BoxFacts& boxes = *facts.boxes;
  document.text("brand", boxes.brand)
      .json("compatible", texts(boxes.compatible))
      .json("boxes", texts(boxes.types))
      .json("colourSpace", colourObject(facts))
      .text("opacity", opacityName(boxes))
      .json("palette", boxes.palette ? paletteObject(*boxes.palette) : "null")
      .json("channels", jsonLines(each(boxes.channels, channelObject)));
  if (boxes.cut) document.number("missingBytes", boxes.cut->missing);
}

std::string metadataObject(const MetadataItem& item) {
  JsonObject object;
  object.number("kind", item.kind).text("name", metadataName(item.kind));
  object.number("length", item.length);
  if (item.missing > 0) object.number("missing", item.missing);
  const bool readable = item.kind == WBX_META_TEXT || item.kind == WBX_META_URL;
  if (readable) object.text("text", readableText(item));
  return object.onOneLine();
}

std::string errorObject(const FileReport::Error& error) {
  JsonObject object;
  if (error.code != 0) object.number("code", static_cast<uint64_t>(error.code));
  object.text("text", error.text);
  if (!error.reason.empty()) object.text("reason", error.reason);
  return object.onOneLine();
}

}  // namespace

std::string asJson(const FileReport& report) {
  const FileFacts& facts = report.facts;
  JsonObject document;
  document.text("file", report.name);
  if (report.error) document.json("error", errorObject(*report.error));
  const char* codestream = facts.codestream ? "codestream" : "unknown";
  document.text("format", facts.boxes ? "jp2" : codestream).number("size", facts.fileSize);
  if (facts.codestream) addCodestream(document, *facts.codestream);
  if (facts.boxes) addBoxes(document, facts);
  std::vector<std::string> resolutions;
  for (const Size& size : report.resolutions) {
    JsonObject object;
    object.number("level", resolutions.size());
    resolutions.push_back(
        object.number("width", size.width).number("height", size.height).onOneLine());
  }
  document.json("resolutions", jsonLines(resolutions))
      .json("metadata", jsonLines(each(report.metadata, metadataObject)));
  return document.onLines();
}

}  // namespace wbx::tool
