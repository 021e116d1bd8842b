// Readers of the ebv_pev and pec files and the EBV comparison with the solution files.
#include "statistics/ebv_pev_files.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::statistics {
namespace {

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

// The message lines of the stop that f raises, or a failure when it does not stop.
template <class F>
std::vector<std::string> stop_lines(F f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "no stop";
  return {};
}

TEST(ebv_pev_files, names_carry_the_trait_without_blanks) {
  EXPECT_EQ(ebv_pev_file_name(1, evaluation::whole), "ebv_pev_1_1_whole");
  EXPECT_EQ(ebv_pev_file_name(12, evaluation::partial), "ebv_pev_12_1_partial");
  EXPECT_EQ(pec_file_name(3, evaluation::whole), "pec_3_1_whole");
  EXPECT_EQ(pec_file_name(3, evaluation::partial), "pec_3_1_partial");
}

TEST(ebv_pev_files, ebv_pev_gives_the_focal_animals_in_set_order) {
  const std::string path = write_temp("ep1",
                                      "3  1.5  0.40  0.77 extra\n"
                                      "\n"
                                      "1,-0.25,0.9\n"
                                      "2 9.0 0.1\n"
                                      "\t7\t2.0D0\t.3\n");
  const std::vector<int> focal = {7, 1, 3};
  const ebv_pev e = read_ebv_pev(path, focal, 8);
  EXPECT_EQ(e.ebv, (std::vector<double>{2.0, -0.25, 1.5}));
  EXPECT_EQ(e.pev, (std::vector<double>{0.3, 0.9, 0.40}));
}

TEST(ebv_pev_files, a_level_named_twice_in_the_set_gets_its_values_in_both_rows) {
  const std::string path = write_temp("ep2", "1 0.5 0.2\n2 0.7 0.3\n");
  const std::vector<int> focal = {2, 1, 2};
  const ebv_pev e = read_ebv_pev(path, focal, 2);
  EXPECT_EQ(e.ebv, (std::vector<double>{0.7, 0.5, 0.7}));
}

TEST(ebv_pev_files, a_focal_animal_without_a_line_stops_naming_file_and_level) {
  const std::string path = write_temp("ep3", "1 0.5 0.2\n3 0.7 0.3\n");
  const std::vector<int> focal = {1, 2, 3};
  const auto lines = stop_lines([&] { read_ebv_pev(path, focal, 5); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Focal animal 2 has no line in file " + path);
  EXPECT_EQ(lines[1], "It is necessary to obtain analytical confidence intervals");
}

TEST(ebv_pev_files, bad_lines_stop_naming_file_and_line) {
  const std::vector<int> focal = {1};
  const std::string short_line = write_temp("ep4", "1 0.5 0.2\n2 0.5\n");
  auto lines = stop_lines([&] { read_ebv_pev(short_line, focal, 5); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Cannot read level, EBV and PEV: file " + short_line + ", line 2");
  EXPECT_EQ(lines[1], "  2 0.5");

  const std::string garbage = write_temp("ep5", "level ebv pev\n1 0.5 0.2\n");
  lines = stop_lines([&] { read_ebv_pev(garbage, focal, 5); });
  EXPECT_EQ(lines.at(0), "Cannot read level, EBV and PEV: file " + garbage + ", line 1");

  const std::string nan_value = write_temp("ep6", "1 NaN 0.2\n");
  lines = stop_lines([&] { read_ebv_pev(nan_value, focal, 5); });
  EXPECT_EQ(lines.at(0), "Cannot read level, EBV and PEV: file " + nan_value + ", line 1");

  const std::string range = write_temp("ep7", "1 0.5 0.2\n6 0.1 0.1\n");
  lines = stop_lines([&] { read_ebv_pev(range, focal, 5); });
  EXPECT_EQ(lines.at(0), "Level 6 is outside the levels 1 to 5 of the validation effect: file " +
                             range + ", line 2");

  const std::string negative = write_temp("ep8", "1 0.5 -0.2\n");
  lines = stop_lines([&] { read_ebv_pev(negative, focal, 5); });
  EXPECT_EQ(lines.at(0), "Negative PEV of focal animal 1: file " + negative + ", line 1");

  const std::string twice = write_temp("ep9", "1 0.5 0.2\n2 0 0\n1 0.5 0.2\n");
  lines = stop_lines([&] { read_ebv_pev(twice, focal, 5); });
  EXPECT_EQ(lines.at(0), "Focal animal 1 is given twice: file " + twice + ", line 3 and line 1");
}

TEST(ebv_pev_files, an_effect_of_two_billion_levels_needs_no_table_over_them) {
  // Memory follows the focal animals: these reads take kilobytes, not gigabytes.
  const std::string path = write_temp("ep_big", "2147483647 0.5 0.2\n1000000000 0.7 0.3\n5 0 0\n");
  const std::vector<int> focal{1000000000, 2147483647, 1000000000};
  const ebv_pev e = read_ebv_pev(path, focal, 2147483647);
  EXPECT_EQ(e.ebv, (std::vector<double>{0.7, 0.5, 0.7}));
  EXPECT_EQ(e.pev, (std::vector<double>{0.3, 0.2, 0.3}));
  const std::string pec = write_temp("pc_big", "2147483647 1000000000 0.05\n5 6 1\n");
  const std::vector<int> two{1000000000, 2147483647};
  const pec_matrix c = read_pec(pec, two, 2147483647);
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
  const std::vector<int> focal = {2, 3, 4};
  const pec_matrix c = read_pec(path, focal, 9);
  EXPECT_EQ(c.m, 3);
  EXPECT_EQ(c.col_start, (std::vector<std::int64_t>{0, 2, 3, 3}));
  EXPECT_EQ(c.row, (std::vector<int>{1, 2, 2}));
  EXPECT_EQ(c.value, (std::vector<double>{0.05, 0.10, -0.20}));
}

TEST(ebv_pev_files, a_pec_pair_given_twice_stops_naming_both_lines) {
  const std::string path = write_temp("pc2", "2 3 0.1\n3 4 0.2\n3 2 0.1\n");
  const std::vector<int> focal = {2, 3, 4};
  const auto lines = stop_lines([&] { read_pec(path, focal, 5); });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "The pair of focal animals 2 and 3 is given twice: file " + path +
                          ", line 1 and line 3");
}

TEST(ebv_pev_files, a_bad_pec_line_stops_naming_file_and_line) {
  const std::string path = write_temp("pc3", "2 3 0.1\n3 x 0.2\n");
  const std::vector<int> focal = {2, 3};
  const auto lines = stop_lines([&] { read_pec(path, focal, 5); });
  EXPECT_EQ(lines.at(0), "Cannot read two levels and a covariance: file " + path + ", line 2");
}

TEST(ebv_pev_files, ebv_differences_count_relative_to_the_size_of_the_values) {
  const std::vector<double> sol = {10.0, -5.0, 0.0, 2.0, 8.0};
  // rms of the solutions is about 6.2: differences below 0.0062 do not count near 0.
  const std::vector<double> file = {10.005, -5.02, 0.004, 2.0, 8.1};
  EXPECT_EQ(count_ebv_differences(file, sol), 2);
  EXPECT_EQ(count_ebv_differences(sol, sol), 0);
}

TEST(ebv_pev_files, ebv_differences_print_one_warning) {
  const std::vector<double> sol = {1.0, 2.0, 3.0};
  const std::vector<double> file = {1.5, 2.0, 3.5};
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(compare_ebv("ebv_pev_1_1_whole", file, "solutions_whole", sol), 2);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "Warning: 2 focal animals have EBVs in ebv_pev_1_1_whole that differ from "
            "solutions_whole by more than 1e-3 (relative)\n");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(compare_ebv("ebv_pev_1_1_whole", sol, "solutions_whole", sol), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace ventrel::statistics
