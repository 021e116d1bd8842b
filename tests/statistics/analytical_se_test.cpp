// Analytical standard errors: the trace scalars against explicit dense J V J products, the
// variances against Monte Carlo draws from the model, the limits and the warnings.
#include "statistics/analytical_se.hpp"

#include <cblas.h>
#include <gtest/gtest.h>
#include <lapacke.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "reference/tabular_a.hpp"
#include "reference/two_pass_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::lines;
using testing::normals;

// ---- dense model -------------------------------------------------------------------------------

using matrix = std::vector<double>;  // m x m, column-major

double& at(matrix& a, int m, int i, int j) { return a[i + static_cast<std::size_t>(j) * m]; }
double at(const matrix& a, int m, int i, int j) { return a[i + static_cast<std::size_t>(j) * m]; }

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

double frobenius(const matrix& a, const matrix& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

matrix combine(double fa, const matrix& a, double fb, const matrix& b) {
  matrix c(a.size());
  for (std::size_t e = 0; e < c.size(); ++e) c[e] = fa * a[e] + fb * b[e];
  return c;
}

matrix cholesky(matrix a, int m) {
  EXPECT_EQ(LAPACKE_dpotrf(LAPACK_COL_MAJOR, 'L', m, a.data(), m), 0) << "not positive definite";
  for (int j = 1; j < m; ++j)
    for (int i = 0; i < j; ++i) at(a, m, i, j) = 0.0;
  return a;
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
  matrix lp, ld, le;  // Cholesky factors of Vp, D and Vy - Vp, for draws from the model
};

model_case finish(model_case c, std::mt19937_64& rng) {
  const int m = c.m;
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
  c.lp = cholesky(c.vp, m);
  c.ld = cholesky(c.d, m);
  c.le = cholesky(combine(1.0, c.vy, -1.0, c.vp), m);
  return c;
}

// The last m animals of a random pedigree of n (full- and half-sib families, popular sires,
// inbreeding); Vp = s2 (0.35 A + B), D = s2 (0.25 A + G + diagonal), B and G random Gram matrices.
model_case make_case(int n, int m, unsigned seed) {
  std::mt19937_64 rng(seed);
  reference::tabular_pedigree ped;
  ped.parents.resize(static_cast<std::size_t>(n) + 1, {0, 0});
  const int founders = std::max(4, n / 8);
  for (int i = founders + 1; i <= n; ++i) {
    const int sire =
        1 + static_cast<int>(rng() % 3 == 0 ? rng() % (i - 1) : rng() % (founders / 2));
    const int dam = rng() % 5 == 0 ? 0 : 1 + static_cast<int>(rng() % (i - 1));
    ped.parents[static_cast<std::size_t>(i)] = {sire, dam};
  }
  const linalg::dense_matrix full = reference::tabular_a(ped);
  model_case c;
  c.m = m;
  c.a.resize(static_cast<std::size_t>(m) * m);
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) at(c.a, m, i, j) = full(n - m + i, n - m + j);
  const matrix z3 = normals(3 * m, rng), z2 = normals(2 * m, rng);
  c.vp = combine(0.35 * c.s2, c.a, c.s2, product(z3, z3, m, 3, true, 1.0 / m));
  c.d = combine(0.25 * c.s2, c.a, c.s2, product(z2, z2, m, 2, true, 1.0 / m));
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int i = 0; i < m; ++i) at(c.d, m, i, i) += c.s2 * 0.1 * u(rng);
  return finish(c, rng);
}

// Unrelated animals (se approx): a_ii = 1 + F_i, Vp = s2 a_ii r_p^2, Vw = s2 a_ii r_w^2.
model_case make_unrelated_case(int m, unsigned seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> u(0.2, 0.8);
  model_case c;
  c.m = m;
  c.a = c.vp = c.d = matrix(static_cast<std::size_t>(m) * m, 0.0);
  for (int i = 0; i < m; ++i) {
    c.diag_a.push_back(at(c.a, m, i, i) = 1.0 + 0.1 * (i % 3));
    c.r_p.push_back(u(rng));
    c.r_w.push_back(c.r_p[i] + (1.0 - c.r_p[i]) * u(rng));
    at(c.vp, m, i, i) = c.s2 * c.diag_a[i] * c.r_p[i] * c.r_p[i];
    at(c.d, m, i, i) = c.s2 * c.diag_a[i] * c.r_w[i] * c.r_w[i] - at(c.vp, m, i, i);
  }
  return finish(c, rng);
}

// The trace scalars formed densely: P = J Vp J, W = J Vw J, Y = J Vy J (vy empty: none),
// D = Vw - Vp, x = J p.
trace_scalars dense_traces(const matrix& vp, const matrix& vw, const matrix& vy,
                           const std::vector<double>& p, int m) {
  const matrix pm = jvj(vp, m), wm = jvj(vw, m), d = combine(1.0, vw, -1.0, vp);
  trace_scalars t{frobenius(pm, pm), frobenius(pm, wm), frobenius(wm, wm)};
  if (!vy.empty()) {
    const matrix ym = jvj(vy, m);
    t.t_py = frobenius(pm, ym);
    t.t_yy = frobenius(ym, ym);
  }
  const double mean = static_cast<double>(reference::ref_mean(p));
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) {
      t.d_sum += at(d, m, i, j);
      t.x_d_x += (p[i] - mean) * (p[j] - mean) * at(d, m, i, j);
    }
  return t;
}

std::vector<double> fields(const trace_scalars& t) {
  return {t.t_pp, t.t_pw, t.t_ww, t.t_py, t.t_yy, t.d_sum, t.x_d_x};
}

void expect_traces_near(const trace_scalars& got, const trace_scalars& want) {
  const std::vector<double> g = fields(got), w = fields(want);
  for (std::size_t k = 0; k < g.size(); ++k)
    EXPECT_NEAR(g[k], w[k], 1e-10 * std::max(1.0, std::fabs(w[k]))) << "trace scalar " << k;
}

// ---- draws from the model ----------------------------------------------------------------------

using draws = testing::focal_data;

std::vector<double> lower_times(const matrix& l, int m, const std::vector<double>& v) {
  std::vector<double> out(static_cast<std::size_t>(m), 0.0);
  for (int j = 0; j < m; ++j)
    for (int i = j; i < m; ++i) out[i] += at(l, m, i, j) * v[j];
  return out;
}

// p ~ N(0, Vp), w = p + N(0, D) + 3, y = p + N(0, Vy - Vp) - 1 (the means matter to the bias).
draws draw(const model_case& c, std::mt19937_64& rng) {
  draws z{{}, lower_times(c.lp, c.m, normals(c.m, rng)), {}};
  const std::vector<double> e = lower_times(c.ld, c.m, normals(c.m, rng));
  const std::vector<double> f = lower_times(c.le, c.m, normals(c.m, rng));
  for (int i = 0; i < c.m; ++i) {
    z.w.push_back(z.p[i] + e[i] + 3.0);
    z.y.push_back(z.p[i] + f[i] - 1.0);
  }
  return z;
}

se_trait_input input_of(const model_case& c, const draws& z, bool with_y) {
  return {1, z.w, z.p, with_y ? z.y : std::span<const double>(), c.s2, c.gvar, c.h2};
}

// The traces of se exact with every covariance, or of se approx for unrelated animals.
trace_scalars traces(const model_case& c, const se_trait_input& in) {
  if (!c.r_w.empty()) return approx_trace_scalars(in, {c.diag_a, c.r_w, c.r_p});
  return exact_trace_scalars(in, {c.a_lower, c.pev_w, c.pev_p, &c.all_w.stored, &c.all_p.stored});
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
  const model_case c = make_case(150, 120, 1);
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
    const char* name;
    const pec_matrix *pec_w, *pec_p;  // what the code is given
    const matrix &cw, &cp;            // the prediction error covariances they stand for
    bool with_y;
  };
  const row rows[] = {
      {"both", &c.all_w.stored, &c.all_p.stored, c.cw, c.cp, true},
      {"both, no phenotypes", &c.all_w.stored, &c.all_p.stored, c.cw, c.cp, false},
      {"a third of the partial pairs only", nullptr, &third_p.stored, pev_w, third_p.dense, true},
      {"whole only", &c.all_w.stored, nullptr, c.cw, pev_p, true},
      {"none", nullptr, nullptr, acc_w, pev_p, false},
      {"none, with phenotypes", nullptr, nullptr, acc_w, pev_p, true},
  };
  const int saved = omp_get_max_threads();
  for (const row& w : rows) {
    SCOPED_TRACE(w.name);
    const se_trait_input in = input_of(c, z, w.with_y);
    const se_exact_model model{c.a_lower, c.pev_w, c.pev_p, w.pec_w, w.pec_p};
    omp_set_num_threads(1);
    const trace_scalars one = exact_trace_scalars(in, model);
    omp_set_num_threads(3);
    EXPECT_EQ(fields(one), fields(exact_trace_scalars(in, model)));
    expect_traces_near(one,
                       dense_traces(combine(1.0, c.sa, -1.0, w.cp), combine(1.0, c.sa, -1.0, w.cw),
                                    w.with_y ? c.vy : matrix{}, z.p, m));
  }
  omp_set_num_threads(saved);
}

TEST(analytical_se, approx_traces_match_dense_products_of_diagonal_matrices) {
  const model_case c = make_unrelated_case(23, 8);
  std::mt19937_64 rng(9);
  const draws z{normals(c.m, rng), normals(c.m, rng), normals(c.m, rng)};
  expect_traces_near(traces(c, input_of(c, z, true)), dense_traces(c.vp, c.vw, c.vy, z.p, c.m));
}

// ---- variances against Monte Carlo -------------------------------------------------------------

// Over draws of (w, p, y) from the model: the covariances of the moments S_pw, S_pp, S_ww, S_py,
// S_yy and the variances of bias and reliability against the trace formulas; the dispersion
// given the partial EBVs of the first draw (w = p + e, e ~ N(0, D)); the delta-method variances
// of the two correlations at the expected moments tr(J V J) / m against their empirical
// variances within sampling error plus 3% for the linearisation at this size; and the mean of
// the variances a run gives within 25% (the observed moments plugged in add noise and bias).
TEST(analytical_se, variances_match_monte_carlo_draws_from_the_model) {
  for (const model_case& c : {make_case(200, 150, 41), make_unrelated_case(100, 61)}) {
    SCOPED_TRACE(c.r_w.empty() ? "se exact, related" : "se approx, unrelated");
    const int m = c.m, n = 3000;
    std::mt19937_64 rng(42);
    const draws z0 = draw(c, rng);
    const trace_scalars t = traces(c, input_of(c, z0, true));
    const se_result r0 = intervals_from_traces(input_of(c, z0, true), t);
    std::vector<std::vector<double>> s(10, std::vector<double>(n));
    double plug_ra = 0, plug_pa = 0;
    for (int k = 0; k < n; ++k) {
      const draws z = draw(c, rng);
      const se_result r = intervals_from_traces(input_of(c, z, true), t);
      draws given = z0;
      for (int i = 0; i < m; ++i) given.w[i] = z0.p[i] + z.w[i] - z.p[i] - 3.0;
      const double given_pw = observed_moments(input_of(c, given, false)).s_pw;
      const double row[] = {r.moments.s_pw, r.moments.s_pp, r.moments.s_ww, r.moments.s_py,
                            r.moments.s_yy, r.values.bias, r.values.reliability,
                            given_pw / r0.moments.s_pp, r.values.ratio_acc,
                            r.values.pred_ability * std::sqrt(c.h2)};  // the last: cor(y, p)
      for (int q = 0; q < 10; ++q) s[q][k] = row[q];
      plug_ra += r.intervals.ratio_acc.variance / n;
      plug_pa += r.intervals.pred_ability.variance * c.h2 / n;
    }
    const double m2 = static_cast<double>(m) * m;
    struct cov_row {
      int a, b;
      double want;
      const char* name;
    };
    for (const cov_row& q : {cov_row{0, 0, (t.t_pp + t.t_pw) / m2, "Var(S_pw)"},
                             cov_row{0, 1, 2 * t.t_pp / m2, "Cov(S_pw, S_pp)"},
                             cov_row{0, 2, 2 * t.t_pw / m2, "Cov(S_pw, S_ww)"},
                             cov_row{1, 1, 2 * t.t_pp / m2, "Var(S_pp)"},
                             cov_row{1, 2, 2 * t.t_pp / m2, "Cov(S_pp, S_ww)"},
                             cov_row{2, 2, 2 * t.t_ww / m2, "Var(S_ww)"},
                             cov_row{3, 3, (t.t_pp + t.t_py) / m2, "Var(S_py)"},
                             cov_row{3, 4, 2 * t.t_py / m2, "Cov(S_py, S_yy)"},
                             cov_row{4, 4, 2 * t.t_yy / m2, "Var(S_yy)"},
                             cov_row{5, 5, r0.intervals.bias.variance, "Var(bias)"},
                             cov_row{6, 6, r0.intervals.reliability.variance, "Var(reliability)"},
                             cov_row{7, 7, r0.intervals.dispersion.variance, "Var(dispersion)"}}) {
      const sample sa = summarize(s[q.a]), sb = summarize(s[q.b]);
      std::vector<double> prod(n);
      for (int k = 0; k < n; ++k) prod[k] = (s[q.a][k] - sa.mean) * (s[q.b][k] - sb.mean);
      const sample sp = summarize(prod);
      EXPECT_NEAR(sp.mean, q.want, 4.5 * std::sqrt(sp.var / n)) << q.name;
    }
    EXPECT_NEAR(summarize(s[5]).mean, -3.0, 4.5 * std::sqrt(r0.intervals.bias.variance / n));
    EXPECT_NEAR(summarize(s[7]).mean, 1.0, 4.5 * std::sqrt(r0.intervals.dispersion.variance / n));
    auto expected = [&](const matrix& v) {  // tr(J V J) / m
      const matrix j = jvj(v, m);
      double e = 0.0;
      for (int i = 0; i < m; ++i) e += at(j, m, i, i) / m;
      return e;
    };
    const double e_pp = expected(c.vp);  // = E S_pw = E S_py
    const double v_ra = correlation_variance(e_pp, e_pp, expected(c.vw), t.t_pp, t.t_pw, t.t_ww, m);
    const double v_pa = correlation_variance(e_pp, e_pp, expected(c.vy), t.t_pp, t.t_py, t.t_yy, m);
    const sample sra = summarize(s[8]), spa = summarize(s[9]);
    EXPECT_NEAR(v_ra, sra.var, 4.0 * sra.se_var + 0.03 * sra.var);
    EXPECT_NEAR(v_pa, spa.var, 4.0 * spa.se_var + 0.03 * spa.var);
    EXPECT_NEAR(plug_ra, sra.var, 0.25 * sra.var);
    EXPECT_NEAR(plug_pa, spa.var, 0.25 * spa.var);
  }
}

// ---- limits and warnings -----------------------------------------------------------------------

TEST(analytical_se, fisher_z_limits_are_symmetric_on_the_z_scale) {
  const interval r = fisher_z_interval(0.6, 0.0025);
  const double half = 1.959964 * 0.05 / (1 - 0.36);
  EXPECT_NEAR(std::atanh(r.lower), std::atanh(0.6) - half, 1e-12);
  EXPECT_NEAR(std::atanh(r.upper), std::atanh(0.6) + half, 1e-12);
  EXPECT_EQ(r.variance, 0.0025);
  for (const double rho : {1.0, -1.2}) {
    const interval edge = fisher_z_interval(rho, 0.01);
    EXPECT_EQ(edge.lower, rho);
    EXPECT_EQ(edge.upper, rho);
  }
}

// Six focal animals of trait 3 with phenotypes.
const std::vector<double> small_w = {1.0, 2.5, 0.3, 1.7, 2.2, 0.9},
                          small_p = {0.8, 2.0, 0.5, 1.1, 1.9, 0.4},
                          small_y = {3.0, 4.1, 0.2, 2.5, 1.0, 1.4};
const se_trait_input small_in{3, small_w, small_p, small_y, 1.2, 1.1, 0.36};

// g' Omega g / m^2 for rho = s_xy / sqrt(s_xx s_yy), with m^2 Omega the covariance matrix of
// (S_xy, S_xx, S_yy) as Gaussian quadratic forms, written out in full.
double delta_method(double sxy, double sxx, double syy, double txx, double txy, double tyy) {
  const double rho = sxy / std::sqrt(sxx * syy);
  const double g[3] = {1 / std::sqrt(sxx * syy), -rho / (2 * sxx), -rho / (2 * syy)};
  const double om[3][3] = {
      {txx + txy, 2 * txx, 2 * txy}, {2 * txx, 2 * txx, 2 * txx}, {2 * txy, 2 * txx, 2 * tyy}};
  double q = 0;
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) q += g[a] * om[a][b] * g[b] / 36;
  return q;
}

TEST(analytical_se, limits_are_centred_on_the_point_values) {
  const trace_scalars t{0.9, 0.7, 1.3, 0.8, 5.0, 0.6, 0.4};
  const se_result r = intervals_from_traces(small_in, t);
  EXPECT_TRUE(r.warnings.empty());
  const reference::lr_reference ref = reference::lr_two_pass(small_w, small_p, small_y, 1.1, 0.36);
  EXPECT_NEAR(r.values.bias, static_cast<double>(ref.bias), 1e-14);
  EXPECT_NEAR(r.values.dispersion, static_cast<double>(ref.dispersion), 1e-14);
  EXPECT_NEAR(r.values.ratio_acc, static_cast<double>(ref.ratio_acc), 1e-14);
  EXPECT_NEAR(r.values.reliability, static_cast<double>(ref.reliability), 1e-14);
  EXPECT_NEAR(r.values.pred_ability, static_cast<double>(ref.pred_ability), 1e-14);
  // Bias 1'D1 / m^2, dispersion x'Dx / (x'x)^2, reliability (tPP + tPW) / (m gvar)^2.
  const double sxx = static_cast<double>(reference::ref_centred_cross(small_p, small_p));
  struct row {
    interval got;
    double value, variance;
  };
  for (const row& q : {row{r.intervals.bias, r.values.bias, 0.6 / 36},
                       row{r.intervals.dispersion, r.values.dispersion, 0.4 / (sxx * sxx)},
                       row{r.intervals.reliability, r.values.reliability, 1.6 / (36 * 1.21)}}) {
    SCOPED_TRACE(q.value);
    EXPECT_NEAR(q.got.variance, q.variance, 1e-15);
    EXPECT_NEAR(q.got.lower, q.value - 1.959964 * std::sqrt(q.variance), 1e-14);
    EXPECT_NEAR(q.got.upper, q.value + 1.959964 * std::sqrt(q.variance), 1e-14);
  }
  // Correlations: Fisher's z on the delta-method variance; predictive ability on cor(y, p),
  // its variance then divided by h2 and its limits by sqrt(h2).
  const sample_moments& s = r.moments;
  const double q = delta_method(s.s_pw, s.s_pp, s.s_ww, t.t_pp, t.t_pw, t.t_ww);
  const interval z = fisher_z_interval(r.values.ratio_acc, q);
  EXPECT_NEAR(r.intervals.ratio_acc.variance, q, 1e-13 * q);
  EXPECT_NEAR(r.intervals.ratio_acc.lower, z.lower, 1e-13);
  EXPECT_NEAR(r.intervals.ratio_acc.upper, z.upper, 1e-13);
  const double qy = delta_method(s.s_py, s.s_pp, s.s_yy, t.t_pp, t.t_py, t.t_yy);
  const interval zy = fisher_z_interval(s.s_py / std::sqrt(s.s_pp * s.s_yy), qy);
  EXPECT_NEAR(r.intervals.pred_ability.variance, qy / 0.36, 1e-13 * qy);
  EXPECT_NEAR(r.intervals.pred_ability.lower, zy.lower / 0.6, 1e-13);
  EXPECT_NEAR(r.intervals.pred_ability.upper, zy.upper / 0.6, 1e-13);
}

TEST(analytical_se, negative_variances_are_set_to_zero_with_a_warning) {
  const std::string w = "Warning: negative sampling variance of the ";
  struct row {
    trace_scalars t;
    lines warnings;
    std::vector<int> zeroed;  // bias, dispersion, ratio_acc, reliability, pred_ability
  };
  // 1'D1 < 0, x'Dx < 0, tPP + tPW < 0 and tPY far below 0, tWW keeping the quadratic form of
  // the ratio of accuracies positive; then tWW far below 0.
  const std::vector<row> rows = {
      {{0.9, -1.0, 8.0, -40.0, 5.0, -0.6, -0.4},
       {w + "absolute bias for trait 3 set to 0", w + "dispersion for trait 3 set to 0",
        w + "reliability for trait 3 set to 0", w + "predictive ability for trait 3 set to 0"},
       {0, 1, 3, 4}},
      {{0.9, 0.7, -50.0, 0.8, 5.0, 0.6, 0.4},
       {w + "ratio of accuracies for trait 3 set to 0"},
       {2}},
  };
  for (const row& q : rows) {
    const se_result r = intervals_from_traces(small_in, q.t);
    EXPECT_EQ(r.warnings, q.warnings);
    const interval got[] = {r.intervals.bias, r.intervals.dispersion, r.intervals.ratio_acc,
                            r.intervals.reliability, r.intervals.pred_ability};
    const double value[] = {r.values.bias, r.values.dispersion, r.values.ratio_acc,
                            r.values.reliability, r.values.pred_ability};
    for (const int k : q.zeroed) {
      EXPECT_EQ(got[k].variance, 0.0) << k;
      EXPECT_NEAR(got[k].lower, value[k], 1e-15) << k;
      EXPECT_NEAR(got[k].upper, value[k], 1e-15) << k;
    }
  }
}

TEST(analytical_se, exact_prints_which_covariances_are_missing) {
  const model_case c = make_case(20, 8, 51);
  std::mt19937_64 rng(52);
  const draws z{normals(c.m, rng), normals(c.m, rng), {}};
  se_trait_input in = input_of(c, z, false);
  in.trait = 2;
  const std::string only = "Warning: prediction error covariances for trait 2 only in the ";
  struct row {
    const pec_matrix *pec_w, *pec_p;
    std::string first;  // the first warning printed
  };
  for (const row& q :
       {row{nullptr, nullptr,
            "Warning: no prediction error covariances for trait 2; standard errors are "
            "conservative"},
        row{nullptr, &c.all_p.stored,
            only + "partial evaluation; those of the whole evaluation are taken as 0"},
        row{&c.all_w.stored, nullptr,
            only + "whole evaluation; those of the partial evaluation are taken as 0"},
        row{&c.all_w.stored, &c.all_p.stored, ""}}) {
    se_result r;
    const std::string out = testing::captured_stdout([&] {
      r = se_exact(in, {c.a_lower, c.pev_w, c.pev_p, q.pec_w, q.pec_p});
    });
    EXPECT_EQ(r.warnings.empty() ? "" : r.warnings[0], q.first);
    std::string printed;
    for (const std::string& l : r.warnings) printed += l + "\n";
    EXPECT_EQ(out, printed);
  }
}

TEST(analytical_se, approx_accuracies_come_from_acc_or_se_columns) {
  const std::vector<double> acc = {0.5, 1.2, -0.1}, diag = {1.0, 1.25, 1.0}, se = {1.0, 0.5, 3.0};
  EXPECT_EQ(approx_accuracies(accuracy_column::acc, acc, {}, 2.0),
            (std::vector<double>{0.5, 1.0, 0.0}));
  const std::vector<double> r = approx_accuracies(accuracy_column::se, se, diag, 2.0);
  EXPECT_NEAR(r[0], std::sqrt(1 - 1.0 / 2.0), 1e-15);
  EXPECT_NEAR(r[1], std::sqrt(1 - 0.25 / 2.5), 1e-15);
  EXPECT_EQ(r[2], 0.0);  // PEV above the genetic variance: clamped
  EXPECT_EQ(
      testing::stop_lines([&] { approx_accuracies(accuracy_column::none, acc, diag, 2.0); }),
      (lines{"OPTION se approx needs accuracies or standard errors in the solution files,",
             "that is solution files with one of the headers", "trait/effect level  solution acc",
             "trait/effect level  solution          s.e."}));
}

TEST(analytical_se, one_or_no_focal_animal_gives_non_finite_values_without_a_stop) {
  const std::vector<double> one = {0.5}, a = {1.0}, pev = {0.2}, acc = {0.7};
  se_trait_input in{1, one, one, {}, 1.0, 1.0, 0.3};
  const se_result r =
      intervals_from_traces(in, exact_trace_scalars(in, {a, pev, pev, nullptr, nullptr}));
  EXPECT_EQ(r.values.bias, 0.0);
  EXPECT_FALSE(std::isfinite(r.values.dispersion));
  EXPECT_FALSE(std::isfinite(r.intervals.ratio_acc.lower));
  EXPECT_FALSE(std::isfinite(
      intervals_from_traces(in, approx_trace_scalars(in, {a, acc, acc})).values.ratio_acc));
  in.w = in.p = {};
  const se_result none = intervals_from_traces(in, exact_trace_scalars(in, {}));
  EXPECT_TRUE(std::isnan(none.values.bias));
  EXPECT_TRUE(std::isnan(none.intervals.bias.variance));
}

}  // namespace
}  // namespace ventrel::statistics
