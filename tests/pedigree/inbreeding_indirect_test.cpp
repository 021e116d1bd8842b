// Tests of the indirect (Colleau) inbreeding methods: 3 (one column per sire), 6 (hybrid
// parallel) and 8 (Colleau's product with metafounders).
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

std::vector<double> run(const pedigree_table& ped, int method, int threads, std::int32_t nupg = 0,
                        const std::vector<double>& gamma = {}) {
  inbreeding_options opt;
  opt.method = method;
  opt.nthreads = threads;
  std::vector<double> inb;
  compute_inbreeding(ped, inb, opt, group_info{nupg, gamma});
  return inb;
}

}  // namespace

TEST(inbreeding_indirect, textbook_coefficients) {
  for (int method : {3, 6}) {
    const std::vector<double> inb = run(fx::textbook(), method, 2);
    const std::vector<double> want = {0, 0, 0, 0, 0, 0.125, 0.125};
    for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(inb[i], want[i], 1e-15) << method << " " << i;
  }
}

TEST(inbreeding_indirect, methods_3_and_6_match_tabular_on_random_pedigrees) {
  for (std::uint64_t seed = 1; seed <= 25; ++seed) {
    fx::random_options o;
    o.n = 300;
    o.window = 4 + static_cast<std::int32_t>(seed % 40);
    o.nupg = seed % 4 == 0 ? 3 : 0;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    EXPECT_LT(fx::inbreeding_error(ped, 3, o.nupg), 1e-10) << seed;
    EXPECT_LT(fx::inbreeding_error(ped, 6, o.nupg, {}, 2), 1e-10) << seed;
  }
}

TEST(inbreeding_indirect, methods_3_and_6_match_tabular_on_the_studbooks) {
  for (const char* name : fx::studbooks) {
    const pedigree_table ped = fx::studbook(name);
    EXPECT_LT(fx::inbreeding_error(ped, 3), 1e-10) << name;
    EXPECT_LT(fx::inbreeding_error(ped, 6, 0, {}, 2), 1e-10) << name;
  }
}

TEST(inbreeding_indirect, hybrid_traces_matings_of_parents_with_few_mates) {
  // Pairs that mate once (monogamous lines) go to the traced path, the sires used widely to
  // Colleau columns; both must agree with the reference.
  fx::random_options o;
  o.n = 400;
  o.shuffle = false;
  pedigree_table ped = fx::random_pedigree(11, o);
  for (std::int32_t i = 101; i <= 200; ++i)
    ped[static_cast<std::size_t>(i)] = parents{i - 100, i - 50 > 0 ? i - 50 : 0};
  EXPECT_LT(fx::inbreeding_error(ped, 6, 0, {}, 2), 1e-10);
}

TEST(inbreeding_indirect, hybrid_gives_the_same_coefficients_for_any_thread_count) {
  fx::random_options o;
  o.n = 3000;
  o.window = 200;
  const pedigree_table ped = fx::random_pedigree(4, o);
  const std::vector<double> one = run(ped, 6, 1);
  for (int threads : {2, 3}) EXPECT_EQ(run(ped, 6, threads), one) << threads;
  const std::vector<double> three = run(ped, 3, 1);
  for (std::size_t i = 0; i < one.size(); ++i) ASSERT_NEAR(one[i], three[i], 1e-12) << i;
}

TEST(inbreeding_indirect, methods_6_and_8_match_tabular_with_metafounders) {
  for (std::uint64_t seed = 1; seed <= 15; ++seed) {
    fx::random_options o;
    o.n = 200;
    o.nupg = 1 + static_cast<std::int32_t>(seed % 4);
    o.unknown = 0.3;
    const std::vector<double> gamma = fx::random_gamma(o.nupg, seed + 100);
    const pedigree_table ped = fx::random_pedigree(seed, o);
    EXPECT_LT(fx::inbreeding_error(ped, 8, o.nupg, gamma), 1e-10) << seed;
    EXPECT_LT(fx::inbreeding_error(ped, 6, o.nupg, gamma, 2), 1e-10) << seed;
    EXPECT_LT(fx::inbreeding_error(ped, 3, o.nupg, gamma), 1e-10) << seed;  // as method 1
  }
}

TEST(inbreeding_indirect, textbook_with_one_metafounder) {
  const pedigree_table ped = {{0, 0}, {7, 7}, {7, 7}, {1, 2}, {1, 7}, {4, 3}, {5, 2}};
  const std::vector<double> want = {0, 0.1, 0.1, 0.1, 0.1, 0.2125, 0.2125, 0.1};
  for (int method : {6, 8}) {
    const std::vector<double> inb = run(ped, method, 2, 1, {0.2});
    for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(inb[i], want[i], 1e-15) << method << " " << i;
  }
}

TEST(inbreeding_indirect, method_8_without_metafounders_is_method_1) {
  fx::random_options o;
  const pedigree_table ped = fx::random_pedigree(2, o);
  EXPECT_EQ(run(ped, 8, 1), run(ped, 1, 1));
  EXPECT_EQ(run(ped, 9, 1), run(ped, 1, 1));
}
