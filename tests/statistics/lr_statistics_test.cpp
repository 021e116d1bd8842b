// LR statistics of one trait: against the long-double reference and the vector routines, and
// the edge cases of identical, shifted, scaled, single and empty vectors.
#include "statistics/lr_statistics.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "statistics/vector_stats.hpp"
#include "test_data.hpp"

namespace ventrel::statistics {
namespace {

using testing::make_focal_data;
using testing::stop_message;

constexpr double gvar = 0.8;
constexpr double h2 = 0.3;

TEST(compute_lr, matches_the_two_pass_reference) {
  for (const int n : {2, 3, 5, 8, 1001}) {
    const auto d = make_focal_data(n);
    const lr_values v = compute_lr(d.w, d.p, d.y, gvar, h2);
    const reference::lr_reference r = reference::lr_two_pass(d.w, d.p, d.y, gvar, h2);
    EXPECT_NEAR(v.bias, static_cast<double>(r.bias), 1e-12) << n;
    EXPECT_NEAR(v.dispersion, static_cast<double>(r.dispersion), 1e-12) << n;
    EXPECT_NEAR(v.ratio_acc, static_cast<double>(r.ratio_acc), 1e-12) << n;
    EXPECT_NEAR(v.reliability, static_cast<double>(r.reliability), 1e-12) << n;
    EXPECT_NEAR(v.pred_ability, static_cast<double>(r.pred_ability), 1e-12) << n;
  }
}

TEST(compute_lr, agrees_with_the_vector_routines) {
  const auto d = make_focal_data(777);
  std::vector<double> diff;
  for (std::size_t i = 0; i < d.p.size(); ++i) diff.push_back(d.p[i] - d.w[i]);
  const lr_values v = compute_lr(d.w, d.p, d.y, gvar, h2);
  EXPECT_NEAR(v.bias, mean(diff), 1e-13);
  EXPECT_NEAR(v.dispersion, b1(d.w, d.p), 1e-13);
  EXPECT_NEAR(v.ratio_acc, cor(d.p, d.w), 1e-13);
  EXPECT_NEAR(v.reliability, cov(d.p, d.w) / gvar, 1e-13);
  EXPECT_NEAR(v.pred_ability, cor(d.y, d.p) / std::sqrt(h2), 1e-13);
}

TEST(compute_lr, identical_vectors_give_no_bias_unit_slope_and_correlation) {
  const auto d = make_focal_data(50);
  const lr_values v = compute_lr(d.p, d.p, {}, gvar, h2);
  EXPECT_EQ(v.bias, 0.0);
  EXPECT_NEAR(v.dispersion, 1.0, 1e-15);
  EXPECT_NEAR(v.ratio_acc, 1.0, 1e-15);
  EXPECT_NEAR(v.reliability, var(d.p) / gvar, 1e-14);
}

TEST(compute_lr, a_constant_added_to_partial_values_moves_only_the_bias) {
  const auto d = make_focal_data(200);
  std::vector<double> shifted = d.p;
  for (double& v : shifted) v += 2.5;
  const lr_values a = compute_lr(d.w, d.p, d.y, gvar, h2);
  const lr_values b = compute_lr(d.w, shifted, d.y, gvar, h2);
  EXPECT_NEAR(b.bias, a.bias + 2.5, 1e-12);
  EXPECT_NEAR(b.dispersion, a.dispersion, 1e-12);
  EXPECT_NEAR(b.ratio_acc, a.ratio_acc, 1e-12);
  EXPECT_NEAR(b.reliability, a.reliability, 1e-12);
  EXPECT_NEAR(b.pred_ability, a.pred_ability, 1e-12);
}

TEST(compute_lr, scaling_partial_values_divides_the_dispersion) {
  const auto d = make_focal_data(200);
  std::vector<double> scaled = d.p;
  for (double& v : scaled) v *= 4.0;
  const lr_values a = compute_lr(d.w, d.p, {}, gvar, h2);
  const lr_values b = compute_lr(d.w, scaled, {}, gvar, h2);
  EXPECT_NEAR(b.dispersion, a.dispersion / 4.0, 1e-13);
  EXPECT_NEAR(b.ratio_acc, a.ratio_acc, 1e-13);
}

TEST(compute_lr, single_animal_gives_its_difference_and_undefined_slopes) {
  const std::vector<double> w = {1.25}, p = {2.0}, y = {7.0};
  const lr_values v = compute_lr(w, p, y, gvar, h2);
  EXPECT_EQ(v.bias, 0.75);
  EXPECT_TRUE(std::isnan(v.dispersion));
  EXPECT_TRUE(std::isnan(v.ratio_acc));
  EXPECT_TRUE(std::isnan(v.pred_ability));
  // The population covariance of one point is 0 / 1.
  EXPECT_EQ(v.reliability, 0.0);
}

TEST(compute_lr, no_animals_give_nan_everywhere) {
  const lr_values v = compute_lr({}, {}, {}, gvar, h2);
  EXPECT_TRUE(std::isnan(v.bias));
  EXPECT_TRUE(std::isnan(v.dispersion));
  EXPECT_TRUE(std::isnan(v.ratio_acc));
  EXPECT_TRUE(std::isnan(v.reliability));
  EXPECT_TRUE(std::isnan(v.pred_ability));
}

TEST(compute_lr, zero_denominators_give_non_finite_values) {
  const auto d = make_focal_data(30);
  const std::vector<double> flat(30, 1.0);
  const lr_values v = compute_lr(d.w, flat, {}, gvar, h2);
  EXPECT_FALSE(std::isfinite(v.dispersion));
  EXPECT_FALSE(std::isfinite(v.ratio_acc));
  EXPECT_TRUE(std::isinf(compute_lr(d.w, d.p, {}, 0.0, h2).reliability));
  EXPECT_TRUE(std::isinf(compute_lr(d.w, d.p, d.y, gvar, 0.0).pred_ability));
  EXPECT_TRUE(std::isnan(compute_lr(d.w, d.p, d.y, gvar, -0.1).pred_ability));
}

TEST(compute_lr, predictive_ability_is_absent_without_phenotypes) {
  const auto d = make_focal_data(30);
  EXPECT_TRUE(std::isnan(compute_lr(d.w, d.p, {}, gvar, h2).pred_ability));
}

TEST(compute_lr, unequal_lengths_stop) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  EXPECT_EQ(stop_message([&] { compute_lr(a, b, {}, gvar, h2); }),
            "Dimension mismatch in b1(y,x)");
  EXPECT_EQ(stop_message([&] { compute_lr(a, a, b, gvar, h2); }),
            "Dimension mismatch in cor(x,y)");
}

}  // namespace
}  // namespace ventrel::statistics
