#include "support/expected_picture.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "support/source_picture.h"

namespace wbx::test {

namespace {

// A rectangle of lanes with its place on its own grid, whose parities decide what is low-pass.
struct Band {
  uint32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  std::vector<int32_t> lanes;

  uint32_t width() const { return x1 - x0; }
  int32_t& at(uint32_t x, uint32_t y) {
    return lanes[static_cast<size_t>(y - y0) * width() + (x - x0)];
  }
};

uint32_t halve(uint32_t v) {
  return (v + 1) / 2;
}

// The low-pass half of a line that begins at coordinate `first`.
std::vector<int32_t> lowPass(const std::vector<int32_t>& line, uint32_t first) {
  const int32_t begin = static_cast<int32_t>(first);
  const int32_t end = begin + static_cast<int32_t>(line.size());
  if (line.size() == 1) return begin % 2 == 0 ? line : std::vector<int32_t>{};
  const auto mirrored = [&](int32_t i) {
    if (i < begin) i = 2 * begin - i;
    if (i >= end) i = 2 * (end - 1) - i;
    return line[static_cast<size_t>(i - begin)];
  };
  const auto high = [&](int32_t i) {
    if (i < begin) i = 2 * begin - i;
    if (i >= end) i = 2 * (end - 1) - i;
    return mirrored(i) - ((mirrored(i - 1) + mirrored(i + 1)) >> 1);
  };
  std::vector<int32_t> low;
  for (int32_t i = begin + begin % 2; i < end; i += 2)
    low.push_back(mirrored(i) + ((high(i - 1) + high(i + 1) + 2) >> 2));
  return low;
}

// One level of analysis, vertical first, of which only the low band is kept.
Band analysed(Band in) {
  Band tall = {in.x0, halve(in.y0), in.x1, halve(in.y1), {}};
  tall.lanes.resize(static_cast<size_t>(tall.width()) * (tall.y1 - tall.y0));
  for (uint32_t x = in.x0; x < in.x1; ++x) {
    std::vector<int32_t> column;
    for (uint32_t y = in.y0; y < in.y1; ++y) column.push_back(in.at(x, y));
    const std::vector<int32_t> low = lowPass(column, in.y0);
    for (size_t i = 0; i < low.size(); ++i) tall.at(x, tall.y0 + static_cast<uint32_t>(i)) = low[i];
  }
  Band out = {halve(in.x0), tall.y0, halve(in.x1), tall.y1, {}};
  for (uint32_t y = tall.y0; y < tall.y1; ++y) {
    const auto row = tall.lanes.begin() + static_cast<std::ptrdiff_t>((y - tall.y0) * tall.width());
    const std::vector<int32_t> low = lowPass({row, row + tall.width()}, in.x0);
    out.lanes.insert(out.lanes.end(), low.begin(), low.end());
  }
  return out;
}

void forwardColour(std::vector<Band>& bands) {
  for (size_t i = 0; i < bands[0].lanes.size(); ++i) {
    int32_t &r = bands[0].lanes[i], &g = bands[1].lanes[i], &b = bands[2].lanes[i];
    const int32_t y = (r + 2 * g + b) >> 2, u = b - g, v = r - g;
    r = y, g = u, b = v;
  }
}

void inverseColour(std::vector<Band>& bands) {
  for (size_t i = 0; i < bands[0].lanes.size(); ++i) {
    int32_t &y = bands[0].lanes[i], &u = bands[1].lanes[i], &v = bands[2].lanes[i];
    const int32_t g = y - ((u + v) >> 2), r = v + g, b = u + g;
    y = r, u = g, v = b;
  }
}

struct OutputLevel {
  explicit OutputLevel(int precision)
      : middle(1 << (std::max(precision, 8) - 1)), top(2 * middle - 1) {}
  int32_t shown(int32_t lane) const { return std::clamp(lane + middle, 0, top); }
  int32_t middle, top;
};

Band sourceBand(const Accepted& entry, uint32_t c, const Band& place) {
  Band band = place;
  for (uint32_t y = place.y0; y < place.y1; ++y)
    for (uint32_t x = place.x0; x < place.x1; ++x)
      band.lanes.push_back(
          sourceSample(entry.picture, x - entry.image[0], y - entry.image[1], c, entry.precision) -
          (1 << (entry.precision - 1)));
  return band;
}

std::vector<Band> reducedTile(const Accepted& entry, const Band& place, uint32_t levels) {
  std::vector<Band> bands;
  for (uint32_t c = 0; c < entry.components; ++c) bands.push_back(sourceBand(entry, c, place));
  if (entry.colourTransform) forwardColour(bands);
  for (uint32_t level = 0; level < levels; ++level)
    for (Band& band : bands) band = analysed(std::move(band));
  if (entry.colourTransform) inverseColour(bands);
  return bands;
}

Band tilePlace(const Accepted& entry, uint32_t p, uint32_t q) {
  const auto& [x0, y0, x1, y1] = entry.image;
  const auto& [tx, ty, tw, th] = entry.tile;
  return {std::max(tx + p * tw, x0),
          std::max(ty + q * th, y0),
          std::min(tx + (p + 1) * tw, x1),
          std::min(ty + (q + 1) * th, y1),
          {}};
}

}  // namespace

Planes sourcePlanes(const Accepted& entry) {
  Planes planes = {entry.width(), entry.height(), {}};
  const int32_t moved = entry.precision < 8 ? 128 - (1 << (entry.precision - 1)) : 0;
  for (uint32_t c = 0; c < entry.components; ++c) {
    const auto [dx, dy] = entry.steps[c];
    auto& plane = planes.samples.emplace_back();
    for (uint32_t y = 0; y < planes.height; ++y)
      for (uint32_t x = 0; x < planes.width; ++x)
        plane.push_back(sourceSample(entry.picture, x / dx, y / dy, c, entry.precision) + moved);
  }
  return planes;
}

Planes reducedPlanes(const Accepted& entry, uint32_t levels) {
  const auto reduce = [&](uint32_t v) {
    for (uint32_t i = 0; i < levels; ++i) v = halve(v);
    return v;
  };
  const uint32_t left = reduce(entry.image[0]), top = reduce(entry.image[1]);
  Planes planes = {reduce(entry.image[2]) - left, reduce(entry.image[3]) - top, {}};
  planes.samples.assign(entry.components,
                        std::vector<int32_t>(static_cast<size_t>(planes.width) * planes.height));
  const OutputLevel level(entry.precision);
  for (uint32_t q = 0; q < entry.tilesDown(); ++q) {
    for (uint32_t p = 0; p < entry.tilesAcross(); ++p) {
      std::vector<Band> bands = reducedTile(entry, tilePlace(entry, p, q), levels);
      for (uint32_t c = 0; c < entry.components; ++c)
        for (uint32_t y = bands[c].y0; y < bands[c].y1; ++y)
          for (uint32_t x = bands[c].x0; x < bands[c].x1; ++x)
            planes.samples[c][static_cast<size_t>(y - top) * planes.width + (x - left)] =
                level.shown(bands[c].at(x, y));
    }
  }
  return planes;
}

int32_t PixelView::at(uint32_t x, uint32_t y, uint32_t channel) const {
  const size_t offset =
      static_cast<size_t>(y) * picture_.pitch + x * pixelBytes_ + channel * bytesPerSample_;
  if (bytesPerSample_ == 1) return picture_.bytes.at(offset);
  if (offset + 2 > picture_.bytes.size()) return -1;
  uint16_t word = 0;
  std::memcpy(&word, picture_.bytes.data() + offset, sizeof word);
  return word;
}

uint32_t channelOf(uint32_t c, uint32_t components) {
  return components >= 3 && c < 3 ? 2 - c : c;
}

std::optional<std::string> firstDifference(const Planes& expected, const PixelView& got,
                                           bool blueFirst) {
  const auto components = static_cast<uint32_t>(expected.samples.size());
  for (uint32_t y = 0; y < expected.height; ++y) {
    for (uint32_t x = 0; x < expected.width; ++x) {
      for (uint32_t c = 0; c < components; ++c) {
        const int32_t value = got.at(x, y, blueFirst ? c : channelOf(c, components));
        if (value == expected.at(c, x, y)) continue;
        std::ostringstream text;
        text << "component " << c << " at " << x << "," << y << ": expected "
             << expected.at(c, x, y) << ", decoded " << value;
        return text.str();
      }
    }
  }
  return std::nullopt;
}

}  // namespace wbx::test
