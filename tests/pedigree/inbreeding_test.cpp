// Tests of compute_inbreeding: the choice of method, labels, and every method (1 to
// 9) against the textbook, the studbooks and the tabular reference on random pedigrees with
// unknown parent groups and metafounders (the groups' own entries included), on several threads.
#include "pedigree/inbreeding.hpp"

#include <gtest/gtest.h>

#include "pedigree/inbreeding_kernels.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using namespace ventrel::test_support;

namespace {

void expect_near_all(const std::vector<double>& got, const std::vector<double>& want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got[i], want[i], tol) << i;
}

}  // namespace

TEST(inbreeding, codes_out_of_range_and_labels) {
  // Every method gives the same coefficients (below): what is left is the fallback and the labels.
  for (int code : {-1, 0, 10}) EXPECT_EQ(static_cast<int>(effective_inbreeding_method(code, true)), 1) << code;
  EXPECT_EQ(static_cast<int>(effective_inbreeding_method(8, false)), 1);
  const group_info upg{2, {}}, mf{3, std::vector<double>(9, 0.1)};
  EXPECT_EQ(inbreeding_method_label(5, upg), "Tier (1990) with groups");
  EXPECT_EQ(inbreeding_method_label(4, mf), "Meuwissen and Luo (1992) with 3 metafounders");
  EXPECT_EQ(inbreeding_method_label(8, mf), "F by Colleau 3 metafounders");
}

TEST(inbreeding, every_method_gives_the_textbook_coefficients) {
  for (int method = 1; method <= 9; ++method) {
    SCOPED_TRACE(method);
    expect_near_all(fx::inbreeding(fx::textbook(), method, 0, {}, 2), fx::textbook_f, 1e-15);
    if (method != 9)  // 9 reads the coefficients from a file with metafounders
      expect_near_all(fx::inbreeding(fx::textbook_mf(), method, 1, {0.2}, 2), fx::textbook_mf_f, 1e-15);
  }
}

TEST(inbreeding, every_method_matches_the_tabular_reference_on_random_pedigrees_and_the_studbooks) {
  struct row {
    pedigree_table ped;
    std::int32_t nupg = 0;
    std::vector<double> gamma;  // empty: unknown parent groups (unknown parents)
  };
  std::vector<row> rows;
  for (const char* name : fx::studbooks) rows.push_back({fx::studbook(name), 0, {}});
  for (std::uint64_t seed = 1; seed <= 25; ++seed) {
    fx::random_options o;
    o.n = 250;
    o.window = 4 + static_cast<std::int32_t>(seed % 40);
    o.nupg = seed % 3 == 0 ? 3 : 0;
    rows.push_back({fx::random_pedigree(seed, o), o.nupg, {}});
  }
  for (std::uint64_t seed = 1; seed <= 15; ++seed) {
    fx::random_options o;
    o.n = 150;
    o.nupg = 1 + static_cast<std::int32_t>(seed % 5);
    o.unknown = 0.3;
    rows.push_back({fx::random_pedigree(seed, o), o.nupg, fx::random_gamma(o.nupg, seed + 100)});
  }
  {  // Pairs that mate once (monogamous lines), which the hybrid method traces, and sires used
     // widely, which it takes by Colleau columns.
    fx::random_options o;
    o.n = 400;
    o.shuffle = false;
    pedigree_table ped = fx::random_pedigree(11, o);
    for (std::int32_t i = 101; i <= 200; ++i) ped[static_cast<std::size_t>(i)] = parents{i - 100, i - 50};
    rows.push_back({ped, 0, {}});
  }
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const row& r = rows[k];
    for (int method = 1; method <= (r.gamma.empty() ? 9 : 8); ++method)
      EXPECT_LT(fx::inbreeding_error(r.ped, method, r.nupg, r.gamma, 2), 1e-10) << "row " << k << " method " << method;
  }
}

TEST(inbreeding, parallel_methods_give_the_same_coefficients_for_any_thread_count) {
  // Wide generations (so that each stage is shared out among the threads), full sibs and, in the
  // second case, metafounders.
  for (std::int32_t nupg : {0, 3}) {
    fx::random_options o;
    o.n = 2000;
    o.window = 400;
    o.nupg = nupg;
    o.shuffle = false;  // numbers in birth order
    pedigree_table ped = fx::random_pedigree(7, o);
    for (std::size_t k = 1701; k <= 1850; ++k) ped[k + 150] = ped[k];  // full sibs
    const std::vector<double> gamma = nupg > 0 ? fx::random_gamma(nupg, 3) : std::vector<double>{};
    for (int method : {1, 6}) {
      SCOPED_TRACE(testing::Message() << "groups " << nupg << " method " << method);
      EXPECT_LT(fx::inbreeding_error(ped, method, nupg, gamma, 1), 1e-10);
      const std::vector<double> one = fx::inbreeding(ped, method, nupg, gamma, 1);
      for (int threads : {2, 3}) EXPECT_EQ(fx::inbreeding(ped, method, nupg, gamma, threads), one) << threads;
    }
  }
}

TEST(inbreeding, method_1_reads_groups_without_gamma_as_unknown_parents_whoever_calls_it) {
  // The run replaces such groups by 0 before the kernel; the kernel gives the same coefficients
  // when it is handed the codes themselves, one or both parents a group included.
  fx::random_options o;
  o.n = 600;
  o.nupg = 3;
  o.shuffle = false;  // parents first, as the kernel takes them
  pedigree_table ped = fx::random_pedigree(11, o);
  const std::int32_t n = o.n;
  ped[static_cast<std::size_t>(n)] = {n + 1, n + 2};  // both parents groups
  pedigree_table zeroed = ped;
  for (parents& p : zeroed) {
    if (p.sire > n) p.sire = 0;
    if (p.dam > n) p.dam = 0;
  }
  std::vector<double> with_codes, with_zeros;
  detail::inbreeding_meuwissen_luo(ped, n, group_info{3, {}}, with_codes, 2);
  detail::inbreeding_meuwissen_luo(zeroed, n, group_info{}, with_zeros, 2);
  ASSERT_GE(with_codes.size(), static_cast<std::size_t>(n) + 1);
  for (std::int32_t i = 1; i <= n; ++i)
    EXPECT_EQ(with_codes[static_cast<std::size_t>(i)], with_zeros[static_cast<std::size_t>(i)]) << i;
  EXPECT_EQ(with_codes[static_cast<std::size_t>(n)], 0.0);
  EXPECT_LT(fx::inbreeding_error(zeroed, 1, 0, {}, 2), 1e-10);
}
