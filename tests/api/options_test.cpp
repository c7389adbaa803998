#include "api/options.h"

#include <gtest/gtest.h>
#include <string>

#include "api/log_file.h"

namespace wbx {
namespace {

DecodeOptions parsed(const char* text, i32 expectedCode = WBX_OK) {
  DecodeOptions options;
  EXPECT_EQ(parseOptions(options, text, false, true), expectedCode) << text;
  return options;
}

std::string order(const char* text) {
  return {parsed(text).comp_order, 5};
}

void expectDefaults(const DecodeOptions& options) {
  EXPECT_STREQ(options.comp_order, "BGR0");
  EXPECT_EQ(options.bpp, 0);
  EXPECT_EQ(options.res_level, 0);
  EXPECT_EQ(options.rgbOrder, 0);
  EXPECT_EQ(options.mul_by_alpha, 0);
  EXPECT_EQ(options.bitmap, 0);
  EXPECT_EQ(options.video, 2);
  EXPECT_EQ(options.nomct, 0);
}

TEST(Options, EmptyTextsGiveTheDefaults) {
  expectDefaults(parsed(nullptr));
  expectDefaults(parsed(""));
  expectDefaults(parsed(" , ,"));
}

TEST(Options, EveryKeywordReachesItsField) {
  EXPECT_EQ(parsed("bpp=4").bpp, 4);
  EXPECT_EQ(parsed("rl=2").res_level, 2);
  EXPECT_EQ(parsed("res_level=2").res_level, 2);
  EXPECT_EQ(parsed("mba").mul_by_alpha, 1);
  EXPECT_EQ(parsed("mul_by_alpha=7").mul_by_alpha, 1);
  EXPECT_EQ(parsed("mba,mba=0").mul_by_alpha, 0);
  EXPECT_EQ(parsed("mul_by_alpha").mul_by_alpha, 1);
  EXPECT_EQ(parsed("bmp").bitmap, 1);
  EXPECT_EQ(parsed("bmp=256").bitmap, 1);
  EXPECT_EQ(parsed("bitmap").bitmap, 1);
  EXPECT_EQ(parsed("bitmap=0").bitmap, 0);
  EXPECT_EQ(parsed("video").video, 1);
  EXPECT_EQ(parsed("video=0").video, 0);
  EXPECT_EQ(parsed("video=-3").video, -3);
  EXPECT_EQ(parsed("nomct=0").nomct, 1);
  EXPECT_EQ(parsed("sse=1,bpp=4").bpp, 4);
}

TEST(Options, KeywordsIgnoreCaseAndWhatFollowsThem) {
  EXPECT_EQ(parsed("NOMCT").nomct, 1);
  EXPECT_EQ(parsed("Bitmap=1").bitmap, 1);
  EXPECT_EQ(parsed("BPP=4").bpp, 4);
  EXPECT_EQ(parsed("mbaxyz").mul_by_alpha, 1);
  const DecodeOptions options = parsed("bpp=3x res_level=1, ,rl=2");
  EXPECT_EQ(options.bpp, 3);
  EXPECT_EQ(options.res_level, 2);
}

TEST(Options, Integers) {
  EXPECT_EQ(parsed("bpp= 4").bpp, 4);
  EXPECT_EQ(parsed("rl=-1").res_level, -1);
  EXPECT_EQ(parsed("bpp=abc").bpp, 0);
  EXPECT_EQ(parsed("bpp=- 4").bpp, 0);
  EXPECT_EQ(parsed("bpp=+4").bpp, 0);
  EXPECT_EQ(parsed("bpp=4294967299").bpp, 3);
  EXPECT_EQ(parsed("bpp=-2147483648").bpp, INT32_MIN);
}

TEST(Options, ComponentOrder) {
  using namespace std::string_literals;
  EXPECT_EQ(order("co=RGB"), "RGB\0\0"s);
  EXPECT_EQ(order("co=R"),
            "R\0"
            "00\0"s);
  EXPECT_EQ(order("comp_order=ABCDE,rl=1"), "ABCD\0"s);
  EXPECT_EQ(order("co="), "BGR0\0"s);
  EXPECT_EQ(parsed("co=RGB").rgbOrder, 1);
  EXPECT_EQ(parsed("co=RG").rgbOrder, 1);
  EXPECT_EQ(parsed("co=rgb").rgbOrder, 0);
  EXPECT_EQ(parsed("co=RGB,co=BGR").rgbOrder, 0);
}

TEST(Options, UnknownKeywordsEndTheParse) {
  parsed("bpp =4", WBX_ERROR_OPTION);
  parsed("-res_level=1", WBX_ERROR_OPTION);
  parsed("sse", WBX_ERROR_OPTION);
  parsed("rgb", WBX_ERROR_OPTION);
  const DecodeOptions options = parsed("co=RG,bpp=4,unknown,res_level=1", WBX_ERROR_OPTION);
  EXPECT_EQ(options.bpp, 4);
  EXPECT_EQ(options.res_level, 0);
  EXPECT_EQ(options.rgbOrder, 0);
}

TEST(Options, KeepStartsFromWhatIsThere) {
  DecodeOptions options = parsed("bpp=4,co=RGB");
  ASSERT_EQ(parseOptions(options, "rl=1", true, true), WBX_OK);
  EXPECT_EQ(options.bpp, 4);
  EXPECT_EQ(options.res_level, 1);
  ASSERT_EQ(parseOptions(options, nullptr, false, true), WBX_OK);
  expectDefaults(options);
}

class OptionsLogTest : public LogTest {};

TEST_F(OptionsLogTest, NamesEachOption) {
  DecodeOptions options;
  const char* text = "bpp=4,rl=1,co=RG,mba,bmp=0,video,video=0,sse=1,nomct";
  EXPECT_EQ(logOf([&] { EXPECT_EQ(parseOptions(options, text, false, false), WBX_OK); }),
            "\n[]  Options: bpp=4."
            "\n[]  Options: res_level=1."
            "\n[]  Options: comp_order=RG."
            "\n[]  Options: mul_by_alpha=yes."
            "\n[]  Options: bitmap=no."
            "\n[]  Options: video=yes (1)."
            "\n[]  Options: video=no (0)."
            "\n[]  Options: noMCT=yes.");
  EXPECT_EQ(logOf([&] { EXPECT_EQ(parseOptions(options, text, true, true), WBX_OK); }), "");
}

}  // namespace
}  // namespace wbx
