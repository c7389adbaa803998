// The log of whole opens and decodes, line by line.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {
namespace {

namespace fs = std::filesystem;

// Without the "[MM:SS.mmm THREAD] " in front.
std::string unstamped(const std::string& line) {
  const size_t end = line.find("] ");
  const bool stamped = line.size() > 11 && line[0] == '[' && line[3] == ':' && line[6] == '.' &&
                       line[10] == ' ' && end != std::string::npos;
  return stamped ? line.substr(end + 2) : line;
}

// With "PTR" in the place of each hexadecimal number of six digits or more.
std::string withoutAddresses(std::string line) {
  for (size_t at = line.find("0x"); at != std::string::npos; at = line.find("0x", at + 1)) {
    const size_t end = line.find_first_not_of("0123456789abcdef", at + 2);
    const size_t length = std::min(end, line.size()) - at;
    if (length >= 8) line.replace(at, length, "PTR");
  }
  return line;
}

// Logs in a folder of its own, since the file lies in the current directory.
class LogText : public testing::Test {
 protected:
  LogText() : before_(fs::current_path()) {
    std::string name = (fs::temp_directory_path() / "wbx-log-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    folder_ = name;
    fs::current_path(folder_);
  }
  ~LogText() override {
    WBX_StopLogging();
    fs::current_path(before_);
    fs::remove_all(folder_);
  }

  void start() { ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK); }

  // The lines behind the head, without their stamps and with "PTR" for each address.
  static std::vector<std::string> lines() {
    WBX_StopLogging();
    const Bytes bytes = readFile("wbx-codec.log");
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    std::vector<std::string> all;
    for (std::string line; std::getline(in, line);)
      all.push_back(withoutAddresses(unstamped(line)));
    return all;
  }

  // All between the head of four lines and the line that stopping adds.
  static std::vector<std::string> body() {
    const std::vector<std::string> all = lines();
    EXPECT_GE(all.size(), 5u);
    if (all.size() < 5) return {};
    EXPECT_EQ(all[1], "PROGRAM: WBX-Codec ver 1.9");
    EXPECT_EQ(all[3].substr(0, 15), "== STARTED on [");
    EXPECT_EQ(all.back(), "== FINISHED ==========================");
    return {all.begin() + 4, all.end() - 1};
  }

 private:
  fs::path before_, folder_;
};

using Lines = std::vector<std::string>;

TEST_F(LogText, TellsAnOpenMarkerByMarker) {
  start();
  Image::openMemory(readFile(dataPath("grey_noise.j2k")));
  EXPECT_EQ(body(),
            (Lines{"API call: WBX_OpenMemory(PTR,906)", "[FF4F]: \"SOC\" marker",
                   "[FF51]: \"SIZ\" marker, 39 bytes",
                   " HEADER: caps=0, image={0,0,33,21 (33 x 21)}, tiles={0,0,33,21 (33 x 21)}, "
                   "tile=(33 x 21), components=1.",
                   "  - Component[0]: sgnd=0, prec=8, hsamp=1, vsamp=1, 33 x 21",
                   " Tiles: 1 x 1 = 1", "[FF52]: \"COD\" marker, 10 bytes",
                   " >> Reversible: CodingStyle=0, Layers=1, Resolution Levels=4, "
                   "ProgrOrder=LRCP, cblkWidthExp=6, cblkHeightExp=6",
                   " >> MCT: 'None', CblkStyles: [ ]", "[FF5C]: \"QCD\" marker, 11 bytes",
                   " No quantization (reversible), qntStepSizes=10, Guard Bits=2, "
                   "qntStepSize[0]=16384",
                   "[FF90]: \"SOT\" marker, 8 bytes", " tile # 0, Len=830, part 0 of 1",
                   "[FF93]: \"SOD\" marker", " - Tile: xstart=0, ystart=0, xend=33, yend=21",
                   "   - Component[0]: 0, 0, 33, 21", "[FFD9]: \"EOC\" marker", "^ OK ^",
                   "API call: WBX_Close(PTR) - OK"}));
}

TEST_F(LogText, TellsADecodeTileByTile) {
  const Image image = Image::openFile(dataPath("tiles_one_high.j2k"));
  ASSERT_TRUE(image);
  image.decode();
  start();
  WBX_SelectTiles(image.handle(), 1, 1, 0);
  uint8_t pixels[9 * 33];
  void* data = pixels;
  uint32_t size = sizeof pixels;
  WBX_Decode(image.handle(), &data, &size, "video=0,co=RGB,mba,bmp=0,nomct", nullptr);
  EXPECT_EQ(body(),
            (Lines{"API call: WBX_SelectTiles(1,1,0) - OK",
                   "API call: WBX_Decode(\"video=0,co=RGB,mba,bmp=0,nomct\"), using "
                   "external buffer",
                   " Options: video=no (0).", " Options: comp_order=RGB.",
                   " Options: mul_by_alpha=yes.", " Options: bitmap=no.", " Options: noMCT=yes.",
                   "  - Tile #0 -> Active. Offset=0x0, Size=9x16 Decoding...",
                   "== TILE: Decoding... ====================",
                   "== TILE: Decoding Finished. =============", "  - Tile #1 => Skipped.",
                   "  - Tile #2 -> Active. Offset=0x32, Size=9x1 Decoding...",
                   "== TILE: Decoding... ====================",
                   "== TILE: Decoding Finished. =============", "^ OK ^"}));
}

TEST_F(LogText, TellsTheBoxesOfAFile) {
  start();
  Image::openMemory(readFile(dataPath("metadata.jp2")));
  const Lines all = body();
  const Lines expected = {"API call: WBX_OpenMemory(PTR,3958)",
                          "[0000]: \"nul\" marker",
                          " Suspecting JP2... Confirmed.",
                          "[ftyp]: 20 bytes",
                          " Looking for 'jp2c'...",
                          "[jp2h]: 45 bytes",
                          "[ihdr]: 22 bytes",
                          "[colr]: 15 bytes",
                          " >> METHOD: 1",
                          " >> ENUM CS: 16",
                          " >> CS: \"sRGB\"",
                          "[xml ]: 50 bytes",
                          "[url ]: 92 bytes",
                          " URL: \"https://example.org/a/rather/long/address/that/does/not...\"",
                          "[uuid]: 34 bytes",
                          "  GeoTIFF",
                          "[uuid]: 31 bytes",
                          "  Unknown",
                          "[free]: 15 bytes",
                          "[jp2c]: 3607 bytes",
                          " Found."};
  ASSERT_GE(all.size(), expected.size());
  EXPECT_EQ(Lines(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(expected.size())),
            expected);
}

TEST_F(LogText, TellsWhyAnOpenFails) {
  start();
  Image::openMemory(readFile(dataPath("bad_signed.j2k")));
  EXPECT_EQ(body().back(), "checkCompliance() failure!");
}

TEST_F(LogText, TellsOfHalfWidthChroma) {
  start();
  Image::openFile(dataPath("chroma_422.j2k"));
  const Lines all = body();
  EXPECT_NE(std::find(all.begin(), all.end(), "NOTE: MCT overriden!"), all.end());
}

}  // namespace
}  // namespace wbx::test
