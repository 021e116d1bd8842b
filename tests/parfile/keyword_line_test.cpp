// Line-level reading of the parameter file: format check, random-group count, keyword lines.
#include "parfile/keyword_line.hpp"

#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

using test_support::expect_stops;
using test_support::lines;
using test_support::stop_lines;
using test_support::write_temp;

const std::string convert_tabs = " Convert to TAB to spaces, e.g. \"expand file > newfile\"";
std::string tab_found(const std::string& path) {
  return " TAB was found, Use spaces to separeate columns in file: \"" + path + "\"";
}

TEST(check_file_format, stops_on_a_tab_or_a_lone_carriage_return_in_the_first_record_only) {
  const std::string d = ::testing::TempDir();
  auto check = [&](const std::string& name, const std::string& text) {
    return [path = write_temp(name, text)] {
      line_reader f(path);
      check_file_format(f);
    };
  };
  expect_stops({
      {"tab", check("kw_tab", "DATAFILE\tx\nrest\n"), {tab_found(d + "kw_tab"), convert_tabs}},
      {"tab at character 50000", check("kw_tab50k", std::string(49999, 'a') + "\tb\n"),
       {tab_found(d + "kw_tab50k"), convert_tabs}},
      {"old Mac newlines", check("kw_mac", "DATAFILE\rdata\rNUMBER_OF_TRAITS\r"),
       {" Mac old newline format detected in file: \"" + d + "kw_mac\"",
        " Convert it to Unix newline format, e.g. \"flip -u <file>\""}},
      {"tab after the first record", check("kw_tab2", "DATAFILE\nx\ty\n"), {}},
      {"tab beyond 50000 characters", check("kw_tab_far", std::string(50000, 'a') + "\tb\n"), {}},
      {"DOS line ends", check("kw_dos", "DATAFILE\r\ndata\r\n"), {}},
      {"empty file", check("kw_empty", ""), {}},
  });
}

TEST(count_random_groups, counts_left_adjusted_lines_up_to_the_first_option_and_rewinds) {
  line_reader f(write_temp("kw_groups.txt", "RANDOM_GROUP\n  RANDOM_GROUP\n# RANDOM_GROUP\nRANDOM_GROUPS\n"
                                            "x RANDOM_GROUP\n  OPTION a\nRANDOM_GROUP\n"));
  std::string_view line;
  f.next(line);
  f.next(line);
  EXPECT_EQ(count_random_groups(f), 3);
  ASSERT_TRUE(f.next(line));
  EXPECT_EQ(line, "RANDOM_GROUP");
  check_file_format(f);
  ASSERT_TRUE(f.next(line));
  EXPECT_EQ(line, "RANDOM_GROUP");
}

TEST(read_keyword_line, skips_comment_lines_keeps_blank_ones_and_stops_on_tabs_outside_option_lines) {
  const std::string path = write_temp("kw_lines.txt",
                                      "   # note\n  NUMBER_OF_TRAITS  # the count\n2#x\n\n   \n"
                                      "OPTION se\texact\n# a\tcomment\n1 2 # c\td\nx\ty\n");
  line_reader f(path);
  struct row {
    lines words;
    std::vector<int> numbers;
    std::int64_t line_no;
  };
  for (const row& r : {row{{"NUMBER_OF_TRAITS"}, {0}, 2}, row{{"2"}, {2}, 3}, row{{}, {}, 4}, row{{}, {}, 5},
                       row{{"OPTION", "se\texact"}, {0, 0}, 6}, row{{"1", "2"}, {1, 2}, 8}}) {
    const keyword_line k = read_keyword_line(f);
    EXPECT_EQ(k.n, static_cast<int>(r.words.size())) << r.line_no;
    EXPECT_EQ(k.words, r.words);
    EXPECT_EQ(k.numbers, r.numbers);
    EXPECT_EQ(k.line_no, r.line_no);
  }
  EXPECT_EQ(stop_lines([&] { read_keyword_line(f); }),
            (lines{tab_found(path), "file " + path + ", line 9: only blanks separate the words of this line",
                   convert_tabs}));
  const keyword_line end = read_keyword_line(f);
  EXPECT_EQ(end.n, -1);
  EXPECT_EQ(end.line_no, 9);
}

TEST(read_keyword_line, too_many_words_name_the_line) {
  std::string words;
  for (int i = 0; i < 71; ++i) words += "w ";
  const std::string path = write_temp("kw_words.txt", "DATAFILE\n" + words + "\n");
  line_reader f(path);
  read_keyword_line(f);
  EXPECT_EQ(stop_lines([&] { read_keyword_line(f); }),
            (lines{"Error in numsx splitting string starting: w ", "into m: 70 items", "file " + path + ", line 2"}));
}

}  // namespace
}  // namespace ventrel::parfile
