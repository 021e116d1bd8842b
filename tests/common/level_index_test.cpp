// The index of chosen levels: both methods against a plain search of the list.
#include "common/level_index.hpp"

#include <gtest/gtest.h>

#include <random>

namespace ventrel {
namespace {

// The first position of level in levels, or absent: the obvious answer.
std::int32_t first_position(const std::vector<std::int32_t>& levels, std::int64_t level) {
  for (std::size_t k = 0; k < levels.size(); ++k)
    if (levels[k] == level) return static_cast<std::int32_t>(k);
  return level_index::absent;
}

void check_against_search(const std::vector<std::int32_t>& levels, const level_index& idx,
                          std::int64_t top) {
  std::mt19937 g(5);
  std::uniform_int_distribution<std::int64_t> any(-3, top + 3);
  for (std::int32_t l : levels) EXPECT_EQ(idx.find(l), first_position(levels, l)) << l;
  for (int k = 0; k < 2000; ++k) {
    std::int64_t l = any(g);
    EXPECT_EQ(idx.find(l), first_position(levels, l)) << l;
  }
}

TEST(level_index, a_direct_table_for_small_levels) {
  std::vector<std::int32_t> levels{5, 3, 9, 3, 1, 5};
  level_index idx(levels);
  EXPECT_TRUE(idx.dense());
  EXPECT_EQ(idx.max_level(), 9);
  check_against_search(levels, idx, 12);
}

TEST(level_index, a_sorted_list_for_few_large_levels) {
  std::vector<std::int32_t> levels{2147483647, 40, 1000000000, 40, 123456789, 2147483647};
  level_index idx(levels);
  EXPECT_FALSE(idx.dense());
  EXPECT_EQ(idx.find(2147483647), 0);
  EXPECT_EQ(idx.find(40), 1);
  EXPECT_EQ(idx.find(41), level_index::absent);
  EXPECT_EQ(idx.find(std::int64_t{2147483648}), level_index::absent);
  check_against_search(levels, idx, 2147483647);
}

TEST(level_index, both_methods_agree_on_random_lists) {
  std::mt19937 g(11);
  for (std::int32_t top : {100, 50000000}) {
    std::uniform_int_distribution<std::int32_t> pick(1, top);
    std::vector<std::int32_t> levels(300);
    for (auto& l : levels) l = pick(g);
    level_index idx(levels);
    EXPECT_EQ(idx.dense(), top == 100);
    check_against_search(levels, idx, top);
  }
}

TEST(level_index, levels_below_one_are_not_indexed) {
  std::vector<std::int32_t> levels{0, -4, 2};
  level_index idx(levels);
  EXPECT_EQ(idx.find(0), level_index::absent);
  EXPECT_EQ(idx.find(-4), level_index::absent);
  EXPECT_EQ(idx.find(2), 2);
  EXPECT_EQ(level_index().find(1), level_index::absent);
}

}  // namespace
}  // namespace ventrel
