// Tests of inbreeding method 2, Sargolzaei and Iwaisaki's modification of Meuwissen and Luo.
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

TEST(inbreeding_sargolzaei, textbook_coefficients) {
  inbreeding_options opt;
  opt.method = 2;
  std::vector<double> inb;
  compute_inbreeding(fx::textbook(), inb, opt);
  const std::vector<double> want = {0, 0, 0, 0, 0, 0.125, 0.125};
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(inb[i], want[i], 1e-15) << i;
}

TEST(inbreeding_sargolzaei, matches_tabular_on_random_pedigrees) {
  for (std::uint64_t seed = 1; seed <= 25; ++seed) {
    fx::random_options o;
    o.n = 300;
    o.window = 4 + static_cast<std::int32_t>(seed % 30);
    o.nupg = seed % 3 == 0 ? 2 : 0;
    EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(seed, o), 2, o.nupg), 1e-10) << seed;
  }
}

TEST(inbreeding_sargolzaei, matches_tabular_on_the_studbooks) {
  for (const char* name : fx::studbooks)
    EXPECT_LT(fx::inbreeding_error(fx::studbook(name), 2), 1e-10) << name;
}

TEST(inbreeding_sargolzaei, with_metafounders_runs_as_method_1) {
  fx::random_options o;
  o.nupg = 3;
  const std::vector<double> gamma = fx::random_gamma(3, 5);
  EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(5, o), 2, 3, gamma), 1e-10);
}
