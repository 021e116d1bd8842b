// Tests of renumber_pedigree, generations and sorted_pedigree.
#include "pedigree/renumber.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "common/fatal.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

std::string fatal_text(const std::function<void()>& f) {
  try {
    f();
  } catch (const ventrel::fatal_error& e) {
    return e.what();
  }
  return "(no stop)";
}

// perm must be a permutation of 1..n with every known parent before its progeny.
void expect_parents_first(const pedigree_table& ped, const std::vector<std::int32_t>& perm) {
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  ASSERT_EQ(perm.size(), ped.size());
  std::vector<std::int32_t> sorted(perm.begin() + 1, perm.end());
  std::sort(sorted.begin(), sorted.end());
  for (std::int32_t i = 0; i < n; ++i) ASSERT_EQ(sorted[static_cast<std::size_t>(i)], i + 1);
  for (std::int32_t i = 1; i <= n; ++i) {
    for (std::int32_t p : {ped[static_cast<std::size_t>(i)].sire, ped[static_cast<std::size_t>(i)].dam}) {
      if (p >= 1 && p <= n) {
        EXPECT_LT(perm[static_cast<std::size_t>(p)], perm[static_cast<std::size_t>(i)]);
      }
    }
  }
}

}  // namespace

TEST(renumber, every_method_puts_parents_first_on_random_pedigrees) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    fx::random_options o;
    o.n = 200;
    o.nupg = seed % 2 ? 3 : 0;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    for (int method : {1, 2, 3, 0, 17}) {
      std::vector<std::int32_t> perm;
      renumber_pedigree(ped, o.nupg, perm, 0, method);
      expect_parents_first(ped, perm);
    }
  }
}

TEST(renumber, every_method_puts_parents_first_on_the_studbooks) {
  for (const char* name : fx::studbooks) {
    const pedigree_table ped = fx::studbook(name);
    for (int method : {1, 2, 3}) {
      std::vector<std::int32_t> perm;
      renumber_pedigree(ped, 0, perm, 0, method);
      expect_parents_first(ped, perm);
    }
  }
}

TEST(renumber, generations_of_the_textbook_pedigree) {
  const std::vector<std::int32_t> gen = generations(fx::textbook(), 0);
  EXPECT_EQ(gen, (std::vector<std::int32_t>{0, 1, 1, 2, 2, 3, 4}));
}

TEST(renumber, method_1_orders_by_generation_then_number) {
  // 5 and 2 are founders, 4 = 5 x 2, 1 = 4 x 2, 3 = 5 x 0.
  const pedigree_table ped = {{0, 0}, {4, 2}, {0, 0}, {5, 0}, {5, 2}, {0, 0}};
  std::vector<std::int32_t> perm;
  renumber_pedigree(ped, 0, perm, 0, 1);
  EXPECT_EQ(perm, (std::vector<std::int32_t>{0, 5, 1, 3, 4, 2}));
}

TEST(renumber, method_2_places_each_animal_after_its_sire_line_then_its_dam_line) {
  const pedigree_table ped = {{0, 0}, {4, 2}, {0, 0}, {5, 0}, {5, 2}, {0, 0}};
  std::vector<std::int32_t> perm;
  renumber_pedigree(ped, 0, perm, 0, 2);
  // Animal 1 first needs 4 (needs 5, then 2), then 2: order 5, 2, 4, 1, then 3.
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

TEST(renumber, verbose_prints_method_generation_and_time) {
  for (auto [method, label] :
       {std::pair{1, "renumber based on generation"}, std::pair{2, "renumber renumber within family"},
        std::pair{3, "renumber within family with lap"}, std::pair{9, "renumber based on generation"}}) {
    std::vector<std::int32_t> perm;
    testing::internal::CaptureStdout();
    renumber_pedigree(fx::textbook(), 0, perm, 1, method);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.find(std::string("  - renumbering animal IDs\n    method = ") + label +
                       "\n  - maximum generation = 4\n"
                       "  - renumbering done; elapsed time="),
              0u)
        << out;
    EXPECT_NE(out.find(" sec.\n"), std::string::npos) << out;
  }
}

TEST(renumber, silent_by_default) {
  std::vector<std::int32_t> perm;
  testing::internal::CaptureStdout();
  renumber_pedigree(fx::textbook(), 0, perm);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(renumber, an_animal_that_is_its_own_parent_stops) {
  const pedigree_table ped = {{0, 0}, {0, 0}, {2, 1}};
  std::vector<std::int32_t> perm;
  const std::string msg = fatal_text([&] { renumber_pedigree(ped, 0, perm); });
  EXPECT_NE(msg.find("Pedigree loop: animal 2 is its own ancestor"), std::string::npos) << msg;
}

TEST(renumber, a_loop_through_several_animals_stops_naming_an_animal_of_the_loop) {
  // 2 -> 4 -> 6 -> 2 is a loop (each animal's sire); 1, 3, 5 are outside it, 7 descends from it.
  const pedigree_table ped = {{0, 0}, {0, 0}, {4, 1}, {0, 0}, {6, 3}, {1, 3}, {2, 5}, {6, 1}};
  for (int method : {1, 2, 3}) {
    std::vector<std::int32_t> perm;
    const std::string msg = fatal_text([&] { renumber_pedigree(ped, 0, perm, 0, method); });
    const bool names_loop_animal = msg.find("Pedigree loop: animal 2 is") != std::string::npos ||
                                   msg.find("Pedigree loop: animal 4 is") != std::string::npos ||
                                   msg.find("Pedigree loop: animal 6 is") != std::string::npos;
    EXPECT_TRUE(names_loop_animal) << msg;
    EXPECT_NE(msg.find(" -> "), std::string::npos) << msg;
  }
}

TEST(renumber, a_long_loop_in_a_large_pedigree_is_found_without_hanging) {
  fx::random_options o;
  o.n = 5000;
  o.shuffle = false;
  pedigree_table ped = fx::random_pedigree(3, o);
  ped[10].dam = 4000;  // 4000 descends from 10 through the chain below
  for (std::int32_t i = 11; i <= 4000; ++i) ped[static_cast<std::size_t>(i)].sire = i - 1;
  std::vector<std::int32_t> perm;
  const std::string msg = fatal_text([&] { renumber_pedigree(ped, 0, perm); });
  EXPECT_NE(msg.find("Pedigree loop: animal "), std::string::npos) << msg;
  EXPECT_NE(msg.find("... -> "), std::string::npos) << msg;
}

TEST(renumber, parent_codes_outside_animals_and_groups_stop) {
  const pedigree_table ped = {{0, 0}, {0, 0}, {1, 5}};
  std::vector<std::int32_t> perm;
  const std::string msg = fatal_text([&] { renumber_pedigree(ped, 2, perm); });
  EXPECT_NE(msg.find("Parent code 5 of animal 2 is outside the pedigree"), std::string::npos) << msg;
  renumber_pedigree(ped, 3, perm);  // 5 = group 3 of 3
  expect_parents_first(ped, perm);
}

TEST(renumber, sorted_pedigree_maps_animals_and_keeps_groups) {
  const pedigree_table ped = {{0, 0}, {2, 4}, {0, 5}, {1, 0}};  // groups 4, 5
  std::vector<std::int32_t> perm;
  renumber_pedigree(ped, 2, perm);
  const pedigree_table s = sorted_pedigree(ped, perm, 2);
  ASSERT_EQ(s.size(), 6u);
  EXPECT_TRUE(parents_first(s, 3));
  EXPECT_EQ(s[static_cast<std::size_t>(perm[1])].sire, perm[2]);
  EXPECT_EQ(s[static_cast<std::size_t>(perm[1])].dam, 4);
  EXPECT_EQ(s[static_cast<std::size_t>(perm[2])].dam, 5);
  EXPECT_EQ(s[4].sire, 0);
  EXPECT_EQ(s[5].dam, 0);
  EXPECT_FALSE(parents_first(ped, 3));
}
