// Analytical standard errors: the trace scalars against explicit dense J V J products, the
// variances against Monte Carlo draws from the model, the limits and the warnings.
#include "statistics/analytical_se.hpp"

#include <cblas.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::lines;
using testing::normals;

// ---- dense model -------------------------------------------------------------------------------

using matrix = std::vector<double>;  // m x m, column-major

template <class M>
auto& at(M& a, int m, int i, int j) {
  return a[i + static_cast<std::size_t>(j) * m];
}

// alpha a b (a m x k, b k x m), or alpha a b' (b m x k).
matrix product(const matrix& a, const matrix& b, int m, int k, bool b_transposed, double alpha) {
  matrix c(static_cast<std::size_t>(m) * m);
  cblas_dgemm(CblasColMajor, CblasNoTrans, b_transposed ? CblasTrans : CblasNoTrans, m, m, k, alpha,
              a.data(), m, b.data(), b_transposed ? m : k, 0.0, c.data(), m);
  return c;
}

matrix jvj(const matrix& v, int m) {
  matrix j(static_cast<std::size_t>(m) * m, -1.0 / m);
  for (int i = 0; i < m; ++i) at(j, m, i, i) += 1.0;
  return product(product(j, v, m, m, false, 1.0), j, m, m, false, 1.0);
}

matrix combine(double fa, const matrix& a, double fb, const matrix& b) {
  matrix c(a.size());
  for (std::size_t e = 0; e < c.size(); ++e) c[e] = fa * a[e] + fb * b[e];
  return c;
}

// The pairs (i, j) of c with (7 i + j) % every == 0 (every 0: none), in either order and
// shuffled as files may give them, and the full matrix they stand for (pairs not stored are 0).
struct stored_pairs {
  pec_matrix stored;
  matrix dense;
};

stored_pairs keep_pairs(const matrix& c, int m, int every, std::mt19937_64& rng) {
  stored_pairs s{{}, c};
  std::vector<pec_pair> pairs;
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < i; ++j) {
      if (every > 0 && (7 * i + j) % every == 0)
        pairs.push_back((i + j) % 2 ? pec_pair{i, j, c[i + j * m], 0}
                                    : pec_pair{j, i, c[i + j * m], 0});
      else
        at(s.dense, m, i, j) = at(s.dense, m, j, i) = 0.0;
    }
  std::shuffle(pairs.begin(), pairs.end(), rng);
  s.stored = make_pec_matrix(m, pairs);
  return s;
}

// A model with known covariances for m focal animals: additive variance s2, relationships A,
// Var(p) = Cov(w, p) = Vp, D = Vw - Vp, prediction error covariances Cp = s2 A - Vp and
// Cw = Cp - D, phenotypes with Vy = s2 A + (s2/h2 - s2) I.
struct model_case {
  int m = 0;
  double s2 = 2.0, h2 = 0.3, gvar = 1.8;
  matrix a, a_lower;  // A, and A with NaN above the diagonal: the code reads the lower triangle
  matrix sa, vp, d, vw, vy, cp, cw;  // sa = s2 A
  std::vector<double> pev_w, pev_p;
  stored_pairs all_w, all_p;             // every pair of Cw and of Cp
  std::vector<double> diag_a, r_w, r_p;  // unrelated animals only: se approx's accuracies
};

// Related (se exact): families of five full sibs, every seventh family by the same sire, some
// inbreeding; Vp = s2 (0.35 A + B), D = s2 (0.25 A + C + random diagonal), B and C small random
// Gram matrices. Unrelated (se approx): a_ii = 1 + F_i, Vp = s2 a_ii r_p^2, Vw = s2 a_ii r_w^2.
model_case make_case(int m, unsigned seed, bool unrelated = false) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> u(0.2, 0.8);
  model_case c;
  c.m = m;
  c.a = c.vp = c.d = matrix(static_cast<std::size_t>(m) * m, 0.0);
  if (unrelated) {
    for (int i = 0; i < m; ++i) {
      c.diag_a.push_back(at(c.a, m, i, i) = 1.0 + 0.1 * (i % 3));
      c.r_p.push_back(u(rng));
      c.r_w.push_back(c.r_p[i] + (1.0 - c.r_p[i]) * u(rng));
      at(c.vp, m, i, i) = c.s2 * c.diag_a[i] * c.r_p[i] * c.r_p[i];
      at(c.d, m, i, i) = c.s2 * c.diag_a[i] * c.r_w[i] * c.r_w[i] - at(c.vp, m, i, i);
    }
  } else {
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < m; ++i)
        at(c.a, m, i, j) = 0.25 * ((i / 5) % 7 == (j / 5) % 7) + 0.25 * (i / 5 == j / 5) +
                           (i == j) * (0.5 + 0.2 * u(rng) - 0.04);
    const matrix z3 = normals(3 * m, rng), z2 = normals(2 * m, rng);
    c.vp = combine(0.35 * c.s2, c.a, c.s2, product(z3, z3, m, 3, true, 1.0 / m));
    c.d = combine(0.25 * c.s2, c.a, c.s2, product(z2, z2, m, 2, true, 1.0 / m));
    for (int i = 0; i < m; ++i) at(c.d, m, i, i) += c.s2 * 0.1 * u(rng);
  }
  c.a_lower = c.a;
  for (int j = 1; j < m; ++j)
    for (int i = 0; i < j; ++i) at(c.a_lower, m, i, j) = std::nan("");
  c.sa = combine(c.s2, c.a, 0.0, c.a);
  c.vw = combine(1.0, c.vp, 1.0, c.d);
  c.vy = c.sa;
  for (int i = 0; i < m; ++i) at(c.vy, m, i, i) += c.s2 / c.h2 - c.s2;
  c.cp = combine(1.0, c.sa, -1.0, c.vp);
  c.cw = combine(1.0, c.cp, -1.0, c.d);
  for (int i = 0; i < m; ++i) {
    c.pev_w.push_back(at(c.cw, m, i, i));
    c.pev_p.push_back(at(c.cp, m, i, i));
  }
  c.all_w = keep_pairs(c.cw, m, 1, rng);
  c.all_p = keep_pairs(c.cp, m, 1, rng);
  return c;
}

// The trace scalars formed densely: P = J Vp J, W = J Vw J, Y = J Vy J (vy empty: none),
// D = Vw - Vp, x = J p.
std::vector<double> dense_traces(const matrix& vp, const matrix& vw, const matrix& vy,
                                 const std::vector<double>& p, int m) {
  const matrix pm = jvj(vp, m), wm = jvj(vw, m), ym = vy.empty() ? pm : jvj(vy, m);
  auto dot = [](const matrix& a, const matrix& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
  };
  const double has_y = vy.empty() ? 0.0 : 1.0;
  double trace = 0.0;
  for (int i = 0; i < m; ++i) trace += at(pm, m, i, i);
  std::vector<double> t = {dot(pm, pm),         dot(pm, wm), dot(wm, wm), has_y * dot(pm, ym),
                           has_y * dot(ym, ym), 0.0,         0.0,         trace};
  const double mean = static_cast<double>(reference::ref_mean(p));
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) {
      t[5] += at(vw, m, i, j) - at(vp, m, i, j);
      t[6] += (p[i] - mean) * (p[j] - mean) * (at(vw, m, i, j) - at(vp, m, i, j));
    }
  return t;
}

std::vector<double> fields(const trace_scalars& t) {
  return {t.t_pp, t.t_pw, t.t_ww, t.t_py, t.t_yy, t.d_sum, t.x_d_x, t.trace_p};
}

void expect_traces_near(const std::vector<double>& got, const std::vector<double>& want) {
  for (std::size_t k = 0; k < want.size(); ++k)
    EXPECT_NEAR(got[k], want[k], 1e-10 * std::max(1.0, std::fabs(want[k]))) << k;
}

// ---- draws from the model ----------------------------------------------------------------------

using draws = testing::focal_data;

// Unrelated animals: p ~ N(0, Vp), w = p + N(0, D) + 3, y = p + N(0, Vy - Vp) - 1 (the means
// matter to the bias).
draws draw(const model_case& c, std::mt19937_64& rng) {
  const int m = c.m;
  const std::vector<double> z1 = normals(m, rng), z2 = normals(m, rng), z3 = normals(m, rng);
  draws z;
  for (int i = 0; i < m; ++i) {
    z.p.push_back(std::sqrt(at(c.vp, m, i, i)) * z1[i]);
    z.w.push_back(z.p[i] + std::sqrt(at(c.d, m, i, i)) * z2[i] + 3.0);
    z.y.push_back(z.p[i] + std::sqrt(at(c.vy, m, i, i) - at(c.vp, m, i, i)) * z3[i] - 1.0);
  }
  return z;
}

se_trait_input input_of(const model_case& c, const draws& z, bool with_y) {
  return {1, z.w, z.p, with_y ? z.y : std::span<const double>(), c.s2, c.gvar, c.h2};
}

// Sample mean and variance (divisor N - 1) with the standard error of the variance.
struct sample {
  double mean = 0, var = 0, se_var = 0;
};

sample summarize(const std::vector<double>& v) {
  const double n = static_cast<double>(v.size());
  sample s;
  for (double e : v) s.mean += e / n;
  double m4 = 0;
  for (double e : v) {
    s.var += (e - s.mean) * (e - s.mean) / (n - 1);
    m4 += std::pow(e - s.mean, 4) / n;
  }
  s.se_var = std::sqrt(std::max(m4 - s.var * s.var, 0.0) / n);
  return s;
}

// ---- trace scalars -----------------------------------------------------------------------------

TEST(analytical_se, exact_traces_match_dense_products_for_any_thread_count) {
  const model_case c = make_case(120, 1);
  const int m = c.m;
  std::mt19937_64 rng(5);
  const draws z{normals(m, rng), normals(m, rng), normals(m, rng)};
  const stored_pairs third_p = keep_pairs(c.cp, m, 3, rng);
  const matrix pev_w = keep_pairs(c.cw, m, 0, rng).dense;  // the diagonals only
  const matrix pev_p = keep_pairs(c.cp, m, 0, rng).dense;
  // Without covariances D off the diagonal is s2 a_ij (r_w,i r_w,j - r_p,i r_p,j) with
  // r_i^2 = 1 - PEV_i / (a_ii s2) clamped to [0, 1]: Cw_ij = -D_ij and Cp_ij = 0.
  matrix acc_w = pev_w;
  auto r = [&](const std::vector<double>& pev, int i) {
    return std::sqrt(std::clamp(1.0 - pev[i] / at(c.sa, m, i, i), 0.0, 1.0));
  };
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i)
      if (i != j)
        at(acc_w, m, i, j) =
            -at(c.sa, m, i, j) * (r(c.pev_w, i) * r(c.pev_w, j) - r(c.pev_p, i) * r(c.pev_p, j));
  struct row {
    const pec_matrix *pec_w, *pec_p;  // what the code is given
    const matrix &cw, &cp;            // the prediction error covariances they stand for
    bool with_y;
  };
  for (const row& w : {row{&c.all_w.stored, &c.all_p.stored, c.cw, c.cp, true},
                       row{nullptr, &third_p.stored, pev_w, third_p.dense, true},
                       row{&c.all_w.stored, nullptr, c.cw, pev_p, true},
                       row{nullptr, nullptr, acc_w, pev_p, false}}) {
    SCOPED_TRACE(std::to_string(!!w.pec_w) + std::to_string(!!w.pec_p));
    const se_trait_input in = input_of(c, z, w.with_y);
    const se_exact_model model{c.a_lower, c.pev_w, c.pev_p, w.pec_w, w.pec_p};
    auto traces = [&] { return fields(exact_trace_scalars(in, model)); };
    const std::vector<double> one = test_support::with_threads(1, traces);
    EXPECT_EQ(one, test_support::with_threads(3, traces));
    expect_traces_near(one,
                       dense_traces(combine(1.0, c.sa, -1.0, w.cp), combine(1.0, c.sa, -1.0, w.cw),
                                    w.with_y ? c.vy : matrix{}, z.p, m));
  }
}

TEST(analytical_se, approx_traces_match_dense_products_of_diagonal_matrices) {
  const model_case c = make_case(23, 8, true);
  std::mt19937_64 rng(9);
  const draws z{normals(c.m, rng), normals(c.m, rng), normals(c.m, rng)};
  expect_traces_near(fields(approx_trace_scalars(input_of(c, z, true), {c.diag_a, c.r_w, c.r_p})),
                     dense_traces(c.vp, c.vw, c.vy, z.p, c.m));
}

// Scaling the model to the observed spread of the partial EBVs: the traces of k Vp,
// k Vp + D and k Vp + (Vy - Vp) formed densely.
TEST(analytical_se, scaled_traces_match_dense_products_of_the_scaled_model) {
  const model_case c = make_case(30, 17);
  std::mt19937_64 rng(18);
  const draws z{normals(c.m, rng), normals(c.m, rng), normals(c.m, rng)};
  const std::vector<double> t = fields(exact_trace_scalars(
      input_of(c, z, true), {c.a_lower, c.pev_w, c.pev_p, &c.all_w.stored, &c.all_p.stored}));
  for (double k : {0.2, 1.0, 1.7}) {
    const matrix vp = combine(k, c.vp, 0.0, c.vp);
    trace_scalars in;
    in.t_pp = t[0], in.t_pw = t[1], in.t_ww = t[2], in.t_py = t[3], in.t_yy = t[4];
    in.d_sum = t[5], in.x_d_x = t[6], in.trace_p = t[7];
    expect_traces_near(fields(scaled_traces(in, k)),
                       dense_traces(vp, combine(1.0, vp, 1.0, c.d),
                                    combine(1.0, vp, 1.0, combine(1.0, c.vy, -1.0, c.vp)), z.p, c.m));
  }
}

// Eleven families of 1 to 6 animals (animal i in family (i / 3) % 11), the first animal a family
// of its own: 12, enough for se exact to scale them apart; and the projection Pf on the family
// means.
std::vector<int> sire_families_of(int m) {
  std::vector<int> f(static_cast<std::size_t>(m));
  for (int i = 0; i < m; ++i) f[i] = i == 0 ? 11 : (i / 3) % 11;
  return f;
}

matrix family_projection(const std::vector<int>& family, int m) {
  std::vector<double> n(12, 0.0);
  for (int f : family) n[f] += 1.0;
  matrix pf(static_cast<std::size_t>(m) * m, 0.0);
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i)
      if (family[i] == family[j]) at(pf, m, i, j) = 1.0 / n[family[i]];
  return pf;
}

// Scaling the between- and within-family parts apart: the traces of S P S, S P S + J D J and
// S P S + J (Vy - Vp) J with S = sqrt(kb) Pf + sqrt(kw) (I - Pf) formed densely, with all, some
// and no covariances stored; and the observed and expected between-family spreads.
TEST(analytical_se, family_scaled_traces_match_dense_products_of_the_scaled_model) {
  const model_case c = make_case(45, 31);
  const int m = c.m;
  std::mt19937_64 rng(32);
  const draws z{normals(m, rng), normals(m, rng), normals(m, rng)};
  const std::vector<int> family = sire_families_of(m);
  const matrix pf = family_projection(family, m);
  matrix id(static_cast<std::size_t>(m) * m, 0.0);
  for (int i = 0; i < m; ++i) at(id, m, i, i) = 1.0;
  const stored_pairs third_p = keep_pairs(c.cp, m, 3, rng);
  const matrix pev_w = keep_pairs(c.cw, m, 0, rng).dense;
  const matrix pev_p = keep_pairs(c.cp, m, 0, rng).dense;
  matrix acc_w = pev_w;  // without covariances: Cw_ij = -D_ij from the accuracies, Cp_ij = 0
  auto r = [&](const std::vector<double>& pev, int i) {
    return std::sqrt(std::clamp(1.0 - pev[i] / at(c.sa, m, i, i), 0.0, 1.0));
  };
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i)
      if (i != j)
        at(acc_w, m, i, j) =
            -at(c.sa, m, i, j) * (r(c.pev_w, i) * r(c.pev_w, j) - r(c.pev_p, i) * r(c.pev_p, j));
  struct row {
    const pec_matrix *pec_w, *pec_p;
    const matrix &cw, &cp;
    bool with_y;
  };
  for (const row& w : {row{&c.all_w.stored, &c.all_p.stored, c.cw, c.cp, true},
                       row{nullptr, &third_p.stored, pev_w, third_p.dense, false},
                       row{nullptr, nullptr, acc_w, pev_p, true}}) {
    SCOPED_TRACE(std::to_string(!!w.pec_w) + std::to_string(!!w.pec_p));
    const se_trait_input in = input_of(c, z, w.with_y);
    const se_exact_model model{c.a_lower, c.pev_w, c.pev_p, w.pec_w, w.pec_p, family};
    const trace_scalars t = exact_trace_scalars(in, model);
    const family_traces f = exact_family_traces(in, model, linalg::dense_symmetric_columns(c.a_lower, m));
    EXPECT_EQ(f.families, 12);
    const matrix vp = combine(1.0, c.sa, -1.0, w.cp);
    const matrix d = combine(1.0, w.cp, -1.0, w.cw);
    const matrix ey = combine(1.0, c.vy, -1.0, vp);
    const matrix pm = jvj(vp, m);
    const matrix pf_p = product(pf, pm, m, m, false, 1.0);
    double between = 0.0, x_between = 0.0;
    const double mean = static_cast<double>(reference::ref_mean(z.p));
    for (int i = 0; i < m; ++i) {
      between += at(pf_p, m, i, i);
      for (int j = 0; j < m; ++j) x_between += (z.p[i] - mean) * at(pf, m, i, j) * (z.p[j] - mean);
    }
    EXPECT_NEAR(f.trace_between, between, 1e-10 * std::fabs(between));
    EXPECT_NEAR(f.x_between, x_between, 1e-10 * std::fabs(x_between));
    for (const auto& [kb, kw] : {std::pair{0.1, 0.4}, std::pair{0.3, 0.3}, std::pair{1.5, 0.6}}) {
      const matrix sm = combine(std::sqrt(kb), pf, std::sqrt(kw), combine(1.0, id, -1.0, pf));
      const matrix scaled = product(product(sm, pm, m, m, false, 1.0), sm, m, m, false, 1.0);
      expect_traces_near(fields(family_scaled_traces(t, f, kb, kw)),
                         dense_traces(scaled, combine(1.0, scaled, 1.0, d),
                                      w.with_y ? combine(1.0, scaled, 1.0, ey) : matrix{}, z.p, m));
      if (kb == kw && w.with_y) expect_traces_near(fields(family_scaled_traces(t, f, kb, kw)), fields(scaled_traces(t, kb)));
    }
  }
}

// se exact scales the model so that tr(P)/m is the observed S_pp when the partial EBVs vary
// less than half as much as the model expects, and says so; else it keeps the model.
TEST(analytical_se, exact_scales_the_model_to_the_observed_spread) {
  const model_case c = make_case(40, 23);
  std::mt19937_64 rng(24);
  draws z{normals(c.m, rng), normals(c.m, rng), {}};
  const se_exact_model model{c.a_lower, c.pev_w, c.pev_p, &c.all_w.stored, &c.all_p.stored};
  const trace_scalars t = exact_trace_scalars(input_of(c, z, false), model);
  const double want = t.trace_p / c.m;  // the model's S_pp
  const double now = observed_moments(input_of(c, z, false)).s_pp;
  for (double k : {0.3, 0.7}) {
    draws scaled = z;
    for (double& e : scaled.p) e *= std::sqrt(k * want / now);
    se_result r;
    const std::string out =
        test_support::captured_stdout([&] { r = se_exact(input_of(c, scaled, false), model); });
    EXPECT_NEAR(r.scale, k, 1e-12);
    EXPECT_NEAR(r.traces.t_pp, (k < 0.5 ? k * k : 1.0) * t.t_pp, 1e-9 * t.t_pp);
    EXPECT_EQ(out.find("Warning: the partial EBVs of trait 1 vary 0.30 times as much") == 0, k < 0.5);
  }
}

// A matrix offered as a producer that computes it a block of columns at a time offers it: the
// columns in the order `order` (step k reads column order[k] at the rows of the steps before it),
// the steps handed out shuffled; products and diagonal from the dense matrix.
linalg::symmetric_columns shuffled_columns(const matrix& a, int m, std::vector<int> order, unsigned seed) {
  linalg::symmetric_columns s;
  s.n = m;
  s.order = std::move(order);
  for (int i = 0; i < m; ++i) s.diagonal.push_back(at(a, m, i, i));
  s.times = [&a, m](const std::vector<std::vector<double>>& x) {
    std::vector<std::vector<double>> y(x.size(), std::vector<double>(static_cast<std::size_t>(m), 0.0));
    for (std::size_t q = 0; q < x.size(); ++q)
      for (int j = 0; j < m; ++j)
        for (int i = 0; i < m; ++i) y[q][i] += at(a, m, i, j) * x[q][j];
    return y;
  };
  s.sweep = [&a, m, order = s.order, seed](const linalg::column_visitor& visit) {
    std::vector<int> steps(static_cast<std::size_t>(m));
    std::iota(steps.begin(), steps.end(), 0);
    std::mt19937_64 rng(seed);
    std::shuffle(steps.begin(), steps.end(), rng);
    std::vector<double> v(static_cast<std::size_t>(m));
    for (int k : steps) {
      std::fill(v.begin(), v.end(), std::nan(""));  // only rows 0..k may be read
      for (int i = 0; i <= k; ++i) v[i] = at(a, m, order[i], order[k]);
      visit(k, v.data());
    }
  };
  return s;
}

// Several traits from one sweep, the columns in any order, give each trait's traces and
// intervals as the dense matrix alone does: covariances of both evaluations with predictive
// ability, one evaluation's covariances, none; then se exact with the model scaled for one trait
// (by families, from the producer's products).
TEST(analytical_se, several_traits_from_one_sweep_in_any_order_equal_each_trait_alone) {
  const model_case c = make_case(61, 31);
  const int m = c.m;
  std::mt19937_64 rng(32);
  const stored_pairs third_p = keep_pairs(c.cp, m, 3, rng);
  std::vector<draws> z;
  for (int t = 0; t < 3; ++t) z.push_back({normals(m, rng), normals(m, rng), normals(m, rng)});
  // Trait 1 varies 0.3 times as much as the model implies: se exact scales it.
  const double want = exact_trace_scalars(input_of(c, z[0], true), {c.a_lower, c.pev_w, c.pev_p, &c.all_w.stored,
                                                                    &c.all_p.stored}).trace_p / m;
  const double now = observed_moments(input_of(c, z[0], true)).s_pp;
  for (double& e : z[0].p) e *= std::sqrt(0.3 * want / now);
  std::vector<se_trait_input> in = {input_of(c, z[0], true), input_of(c, z[1], false), input_of(c, z[2], true)};
  for (int t = 0; t < 3; ++t) in[t].trait = t + 1;
  const std::vector<int> family = sire_families_of(m);  // trait 1 scaled by families
  const std::vector<se_exact_model> model = {{c.a_lower, c.pev_w, c.pev_p, &c.all_w.stored, &c.all_p.stored, family},
                                             {c.a_lower, c.pev_w, c.pev_p, nullptr, nullptr},
                                             {c.a_lower, c.pev_w, c.pev_p, nullptr, &third_p.stored}};
  std::vector<int> order(static_cast<std::size_t>(m));
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), rng);
  const linalg::symmetric_columns a = shuffled_columns(c.a, m, order, 33);
  const std::vector<trace_scalars> together = exact_trace_scalars(in, model, a);
  ASSERT_EQ(together.size(), 3u);
  for (int t = 0; t < 3; ++t) {
    SCOPED_TRACE(t);
    expect_traces_near(fields(together[t]), fields(exact_trace_scalars(in[t], model[t])));
  }
  std::vector<se_result> many;
  const std::string out = test_support::captured_stdout([&] { many = se_exact(in, model, a); });
  std::string alone_out;
  for (int t = 0; t < 3; ++t) {
    SCOPED_TRACE(t);
    se_result alone;
    alone_out += test_support::captured_stdout([&] { alone = se_exact(in[t], model[t]); });
    EXPECT_NEAR(many[t].scale, alone.scale, 1e-10 * alone.scale);
    const lr_intervals& x = many[t].intervals;
    const lr_intervals& y = alone.intervals;
    for (const auto& [g, w] : {std::pair{x.bias, y.bias}, {x.dispersion, y.dispersion}, {x.ratio_acc, y.ratio_acc},
                               {x.reliability, y.reliability}, {x.pred_ability, y.pred_ability}}) {
      if (std::isnan(w.variance) && t == 1) {  // no predictive ability
        EXPECT_TRUE(std::isnan(g.variance));
        continue;
      }
      EXPECT_NEAR(g.variance, w.variance, 1e-10 * std::fabs(w.variance));
      EXPECT_NEAR(g.lower, w.lower, 1e-10 * std::max(1.0, std::fabs(w.lower)));
      EXPECT_NEAR(g.upper, w.upper, 1e-10 * std::max(1.0, std::fabs(w.upper)));
    }
  }
  EXPECT_NEAR(many[0].scale, 0.3, 1e-10);
  EXPECT_GT(many[0].scale_between, 0.0);
  EXPECT_EQ(out, alone_out);
  EXPECT_NE(out.find("Warning: the partial EBVs of trait 1 vary 0.30 times"), std::string::npos);
  EXPECT_NE(out.find("Warning: no file pec_3_1_whole; pec_3_1_partial is not used"), std::string::npos);
}

// With families se exact scales their parts apart, each to its observed spread, and names both
// factors; without families (or with k >= 0.5) as before.
TEST(analytical_se, exact_scales_families_apart_to_their_observed_spreads) {
  const model_case c = make_case(40, 23);
  std::mt19937_64 rng(25);
  draws z{normals(c.m, rng), normals(c.m, rng), normals(c.m, rng)};
  const std::vector<int> family = sire_families_of(c.m);
  const se_exact_model model{c.a_lower, c.pev_w, c.pev_p, &c.all_w.stored, &c.all_p.stored, family};
  const double expected = exact_trace_scalars(input_of(c, z, true), model).trace_p / c.m;
  const double now = observed_moments(input_of(c, z, true)).s_pp;
  for (double k : {0.2, 0.7}) {
    draws scaled = z;
    for (double& e : scaled.p) e *= std::sqrt(k * expected / now);
    const trace_scalars t = exact_trace_scalars(input_of(c, scaled, true), model);
    const family_traces f =
        exact_family_traces(input_of(c, scaled, true), model, linalg::dense_symmetric_columns(c.a_lower, c.m));
    const double kb = f.x_between / f.trace_between;
    const double kw = (c.m * k * t.trace_p / c.m - f.x_between) / (t.trace_p - f.trace_between);
    se_result r;
    const std::string out =
        test_support::captured_stdout([&] { r = se_exact(input_of(c, scaled, true), model); });
    EXPECT_NEAR(r.scale, k, 1e-12);
    const trace_scalars want = k < 0.5 ? family_scaled_traces(t, f, kb, kw) : t;
    expect_traces_near(fields(r.traces), fields(want));
    EXPECT_NEAR(r.scale_between, k < 0.5 ? kb : 0.0, 1e-12);
    EXPECT_NEAR(r.scale_within, k < 0.5 ? kw : 0.0, 1e-12);
    EXPECT_EQ(out.find("the model is scaled to them (between 12 sire families ") != std::string::npos, k < 0.5);
  }
  // Fewer than min_families families: all of the model scaled by k alone.
  std::vector<int> few(family.size());
  for (std::size_t i = 0; i < few.size(); ++i) few[i] = family[i] % (min_families - 1);
  se_exact_model few_model = model;
  few_model.family = few;
  draws scaled = z;
  for (double& e : scaled.p) e *= std::sqrt(0.2 * expected / now);
  se_result r;
  const std::string out =
      test_support::captured_stdout([&] { r = se_exact(input_of(c, scaled, true), few_model); });
  expect_traces_near(fields(r.traces),
                     fields(scaled_traces(exact_trace_scalars(input_of(c, scaled, true), few_model), 0.2)));
  EXPECT_EQ(r.scale_between, 0.0);
  EXPECT_EQ(out.find("sire families"), std::string::npos);
}

// ---- variances against Monte Carlo -------------------------------------------------------------

// Over draws of (w, p, y) from the model of unrelated animals (the traces of related ones are
// checked against dense products above; the formulas below see only traces): the variances of bias
// and reliability, and that of the dispersion given the partial EBVs of the first draw (w = p + e,
// e ~ N(0, D)), against the trace formulas; the delta-method variances of the two correlations at
// the expected moments tr(J V J) / m against their empirical variances within sampling error plus
// 3% for the linearisation at this size, and equal to those se exact gives (moments::model); and
// the mean of the variances with the observed moments plugged in within 25% (they add noise and
// bias).
TEST(analytical_se, variances_match_monte_carlo_draws_from_the_model) {
  const model_case c = make_case(100, 61, true);
  const int m = c.m, n = 3000;
  std::mt19937_64 rng(42);
  const draws z0 = draw(c, rng);
  const trace_scalars t = approx_trace_scalars(input_of(c, z0, true), {c.diag_a, c.r_w, c.r_p});
  const se_result r0 = intervals_from_traces(input_of(c, z0, true), t);
  std::vector<std::vector<double>> s(5, std::vector<double>(n));
  double plug_ra = 0, plug_pa = 0;
  for (int k = 0; k < n; ++k) {
    const draws z = draw(c, rng);
    const se_result r = intervals_from_traces(input_of(c, z, true), t);
    draws given = z0;
    for (int i = 0; i < m; ++i) given.w[i] = z0.p[i] + z.w[i] - z.p[i] - 3.0;
    const double row[] = {r.values.bias, r.values.reliability,
                          observed_moments(input_of(c, given, false)).s_pw / r0.moments.s_pp,
                          r.values.ratio_acc, r.values.pred_ability * std::sqrt(c.h2)};
    for (int q = 0; q < 5; ++q) s[q][k] = row[q];
    plug_ra += r.intervals.ratio_acc.variance / n;
    plug_pa += r.intervals.pred_ability.variance * c.h2 / n;
  }
  const sample bias = summarize(s[0]), rel = summarize(s[1]), disp = summarize(s[2]),
               ra = summarize(s[3]), pa = summarize(s[4]);
  EXPECT_NEAR(bias.mean, -3.0, 4.5 * std::sqrt(bias.var / n));
  EXPECT_NEAR(disp.mean, 1.0, 4.5 * std::sqrt(disp.var / n));
  EXPECT_NEAR(bias.var, r0.intervals.bias.variance, 4.5 * bias.se_var);
  EXPECT_NEAR(rel.var, r0.intervals.reliability.variance, 4.5 * rel.se_var);
  EXPECT_NEAR(disp.var, r0.intervals.dispersion.variance, 4.5 * disp.se_var);
  auto expected = [&](const matrix& v) {  // tr(J V J) / m
    const matrix j = jvj(v, m);
    double e = 0.0;
    for (int i = 0; i < m; ++i) e += at(j, m, i, i) / m;
    return e;
  };
  const double e_pp = expected(c.vp);  // = E S_pw = E S_py
  const double v_ra = correlation_variance(e_pp, e_pp, expected(c.vw), t.t_pp, t.t_pw, t.t_ww, m);
  const double v_pa = correlation_variance(e_pp, e_pp, expected(c.vy), t.t_pp, t.t_py, t.t_yy, m);
  EXPECT_NEAR(v_ra, ra.var, 4.0 * ra.se_var + 0.03 * ra.var);
  EXPECT_NEAR(v_pa, pa.var, 4.0 * pa.se_var + 0.03 * pa.var);
  // se exact takes the variances there and carries them to the observed value on Fisher's z
  // scale: var (1 - rho_model^2)^-2 = var_reported (1 - rho^2)^-2.
  const se_result at_model = intervals_from_traces(input_of(c, z0, true), t, moments::model);
  const auto z_scale = [](double v, double rho) { return v / ((1 - rho * rho) * (1 - rho * rho)); };
  const double rho_w = std::sqrt(e_pp / expected(c.vw)), rho_y = std::sqrt(e_pp / expected(c.vy));
  const double ra0 = at_model.values.ratio_acc, pa0 = at_model.values.pred_ability * std::sqrt(c.h2);
  EXPECT_NEAR(z_scale(at_model.intervals.ratio_acc.variance, ra0), z_scale(v_ra, rho_w), 1e-9 * z_scale(v_ra, rho_w));
  EXPECT_NEAR(z_scale(at_model.intervals.pred_ability.variance * c.h2, pa0), z_scale(v_pa, rho_y),
              1e-9 * z_scale(v_pa, rho_y));
  const interval z = fisher_z_interval(ra0, at_model.intervals.ratio_acc.variance);
  EXPECT_NEAR(std::atanh(z.upper) - std::atanh(ra0), 1.959964 * std::sqrt(z_scale(v_ra, rho_w)), 1e-9);
  EXPECT_NEAR(plug_ra, ra.var, 0.25 * ra.var);
  EXPECT_NEAR(plug_pa, pa.var, 0.25 * pa.var);
}

// ---- limits and warnings -----------------------------------------------------------------------

TEST(analytical_se, fisher_z_limits_are_symmetric_on_the_z_scale) {
  const interval r = fisher_z_interval(0.6, 0.0025);
  const double half = 1.959964 * 0.05 / (1 - 0.36);
  EXPECT_NEAR(std::atanh(r.lower), std::atanh(0.6) - half, 1e-12);
  EXPECT_NEAR(std::atanh(r.upper), std::atanh(0.6) + half, 1e-12);
  const interval edge = fisher_z_interval(-1.2, 0.01);
  EXPECT_TRUE(edge.lower == -1.2 && edge.upper == -1.2);
}

// Six focal animals of trait 3 with phenotypes.
const std::vector<double> small_w = {1.0, 2.5, 0.3, 1.7, 2.2, 0.9},
                          small_p = {0.8, 2.0, 0.5, 1.1, 1.9, 0.4},
                          small_y = {3.0, 4.1, 0.2, 2.5, 1.0, 1.4};
const se_trait_input small_in{3, small_w, small_p, small_y, 1.2, 1.1, 0.36};

// Values against the long-double reference; bias and dispersion with symmetric limits, the
// correlations with Fisher's z limits, the reliability symmetric within [0, 1], predictive ability on cor(y, p) with its
// variance divided by h2 and its limits by sqrt(h2). The variances themselves are checked
// against Monte Carlo draws above.
TEST(analytical_se, limits_are_centred_on_the_point_values) {
  const se_result r = intervals_from_traces(small_in, {0.9, 0.7, 1.3, 0.8, 5.0, 0.6, 0.4});
  EXPECT_TRUE(r.warnings.empty());
  const reference::lr_reference ref = reference::lr_two_pass(small_w, small_p, small_y, 1.1, 0.36);
  const long double want[] = {ref.bias, ref.dispersion, ref.ratio_acc, ref.reliability,
                              ref.pred_ability};
  const double value[] = {r.values.bias, r.values.dispersion, r.values.ratio_acc,
                          r.values.reliability, r.values.pred_ability};
  const lr_intervals& g = r.intervals;
  const interval zy = fisher_z_interval(value[4] * 0.6, g.pred_ability.variance * 0.36);
  const interval got[] = {g.bias, g.dispersion, g.ratio_acc, g.reliability, g.pred_ability};
  for (int k = 0; k < 5; ++k) {
    const double h = 1.959964 * std::sqrt(got[k].variance);
    const interval limits =
        k == 2   ? fisher_z_interval(value[2], got[2].variance)
        : k == 3 ? interval{0, std::max(0.0, value[3] - h), std::min(1.0, value[3] + h)}
        : k == 4 ? interval{0, zy.lower / 0.6, zy.upper / 0.6}
                 : interval{0, value[k] - h, value[k] + h};
    EXPECT_NEAR(value[k], static_cast<double>(want[k]), 1e-14) << k;
    EXPECT_GT(got[k].variance, 0.0) << k;
    EXPECT_NEAR(got[k].lower, limits.lower, 1e-13) << k;
    EXPECT_NEAR(got[k].upper, limits.upper, 1e-13) << k;
  }
}

// 1'D1 < 0, x'Dx < 0, tPP + tPW < 0, tWW and tPY far below 0.
TEST(analytical_se, negative_variances_are_set_to_zero_with_a_warning) {
  const se_result r = intervals_from_traces(small_in, {0.9, -1.0, -50.0, -40.0, 5.0, -0.6, -0.4});
  lines want;
  for (const char* s :
       {"absolute bias", "dispersion", "ratio of accuracies", "reliability", "predictive ability"})
    want.push_back("Warning: negative sampling variance of the " + std::string(s) +
                   " for trait 3 set to 0");
  EXPECT_EQ(r.warnings, want);
  for (const interval& i : {r.intervals.bias, r.intervals.dispersion, r.intervals.ratio_acc,
                            r.intervals.reliability, r.intervals.pred_ability})
    EXPECT_TRUE(i.variance == 0.0 && i.lower == i.upper);
}

// One pec file missing: the trait is computed as without either, never with the missing
// covariances taken as 0; a first line names the missing file and the one not used.
TEST(analytical_se, one_missing_covariance_file_falls_back_to_the_accuracies) {
  const model_case c = make_case(8, 51);
  std::mt19937_64 rng(52);
  const draws z{normals(c.m, rng), normals(c.m, rng), {}};
  const std::string none =
      "Warning: no prediction error covariances for trait 1; SDs of bias, ratio of accuracies, "
      "reliability and predictive ability are conservative, that of the dispersion may be narrow "
      "with large families\n";
  const std::string printed[] = {
      "Warning: no file pec_1_1_whole; pec_1_1_partial is not used and both evaluations' "
      "covariances come from the accuracies\n" + none,
      "Warning: no file pec_1_1_partial; pec_1_1_whole is not used and both evaluations' "
      "covariances come from the accuracies\n" + none,
      none};
  se_result r[3];
  for (int k = 2; k >= 0; --k) {
    const std::string out = test_support::captured_stdout([&] {
      r[k] = se_exact(input_of(c, z, false),
                      {c.a_lower, c.pev_w, c.pev_p, k == 1 ? &c.all_w.stored : nullptr,
                       k == 0 ? &c.all_p.stored : nullptr});
    });
    EXPECT_EQ(out.substr(0, printed[k].size()), printed[k]);
    EXPECT_EQ(fields(r[k].traces), fields(r[2].traces));
  }
}

// The reliability's limits: symmetric, clipped to [0, 1] where they would leave it. The family
// bootstrap's: Fisher's z on its square root, inside [0, 1] too.
TEST(analytical_se, reliability_limits_stay_between_zero_and_one) {
  for (double sd : {0.01, 0.1, 0.3, 2.0})
    for (double rel : {0.02, 0.2, 0.5, 0.95}) {
      // gvar chosen so that the value is rel; the traces give the variance sd^2.
      const sample_moments s = observed_moments({1, small_w, small_p, {}, 1.2, 1.0, 0.36});
      const double gvar = s.s_pw / rel;
      const double m = s.m;
      const se_trait_input at_rel{1, small_w, small_p, {}, 1.2, gvar, 0.36};
      const interval got =
          intervals_from_traces(at_rel, {sd * sd * m * m * gvar * gvar, 0, 0, 0, 0, 1, 1})
              .intervals.reliability;
      SCOPED_TRACE(std::to_string(rel) + " " + std::to_string(sd));
      EXPECT_NEAR(got.variance, sd * sd, 1e-12);
      EXPECT_TRUE(0.0 <= got.lower && got.lower < rel && rel < got.upper && got.upper <= 1.0);
      EXPECT_NEAR(got.lower, std::max(0.0, rel - 1.959964 * sd), 1e-12);
      EXPECT_NEAR(got.upper, std::min(1.0, rel + 1.959964 * sd), 1e-12);
      const interval boot = squared_correlation_interval(rel, sd * sd);
      const interval z = fisher_z_interval(std::sqrt(rel), sd * sd / (4 * rel));
      EXPECT_TRUE(0.0 <= boot.lower && boot.lower < rel && rel < boot.upper && boot.upper <= 1.0);
      EXPECT_NEAR(boot.upper, z.upper * z.upper, 1e-12);
      EXPECT_NEAR(boot.lower, z.lower > 0 ? z.lower * z.lower : 0.0, 1e-12);
    }
  const se_trait_input negative{1, small_w, small_p, {}, 1.2, -1.0, 0.36};
  const interval clipped = intervals_from_traces(negative, {0.5, 0, 0, 0, 0, 1, 1}).intervals.reliability;
  EXPECT_EQ(clipped.lower, 0.0);
  EXPECT_TRUE(clipped.upper >= 0.0 && clipped.upper <= 1.0);
}

TEST(analytical_se, approx_accuracies_come_from_acc_or_se_columns) {
  const std::vector<double> acc = {0.5, 1.2, -0.1}, diag = {1.0, 1.25, 1.0}, se = {1.0, 0.5, 3.0};
  EXPECT_EQ(approx_accuracies(accuracy_column::acc, acc, {}, 2.0),
            (std::vector<double>{0.5, 1.0, 0.0}));
  const std::vector<double> r = approx_accuracies(accuracy_column::se, se, diag, 2.0);
  EXPECT_NEAR(r[0], std::sqrt(1 - 1.0 / 2.0), 1e-15);
  EXPECT_NEAR(r[1], std::sqrt(1 - 0.25 / 2.5), 1e-15);
  EXPECT_EQ(r[2], 0.0);  // PEV above the genetic variance: clamped
  EXPECT_EQ(test_support::stop_lines(
                [&] { approx_accuracies(accuracy_column::none, acc, diag, 2.0); })[0],
            "OPTION se approx needs accuracies or standard errors in the solution files,");
}

TEST(analytical_se, one_or_no_focal_animal_gives_non_finite_values_without_a_stop) {
  const std::vector<double> one = {0.5}, a = {1.0}, pev = {0.2};
  se_trait_input in{1, one, one, {}, 1.0, 1.0, 0.3};
  const se_result r = intervals_from_traces(in, exact_trace_scalars(in, {a, pev, pev}));
  EXPECT_EQ(r.values.bias, 0.0);
  EXPECT_FALSE(std::isfinite(r.values.dispersion) || std::isfinite(r.intervals.ratio_acc.lower));
  in.w = in.p = {};
  EXPECT_TRUE(
      std::isnan(intervals_from_traces(in, exact_trace_scalars(in, {})).intervals.bias.variance));
}

// se exact's correlations take the model's moments only where the model fits the observed ones
// (within a factor 2); elsewhere, as without the model's traces, the observed moments.
TEST(analytical_se, correlations_fall_back_to_the_observed_moments_where_the_model_is_far_off) {
  const sample_moments s = observed_moments(small_in);
  const double m = s.m;
  trace_scalars t{0.9, 0.7, 1.3, 0.8, 5.0, 0.6, 0.4};
  const double at_observed = correlation_variance(s.s_pw, s.s_pp, s.s_ww, t.t_pp, t.t_pw, t.t_ww, s.m);
  for (double far : {0.3, 3.0}) {  // the model's S_pp a third of the observed, or three times it
    t.trace_p = far * m * s.s_pp;
    t.trace_w = t.trace_p * s.s_ww / s.s_pp;
    t.trace_y = t.trace_p * s.s_yy / s.s_pp;
    EXPECT_DOUBLE_EQ(intervals_from_traces(small_in, t, moments::model).intervals.ratio_acc.variance, at_observed) << far;
  }
  // The model's W no wider than its P (D = 0, or not positive semi-definite): no z scale.
  for (double w_over_p : {1.0, 0.9}) {
    t.trace_p = m * s.s_pp;
    t.trace_w = w_over_p * t.trace_p;
    EXPECT_DOUBLE_EQ(intervals_from_traces(small_in, t, moments::model).intervals.ratio_acc.variance, at_observed)
        << w_over_p;
  }
  t.trace_p = 1.2 * m * s.s_pp;  // close: the model's moments, carried to the observed value
  t.trace_w = 1.1 * m * s.s_ww;
  t.trace_y = m * s.s_yy;
  const double mp = t.trace_p / m, mw = t.trace_w / m, rho = s.s_pw / std::sqrt(s.s_pp * s.s_ww);
  const double carry = (1 - rho * rho) / (1 - mp / mw);
  EXPECT_NEAR(intervals_from_traces(small_in, t, moments::model).intervals.ratio_acc.variance,
              correlation_variance(mp, mp, mw, t.t_pp, t.t_pw, t.t_ww, s.m) * carry * carry, 1e-12);
}

}  // namespace
}  // namespace ventrel::statistics
