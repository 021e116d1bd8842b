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

}  // namespace
}  // namespace ventrel::validation
