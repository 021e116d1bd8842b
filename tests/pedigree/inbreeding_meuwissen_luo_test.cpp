// Tests of inbreeding method 1, Meuwissen and Luo (1992), with and without metafounders.
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

TEST(inbreeding_meuwissen_luo, textbook_coefficients) {
  std::vector<double> inb;
  compute_inbreeding(fx::textbook(), inb, {});
  const std::vector<double> want = {0, 0, 0, 0, 0, 0.125, 0.125};
  ASSERT_EQ(inb.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(inb[i], want[i], 1e-15) << i;
}

TEST(inbreeding_meuwissen_luo, textbook_with_one_metafounder) {
  // Every unknown parent replaced by metafounder 7 with self-relationship 0.2.
  const pedigree_table ped = {{0, 0}, {7, 7}, {7, 7}, {1, 2}, {1, 7}, {4, 3}, {5, 2}};
  const std::vector<double> gamma = {0.2};
  std::vector<double> inb;
  compute_inbreeding(ped, inb, {}, group_info{1, gamma});
  const std::vector<double> want = {0, 0.1, 0.1, 0.1, 0.1, 0.2125, 0.2125, 0.1};
  ASSERT_EQ(inb.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(inb[i], want[i], 1e-15) << i;
}

TEST(inbreeding_meuwissen_luo, matches_tabular_on_random_pedigrees) {
  for (std::uint64_t seed = 1; seed <= 25; ++seed) {
    fx::random_options o;
    o.n = 50 + static_cast<std::int32_t>(seed) * 10;
    o.window = 5 + static_cast<std::int32_t>(seed % 20);
    EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(seed, o), 1), 1e-10) << seed;
  }
}

TEST(inbreeding_meuwissen_luo, matches_tabular_on_the_studbooks) {
  for (const char* name : fx::studbooks)
    EXPECT_LT(fx::inbreeding_error(fx::studbook(name), 1), 1e-10) << name;
}

TEST(inbreeding_meuwissen_luo, unknown_parent_groups_are_unknown_parents) {
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    fx::random_options o;
    o.nupg = 4;
    EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(seed, o), 1, 4), 1e-10) << seed;
  }
}

TEST(inbreeding_meuwissen_luo, matches_tabular_with_metafounders) {
  for (std::uint64_t seed = 1; seed <= 15; ++seed) {
    fx::random_options o;
    o.n = 150;
    o.nupg = 1 + static_cast<std::int32_t>(seed % 5);
    o.unknown = 0.3;
    const std::vector<double> gamma = fx::random_gamma(o.nupg, seed);
    EXPECT_LT(fx::inbreeding_error(fx::random_pedigree(seed, o), 1, o.nupg, gamma), 1e-10) << seed;
  }
}

TEST(inbreeding_meuwissen_luo, same_coefficients_for_any_thread_count) {
  // Wide generations (so that each path length is shared out among the threads), full sibs and,
  // in the second case, metafounders.
  for (std::int32_t nupg : {0, 3}) {
    fx::random_options o;
    o.n = 2000;
    o.window = 400;
    o.nupg = nupg;
    pedigree_table ped = fx::random_pedigree(7, o);
    const std::size_t first = ped.size();
    for (std::size_t k = 0; k < 300; ++k) ped.push_back(ped[first - 1 - k % 150]);  // full sibs
    if (nupg > 0)  // groups keep their codes above the new n
      for (parents& p : ped) {
        if (p.sire > o.n) p.sire += 300;
        if (p.dam > o.n) p.dam += 300;
      }
    const std::vector<double> gamma = nupg > 0 ? fx::random_gamma(nupg, 3) : std::vector<double>{};
    EXPECT_LT(fx::inbreeding_error(ped, 1, nupg, gamma, 1), 1e-10) << nupg;
    std::vector<double> one, many;
    inbreeding_options opt;
    opt.nthreads = 1;
    compute_inbreeding(ped, one, opt, group_info{nupg, gamma});
    for (int threads : {2, 3}) {
      opt.nthreads = threads;
      compute_inbreeding(ped, many, opt, group_info{nupg, gamma});
      EXPECT_EQ(many, one) << nupg << " " << threads;
    }
  }
}
