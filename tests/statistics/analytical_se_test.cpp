// Analytical standard errors: the trace scalars against explicit J V J products, the variances
// against Monte Carlo draws from the model, the limits and the warnings.
#include "statistics/analytical_se.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::statistics {
namespace {

// ---- small dense helpers (column-major, n x n) -------------------------------------------------

using matrix = std::vector<double>;

double& at(matrix& a, int n, int i, int j) { return a[i + static_cast<std::size_t>(j) * n]; }
double at(const matrix& a, int n, int i, int j) { return a[i + static_cast<std::size_t>(j) * n]; }

matrix multiply(const matrix& a, const matrix& b, int n) {
  matrix c(a.size(), 0.0);
  for (int j = 0; j < n; ++j)
    for (int k = 0; k < n; ++k)
      for (int i = 0; i < n; ++i) at(c, n, i, j) += at(a, n, i, k) * at(b, n, k, j);
  return c;
}

matrix centring_matrix(int n) {
  matrix j(static_cast<std::size_t>(n) * n, -1.0 / n);
  for (int i = 0; i < n; ++i) at(j, n, i, i) += 1.0;
  return j;
}

matrix jvj(const matrix& v, int n) {
  const matrix j = centring_matrix(n);
  return multiply(multiply(j, v, n), j, n);
}

double frobenius(const matrix& a, const matrix& b) {
  double s = 0.0;
  for (std::size_t e = 0; e < a.size(); ++e) s += a[e] * b[e];
  return s;
}

matrix add(const matrix& a, const matrix& b, double fb = 1.0) {
  matrix c(a);
  for (std::size_t e = 0; e < c.size(); ++e) c[e] += fb * b[e];
  return c;
}

// Lower Cholesky factor of a positive semi-definite matrix (a tiny ridge keeps it defined).
matrix cholesky(matrix a, int n) {
  for (int i = 0; i < n; ++i) at(a, n, i, i) += 1e-12;
  for (int j = 0; j < n; ++j) {
    double d = at(a, n, j, j);
    for (int k = 0; k < j; ++k) d -= at(a, n, j, k) * at(a, n, j, k);
    if (d < -1e-9) ADD_FAILURE() << "model covariance matrix not positive semi-definite";
    d = std::sqrt(std::max(d, 0.0));
    at(a, n, j, j) = d;
    for (int i = j + 1; i < n; ++i) {
      double s = at(a, n, i, j);
      for (int k = 0; k < j; ++k) s -= at(a, n, i, k) * at(a, n, j, k);
      at(a, n, i, j) = d > 0 ? s / d : 0.0;
    }
    for (int i = 0; i < j; ++i) at(a, n, i, j) = 0.0;
  }
  return a;
}

// Numerator relationship matrix of the last m animals of a random pedigree of n animals
// (tabular method), with some full-sib and half-sib families and inbreeding.
matrix random_relationships(int n, int m, unsigned seed) {
  std::mt19937_64 rng(seed);
  const int founders = std::max(4, n / 8);
  matrix full(static_cast<std::size_t>(n) * n, 0.0);
  for (int i = 0; i < n; ++i) {
    int s = -1, d = -1;
    if (i >= founders) {
      std::uniform_int_distribution<int> pick(0, i - 1);
      std::uniform_int_distribution<int> few(0, std::min(i - 1, founders / 2));
      s = (rng() % 3 == 0) ? pick(rng) : few(rng);  // a few popular sires
      d = pick(rng);
      if (rng() % 5 == 0) d = -1;
    }
    for (int j = 0; j < i; ++j) {
      double v = 0.0;
      if (s >= 0) v += 0.5 * at(full, n, j, s);
      if (d >= 0) v += 0.5 * at(full, n, j, d);
      at(full, n, i, j) = at(full, n, j, i) = v;
    }
    at(full, n, i, i) = 1.0 + (s >= 0 && d >= 0 ? 0.5 * at(full, n, s, d) : 0.0);
  }
  matrix a(static_cast<std::size_t>(m) * m);
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) at(a, m, i, j) = at(full, n, n - m + i, n - m + j);
  return a;
}

matrix random_gram(int n, int k, double scale, std::mt19937_64& rng) {
  std::normal_distribution<double> z(0.0, 1.0);
  matrix b(static_cast<std::size_t>(n) * k);
  for (double& e : b) e = z(rng);
  matrix g(static_cast<std::size_t>(n) * n, 0.0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      for (int q = 0; q < k; ++q) at(g, n, i, j) += scale * b[i + q * n] * b[j + q * n];
  return g;
}

// A model with known covariances: Vp, D = Vw - Vp and Vy, and the prediction error matrices
// Cp = s2 A - Vp, Cw = Cp - D that give them.
struct model_case {
  int m = 0;
  double s2 = 2.0, h2 = 0.3, gvar = 1.8;
  matrix a, vp, d, vw, vy, cp, cw;
  std::vector<double> pev_w, pev_p;
  pec_matrix pec_w, pec_p;
};

model_case make_case(int n_ped, int m, unsigned seed) {
  model_case c;
  c.m = m;
  c.a = random_relationships(n_ped, m, seed);
  std::mt19937_64 rng(seed + 17);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  const std::size_t mm = static_cast<std::size_t>(m) * m;
  c.vp.assign(mm, 0.0);
  c.d.assign(mm, 0.0);
  const matrix b = random_gram(m, 3, 1.0 / m, rng);
  const matrix g = random_gram(m, 2, 1.0 / m, rng);
  for (std::size_t e = 0; e < mm; ++e) {
    c.vp[e] = c.s2 * (0.35 * c.a[e] + b[e]);
    c.d[e] = c.s2 * (0.25 * c.a[e] + g[e]);
  }
  for (int i = 0; i < m; ++i) at(c.d, m, i, i) += c.s2 * 0.1 * u(rng);
  c.vw = add(c.vp, c.d);
  c.vy = c.a;
  for (double& e : c.vy) e *= c.s2;
  for (int i = 0; i < m; ++i) at(c.vy, m, i, i) += c.s2 / c.h2 - c.s2;
  c.cp = c.a;
  for (std::size_t e = 0; e < mm; ++e) c.cp[e] = c.s2 * c.a[e] - c.vp[e];
  c.cw = add(c.cp, c.d, -1.0);
  std::vector<pec_pair> pw, pp;
  for (int i = 0; i < m; ++i) {
    c.pev_w.push_back(at(c.cw, m, i, i));
    c.pev_p.push_back(at(c.cp, m, i, i));
    for (int j = 0; j < i; ++j) {
      // Alternate the order of the pair, as files may.
      if ((i + j) % 2) {
        pw.push_back({i, j, at(c.cw, m, i, j), 0});
        pp.push_back({j, i, at(c.cp, m, i, j), 0});
      } else {
        pw.push_back({j, i, at(c.cw, m, i, j), 0});
        pp.push_back({i, j, at(c.cp, m, i, j), 0});
      }
    }
  }
  std::shuffle(pw.begin(), pw.end(), rng);
  c.pec_w = make_pec_matrix(m, pw);
  c.pec_p = make_pec_matrix(m, pp);
  return c;
}

std::vector<double> normals(int n, std::mt19937_64& rng) {
  std::normal_distribution<double> z(0.0, 1.0);
  std::vector<double> v(n);
  for (double& e : v) e = z(rng);
  return v;
}

std::vector<double> lower_times(const matrix& l, int n, const std::vector<double>& v) {
  std::vector<double> out(n, 0.0);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) out[i] += at(l, n, i, j) * v[j];
  return out;
}

// The trace scalars formed densely from Vp, Vw, Vy, D and p.
trace_scalars dense_traces(const matrix& vp, const matrix& vw, const matrix& vy, const matrix& d,
                           const std::vector<double>& p, int m) {
  const matrix pm = jvj(vp, m), wm = jvj(vw, m), ym = jvj(vy, m);
  trace_scalars t;
  t.t_pp = frobenius(pm, pm);
  t.t_pw = frobenius(pm, wm);
  t.t_ww = frobenius(wm, wm);
  t.t_py = frobenius(pm, ym);
  t.t_yy = frobenius(ym, ym);
  double mean = 0.0;
  for (double e : p) mean += e / m;
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j) {
      t.d_sum += at(d, m, i, j);
      t.x_d_x += (p[i] - mean) * (p[j] - mean) * at(d, m, i, j);
    }
  return t;
}

void expect_traces_near(const trace_scalars& got, const trace_scalars& want) {
  auto near = [](double a, double b) { EXPECT_NEAR(a, b, 1e-10 * std::max(1.0, std::fabs(b))); };
  near(got.t_pp, want.t_pp);
  near(got.t_pw, want.t_pw);
  near(got.t_ww, want.t_ww);
  near(got.t_py, want.t_py);
  near(got.t_yy, want.t_yy);
  near(got.d_sum, want.d_sum);
  near(got.x_d_x, want.x_d_x);
}

struct draws {
  std::vector<double> w, p, y;
};

// One draw of (w, p, y) from the model: p ~ N(0, Vp), w = p + N(0, D), y = p + N(0, Vy - Vp).
draws draw(const matrix& lp, const matrix& ld, const matrix& le, int m, std::mt19937_64& rng) {
  draws z;
  z.p = lower_times(lp, m, normals(m, rng));
  const std::vector<double> e = lower_times(ld, m, normals(m, rng));
  const std::vector<double> f = lower_times(le, m, normals(m, rng));
  z.w.resize(m);
  z.y.resize(m);
  for (int i = 0; i < m; ++i) {
    z.w[i] = z.p[i] + e[i] + 3.0;  // the means do not matter, except to the bias
    z.y[i] = z.p[i] + f[i] - 1.0;
  }
  return z;
}

se_trait_input input_of(const model_case& c, const draws& z, bool with_y) {
  se_trait_input in;
  in.trait = 1;
  in.w = z.w;
  in.p = z.p;
  if (with_y) in.y = z.y;
  in.s2 = c.s2;
  in.gvar_focal = c.gvar;
  in.h2 = c.h2;
  return in;
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

// ---- trace scalars
// -------------------------------------------------------------------------------

TEST(analytical_se, exact_traces_with_covariances_match_dense_products) {
  const model_case c = make_case(60, 37, 1);
  std::mt19937_64 rng(5);
  draws z =
      draw(cholesky(c.vp, c.m), cholesky(c.d, c.m), cholesky(add(c.vy, c.vp, -1), c.m), c.m, rng);
  se_exact_model model{c.a, c.pev_w, c.pev_p, &c.pec_w, &c.pec_p};
  const trace_scalars got = exact_trace_scalars(input_of(c, z, true), model);
  expect_traces_near(got, dense_traces(c.vp, c.vw, c.vy, c.d, z.p, c.m));
}

TEST(analytical_se, exact_traces_take_missing_pairs_as_zero) {
  model_case c = make_case(30, 12, 2);
  // Keep every third pair of the partial evaluation, none of the whole one.
  std::vector<pec_pair> kept;
  matrix cp = c.cp;
  for (int i = 0; i < c.m; ++i)
    for (int j = 0; j < i; ++j) {
      if ((i * 7 + j) % 3 == 0)
        kept.push_back({i, j, at(c.cp, c.m, i, j), 0});
      else
        at(cp, c.m, i, j) = at(cp, c.m, j, i) = 0.0;
    }
  const pec_matrix pec_p = make_pec_matrix(c.m, kept);
  matrix cw(c.cw.size(), 0.0);
  for (int i = 0; i < c.m; ++i) at(cw, c.m, i, i) = c.pev_w[i];
  matrix sa(c.a);
  for (double& e : sa) e *= c.s2;
  const matrix vp = add(sa, cp, -1), vw = add(sa, cw, -1), d = add(cp, cw, -1);

  std::mt19937_64 rng(6);
  draws z;
  z.p = normals(c.m, rng);
  z.w = normals(c.m, rng);
  z.y = normals(c.m, rng);
  se_exact_model model{c.a, c.pev_w, c.pev_p, nullptr, &pec_p};
  expect_traces_near(exact_trace_scalars(input_of(c, z, true), model),
                     dense_traces(vp, vw, c.vy, d, z.p, c.m));
}

TEST(analytical_se, exact_traces_without_covariances_use_accuracies_off_the_diagonal) {
  const model_case c = make_case(35, 14, 3);
  const int m = c.m;
  // D: diagonal PEV_p - PEV_w, off-diagonal s2 a_ij (r_w,i r_w,j - r_p,i r_p,j).
  std::vector<double> rw(m), rp(m);
  for (int i = 0; i < m; ++i) {
    const double aii = at(c.a, m, i, i);
    rw[i] = std::sqrt(std::clamp(1.0 - c.pev_w[i] / (aii * c.s2), 0.0, 1.0));
    rp[i] = std::sqrt(std::clamp(1.0 - c.pev_p[i] / (aii * c.s2), 0.0, 1.0));
  }
  matrix vp(c.a.size()), d(c.a.size());
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) {
      const double sa = c.s2 * at(c.a, m, i, j);
      at(vp, m, i, j) = i == j ? sa - c.pev_p[i] : sa;
      at(d, m, i, j) = i == j ? c.pev_p[i] - c.pev_w[i] : sa * (rw[i] * rw[j] - rp[i] * rp[j]);
    }
  const matrix vw = add(vp, d);
  std::mt19937_64 rng(7);
  draws z;
  z.p = normals(m, rng);
  z.w = normals(m, rng);
  se_exact_model model{c.a, c.pev_w, c.pev_p, nullptr, nullptr};
  trace_scalars want = dense_traces(vp, vw, c.vy, d, z.p, m);
  want.t_py = want.t_yy = 0.0;  // no phenotypes given
  expect_traces_near(exact_trace_scalars(input_of(c, z, false), model), want);
}

TEST(analytical_se, approx_traces_match_dense_products_of_diagonal_matrices) {
  const int m = 23;
  std::mt19937_64 rng(8);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<double> diag_a(m), rw(m), rp(m);
  matrix vp(static_cast<std::size_t>(m) * m, 0.0), vw(vp), vy(vp), d(vp);
  const double s2 = 1.5, h2 = 0.4;
  for (int i = 0; i < m; ++i) {
    diag_a[i] = 1.0 + 0.2 * u(rng);
    rw[i] = u(rng);
    rp[i] = u(rng);
    at(vp, m, i, i) = s2 * diag_a[i] * rp[i] * rp[i];
    at(vw, m, i, i) = s2 * diag_a[i] * rw[i] * rw[i];
    at(vy, m, i, i) = s2 * diag_a[i] + s2 / h2 - s2;
    at(d, m, i, i) = at(vw, m, i, i) - at(vp, m, i, i);
  }
  draws z;
  z.p = normals(m, rng);
  z.w = normals(m, rng);
  z.y = normals(m, rng);
  se_trait_input in;
  in.w = z.w;
  in.p = z.p;
  in.y = z.y;
  in.s2 = s2;
  in.h2 = h2;
  expect_traces_near(approx_trace_scalars(in, {diag_a, rw, rp}),
                     dense_traces(vp, vw, vy, d, z.p, m));
}

TEST(analytical_se, exact_traces_read_only_the_lower_triangle) {
  model_case c = make_case(30, 13, 9);
  std::mt19937_64 rng(10);
  draws z;
  z.p = normals(c.m, rng);
  z.w = normals(c.m, rng);
  z.y = normals(c.m, rng);
  se_exact_model model{c.a, c.pev_w, c.pev_p, &c.pec_w, &c.pec_p};
  const trace_scalars full = exact_trace_scalars(input_of(c, z, true), model);
  matrix lower(c.a);
  for (int j = 0; j < c.m; ++j)
    for (int i = 0; i < j; ++i) at(lower, c.m, i, j) = std::nan("");
  model.a_focal = lower;
  const trace_scalars half = exact_trace_scalars(input_of(c, z, true), model);
  EXPECT_EQ(half.t_pp, full.t_pp);
  EXPECT_EQ(half.t_yy, full.t_yy);
  model.pec_w = model.pec_p = nullptr;
  EXPECT_TRUE(std::isfinite(exact_trace_scalars(input_of(c, z, true), model).t_pw));
}

TEST(analytical_se, exact_traces_do_not_depend_on_the_thread_count) {
  model_case c = make_case(300, 260, 11);
  std::mt19937_64 rng(12);
  draws z;
  z.p = normals(c.m, rng);
  z.w = normals(c.m, rng);
  z.y = normals(c.m, rng);
  const int saved = omp_get_max_threads();
  for (const bool with_pec : {false, true}) {
    se_exact_model model{c.a, c.pev_w, c.pev_p, with_pec ? &c.pec_w : nullptr,
                         with_pec ? &c.pec_p : nullptr};
    omp_set_num_threads(1);
    const trace_scalars one = exact_trace_scalars(input_of(c, z, true), model);
    omp_set_num_threads(3);
    const trace_scalars three = exact_trace_scalars(input_of(c, z, true), model);
    EXPECT_EQ(one.t_pp, three.t_pp);
    EXPECT_EQ(one.t_pw, three.t_pw);
    EXPECT_EQ(one.t_ww, three.t_ww);
    EXPECT_EQ(one.t_py, three.t_py);
    EXPECT_EQ(one.d_sum, three.d_sum);
    EXPECT_EQ(one.x_d_x, three.x_d_x);
  }
  omp_set_num_threads(saved);
}

// ---- variances against Monte Carlo
// -----------------------------------------------------------------

// The covariances of the moments (S_pw, S_pp, S_ww), of the bias and of the reliability over
// draws from the model against the trace formulas.
TEST(analytical_se, moment_covariances_match_monte_carlo) {
  const model_case c = make_case(60, 40, 21);
  const int m = c.m, n = 4000;
  const matrix lp = cholesky(c.vp, m), ld = cholesky(c.d, m), le = cholesky(add(c.vy, c.vp, -1), m);
  std::mt19937_64 rng(22);
  se_exact_model model{c.a, c.pev_w, c.pev_p, &c.pec_w, &c.pec_p};
  draws z0 = draw(lp, ld, le, m, rng);
  const trace_scalars t = exact_trace_scalars(input_of(c, z0, true), model);
  const se_result r0 = intervals_from_traces(input_of(c, z0, true), t);

  std::vector<std::vector<double>> s(6, std::vector<double>(n));  // pw, pp, ww, bias, py, yy
  std::vector<double> rel(n);
  for (int k = 0; k < n; ++k) {
    const draws z = draw(lp, ld, le, m, rng);
    const sample_moments mo = observed_moments(input_of(c, z, true));
    s[0][k] = mo.s_pw;
    s[1][k] = mo.s_pp;
    s[2][k] = mo.s_ww;
    s[3][k] = mo.mean_diff;
    s[4][k] = mo.s_py;
    s[5][k] = mo.s_yy;
    rel[k] = mo.s_pw / c.gvar;
  }
  const double m2 = static_cast<double>(m) * m;
  // Covariance of two series with the standard error of that estimate.
  auto check_cov = [&](int a, int b, double want, const char* what) {
    const sample sa = summarize(s[a]), sb = summarize(s[b]);
    std::vector<double> prod(n);
    for (int k = 0; k < n; ++k) prod[k] = (s[a][k] - sa.mean) * (s[b][k] - sb.mean);
    const sample sp = summarize(prod);
    EXPECT_NEAR(sp.mean, want, 4.5 * std::sqrt(sp.var / n)) << what;
  };
  check_cov(0, 0, (t.t_pp + t.t_pw) / m2, "Var(S_pw)");
  check_cov(0, 1, 2 * t.t_pp / m2, "Cov(S_pw, S_pp)");
  check_cov(0, 2, 2 * t.t_pw / m2, "Cov(S_pw, S_ww)");
  check_cov(1, 1, 2 * t.t_pp / m2, "Var(S_pp)");
  check_cov(1, 2, 2 * t.t_pp / m2, "Cov(S_pp, S_ww)");
  check_cov(2, 2, 2 * t.t_ww / m2, "Var(S_ww)");
  check_cov(4, 4, (t.t_pp + t.t_py) / m2, "Var(S_py)");
  check_cov(4, 5, 2 * t.t_py / m2, "Cov(S_py, S_yy)");
  check_cov(5, 5, 2 * t.t_yy / m2, "Var(S_yy)");

  const sample bias = summarize(s[3]);
  EXPECT_NEAR(bias.var, r0.intervals.bias.variance, 4.5 * bias.se_var);
  EXPECT_NEAR(bias.mean, -3.0, 4.5 * std::sqrt(bias.var / n));
  const sample re = summarize(rel);
  EXPECT_NEAR(re.var, r0.intervals.reliability.variance, 4.5 * re.se_var);
}

// Dispersion given the partial EBVs: w = p + e, e ~ N(0, D).
TEST(analytical_se, dispersion_variance_matches_monte_carlo_given_the_partial_ebvs) {
  const model_case c = make_case(40, 20, 31);
  const int m = c.m, n = 4000;
  const matrix lp = cholesky(c.vp, m), ld = cholesky(c.d, m), le = cholesky(add(c.vy, c.vp, -1), m);
  std::mt19937_64 rng(32);
  const draws z0 = draw(lp, ld, le, m, rng);
  se_exact_model model{c.a, c.pev_w, c.pev_p, &c.pec_w, &c.pec_p};
  const se_result r = intervals_from_traces(input_of(c, z0, false),
                                            exact_trace_scalars(input_of(c, z0, false), model));
  std::vector<double> b(n);
  for (int k = 0; k < n; ++k) {
    draws z = z0;
    const std::vector<double> e = lower_times(ld, m, normals(m, rng));
    for (int i = 0; i < m; ++i) z.w[i] = z.p[i] + e[i];
    b[k] = observed_moments(input_of(c, z, false)).s_pw / r.moments.s_pp;
  }
  const sample sb = summarize(b);
  EXPECT_NEAR(sb.var, r.intervals.dispersion.variance, 4.5 * sb.se_var);
  EXPECT_NEAR(sb.mean, 1.0, 4.5 * std::sqrt(sb.var / n));
}

// Ratio of accuracies and predictive ability (delta method). At the expected moments the
// delta-method variance must match the empirical variance of the correlations over draws within
// sampling error (plus 3% for the linearisation at this size). The run plugs in the observed
// moments; the mean of those variances stays within 15% of the empirical one here.
TEST(analytical_se, correlation_variances_match_monte_carlo) {
  const model_case c = make_case(200, 150, 41);
  const int m = c.m, n = 3000;
  const matrix lp = cholesky(c.vp, m), ld = cholesky(c.d, m), le = cholesky(add(c.vy, c.vp, -1), m);
  std::mt19937_64 rng(42);
  se_exact_model model{c.a, c.pev_w, c.pev_p, &c.pec_w, &c.pec_p};
  const trace_scalars t = exact_trace_scalars(input_of(c, draw(lp, ld, le, m, rng), true), model);
  std::vector<double> ra(n), pa(n);
  double plug_ra = 0, plug_pa = 0;
  for (int k = 0; k < n; ++k) {
    const draws z = draw(lp, ld, le, m, rng);
    const se_result r = intervals_from_traces(input_of(c, z, true), t);
    ra[k] = r.values.ratio_acc;
    pa[k] = r.values.pred_ability * std::sqrt(c.h2);  // cor(y, p)
    plug_ra += r.intervals.ratio_acc.variance / n;
    plug_pa += r.intervals.pred_ability.variance * c.h2 / n;
  }
  const matrix jm = centring_matrix(m);
  const double e_pp = frobenius(jm, c.vp) / m, e_ww = frobenius(jm, c.vw) / m,
               e_yy = frobenius(jm, c.vy) / m;  // E S_pw = E S_py = E S_pp
  const double v_ra = correlation_variance(e_pp, e_pp, e_ww, t.t_pp, t.t_pw, t.t_ww, m);
  const double v_pa = correlation_variance(e_pp, e_pp, e_yy, t.t_pp, t.t_py, t.t_yy, m);
  const sample sra = summarize(ra), spa = summarize(pa);
  EXPECT_NEAR(v_ra, sra.var, 4.0 * sra.se_var + 0.03 * sra.var);
  EXPECT_NEAR(v_pa, spa.var, 4.0 * spa.se_var + 0.03 * spa.var);
  EXPECT_NEAR(plug_ra, sra.var, 0.15 * sra.var);
  EXPECT_NEAR(plug_pa, spa.var, 0.15 * spa.var);
}

// ---- limits and warnings
// ------------------------------------------------------------------------------

TEST(analytical_se, fisher_z_limits_are_symmetric_on_the_z_scale) {
  const interval r = fisher_z_interval(0.6, 0.0025);
  const double half = 1.959964 * 0.05 / (1 - 0.36);
  EXPECT_NEAR(std::atanh(r.lower), std::atanh(0.6) - half, 1e-12);
  EXPECT_NEAR(std::atanh(r.upper), std::atanh(0.6) + half, 1e-12);
  EXPECT_LT(r.upper - 0.6, 0.6 - r.lower);  // squeezed towards 1
  EXPECT_EQ(r.variance, 0.0025);
  const interval one = fisher_z_interval(1.0, 0.01);
  EXPECT_EQ(one.lower, 1.0);
  EXPECT_EQ(one.upper, 1.0);
  const interval minus = fisher_z_interval(-1.2, 0.01);
  EXPECT_EQ(minus.lower, -1.2);
  EXPECT_EQ(minus.upper, -1.2);
}

se_trait_input small_input(std::vector<double>& w, std::vector<double>& p, std::vector<double>& y) {
  w = {1.0, 2.5, 0.3, 1.7, 2.2, 0.9};
  p = {0.8, 2.0, 0.5, 1.1, 1.9, 0.4};
  y = {3.0, 4.1, 0.2, 2.5, 1.0, 1.4};
  se_trait_input in;
  in.trait = 3;
  in.w = w;
  in.p = p;
  in.y = y;
  in.s2 = 1.2;
  in.gvar_focal = 1.1;
  in.h2 = 0.36;
  return in;
}

TEST(analytical_se, limits_are_centred_on_the_point_values) {
  std::vector<double> w, p, y;
  const se_trait_input in = small_input(w, p, y);
  trace_scalars t{0.9, 0.7, 1.3, 0.8, 5.0, 0.6, 0.4};
  const se_result r = intervals_from_traces(in, t);
  EXPECT_TRUE(r.warnings.empty());
  const double m = 6;
  const sample_moments& s = r.moments;
  // Point values as the LR statistics define them, from two-pass sums here.
  double mp = 0, mw = 0;
  for (int i = 0; i < 6; ++i) mp += p[i] / m, mw += w[i] / m;
  double sxw = 0, sxx = 0, sww = 0;
  for (int i = 0; i < 6; ++i) {
    sxw += (p[i] - mp) * (w[i] - mw);
    sxx += (p[i] - mp) * (p[i] - mp);
    sww += (w[i] - mw) * (w[i] - mw);
  }
  EXPECT_NEAR(r.values.bias, mp - mw, 1e-14);
  EXPECT_NEAR(r.values.dispersion, sxw / sxx, 1e-14);
  EXPECT_NEAR(r.values.ratio_acc, sxw / std::sqrt(sxx * sww), 1e-14);
  EXPECT_NEAR(r.values.reliability, sxw / m / 1.1, 1e-14);

  EXPECT_NEAR(r.intervals.bias.variance, 0.6 / 36, 1e-15);
  EXPECT_NEAR(r.intervals.bias.lower, r.values.bias - 1.959964 * std::sqrt(0.6 / 36), 1e-14);
  EXPECT_NEAR(r.intervals.dispersion.variance, 0.4 / (sxx * sxx), 1e-15);
  EXPECT_NEAR(r.intervals.dispersion.upper,
              r.values.dispersion + 1.959964 * std::sqrt(0.4 / (sxx * sxx)), 1e-14);
  EXPECT_NEAR(r.intervals.reliability.variance, (0.9 + 0.7) / (36 * 1.1 * 1.1), 1e-15);

  // g' Omega g written out as a full 3 x 3 product.
  const double rho = s.s_pw / std::sqrt(s.s_pp * s.s_ww);
  const double g[3] = {1 / std::sqrt(s.s_pp * s.s_ww), -rho / (2 * s.s_pp), -rho / (2 * s.s_ww)};
  const double om[3][3] = {{0.9 + 0.7, 1.8, 1.4}, {1.8, 1.8, 1.8}, {1.4, 1.8, 2.6}};
  double q = 0;
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) q += g[a] * om[a][b] * g[b] / 36;
  EXPECT_NEAR(r.intervals.ratio_acc.variance, q, 1e-13 * q);
  const interval z = fisher_z_interval(r.values.ratio_acc, q);
  EXPECT_NEAR(r.intervals.ratio_acc.lower, z.lower, 1e-13);

  // Predictive ability: Fisher's z on cor(y, p), then SD and limits divided by sqrt(h2).
  const double rho_y = s.s_py / std::sqrt(s.s_pp * s.s_yy);
  EXPECT_NEAR(r.values.pred_ability, rho_y / 0.6, 1e-14);
  const double gy[3] = {1 / std::sqrt(s.s_pp * s.s_yy), -rho_y / (2 * s.s_pp),
                        -rho_y / (2 * s.s_yy)};
  const double oy[3][3] = {{0.9 + 0.8, 1.8, 1.6}, {1.8, 1.8, 1.8}, {1.6, 1.8, 10.0}};
  double qy = 0;
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) qy += gy[a] * oy[a][b] * gy[b] / 36;
  const interval zy = fisher_z_interval(rho_y, qy);
  EXPECT_NEAR(r.intervals.pred_ability.variance, qy / 0.36, 1e-13 * qy);
  EXPECT_NEAR(r.intervals.pred_ability.lower, zy.lower / 0.6, 1e-13);
  EXPECT_NEAR(r.intervals.pred_ability.upper, zy.upper / 0.6, 1e-13);
}

TEST(analytical_se, negative_variances_are_set_to_zero_with_a_warning) {
  std::vector<double> w, p, y;
  const se_trait_input in = small_input(w, p, y);
  // 1'D1 < 0, x'Dx < 0, tPP + tPW < 0 and tPY far below 0; tWW keeps the quadratic form of the
  // ratio of accuracies positive.
  const se_result r = intervals_from_traces(in, {0.9, -1.0, 8.0, -40.0, 5.0, -0.6, -0.4});
  ASSERT_GT(r.moments.s_pp, 0.0);
  ASSERT_EQ(r.warnings.size(), 4u);
  EXPECT_EQ(r.warnings[0],
            "Warning: negative sampling variance of the absolute bias for trait 3 set to 0");
  EXPECT_EQ(r.warnings[1],
            "Warning: negative sampling variance of the dispersion for trait 3 set to 0");
  EXPECT_EQ(r.warnings[2],
            "Warning: negative sampling variance of the reliability for trait 3 set to 0");
  EXPECT_EQ(r.warnings[3],
            "Warning: negative sampling variance of the predictive ability for trait 3 set to 0");
  EXPECT_GT(r.intervals.ratio_acc.variance, 0.0);
  EXPECT_EQ(r.intervals.bias.variance, 0.0);
  EXPECT_EQ(r.intervals.bias.lower, r.values.bias);
  EXPECT_EQ(r.intervals.bias.upper, r.values.bias);
  EXPECT_EQ(r.intervals.reliability.variance, 0.0);
  EXPECT_EQ(r.intervals.reliability.upper, r.values.reliability);
  EXPECT_EQ(r.intervals.pred_ability.variance, 0.0);
  EXPECT_NEAR(r.intervals.pred_ability.lower, r.values.pred_ability, 1e-15);

  const se_result ratio = intervals_from_traces(in, {0.9, 0.7, -50.0, 0.8, 5.0, 0.6, 0.4});
  ASSERT_EQ(ratio.warnings.size(), 1u);
  EXPECT_EQ(ratio.warnings[0],
            "Warning: negative sampling variance of the ratio of accuracies for trait 3 set to 0");
  EXPECT_EQ(ratio.intervals.ratio_acc.lower, ratio.values.ratio_acc);
}

TEST(analytical_se, exact_without_covariances_prints_the_conservative_warning) {
  const model_case c = make_case(20, 8, 51);
  std::mt19937_64 rng(52);
  draws z;
  z.p = normals(c.m, rng);
  z.w = normals(c.m, rng);
  se_trait_input in = input_of(c, z, false);
  in.trait = 2;
  ::testing::internal::CaptureStdout();
  const se_result r = se_exact(in, {c.a, c.pev_w, c.pev_p, nullptr, nullptr});
  const std::string out = ::testing::internal::GetCapturedStdout();
  ASSERT_FALSE(r.warnings.empty());
  EXPECT_EQ(
      r.warnings[0],
      "Warning: no prediction error covariances for trait 2; standard errors are conservative");
  std::string printed;
  for (const std::string& l : r.warnings) printed += l + "\n";
  EXPECT_EQ(out, printed);

  ::testing::internal::CaptureStdout();
  const se_result with = se_exact(in, {c.a, c.pev_w, c.pev_p, &c.pec_w, &c.pec_p});
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_TRUE(with.warnings.empty());

  ::testing::internal::CaptureStdout();
  const se_result half = se_exact(in, {c.a, c.pev_w, c.pev_p, nullptr, &c.pec_p});
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "Warning: prediction error covariances for trait 2 only in the partial evaluation; "
            "those of the whole evaluation are taken as 0\n");
  EXPECT_EQ(half.warnings.size(), 1u);
}

TEST(analytical_se, approx_accuracies_come_from_acc_or_se_columns) {
  const std::vector<double> acc = {0.5, 1.2, -0.1}, diag = {1.0, 1.25, 1.0};
  EXPECT_EQ(approx_accuracies(accuracy_column::acc, acc, {}, 2.0),
            (std::vector<double>{0.5, 1.0, 0.0}));
  const std::vector<double> se = {1.0, 0.5, 3.0};
  const std::vector<double> r = approx_accuracies(accuracy_column::se, se, diag, 2.0);
  EXPECT_NEAR(r[0], std::sqrt(1 - 1.0 / 2.0), 1e-15);
  EXPECT_NEAR(r[1], std::sqrt(1 - 0.25 / 2.5), 1e-15);
  EXPECT_EQ(r[2], 0.0);  // PEV above the genetic variance: clamped
  try {
    approx_accuracies(accuracy_column::none, acc, diag, 2.0);
    FAIL() << "no stop";
  } catch (const fatal_error& e) {
    ASSERT_EQ(e.lines().size(), 4u);
    EXPECT_EQ(e.lines()[2], "trait/effect level  solution acc");
    EXPECT_EQ(e.lines()[3], "trait/effect level  solution          s.e.");
  }
}

TEST(analytical_se, approx_variances_match_monte_carlo_of_unrelated_animals) {
  const int m = 40, n = 4000;
  std::mt19937_64 rng(61);
  std::uniform_real_distribution<double> u(0.2, 0.9);
  std::vector<double> diag_a(m), rw(m), rp(m);
  const double s2 = 1.0;
  for (int i = 0; i < m; ++i) {
    diag_a[i] = 1.0 + 0.1 * (i % 3);
    rp[i] = u(rng);
    rw[i] = std::max(rp[i], u(rng));
  }
  se_trait_input in;
  in.s2 = s2;
  in.gvar_focal = 1.0;
  in.h2 = 0.3;
  std::vector<double> bias(n), rel(n);
  double v_bias = 0, v_rel = 0;
  std::normal_distribution<double> z(0, 1);
  for (int k = 0; k < n; ++k) {
    std::vector<double> w(m), p(m);
    for (int i = 0; i < m; ++i) {
      const double vp = s2 * diag_a[i] * rp[i] * rp[i], vw = s2 * diag_a[i] * rw[i] * rw[i];
      p[i] = std::sqrt(vp) * z(rng);
      w[i] = p[i] + std::sqrt(vw - vp) * z(rng);
    }
    in.w = w;
    in.p = p;
    const se_result r = intervals_from_traces(in, approx_trace_scalars(in, {diag_a, rw, rp}));
    bias[k] = r.values.bias;
    rel[k] = r.values.reliability;
    v_bias = r.intervals.bias.variance;
    v_rel = r.intervals.reliability.variance;
  }
  const sample sb = summarize(bias), sr = summarize(rel);
  EXPECT_NEAR(sb.var, v_bias, 4.5 * sb.se_var);
  EXPECT_NEAR(sr.var, v_rel, 4.5 * sr.se_var);
}

TEST(analytical_se, pec_matrix_reports_a_pair_given_twice_in_either_order) {
  std::vector<pec_pair> pairs = {{0, 1, 0.1, 11}, {2, 0, 0.2, 12}, {1, 0, 0.3, 13}};
  pec_duplicate dup;
  make_pec_matrix(3, pairs, &dup);
  ASSERT_TRUE(dup.found);
  EXPECT_EQ(dup.first_tag, 11);
  EXPECT_EQ(dup.second_tag, 13);
  EXPECT_EQ(dup.i, 1);
  EXPECT_EQ(dup.j, 0);
  pairs.pop_back();
  const pec_matrix c = make_pec_matrix(3, pairs, &dup);
  EXPECT_EQ(c.col_start, (std::vector<std::int64_t>{0, 2, 2, 2}));
  EXPECT_EQ(c.row, (std::vector<int>{1, 2}));
  EXPECT_EQ(c.value, (std::vector<double>{0.1, 0.2}));
}

TEST(analytical_se, one_or_no_focal_animal_gives_non_finite_values_without_a_stop) {
  const std::vector<double> one = {0.5}, a = {1.0}, pev = {0.2}, acc = {0.7};
  se_trait_input in;
  in.w = one;
  in.p = one;
  in.s2 = 1.0;
  in.gvar_focal = 1.0;
  const se_result r =
      intervals_from_traces(in, exact_trace_scalars(in, {a, pev, pev, nullptr, nullptr}));
  EXPECT_EQ(r.values.bias, 0.0);
  EXPECT_FALSE(std::isfinite(r.values.dispersion));
  EXPECT_FALSE(std::isfinite(r.intervals.ratio_acc.lower));
  const se_result ra = intervals_from_traces(in, approx_trace_scalars(in, {a, acc, acc}));
  EXPECT_FALSE(std::isfinite(ra.values.ratio_acc));
  in.w = in.p = {};
  const se_result none =
      intervals_from_traces(in, exact_trace_scalars(in, {{}, {}, {}, nullptr, nullptr}));
  EXPECT_TRUE(std::isnan(none.values.bias));
  EXPECT_TRUE(std::isnan(none.intervals.bias.variance));
}

}  // namespace
}  // namespace ventrel::statistics
