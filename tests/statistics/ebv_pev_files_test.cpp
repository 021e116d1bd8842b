// Readers of the ebv_pev and pec files, their stops, and the EBV comparison with the solution
// files.
#include "statistics/ebv_pev_files.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::lines;
using testing::stop_lines;
using testing::write_temp;

TEST(ebv_pev_files, names_carry_the_trait_without_blanks) {
  EXPECT_EQ(ebv_pev_file_name(1, evaluation::whole), "ebv_pev_1_1_whole");
  EXPECT_EQ(ebv_pev_file_name(12, evaluation::partial), "ebv_pev_12_1_partial");
  EXPECT_EQ(pec_file_name(3, evaluation::whole), "pec_3_1_whole");
  EXPECT_EQ(pec_file_name(3, evaluation::partial), "pec_3_1_partial");
}

TEST(ebv_pev_files, ebv_pev_gives_the_focal_animals_in_set_order) {
  const std::string path = write_temp("ep1",
                                      "3  1.5  0.40  0.77 extra\n\n1,-0.25,0.9\n"
                                      "2 9.0 0.1\n\t7\t2.0D0\t.3\n");
  const ebv_pev e = read_ebv_pev(path, std::vector<int>{7, 1, 3}, 8);
  EXPECT_EQ(e.ebv, (std::vector<double>{2.0, -0.25, 1.5}));
  EXPECT_EQ(e.pev, (std::vector<double>{0.3, 0.9, 0.40}));
}

TEST(ebv_pev_files, an_effect_of_two_billion_levels_needs_no_table_over_them) {
  // Memory follows the focal animals: these reads take kilobytes, not gigabytes. A level named
  // twice in the set gets its values in both rows.
  const std::string path = write_temp("ep_big", "2147483647 0.5 0.2\n1000000000 0.7 0.3\n5 0 0\n");
  const ebv_pev e =
      read_ebv_pev(path, std::vector<int>{1000000000, 2147483647, 1000000000}, 2147483647);
  EXPECT_EQ(e.ebv, (std::vector<double>{0.7, 0.5, 0.7}));
  EXPECT_EQ(e.pev, (std::vector<double>{0.3, 0.2, 0.3}));
  const std::string pec = write_temp("pc_big", "2147483647 1000000000 0.05\n5 6 1\n");
  const pec_matrix c = read_pec(pec, std::vector<int>{1000000000, 2147483647}, 2147483647);
  EXPECT_EQ(c.m, 2);
  EXPECT_EQ(c.row, std::vector<int>{1});
  EXPECT_EQ(c.value, std::vector<double>{0.05});
}

TEST(ebv_pev_files, pec_pairs_in_either_order_fill_the_lower_triangle) {
  const std::string path = write_temp("pc1",
                                      "4 2 0.10\n"      // positions 2, 0
                                      "9 4 0.50\n"      // 9 not focal: skipped
                                      "2 2 0.70\n"      // an animal with itself: skipped
                                      "3 4 -0.20\n"     // positions 1, 2
                                      "2 3 0.05 x\n");  // positions 0, 1
  const pec_matrix c = read_pec(path, std::vector<int>{2, 3, 4}, 9);
  EXPECT_EQ(c.m, 3);
  EXPECT_EQ(c.col_start, (std::vector<std::int64_t>{0, 2, 3, 3}));
  EXPECT_EQ(c.row, (std::vector<int>{1, 2, 2}));
  EXPECT_EQ(c.value, (std::vector<double>{0.05, 0.10, -0.20}));
}

TEST(ebv_pev_files, bad_input_stops_naming_the_file_and_the_line) {
  struct row {
    bool pec;  // read_pec, else read_ebv_pev, for the focal levels 1, 2, 3 of 5
    std::string text;
    lines expected;  // "@" stands for the path
  };
  const std::vector<row> rows = {
      {false,
       "1 0.5 0.2\n3 0.7 0.3\n",
       {"Focal animal 2 has no line in file @",
        "It is necessary to obtain analytical confidence intervals"}},
      {false, "1 0.5 0.2\n2 0.5\n", {"Cannot read level, EBV and PEV: file @, line 2", "  2 0.5"}},
      {false,
       "level ebv pev\n1 0.5 0.2\n",
       {"Cannot read level, EBV and PEV: file @, line 1", "  level ebv pev"}},
      {false, "1 NaN 0.2\n", {"Cannot read level, EBV and PEV: file @, line 1", "  1 NaN 0.2"}},
      {false,
       "1 0.5 0.2\n6 0.1 0.1\n",
       {"Level 6 is outside the levels 1 to 5 of the validation effect: file @, line 2"}},
      {false, "1 0.5 -0.2\n", {"Negative PEV of focal animal 1: file @, line 1"}},
      {false,
       "1 0.5 0.2\n2 0 0\n1 0.5 0.2\n",
       {"Focal animal 1 is given twice: file @, line 3 and line 1"}},
      {true,
       "2 3 0.1\n3 1 0.2\n3 2 0.1\n",
       {"The pair of focal animals 2 and 3 is given twice: file @, line 1 and line 3"}},
      {true,
       "2 3 0.1\n3 x 0.2\n",
       {"Cannot read two levels and a covariance: file @, line 2", "  3 x 0.2"}},
  };
  const std::vector<int> focal = {1, 2, 3};
  int count = 0;
  for (const row& r : rows) {
    const std::string path = write_temp("bad" + std::to_string(++count), r.text);
    SCOPED_TRACE(r.text);
    lines expected = r.expected;
    for (std::string& l : expected)
      if (const auto at = l.find('@'); at != std::string::npos) l.replace(at, 1, path);
    EXPECT_EQ(stop_lines([&] {
                r.pec ? (void)read_pec(path, focal, 5) : (void)read_ebv_pev(path, focal, 5);
              }),
              expected);
  }
  EXPECT_EQ(stop_lines([] { read_ebv_pev("unused", std::vector<int>{6}, 5); }),
            lines{"Focal animal 6 is outside the levels 1 to 5 of the validation effect"});
}

TEST(ebv_pev_files, ebv_differences_relative_to_the_size_of_the_values_print_one_warning) {
  // rms of the solutions is about 6.2: differences below 0.0062 do not count near 0.
  const std::vector<double> sol = {10.0, -5.0, 0.0, 2.0, 8.0},
                            file = {10.005, -5.02, 0.004, 2.0, 8.1};
  int count = -1;
  EXPECT_EQ(testing::captured_stdout(
                [&] { count = compare_ebv("ebv_pev_1_1_whole", file, "solutions_whole", sol); }),
            "Warning: 2 focal animals have EBVs in ebv_pev_1_1_whole that differ from "
            "solutions_whole by more than 1e-3 (relative)\n");
  EXPECT_EQ(count, 2);
  EXPECT_EQ(testing::captured_stdout(
                [&] { count = compare_ebv("ebv_pev_1_1_whole", sol, "solutions_whole", sol); }),
            "");
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace ventrel::statistics
