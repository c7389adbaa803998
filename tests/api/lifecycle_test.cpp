#include <cstdio>
#include <cstring>
#include <set>
#include <string>

#include "api/library.h"
#include "api/log_file.h"
#include "api/slave_list.h"
#include "base/logger.h"

namespace wbx {
namespace {

class LifecycleTest : public LogTest {
 protected:
  void TearDown() override {
    WBX_InitLibrary();
    LogTest::TearDown();
  }
};

TEST_F(LifecycleTest, LoadingHasStartedTheLibrary) {
  EXPECT_TRUE(libraryReady);
}

TEST_F(LifecycleTest, StartAndShutdownMayBeRepeated) {
  WBX_InitLibrary();
  WBX_CloseLibrary();
  WBX_CloseLibrary();
  EXPECT_FALSE(libraryReady);
  WBX_InitLibrary();
  WBX_InitLibrary();
  EXPECT_TRUE(libraryReady);
}

TEST_F(LifecycleTest, ShutdownEndsTheLog) {
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  WBX_CloseLibrary();
  EXPECT_FALSE(logger.active());
  EXPECT_NE(log().find("== FINISHED"), std::string::npos);
  logger.writeStamped("after the end");
  WBX_InitLibrary();
  EXPECT_EQ(log().find("after the end"), std::string::npos);
  EXPECT_EQ(WBX_StartLogging(0, 0), WBX_OK);
}

TEST_F(LifecycleTest, BuffersAreZeroedAndGoWithTheirOwner) {
  const int one = 1, other = 2;
  auto* first = static_cast<u8*>(slaveList.buy(1000, &one));
  auto* second = static_cast<u8*>(slaveList.buy(1000, &one));
  auto* third = static_cast<u8*>(slaveList.buy(1000, &other));
  ASSERT_TRUE(first != nullptr && second != nullptr && third != nullptr);
  EXPECT_NE(first, second);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(first[i] | second[i] | third[i], 0);
  std::memset(third, 7, 1000);
  slaveList.release(nullptr);
  slaveList.release(&one);
  EXPECT_EQ(third[999], 7);
  slaveList.release(&other);
}

// The address of the node stands in the line that a purchase writes.
std::string nodeOf(const std::string& line) {
  void *node = nullptr, *buffer = nullptr, *owner = nullptr;
  EXPECT_EQ(
      std::sscanf(line.c_str(), "\n[] ST: Slave bought: %p, (%p) for %p", &node, &buffer, &owner),
      3)
      << line;
  return line.substr(0, line.find(','));
}

TEST_F(LifecycleTest, NodesOfReleasedBuffersServeAnyOwnerAgain) {
  const int one = 1, other = 2;
  const auto buy = [](const void* owner) {
    return nodeOf(logOf([&] { EXPECT_NE(slaveList.buy(10, owner), nullptr); }));
  };
  slaveList.clear();
  const std::string first = buy(&one);
  const std::string second = buy(&other);
  EXPECT_NE(first, second);
  slaveList.release(&one);
  EXPECT_EQ(buy(&other), first);
  EXPECT_NE(buy(&one), second);
  slaveList.release(&other);
  EXPECT_EQ((std::set{buy(&one), buy(&one)}), (std::set{first, second}));
  slaveList.release(&one);
}

TEST_F(LifecycleTest, ARefusedAllocationLeavesTheListAsItWas) {
  const int owner = 1;
  EXPECT_EQ(slaveList.buy(~size_t{0} / 2, &owner), nullptr);
  void* buffer = slaveList.buy(0, &owner);
  EXPECT_NE(buffer, nullptr) << "an empty picture is a picture";
  slaveList.release(&owner);
}

TEST_F(LifecycleTest, ShutdownFreesBuffersAndTheListStaysUsable) {
  const int owner = 1;
  ASSERT_NE(slaveList.buy(100, &owner), nullptr);
  WBX_CloseLibrary();
  slaveList.release(&owner);
  ASSERT_NE(slaveList.buy(100, &owner), nullptr);
  slaveList.release(&owner);
}

}  // namespace
}  // namespace wbx
