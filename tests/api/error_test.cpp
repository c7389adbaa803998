#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "wbx.h"

#include "api/error_table.h"

namespace wbx {
namespace {

TEST(ErrorTable, HoldsEveryCodeOnceInOrder) {
  for (i32 code = 0; code <= 27; ++code) EXPECT_EQ(ErrorTable[code].code, code);
  EXPECT_LT(ErrorTable[28].code, 0);
  EXPECT_STREQ(ErrorTable[28].text, "");
}

TEST(ErrorTable, TextsFitTheSizeThatTheHeaderNames) {
  size_t longest = 0;
  for (i32 code = 0; code <= 27; ++code) {
    longest = std::max(longest, std::strlen(ErrorTable[code].text));
  }
  EXPECT_EQ(longest + 1, size_t{WBX_ERROR_TEXT_SIZE});
}

TEST(ErrorText, AnswersForCodesAndForOtherNumbers) {
  EXPECT_STREQ(WBX_getErrorStr(0), "No errors");
  EXPECT_STREQ(WBX_getErrorStr(WBX_ERROR_ARGUMENT), "Invalid argument passed to the function");
  EXPECT_STREQ(WBX_getErrorStr(27), "Internal codec error (notify the author, please)");
  EXPECT_STREQ(WBX_getErrorStr(28), "<unknown>");
  EXPECT_STREQ(WBX_getErrorStr(-1), "<unknown>");

  char text[WBX_ERROR_TEXT_SIZE];
  WBX_getErrorStrVB(WBX_ERROR_SUBSAMPLING, text);
  EXPECT_EQ(std::strlen(text), 100u);
  EXPECT_STREQ(text, WBX_getErrorStr(WBX_ERROR_SUBSAMPLING));
}

TEST(LastError, StaysUntilTheNextFailureOfItsThread) {
  EXPECT_EQ(WBX_OpenFile(nullptr), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
  EXPECT_STREQ(WBX_getLastErrorStr(), "Invalid argument passed to the function");

  i32 ofOtherThread = -1;
  std::thread([&] {
    WBX_OpenFile("/no/such/file");
    ofOtherThread = WBX_getLastError();
  }).join();
  EXPECT_EQ(ofOtherThread, WBX_ERROR_OPEN);

  WBX_StopLogging();
  WBX_getErrorStr(3);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
}

TEST(Version, IsTheOneOfTheHeader) {
  EXPECT_EQ(WBX_getVersion(), 1655243u);
}

}  // namespace
}  // namespace wbx
