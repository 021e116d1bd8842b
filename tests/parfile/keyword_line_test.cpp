// Line-level reading of the parameter file: format check, random-group count, keyword lines.
#include "parfile/keyword_line.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "common/fatal.hpp"

namespace ventrel::parfile {
namespace {

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

std::vector<std::string> stop_lines(const std::function<void()>& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

TEST(check_file_format, stops_on_a_tab_in_the_first_record) {
  std::string path = write_temp("kw_tab.txt", "DATAFILE\tx\nrest\n");
  line_reader f(path);
  EXPECT_EQ(stop_lines([&] { check_file_format(f); }),
            (std::vector<std::string>{
                " TAB was found, Use spaces to separeate columns in file: \"" + path + "\"",
                " Convert to TAB to spaces, e.g. \"expand file > newfile\""}));
}

TEST(check_file_format, ignores_tabs_after_the_first_record_and_rewinds) {
  std::string path = write_temp("kw_tab2.txt", "DATAFILE\nx\ty\n");
  line_reader f(path);
  std::string_view line;
  f.next(line);
  check_file_format(f);
  ASSERT_TRUE(f.next(line));
  EXPECT_EQ(line, "DATAFILE");
}

TEST(check_file_format, stops_on_carriage_returns_without_newlines) {
  std::string path = write_temp("kw_mac.txt", "DATAFILE\rdata\rNUMBER_OF_TRAITS\r");
  line_reader f(path);
  EXPECT_EQ(stop_lines([&] { check_file_format(f); }),
            (std::vector<std::string>{
                " Mac old newline format detected in file: \"" + path + "\"",
                " Convert it to Unix newline format, e.g. \"flip -u <file>\""}));
}

TEST(check_file_format, accepts_dos_line_ends_and_empty_files) {
  line_reader dos(write_temp("kw_dos.txt", "DATAFILE\r\ndata\r\n"));
  EXPECT_NO_THROW(check_file_format(dos));
  line_reader empty(write_temp("kw_empty.txt", ""));
  EXPECT_NO_THROW(check_file_format(empty));
}

TEST(check_file_format, tests_only_the_first_fifty_thousand_characters) {
  line_reader f(write_temp("kw_long.txt", std::string(50000, 'a') + "\tb\n"));
  EXPECT_NO_THROW(check_file_format(f));
  line_reader g(write_temp("kw_long2.txt", std::string(49999, 'a') + "\tb\n"));
  EXPECT_THROW(check_file_format(g), fatal_error);
}

TEST(count_random_groups, counts_left_adjusted_lines_up_to_the_first_option) {
  std::string path = write_temp("kw_groups.txt",
                                "RANDOM_GROUP\n  RANDOM_GROUP\n# RANDOM_GROUP\nRANDOM_GROUPS\n"
                                "x RANDOM_GROUP\n  OPTION a\nRANDOM_GROUP\n");
  line_reader f(path);
  EXPECT_EQ(count_random_groups(f), 3);
  std::string_view line;
  ASSERT_TRUE(f.next(line));
  EXPECT_EQ(line, "RANDOM_GROUP");  // rewound after counting
}

TEST(read_keyword_line, skips_comment_lines_and_drops_trailing_comments) {
  line_reader f(write_temp("kw_lines.txt", "   # note\n  NUMBER_OF_TRAITS  # the count\n2#x\n"));
  keyword_line k = read_keyword_line(f);
  ASSERT_EQ(k.n, 1);
  EXPECT_EQ(k.words[0], "NUMBER_OF_TRAITS");
  EXPECT_EQ(k.line_no, 2);
  k = read_keyword_line(f);
  ASSERT_EQ(k.n, 1);
  EXPECT_EQ(k.numbers[0], 2);
  k = read_keyword_line(f);
  EXPECT_EQ(k.n, -1);
}

TEST(read_keyword_line, gives_no_words_for_a_blank_line) {
  line_reader f(write_temp("kw_blank.txt", "WEIGHT(S)\n\n   \nx\n"));
  EXPECT_EQ(read_keyword_line(f).n, 1);
  EXPECT_EQ(read_keyword_line(f).n, 0);
  EXPECT_EQ(read_keyword_line(f).n, 0);
  EXPECT_EQ(read_keyword_line(f).words[0], "x");
}

TEST(read_keyword_line, stops_on_a_tab_but_leaves_option_lines_to_the_option_store) {
  line_reader f(write_temp("kw_tab3.txt", "DATAFILE\nOPTION se\texact\n# a\tcomment\n1 2 # c\td\nx\ty\n"));
  EXPECT_EQ(read_keyword_line(f).words[0], "DATAFILE");
  EXPECT_EQ(read_keyword_line(f).n, 2);
  EXPECT_EQ(read_keyword_line(f).numbers, (std::vector<int>{1, 2}));
  EXPECT_EQ(stop_lines([&] { read_keyword_line(f); })[1],
            "file " + ::testing::TempDir() + "kw_tab3.txt, line 5: only blanks separate the words of this line");
}

TEST(read_keyword_line, too_many_words_name_the_line) {
  std::string line;
  for (int i = 0; i < 71; ++i) line += "w ";
  line_reader f(write_temp("kw_words.txt", "DATAFILE\n" + line + "\n"));
  read_keyword_line(f);
  EXPECT_EQ(stop_lines([&] { read_keyword_line(f); }),
            (std::vector<std::string>{"Error in numsx splitting string starting: w ", "into m: 70 items",
                                      "file " + ::testing::TempDir() + "kw_words.txt, line 2"}));
}

}  // namespace
}  // namespace ventrel::parfile
