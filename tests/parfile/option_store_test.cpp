// OPTION queries: matching, comments, continued searches, exclusive options.
#include "parfile/option_store.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include "common/fatal.hpp"

namespace ventrel::parfile {
namespace {

option_store store_of(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return option_store(path);
}

TEST(option_store, matches_names_regardless_of_case_and_keeps_value_case) {
  option_store s = store_of("opt1.txt", "DATAFILE\nOPTION  SE  exact\n");
  option_values v = s.get_option("se");
  ASSERT_EQ(v.n, 1);
  EXPECT_EQ(v.xc[0], "exact");
  EXPECT_EQ(s.get_option("Se").xc[0], "exact");
  EXPECT_EQ(s.get_option("se   ").n, 1);
}

TEST(option_store, tells_the_line_it_found) {
  option_store s = store_of("opt_line.txt", "DATAFILE\n\nOPTION se exact\nOPTION a\nOPTION a 2\n");
  EXPECT_EQ(s.get_option("se").line_no, 3);
  EXPECT_EQ(s.get_option("a").line_no, 4);
  EXPECT_EQ(s.get_option("a", true).line_no, 5);
  EXPECT_EQ(s.get_option("b").line_no, 0);
}

TEST(option_store, requires_the_word_OPTION_in_capitals_first) {
  option_store s = store_of("opt2.txt", "option se exact\n  OPTION nthreads 4\nX OPTION se a\n");
  EXPECT_EQ(s.get_option("se").n, -1);
  EXPECT_EQ(s.get_option("nthreads").n, 1);  // leading blanks do not matter
}

TEST(option_store, drops_comments_but_not_from_the_first_column) {
  option_store s = store_of("opt3.txt", "OPTION se # exact\n#OPTION nthreads 2\n");
  option_values v = s.get_option("se");
  EXPECT_EQ(v.n, 0);
  EXPECT_TRUE(v.xc.empty());
  EXPECT_EQ(s.get_option("nthreads").n, -1);
  EXPECT_EQ(s.get_option("#OPTION").n, -1);
}

TEST(option_store, gives_values_as_text_and_numbers) {
  option_store s = store_of("opt4.txt", "OPTION focal_var usr 1.5e0 7 abc\n");
  option_values v = s.get_option("focal_var");
  ASSERT_EQ(v.n, 4);
  EXPECT_EQ(v.xc, (std::vector<std::string>{"usr", "1.5e0", "7", "abc"}));
  EXPECT_EQ(v.x, (std::vector<double>{0, 1.5, 7, 0}));
}

TEST(option_store, continued_queries_collect_repeated_lines) {
  option_store s = store_of("opt5.txt", "OPTION a 1\nOPTION b 9\nOPTION a 2\n");
  EXPECT_EQ(s.get_option("a").xc[0], "1");
  EXPECT_EQ(s.get_option("a", true).xc[0], "2");
  EXPECT_EQ(s.get_option("a", true).n, -1);
  EXPECT_EQ(s.get_option("a").xc[0], "1");  // a plain query starts again from the top
}

TEST(option_store, absent_option_answers_minus_one) {
  option_store s = store_of("opt6.txt", "OPTION a 1\n");
  option_values v = s.get_option("zz");
  EXPECT_EQ(v.n, -1);
  EXPECT_TRUE(v.xc.empty());
  EXPECT_EQ(s.get_exclusive_options("zz", "yy").n, -1);
}

TEST(option_store, cuts_lines_at_five_thousand_characters) {
  std::string longline = "OPTION long " + std::string(4988, 'x') + " tail\n";
  option_store s = store_of("opt7.txt", longline);
  option_values v = s.get_option("long");
  ASSERT_EQ(v.n, 1);
  EXPECT_EQ(v.xc[0].size(), 4988u);
}

TEST(option_store, stops_on_more_than_a_thousand_and_one_values) {
  std::string line = "OPTION many";
  for (int i = 1; i <= 1002; ++i) line += " 1";
  option_store s = store_of("opt8.txt", line + "\n");
  try {
    s.get_option("many");
    FAIL() << "the run did not stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines()[0], "Error in nums2 splitting string starting: 1");
    EXPECT_EQ(e.lines()[1], "into m: 1003 items");
  }
}

TEST(option_store, a_tab_in_an_option_line_stops_naming_the_line) {
  option_store s = store_of("opt_tab.txt", "DATAFILE\nOPTION nthreads 2\nOPTION se\texact\n");
  const std::string path = ::testing::TempDir() + "opt_tab.txt";
  try {
    s.get_option("nthreads");
    s.get_option("se");
    FAIL() << "the run did not stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines(), (std::vector<std::string>{
                             " TAB was found, Use spaces to separeate columns in file: \"" + path + "\"",
                             "file " + path + ", line 3: only blanks separate the words of this line",
                             " Convert to TAB to spaces, e.g. \"expand file > newfile\""}));
  }
  // A TAB in a comment or in a line that is no OPTION line is not looked at.
  option_store t = store_of("opt_tab2.txt", "1.0\t2.0\nOPTION se exact # a\tb\n");
  EXPECT_EQ(t.get_option("se").xc[0], "exact");
}

TEST(option_store, only_option_lines_are_split) {
  // A line of 2,000 numbers (a large (CO)VARIANCES block on one line) is no OPTION line.
  std::string numbers;
  for (int i = 0; i < 2000; ++i) numbers += "1 ";
  option_store s = store_of("opt_many.txt", numbers + "\nOPTION se boot\n");
  EXPECT_EQ(s.get_option("se").xc[0], "boot");
}

TEST(option_store, five_thousand_values_stop_briefly_naming_the_line) {
  // The line is cut at 5000 characters, which leave 2,500 words: more than the 1003 allowed.
  std::string line = "OPTION validation 2";
  for (int i = 0; i < 5000; ++i) line += " 7";
  option_store s = store_of("opt_5000.txt", "DATAFILE\n" + line + "\n");
  try {
    s.get_option("validation");
    FAIL() << "the run did not stop";
  } catch (const fatal_error& e) {
    ASSERT_EQ(e.lines().size(), 3u);
    EXPECT_TRUE(e.lines()[0].starts_with("Error in nums2 splitting string starting: 7 7 7"));
    EXPECT_TRUE(e.lines()[0].ends_with(" ..."));
    EXPECT_LT(e.lines()[0].size(), 160u);
    EXPECT_EQ(e.lines()[1], "into m: 1003 items");
    EXPECT_EQ(e.lines()[2], "file " + ::testing::TempDir() + "opt_5000.txt, line 2");
  }
}

TEST(option_store, exclusive_options_stop_when_both_are_set) {
  option_store s = store_of("opt9.txt", "OPTION a\nOPTION b 3\n");
  try {
    s.get_exclusive_options("a", "b");
    FAIL() << "the run did not stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines(), std::vector<std::string>{"Both options were set a and b"});
  }
  option_values v = s.get_exclusive_options("b", "c");
  ASSERT_EQ(v.n, 1);
  EXPECT_EQ(v.x[0], 3);
  EXPECT_EQ(s.get_exclusive_options("c", "a").n, 0);
}

}  // namespace
}  // namespace ventrel::parfile
