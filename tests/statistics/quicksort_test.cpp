// The bootstrap's sort: positions 2 .. m without bounds, the first left in place, NaN last.
#include "statistics/quicksort.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

TEST(quicksort, sorts_the_given_positions_and_leaves_the_others) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<double> x = {9, 5, 1, 8, 3, 7}, part = x, one = {4},
                      mixed = {0, nan, 3, inf, nan, -inf, 1};
  quicksort(x);
  quicksort(part, 3, 5);
  quicksort(one);
  quicksort(mixed);
  EXPECT_EQ(x, (std::vector<double>{9, 1, 3, 5, 7, 8}));
  EXPECT_EQ(part, (std::vector<double>{9, 5, 1, 3, 8, 7}));
  EXPECT_EQ(one, std::vector<double>{4});
  EXPECT_TRUE(testing::same_values(mixed, {0, -inf, 1, 3, inf, nan, nan}));
}

}  // namespace
}  // namespace ventrel::statistics
