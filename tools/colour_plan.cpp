#include "colour_plan.h"

#include <algorithm>
#include <optional>

namespace wbx::tool {

namespace {

constexpr uint32_t kMostBits = 16;

// A channel of the image: a component, or a column of the palette looked up by one.
struct Channel {
  uint32_t component = 0;
  std::optional<uint32_t> column;
};

// Which channels are which.
struct Roles {
  std::vector<size_t> colours;
  std::optional<size_t> opacity;
  bool premultiplied = false;
  size_t others = 0;  // channels that the picture leaves out
};

class Planner {
 public:
  Planner(const FileFacts& facts, const DecodedSamples& decoded, ColourPlan& plan,
          std::vector<std::string>& notes)
      : facts_(facts), decoded_(decoded), plan_(plan), notes_(notes) {}

  Outcome planIndices() {
    plan_.decodedBits = plan_.bits = decoded_.bits;
    addSource(Channel{});
    plan_.keepsProfile = false;
    return {};
  }

  Outcome planImage() {
    if (Outcome outcome = findChannels(); outcome.failed()) return outcome;
    space_ = colourSpaceOf(facts_);
    const Roles roles = findRoles();
    plan_.decodedBits = decoded_.bits;
    plan_.bits = widestChannel(roles);
    for (const size_t colour : roles.colours) addSource(channels_[colour]);
    plan_.opacity = roles.opacity.has_value();
    if (plan_.opacity) addSource(channels_[*roles.opacity]);
    chooseMix();
    tell(roles);
    return {};
  }

 private:
  const Palette* palette() const {
    return facts_.boxes && facts_.boxes->palette ? &*facts_.boxes->palette : nullptr;
  }

  Outcome findChannels() {
    const Palette* const table = palette();
    if (table == nullptr) {
      for (uint32_t i = 0; i < decoded_.components; ++i) channels_.push_back({i, {}});
      return {};
    }
    plan_.throughPalette = true;
    for (const ChannelMapping& mapping : facts_.boxes->mapping) {
      channels_.push_back({mapping.component, mapping.throughPalette
                                                  ? std::optional<uint32_t>(mapping.column)
                                                  : std::nullopt});
    }
    // A palette without its mapping can only be meant for the first component.
    for (uint32_t i = 0; facts_.boxes->mapping.empty() && i < table->columns.size(); ++i) {
      channels_.push_back({0, i});
    }
    return checkPalette(*table);
  }

  Outcome checkPalette(const Palette& table) const {
    const bool valuesThere = table.entries > 0 && !table.values.empty();
    const bool channelsFit =
        std::all_of(channels_.begin(), channels_.end(), [&](const Channel& channel) {
          return channel.component < decoded_.components &&
                 (!channel.column || (*channel.column < table.columns.size() &&
                                      table.columns[*channel.column].bits <= kMostBits));
        });
    if (valuesThere && channelsFit && !channels_.empty()) return {};
    return Outcome::image("the palette is damaged; --indices writes the indices");
  }

  // How many of `available` channels are colours.
  size_t colourCount(size_t available) const {
    size_t wanted = space_.colours;
    // A space that the channels contradict says nothing.
    if (wanted == 0 || wanted > available || (wanted == 1 && available >= 3)) {
      wanted = available >= 3 ? 3 : 1;
    }
    return wanted;
  }

  Roles findRoles() const {
    const bool described = facts_.boxes && !facts_.boxes->channels.empty();
    Roles roles = described ? describedRoles() : plainRoles();
    if (roles.colours.empty()) roles = plainRoles();
    roles.others = channels_.size() - roles.colours.size() - (roles.opacity ? 1 : 0);
    return roles;
  }

  // Without a channel definition the first channels are the colours. Only a bare codestream, which
  // can tell nothing, is taken at the custom that one more channel is opacity.
  Roles plainRoles() const {
    Roles roles;
    const size_t count = colourCount(channels_.size());
    for (size_t i = 0; i < count; ++i) roles.colours.push_back(i);
    if (!facts_.boxes && channels_.size() == count + 1) roles.opacity = count;
    return roles;
  }

  Roles describedRoles() const {
    Roles roles;
    std::vector<std::optional<size_t>> byColour(4);
    for (const ChannelMeaning& meaning : facts_.boxes->channels) {
      if (meaning.channel >= channels_.size()) continue;
      const auto type = static_cast<ChannelType>(meaning.type);
      const bool isColour = type == ChannelType::kColour && meaning.association >= 1 &&
                            meaning.association <= byColour.size();
      if (isColour) byColour[meaning.association - 1] = meaning.channel;
      const bool ofAll =
          meaning.association == 0 || (meaning.association == 1 && space_.colours == 1);
      if (ofAll && (type == ChannelType::kOpacity || type == ChannelType::kPremultiplied)) {
        roles.opacity = meaning.channel;
        roles.premultiplied = type == ChannelType::kPremultiplied;
      }
    }
    const auto end = std::find(byColour.begin(), byColour.end(), std::nullopt);
    const size_t count = colourCount(static_cast<size_t>(end - byColour.begin()));
    for (size_t i = 0; i < count && byColour[i]; ++i) roles.colours.push_back(*byColour[i]);
    return roles;
  }

  uint32_t channelBits(const Channel& channel) const {
    return channel.column ? palette()->columns[*channel.column].bits : decoded_.bits;
  }

  uint32_t widestChannel(const Roles& roles) const {
    uint32_t bits = 1;
    for (const size_t i : roles.colours) bits = std::max(bits, channelBits(channels_[i]));
    return roles.opacity ? std::max(bits, channelBits(channels_[*roles.opacity])) : bits;
  }

  // The value of a channel where its component is `value`.
  uint32_t channelValue(const Channel& channel, uint32_t value) const {
    if (!channel.column) return value;
    const Palette& table = *palette();
    const PaletteColumn& column = table.columns[*channel.column];
    const size_t entry = std::min(value, table.entries - 1);
    const auto found =
        static_cast<uint32_t>(table.values[entry * table.columns.size() + *channel.column]);
    const uint32_t mask = (1u << column.bits) - 1;
    return (column.isSigned ? found ^ 1u << (column.bits - 1) : found) & mask;
  }

  // What stands for sample `raw` of a decode: those of fewer than 8 bits keep the level shift of 8.
  uint32_t decodedValue(uint32_t raw) const {
    const int32_t shift = decoded_.bits < 8 ? 128 - (1 << (decoded_.bits - 1)) : 0;
    const int32_t most = (1 << decoded_.bits) - 1;
    return static_cast<uint32_t>(std::clamp(static_cast<int32_t>(raw) - shift, 0, most));
  }

  void addSource(const Channel& channel) {
    ColourPlan::Source source;
    source.component = channel.component;
    const uint32_t from = (1u << channelBits(channel)) - 1;
    const uint32_t to = plan_.maxValue();
    if (channel.column || decoded_.bits < 8 || from != to) {
      source.table.resize(decoded_.bits > 8 ? 65536 : 256);
      for (uint32_t raw = 0; raw < source.table.size(); ++raw) {
        const uint32_t value = channelValue(channel, decodedValue(raw));
        source.table[raw] = static_cast<uint16_t>((uint64_t{value} * to + from / 2) / from);
      }
    }
    plan_.sources.push_back(std::move(source));
  }

  void chooseMix() {
    const uint32_t colours = plan_.sourceColours();
    if (colours == 3 && isYcc()) {
      chooseYcc();
    } else if (space_.kind == ColourKind::kCmy && colours == 3) {
      plan_.mix = ColourPlan::Mix::kCmyToRgb;
    } else if (colours == 4 && space_.kind == ColourKind::kCmyk) {
      plan_.mix = ColourPlan::Mix::kCmykToRgb;
    } else if (colours == 4) {
      dropFourthColour();
    }
    const bool subtractive = space_.kind == ColourKind::kCmy || space_.kind == ColourKind::kCmyk;
    if (subtractive) plan_.keepsProfile = false;
  }

  bool isYcc() const {
    const bool mayBeYcc = space_.kind == ColourKind::kUnknown || space_.kind == ColourKind::kRgb;
    return space_.kind == ColourKind::kYcc || (mayBeYcc && hasSmallChroma(facts_));
  }

  // For chroma of half width the library assumes a transform of the codestream, and that of the 5-3
  // filter is not the one of YCC. Without a transform it converts no bytes.
  void chooseYcc() {
    plan_.needsNoTransform = hasSmallChroma(facts_);
    const bool withoutTransform = plan_.needsNoTransform || decoded_.asCoded;
    const bool converted = libraryConverts(facts_) && !plan_.throughPalette &&
                           !(withoutTransform && decoded_.bits <= 8);
    if (!converted && !decoded_.asCoded) plan_.mix = ColourPlan::Mix::kYccToRgb;
  }

  void dropFourthColour() { plan_.sources.erase(plan_.sources.begin() + 3); }

  void tell(const Roles& roles) {
    if (plan_.mix == ColourPlan::Mix::kCmykToRgb || plan_.mix == ColourPlan::Mix::kCmyToRgb) {
      notes_.push_back("the colours are " + space_.name +
                       " and are converted plainly to RGB; --format raw keeps them");
    }
    if (space_.kind != ColourKind::kYcc && plan_.mix == ColourPlan::Mix::kYccToRgb) {
      notes_.push_back("its sub-sampled components are taken for the chroma of YCC");
    }
    if (space_.kind == ColourKind::kNotConverted) {
      notes_.push_back("the colour space (" + space_.name +
                       ") is not converted; the samples are written as they are");
    }
    if (roles.premultiplied) {
      notes_.push_back("the colours are multiplied by the opacity already");
    }
    if (roles.opacity && !facts_.boxes) {
      notes_.push_back("nothing says what the last component is; it is taken for opacity");
    }
    if (roles.others > 0) {
      notes_.push_back(std::to_string(roles.others) +
                       " of the channels are neither colours nor opacity of the whole image and "
                       "are left out; --format raw has all components");
    }
  }

  const FileFacts& facts_;
  const DecodedSamples& decoded_;
  ColourPlan& plan_;
  std::vector<std::string>& notes_;
  std::vector<Channel> channels_;
  ColourSpace space_;
};

}  // namespace

Outcome planColours(const FileFacts& facts, const DecodedSamples& decoded, bool indices,
                    ColourPlan& plan, std::vector<std::string>& notes) {
  Planner planner(facts, decoded, plan, notes);
  const bool hasPalette = facts.boxes && facts.boxes->palette;
  return indices && hasPalette ? planner.planIndices() : planner.planImage();
}

PixelLayout pixelLayout(const FileFacts& facts, uint32_t components, uint32_t samplesPerPixel) {
  constexpr uint32_t kBlue = 3;
  PixelLayout layout;
  layout.samplesPerPixel = samplesPerPixel;
  if (components < 3 || !facts.boxes) return layout;
  // The library turns the colours of a file round that begin with blue.
  for (const ChannelMeaning& meaning : facts.boxes->channels) {
    if (meaning.channel != 0) continue;
    layout.place[0] = meaning.association == kBlue ? 2 : 0;
    layout.place[2] = 2 - layout.place[0];
  }
  return layout;
}

}  // namespace wbx::tool
