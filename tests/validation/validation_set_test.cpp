// Reading of validation-set files.
#include "validation/validation_set.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::write_temp;

TEST(validation_set, reads_the_first_value_of_every_non_blank_line) {
  const std::string path = write_temp("vs1.txt", "7\n\n  3 ignored 9\r\n12,4\n\t100\n");
  EXPECT_EQ(read_validation_set(path, 3, 100), (std::vector<int>{7, 3, 12, 100}));
}

// The stops are checked end to end; here the upper bound of the levels.
TEST(validation_set, accepts_the_last_level_of_the_effect_and_no_level_beyond) {
  const std::string path = write_temp("vs_range.txt", "5\n101\n");
  EXPECT_EQ(read_validation_set(path, 3, 101), (std::vector<int>{5, 101}));
  EXPECT_EQ(test_support::stop_lines([&] { read_validation_set(path, 3, 100); })[0],
            "Validation set file: level 101 is outside the levels 1 to 100 of effect 3");
}

// As the family reads them: up to the first line whose first value is not a whole number. A
// file that starts with such a line (a header) or with a byte-order mark holds no level: stop.
TEST(validation_set, reads_up_to_a_footer_and_stops_on_a_header_or_a_byte_order_mark) {
  EXPECT_EQ(read_validation_set(write_temp("vs_footer.txt", "4\n9\n22.0\n5\n"), 3, 100), (std::vector<int>{4, 9}));
  const std::string head = write_temp("vs_head.txt", "\nid\n4\n");
  const auto header = test_support::stop_lines([&] { read_validation_set(head, 3, 100); });
  EXPECT_NE(header[0].find("starts with a line that is not a level: \"id\""), std::string::npos) << header[0];
  EXPECT_EQ(header.back(), "file " + head + ", line 2");
  const auto bom = test_support::stop_lines([] { read_validation_set(write_temp("vs_bom.txt", "\xEF\xBB\xBF" "4\n"), 3, 100); });
  EXPECT_NE(bom[0].find("UTF-8 byte-order mark, which is not part of a level: \"<EF><BB><BF>4\""), std::string::npos)
      << bom[0];
  // A whole number too large for any level is a level outside the effect, not a footer.
  EXPECT_EQ(test_support::stop_lines([] { read_validation_set(write_temp("vs_big.txt", "4\n99999999999\n"), 3, 100); })[0],
            "Validation set file: level 99999999999 is outside the levels 1 to 100 of effect 3");
}

}  // namespace
}  // namespace ventrel::validation
