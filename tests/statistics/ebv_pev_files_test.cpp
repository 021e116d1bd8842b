// Readers of the ebv_pev and pec files and the EBV comparison with the solution files. Their
// stops on bad lines are run by the end-to-end fixtures bad_ebvpev_* and bad_pec_*.
#include "statistics/ebv_pev_files.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using test_support::write_temp;

TEST(ebv_pev_files, ebv_pev_gives_the_focal_animals_in_set_order) {
  // Memory follows the focal animals, not the levels: two billion levels need no table over
  // them. A level named twice in the set gets its values in both rows.
  const std::string path = write_temp("ep1",
                                      "3  1.5  0.40  0.77 extra\n\n1,-0.25,0.9\n"
                                      "2147483647 9.0 0.1\n\t7\t2.0D0\t.3\n");
  const ebv_pev e = read_ebv_pev(path, std::vector<int>{7, 1, 3, 7, 2147483647}, 2147483647, 2);
  EXPECT_EQ(e.ebv, (std::vector<double>{2.0, -0.25, 1.5, 2.0, 9.0}));
  EXPECT_EQ(e.pev, (std::vector<double>{0.3, 0.9, 0.40, 0.3, 0.1}));
  EXPECT_EQ(test_support::stop_lines([] { read_ebv_pev("unused", std::vector<int>{6}, 5, 1); })[0],
            "Focal animal 6 is outside the levels 1 to 5 of the validation effect");
}

TEST(ebv_pev_files, pec_pairs_in_either_order_fill_the_lower_triangle) {
  const std::string path = write_temp("pc1",
                                      "4 2 0.10\n"            // positions 2, 0
                                      "9 4 0.50\n"            // 9 not focal: skipped
                                      "2 2 0.70\n"            // an animal with itself: skipped
                                      "3 4 -0.20\n"           // positions 1, 2
                                      "2 3 0.05 x\n"          // positions 0, 1
                                      "2147483647 3 0.5\n");  // not focal: skipped
  const pec_matrix c = read_pec(path, std::vector<int>{2, 3, 4}, 2147483647, 2);
  EXPECT_EQ(c.m, 3);
  EXPECT_EQ(c.col_start, (std::vector<std::int64_t>{0, 2, 3, 3}));
  EXPECT_EQ(c.row, (std::vector<int>{1, 2, 2}));
  EXPECT_EQ(c.value, (std::vector<double>{0.05, 0.10, -0.20}));
}

TEST(ebv_pev_files, ebv_differences_relative_to_the_size_of_the_values_print_one_warning) {
  // rms of the solutions is about 6.2: differences below 0.0062 do not count near 0.
  const std::vector<double> sol = {10.0, -5.0, 0.0, 2.0, 8.0},
                            file = {10.005, -5.02, 0.004, 2.0, 8.1};
  int count = -1;
  EXPECT_EQ(test_support::captured_stdout(
                [&] { count = compare_ebv("ebv_pev_1_1_whole", file, "solutions_whole", sol); }),
            "Warning: 2 focal animals have EBVs in ebv_pev_1_1_whole that differ from "
            "solutions_whole by more than 1e-3 (relative)\n");
  EXPECT_EQ(count, 2);
  EXPECT_EQ(test_support::captured_stdout(
                [&] { count = compare_ebv("ebv_pev_1_1_whole", sol, "solutions_whole", sol); }),
            "");
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace ventrel::statistics
