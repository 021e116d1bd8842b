// Reading of validation-set files.
#include "validation/validation_set.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::expect_stops;
using test_support::write_temp;

TEST(validation_set, reads_the_first_value_of_every_non_blank_line) {
  const std::string path = write_temp("vs1.txt", "7\n\n  3 ignored 9\r\n12,4\n\t100\n");
  EXPECT_EQ(read_validation_set(path, 3, 100), (std::vector<int>{7, 3, 12, 100}));
}

TEST(validation_set, stops_naming_the_file_the_line_and_the_level) {
  const std::string d = ::testing::TempDir();
  auto reading = [](const std::string& path) { return [=] { read_validation_set(path, 3, 100); }; };
  auto at = [&](const std::string& name, int line) { return "file " + d + name + ", line " + std::to_string(line); };
  const std::string not_a_level =
      "Validation set file: the first value of a line must be a level (a whole number from 1 to 100), found: ";
  const std::string outside = " is outside the levels 1 to 100 of effect 3";
  expect_stops({
      {"absent", reading(d + "vs_absent.txt"), {"Validation set file " + d + "vs_absent.txt does not exist"}},
      {"empty", reading(write_temp("vs_empty.txt", "\n  \n")),
       {"Validation set file " + d + "vs_empty.txt holds no focal individual"}},
      {"twice", reading(write_temp("vs_twice.txt", "5\n8\n9\n8\n5\n")),
       {"Validation set file: level 5 is given twice (first on line 1)", at("vs_twice.txt", 5)}},
      {"101", reading(write_temp("vs_range.txt", "5\n101\n")),
       {"Validation set file: level 101" + outside, at("vs_range.txt", 2)}},
      {"0", reading(write_temp("vs_zero.txt", "0\n")),
       {"Validation set file: level 0" + outside, at("vs_zero.txt", 1)}},
      {"A17", reading(write_temp("vs_text.txt", "5\nA17\n")), {not_a_level + "A17", at("vs_text.txt", 2)}},
      {"5.0", reading(write_temp("vs_real.txt", "5.0\n")), {not_a_level + "5.0", at("vs_real.txt", 1)}},
  });
  EXPECT_EQ(read_validation_set(d + "vs_range.txt", 3, 101), (std::vector<int>{5, 101}));
}

}  // namespace
}  // namespace ventrel::validation
