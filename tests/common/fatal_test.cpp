// The fatal stop carries its lines as given.
#include "common/fatal.hpp"

#include <gtest/gtest.h>

namespace ventrel {
namespace {

TEST(fatal, braced_literals_are_lines_not_an_iterator_pair) {
  try {
    fatal({"first line", "second line"});
  } catch (const fatal_error& e) {
    ASSERT_EQ(e.lines().size(), 2u);
    EXPECT_EQ(e.lines()[1], "second line");
  }
}

}  // namespace
}  // namespace ventrel

namespace ventrel {
namespace {

TEST(fatal, one_line_and_what) {
  try {
    fatal(std::string("only"));
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines(), std::vector<std::string>{"only"});
    EXPECT_STREQ(e.what(), "only");
  }
  try {
    fatal(std::vector<std::string>{"a", "b"});
  } catch (const fatal_error& e) {
    EXPECT_STREQ(e.what(), "a\nb");
  }
}

}  // namespace
}  // namespace ventrel
