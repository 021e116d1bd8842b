// The bootstrap's sort: positions 2 .. m without bounds, the first left in place.
#include "statistics/quicksort.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace ventrel::statistics {
namespace {

TEST(quicksort, without_bounds_leaves_the_first_element_in_place) {
  std::vector<double> x = {9, 5, 1, 8, 3, 7};
  quicksort(x);
  EXPECT_EQ(x, (std::vector<double>{9, 1, 3, 5, 7, 8}));
}

TEST(quicksort, with_bounds_sorts_only_that_range) {
  std::vector<double> x = {9, 5, 1, 8, 3, 7};
  quicksort(x, 1, 6);
  EXPECT_EQ(x, (std::vector<double>{1, 3, 5, 7, 8, 9}));
  std::vector<double> y = {9, 5, 1, 8, 3, 7};
  quicksort(y, 3, 5);
  EXPECT_EQ(y, (std::vector<double>{9, 5, 1, 3, 8, 7}));
}

TEST(quicksort, short_arrays_stay_as_they_are) {
  std::vector<double> empty, one = {4}, two = {4, 2};
  quicksort(empty);
  quicksort(one);
  quicksort(two);
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(one, std::vector<double>{4});
  EXPECT_EQ(two, (std::vector<double>{4, 2}));
}

TEST(quicksort, puts_nan_after_every_number) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<double> x = {0, nan, 3, inf, nan, -inf, 1};
  quicksort(x);
  EXPECT_EQ(x[0], 0);
  EXPECT_EQ(x[1], -inf);
  EXPECT_EQ(x[2], 1);
  EXPECT_EQ(x[3], 3);
  EXPECT_EQ(x[4], inf);
  EXPECT_TRUE(std::isnan(x[5]));
  EXPECT_TRUE(std::isnan(x[6]));
}

}  // namespace
}  // namespace ventrel::statistics
