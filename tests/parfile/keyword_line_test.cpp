// Line-level reading of the parameter file: format check, random-group count, keyword lines.
#include "parfile/keyword_line.hpp"

#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

using test_support::lines;
using test_support::stop_lines;
using test_support::write_temp;

std::string tab_found(const std::string& path) {
  return " TAB was found, Use spaces to separeate columns in file: \"" + path + "\"";
}

// A TAB or a lone CR stops only within the first record's first 50000 characters (the
// messages themselves are checked end to end).
TEST(check_file_format, looks_at_the_first_50000_characters_of_the_first_record_only) {
  auto stops = [](const std::string& text) {
    line_reader f(write_temp("kw_format", text));
    return stop_lines([&] { check_file_format(f); })[0];
  };
  EXPECT_EQ(stops(std::string(49999, 'a') + "\tb\n"), tab_found(::testing::TempDir() + "kw_format"));
  EXPECT_NE(stops("DATAFILE\rdata\rNUMBER_OF_TRAITS\r"), "no stop");
  for (const std::string& fine : {std::string("DATAFILE\nx\ty\n"), std::string(50000, 'a') + "\tb\n",
                                  std::string("DATAFILE\r\ndata\r\n"), std::string()})
    EXPECT_EQ(stops(fine), "no stop");
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
  EXPECT_EQ(stop_lines([&] { read_keyword_line(f); })[0], tab_found(path));
  const keyword_line end = read_keyword_line(f);
  EXPECT_EQ(end.n, -1);
  EXPECT_EQ(end.line_no, 9);
}

}  // namespace
}  // namespace ventrel::parfile
