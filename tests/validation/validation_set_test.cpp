// Reading of validation-set files.
#include "validation/validation_set.hpp"

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

std::vector<std::string> stop_of(const std::string& path, int nlev = 100) {
  try {
    read_validation_set(path, 3, nlev);
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

TEST(validation_set, reads_the_first_value_of_every_non_blank_line) {
  const std::string path = write_temp("vs1.txt", "7\n\n  3 ignored 9\r\n12,4\n\t100\n");
  EXPECT_EQ(read_validation_set(path, 3, 100), (std::vector<int>{7, 3, 12, 100}));
}

TEST(validation_set, stops_on_a_missing_or_empty_file) {
  EXPECT_EQ(stop_of(::testing::TempDir() + "vs_absent.txt"),
            std::vector<std::string>{"Validation set file " + ::testing::TempDir() +
                                     "vs_absent.txt does not exist"});
  const std::string empty = write_temp("vs_empty.txt", "\n  \n");
  EXPECT_EQ(stop_of(empty), std::vector<std::string>{"Validation set file " + empty +
                                                     " holds no focal individual"});
}

TEST(validation_set, stops_on_a_level_given_twice_naming_both_lines) {
  const std::string path = write_temp("vs_twice.txt", "5\n8\n9\n8\n5\n");
  EXPECT_EQ(stop_of(path), (std::vector<std::string>{
                               "Validation set file: level 5 is given twice (first on line 1)",
                               "file " + path + ", line 5"}));
}

TEST(validation_set, stops_on_a_level_outside_the_effect) {
  const std::string path = write_temp("vs_range.txt", "5\n101\n");
  EXPECT_EQ(stop_of(path), (std::vector<std::string>{
                               "Validation set file: level 101 is outside the levels 1 to 100 of effect 3",
                               "file " + path + ", line 2"}));
  EXPECT_EQ(stop_of(write_temp("vs_zero.txt", "0\n"))[0],
            "Validation set file: level 0 is outside the levels 1 to 100 of effect 3");
  EXPECT_NO_THROW(read_validation_set(path, 3, 101));
}

TEST(validation_set, stops_on_a_value_that_is_not_a_level) {
  const std::string path = write_temp("vs_text.txt", "5\nA17\n");
  EXPECT_EQ(stop_of(path), (std::vector<std::string>{
                               "Validation set file: the first value of a line must be a level (a "
                               "whole number from 1 to 100), found: A17",
                               "file " + path + ", line 2"}));
  EXPECT_EQ(stop_of(write_temp("vs_real.txt", "5.0\n"))[1], "file " + ::testing::TempDir() + "vs_real.txt, line 1");
}

}  // namespace
}  // namespace ventrel::validation
