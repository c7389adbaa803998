#ifndef WBX_TOOLS_FILE_FACTS_H
#define WBX_TOOLS_FILE_FACTS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "byte_source.h"

// What the headers of a file say, read by the tool itself: also of files that the decoder refuses,
// and of what the library's functions do not tell (colour space, palette, channels). Everything is
// as the file has it; nothing is checked but that it lies inside the file.
namespace wbx::tool {

struct Size {
  uint32_t width = 0;
  uint32_t height = 0;

  bool operator==(const Size&) const = default;
};

// Columns x0 to x1 and rows y0 to y1, without the last ones.
struct Rect {
  uint32_t x0 = 0;
  uint32_t y0 = 0;
  uint32_t x1 = 0;
  uint32_t y1 = 0;

  uint32_t width() const { return x1 > x0 ? x1 - x0 : 0; }
  uint32_t height() const { return y1 > y0 ? y1 - y0 : 0; }
  bool empty() const { return width() == 0 || height() == 0; }
};

// The rectangle `level` resolutions below (T.800 B-15).
Rect reduced(const Rect& rect, uint32_t level);

// ----- the boxes of a JP2 or JPX file (T.800 I) -----

enum class ColourMethod : uint8_t { kEnumerated = 1, kRestrictedIcc = 2, kAnyIcc = 3 };

struct ColourFacts {
  uint8_t method = 0;                  // ColourMethod, or one of JPX
  uint32_t space = 0;                  // the number of an enumerated colour space
  uint64_t profileSize = 0;            // bytes of an ICC profile
  std::array<char, 4> profileSpace{};  // the colour space that its header names, as "RGB "
  bool inImageHeader = true;           // in the jp2h box, where the library looks
};

struct PaletteColumn {
  uint32_t bits = 0;
  bool isSigned = false;
};

struct Palette {
  uint32_t entries = 0;
  std::vector<PaletteColumn> columns;
  std::vector<uint64_t> values;  // entry by entry; empty if they are not all there
};

// One channel of a cmap box: a component as it is, or looked up in a column of the palette.
struct ChannelMapping {
  uint32_t component = 0;
  bool throughPalette = false;
  uint32_t column = 0;
};

enum class ChannelType : uint16_t { kColour = 0, kOpacity = 1, kPremultiplied = 2 };

// One entry of a cdef box.
struct ChannelMeaning {
  uint32_t channel = 0;
  uint32_t type = 0;         // ChannelType; 65535 for unspecified
  uint32_t association = 0;  // 0 for the whole image, 1 for the first colour
};

// A box that claims more than the file holds.
struct CutBox {
  std::string type;
  uint64_t missing = 0;  // bytes
};

struct BoxFacts {
  std::string brand;
  std::vector<std::string> compatible;
  std::vector<std::string> types;  // of all boxes, in the order of the file, up to a limit
  uint32_t compression = 0;        // of the image header box
  bool intellectualProperty = false;
  std::vector<uint8_t> bitsPerComponent;  // bpcc: depth - 1, the top bit for signed
  std::vector<ColourFacts> colours;
  std::optional<Palette> palette;
  std::vector<ChannelMapping> mapping;
  std::vector<ChannelMeaning> channels;
  std::optional<CutBox> cut;
};

// ----- the codestream (T.800 A) -----

struct ComponentFacts {
  uint32_t bits = 0;
  bool isSigned = false;
  uint32_t dx = 0;
  uint32_t dy = 0;

  bool operator==(const ComponentFacts&) const = default;
};

struct SizeFacts {
  uint32_t capabilities = 0;  // Rsiz
  Rect image;
  Rect firstTile;  // not cut by the image
  std::vector<ComponentFacts> components;

  uint32_t tilesAcross() const;
  uint32_t tilesDown() const;
  // The tile without what lies outside the image.
  Rect tile(uint32_t column, uint32_t row) const;
};

// What COD and COC say of one component.
struct StyleFacts {
  uint32_t levels = 0;  // decompositions
  Size codeBlock;
  uint8_t modes = 0;  // of the code blocks, T.800 table A.19
  uint8_t wavelet = 0;
  std::vector<Size> precincts;  // from the lowest resolution up; empty for the largest ones
};

struct CodingFacts {
  bool sop = false;
  bool eph = false;
  uint8_t progression = 0;
  uint32_t layers = 0;
  uint8_t transform = 0;  // of the components
  StyleFacts style;
};

struct QuantizationFacts {
  uint8_t style = 0;
  uint32_t guardBits = 0;
};

struct CodestreamFacts {
  std::optional<SizeFacts> size;
  std::optional<CodingFacts> coding;
  std::map<uint32_t, StyleFacts> componentStyles;  // COC
  std::optional<QuantizationFacts> quantization;
  std::map<uint16_t, uint64_t> markers;  // how often each occurs, in packets none
  uint64_t tileParts = 0;
  bool complete = false;  // the tile-parts end with EOC
};

struct FileFacts {
  uint64_t fileSize = 0;
  std::optional<BoxFacts> boxes;  // none of a bare codestream
  std::optional<CodestreamFacts> codestream;
};

// How far to read: the main header is all that a decode needs.
enum class Depth { kMainHeader, kTileParts };

FileFacts readFacts(ByteSource& source, Depth depth);

// The two halves of it. `boxesOf` also finds the codestream; `end` is behind its last byte.
struct CodestreamPlace {
  uint64_t begin = 0;
  uint64_t end = 0;
};
BoxFacts readBoxes(ByteSource& source, std::optional<CodestreamPlace>& codestream);
CodestreamFacts readCodestream(ByteSource& source, CodestreamPlace place, Depth depth);

}  // namespace wbx::tool

#endif
