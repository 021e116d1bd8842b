// Vector statistics routines against the long-double two-pass reference, the divisors, the
// dimension-mismatch stops and the percentile positions.
#include "statistics/vector_stats.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "test_data.hpp"

namespace ventrel::statistics {
namespace {

using reference::ref_centred_cross;
using reference::ref_mean;
using testing::make_focal_data;
using testing::stop_message;

TEST(vector_stats, match_the_two_pass_reference) {
  const auto d = make_focal_data(1001);
  const auto n = static_cast<long double>(d.w.size());
  const double tol = 1e-12;
  EXPECT_NEAR(mean(d.w), static_cast<double>(ref_mean(d.w)), tol * 100);
  EXPECT_NEAR(var(d.w), static_cast<double>(ref_centred_cross(d.w, d.w) / n), tol);
  EXPECT_NEAR(cov(d.p, d.w), static_cast<double>(ref_centred_cross(d.p, d.w) / n), tol);
  EXPECT_NEAR(b1(d.w, d.p),
              static_cast<double>(ref_centred_cross(d.w, d.p) / ref_centred_cross(d.p, d.p)), tol);
  EXPECT_NEAR(cor(d.p, d.w),
              static_cast<double>(ref_centred_cross(d.p, d.w) /
                                  std::sqrt(ref_centred_cross(d.p, d.p) *
                                            ref_centred_cross(d.w, d.w))),
              tol);
}

TEST(vector_stats, var_divisor_is_n_unless_the_unbiased_argument_is_present) {
  const std::vector<double> x = {1, 2, 3, 4};  // squared deviations sum to 5
  EXPECT_DOUBLE_EQ(var(x), 5.0 / 4.0);
  EXPECT_DOUBLE_EQ(var(x, unbiased), 5.0 / 3.0);
}

TEST(vector_stats, b1_regresses_the_first_argument_on_the_second) {
  const std::vector<double> x = {1, 2, 3, 4, 5};
  std::vector<double> y;
  for (const double v : x) y.push_back(7.0 - 2.5 * v);
  EXPECT_DOUBLE_EQ(b1(y, x), -2.5);
  EXPECT_DOUBLE_EQ(b1(x, y), -0.4);
  EXPECT_DOUBLE_EQ(cor(x, y), -1.0);
}

TEST(vector_stats, stay_accurate_far_from_zero) {
  // A one-pass sum of squares would lose every digit here.
  std::vector<double> x, y;
  for (int i = 0; i < 1000; ++i) {
    x.push_back(1e9 + (i % 7));
    y.push_back(1e9 + (i % 7) + ((i % 3) - 1) * 0.5);
  }
  const auto n = static_cast<long double>(x.size());
  EXPECT_NEAR(var(x), static_cast<double>(ref_centred_cross(x, x) / n), 1e-9);
  EXPECT_NEAR(cor(x, y),
              static_cast<double>(ref_centred_cross(x, y) /
                                  std::sqrt(ref_centred_cross(x, x) * ref_centred_cross(y, y))),
              1e-12);
}

TEST(vector_stats, empty_vectors_give_nan) {
  const std::vector<double> e;
  EXPECT_TRUE(std::isnan(mean(e)));
  EXPECT_TRUE(std::isnan(var(e)));
  EXPECT_TRUE(std::isnan(cov(e, e)));
  EXPECT_TRUE(std::isnan(b1(e, e)));
  EXPECT_TRUE(std::isnan(cor(e, e)));
}

TEST(vector_stats, zero_spread_gives_non_finite_values_without_a_stop) {
  const std::vector<double> flat = {2, 2, 2}, x = {1, 2, 4};
  EXPECT_TRUE(std::isnan(b1(flat, flat)));
  EXPECT_TRUE(std::isnan(cor(x, flat)));
  EXPECT_EQ(cov(x, flat), 0.0);
}

TEST(vector_stats, unequal_lengths_stop_with_the_routine_name) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  EXPECT_EQ(stop_message([&] { cov(a, b); }), "Dimension mismatch in cov(x,y)");
  EXPECT_EQ(stop_message([&] { b1(a, b); }), "Dimension mismatch in b1(y,x)");
  EXPECT_EQ(stop_message([&] { cor(b, a); }), "Dimension mismatch in cor(x,y)");
}

TEST(percentile, fractions_are_single_precision_widened) {
  EXPECT_EQ(lower_fraction, 0.02500000037252903);
  EXPECT_EQ(upper_fraction, 0.9750000238418579);
}

TEST(percentile, positions_follow_nint_of_m_minus_one_times_q) {
  // x[i] = i + 1, so the value is the 1-based position.
  struct case_t {
    int m, lower, upper;
  };
  for (const case_t c : {case_t{1, 1, 1}, case_t{2, 1, 2}, case_t{20, 1, 20}, case_t{21, 2, 21},
                         case_t{100, 3, 98}, case_t{1000, 26, 975}, case_t{10000, 251, 9750}}) {
    std::vector<double> x(static_cast<std::size_t>(c.m));
    std::iota(x.begin(), x.end(), 1.0);
    EXPECT_EQ(percentile(x, lower_fraction), c.lower) << c.m;
    EXPECT_EQ(percentile(x, upper_fraction), c.upper) << c.m;
  }
}

TEST(percentile, rounds_half_away_from_zero) {
  const std::vector<double> x = {10, 20, 30};
  EXPECT_EQ(percentile(x, 0.25), 20);  // (3 - 1) * 0.25 = 0.5 -> 1 -> position 2
  EXPECT_EQ(percentile(x, 0.0), 10);
  EXPECT_EQ(percentile(x, 1.0), 30);
}

TEST(percentile, empty_array_gives_nan) {
  EXPECT_TRUE(std::isnan(percentile(std::vector<double>{}, lower_fraction)));
}

}  // namespace
}  // namespace ventrel::statistics
