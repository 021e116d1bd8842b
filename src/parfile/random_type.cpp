// Random type words, codes and descriptions.
#include "parfile/random_type.hpp"

#include <array>
#include <utility>

namespace ventrel::parfile {

namespace {

// The comparison list, in the order the words are tried. "add_an_bees_inb" is longer than 11
// characters and so never equals a cut word; the family's "add_an_exact" (12 characters) is
// left out for the same reason: it is reported as unknown.
constexpr std::array<std::pair<std::string_view, random_type>, 16> type_words{{
    {"diagonal", random_type::diagonal},
    {"AR(1)", random_type::ar1},
    {"add_animal", random_type::add_animal},
    {"add_an_mf", random_type::add_an_mf},
    {"add_an_meta", random_type::add_an_meta},
    {"add_an_upg", random_type::add_an_upg},
    {"add_an_upgi", random_type::add_an_upginb},
    {"add_sire", random_type::add_sire},
    {"par_domin", random_type::par_domin},
    {"user_file", random_type::user_file},
    {"user_file_i", random_type::user_file_inv},
    {"add_an_usym", random_type::add_an_usym},
    {"add_an_bees", random_type::add_an_bees},
    {"add_an_bees_inb", random_type::add_an_bees_inb},
    {"add_an_auto", random_type::add_an_auto},
    {"add_an_self", random_type::add_an_self},
}};

}  // namespace

std::optional<random_type> match_random_type(std::string_view word) {
  const std::string_view cut = word.substr(0, 11);
  for (const auto& [w, t] : type_words)
    if (cut == w) return t;
  return std::nullopt;
}

std::string_view random_type_description(random_type t) {
  switch (t) {
    case random_type::diagonal: return "diagonal";
    case random_type::add_animal: return "additive animal";
    case random_type::add_an_upg: return "additive animal with unknown parent groups";
    case random_type::add_an_upginb:
      return "additive animal with unknown parent groups and inbreeding";
    case random_type::add_sire: return "additive sire";
    case random_type::par_domin: return "parental dominance";
    case random_type::user_file: return "user defined from file";
    case random_type::user_file_inv: return "user defined from file and inverted";
    case random_type::add_an_usym: return "additive animal unsymmetric";
    case random_type::add_an_bees: return "additive animal for BEES";
    case random_type::add_an_bees_inb: return "additive animal for BEES and inbreeding";
    case random_type::add_an_mf: return "additive animal with metafounders";
    case random_type::add_an_meta: return "additive animal with metafounders (new)";
    case random_type::add_an_auto:
      return "additive animal with detection of unknown parent groups (if any) and inbreeding "
             "computed internally";
    case random_type::ar1: return "AR(1)";
    case random_type::add_an_self: return "additive animal with self-breeding generations";
    case random_type::none: break;
  }
  return {};
}

}  // namespace ventrel::parfile
