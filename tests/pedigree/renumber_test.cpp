// Tests of renumber_pedigree and generations: parents first, the orders of methods 1 to 3, and
// the loop stop.
#include "pedigree/renumber.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using namespace ventrel::test_support;

namespace {

// perm must be a permutation of 1..n with every known parent before its progeny.
void expect_parents_first(const pedigree_table& ped, const std::vector<std::int32_t>& perm) {
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  ASSERT_EQ(perm.size(), ped.size());
  std::vector<std::int32_t> sorted(perm.begin() + 1, perm.end());
  std::sort(sorted.begin(), sorted.end());
  for (std::int32_t i = 0; i < n; ++i) ASSERT_EQ(sorted[static_cast<std::size_t>(i)], i + 1);
  for (std::int32_t i = 1; i <= n; ++i)
    for (std::int32_t p : {ped[static_cast<std::size_t>(i)].sire, ped[static_cast<std::size_t>(i)].dam})
      if (p >= 1 && p <= n) {
        EXPECT_LT(perm[static_cast<std::size_t>(p)], perm[static_cast<std::size_t>(i)]);
      }
}

// The loop stop must name an animal x and show a chain from x, each animal followed by one of
// its parents, back to x (shortened by "... -> x" when long).
void expect_loop_stop(const pedigree_table& ped, bool shortened = false) {
  std::vector<std::int32_t> perm;
  const lines got = stop_lines([&] { renumber_pedigree(ped, 0, perm); });
  ASSERT_EQ(got.size(), 2u) << got[0];
  const std::string tail = " (each animal followed by one of its parents)";
  ASSERT_TRUE(got[1].starts_with("  ") && got[1].ends_with(tail)) << got[1];
  std::istringstream chain(got[1].substr(2, got[1].size() - 2 - tail.size()));
  std::vector<std::int32_t> path;
  for (std::string word; chain >> word;)
    if (word == "...") path.push_back(-1);
    else if (word != "->") path.push_back(std::stoi(word));
  ASSERT_GE(path.size(), 2u);
  EXPECT_EQ(got[1].find(" -> ... -> ") != std::string::npos, shortened) << got[1];
  EXPECT_EQ(got[0], "Pedigree loop: animal " + std::to_string(path[0]) + " is its own ancestor");
  EXPECT_EQ(path.back(), path[0]);
  for (std::size_t k = 0; k + 1 < path.size() && path[k + 1] >= 0; ++k) {
    const parents& p = ped[static_cast<std::size_t>(path[k])];
    EXPECT_TRUE(p.sire == path[k + 1] || p.dam == path[k + 1]) << got[1];
  }
}

}  // namespace

TEST(renumber, every_method_puts_parents_first_on_random_pedigrees_and_the_studbooks) {
  std::vector<std::pair<pedigree_table, std::int32_t>> peds;  // pedigree, groups
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    fx::random_options o;
    o.n = 200;
    o.nupg = seed % 2 ? 3 : 0;
    peds.emplace_back(fx::random_pedigree(seed, o), o.nupg);
  }
  for (const char* name : fx::studbooks) peds.emplace_back(fx::studbook(name), 0);
  for (const auto& [ped, nupg] : peds)
    for (int method : {1, 2, 3, 0, 17}) {
      std::vector<std::int32_t> perm;
      renumber_pedigree(ped, nupg, perm, 0, method);
      expect_parents_first(ped, perm);
    }
}

TEST(renumber, orders_of_methods_1_and_2_and_generations) {
  EXPECT_EQ(generations(fx::textbook(), 0), (std::vector<std::int32_t>{0, 1, 1, 2, 2, 3, 4}));
  // 5 and 2 are founders, 4 = 5 x 2, 1 = 4 x 2, 3 = 5 x 0.
  const pedigree_table ped = {{0, 0}, {4, 2}, {0, 0}, {5, 0}, {5, 2}, {0, 0}};
  std::vector<std::int32_t> perm;
  renumber_pedigree(ped, 0, perm, 0, 1);  // by generation, then number
  EXPECT_EQ(perm, (std::vector<std::int32_t>{0, 5, 1, 3, 4, 2}));
  renumber_pedigree(ped, 0, perm, 0, 2);  // 1 needs 4 (needs 5, then 2), then 2: 5, 2, 4, 1, then 3
  EXPECT_EQ(perm, (std::vector<std::int32_t>{0, 4, 2, 5, 3, 1}));
}

TEST(renumber, method_3_keeps_full_sibs_together_within_a_generation) {
  // Generation 2: progeny of (1,2) numbered 3, 6, 8 and of (1,4) numbered 5, 7.
  const pedigree_table ped = {{0, 0}, {0, 0}, {0, 0}, {1, 2}, {0, 0}, {1, 4}, {1, 2}, {1, 4}, {1, 2}};
  std::vector<std::int32_t> perm;
  renumber_pedigree(ped, 0, perm, 0, 3);
  expect_parents_first(ped, perm);
  EXPECT_EQ(perm[3] + 1, perm[6]);
  EXPECT_EQ(perm[6] + 1, perm[8]);
  EXPECT_EQ(perm[5] + 1, perm[7]);
}

TEST(renumber, a_pedigree_loop_stops_showing_the_loop) {
  // 2 -> 4 -> 6 -> 2 (each animal's sire); 1, 3, 5 are outside the loop, 7 descends from it.
  expect_loop_stop({{0, 0}, {0, 0}, {4, 1}, {0, 0}, {6, 3}, {1, 3}, {2, 5}, {6, 1}});
  // A loop of some 4000 animals in a large pedigree: found without hanging, shown shortened.
  fx::random_options o;
  o.n = 5000;
  o.shuffle = false;
  pedigree_table ped = fx::random_pedigree(3, o);
  ped[10].dam = 4000;  // 4000 descends from 10 through the chain below
  for (std::int32_t i = 11; i <= 4000; ++i) ped[static_cast<std::size_t>(i)].sire = i - 1;
  expect_loop_stop(ped, true);
}
