// Tests of inbreeding method 5, Tier (1990).
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

TEST(inbreeding_tier, matches_tabular_on_random_pedigrees) {
  for (std::uint64_t seed = 1; seed <= 25; ++seed) {
    fx::random_options o;
    o.n = 250;
    o.window = 4 + static_cast<std::int32_t>(seed % 30);
    EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(seed, o), 5), 1e-10) << seed;
  }
}

TEST(inbreeding_tier, matches_tabular_on_the_studbooks) {
  for (const char* name : fx::studbooks)
    EXPECT_LT(fx::inbreeding_error(fx::studbook(name), 5), 1e-10) << name;
}

TEST(inbreeding_tier, groups_without_gamma_are_unknown_parents) {
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    fx::random_options o;
    o.nupg = 3;
    EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(seed, o), 5, 3), 1e-10) << seed;
  }
}

TEST(inbreeding_tier, with_metafounders_runs_as_method_1) {
  fx::random_options o;
  o.nupg = 2;
  const std::vector<double> gamma = fx::random_gamma(2, 9);
  EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(9, o), 5, 2, gamma), 1e-10);
}
