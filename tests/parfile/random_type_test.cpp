// Random type words, codes and descriptions.
#include "parfile/random_type.hpp"

#include <gtest/gtest.h>

namespace ventrel::parfile {
namespace {

int code_of(std::string_view word) {
  auto t = match_random_type(word);
  return t ? random_type_code(*t) : -1;
}

TEST(random_type, every_type_word_gives_its_code) {
  EXPECT_EQ(code_of("diagonal"), 2);
  EXPECT_EQ(code_of("add_animal"), 3);
  EXPECT_EQ(code_of("add_an_upg"), 4);
  EXPECT_EQ(code_of("add_an_upginb"), 5);
  EXPECT_EQ(code_of("add_sire"), 6);
  EXPECT_EQ(code_of("par_domin"), 7);
  EXPECT_EQ(code_of("user_file"), 8);
  EXPECT_EQ(code_of("user_file_inv"), 9);
  EXPECT_EQ(code_of("add_an_usym"), 10);
  EXPECT_EQ(code_of("add_an_bees"), 11);
  EXPECT_EQ(code_of("add_an_mf"), 13);
  EXPECT_EQ(code_of("add_an_meta"), 14);
  EXPECT_EQ(code_of("add_an_auto"), 15);
  EXPECT_EQ(code_of("AR(1)"), 16);
  EXPECT_EQ(code_of("add_an_self"), 17);
}

TEST(random_type, words_are_compared_on_eleven_characters) {
  EXPECT_EQ(code_of("add_an_bees_inb"), 11);       // never reaches code 12
  EXPECT_EQ(code_of("add_an_metafounders"), 14);
  EXPECT_EQ(code_of("add_an_upgi"), 5);
  EXPECT_EQ(code_of("user_file_ixyz"), 9);
  EXPECT_EQ(code_of("add_an_exact"), -1);          // "add_an_exac" is no type word
  EXPECT_EQ(code_of("Diagonal"), -1);              // case matters
  EXPECT_EQ(code_of("diagonal2"), -1);
  EXPECT_EQ(code_of(""), -1);
}

TEST(random_type, descriptions_follow_the_table) {
  EXPECT_EQ(random_type_description(random_type::add_an_upg),
            "additive animal with unknown parent groups");
  EXPECT_EQ(random_type_description(random_type::add_an_upginb),
            "additive animal with unknown parent groups and inbreeding");
  EXPECT_EQ(random_type_description(random_type::add_an_bees_inb),
            "additive animal for BEES and inbreeding");
  EXPECT_EQ(random_type_description(random_type::ar1), "AR(1)");
  EXPECT_EQ(random_type_description(random_type::none), "");
  EXPECT_EQ(random_type_description(static_cast<random_type>(1)), "");
  EXPECT_EQ(random_type_description(static_cast<random_type>(18)), "");
}

}  // namespace
}  // namespace ventrel::parfile
