// The fatal stop carries its lines as given.
#include "common/fatal.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace ventrel {
namespace {

fatal_error caught(const std::function<void()>& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e;
  }
  ADD_FAILURE() << "the run did not stop";
  return fatal_error({});
}

TEST(fatal, carries_the_lines_as_given_and_joins_them_in_what) {
  // Braced literals are lines, not an iterator pair.
  const fatal_error braced = caught([] { fatal({"first line", "second line"}); });
  EXPECT_EQ(braced.lines(), (std::vector<std::string>{"first line", "second line"}));
  EXPECT_STREQ(braced.what(), "first line\nsecond line");
  const fatal_error one = caught([] { fatal(std::string("only")); });
  EXPECT_EQ(one.lines(), std::vector<std::string>{"only"});
  EXPECT_STREQ(one.what(), "only");
  EXPECT_STREQ(caught([] { fatal(std::vector<std::string>{"a", "b"}); }).what(), "a\nb");
}

}  // namespace
}  // namespace ventrel
