#include "vorn/parameterblock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace {

TEST(MaterialBindingTable, NumbersNamesInOrderOfFirstUseFromAnyThread) {
  vorn::MaterialBindingTable table;
  EXPECT_EQ(table.getSlot("a"), 0u);
  EXPECT_EQ(table.getSlot("b"), 1u);
  EXPECT_EQ(table.getSlot("a"), 0u);

  std::vector<std::thread> threads;
  std::vector<std::vector<unsigned>> seen(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&table, &seen, t] {
      for (int i = 0; i < 100; ++i) seen[size_t(t)].push_back(table.getSlot("p" + std::to_string(i)));
    });
  }
  for (std::thread& thread : threads) thread.join();
  // Every thread saw the same slot for a name, and the slots are dense.
  for (int t = 1; t < 4; ++t) EXPECT_EQ(seen[size_t(t)], seen[0]);
  std::vector<unsigned> sorted = seen[0];
  std::sort(sorted.begin(), sorted.end());
  for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(sorted[i], i + 2);
}

}  // namespace
