// Word splitting: nums2, numsx and to_lower.
#include "parfile/split_words.hpp"

#include <gtest/gtest.h>

#include <functional>

#include "common/fatal.hpp"

namespace ventrel::parfile {
namespace {

std::vector<std::string> stop_lines(const std::function<void()>& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

TEST(nums2, splits_at_blanks_only) {
  option_values v = nums2("  a\tb  c,d   e ", 10);
  EXPECT_EQ(v.n, 3);
  EXPECT_EQ(v.xc, (std::vector<std::string>{"a\tb", "c,d", "e"}));
}

TEST(nums2, reads_numbers_free_format_and_zero_otherwise) {
  option_values v = nums2("1.5e0 7 abc -2.5D1", 10);
  ASSERT_EQ(v.n, 4);
  EXPECT_EQ(v.x, (std::vector<double>{1.5, 7, 0, -25}));
  EXPECT_EQ(v.xc[2], "abc");
}

TEST(nums2, empty_text_gives_no_words) {
  option_values v = nums2("     ", 10);
  EXPECT_EQ(v.n, 0);
  EXPECT_TRUE(v.xc.empty());
}

TEST(nums2, stops_when_there_are_more_words_than_room) {
  EXPECT_EQ(stop_lines([] { nums2("a b c d", 2); }),
            (std::vector<std::string>{"Error in nums2 splitting string starting: c d",
                                      "into m: 2 items"}));
  EXPECT_EQ(nums2("a b", 2).n, 2);
}

TEST(numsx, reads_integers_and_zero_for_other_words) {
  keyword_line k = numsx("3 12 1.5 cross -4");
  ASSERT_EQ(k.n, 5);
  EXPECT_EQ(k.numbers, (std::vector<int>{3, 12, 0, 0, -4}));
  EXPECT_EQ(k.words[3], "cross");
}

TEST(numsx, stops_beyond_seventy_words) {
  std::string line;
  for (int i = 1; i <= 71; ++i) line += std::to_string(i) + " ";
  auto lines = stop_lines([&] { numsx(line); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Error in numsx splitting string starting: 71 ");
  std::string seventy;
  for (int i = 1; i <= 70; ++i) seventy += std::to_string(i) + " ";
  EXPECT_EQ(numsx(seventy).n, 70);
}

TEST(to_lower, changes_only_capital_letters) {
  EXPECT_EQ(to_lower("ReadExternalInbreeding_2 #X"), "readexternalinbreeding_2 #x");
  EXPECT_EQ(to_lower("AZaz09[]@"), "azaz09[]@");
}

}  // namespace
}  // namespace ventrel::parfile
