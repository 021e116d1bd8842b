// The random types of the parameter file's RANDOM_TYPE line: their codes, the matching of the
// type word, and the descriptions printed with the model.
#pragma once

#include <optional>
#include <string_view>

namespace ventrel::parfile {

// Numeric values are the family's codes, used where a file or a message needs the number.
enum class random_type {
  none = 0,              // a fixed effect: in no random group
  diagonal = 2,
  add_animal = 3,
  add_an_upg = 4,
  add_an_upginb = 5,
  add_sire = 6,
  par_domin = 7,
  user_file = 8,
  user_file_inv = 9,
  add_an_usym = 10,
  add_an_bees = 11,
  add_an_bees_inb = 12,  // no word selects it: "add_an_bees_inb" is matched as "add_an_bees"
  add_an_mf = 13,
  add_an_meta = 14,
  add_an_auto = 15,
  ar1 = 16,              // "AR(1)"
  add_an_self = 17,
};

inline int random_type_code(random_type t) { return static_cast<int>(t); }

// The type of a RANDOM_TYPE word. The word is cut to its first 11 characters and compared with
// the family's type words in their fixed order; the first equal one wins. So "add_an_upginb"
// and "user_file_inv" match by their 11-character stems, "add_an_bees_inb" gives add_an_bees,
// and "add_an_exact" matches nothing. Empty when the word is unknown.
std::optional<random_type> match_random_type(std::string_view word);

// The printed description of a type ("additive animal", ...); empty for none and for a value
// outside the family's table.
std::string_view random_type_description(random_type t);

}  // namespace ventrel::parfile
