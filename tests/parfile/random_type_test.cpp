// Random type words and codes (the descriptions are checked where the model is printed).
#include "parfile/random_type.hpp"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace ventrel::parfile {
namespace {

TEST(random_type, words_give_their_codes_compared_on_eleven_characters) {
  const std::vector<std::pair<std::string_view, int>> rows{
      {"diagonal", 2}, {"add_animal", 3}, {"add_an_upg", 4}, {"add_an_upginb", 5}, {"add_sire", 6},
      {"par_domin", 7}, {"user_file", 8}, {"user_file_inv", 9}, {"add_an_usym", 10},
      {"add_an_bees", 11}, {"add_an_mf", 13}, {"add_an_meta", 14}, {"add_an_auto", 15},
      {"AR(1)", 16}, {"add_an_self", 17},
      // Cut to eleven characters: code 12 is never reached, "add_an_exac" is no type word.
      {"add_an_bees_inb", 11}, {"add_an_metafounders", 14}, {"add_an_upgi", 5},
      {"user_file_ixyz", 9}, {"add_an_exact", -1}, {"Diagonal", -1}, {"diagonal2", -1}, {"", -1}};
  for (const auto& [word, code] : rows) {
    const auto t = match_random_type(word);
    EXPECT_EQ(t ? random_type_code(*t) : -1, code) << word;
  }
  for (int outside : {0, 1, 18}) EXPECT_EQ(random_type_description(static_cast<random_type>(outside)), "");
}

}  // namespace
}  // namespace ventrel::parfile
