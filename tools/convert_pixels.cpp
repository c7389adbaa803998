#include <algorithm>
#include <cstring>

#include "colour_plan.h"

namespace wbx::tool {

namespace {

int32_t clamped(int32_t value, int32_t most) {
  return std::clamp(value, 0, most);
}

// Full-range YCC of ITU-R BT.601, in 16 fractional bits.
void yccToRgb(uint32_t* colour, int32_t most) {
  const int64_t y = int64_t{colour[0]} * 65536 + 32768;
  const int64_t cb = int64_t{colour[1]} - (most + 1) / 2;
  const int64_t cr = int64_t{colour[2]} - (most + 1) / 2;
  const auto stored = [&](int64_t value) {
    return static_cast<uint32_t>(clamped(static_cast<int32_t>(value >> 16), most));
  };
  colour[0] = stored(y + 91881 * cr);
  colour[1] = stored(y - 22554 * cb - 46802 * cr);
  colour[2] = stored(y + 116130 * cb);
}

void mixPixel(ColourPlan::Mix mix, uint32_t* colour, uint32_t most) {
  switch (mix) {
    case ColourPlan::Mix::kNone:
      return;
    case ColourPlan::Mix::kYccToRgb:
      return yccToRgb(colour, static_cast<int32_t>(most));
    case ColourPlan::Mix::kCmyToRgb:
      for (int i = 0; i < 3; ++i) colour[i] = most - colour[i];
      return;
    case ColourPlan::Mix::kCmykToRgb: {
      const uint64_t light = most - colour[3];
      for (int i = 0; i < 3; ++i) {
        colour[i] = static_cast<uint32_t>(((most - colour[i]) * light + most / 2) / most);
      }
      colour[3] = colour[4];  // opacity, if there is one
      return;
    }
  }
}

template <class In, class Out>
void convert(const ColourPlan& plan, const PixelLayout& layout, const In* in, size_t count,
             Out* out) {
  uint32_t places[5] = {};
  const size_t sources = std::min<size_t>(plan.sources.size(), std::size(places));
  for (size_t i = 0; i < sources; ++i) places[i] = layout.place[plan.sources[i].component & 3];
  const size_t samples = plan.samples();
  for (size_t pixel = 0; pixel < count; ++pixel) {
    uint32_t values[5] = {};
    for (size_t i = 0; i < sources; ++i) {
      const uint32_t value = in[places[i]];
      const auto& table = plan.sources[i].table;
      values[i] = table.empty() ? value : table[value];
    }
    mixPixel(plan.mix, values, plan.maxValue());
    for (size_t i = 0; i < samples; ++i) *out++ = static_cast<Out>(values[i]);
    in += layout.samplesPerPixel;
  }
}

// Nothing to do but to leave out what stands behind the samples of a pixel.
bool isPlain(const ColourPlan& plan, const PixelLayout& layout) {
  if (plan.mix != ColourPlan::Mix::kNone) return false;
  for (uint32_t i = 0; i < plan.sources.size(); ++i) {
    const ColourPlan::Source& source = plan.sources[i];
    if (!source.table.empty() || layout.place[source.component & 3] != i) return false;
  }
  return true;
}

template <class Sample>
void pack(const Sample* in, size_t inStep, Sample* out, size_t outStep, size_t count) {
  if (inStep == outStep) {
    std::memcpy(out, in, count * inStep * sizeof(Sample));
  } else if (inStep == 4 && outStep == 3) {
    for (size_t i = 0; i < count; ++i, in += 4, out += 3) {
      out[0] = in[0];
      out[1] = in[1];
      out[2] = in[2];
    }
  } else {
    for (size_t i = 0; i < count; ++i, in += inStep, out += outStep) {
      std::copy_n(in, outStep, out);
    }
  }
}

}  // namespace

void convertPixels(const ColourPlan& plan, const PixelLayout& layout, const uint8_t* decoded,
                   size_t count, uint8_t* picture) {
  const auto* words = reinterpret_cast<const uint16_t*>(decoded);
  auto* out = reinterpret_cast<uint16_t*>(picture);
  const bool fromWords = plan.decodedBits > 8;
  const bool toWords = plan.bits > 8;
  const size_t step = layout.samplesPerPixel;
  if (isPlain(plan, layout)) {
    if (fromWords) return pack(words, step, out, plan.samples(), count);
    return pack(decoded, step, picture, plan.samples(), count);
  }
  if (fromWords && toWords) return convert(plan, layout, words, count, out);
  if (fromWords) return convert(plan, layout, words, count, picture);
  if (toWords) return convert(plan, layout, decoded, count, out);
  convert(plan, layout, decoded, count, picture);
}

}  // namespace wbx::tool
