// Vector statistics routines against the long-double two-pass reference, the degenerate
// inputs, the dimension-mismatch stops and the percentile positions.
#include "statistics/vector_stats.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using reference::ref_centred_cross;
using testing::lines;
using testing::stop_lines;

TEST(vector_stats, match_the_two_pass_reference) {
  const auto d = testing::make_focal_data(1001);
  // Far from zero a one-pass sum of squares would lose every digit.
  std::vector<double> big_x, big_y;
  for (int i = 0; i < 1000; ++i) {
    big_x.push_back(1e9 + (i % 7));
    big_y.push_back(1e9 + (i % 7) + ((i % 3) - 1) * 0.5);
  }
  struct row {
    const char* name;
    const std::vector<double> &x, &y;
  };
  for (const row& r : {row{"focal p, w", d.p, d.w}, row{"near 1e9", big_x, big_y}}) {
    SCOPED_TRACE(r.name);
    const long double n = static_cast<long double>(r.x.size());
    const long double sxy = ref_centred_cross(r.x, r.y), sxx = ref_centred_cross(r.x, r.x),
                      syy = ref_centred_cross(r.y, r.y);
    auto near = [](double got, long double want) {
      EXPECT_NEAR(got, static_cast<double>(want), 1e-12 * std::max(1.0L, std::fabs(want)));
    };
    near(mean(r.x), reference::ref_mean(r.x));
    near(var(r.x), sxx / n);
    near(var(r.x, unbiased), sxx / (n - 1));
    near(cov(r.x, r.y), sxy / n);
    near(b1(r.y, r.x), sxy / sxx);
    near(cor(r.x, r.y), sxy / std::sqrt(sxx * syy));
  }
}

TEST(vector_stats, degenerate_inputs_give_non_finite_values_without_a_stop) {
  const std::vector<double> e, flat = {2, 2, 2}, x = {1, 2, 4};
  for (const double v :
       {mean(e), var(e), cov(e, e), b1(e, e), cor(e, e), b1(flat, flat), cor(x, flat)})
    EXPECT_TRUE(std::isnan(v));
  EXPECT_EQ(cov(x, flat), 0.0);
}

TEST(vector_stats, unequal_lengths_stop_with_the_routine_name) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  EXPECT_EQ(stop_lines([&] { cov(a, b); }), lines{"Dimension mismatch in cov(x,y)"});
  EXPECT_EQ(stop_lines([&] { b1(a, b); }), lines{"Dimension mismatch in b1(y,x)"});
  EXPECT_EQ(stop_lines([&] { cor(b, a); }), lines{"Dimension mismatch in cor(x,y)"});
}

TEST(percentile, position_is_nint_of_m_minus_one_times_q_plus_one) {
  struct row {
    int m;
    double q;
    int position;  // 1-based; 0: none (NaN)
  };
  const double lo = lower_fraction, up = upper_fraction;
  const std::vector<row> rows = {
      {1, lo, 1},       {1, up, 1},        {2, lo, 1},      {2, up, 2},      {20, lo, 1},
      {20, up, 20},     {21, lo, 2},       {21, up, 21},    {100, lo, 3},    {100, up, 98},
      {1000, lo, 26},   {1000, up, 975},   {10000, lo, 251}, {10000, up, 9750}, {0, lo, 0},
      {3, 0.0, 1},      {3, 1.0, 3},       {3, 0.25, 2}};  // (3 - 1) * 0.25 = 0.5: away from 0
  for (const row& r : rows) {
    SCOPED_TRACE("m " + std::to_string(r.m) + ", q " + std::to_string(r.q));
    std::vector<double> x(static_cast<std::size_t>(r.m));
    std::iota(x.begin(), x.end(), 1.0);  // the value is the position
    if (r.position == 0)
      EXPECT_TRUE(std::isnan(percentile(x, r.q)));
    else
      EXPECT_EQ(percentile(x, r.q), r.position);
  }
}

}  // namespace
}  // namespace ventrel::statistics
