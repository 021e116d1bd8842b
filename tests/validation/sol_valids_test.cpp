// The sol_valids file.
#include "validation/sol_valids.hpp"

#include <sstream>

#include "common/format.hpp"
#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

std::vector<focal_set> two_sets() {
  std::vector<focal_set> sets(2);
  sets[0].n = 2;
  sets[0].levels = {17, 3};
  sets[0].whole = sets[0].partial = linalg::dense_matrix(2, 2);
  sets[0].whole.a = {1.5, -2, 3, 4};  // column by column: trait 1, then trait 2
  sets[0].partial.a = {0.5, -1, 2, 3.25};
  sets[1].n = 1;
  sets[1].levels = {123456};
  sets[1].whole = sets[1].partial = linalg::dense_matrix(1, 2);
  sets[1].whole.a = {7, 8};
  sets[1].partial.a = {6, 5};
  return sets;
}

std::string e16(std::initializer_list<double> v) {
  std::string s;
  for (double x : v) s += fmt_e(x, 16, 8);
  return s;
}

TEST(sol_valids, one_header_then_set_level_and_whole_partial_per_trait_written_under_the_name) {
  const std::string path = ::testing::TempDir() + "sv_sol_valids";
  write_sol_valids(two_sets(), 2, path);
  std::stringstream got;
  got << std::ifstream(path).rdbuf();
  EXPECT_EQ(got.str(), " set       level         whole_1       partial_1         whole_2       partial_2\n"
                       "   1          17" + e16({1.5, 0.5, 3, 2}) + "\n"
                       "   1           3" + e16({-2, -1, 4, 3.25}) + "\n"
                       "   2      123456" + e16({7, 6, 8, 5}) + "\n");
}

}  // namespace
}  // namespace ventrel::validation
