// Tests of compute_inbreeding's dispatch: methods, labels, verbose lines and the groups' entries.
#include "pedigree/inbreeding.hpp"

#include <gtest/gtest.h>

#include "common/fatal.hpp"
#include "pedigree/renumber.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

TEST(inbreeding, effective_method_for_every_code) {
  using m = inbreeding_method;
  EXPECT_EQ(effective_inbreeding_method(0, false), m::meuwissen_luo);
  EXPECT_EQ(effective_inbreeding_method(10, false), m::meuwissen_luo);
  EXPECT_EQ(effective_inbreeding_method(-1, true), m::meuwissen_luo);
  for (int c = 1; c <= 7; ++c) EXPECT_EQ(static_cast<int>(effective_inbreeding_method(c, false)), c);
  EXPECT_EQ(effective_inbreeding_method(8, false), m::meuwissen_luo);
  EXPECT_EQ(effective_inbreeding_method(9, false), m::meuwissen_luo);
  for (int c = 2; c <= 5; ++c) EXPECT_EQ(effective_inbreeding_method(c, true), m::meuwissen_luo);
  for (int c : {1, 6, 7, 8, 9}) EXPECT_EQ(static_cast<int>(effective_inbreeding_method(c, true)), c);
}

TEST(inbreeding, labels_without_and_with_metafounders) {
  const group_info none;
  const group_info upg{2, {}};
  const std::vector<double> gamma(9, 0.1);
  const group_info mf{3, gamma};
  EXPECT_EQ(inbreeding_method_label(1, none), "Meuwissen and Luo (1992)");
  EXPECT_EQ(inbreeding_method_label(2, none), "Modified Meuwissen & Luo by Sargolzaei & Iwaisaki (2004)");
  EXPECT_EQ(inbreeding_method_label(3, none), "Modified Colleau by Sargolzaei et al. (2005)");
  EXPECT_EQ(inbreeding_method_label(4, none), "Recursive tabular");
  EXPECT_EQ(inbreeding_method_label(5, none), "Tier (1990)");
  EXPECT_EQ(inbreeding_method_label(5, upg), "Tier (1990) with groups");
  EXPECT_EQ(inbreeding_method_label(6, none), "Hybrid parallel computing");
  EXPECT_EQ(inbreeding_method_label(7, none), "Recursive tabular with self breeding generations");
  EXPECT_EQ(inbreeding_method_label(8, none), "Meuwissen and Luo (1992)");
  EXPECT_EQ(inbreeding_method_label(9, upg), "Meuwissen and Luo (1992)");
  EXPECT_EQ(inbreeding_method_label(1, mf), "Meuwissen and Luo (1992) with 3 metafounders");
  EXPECT_EQ(inbreeding_method_label(4, mf), "Meuwissen and Luo (1992) with 3 metafounders");
  EXPECT_EQ(inbreeding_method_label(6, mf), "Hybrid parallel computing with 3 metafounders");
  EXPECT_EQ(inbreeding_method_label(7, mf), "Recursive tabular with self breeding generations");
  EXPECT_EQ(inbreeding_method_label(8, mf), "F by Colleau 3 metafounders");
  EXPECT_EQ(inbreeding_method_label(9, mf), "read from file inb_mf.txt with 3 metafounders");
  EXPECT_EQ(inbreeding_method_label(12, mf), "Meuwissen and Luo (1992) with 3 metafounders");
}

TEST(inbreeding, verbose_lines) {
  inbreeding_options opt;
  opt.verbosity = 1;
  std::vector<double> inb;
  testing::internal::CaptureStdout();
  compute_inbreeding(fx::textbook(), inb, opt);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.find("  - computing inbreeding coefficients\n    method = Meuwissen and Luo (1992)\n"
                     "  - computation done; elapsed time="),
            0u)
      << out;
  EXPECT_EQ(out.substr(out.size() - 6), " sec.\n");
  opt.method = 6;
  opt.nthreads = 2;
  testing::internal::CaptureStdout();
  compute_inbreeding(fx::textbook(), inb, opt);
  out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("    method = Hybrid parallel computing\n    number of threads = 2\n"),
            std::string::npos)
      << out;
}

TEST(inbreeding, silent_by_default) {
  std::vector<double> inb;
  testing::internal::CaptureStdout();
  compute_inbreeding(fx::textbook(), inb, {});
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(inbreeding, every_method_matches_the_tabular_reference_on_the_studbooks) {
  for (const char* name : fx::studbooks) {
    const pedigree_table ped = fx::studbook(name);
    const std::vector<double> ref = ventrel::reference::tabular_inbreeding(fx::to_reference(ped));
    for (int method = 1; method <= 9; ++method) {
      inbreeding_options opt;
      opt.method = method;
      opt.nthreads = 2;
      std::vector<double> inb;
      compute_inbreeding(ped, inb, opt);
      ASSERT_EQ(inb.size(), ref.size());
      for (std::size_t i = 0; i < ref.size(); ++i)
        ASSERT_NEAR(inb[i], ref[i], 1e-10) << name << " method " << method;
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
    ASSERT_EQ(given.size(), own.size());
    for (std::size_t i = 0; i < own.size(); ++i) EXPECT_NEAR(given[i], own[i], 1e-12) << method << " " << i;
  }
}

TEST(inbreeding, group_entries_hold_zero_or_half_the_metafounders_self_relationship) {
  const pedigree_table ped = {{0, 0}, {3, 4}, {4, 3}};
  std::vector<double> inb;
  compute_inbreeding(ped, inb, {}, group_info{2, {}});
  EXPECT_EQ(inb, (std::vector<double>{0, 0, 0, 0, 0}));
  const std::vector<double> gamma = {0.4, 0.1, 0.1, 0.6};
  compute_inbreeding(ped, inb, {}, group_info{2, gamma});
  EXPECT_DOUBLE_EQ(inb[1], 0.05);
  EXPECT_DOUBLE_EQ(inb[3], 0.2);
  EXPECT_DOUBLE_EQ(inb[4], 0.3);
}

TEST(inbreeding, gamma_of_the_wrong_order_stops) {
  const pedigree_table ped = {{0, 0}, {3, 4}};
  std::vector<double> inb;
  const std::vector<double> gamma = {0.4};
  EXPECT_THROW(compute_inbreeding(ped, inb, {}, group_info{2, gamma}), ventrel::fatal_error);
}

TEST(inbreeding, an_order_without_parents_first_stops) {
  std::vector<double> inb;
  const std::vector<std::int32_t> identity = {0, 1, 2, 3, 4, 5, 6};
  compute_inbreeding(fx::textbook(), inb, {}, {}, identity);  // the textbook is already in order
  const std::vector<std::int32_t> reversed = {0, 6, 5, 4, 3, 2, 1};
  EXPECT_THROW(compute_inbreeding(fx::textbook(), inb, {}, {}, reversed), ventrel::fatal_error);
}
