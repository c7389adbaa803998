#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "stream/stream.h"
#include "stream/values.h"

namespace wbx {
namespace {

class FileStreamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = ::testing::TempDir() + "wbx-file-stream-" + info->name();
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    for (int i = 1; i <= 10; ++i) std::fputc(i, file);
    std::fclose(file);
    ASSERT_TRUE(stream_.open(path_.c_str()));
  }
  void TearDown() override {
    stream_.close();
    std::filesystem::remove(path_);
  }

  u8 readByte() {
    u8 byte = 0;
    stream_.readU8(&byte);
    return byte;
  }

  std::string path_;
  FileStream stream_;
};

TEST_F(FileStreamTest, ReadsBigEndianValues) {
  test::expectBigEndianValues(stream_);
  EXPECT_EQ(stream_.type(), 2);
}

TEST_F(FileStreamTest, CountsWhatWasAskedForAtItsEnd) {
  u8 into[20] = {};
  EXPECT_EQ(stream_.readBytes(into, 20), 10);
  EXPECT_EQ(stream_.tell(), 20u);
  EXPECT_TRUE(stream_.isEof());
  EXPECT_FALSE(stream_.isGood());
  EXPECT_EQ(readByte(), 0xFF);
  EXPECT_EQ(stream_.tell(), 21u);
  EXPECT_TRUE(stream_.seek(0));
  EXPECT_TRUE(stream_.isGood()) << "a seek clears the end of the file";
}

TEST_F(FileStreamTest, DoesNotDeliverHalfAValue) {
  ASSERT_TRUE(stream_.seek(9));
  u16 half = 0x1234;
  stream_.readU16(&half);
  EXPECT_EQ(half, 0x3412) << "what was there, reversed";
  EXPECT_EQ(stream_.tell(), 11u);
  EXPECT_TRUE(stream_.isEof());
}

TEST_F(FileStreamTest, DefersSeeksUntilBytesAreRead) {
  EXPECT_EQ(readByte(), 1);
  stream_.beginDeferred();
  EXPECT_TRUE(stream_.seek(3));
  EXPECT_TRUE(stream_.seek(5));
  EXPECT_EQ(stream_.tell(), 5u);
  u8 into[2] = {};
  EXPECT_EQ(stream_.readBytes(into, 2), 2);
  EXPECT_EQ(into[0], 6);
  EXPECT_EQ(stream_.readBytes(into, 1), 1);
  EXPECT_EQ(into[0], 8) << "the second read goes on behind the first";
  EXPECT_TRUE(stream_.seek(2));
  stream_.endDeferred();
  EXPECT_EQ(readByte(), 3) << "the file stands where the position says";
  EXPECT_TRUE(stream_.seek(0));
  EXPECT_EQ(readByte(), 1) << "no longer deferred";
}

TEST_F(FileStreamTest, MissesAFileAndClosesTwice) {
  FileStream other;
  EXPECT_FALSE(other.open("/no/such/file"));
  EXPECT_FALSE(other.isOpen());
  EXPECT_FALSE(other.isGood());
  EXPECT_FALSE(other.isEof());
  EXPECT_FALSE(other.seek(0));
  stream_.close();
  stream_.close();
  EXPECT_FALSE(stream_.isOpen());
  EXPECT_EQ(stream_.tell(), 0u);
  EXPECT_EQ(readByte(), 0xFF);
  stream_.beginDeferred();
  stream_.endDeferred();
}

}  // namespace
}  // namespace wbx
