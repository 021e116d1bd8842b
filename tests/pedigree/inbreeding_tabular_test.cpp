// Tests of inbreeding methods 4 (recursive tabular) and 7 (with self-breeding generations).
#include <gtest/gtest.h>

#include <cmath>

#include "common/fatal.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

// Each animal with s selfing generations becomes a chain: a new animal born of its parents,
// then s-1 selfed ones, the last of which is the parent (sire and dam) of the animal itself.
pedigree_table expand_selfing(const pedigree_table& ped, const std::vector<std::int32_t>& selfing) {
  pedigree_table out = ped;
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  for (std::int32_t i = 1; i <= n; ++i) {
    const std::int32_t s = selfing[static_cast<std::size_t>(i)];
    if (s == 0) continue;
    out.push_back(ped[static_cast<std::size_t>(i)]);
    for (std::int32_t k = 1; k < s; ++k) {
      const std::int32_t prev = static_cast<std::int32_t>(out.size()) - 1;
      out.push_back(parents{prev, prev});
    }
    const std::int32_t last = static_cast<std::int32_t>(out.size()) - 1;
    out[static_cast<std::size_t>(i)] = parents{last, last};
  }
  return out;
}

std::vector<double> with_selfing(const pedigree_table& ped, const std::string& file, std::int32_t nupg = 0,
                                 const std::vector<double>& gamma = {}) {
  inbreeding_options opt;
  opt.method = 7;
  opt.self_generations_file = file;
  std::vector<double> inb;
  compute_inbreeding(ped, inb, opt, group_info{nupg, gamma});
  return inb;
}

}  // namespace

TEST(inbreeding_tabular, methods_4_and_7_match_tabular_on_random_pedigrees) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    fx::random_options o;
    o.n = 250;
    o.window = 4 + static_cast<std::int32_t>(seed % 30);
    o.nupg = seed % 3 == 0 ? 2 : 0;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    EXPECT_LT(fx::inbreeding_error(ped, 4, o.nupg), 1e-10) << seed;
    EXPECT_LT(fx::inbreeding_error(ped, 7, o.nupg), 1e-10) << seed;  // no selfing file: as 4
  }
}

TEST(inbreeding_tabular, matches_tabular_on_the_studbooks) {
  for (const char* name : fx::studbooks)
    EXPECT_LT(fx::inbreeding_error(fx::studbook(name), 4), 1e-10) << name;
}

TEST(inbreeding_tabular, selfing_generations_match_the_reference_and_the_expanded_pedigree) {
  fx::temp_dir t;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    fx::random_options o;
    o.n = 120;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    std::vector<std::int32_t> selfing(ped.size(), 0);
    std::string text = "# not a line of numbers is an error, so none here\n";
    text.clear();
    fx::lcg r(seed);
    for (std::int32_t i = 1; i <= o.n; ++i)
      if (r.uniform() < 0.3) {
        selfing[static_cast<std::size_t>(i)] = 1 + r.below(5);
        text += std::to_string(i) + " " + std::to_string(selfing[static_cast<std::size_t>(i)]) + "\n";
      }
    const std::vector<double> inb = with_selfing(ped, t.file("self", text));
    const std::vector<double> ref =
        ventrel::reference::tabular_inbreeding(fx::to_reference(ped, 0, {}, selfing));
    std::vector<double> expanded;
    compute_inbreeding(expand_selfing(ped, selfing), expanded, {});
    for (std::int32_t i = 1; i <= o.n; ++i) {
      EXPECT_NEAR(inb[static_cast<std::size_t>(i)], ref[static_cast<std::size_t>(i)], 1e-10)
          << seed << " " << i;
      EXPECT_NEAR(inb[static_cast<std::size_t>(i)], expanded[static_cast<std::size_t>(i)], 1e-10)
          << seed << " " << i;
    }
  }
}

TEST(inbreeding_tabular, selfing_formula_for_a_founder_line) {
  // A founder selfed 3 times: F = 1 - 1/8; its progeny with an unrelated founder: F = 0.
  fx::temp_dir t;
  const pedigree_table ped = {{0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 1}};
  const std::vector<double> inb = with_selfing(ped, t.file("self", "1 3\n"));
  EXPECT_DOUBLE_EQ(inb[1], 0.875);
  EXPECT_DOUBLE_EQ(inb[3], 0.0);
  EXPECT_DOUBLE_EQ(inb[4], 0.5 * 1.875);  // selfed once more in the pedigree itself
}

TEST(inbreeding_tabular, method_7_with_metafounders_and_selfing_matches_the_reference) {
  fx::temp_dir t;
  fx::random_options o;
  o.n = 150;
  o.nupg = 3;
  o.unknown = 0.3;
  const pedigree_table ped = fx::random_pedigree(21, o);
  const std::vector<double> gamma = fx::random_gamma(3, 21);
  std::vector<std::int32_t> selfing(ped.size(), 0);
  selfing[5] = 2;
  selfing[77] = 4;
  const std::vector<double> inb = with_selfing(ped, t.file("self", "5 2\n77 4\n"), 3, gamma);
  const std::vector<double> ref =
      ventrel::reference::tabular_inbreeding(fx::to_reference(ped, 3, gamma, selfing));
  for (std::int32_t i = 1; i <= o.n; ++i)
    EXPECT_NEAR(inb[static_cast<std::size_t>(i)], ref[static_cast<std::size_t>(i)], 1e-10) << i;
  EXPECT_LT(fx::inbreeding_error(ped, 7, 3, gamma), 1e-10);
  EXPECT_LT(fx::inbreeding_error(ped, 4, 3, gamma), 1e-10);  // as method 1
}

TEST(inbreeding_tabular, the_selfing_file_is_read_only_by_method_7) {
  fx::random_options o;
  const pedigree_table ped = fx::random_pedigree(3, o);
  inbreeding_options opt;
  opt.method = 4;
  opt.self_generations_file = "/nonexistent/self";
  std::vector<double> inb;
  compute_inbreeding(ped, inb, opt);  // not read, so no stop
  opt.method = 7;
  EXPECT_THROW(compute_inbreeding(ped, inb, opt), ventrel::fatal_error);
}
