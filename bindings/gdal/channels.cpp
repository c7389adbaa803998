#include "channels.h"

#include <algorithm>
#include <gdaljp2metadata.h>
#include <memory>

namespace wbx::gdal {

namespace {

// Enumerated colour spaces.
constexpr int kGrey = 17;
constexpr int kYcc = 18;
constexpr int kMostBoxBytes = 1 << 16;

struct Boxes {
  std::vector<uint8_t> colour;
  std::vector<uint8_t> definitions;
};

int word(const std::vector<uint8_t>& bytes, size_t at) {
  return at + 2 <= bytes.size() ? bytes[at] << 8 | bytes[at + 1] : 0;
}

std::vector<uint8_t> contents(GDALJP2Box& box) {
  const GIntBig length = box.GetDataLength();
  if (length <= 0 || length > kMostBoxBytes) return {};
  const std::unique_ptr<GByte, decltype(&VSIFree)> data(box.ReadBoxData(), VSIFree);
  if (data == nullptr) return {};
  return {data.get(), data.get() + length};
}

// The first colr box counts, and the last channel definition.
Boxes readHeader(VSILFILE* file) {
  Boxes boxes;
  GDALJP2Box box(file);
  for (int found = box.ReadFirst(); found && !EQUAL(box.GetType(), "jp2c");
       found = box.ReadNext()) {
    if (!EQUAL(box.GetType(), "jp2h")) continue;
    GDALJP2Box child(file);
    for (int more = child.ReadFirstChild(&box); more && child.GetType()[0] != 0;
         more = child.ReadNextChild(&box)) {
      if (EQUAL(child.GetType(), "colr") && boxes.colour.empty()) boxes.colour = contents(child);
      if (EQUAL(child.GetType(), "cdef")) boxes.definitions = contents(child);
    }
  }
  return boxes;
}

// The enumerated colour space, 0 for a profile.
int colourSpace(const std::vector<uint8_t>& box) {
  return !box.empty() && box[0] == 1 ? word(box, 5) : 0;
}

}  // namespace

Channels readChannels(const char* path, int components) {
  constexpr GDALColorInterp kColours[] = {GCI_RedBand, GCI_GreenBand, GCI_BlueBand};
  Channels channels;
  channels.colours.assign(static_cast<size_t>(components), GCI_Undefined);
  VSILFILE* const file = VSIFOpenL(path, "rb");
  if (file == nullptr) return channels;
  const Boxes boxes = readHeader(file);
  VSIFCloseL(file);

  const int space = colourSpace(boxes.colour);
  const bool isGrey = space == kGrey;
  const bool isColour = space != 0 && !isGrey && components >= 3;
  channels.ycc = space == kYcc && components >= 3;
  if (isGrey) channels.colours[0] = GCI_GrayIndex;
  if (isColour) std::copy_n(kColours, 3, channels.colours.begin());
  for (size_t at = 2; at + 6 <= boxes.definitions.size(); at += 6) {
    const int channel = word(boxes.definitions, at);
    const int type = word(boxes.definitions, at + 2);
    const int association = word(boxes.definitions, at + 4);
    if (channel == 0) channels.blueFirst = components >= 3 && association == 3;
    if (channel >= components) continue;
    GDALColorInterp& colour = channels.colours[static_cast<size_t>(channel)];
    if (type == 1 || type == 2) colour = GCI_AlphaBand;
    if (type != 0 || association < 1 || association > 3) continue;
    if (isColour) colour = kColours[association - 1];
    if (isGrey) colour = GCI_GrayIndex;
  }
  return channels;
}

GDALColorTable readPalette(const std::vector<uint8_t>& box) {
  GDALColorTable table;
  const auto entries = static_cast<size_t>(word(box, 0));
  const size_t columns = box.size() > 2 ? box[2] : 0;
  size_t at = 3 + columns;
  if (entries > 256 || columns < 3 || columns > 4 || box.size() < at + entries * columns)
    return table;
  if (std::any_of(box.begin() + 3, box.begin() + static_cast<ptrdiff_t>(at),
                  [](uint8_t depth) { return depth != 7; })) {
    return table;
  }
  for (size_t entry = 0; entry < entries; ++entry, at += columns) {
    const GDALColorEntry colour = {box[at], box[at + 1], box[at + 2],
                                   static_cast<short>(columns == 4 ? box[at + 3] : 255)};
    table.SetColorEntry(static_cast<int>(entry), &colour);
  }
  return table;
}

}  // namespace wbx::gdal
