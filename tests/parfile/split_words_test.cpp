// Word splitting: nums2 and numsx.
#include "parfile/split_words.hpp"

#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

TEST(nums2, splits_at_blanks_only_and_reads_numbers_free_format) {
  const option_values v = nums2("  a\tb  c,d 1.5e0   7 -2.5D1 ", 10);
  ASSERT_EQ(v.n, 5);
  EXPECT_EQ(v.xc, (std::vector<std::string>{"a\tb", "c,d", "1.5e0", "7", "-2.5D1"}));
  EXPECT_EQ(v.x, (std::vector<double>{0, 0, 1.5, 7, -25}));
  EXPECT_EQ(nums2("     ", 10).n, 0);
  EXPECT_TRUE(nums2("     ", 10).xc.empty());
  EXPECT_EQ(nums2("a b", 2).n, 2);  // exactly the room
}

TEST(numsx, reads_integers_and_zero_for_other_words) {
  const keyword_line k = numsx("3 12 1.5 cross -4");
  ASSERT_EQ(k.n, 5);
  EXPECT_EQ(k.numbers, (std::vector<int>{3, 12, 0, 0, -4}));
  EXPECT_EQ(k.words[3], "cross");
}

TEST(split_words, more_words_than_room_stop_from_the_first_word_too_many) {
  std::string seventy;
  for (int i = 1; i <= 70; ++i) seventy += std::to_string(i) + " ";
  EXPECT_EQ(numsx(seventy).n, 70);
  EXPECT_EQ(test_support::stop_lines([&] { numsx(seventy + "71 "); })[0],
            "Error in numsx splitting string starting: 71 ");
  EXPECT_EQ(test_support::stop_lines([] { nums2("a b c d", 2); })[0], "Error in nums2 splitting string starting: c d");
}

}  // namespace
}  // namespace ventrel::parfile
