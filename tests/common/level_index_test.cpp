// The index of chosen levels: both methods against a plain search of the list.
#include "common/level_index.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace ventrel {
namespace {

// The first position of level in levels, or absent: the obvious answer.
std::int32_t first_position(const std::vector<std::int32_t>& levels, std::int64_t level) {
  for (std::size_t k = 0; k < levels.size(); ++k)
    if (levels[k] == level) return static_cast<std::int32_t>(k);
  return level_index::absent;
}

TEST(level_index, both_methods_agree_with_a_plain_search) {
  struct row {
    std::vector<std::int32_t> levels;
    bool dense;  // a direct table for small levels, a sorted list for few large ones
  };
  std::vector<row> rows{{{5, 3, 9, 3, 1, 5}, true},
                        {{2147483647, 40, 1000000000, 40, 123456789, 2147483647}, false}};
  std::mt19937 g(11);
  for (std::int32_t top : {100, 50000000}) {
    std::uniform_int_distribution<std::int32_t> pick(1, top);
    rows.push_back({std::vector<std::int32_t>(300), top == 100});
    for (auto& l : rows.back().levels) l = pick(g);
  }
  // Many repeats of a few large levels: the sorted list must keep each level's first position.
  std::uniform_int_distribution<std::int32_t> few(0, 19);
  rows.push_back({std::vector<std::int32_t>(300), false});
  for (auto& l : rows.back().levels) l = 2000000000 - 1000 * few(g);
  for (const row& r : rows) {
    const level_index idx(r.levels);
    const std::int64_t top = *std::max_element(r.levels.begin(), r.levels.end());
    EXPECT_EQ(idx.dense(), r.dense) << top;
    EXPECT_EQ(idx.max_level(), top);
    for (std::int32_t l : r.levels) EXPECT_EQ(idx.find(l), first_position(r.levels, l)) << l;
    std::uniform_int_distribution<std::int64_t> any(-3, top + 3);
    for (int k = 0; k < 2000; ++k) {
      const std::int64_t l = any(g);
      EXPECT_EQ(idx.find(l), first_position(r.levels, l)) << l;
    }
    for (std::int64_t l : {std::int64_t{0}, top - 1, top + 1})
      EXPECT_EQ(idx.find(l), first_position(r.levels, l)) << l;
  }
}

TEST(level_index, levels_below_one_are_not_indexed) {
  const level_index idx(std::vector<std::int32_t>{0, -4, 2});
  EXPECT_EQ(idx.find(0), level_index::absent);
  EXPECT_EQ(idx.find(-4), level_index::absent);
  EXPECT_EQ(idx.find(2), 2);
  EXPECT_EQ(level_index().find(1), level_index::absent);
}

}  // namespace
}  // namespace ventrel
