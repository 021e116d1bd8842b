// LR statistics of one trait: against the long-double reference, and identical, shifted and
// scaled vectors.
#include "statistics/lr_statistics.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "statistics/vector_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::make_focal_data;

constexpr double gvar = 0.8;
constexpr double h2 = 0.3;

std::vector<double> values(const lr_values& v) {
  return {v.bias, v.dispersion, v.ratio_acc, v.reliability, v.pred_ability};
}

void expect_near(const std::vector<double>& got, const std::vector<double>& want, double tol) {
  for (std::size_t k = 0; k < want.size(); ++k) EXPECT_NEAR(got[k], want[k], tol) << k;
}

TEST(compute_lr, matches_the_two_pass_reference_with_and_without_phenotypes) {
  for (const int n : {2, 3, 5, 8, 1001}) {  // every remainder of the four summation lanes
    const auto d = make_focal_data(n);
    const reference::lr_reference r = reference::lr_two_pass(d.w, d.p, d.y, gvar, h2);
    const std::vector<double> want = {
        static_cast<double>(r.bias), static_cast<double>(r.dispersion),
        static_cast<double>(r.ratio_acc), static_cast<double>(r.reliability),
        static_cast<double>(r.pred_ability)};
    expect_near(values(compute_lr(d.w, d.p, d.y, gvar, h2)), want, 1e-12);
    expect_near(values(compute_lr(d.w, d.p, {}, gvar, h2)), {want.begin(), want.end() - 1}, 1e-12);
  }
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
  expect_near(values(s), {s.bias, a.dispersion / 4.0, a.ratio_acc, s.reliability, a.pred_ability},
              1e-13);
  const lr_values same = compute_lr(d.p, d.p, {}, gvar, h2);  // no phenotypes
  expect_near(values(same), {0.0, 1.0, 1.0, var(d.p) / gvar}, 1e-14);
  EXPECT_TRUE(std::isnan(same.pred_ability));
}

// One focal animal is run end to end (fixture bad_valid_one_animal); unequal lengths are not.
TEST(compute_lr, unequal_lengths_stop) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  EXPECT_EQ(test_support::stop_lines([&] { compute_lr(a, b, {}, gvar, h2); })[0],
            "Dimension mismatch in b1(y,x)");
  EXPECT_EQ(test_support::stop_lines([&] { compute_lr(a, a, b, gvar, h2); })[0],
            "Dimension mismatch in cor(x,y)");
}

}  // namespace
}  // namespace ventrel::statistics
