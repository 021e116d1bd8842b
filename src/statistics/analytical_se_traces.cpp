// The trace scalars of the analytical standard errors: sums of products of the doubly centred
// covariance matrices P = J Vp J, W = J Vw J and Y = J Vy J, formed element by element from
// A_focal and row means, never stored.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "statistics/analytical_se.hpp"

namespace ventrel::statistics {
namespace {

// Number of column blocks of the symmetric products. Fixed, so that the order in which the
// partial sums are added, and with it the result, does not depend on the number of threads.
constexpr int n_blocks = 32;

// Splits the columns 0..m-1 into blocks of about equal work over the lower triangle (column j
// holds m - j elements): block b is [start[b], start[b + 1]).
std::vector<int> triangle_blocks(int m) {
  std::vector<int> start(n_blocks + 1, m);
  start[0] = 0;
  const double total = 0.5 * static_cast<double>(m) * (m + 1.0);
  double done = 0.0;
  int b = 1;
  for (int j = 0; j < m && b < n_blocks; ++j) {
    done += static_cast<double>(m - j);
    while (b < n_blocks && done >= total * b / n_blocks) start[b++] = j + 1;
  }
  for (; b < n_blocks; ++b) start[b] = m;
  return start;
}

// out[q] = A v[q] for the vectors v[q], reading only the lower triangle of the column-major
// m x m matrix a. Each column block gathers into its own columns and scatters into a private
// array; the private arrays are added in block order. Cost: one pass over the lower triangle.
std::vector<std::vector<double>> symmetric_products(int m, const double* a,
                                                    const std::vector<const double*>& v) {
  const std::size_t k = v.size();
  const std::size_t mm = static_cast<std::size_t>(m);
  const std::vector<int> start = triangle_blocks(m);
  std::vector<std::vector<double>> gather(k, std::vector<double>(mm, 0.0));
  std::vector<std::vector<double>> scatter(static_cast<std::size_t>(n_blocks) * k);

#pragma omp parallel for schedule(dynamic, 1)
  for (int b = 0; b < n_blocks; ++b) {
    if (start[b] == start[b + 1]) continue;
    for (std::size_t q = 0; q < k; ++q) scatter[b * k + q].assign(mm, 0.0);
    for (int j = start[b]; j < start[b + 1]; ++j) {
      const double* aj = a + static_cast<std::size_t>(j) * mm;
      for (std::size_t q = 0; q < k; ++q) {
        const double* vq = v[q];
        double* sq = scatter[b * k + q].data();
        const double vj = vq[j];
        double g = aj[j] * vj;
#pragma omp simd reduction(+ : g)
        for (int i = j + 1; i < m; ++i) {
          g += aj[i] * vq[i];
          sq[i] += aj[i] * vj;
        }
        gather[q][j] = g;
      }
    }
  }
  for (std::size_t q = 0; q < k; ++q)
    for (int b = 0; b < n_blocks; ++b) {
      const std::vector<double>& s = scatter[b * k + q];
      if (s.empty()) continue;
      for (std::size_t i = 0; i < mm; ++i) gather[q][i] += s[i];
    }
  return gather;
}

// Row sums of the stored (off-diagonal) covariances: each pair counts in both rows.
std::vector<double> pec_row_sums(const pec_matrix* c, int m) {
  std::vector<double> rs(static_cast<std::size_t>(m), 0.0);
  if (!c) return rs;
  for (int j = 0; j < m; ++j)
    for (std::int64_t e = c->col_start[j]; e < c->col_start[j + 1]; ++e) {
      rs[c->row[e]] += c->value[e];
      rs[j] += c->value[e];
    }
  return rs;
}

// Everything the column kernel reads, per focal animal i (positions from 0).
struct centring {
  std::vector<double> mp, mw, my;  // row means of Vp, Vw, Vy
  double gp = 0, gw = 0, gy = 0;   // grand means
};

struct column_sums {
  double pp = 0, pw = 0, ww = 0, py = 0, yy = 0, xdx = 0;
  double p_diag = 0;  // P_jj
};

struct kernel_data {
  int m = 0;
  const double* a = nullptr;
  double s2 = 0;
  double e_res = 0;  // s2 / h2 - s2, the residual variance on Vy's diagonal
  const double* pev_w = nullptr;
  const double* pev_p = nullptr;
  const double* r_w = nullptr;  // accuracies (without covariance matrices)
  const double* r_p = nullptr;
  const double* x = nullptr;  // centred partial EBVs
  const pec_matrix* pec_w = nullptr;
  const pec_matrix* pec_p = nullptr;
  const centring* c = nullptr;
};

// Sums of column j over rows i >= j, off-diagonal elements counted twice (for (i, j) and
// (j, i)). Without covariance matrices D_ij = s2 a_ij (r_w,i r_w,j - r_p,i r_p,j); with them the
// dense loop takes the off-diagonal covariances as 0 and the stored pairs are corrected after.
template <bool with_pec, bool with_y>
column_sums column_kernel(const kernel_data& k, int j) {
  const int m = k.m;
  const double* aj = k.a + static_cast<std::size_t>(j) * static_cast<std::size_t>(m);
  const double* mp = k.c->mp.data();
  const double* mw = k.c->mw.data();
  const double* my = k.c->my.data();
  const double* rw = k.r_w;
  const double* rp = k.r_p;
  const double* x = k.x;
  const double s2 = k.s2;
  const double cpj = mp[j] - k.c->gp;
  const double cwj = mw[j] - k.c->gw;
  const double cyj = my[j] - k.c->gy;
  const double rwj = with_pec ? 0.0 : rw[j];
  const double rpj = with_pec ? 0.0 : rp[j];

  double pp = 0, pw = 0, ww = 0, py = 0, yy = 0, xd = 0;
#pragma omp simd reduction(+ : pp, pw, ww, py, yy, xd)
  for (int i = j + 1; i < m; ++i) {
    const double s2a = s2 * aj[i];
    const double pij = s2a - mp[i] - cpj;
    double wij;
    if constexpr (with_pec) {
      wij = s2a - mw[i] - cwj;
    } else {
      const double d = s2a * (rw[i] * rwj - rp[i] * rpj);
      wij = s2a + d - mw[i] - cwj;
      xd += x[i] * d;
    }
    pp += pij * pij;
    pw += pij * wij;
    ww += wij * wij;
    if constexpr (with_y) {
      const double yij = s2a - my[i] - cyj;
      py += pij * yij;
      yy += yij * yij;
    }
  }

  if constexpr (with_pec) {
    // Stored pairs of column j: P = P0 - cp, W = W0 - cw, D = cp - cw; add the differences.
    const pec_matrix* cw_m = k.pec_w;
    const pec_matrix* cp_m = k.pec_p;
    std::int64_t ew = cw_m ? cw_m->col_start[j] : 0, ew_end = cw_m ? cw_m->col_start[j + 1] : 0;
    std::int64_t ep = cp_m ? cp_m->col_start[j] : 0, ep_end = cp_m ? cp_m->col_start[j + 1] : 0;
    while (ew < ew_end || ep < ep_end) {
      const int iw = ew < ew_end ? cw_m->row[ew] : m;
      const int ip = ep < ep_end ? cp_m->row[ep] : m;
      const int i = std::min(iw, ip);
      const double cw = iw == i ? cw_m->value[ew++] : 0.0;
      const double cp = ip == i ? cp_m->value[ep++] : 0.0;
      const double s2a = s2 * aj[i];
      const double p0 = s2a - mp[i] - cpj;
      const double w0 = s2a - mw[i] - cwj;
      pp -= cp * (2.0 * p0 - cp);
      pw += cp * cw - cp * w0 - cw * p0;
      ww -= cw * (2.0 * w0 - cw);
      if constexpr (with_y) py -= cp * (s2a - my[i] - cyj);
      xd += x[i] * (cp - cw);
    }
  }

  column_sums s;
  const double s2a = s2 * aj[j];
  const double pjj = s2a - k.pev_p[j] - 2.0 * mp[j] + k.c->gp;
  const double wjj = s2a - k.pev_w[j] - 2.0 * mw[j] + k.c->gw;
  s.p_diag = pjj;
  s.pp = 2.0 * pp + pjj * pjj;
  s.pw = 2.0 * pw + pjj * wjj;
  s.ww = 2.0 * ww + wjj * wjj;
  if constexpr (with_y) {
    const double yjj = s2a + k.e_res - 2.0 * my[j] + k.c->gy;
    s.py = 2.0 * py + pjj * yjj;
    s.yy = 2.0 * yy + yjj * yjj;
  }
  s.xdx = x[j] * (2.0 * xd + x[j] * (k.pev_p[j] - k.pev_w[j]));
  return s;
}

template <bool with_pec, bool with_y>
void all_columns(const kernel_data& k, std::vector<column_sums>& out) {
#pragma omp parallel for schedule(dynamic, 16)
  for (int j = 0; j < k.m; ++j) out[j] = column_kernel<with_pec, with_y>(k, j);
}

void check_length(std::size_t got, std::size_t want, const char* what) {
  if (got != want)
    fatal(std::string("Analytical standard errors: ") + what + " has " +
          num(static_cast<std::int64_t>(got)) + " elements, " +
          num(static_cast<std::int64_t>(want)) + " expected");
}

// Centred partial EBVs x = J p.
std::vector<double> centred(std::span<const double> v) {
  double s = 0.0;
  for (double e : v) s += e;
  const double mean = s / static_cast<double>(v.size());
  std::vector<double> x(v.size());
  for (std::size_t i = 0; i < v.size(); ++i) x[i] = v[i] - mean;
  return x;
}

double grand_mean(const std::vector<double>& row_means) {
  double s = 0.0;
  for (double e : row_means) s += e;
  return s / static_cast<double>(row_means.size());
}

}  // namespace

trace_scalars exact_trace_scalars(const se_trait_input& in, const se_exact_model& model) {
  const int m = static_cast<int>(in.p.size());
  const std::size_t mm = static_cast<std::size_t>(m);
  const bool with_y = !in.y.empty();
  check_length(in.w.size(), mm, "the whole EBV vector");
  if (with_y) check_length(in.y.size(), mm, "the phenotype vector");
  check_length(model.a_focal.size(), mm * mm, "A_focal");
  check_length(model.pev_w.size(), mm, "the whole PEV vector");
  check_length(model.pev_p.size(), mm, "the partial PEV vector");
  for (const pec_matrix* c : {model.pec_w, model.pec_p})
    if (c && (c->m != m || c->col_start.size() != mm + 1))
      fatal("Analytical standard errors: prediction error covariances for " + num(c->m) +
            " animals, " + num(m) + " expected");
  trace_scalars t;
  if (m == 0) return t;

  const bool with_pec = model.pec_w || model.pec_p;
  const double* a = model.a_focal.data();
  const double s2 = in.genetic_variance;
  const double e_res = s2 / in.h2 - s2;
  const std::vector<double> x = centred(in.p);

  // Accuracies for the off-diagonal of D when the covariances are not known.
  std::vector<double> rw, rp;
  std::vector<const double*> vecs;
  std::vector<double> ones(mm, 1.0);
  vecs.push_back(ones.data());
  if (!with_pec) {
    rw.resize(mm);
    rp.resize(mm);
    for (std::size_t i = 0; i < mm; ++i) {
      const double aii = a[i + i * mm];
      rw[i] = accuracy_from_pev(model.pev_w[i], aii, s2);
      rp[i] = accuracy_from_pev(model.pev_p[i], aii, s2);
    }
    vecs.push_back(rw.data());
    vecs.push_back(rp.data());
  }

  // Pass 1: row sums of A (and of A r_w, A r_p), then the row means of Vp, Vw, Vy and 1'D1.
  const std::vector<std::vector<double>> prod = symmetric_products(m, a, vecs);
  const std::vector<double> cw_rows = pec_row_sums(model.pec_w, m);
  const std::vector<double> cp_rows = pec_row_sums(model.pec_p, m);
  centring c;
  c.mp.resize(mm);
  c.mw.resize(mm);
  c.my.resize(mm);
  const double inv_m = 1.0 / static_cast<double>(m);
  for (std::size_t i = 0; i < mm; ++i) {
    const double sa = s2 * prod[0][i];
    double d_row;  // row sum of D
    if (with_pec) {
      d_row = (model.pev_p[i] + cp_rows[i]) - (model.pev_w[i] + cw_rows[i]);
    } else {
      const double aii = a[i + i * mm];
      d_row = (model.pev_p[i] - model.pev_w[i]) +
              s2 * (rw[i] * (prod[1][i] - aii * rw[i]) - rp[i] * (prod[2][i] - aii * rp[i]));
    }
    t.d_sum += d_row;
    const double vp_row = sa - model.pev_p[i] - cp_rows[i];
    c.mp[i] = vp_row * inv_m;
    c.mw[i] = (vp_row + d_row) * inv_m;
    c.my[i] = (sa + e_res) * inv_m;
  }
  c.gp = grand_mean(c.mp);
  c.gw = grand_mean(c.mw);
  c.gy = with_y ? grand_mean(c.my) : 0.0;

  // Pass 2: the centred products, one column at a time, summed in column order.
  kernel_data k;
  k.m = m;
  k.a = a;
  k.s2 = s2;
  k.e_res = e_res;
  k.pev_w = model.pev_w.data();
  k.pev_p = model.pev_p.data();
  k.r_w = rw.data();
  k.r_p = rp.data();
  k.x = x.data();
  k.pec_w = model.pec_w;
  k.pec_p = model.pec_p;
  k.c = &c;
  std::vector<column_sums> cols(mm);
  if (with_pec && with_y)
    all_columns<true, true>(k, cols);
  else if (with_pec)
    all_columns<true, false>(k, cols);
  else if (with_y)
    all_columns<false, true>(k, cols);
  else
    all_columns<false, false>(k, cols);
  for (const column_sums& s : cols) {
    t.t_pp += s.pp;
    t.t_pw += s.pw;
    t.t_ww += s.ww;
    t.t_py += s.py;
    t.t_yy += s.yy;
    t.x_d_x += s.xdx;
    t.trace_p += s.p_diag;
  }
  return t;
}

trace_scalars approx_trace_scalars(const se_trait_input& in, const se_approx_model& model) {
  const std::size_t mm = in.p.size();
  const bool with_y = !in.y.empty();
  check_length(in.w.size(), mm, "the whole EBV vector");
  if (with_y) check_length(in.y.size(), mm, "the phenotype vector");
  check_length(model.diag_a.size(), mm, "the diagonal of A");
  check_length(model.r_w.size(), mm, "the whole accuracies");
  check_length(model.r_p.size(), mm, "the partial accuracies");
  trace_scalars t;
  if (mm == 0) return t;

  // With diagonal V and U: tr(J V J U) = (1 - 2/m) sum v_i u_i + (sum v)(sum u) / m^2.
  const double m = static_cast<double>(mm);
  const double s2 = in.genetic_variance;
  const double e_res = s2 / in.h2 - s2;
  const std::vector<double> x = centred(in.p);
  double sp = 0, sw = 0, sy = 0, spp = 0, spw = 0, sww = 0, spy = 0, syy = 0;
  for (std::size_t i = 0; i < mm; ++i) {
    const double s2a = s2 * model.diag_a[i];
    const double vp = s2a * model.r_p[i] * model.r_p[i];
    const double vw = s2a * model.r_w[i] * model.r_w[i];
    sp += vp;
    sw += vw;
    spp += vp * vp;
    spw += vp * vw;
    sww += vw * vw;
    t.d_sum += vw - vp;
    t.x_d_x += x[i] * x[i] * (vw - vp);
    if (with_y) {
      const double vy = s2a + e_res;
      sy += vy;
      spy += vp * vy;
      syy += vy * vy;
    }
  }
  const double f = 1.0 - 2.0 / m;
  const double m2 = m * m;
  t.trace_p = sp * (1.0 - 1.0 / m);
  t.t_pp = f * spp + sp * sp / m2;
  t.t_pw = f * spw + sp * sw / m2;
  t.t_ww = f * sww + sw * sw / m2;
  if (with_y) {
    t.t_py = f * spy + sp * sy / m2;
    t.t_yy = f * syy + sy * sy / m2;
  }
  return t;
}

}  // namespace ventrel::statistics
