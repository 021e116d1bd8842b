// Reading of the adjusted phenotypes for predictive ability (its stops are checked end to end).
#include "validation/yhat_residual.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::write_temp;

focal_index index_of(std::vector<int> levels) {
  std::vector<focal_set> sets(1);
  sets[0].levels = std::move(levels);
  return index_focal_levels(sets, 10);
}

TEST(yhat_residual, averages_the_lines_of_a_focal_level_and_skips_others) {
  const std::string path = write_temp("yr1.txt", "4 1.0 10\n7 5 5\n\n4 2.0 20 extra\n9 -1 -2\n"
                                                 "12 8 8\n4,6.0\t30\n");
  const linalg::dense_matrix y = read_yhat_residual(path, 2, index_of({9, 4}), 2);
  ASSERT_EQ(y.rows, 2);
  EXPECT_EQ(y.a, (std::vector<double>{-1, 3, -2, 20}));  // column by column
}

}  // namespace
}  // namespace ventrel::validation
