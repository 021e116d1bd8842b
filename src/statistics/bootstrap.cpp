// Bootstrap standard errors of the LR statistics, parallel over replicates.
#include "statistics/bootstrap.hpp"

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "statistics/lr_statistics.hpp"
#include "statistics/quicksort.hpp"
#include "statistics/vector_stats.hpp"

namespace ventrel::statistics {
namespace {

// Sorts the replicate values as the bootstrap does and summarises them.
interval summarise(std::vector<double>& replicates) {
  quicksort(replicates);
  interval out;
  out.variance = var(replicates);
  out.lower = percentile(replicates, lower_fraction);
  out.upper = percentile(replicates, upper_fraction);
  return out;
}

// Replicate values of every statistic, one array each, indexed by replicate.
struct replicate_arrays {
  std::vector<double> bias, dispersion, ratio_acc, reliability, pred_ability;
};

// Replicates [r_begin, r_end), drawing from stream s, which stands at draw r_begin*n.
// rows: the focal rows side by side, stride values each (w, p and, with phenotypes, y).
// Workspace wb, pb, yb of length n (yb unused without phenotypes). shown: the progress line, given
// to the first of nt threads (whose share of the replicates stands for all of them), else null.
// Pass 1 (the draws) gathers the resampled rows and their plain sums in index order; pass 2 is
// the centred-sum kernel that compute_lr uses, so a replicate's values are those compute_lr
// gives for the resampled vectors.
template <bool with_y>
void run_replicates(const double* rows, std::int32_t n, double gvar_focal, double h2,
                    std::int64_t r_begin, std::int64_t r_end, lecuyer_stream s, double* wb,
                    double* pb, double* yb, replicate_arrays& out, progress* shown, std::int64_t nt) {
  constexpr std::size_t stride = with_y ? 4 : 2;
  const auto un = static_cast<std::size_t>(n);
  for (std::int64_t r = r_begin; r < r_end; ++r) {
    if (shown && (r - r_begin) % 64 == 0) shown->update((r - r_begin) * nt);
    // Plain locals (not a struct) keep the four sums in registers.
    double sum_w = 0.0, sum_p = 0.0, sum_y = 0.0, sum_d = 0.0;
    for (std::size_t i = 0; i < un; ++i) {
      const float u = lecuyer_stream::uniform_from_z(s.next_z_folded());
      const auto k = static_cast<std::size_t>(lecuyer_stream::integer_from_uniform(u, 1, n) - 1);
      const double* row = rows + k * stride;
      const double wk = row[0], pk = row[1];
      wb[i] = wk;
      pb[i] = pk;
      sum_w += wk;
      sum_p += pk;
      sum_d += pk - wk;
      if constexpr (with_y) {
        const double yk = row[2];
        yb[i] = yk;
        sum_y += yk;
      }
    }
    const detail::lr_sums sums{sum_w, sum_p, sum_y, sum_d};
    const std::span<const double> ybs = with_y ? std::span<const double>(yb, un)
                                               : std::span<const double>();
    const lr_values v = detail::lr_from_sums(sums, std::span<const double>(wb, un),
                                             std::span<const double>(pb, un), ybs, gvar_focal, h2);
    const auto j = static_cast<std::size_t>(r);
    out.bias[j] = v.bias;
    out.dispersion[j] = v.dispersion;
    out.ratio_acc[j] = v.ratio_acc;
    out.reliability[j] = v.reliability;
    if constexpr (with_y) out.pred_ability[j] = v.pred_ability;
  }
}

}  // namespace

lr_intervals bootstrap(std::span<const double> w, std::span<const double> p,
                       std::span<const double> y, double gvar_focal, double h2,
                       std::int32_t nrepboot, rng& generator, int nthreads) {
  if (w.size() != p.size()) fatal(std::string("Dimension mismatch in b1(y,x)"));
  if (!y.empty() && y.size() != p.size()) fatal(std::string("Dimension mismatch in cor(x,y)"));
  const std::size_t n = p.size();
  const bool with_y = !y.empty();
  const std::int64_t reps = std::max<std::int64_t>(nrepboot, 0);
  const auto ureps = static_cast<std::size_t>(reps);

  replicate_arrays boot;
  boot.bias.resize(ureps);
  boot.dispersion.resize(ureps);
  boot.ratio_acc.resize(ureps);
  boot.reliability.resize(ureps);
  if (with_y) boot.pred_ability.resize(ureps);

  // The focal rows side by side (w, p, y and a pad, or w, p), aligned so that one draw reads
  // one cache line.
  const std::size_t stride = with_y ? 4 : 2;
  std::vector<double> rows_store(n * stride + stride);
  double* rows = rows_store.data();
  while (reinterpret_cast<std::uintptr_t>(rows) % (stride * sizeof(double)) != 0) ++rows;
  for (std::size_t i = 0; i < n; ++i) {
    rows[i * stride] = w[i];
    rows[i * stride + 1] = p[i];
    if (with_y) rows[i * stride + 2] = y[i];
  }

  // Per-thread workspace, allocated before the parallel region.
  int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  threads = static_cast<int>(std::clamp<std::int64_t>(reps, 1, std::max(threads, 1)));
  const auto uthreads = static_cast<std::size_t>(threads);
  std::vector<double> wb_all(uthreads * n), pb_all(uthreads * n);
  std::vector<double> yb_all(with_y ? uthreads * n : 0);

  const lecuyer_stream start = generator.current();
  progress shown("bootstrap", reps);
  const auto n32 = static_cast<std::int32_t>(n);
#pragma omp parallel num_threads(threads)
  {
    // Contiguous blocks of replicates: the split depends on the thread count, the draws of a
    // replicate do not.
    const auto t = static_cast<std::int64_t>(omp_get_thread_num());
    const auto nt = static_cast<std::int64_t>(omp_get_num_threads());
    const std::int64_t r_begin = reps * t / nt;
    const std::int64_t r_end = reps * (t + 1) / nt;
    const std::size_t offset = static_cast<std::size_t>(t) * n;
    lecuyer_stream s = start;
    s.skip(static_cast<std::uint64_t>(r_begin) * n);
    progress* mine = t == 0 ? &shown : nullptr;
    if (with_y) {
      run_replicates<true>(rows, n32, gvar_focal, h2, r_begin, r_end, s, wb_all.data() + offset,
                           pb_all.data() + offset, yb_all.data() + offset, boot, mine, nt);
    } else {
      run_replicates<false>(rows, n32, gvar_focal, h2, r_begin, r_end, s,
                            wb_all.data() + offset, pb_all.data() + offset, nullptr, boot, mine, nt);
    }
  }
  shown.finish();
  generator.current().skip(static_cast<std::uint64_t>(reps) * n);

  lr_intervals out;
  out.bias = summarise(boot.bias);
  out.dispersion = summarise(boot.dispersion);
  out.ratio_acc = summarise(boot.ratio_acc);
  out.reliability = summarise(boot.reliability);
  if (with_y) out.pred_ability = summarise(boot.pred_ability);
  return out;
}

}  // namespace ventrel::statistics
