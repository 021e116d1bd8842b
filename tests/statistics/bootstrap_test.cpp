// Bootstrap: bit-identical tables for any thread count and for a plain sequential loop, the
// stream continued across calls, and the positions of the limits.
#include "statistics/bootstrap.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "statistics/lr_statistics.hpp"
#include "statistics/vector_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::focal_data;

constexpr double gvar = 0.8;
constexpr double h2 = 0.3;

// The replicate values of the five statistics, in replicate order.
using replicates = std::array<std::vector<double>, 5>;

// The plain sequential bootstrap: one draw per resampled animal from the generator's own
// random_integer (Schrage's step) picks a whole row, compute_lr on the resampled vectors.
replicates sequential_replicates(const focal_data& d, bool with_y, int nrep, rng& g) {
  const std::size_t n = d.p.size();
  focal_data b{std::vector<double>(n), std::vector<double>(n), std::vector<double>(n)};
  replicates out;
  for (int r = 0; r < nrep; ++r) {
    for (std::size_t i = 0; i < n; ++i) {
      const auto k = static_cast<std::size_t>(g.random_integer(1, static_cast<int>(n)) - 1);
      b.w[i] = d.w[k];
      b.p[i] = d.p[k];
      b.y[i] = d.y[k];
    }
    const lr_values v = compute_lr(b.w, b.p, with_y ? b.y : std::vector<double>{}, gvar, h2);
    const double x[] = {v.bias, v.dispersion, v.ratio_acc, v.reliability, v.pred_ability};
    for (std::size_t k = 0; k < 5; ++k) out[k].push_back(x[k]);
  }
  return out;
}

TEST(bootstrap, any_thread_count_gives_the_sequential_tables_and_end_state) {
  // One stream across the rows, as across the traits and focal sets of a run. The limits are at
  // 1-based positions nint((nrep - 1) q) + 1 once positions 2 .. nrep are sorted; without
  // phenotypes the sequential pred_ability replicates are NaN, and so is its row. No array
  // mixes NaN with numbers (std::sort needs an order).
  struct row {
    int n;
    bool with_y;
    int nrep;
    std::size_t lower, upper;  // 0: none
  };
  const std::vector<row> rows = {
      {123, true, 7, 1, 7},  {123, false, 200, 6, 195}, {25, true, 1, 1, 1},
      {25, true, 20, 1, 20}, {25, true, 21, 2, 21},     {25, true, 10000, 251, 9750},
      {57, true, 0, 0, 0},   {1, true, 10, 1, 10},      {0, true, 10, 1, 10}};
  rng seq;
  for (const row& r : rows) {
    SCOPED_TRACE("n " + std::to_string(r.n) + ", nrep " + std::to_string(r.nrep));
    const focal_data d = testing::make_focal_data(r.n, 7 + r.n);
    const rng start = seq;
    replicates expected = sequential_replicates(d, r.with_y, r.nrep, seq);
    for (std::vector<double>& x : expected) {
      if (x.size() > 1) std::sort(x.begin() + 1, x.end());  // the first replicate stays first
      const double nan = std::nan("");
      x = {var(x), r.lower ? x[r.lower - 1] : nan, r.upper ? x[r.upper - 1] : nan};
    }
    for (const int threads : {1, 2, 3}) {
      rng g = start;
      const lr_intervals t =
          bootstrap(d.w, d.p, r.with_y ? d.y : std::vector<double>{}, gvar, h2, r.nrep, g, threads);
      const interval* got[] = {&t.bias, &t.dispersion, &t.ratio_acc, &t.reliability,
                               &t.pred_ability};
      for (std::size_t k = 0; k < 5; ++k)
        EXPECT_TRUE(
            testing::same_values({got[k]->variance, got[k]->lower, got[k]->upper}, expected[k]))
            << "statistic " << k << ", threads " << threads;
      EXPECT_EQ(g.current(), seq.current()) << "generator left elsewhere, threads " << threads;
    }
  }
}

}  // namespace
}  // namespace ventrel::statistics
