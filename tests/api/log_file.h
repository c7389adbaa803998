// A log in a directory of its own.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <string>

#include "wbx.h"

namespace wbx {

// Moves the process to a fresh directory for as long as a test runs.
class LogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    before_ = std::filesystem::current_path();
    directory_ = std::filesystem::path(::testing::TempDir()) /
                 (std::string("wbx-") + info->test_suite_name() + "-" + info->name());
    std::filesystem::remove_all(directory_);
    std::filesystem::create_directories(directory_);
    std::filesystem::current_path(directory_);
  }

  void TearDown() override {
    WBX_StopLogging();
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(directory_);
  }

  // The text of the log with "[] " for each stamp.
  static std::string log() {
    std::ifstream file("wbx-codec.log", std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    static const std::regex stamp(R"(\n\[\d\d:\d\d\.\d{3} [0-9A-F]{4,8}\] )");
    return std::regex_replace(text, stamp, "\n[] ");
  }

  // What `action` leaves in the log.
  template <class Action>
  static std::string logOf(Action action) {
    EXPECT_EQ(WBX_StartLogging(0, 0), WBX_OK);
    const size_t start = log().size();
    action();
    std::string text = log().substr(start);
    WBX_StopLogging();
    return text;
  }

 private:
  std::filesystem::path before_, directory_;
};

}  // namespace wbx
