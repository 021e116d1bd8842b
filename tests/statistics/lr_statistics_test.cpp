// LR statistics of one trait against the long-double reference.
#include "statistics/lr_statistics.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "reference/two_pass_stats.hpp"
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
    const lr_values no_y = compute_lr(d.w, d.p, {}, gvar, h2);
    expect_near(values(no_y), {want.begin(), want.end() - 1}, 1e-12);
    EXPECT_TRUE(std::isnan(no_y.pred_ability));
  }
}

// One focal animal is run end to end (fixture odd_valid_one_animal); unequal lengths are not.
TEST(compute_lr, unequal_lengths_stop) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  EXPECT_EQ(test_support::stop_lines([&] { compute_lr(a, b, {}, gvar, h2); })[0],
            "Dimension mismatch in b1(y,x)");
  EXPECT_EQ(test_support::stop_lines([&] { compute_lr(a, a, b, gvar, h2); })[0],
            "Dimension mismatch in cor(x,y)");
}

}  // namespace
}  // namespace ventrel::statistics
