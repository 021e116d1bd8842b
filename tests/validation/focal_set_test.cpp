// The index of focal levels and the fifth column of each layout.
#include "validation/focal_set.hpp"

#include <gtest/gtest.h>

namespace ventrel::validation {
namespace {

TEST(focal_index, numbers_distinct_levels_across_sets_in_order_of_appearance) {
  std::vector<focal_set> sets(2);
  sets[0].levels = {9, 2, 5};
  sets[1].levels = {5, 10, 2};
  const focal_index idx = index_focal_levels(sets, 10);
  EXPECT_EQ(idx.levels, (std::vector<int>{9, 2, 5, 10}));
  EXPECT_EQ(idx.nlev, 10);
  for (std::size_t d = 0; d < idx.levels.size(); ++d) EXPECT_EQ(idx.slot(idx.levels[d]), d + 1);
  int focal = 0;
  for (int level = -1; level <= 12; ++level) focal += idx.slot(level) != 0;
  EXPECT_EQ(focal, 4);
}

TEST(focal_index, memory_follows_the_focal_levels_not_the_effect_levels) {
  std::vector<focal_set> sets(1);
  sets[0].levels = {2000000000, 7, 1999999999};
  const focal_index idx = index_focal_levels(sets, 2147483647);
  EXPECT_FALSE(idx.position.dense());
  EXPECT_EQ(idx.slot(7), 2);
  EXPECT_EQ(idx.slot(1999999999), 3);
  EXPECT_EQ(idx.slot(2000000000), 1);
  EXPECT_EQ(idx.slot(8), 0);
  EXPECT_EQ(idx.slot(2147483647), 0);
}

TEST(focal_index, fifth_column_follows_the_layout) {
  EXPECT_EQ(extra_column_of(solution_layout::orvane), extra_column::none);
  EXPECT_EQ(extra_column_of(solution_layout::tirvex), extra_column::none);
  EXPECT_EQ(extra_column_of(solution_layout::orvane_se), extra_column::se);
  EXPECT_EQ(extra_column_of(solution_layout::quodax), extra_column::acc);
}

}  // namespace
}  // namespace ventrel::validation
