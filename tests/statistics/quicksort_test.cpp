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
  struct row {
    std::vector<double> x;
    int first, last;  // 1-based bounds; first 0: called without bounds
    std::vector<double> sorted;
  };
  const std::vector<row> rows = {
      {{9, 5, 1, 8, 3, 7}, 0, 0, {9, 1, 3, 5, 7, 8}},
      {{9, 5, 1, 8, 3, 7}, 1, 6, {1, 3, 5, 7, 8, 9}},
      {{9, 5, 1, 8, 3, 7}, 3, 5, {9, 5, 1, 3, 8, 7}},
      {{}, 0, 0, {}},
      {{4}, 0, 0, {4}},
      {{4, 2}, 0, 0, {4, 2}},
      {{0, nan, 3, inf, nan, -inf, 1}, 0, 0, {0, -inf, 1, 3, inf, nan, nan}},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(::testing::PrintToString(r.x) + " from " + std::to_string(r.first));
    std::vector<double> x = r.x;
    if (r.first == 0)
      quicksort(x);
    else
      quicksort(x, r.first, r.last);
    EXPECT_TRUE(testing::same_values(x, r.sorted));
  }
}

}  // namespace
}  // namespace ventrel::statistics
