// Reading of the adjusted phenotypes for predictive ability.
#include "validation/yhat_residual.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include "common/fatal.hpp"

namespace ventrel::validation {
namespace {

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

focal_index index_of(std::vector<int> levels, int nlev) {
  std::vector<focal_set> sets(1);
  sets[0].levels = std::move(levels);
  return index_focal_levels(sets, nlev);
}

std::vector<std::string> stop_of(const std::string& path, const focal_index& idx) {
  try {
    read_yhat_residual(path, 2, idx);
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

TEST(yhat_residual, averages_the_lines_of_a_focal_level_and_skips_others) {
  const std::string path = write_temp("yr1.txt", "4 1.0 10\n7 5 5\n\n4 2.0 20 extra\n9 -1 -2\n"
                                                 "12 8 8\n4 6.0 30\n");
  const linalg::dense_matrix y = read_yhat_residual(path, 2, index_of({9, 4}, 10));
  ASSERT_EQ(y.rows, 2);
  EXPECT_DOUBLE_EQ(y(0, 0), -1);
  EXPECT_DOUBLE_EQ(y(0, 1), -2);
  EXPECT_DOUBLE_EQ(y(1, 0), 3);
  EXPECT_DOUBLE_EQ(y(1, 1), 20);
}

TEST(yhat_residual, stops_when_a_focal_individual_has_no_line) {
  const std::string path = write_temp("yr2.txt", "4 1 1\n");
  EXPECT_EQ(stop_of(path, index_of({4, 6}, 10)),
            (std::vector<std::string>{"Focal individual 6 has no line in " + path,
                                      "Predictive ability needs the adjusted phenotype of every "
                                      "focal individual"}));
}

TEST(yhat_residual, stops_on_an_unreadable_line) {
  const std::string short_line = write_temp("yr3.txt", "4 1 1\n6 2\n");
  EXPECT_EQ(stop_of(short_line, index_of({4, 6}, 10)),
            (std::vector<std::string>{"Cannot read a line of " + short_line +
                                          ": a level and 2 phenotype(s) expected",
                                      "file " + short_line + ", line 2"}));
  const std::string nan = write_temp("yr4.txt", "4 1 nan\n");
  EXPECT_EQ(stop_of(nan, index_of({4}, 10))[0],
            "Cannot read a line of " + nan + ": phenotype 2 is not a finite number: nan");
}

}  // namespace
}  // namespace ventrel::validation
