#include "tier2/paged_table.h"

#include <gtest/gtest.h>
#include <set>

namespace wbx {
namespace {

TEST(PagedTable, FindsNothingBeforeItIsTouched) {
  PagedTable<i32> table;
  table.setCount(0xFFFE0001);
  EXPECT_EQ(table.find(0), nullptr);
  EXPECT_EQ(table.find(0xFFFE0000), nullptr);
}

TEST(PagedTable, KeepsEachRecordApartAtEverySize) {
  for (u32 count : {1u, 7u, 8u, 9u, 256u, 257u, 8192u, 8193u, 100000u}) {
    Arena arena(1000);
    PagedTable<u32> table;
    table.setCount(count);
    std::set<u32*> seen;
    for (u32 i = 0; i < count; ++i) {
      u32* record = table.obtain(i, arena);
      ASSERT_NE(record, nullptr);
      EXPECT_EQ(*record, 0u);
      *record = i + 1;
      seen.insert(record);
    }
    EXPECT_EQ(seen.size(), count);
    for (u32 i = 0; i < count; ++i) ASSERT_EQ(*table.find(i), i + 1);
  }
}

TEST(PagedTable, ReachesTheFarEndOfTheLargestGrid) {
  Arena arena(1000);
  PagedTable<u32, 0> table;
  table.setCount(0xFFFE0001);
  *table.obtain(0xFFFE0000, arena) = 5;
  EXPECT_EQ(*table.find(0xFFFE0000), 5u);
  EXPECT_EQ(table.find(0xFFFDFFFF), nullptr);
  EXPECT_EQ(table.find(0), nullptr);
}

}  // namespace
}  // namespace wbx
