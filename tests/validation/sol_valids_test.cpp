// The sol_valids file.
#include "validation/sol_valids.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/format.hpp"

namespace ventrel::validation {
namespace {

std::vector<focal_set> two_sets() {
  std::vector<focal_set> sets(2);
  sets[0].n = 2;
  sets[0].levels = {17, 3};
  sets[0].whole = linalg::dense_matrix(2, 2);
  sets[0].partial = linalg::dense_matrix(2, 2);
  sets[0].whole.a = {1.5, -2, 3, 4};
  sets[0].partial.a = {0.5, -1, 2, 3.25};
  sets[1].n = 1;
  sets[1].levels = {123456};
  sets[1].whole = linalg::dense_matrix(1, 2);
  sets[1].partial = linalg::dense_matrix(1, 2);
  sets[1].whole.a = {7, 8};
  sets[1].partial.a = {6, 5};
  return sets;
}

TEST(sol_valids, one_header_then_set_level_and_whole_partial_per_trait) {
  const std::string text = sol_valids_text(two_sets(), 2);
  std::istringstream in(text);
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, " set       level         whole_1       partial_1         whole_2       partial_2");
  std::getline(in, line);
  EXPECT_EQ(line, "   1          17" + fmt_e(1.5, 16, 8) + fmt_e(0.5, 16, 8) + fmt_e(3, 16, 8) +
                      fmt_e(2, 16, 8));
  std::getline(in, line);
  EXPECT_EQ(line.substr(0, 16), "   1           3");
  std::getline(in, line);
  EXPECT_EQ(line, "   2      123456" + fmt_e(7, 16, 8) + fmt_e(6, 16, 8) + fmt_e(8, 16, 8) +
                      fmt_e(5, 16, 8));
  EXPECT_FALSE(std::getline(in, line));
}

TEST(sol_valids, is_written_whole_under_the_given_name) {
  const std::string path = ::testing::TempDir() + "sv_sol_valids";
  write_sol_valids(two_sets(), 2, path);
  std::ifstream in(path);
  std::stringstream got;
  got << in.rdbuf();
  EXPECT_EQ(got.str(), sol_valids_text(two_sets(), 2));
  EXPECT_FALSE(std::filesystem::exists(path + ".tmp"));
}

}  // namespace
}  // namespace ventrel::validation
