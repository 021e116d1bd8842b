// The index of focal levels.
#include "validation/focal_set.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace ventrel::validation {
namespace {

TEST(focal_index, numbers_distinct_levels_across_sets_in_order_of_appearance) {
  std::vector<focal_set> sets(2);
  sets[0].levels = {9, 2, 5};
  sets[1].levels = {5, 10, 2};
  const focal_index idx = index_focal_levels(sets, 10);
  EXPECT_EQ(idx.levels, (std::vector<int>{9, 2, 5, 10}));
  EXPECT_EQ(idx.nlev, 10);
  for (int level = -1; level <= 12; ++level) {
    const auto at = std::find(idx.levels.begin(), idx.levels.end(), level);
    EXPECT_EQ(idx.slot(level), at == idx.levels.end() ? 0 : at - idx.levels.begin() + 1) << level;
  }
}

TEST(focal_index, memory_follows_the_focal_levels_not_the_effect_levels) {
  std::vector<focal_set> sets(1);
  sets[0].levels = {2000000000, 7, 1999999999};
  const focal_index idx = index_focal_levels(sets, 2147483647);
  EXPECT_FALSE(idx.position.dense());
  const std::vector<std::pair<int, int>> slots{{2000000000, 1}, {7, 2}, {1999999999, 3}, {8, 0}, {2147483647, 0}};
  for (const auto& [level, slot] : slots) EXPECT_EQ(idx.slot(level), slot) << level;
}

}  // namespace
}  // namespace ventrel::validation
