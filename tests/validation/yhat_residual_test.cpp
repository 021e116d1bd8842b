// Reading of the adjusted phenotypes for predictive ability.
#include "validation/yhat_residual.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::expect_stops;
using test_support::write_temp;

focal_index index_of(std::vector<int> levels) {
  std::vector<focal_set> sets(1);
  sets[0].levels = std::move(levels);
  return index_focal_levels(sets, 10);
}

TEST(yhat_residual, averages_the_lines_of_a_focal_level_and_skips_others) {
  const std::string path = write_temp("yr1.txt", "4 1.0 10\n7 5 5\n\n4 2.0 20 extra\n9 -1 -2\n"
                                                 "12 8 8\n4,6.0\t30\n");
  const linalg::dense_matrix y = read_yhat_residual(path, 2, index_of({9, 4}));
  ASSERT_EQ(y.rows, 2);
  EXPECT_EQ(y.a, (std::vector<double>{-1, 3, -2, 20}));  // column by column
}

TEST(yhat_residual, stops_on_an_unreadable_line_or_a_focal_individual_without_one) {
  const std::string short_line = write_temp("yr3.txt", "4 1 1\n6 2\n");
  const std::string nan = write_temp("yr4.txt", "4 1 nan\n");
  const std::string missing = write_temp("yr2.txt", "4 1 1\n");
  expect_stops({
      {"short line", [&] { read_yhat_residual(short_line, 2, index_of({4, 6})); },
       {"Cannot read a line of " + short_line + ": a level and 2 phenotype(s) expected",
        "file " + short_line + ", line 2"}},
      {"NaN", [&] { read_yhat_residual(nan, 2, index_of({4})); },
       {"Cannot read a line of " + nan + ": phenotype 2 is not a finite number: nan", "file " + nan + ", line 1"}},
      {"no line", [&] { read_yhat_residual(missing, 2, index_of({4, 6})); },
       {"Focal individual 6 has no line in " + missing,
        "Predictive ability needs the adjusted phenotype of every focal individual"}},
  });
}

}  // namespace
}  // namespace ventrel::validation
