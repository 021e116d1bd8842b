// Bootstrap: identical tables for any thread count and for a plain sequential loop, the stream
// continued across calls, the position rules of the sort and the percentiles, and edge cases.
#include "statistics/bootstrap.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "statistics/lr_statistics.hpp"
#include "statistics/quicksort.hpp"
#include "statistics/vector_stats.hpp"
#include "test_data.hpp"

namespace ventrel::statistics {
namespace {

using testing::make_focal_data;
using testing::stop_message;

constexpr double gvar = 0.8;
constexpr double h2 = 0.3;

// Replicate values in replicate order, before any sort.
struct replicate_values {
  std::vector<double> bias, dispersion, ratio_acc, reliability, pred_ability;
};

// The plain sequential bootstrap: one draw per resampled animal from the generator's own
// random_integer (Schrage's step), the resampled vectors built in full, compute_lr on them.
replicate_values sequential_replicates(const testing::focal_data& d, bool with_y, int nrep,
                                       rng& g) {
  const auto n = static_cast<std::int32_t>(d.p.size());
  replicate_values out;
  std::vector<double> wb(d.p.size()), pb(d.p.size()), yb(d.p.size());
  for (int r = 0; r < nrep; ++r) {
    for (std::size_t i = 0; i < d.p.size(); ++i) {
      const auto k = static_cast<std::size_t>(g.random_integer(1, n) - 1);
      wb[i] = d.w[k];
      pb[i] = d.p[k];
      yb[i] = d.y[k];
    }
    const lr_values v = compute_lr(wb, pb, with_y ? std::span<const double>(yb)
                                                  : std::span<const double>(), gvar, h2);
    out.bias.push_back(v.bias);
    out.dispersion.push_back(v.dispersion);
    out.ratio_acc.push_back(v.ratio_acc);
    out.reliability.push_back(v.reliability);
    out.pred_ability.push_back(v.pred_ability);
  }
  return out;
}

interval summary(std::vector<double> x) {
  quicksort(x);
  return {var(x), percentile(x, lower_fraction), percentile(x, upper_fraction)};
}

lr_intervals sequential_bootstrap(const testing::focal_data& d, bool with_y, int nrep, rng& g) {
  replicate_values v = sequential_replicates(d, with_y, nrep, g);
  lr_intervals out;
  out.bias = summary(v.bias);
  out.dispersion = summary(v.dispersion);
  out.ratio_acc = summary(v.ratio_acc);
  out.reliability = summary(v.reliability);
  if (with_y) out.pred_ability = summary(v.pred_ability);
  return out;
}

// Bit-for-bit equality, NaN equal to NaN.
void expect_same(const interval& a, const interval& b, const char* what) {
  for (const auto& [x, y] : {std::pair{a.variance, b.variance}, std::pair{a.lower, b.lower},
                             std::pair{a.upper, b.upper}}) {
    if (std::isnan(x) && std::isnan(y)) continue;
    EXPECT_EQ(x, y) << what;
  }
}

void expect_same(const lr_intervals& a, const lr_intervals& b) {
  expect_same(a.bias, b.bias, "bias");
  expect_same(a.dispersion, b.dispersion, "dispersion");
  expect_same(a.ratio_acc, b.ratio_acc, "ratio_acc");
  expect_same(a.reliability, b.reliability, "reliability");
  expect_same(a.pred_ability, b.pred_ability, "pred_ability");
}

std::span<const double> phenotypes(const testing::focal_data& d, bool with_y) {
  return with_y ? std::span<const double>(d.y) : std::span<const double>();
}

TEST(bootstrap, any_thread_count_gives_the_sequential_tables) {
  for (const bool with_y : {true, false}) {
    for (const int nrep : {1, 7, 200}) {
      const auto d = make_focal_data(123);
      rng seq;
      const lr_intervals expected = sequential_bootstrap(d, with_y, nrep, seq);
      for (const int threads : {1, 2, 3}) {
        rng g;
        const lr_intervals got =
            bootstrap(d.w, d.p, phenotypes(d, with_y), gvar, h2, nrep, g, threads);
        expect_same(got, expected);
        EXPECT_EQ(g.current(), seq.current()) << "generator left elsewhere, threads " << threads;
      }
    }
  }
}

TEST(bootstrap, the_stream_continues_across_traits_and_focal_sets) {
  const auto set1 = make_focal_data(40, 1), set2 = make_focal_data(57, 2);
  rng seq;
  const lr_intervals e1 = sequential_bootstrap(set1, true, 30, seq);
  const lr_intervals e2 = sequential_bootstrap(set2, false, 25, seq);
  const lr_intervals e3 = sequential_bootstrap(set1, true, 30, seq);
  rng g;
  expect_same(bootstrap(set1.w, set1.p, set1.y, gvar, h2, 30, g, 2), e1);
  expect_same(bootstrap(set2.w, set2.p, {}, gvar, h2, 25, g, 2), e2);
  expect_same(bootstrap(set1.w, set1.p, set1.y, gvar, h2, 30, g, 1), e3);
  EXPECT_EQ(g.current(), seq.current());
}

TEST(bootstrap, runs_are_reproducible) {
  const auto d = make_focal_data(300);
  rng a, b;
  expect_same(bootstrap(d.w, d.p, d.y, gvar, h2, 100, a),
              bootstrap(d.w, d.p, d.y, gvar, h2, 100, b));
}

TEST(bootstrap, one_draw_resamples_the_whole_row) {
  // w = p = y: any resample keeps them equal, so bias is 0 and both correlations are 1 in
  // every replicate, which only holds when one draw picks the same row of all three.
  auto d = make_focal_data(60);
  d.w = d.p;
  d.y = d.p;
  rng g;
  const lr_intervals t = bootstrap(d.w, d.p, d.y, gvar, 1.0, 50, g, 2);
  EXPECT_EQ(t.bias.variance, 0.0);
  EXPECT_EQ(t.bias.lower, 0.0);
  EXPECT_NEAR(t.ratio_acc.lower, 1.0, 1e-15);
  EXPECT_NEAR(t.pred_ability.upper, 1.0, 1e-15);
  EXPECT_NEAR(t.dispersion.variance, 0.0, 1e-28);
}

// The positions of the limits for small replicate counts, on the raw replicate values.
TEST(bootstrap, two_replicates_report_them_unsorted) {
  const auto d = make_focal_data(25);
  rng seq, g;
  const replicate_values raw = sequential_replicates(d, true, 2, seq);
  const lr_intervals t = bootstrap(d.w, d.p, d.y, gvar, h2, 2, g, 2);
  EXPECT_EQ(t.bias.lower, raw.bias[0]);
  EXPECT_EQ(t.bias.upper, raw.bias[1]);
  EXPECT_EQ(t.dispersion.lower, raw.dispersion[0]);
  EXPECT_EQ(t.dispersion.upper, raw.dispersion[1]);
  EXPECT_EQ(t.reliability.lower, raw.reliability[0]);
  EXPECT_EQ(t.reliability.upper, raw.reliability[1]);
}

TEST(bootstrap, up_to_twenty_replicates_the_lower_limit_is_the_first_replicate) {
  const auto d = make_focal_data(25);
  rng seq, g;
  const replicate_values raw = sequential_replicates(d, false, 20, seq);
  const lr_intervals t = bootstrap(d.w, d.p, {}, gvar, h2, 20, g, 2);
  auto check = [](const interval& iv, const std::vector<double>& x, const char* what) {
    EXPECT_EQ(iv.lower, x[0]) << what;
    EXPECT_EQ(iv.upper, *std::max_element(x.begin() + 1, x.end())) << what;
  };
  check(t.bias, raw.bias, "bias");
  check(t.dispersion, raw.dispersion, "dispersion");
  check(t.ratio_acc, raw.ratio_acc, "ratio_acc");
  check(t.reliability, raw.reliability, "reliability");
}

TEST(bootstrap, from_twenty_one_replicates_the_lower_limit_is_the_sorted_second) {
  const auto d = make_focal_data(25);
  rng seq, g;
  const replicate_values raw = sequential_replicates(d, false, 21, seq);
  const lr_intervals t = bootstrap(d.w, d.p, {}, gvar, h2, 21, g, 2);
  auto check = [](const interval& iv, const std::vector<double>& x, const char* what) {
    EXPECT_EQ(iv.lower, *std::min_element(x.begin() + 1, x.end())) << what;
    EXPECT_EQ(iv.upper, *std::max_element(x.begin() + 1, x.end())) << what;
  };
  check(t.bias, raw.bias, "bias");
  check(t.dispersion, raw.dispersion, "dispersion");
  check(t.ratio_acc, raw.ratio_acc, "ratio_acc");
  check(t.reliability, raw.reliability, "reliability");
}

TEST(bootstrap, variance_divides_by_the_number_of_replicates) {
  const auto d = make_focal_data(40);
  rng seq, g;
  const replicate_values raw = sequential_replicates(d, true, 30, seq);
  const lr_intervals t = bootstrap(d.w, d.p, d.y, gvar, h2, 30, g, 2);
  auto population_variance = [](const std::vector<double>& x) {
    long double m = 0, s = 0;
    for (const double v : x) m += v;
    m /= static_cast<long double>(x.size());
    for (const double v : x) s += (v - m) * (v - m);
    return static_cast<double>(s / static_cast<long double>(x.size()));
  };
  EXPECT_NEAR(t.bias.variance, population_variance(raw.bias), 1e-18);
  EXPECT_NEAR(t.dispersion.variance / population_variance(raw.dispersion), 1.0, 1e-12);
  EXPECT_NEAR(t.pred_ability.variance / population_variance(raw.pred_ability), 1.0, 1e-12);
}

TEST(bootstrap, no_animals_draw_nothing_and_give_nan) {
  rng g;
  const lr_intervals t = bootstrap({}, {}, {}, gvar, h2, 10, g, 2);
  EXPECT_TRUE(std::isnan(t.bias.variance));
  EXPECT_TRUE(std::isnan(t.bias.lower));
  EXPECT_TRUE(std::isnan(t.dispersion.upper));
  EXPECT_TRUE(std::isnan(t.reliability.variance));
  EXPECT_EQ(g.current(), rng().current());
}

TEST(bootstrap, one_animal_repeats_itself) {
  const std::vector<double> w = {1.0}, p = {1.5}, y = {3.0};
  rng g;
  const lr_intervals t = bootstrap(w, p, y, gvar, h2, 10, g, 2);
  EXPECT_EQ(t.bias.variance, 0.0);
  EXPECT_EQ(t.bias.lower, 0.5);
  EXPECT_EQ(t.bias.upper, 0.5);
  EXPECT_TRUE(std::isnan(t.dispersion.variance));
  EXPECT_TRUE(std::isnan(t.ratio_acc.lower));
  EXPECT_TRUE(std::isnan(t.pred_ability.upper));
  EXPECT_EQ(t.reliability.upper, 0.0);
  // Ten draws were used all the same.
  rng seq;
  for (int i = 0; i < 10; ++i) seq.uniform_draw();
  EXPECT_EQ(g.current(), seq.current());
}

TEST(bootstrap, predictive_ability_stays_not_computed_without_phenotypes) {
  const auto d = make_focal_data(30);
  rng g;
  const lr_intervals t = bootstrap(d.w, d.p, {}, gvar, h2, 10, g);
  EXPECT_TRUE(std::isnan(t.pred_ability.variance));
  EXPECT_TRUE(std::isnan(t.pred_ability.lower));
}

TEST(bootstrap, no_replicates_give_nan_and_draw_nothing) {
  const auto d = make_focal_data(30);
  rng g;
  const lr_intervals t = bootstrap(d.w, d.p, d.y, gvar, h2, 0, g);
  EXPECT_TRUE(std::isnan(t.bias.variance));
  EXPECT_TRUE(std::isnan(t.bias.lower));
  EXPECT_TRUE(std::isnan(t.bias.upper));
  EXPECT_EQ(g.current(), rng().current());
}

TEST(bootstrap, unequal_lengths_stop) {
  const std::vector<double> a = {1, 2, 3}, b = {1, 2};
  rng g;
  EXPECT_EQ(stop_message([&] { bootstrap(a, b, {}, gvar, h2, 5, g); }),
            "Dimension mismatch in b1(y,x)");
  EXPECT_EQ(stop_message([&] { bootstrap(a, a, b, gvar, h2, 5, g); }),
            "Dimension mismatch in cor(x,y)");
}

}  // namespace
}  // namespace ventrel::statistics
