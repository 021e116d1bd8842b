// The family bootstrap: whole clusters of focal animals resampled with replacement, parallel
// over replicates with the bootstrap's generator stream.
#include "statistics/cluster_bootstrap.hpp"

#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <string>
#include <unordered_map>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "statistics/analytical_se.hpp"
#include "statistics/lr_statistics.hpp"
#include "statistics/vector_stats.hpp"

namespace ventrel::statistics {
namespace {

struct replicate_arrays {
  std::vector<double> bias, dispersion, ratio_acc, reliability, pred_ability;
};

// Replicates [r_begin, r_end) from stream s standing at draw r_begin * C. Workspace wb, pb, yb
// grows to the largest replicate.
void run_replicates(std::span<const double> w, std::span<const double> p,
                    std::span<const double> y, double gvar_focal, double h2,
                    const focal_clusters& cl, std::int64_t r_begin, std::int64_t r_end,
                    lecuyer_stream s, replicate_arrays& out, progress* shown, std::int64_t nt) {
  const bool with_y = !y.empty();
  const std::int32_t c = cl.count();
  std::vector<double> wb, pb, yb;
  wb.reserve(w.size());
  pb.reserve(w.size());
  if (with_y) yb.reserve(w.size());
  for (std::int64_t r = r_begin; r < r_end; ++r) {
    if (shown && (r - r_begin) % 64 == 0) shown->update((r - r_begin) * nt);
    wb.clear();
    pb.clear();
    yb.clear();
    detail::lr_sums sums;
    for (std::int32_t draw = 0; draw < c; ++draw) {
      const std::int32_t k = s.random_integer(1, c) - 1;
      for (std::int64_t e = cl.start[k]; e < cl.start[k + 1]; ++e) {
        const auto i = static_cast<std::size_t>(cl.members[e]);
        wb.push_back(w[i]);
        pb.push_back(p[i]);
        sums.w += w[i];
        sums.p += p[i];
        sums.d += p[i] - w[i];
        if (with_y) {
          yb.push_back(y[i]);
          sums.y += y[i];
        }
      }
    }
    const lr_values v = detail::lr_from_sums(sums, wb, pb, yb, gvar_focal, h2);
    const auto j = static_cast<std::size_t>(r);
    out.bias[j] = v.bias;
    out.dispersion[j] = v.dispersion;
    out.ratio_acc[j] = v.ratio_acc;
    out.reliability[j] = v.reliability;
    if (with_y) out.pred_ability[j] = v.pred_ability;
  }
}

// Variance of the replicates (divisor nrepboot) times C / (C - 1), or the jackknife's when it
// is larger.
double corrected_variance(const std::vector<double>& x, int c, double jackknife) {
  const double boot = var(x) * static_cast<double>(c) / static_cast<double>(c - 1);
  return std::isfinite(jackknife) ? std::max(boot, jackknife) : boot;
}

// (C - 1) / C sum (t_c - mean t)^2.
double jackknife_of(const std::vector<double>& t) {
  const double c = static_cast<double>(t.size());
  double mean = 0.0;
  for (double e : t) mean += e / c;
  double ss = 0.0;
  for (double e : t) ss += (e - mean) * (e - mean);
  return (c - 1.0) / c * ss;
}

}  // namespace

int focal_clusters::largest() const {
  std::int64_t most = 0;
  for (std::size_t c = 0; c + 1 < start.size(); ++c) most = std::max(most, start[c + 1] - start[c]);
  return static_cast<int>(most);
}

focal_clusters clusters_from_labels(std::span<const std::int64_t> label) {
  std::map<std::int64_t, int> number;  // label -> cluster in order of first appearance
  std::vector<int> of(label.size());
  for (std::size_t i = 0; i < label.size(); ++i)
    of[i] = number.emplace(label[i], static_cast<int>(number.size())).first->second;
  focal_clusters cl;
  cl.start.assign(number.size() + 1, 0);
  for (int c : of) ++cl.start[static_cast<std::size_t>(c) + 1];
  for (std::size_t c = 1; c < cl.start.size(); ++c) cl.start[c] += cl.start[c - 1];
  std::vector<std::int64_t> next(cl.start.begin(), cl.start.end() - 1);
  cl.members.resize(label.size());
  for (std::size_t i = 0; i < label.size(); ++i)
    cl.members[static_cast<std::size_t>(next[static_cast<std::size_t>(of[i])]++)] =
        static_cast<int>(i);
  return cl;
}

std::vector<std::int64_t> read_cluster_labels(const std::string& path, std::span<const int> focal) {
  std::unordered_map<std::int64_t, std::vector<int>> where;  // level -> positions in the set
  for (std::size_t i = 0; i < focal.size(); ++i) where[focal[i]].push_back(static_cast<int>(i));
  std::vector<std::int64_t> label(focal.size(), -1);
  std::vector<std::int64_t> given_on(focal.size(), 0);
  std::unordered_map<std::string, std::int64_t> number;  // cluster word -> label
  line_reader r(path);
  std::string_view line;
  std::array<std::string_view, 2> f;
  while (r.next(line)) {
    const std::size_t n = split_fields(line, f);
    if (n == 0) continue;
    std::int64_t level = 0;
    if (n < 2 || !parse_int(f[0], level))
      fatal({"Expected a level and a cluster, read: " + excerpt(line), at_line(path, r.line_number())});
    const auto it = where.find(level);
    if (it == where.end()) continue;
    const std::int64_t c =
        number.emplace(std::string(f[1]), static_cast<std::int64_t>(number.size())).first->second;
    for (int i : it->second) {
      if (given_on[static_cast<std::size_t>(i)] != 0)
        fatal("Focal animal " + num(level) + " is given twice: " +
              at_line(path, given_on[static_cast<std::size_t>(i)]) + " and line " +
              num(r.line_number()));
      label[static_cast<std::size_t>(i)] = c;
      given_on[static_cast<std::size_t>(i)] = r.line_number();
    }
  }
  for (std::size_t i = 0; i < focal.size(); ++i)
    if (given_on[i] == 0)
      fatal({"Focal animal " + num(focal[i]) + " has no cluster in " + path,
             "Every focal animal needs a line: level cluster"});
  return label;
}

lr_values jackknife_variances(std::span<const double> w, std::span<const double> p,
                              std::span<const double> y, double gvar_focal, double h2,
                              const focal_clusters& clusters) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  lr_values out{nan, nan, nan, nan, nan};
  const int c = clusters.count();
  const bool with_y = !y.empty();
  if (c < 2) return out;
  const std::size_t m = p.size();
  double mw = 0.0, mp = 0.0, my = 0.0;
  for (std::size_t i = 0; i < m; ++i) {
    mw += w[i];
    mp += p[i];
    if (with_y) my += y[i];
  }
  const double dm = static_cast<double>(m);
  mw /= dm;
  mp /= dm;
  my /= dm;
  // Sums of the centred data over all animals and over each cluster.
  struct sums {
    double n = 0, p = 0, w = 0, y = 0, pp = 0, ww = 0, pw = 0, yy = 0, yp = 0;
  };
  std::vector<sums> of(static_cast<std::size_t>(c));
  sums all;
  for (int k = 0; k < c; ++k) {
    sums& s = of[static_cast<std::size_t>(k)];
    for (std::int64_t e = clusters.start[k]; e < clusters.start[k + 1]; ++e) {
      const auto i = static_cast<std::size_t>(clusters.members[static_cast<std::size_t>(e)]);
      const double cp = p[i] - mp, cw = w[i] - mw, cy = with_y ? y[i] - my : 0.0;
      s.n += 1;
      s.p += cp;
      s.w += cw;
      s.y += cy;
      s.pp += cp * cp;
      s.ww += cw * cw;
      s.pw += cp * cw;
      s.yy += cy * cy;
      s.yp += cy * cp;
    }
    all.n += s.n, all.p += s.p, all.w += s.w, all.y += s.y, all.pp += s.pp, all.ww += s.ww;
    all.pw += s.pw, all.yy += s.yy, all.yp += s.yp;
  }
  std::vector<double> bias, disp, ratio, rel, pa;
  for (const sums& s : of) {
    const double n = all.n - s.n;
    const double sp = all.p - s.p, sw = all.w - s.w, sy = all.y - s.y;
    const double spp = (all.pp - s.pp) - sp * sp / n;
    const double sww = (all.ww - s.ww) - sw * sw / n;
    const double spw = (all.pw - s.pw) - sp * sw / n;
    bias.push_back((mp - mw) + (sp - sw) / n);
    disp.push_back(spw / spp);
    ratio.push_back(spw / std::sqrt(spp * sww));
    rel.push_back(spw / n / gvar_focal);
    if (with_y) {
      const double syy = (all.yy - s.yy) - sy * sy / n;
      const double syp = (all.yp - s.yp) - sy * sp / n;
      pa.push_back(syp / std::sqrt(syy * spp) / std::sqrt(h2));
    }
  }
  out.bias = jackknife_of(bias);
  out.dispersion = jackknife_of(disp);
  out.ratio_acc = jackknife_of(ratio);
  out.reliability = jackknife_of(rel);
  if (with_y) out.pred_ability = jackknife_of(pa);
  return out;
}

namespace {

// P(|T| < t) for Student's t with df degrees of freedom (Abramowitz and Stegun 26.7.3-4, the
// finite series in cos(theta), theta = atan(t / sqrt(df))).
double t_central_probability(double t, int df) {
  const double theta = std::atan(t / std::sqrt(static_cast<double>(df)));
  const double c2 = std::cos(theta) * std::cos(theta);
  double sum = 1.0, term = 1.0;
  if (df % 2 == 1) {
    if (df == 1) return 2.0 * theta / std::numbers::pi;
    for (int k = 2; k <= df - 3; k += 2) sum += (term *= c2 * k / (k + 1.0));
    return 2.0 / std::numbers::pi * (theta + std::sin(theta) * std::cos(theta) * sum);
  }
  for (int k = 1; k <= df - 3; k += 2) sum += (term *= c2 * k / (k + 1.0));
  return std::sin(theta) * sum;
}

}  // namespace

double t_quantile_975(int df) {
  if (df < 1) return std::numeric_limits<double>::quiet_NaN();
  const double z = z975;
  if (df > 30) {
    // Cornish-Fisher expansion in 1/df (Abramowitz and Stegun 26.7.5), error below 1e-7 here.
    const double n = df, z2 = z * z;
    return z + z * (z2 + 1) / (4 * n) + z * ((5 * z2 + 16) * z2 + 3) / (96 * n * n) +
           z * (((3 * z2 + 19) * z2 + 17) * z2 - 15) / (384 * n * n * n) +
           z * ((((79 * z2 + 776) * z2 + 1482) * z2 - 1920) * z2 - 945) / (92160 * n * n * n * n);
  }
  double lo = z, hi = 20.0;  // the point lies between the normal one and t(1) = 12.71
  for (int i = 0; i < 100; ++i) {
    const double mid = 0.5 * (lo + hi);
    (t_central_probability(mid, df) < 0.95 ? lo : hi) = mid;
  }
  return 0.5 * (lo + hi);
}

lr_intervals cluster_bootstrap(std::span<const double> w, std::span<const double> p,
                               std::span<const double> y, double gvar_focal, double h2,
                               const focal_clusters& clusters, std::int32_t nrepboot,
                               rng& generator, int nthreads) {
  if (w.size() != p.size()) fatal(std::string("Dimension mismatch in b1(y,x)"));
  if (!y.empty() && y.size() != p.size()) fatal(std::string("Dimension mismatch in cor(x,y)"));
  if (clusters.members.size() != p.size())
    fatal("Bootstrap over clusters: " + std::to_string(clusters.members.size()) +
          " animals in the clusters, " + std::to_string(p.size()) + " expected");
  const bool with_y = !y.empty();
  const std::int64_t reps = std::max<std::int64_t>(nrepboot, 0);
  const auto ureps = static_cast<std::size_t>(reps);
  const int c = clusters.count();

  replicate_arrays boot;
  boot.bias.resize(ureps);
  boot.dispersion.resize(ureps);
  boot.ratio_acc.resize(ureps);
  boot.reliability.resize(ureps);
  if (with_y) boot.pred_ability.resize(ureps);

  int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  threads = static_cast<int>(std::clamp<std::int64_t>(reps, 1, std::max(threads, 1)));
  const lecuyer_stream start = generator.current();
  progress shown("bootstrap", reps);
#pragma omp parallel num_threads(threads)
  {
    const auto t = static_cast<std::int64_t>(omp_get_thread_num());
    const auto nt = static_cast<std::int64_t>(omp_get_num_threads());
    const std::int64_t r_begin = reps * t / nt;
    const std::int64_t r_end = reps * (t + 1) / nt;
    lecuyer_stream s = start;
    s.skip(static_cast<std::uint64_t>(r_begin) * static_cast<std::uint64_t>(c));
    run_replicates(w, p, y, gvar_focal, h2, clusters, r_begin, r_end, s, boot,
                   t == 0 ? &shown : nullptr, nt);
  }
  shown.finish();
  generator.current().skip(static_cast<std::uint64_t>(reps) * static_cast<std::uint64_t>(c));

  const lr_values v = compute_lr(w, p, y, gvar_focal, h2);
  const lr_values jk = jackknife_variances(w, p, y, gvar_focal, h2, clusters);
  const double q = t_quantile_975(c - 1);
  lr_intervals out;
  out.bias = normal_interval(v.bias, corrected_variance(boot.bias, c, jk.bias), q);
  out.dispersion = normal_interval(v.dispersion, corrected_variance(boot.dispersion, c, jk.dispersion), q);
  out.ratio_acc = fisher_z_interval(v.ratio_acc, corrected_variance(boot.ratio_acc, c, jk.ratio_acc), q);
  out.reliability =
      squared_correlation_interval(v.reliability, corrected_variance(boot.reliability, c, jk.reliability), q);
  if (with_y) {
    // Fisher's z on cor(y, p) = pred_ability sqrt(h2), limits divided by sqrt(h2) again.
    const double sh = std::sqrt(h2);
    const double vp = corrected_variance(boot.pred_ability, c, jk.pred_ability);
    const interval z = fisher_z_interval(v.pred_ability * sh, vp * h2, q);
    out.pred_ability = {vp, z.lower / sh, z.upper / sh};
  }
  return out;
}

}  // namespace ventrel::statistics
