// Tests of compute_inbreeding: the choice of method, labels, verbose lines, and every method (1 to
// 9) against the textbook, the studbooks and the tabular reference on random pedigrees with
// unknown parent groups and metafounders (the groups' own entries included), on several threads.
#include "pedigree/inbreeding.hpp"

#include <gtest/gtest.h>

#include <tuple>

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

TEST(inbreeding, effective_method_for_every_code) {
  // code, method without metafounders, method with metafounders
  const int rows[][3] = {{-1, 1, 1}, {0, 1, 1}, {1, 1, 1}, {2, 2, 1}, {3, 3, 1}, {4, 4, 1}, {5, 5, 1},
                         {6, 6, 6},  {7, 7, 7}, {8, 1, 8}, {9, 1, 9}, {10, 1, 1}};
  for (const auto& r : rows) {
    EXPECT_EQ(static_cast<int>(effective_inbreeding_method(r[0], false)), r[1]) << r[0];
    EXPECT_EQ(static_cast<int>(effective_inbreeding_method(r[0], true)), r[2]) << r[0];
  }
}

TEST(inbreeding, labels_without_and_with_metafounders) {
  const std::vector<double> gamma(9, 0.1);
  const group_info none, upg{2, {}}, mf{3, gamma};
  const std::vector<std::tuple<int, group_info, std::string>> rows = {
      {1, none, "Meuwissen and Luo (1992)"},
      {2, none, "Modified Meuwissen & Luo by Sargolzaei & Iwaisaki (2004)"},
      {3, none, "Modified Colleau by Sargolzaei et al. (2005)"},
      {4, none, "Recursive tabular"},
      {5, none, "Tier (1990)"},
      {5, upg, "Tier (1990) with groups"},
      {6, none, "Hybrid parallel computing"},
      {7, none, "Recursive tabular with self breeding generations"},
      {8, none, "Meuwissen and Luo (1992)"},
      {9, upg, "Meuwissen and Luo (1992)"},
      {1, mf, "Meuwissen and Luo (1992) with 3 metafounders"},
      {4, mf, "Meuwissen and Luo (1992) with 3 metafounders"},
      {6, mf, "Hybrid parallel computing with 3 metafounders"},
      {7, mf, "Recursive tabular with self breeding generations"},
      {8, mf, "F by Colleau 3 metafounders"},
      {9, mf, "read from file inb_mf.txt with 3 metafounders"},
      {12, mf, "Meuwissen and Luo (1992) with 3 metafounders"}};
  for (const auto& [code, groups, label] : rows) EXPECT_EQ(inbreeding_method_label(code, groups), label) << code;
}

TEST(inbreeding, verbose_lines_and_silent_by_default) {
  inbreeding_options opt;
  std::vector<double> inb;
  EXPECT_EQ(captured_stdout([&] { compute_inbreeding(fx::textbook(), inb, opt); }), "");
  opt.verbosity = 1;
  const std::string out = captured_stdout([&] { compute_inbreeding(fx::textbook(), inb, opt); });
  EXPECT_TRUE(out.starts_with("  - computing inbreeding coefficients\n    method = Meuwissen and Luo (1992)\n"
                              "  - computation done; elapsed time="))
      << out;
  EXPECT_TRUE(out.ends_with(" sec.\n")) << out;  // the hybrid method's thread line: pedigree_phase_test
}

TEST(inbreeding, every_method_gives_the_textbook_coefficients) {
  for (int method = 1; method <= 9; ++method) {
    SCOPED_TRACE(method);
    expect_near_all(fx::inbreeding(fx::textbook(), method, 0, {}, 2), fx::textbook_f, 1e-15);
    if (method != 9)  // 9 reads the coefficients from a file with metafounders
      expect_near_all(fx::inbreeding(fx::textbook_mf(), method, 1, {0.2}, 2), fx::textbook_mf_f, 1e-15);
  }
}

TEST(inbreeding, every_method_matches_the_tabular_reference_on_the_studbooks) {
  for (const char* name : fx::studbooks) {
    const pedigree_table ped = fx::studbook(name);
    const std::vector<double> ref = ventrel::reference::tabular_inbreeding(fx::to_reference(ped));
    for (int method = 1; method <= 9; ++method) {
      const std::vector<double> inb = fx::inbreeding(ped, method, 0, {}, 2);
      ASSERT_EQ(inb.size(), ref.size());
      for (std::size_t i = 0; i < ref.size(); ++i) ASSERT_NEAR(inb[i], ref[i], 1e-10) << name << " method " << method;
    }
  }
}

TEST(inbreeding, every_method_matches_the_tabular_reference_on_random_pedigrees) {
  struct row {
    pedigree_table ped;
    std::int32_t nupg = 0;
    std::vector<double> gamma;  // empty: unknown parent groups (unknown parents)
  };
  std::vector<row> rows;
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
    pedigree_table ped = fx::random_pedigree(7, o);
    const std::size_t first = ped.size();
    for (std::size_t k = 0; k < 300; ++k) ped.push_back(ped[first - 1 - k % 150]);  // full sibs
    for (parents& p : ped) {  // groups keep their codes above the new n
      if (p.sire > o.n) p.sire += 300;
      if (p.dam > o.n) p.dam += 300;
    }
    const std::vector<double> gamma = nupg > 0 ? fx::random_gamma(nupg, 3) : std::vector<double>{};
    for (int method : {1, 6}) {
      SCOPED_TRACE(testing::Message() << "groups " << nupg << " method " << method);
      EXPECT_LT(fx::inbreeding_error(ped, method, nupg, gamma, 1), 1e-10);
      const std::vector<double> one = fx::inbreeding(ped, method, nupg, gamma, 1);
      for (int threads : {2, 3}) EXPECT_EQ(fx::inbreeding(ped, method, nupg, gamma, threads), one) << threads;
    }
  }
}

TEST(inbreeding, the_order_given_or_found_gives_the_same_coefficients) {
  fx::random_options o;
  o.n = 300;
  const pedigree_table ped = fx::random_pedigree(6, o);
  std::vector<double> own, given;
  compute_inbreeding(ped, own, {});
  for (int method : {1, 2, 3}) {
    std::vector<std::int32_t> perm;
    renumber_pedigree(ped, 0, perm, 0, method);
    compute_inbreeding(ped, given, {}, {}, perm);
    expect_near_all(given, own, 1e-12);
  }
}

TEST(inbreeding, a_bad_gamma_or_order_stops) {
  std::vector<double> inb;
  const std::vector<double> gamma = {0.4};
  const std::vector<std::int32_t> identity = {0, 1, 2, 3, 4, 5, 6}, reversed = {0, 6, 5, 4, 3, 2, 1};
  expect_stops({
      {"gamma", [&] { compute_inbreeding({{0, 0}, {3, 4}}, inb, {}, group_info{2, gamma}); },
       {"The metafounders' relationship matrix Gamma must be of order 2 (the number of metafounders)"}},
      {"reversed", [&] { compute_inbreeding(fx::textbook(), inb, {}, {}, reversed); },
       {"compute_inbreeding: the order given does not put parents first"}},
      {"short", [&] { compute_inbreeding(fx::textbook(), inb, {}, {}, std::vector<std::int32_t>{0, 1, 2}); },
       {"compute_inbreeding: the order has 2 animals and the pedigree 6"}},
      {"identity", [&] { compute_inbreeding(fx::textbook(), inb, {}, {}, identity); }, {}},  // already in order
  });
}
