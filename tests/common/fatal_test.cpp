// The fatal stop carries its lines as given.
#include "common/fatal.hpp"

#include "support/test_support.hpp"

namespace ventrel {
namespace {

TEST(fatal, carries_the_lines_as_given_and_joins_them_in_what) {
  // Braced literals are lines, not an iterator pair.
  EXPECT_EQ(test_support::stop_lines([] { fatal({"first line", "second line"}); }),
            (test_support::lines{"first line", "second line"}));
  EXPECT_EQ(test_support::stop_lines([] { fatal(std::string("only")); }), test_support::lines{"only"});
  try {
    fatal(std::vector<std::string>{"a", "b"});
    ADD_FAILURE() << "the run did not stop";
  } catch (const fatal_error& e) {
    EXPECT_STREQ(e.what(), "a\nb");
  }
}

}  // namespace
}  // namespace ventrel
