// LR statistics of one trait: against the long-double reference, and the edge cases of
// identical, shifted, scaled, single and empty vectors.
#include "statistics/lr_statistics.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "statistics/vector_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::lines;
using testing::make_focal_data;
using testing::stop_lines;

constexpr double gvar = 0.8;
constexpr double h2 = 0.3;

std::vector<double> values(const lr_values& v) {
  return {v.bias, v.dispersion, v.ratio_acc, v.reliability, v.pred_ability};
}

void expect_near(const std::vector<double>& got, const std::vector<double>& want, double tol) {
  const char* names[] = {"bias", "dispersion", "ratio_acc", "reliability", "pred_ability"};
  for (std::size_t k = 0; k < want.size(); ++k) EXPECT_NEAR(got[k], want[k], tol) << names[k];
}

TEST(compute_lr, matches_the_two_pass_reference) {
  for (const int n : {2, 3, 5, 8, 1001}) {  // every remainder of the four summation lanes
    SCOPED_TRACE(n);
    const auto d = make_focal_data(n);
    const reference::lr_reference r = reference::lr_two_pass(d.w, d.p, d.y, gvar, h2);
    expect_near(values(compute_lr(d.w, d.p, d.y, gvar, h2)),
                {static_cast<double>(r.bias), static_cast<double>(r.dispersion),
                 static_cast<double>(r.ratio_acc), static_cast<double>(r.reliability),
                 static_cast<double>(r.pred_ability)},
                1e-12);
  }
}

TEST(compute_lr, identical_vectors_give_no_bias_unit_slope_and_correlation) {
  const auto d = make_focal_data(50);
  const lr_values v = compute_lr(d.p, d.p, {}, gvar, h2);
  EXPECT_EQ(v.bias, 0.0);
  expect_near(values(v), {0.0, 1.0, 1.0, var(d.p) / gvar}, 1e-14);
  EXPECT_TRUE(std::isnan(v.pred_ability));  // no phenotypes
}

TEST(compute_lr, shifting_the_partial_values_moves_the_bias_and_scaling_divides_the_slope) {
  const auto d = make_focal_data(200);
  std::vector<double> shifted = d.p, scaled = d.p;
  for (double& v : shifted) v += 2.5;
  for (double& v : scaled) v *= 4.0;
  const lr_values a = compute_lr(d.w, d.p, d.y, gvar, h2);
  expect_near(values(compute_lr(d.w, shifted, d.y, gvar, h2)),
              {a.bias + 2.5, a.dispersion, a.ratio_acc, a.reliability, a.pred_ability}, 1e-12);
  const lr_values s = compute_lr(d.w, scaled, d.y, gvar, h2);
  EXPECT_NEAR(s.dispersion, a.dispersion / 4.0, 1e-13);
  EXPECT_NEAR(s.ratio_acc, a.ratio_acc, 1e-13);
  EXPECT_NEAR(s.pred_ability, a.pred_ability, 1e-13);
}

TEST(compute_lr, one_or_no_animal_gives_non_finite_slopes_without_a_stop) {
  const std::vector<double> w = {1.25}, p = {2.0}, y = {7.0};
  const lr_values one = compute_lr(w, p, y, gvar, h2);
  EXPECT_EQ(one.bias, 0.75);
  EXPECT_EQ(one.reliability, 0.0);  // the population covariance of one point is 0 / 1
  for (const double v : {one.dispersion, one.ratio_acc, one.pred_ability})
    EXPECT_TRUE(std::isnan(v));
  for (const double v : values(compute_lr({}, {}, {}, gvar, h2))) EXPECT_TRUE(std::isnan(v));
}

TEST(compute_lr, zero_denominators_give_non_finite_values) {
  const auto d = make_focal_data(30);
  const lr_values flat = compute_lr(d.w, std::vector<double>(30, 1.0), {}, gvar, h2);
  EXPECT_FALSE(std::isfinite(flat.dispersion));
  EXPECT_FALSE(std::isfinite(flat.ratio_acc));
  EXPECT_TRUE(std::isinf(compute_lr(d.w, d.p, {}, 0.0, h2).reliability));
  EXPECT_TRUE(std::isinf(compute_lr(d.w, d.p, d.y, gvar, 0.0).pred_ability));
  EXPECT_TRUE(std::isnan(compute_lr(d.w, d.p, d.y, gvar, -0.1).pred_ability));
}

TEST(compute_lr, unequal_lengths_stop) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  EXPECT_EQ(stop_lines([&] { compute_lr(a, b, {}, gvar, h2); }),
            lines{"Dimension mismatch in b1(y,x)"});
  EXPECT_EQ(stop_lines([&] { compute_lr(a, a, b, gvar, h2); }),
            lines{"Dimension mismatch in cor(x,y)"});
}

}  // namespace
}  // namespace ventrel::statistics
