// A log in a directory of its own.
#pragma once

#include <cctype>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
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
    std::string text((std::istreambuf_iterator<char>(file)), {});
    for (size_t at = 0; (at = text.find("\n[", at)) != std::string::npos; ++at) {
      const size_t length = stampLength(text.substr(at + 2, 20));
      text.erase(at + 2, length);
    }
    return text;
  }

  // "d" for each decimal digit.
  static std::string digitsAlike(std::string text) {
    for (char& c : text) {
      if (std::isdigit(static_cast<unsigned char>(c)) != 0) c = 'd';
    }
    return text;
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
  // Of "MM:SS.mmm TTTT" with at least four hexadecimal digits of a thread; 0 for another text.
  static size_t stampLength(const std::string& text) {
    constexpr size_t kThread = 10;
    const size_t end = text.find(']');
    if (end == std::string::npos || end < kThread + 4) return 0;
    if (digitsAlike(text.substr(0, kThread)) != "dd:dd.ddd ") return 0;
    const std::string thread = text.substr(kThread, end - kThread);
    return thread.find_first_not_of("0123456789ABCDEF") == std::string::npos ? end : 0;
  }

  std::filesystem::path before_, directory_;
};

}  // namespace wbx
