// What the tool reads of a file by itself: boxes and markers, the table and the JSON that tell of
// them, and the plan for colours and tiles.
#include <cstring>
#include <string>
#include <utility>

#include "codestream_mutator.h"
#include "colour_plan.h"
#include "file_facts.h"
#include "info.h"
#include "support.h"
#include "tile_plan.h"

namespace wbx::fuzz {

namespace {

// Reads JSON as RFC 8259 has it, of texts without control characters.
class JsonReader {
 public:
  explicit JsonReader(const std::string& text) : text_(text) {}

  bool isDocument() { return value() && (skipSpace(), at_ == text_.size()); }

 private:
  void skipSpace() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n')) ++at_;
  }
  bool take(const char* wanted) {
    skipSpace();
    const size_t length = std::strlen(wanted);
    if (text_.compare(at_, length, wanted) != 0) return false;
    at_ += length;
    return true;
  }
  bool value() {
    if (take("{")) return members("}", true);
    if (take("[")) return members("]", false);
    if (take("\"")) return string();
    return take("null") || take("true") || take("false") || number();
  }
  bool members(const char* end, bool named) {
    if (take(end)) return true;
    do {
      if (named && !(take("\"") && string() && take(":"))) return false;
      if (!value()) return false;
    } while (take(","));
    return take(end);
  }
  bool number() {
    const size_t begin = at_;
    while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9') ++at_;
    return at_ > begin && (text_[begin] != '0' || at_ == begin + 1);
  }
  // Behind the opening quote.
  bool string() {
    for (; at_ < text_.size(); ++at_) {
      const auto c = static_cast<u8>(text_[at_]);
      if (c == '"') return ++at_, true;
      if (c < 0x20) return false;
      if (c != '\\') continue;
      const char next = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
      if (next == 'u' && text_.find_first_not_of("0123456789abcdef", at_ + 2) < at_ + 6)
        return false;
      if (next != 'u' && next != '"' && next != '\\') return false;
      ++at_;
    }
    return false;
  }

  const std::string& text_;
  size_t at_ = 0;
};

void planPicture(const tool::FileFacts& facts, Decisions& tail) {
  if (!facts.codestream || !facts.codestream->size) return;
  const tool::SizeFacts& size = *facts.codestream->size;
  // What the library lets through.
  const u64 tiles = u64{size.tilesAcross()} * size.tilesDown();
  if (tiles == 0 || tiles > 1 << 24 || size.image.empty()) return;
  const tool::Region region{tail.word(), tail.word(), 1 + tail.word(), 1 + tail.word()};
  if (const auto plan = tool::planRegion(size, region)) {
    require(!plan->picture.empty() && !plan->bands.empty(), "a region of nothing");
  }
  const auto last = static_cast<i32>(tail.word() % tiles);
  const auto first = static_cast<i32>(tail.word() % (static_cast<u64>(last) + 1));
  const tool::TilePlan plan = tool::planTiles(size, tool::TileRange{first, last}, tail.flag());
  require(plan.tiles == static_cast<u64>(last - first) + 1, "not the tiles of the range");
}

void planAndConvert(const tool::FileFacts& facts, Decisions& tail) {
  const tool::DecodedSamples decoded{static_cast<u32>(tail.between(1, 4)),
                                     static_cast<u32>(tail.between(1, 16)), tail.flag()};
  tool::ColourPlan plan;
  std::vector<std::string> notes;
  if (tool::planColours(facts, decoded, tail.flag(), plan, notes).failed()) return;
  require(plan.samples() >= 1 && plan.samples() <= 4, "samples of a pixel");
  const u32 step = decoded.components == 3 ? 4 : decoded.components;
  const tool::PixelLayout layout = tool::pixelLayout(facts, decoded.components, step);
  constexpr size_t kPixels = 8;
  std::vector<u16> pixels(kPixels * step);
  for (u16& sample : pixels) sample = static_cast<u16>(tail.word() & ((1u << decoded.bits) - 1));
  std::vector<u16> picture(kPixels * plan.samples());
  tool::convertPixels(plan, layout, reinterpret_cast<const u8*>(pixels.data()), kPixels,
                      reinterpret_cast<u8*>(picture.data()));
  for (const u16 sample : picture) {
    require(plan.bits <= 8 || sample <= plan.maxValue(), "a sample beyond its bits");
  }
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  using namespace wbx;
  fuzz::FileInput input(data, size);
  if (input.size == 0) return -1;
  tool::ByteSource source(std::vector<uint8_t>(input.file, input.file + input.size));
  tool::FileReport report;
  report.name.assign(reinterpret_cast<const char*>(data), std::min<size_t>(size, 24));
  report.facts = tool::readFacts(source, tool::Depth::kTileParts);
  report.error = tool::FileReport::Error{3, report.name, report.name};
  const std::string json = tool::asJson(report);
  fuzz::require(fuzz::JsonReader(json).isDocument(), "no JSON");
  for (const char c : tool::asTable(report)) {
    fuzz::require(c == '\n' || static_cast<u8>(c) >= 0x20, "a control character in the table");
  }
  fuzz::planPicture(report.facts, input.tail);
  fuzz::planAndConvert(report.facts, input.tail);
  return 0;
}
