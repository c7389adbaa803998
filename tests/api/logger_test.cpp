#include "base/logger.h"

#include <string>
#include <thread>
#include <vector>

#include "api/log_file.h"

namespace wbx {
namespace {

class LoggerTest : public LogTest {};

constexpr char kFirstLine[] = "\n[] PROGRAM: WBX-Codec ver 1.9\n\n[] == STARTED on [";
constexpr char kLastLine[] = "\n[] == FINISHED ==========================\n";

TEST_F(LoggerTest, WritesNothingWhileItIsOff) {
  WBX_StopLogging();
  logger.writeStamped("lost");
  logger.writeMore("lost");
  EXPECT_FALSE(std::filesystem::exists("wbx-codec.log"));
}

TEST_F(LoggerTest, FramesTheFile) {
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  WBX_StopLogging();
  EXPECT_EQ(digitsAlike(log()),
            "\n[] PROGRAM: WBX-Codec ver d.d\n"
            "\n[] == STARTED on [dddd/dd/dd dd:dd:dd] =="
            "\n[] == FINISHED ==========================\n");
}

TEST_F(LoggerTest, RefusesToStartTwiceAndKeepsTheFile) {
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  logger.writeStamped("kept");
  EXPECT_EQ(WBX_StartLogging(0, 0), WBX_ERROR_OPEN);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_OPEN);
  EXPECT_NE(log().find("\n[] kept"), std::string::npos);
}

TEST_F(LoggerTest, ReportsAFileThatCannotBeOpened) {
  std::filesystem::create_directory("wbx-codec.log");
  EXPECT_EQ(WBX_StartLogging(0, 0), WBX_ERROR_OPEN);
  EXPECT_FALSE(logger.active());
}

TEST_F(LoggerTest, AppendsOrEmpties) {
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  logger.writeStamped("first");
  WBX_StopLogging();
  ASSERT_EQ(WBX_StartLogging(0, 1), WBX_OK);
  WBX_StopLogging();
  EXPECT_NE(log().find("\n[] first"), std::string::npos);
  EXPECT_NE(log().find(std::string(kLastLine) + kFirstLine), std::string::npos);

  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  EXPECT_EQ(log().find("\n[] first"), std::string::npos);
}

TEST_F(LoggerTest, ContinuesALine) {
  EXPECT_EQ(logOf([] {
              logger.writeStamped("tile %d", 3);
              logger.writeMore(" => %s.", "Skipped");
              logger.writeMore(nullptr);
              logger.writeStamped(nullptr);
              logger.writeStamped("%s", "next");
            }),
            "\n[] tile 3 => Skipped.\n\n[] next");
}

TEST_F(LoggerTest, CutsALongMessage) {
  const std::string text(2000, 'x');
  EXPECT_EQ(logOf([&] { logger.writeStamped("%s", text.c_str()); }),
            "\n[] " + std::string(511, 'x'));
}

TEST_F(LoggerTest, KeepsLinesOfThreadsWholeThroughStopsAndStarts) {
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  std::vector<std::thread> writers;
  for (int i = 0; i < 3; ++i) {
    writers.emplace_back([] {
      for (int line = 0; line < 300; ++line) logger.writeStamped("%s", "a line of some length");
    });
  }
  for (int i = 0; i < 20; ++i) {
    WBX_StopLogging();
    ASSERT_EQ(WBX_StartLogging(0, 1), WBX_OK);
  }
  for (std::thread& writer : writers) writer.join();
  WBX_StopLogging();
  const std::string text = log();
  const std::string line = "\n[] a line of some length";
  for (size_t at = 0; (at = text.find("a line", at)) != std::string::npos; ++at) {
    ASSERT_EQ(text.compare(at - 4, line.size() + 1, line + '\n'), 0);
  }
}

}  // namespace
}  // namespace wbx
