// The trace scalars of the analytical standard errors: sums of products of the doubly centred
// covariance matrices P = J Vp J, W = J Vw J and Y = J Vy J, formed element by element from the
// columns of A_focal as a sweep offers them, never stored.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "statistics/analytical_se.hpp"

namespace ventrel::statistics {
namespace {

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

// The stored covariances renumbered by the steps of the sweep: the pair (i, j) goes to the
// column of the later step with the earlier step as its row, rows ascending in each column.
pec_matrix pec_by_step(const pec_matrix& c, const std::vector<int>& step_of) {
  const std::size_t m = static_cast<std::size_t>(c.m);
  pec_matrix s;
  s.m = c.m;
  s.col_start.assign(m + 1, 0);
  for (std::size_t j = 0; j < m; ++j)
    for (std::int64_t e = c.col_start[j]; e < c.col_start[j + 1]; ++e)
      ++s.col_start[static_cast<std::size_t>(std::max(step_of[j], step_of[static_cast<std::size_t>(c.row[e])])) + 1];
  for (std::size_t k = 0; k < m; ++k) s.col_start[k + 1] += s.col_start[k];
  std::vector<std::int64_t> next(s.col_start.begin(), s.col_start.end() - 1);
  s.row.resize(c.row.size());
  s.value.resize(c.value.size());
  for (std::size_t j = 0; j < m; ++j)
    for (std::int64_t e = c.col_start[j]; e < c.col_start[j + 1]; ++e) {
      const int a = step_of[j], b = step_of[static_cast<std::size_t>(c.row[e])];
      const std::int64_t at = next[static_cast<std::size_t>(std::max(a, b))]++;
      s.row[at] = std::min(a, b);
      s.value[at] = c.value[e];
    }
  std::vector<std::pair<int, double>> col;
  for (std::size_t k = 0; k < m; ++k) {
    col.clear();
    for (std::int64_t e = s.col_start[k]; e < s.col_start[k + 1]; ++e) col.emplace_back(s.row[e], s.value[e]);
    std::sort(col.begin(), col.end());
    std::int64_t e = s.col_start[k];
    for (const auto& [r, v] : col) {
      s.row[e] = r;
      s.value[e++] = v;
    }
  }
  return s;
}

// One trait's vectors, by step of the sweep (position k holds the focal animal order[k]).
struct trait_data {
  bool with_pec = false;  // off-diagonal covariances given (else D's come from the accuracies)
  bool with_y = false;    // predictive ability
  double s2 = 0;          // genetic variance
  double e_res = 0;       // s2 / h2 - s2, the residual variance on Vy's diagonal
  std::vector<double> mp, mw, my;  // row means of Vp, Vw, Vy
  double gp = 0, gw = 0, gy = 0;   // grand means
  std::vector<double> r_w, r_p;    // accuracies (without covariances)
  std::vector<double> x;           // centred partial EBVs
  std::vector<double> pev_w, pev_p;
  pec_matrix pec_w, pec_p;  // by step; empty (m = 0) when not given
};

struct column_sums {
  double pp = 0, pw = 0, ww = 0, py = 0, yy = 0, xdx = 0;
  double p_diag = 0, w_diag = 0, y_diag = 0;  // P_kk, W_kk, Y_kk
};

// Sums of step k's column over the rows of the earlier steps i < k and the diagonal, the
// off-diagonal elements counted twice (for (i, k) and (k, i)); v[i] = A(order[i], order[k]).
// Without covariances D_ik = s2 a_ik (r_w,i r_w,k - r_p,i r_p,k); with them the dense loop takes
// the off-diagonal covariances as 0 and the stored pairs are corrected after.
template <bool with_pec, bool with_y>
column_sums column_kernel(const trait_data& d, int k, const double* v) {
  const double* mp = d.mp.data();
  const double* mw = d.mw.data();
  const double* my = d.my.data();
  const double* rw = d.r_w.data();
  const double* rp = d.r_p.data();
  const double* x = d.x.data();
  const double s2 = d.s2;
  const double cpk = mp[k] - d.gp;
  const double cwk = mw[k] - d.gw;
  const double cyk = with_y ? my[k] - d.gy : 0.0;
  const double rwk = with_pec ? 0.0 : rw[k];
  const double rpk = with_pec ? 0.0 : rp[k];

  double pp = 0, pw = 0, ww = 0, py = 0, yy = 0, xd = 0;
#pragma omp simd reduction(+ : pp, pw, ww, py, yy, xd)
  for (int i = 0; i < k; ++i) {
    const double s2a = s2 * v[i];
    const double pik = s2a - mp[i] - cpk;
    double wik;
    if constexpr (with_pec) {
      wik = s2a - mw[i] - cwk;
    } else {
      const double dd = s2a * (rw[i] * rwk - rp[i] * rpk);
      wik = s2a + dd - mw[i] - cwk;
      xd += x[i] * dd;
    }
    pp += pik * pik;
    pw += pik * wik;
    ww += wik * wik;
    if constexpr (with_y) {
      const double yik = s2a - my[i] - cyk;
      py += pik * yik;
      yy += yik * yik;
    }
  }

  if constexpr (with_pec) {
    // Stored pairs of column k: P = P0 - cp, W = W0 - cw, D = cp - cw; add the differences.
    const pec_matrix& cw_m = d.pec_w;
    const pec_matrix& cp_m = d.pec_p;
    const bool has_w = cw_m.m > 0, has_p = cp_m.m > 0;
    std::int64_t ew = has_w ? cw_m.col_start[k] : 0, ew_end = has_w ? cw_m.col_start[k + 1] : 0;
    std::int64_t ep = has_p ? cp_m.col_start[k] : 0, ep_end = has_p ? cp_m.col_start[k + 1] : 0;
    while (ew < ew_end || ep < ep_end) {
      const int iw = ew < ew_end ? cw_m.row[ew] : k;
      const int ip = ep < ep_end ? cp_m.row[ep] : k;
      const int i = std::min(iw, ip);
      const double cw = iw == i ? cw_m.value[ew++] : 0.0;
      const double cp = ip == i ? cp_m.value[ep++] : 0.0;
      const double s2a = s2 * v[i];
      const double p0 = s2a - mp[i] - cpk;
      const double w0 = s2a - mw[i] - cwk;
      pp -= cp * (2.0 * p0 - cp);
      pw += cp * cw - cp * w0 - cw * p0;
      ww -= cw * (2.0 * w0 - cw);
      if constexpr (with_y) py -= cp * (s2a - my[i] - cyk);
      xd += x[i] * (cp - cw);
    }
  }

  column_sums s;
  const double s2a = s2 * v[k];
  const double pkk = s2a - d.pev_p[k] - 2.0 * mp[k] + d.gp;
  const double wkk = s2a - d.pev_w[k] - 2.0 * mw[k] + d.gw;
  s.p_diag = pkk;
  s.w_diag = wkk;
  s.pp = 2.0 * pp + pkk * pkk;
  s.pw = 2.0 * pw + pkk * wkk;
  s.ww = 2.0 * ww + wkk * wkk;
  if constexpr (with_y) {
    const double ykk = s2a + d.e_res - 2.0 * my[k] + d.gy;
    s.py = 2.0 * py + pkk * ykk;
    s.yy = 2.0 * yy + ykk * ykk;
    s.y_diag = ykk;
  }
  s.xdx = x[k] * (2.0 * xd + x[k] * (d.pev_p[k] - d.pev_w[k]));
  return s;
}

column_sums column_of(const trait_data& d, int k, const double* v) {
  if (d.with_pec) return d.with_y ? column_kernel<true, true>(d, k, v) : column_kernel<true, false>(d, k, v);
  return d.with_y ? column_kernel<false, true>(d, k, v) : column_kernel<false, false>(d, k, v);
}

// by_step[k] = by_index[order[k]].
std::vector<double> by_step(const std::vector<double>& by_index, const std::vector<int>& order) {
  std::vector<double> out(order.size());
  for (std::size_t k = 0; k < order.size(); ++k) out[k] = by_index[static_cast<std::size_t>(order[k])];
  return out;
}

std::vector<double> by_step(std::span<const double> by_index, const std::vector<int>& order) {
  return by_step(std::vector<double>(by_index.begin(), by_index.end()), order);
}

}  // namespace

std::vector<trace_scalars> exact_trace_scalars(std::span<const se_trait_input> in,
                                               std::span<const se_exact_model> model,
                                               const linalg::symmetric_columns& a) {
  const int m = a.n;
  const std::size_t mm = static_cast<std::size_t>(m);
  const std::size_t nt = in.size();
  check_length(model.size(), nt, "the list of models");
  check_length(a.order.size(), mm, "the order of the relationships");
  check_length(a.diagonal.size(), mm, "the diagonal of A_focal");
  for (std::size_t t = 0; t < nt; ++t) {
    check_length(in[t].p.size(), mm, "the partial EBV vector");
    check_length(in[t].w.size(), mm, "the whole EBV vector");
    if (!in[t].y.empty()) check_length(in[t].y.size(), mm, "the phenotype vector");
    check_length(model[t].pev_w.size(), mm, "the whole PEV vector");
    check_length(model[t].pev_p.size(), mm, "the partial PEV vector");
    for (const pec_matrix* c : {model[t].pec_w, model[t].pec_p})
      if (c && (c->m != m || c->col_start.size() != mm + 1))
        fatal("Analytical standard errors: prediction error covariances for " + num(c->m) +
              " animals, " + num(m) + " expected");
  }
  std::vector<trace_scalars> out(nt);
  if (m == 0 || nt == 0) return out;
  std::vector<int> step_of(mm);
  for (std::size_t k = 0; k < mm; ++k) step_of[static_cast<std::size_t>(a.order[k])] = static_cast<int>(k);

  // Accuracies for the off-diagonal of D when the covariances are not known, and the vectors
  // that A_focal multiplies: 1, then r_w and r_p of each trait without covariances.
  std::vector<trait_data> data(nt);
  std::vector<std::vector<double>> vecs{std::vector<double>(mm, 1.0)};
  std::vector<std::size_t> first_vec(nt, 0);
  for (std::size_t t = 0; t < nt; ++t) {
    trait_data& d = data[t];
    d.with_pec = model[t].pec_w || model[t].pec_p;
    d.with_y = !in[t].y.empty();
    d.s2 = in[t].genetic_variance;
    d.e_res = d.s2 / in[t].h2 - d.s2;
    if (d.with_pec) continue;
    std::vector<double> rw(mm), rp(mm);
    for (std::size_t i = 0; i < mm; ++i) {
      rw[i] = accuracy_from_pev(model[t].pev_w[i], a.diagonal[i], d.s2);
      rp[i] = accuracy_from_pev(model[t].pev_p[i], a.diagonal[i], d.s2);
    }
    first_vec[t] = vecs.size();
    vecs.push_back(std::move(rw));
    vecs.push_back(std::move(rp));
  }

  // Pass 1: row sums of A (and of A r_w, A r_p), then the row means of Vp, Vw, Vy and 1'D1.
  const std::vector<std::vector<double>> prod = a.times(vecs);
  const double inv_m = 1.0 / static_cast<double>(m);
  for (std::size_t t = 0; t < nt; ++t) {
    trait_data& d = data[t];
    const se_exact_model& mo = model[t];
    const std::vector<double> cw_rows = pec_row_sums(mo.pec_w, m);
    const std::vector<double> cp_rows = pec_row_sums(mo.pec_p, m);
    std::vector<double> mp(mm), mw(mm), my(mm);
    for (std::size_t i = 0; i < mm; ++i) {
      const double sa = d.s2 * prod[0][i];
      double d_row;  // row sum of D
      if (d.with_pec) {
        d_row = (mo.pev_p[i] + cp_rows[i]) - (mo.pev_w[i] + cw_rows[i]);
      } else {
        const double aii = a.diagonal[i];
        const std::vector<double>& rw = vecs[first_vec[t]];
        const std::vector<double>& rp = vecs[first_vec[t] + 1];
        d_row = (mo.pev_p[i] - mo.pev_w[i]) + d.s2 * (rw[i] * (prod[first_vec[t]][i] - aii * rw[i]) -
                                                      rp[i] * (prod[first_vec[t] + 1][i] - aii * rp[i]));
      }
      out[t].d_sum += d_row;
      const double vp_row = sa - mo.pev_p[i] - cp_rows[i];
      mp[i] = vp_row * inv_m;
      mw[i] = (vp_row + d_row) * inv_m;
      my[i] = (sa + d.e_res) * inv_m;
    }
    d.gp = grand_mean(mp);
    d.gw = grand_mean(mw);
    d.gy = d.with_y ? grand_mean(my) : 0.0;
    d.mp = by_step(mp, a.order);
    d.mw = by_step(mw, a.order);
    if (d.with_y) d.my = by_step(my, a.order);
    if (!d.with_pec) {
      d.r_w = by_step(vecs[first_vec[t]], a.order);
      d.r_p = by_step(vecs[first_vec[t] + 1], a.order);
    }
    d.x = by_step(centred(in[t].p), a.order);
    d.pev_w = by_step(mo.pev_w, a.order);
    d.pev_p = by_step(mo.pev_p, a.order);
    if (mo.pec_w) d.pec_w = pec_by_step(*mo.pec_w, step_of);
    if (mo.pec_p) d.pec_p = pec_by_step(*mo.pec_p, step_of);
  }

  // Pass 2: the centred products, one column at a time as the sweep offers them, summed in the
  // order of the steps (so the result does not depend on the number of threads).
  std::vector<std::vector<column_sums>> cols(nt, std::vector<column_sums>(mm));
  a.sweep([&](int k, const double* v) {
    for (std::size_t t = 0; t < nt; ++t) cols[t][static_cast<std::size_t>(k)] = column_of(data[t], k, v);
  });
  for (std::size_t t = 0; t < nt; ++t)
    for (const column_sums& s : cols[t]) {
      out[t].t_pp += s.pp;
      out[t].t_pw += s.pw;
      out[t].t_ww += s.ww;
      out[t].t_py += s.py;
      out[t].t_yy += s.yy;
      out[t].x_d_x += s.xdx;
      out[t].trace_p += s.p_diag;
      out[t].trace_w += s.w_diag;
      out[t].trace_y += s.y_diag;
    }
  return out;
}

trace_scalars exact_trace_scalars(const se_trait_input& in, const se_exact_model& model) {
  const std::size_t mm = in.p.size();
  check_length(model.a_focal.size(), mm * mm, "A_focal");
  const linalg::symmetric_columns a = linalg::dense_symmetric_columns(model.a_focal, static_cast<int>(mm));
  return exact_trace_scalars(std::span<const se_trait_input>(&in, 1), std::span<const se_exact_model>(&model, 1), a)[0];
}

namespace {

// Family indicators multiplied by A_focal at a time (memory: that many vectors of m).
constexpr std::size_t family_block = 32;

// U = J M J Z from R = M Z (m x F, row-major) for a symmetric M and the family indicators Z
// (n_f animals in family f): M 1 = R 1, M J Z = R - (M 1) n' / m, then the column means removed.
void centre_by_family(std::vector<double>& r, int m, int nf, const std::vector<double>& n) {
  const std::size_t f_count = static_cast<std::size_t>(nf);
  const double dm = static_cast<double>(m);
  std::vector<double> col(f_count, 0.0);
  for (int i = 0; i < m; ++i) {
    double* ri = r.data() + static_cast<std::size_t>(i) * f_count;
    double row = 0.0;
    for (std::size_t f = 0; f < f_count; ++f) row += ri[f];
    for (std::size_t f = 0; f < f_count; ++f) {
      ri[f] -= row * n[f] / dm;
      col[f] += ri[f];
    }
  }
  for (int i = 0; i < m; ++i) {
    double* ri = r.data() + static_cast<std::size_t>(i) * f_count;
    for (std::size_t f = 0; f < f_count; ++f) ri[f] -= col[f] / dm;
  }
}

// Adds the stored covariances of c times sign to R = C Z: pair (i, j) adds to (i, family of j)
// and to (j, family of i).
void add_pec_by_family(std::vector<double>& r, const pec_matrix* c, double sign, const int* fam,
                       int nf) {
  if (!c) return;
  const std::size_t f_count = static_cast<std::size_t>(nf);
  for (int j = 0; j < c->m; ++j)
    for (std::int64_t e = c->col_start[j]; e < c->col_start[j + 1]; ++e) {
      const int i = c->row[e];
      r[static_cast<std::size_t>(i) * f_count + fam[j]] += sign * c->value[e];
      r[static_cast<std::size_t>(j) * f_count + fam[i]] += sign * c->value[e];
    }
}

// G = Z' U (F x F) for the centred U.
std::vector<double> family_sums(const std::vector<double>& u, int m, int nf, const int* fam) {
  const std::size_t f_count = static_cast<std::size_t>(nf);
  std::vector<double> g(f_count * f_count, 0.0);
  for (int i = 0; i < m; ++i)
    for (std::size_t f = 0; f < f_count; ++f)
      g[static_cast<std::size_t>(fam[i]) * f_count + f] += u[static_cast<std::size_t>(i) * f_count + f];
  return g;
}

// tr(Pf U_1' ... ): sum_fg G_fg H_fg / (n_f n_g) and sum_f sum_i U_if V_if / n_f.
double between_between(const std::vector<double>& g, const std::vector<double>& h,
                       const std::vector<double>& n) {
  const std::size_t f_count = n.size();
  double s = 0.0;
  for (std::size_t f = 0; f < f_count; ++f)
    for (std::size_t q = 0; q < f_count; ++q)
      s += g[f * f_count + q] * h[f * f_count + q] / (n[f] * n[q]);
  return s;
}

double between_all(const std::vector<double>& u, const std::vector<double>& v,
                   const std::vector<double>& n, int m) {
  const std::size_t f_count = n.size();
  double s = 0.0;
  for (int i = 0; i < m; ++i)
    for (std::size_t f = 0; f < f_count; ++f) {
      const std::size_t e = static_cast<std::size_t>(i) * f_count + f;
      s += u[e] * v[e] / n[f];
    }
  return s;
}

}  // namespace

family_traces exact_family_traces(const se_trait_input& in, const se_exact_model& model,
                                  const linalg::symmetric_columns& a) {
  const int m = static_cast<int>(in.p.size());
  const std::size_t mm = static_cast<std::size_t>(m);
  check_length(model.family.size(), mm, "the family vector");
  check_length(a.diagonal.size(), mm, "the diagonal of A_focal");
  check_length(model.pev_w.size(), mm, "the whole PEV vector");
  check_length(model.pev_p.size(), mm, "the partial PEV vector");
  family_traces t;
  t.with_y = !in.y.empty();
  if (m == 0) return t;
  const int* fam = model.family.data();
  int nf = 0;
  for (int f : model.family) {
    if (f < 0) fatal("Analytical standard errors: a negative family number");
    nf = std::max(nf, f + 1);
  }
  t.families = nf;
  const std::size_t f_count = static_cast<std::size_t>(nf);
  std::vector<double> n(f_count, 0.0);
  for (int f : model.family) n[static_cast<std::size_t>(f)] += 1.0;
  for (double e : n)
    if (e == 0.0) fatal("Analytical standard errors: a family without focal animals");

  const bool with_pec = model.pec_w || model.pec_p;
  const bool with_y = t.with_y;
  const double s2 = in.genetic_variance;
  std::vector<double> rw, rp;
  if (!with_pec) {
    rw.resize(mm);
    rp.resize(mm);
    for (std::size_t i = 0; i < mm; ++i) {
      rw[i] = accuracy_from_pev(model.pev_w[i], a.diagonal[i], s2);
      rp[i] = accuracy_from_pev(model.pev_p[i], a.diagonal[i], s2);
    }
  }

  // A Z, and without covariance matrices A diag(r) Z for both accuracies (m x F, row-major),
  // from A's products with the family indicators, family_block of them at a time.
  const std::vector<const std::vector<double>*> weights =
      with_pec ? std::vector<const std::vector<double>*>{nullptr}
               : std::vector<const std::vector<double>*>{nullptr, &rw, &rp};
  std::vector<std::vector<double>> products(weights.size(), std::vector<double>(mm * f_count, 0.0));
  for (std::size_t f0 = 0; f0 < f_count; f0 += family_block) {
    const std::size_t f1 = std::min(f_count, f0 + family_block);
    std::vector<std::vector<double>> x;
    for (const std::vector<double>* wv : weights)
      for (std::size_t f = f0; f < f1; ++f) {
        std::vector<double> v(mm, 0.0);
        for (std::size_t i = 0; i < mm; ++i)
          if (static_cast<std::size_t>(fam[i]) == f) v[i] = wv ? (*wv)[i] : 1.0;
        x.push_back(std::move(v));
      }
    const std::vector<std::vector<double>> y = a.times(x);
    std::size_t q = 0;
    for (std::size_t k = 0; k < weights.size(); ++k)
      for (std::size_t f = f0; f < f1; ++f, ++q)
        for (std::size_t i = 0; i < mm; ++i) products[k][i * f_count + f] = y[q][i];
  }
  const std::vector<double>& az = products[0];

  // Vp Z = s2 A Z - C_p Z, D Z = C_p Z - C_w Z (or from the accuracies), (Vy - Vp) Z =
  // e_res Z + C_p Z.
  std::vector<double> cpz(mm * f_count, 0.0), dz(mm * f_count, 0.0);
  for (int i = 0; i < m; ++i) {
    const std::size_t e = static_cast<std::size_t>(i) * f_count + static_cast<std::size_t>(fam[i]);
    cpz[e] += model.pev_p[i];
    dz[e] += model.pev_p[i] - model.pev_w[i];
  }
  add_pec_by_family(cpz, model.pec_p, 1.0, fam, nf);
  if (with_pec) {
    add_pec_by_family(dz, model.pec_p, 1.0, fam, nf);
    add_pec_by_family(dz, model.pec_w, -1.0, fam, nf);
  } else {
    // Off the diagonal D_ij = s2 a_ij (r_w,i r_w,j - r_p,i r_p,j); its diagonal is the PEVs'.
    for (std::size_t i = 0; i < mm; ++i) {
      for (std::size_t f = 0; f < f_count; ++f) {
        const std::size_t e = i * f_count + f;
        dz[e] += s2 * (rw[i] * products[1][e] - rp[i] * products[2][e]);
      }
      dz[i * f_count + static_cast<std::size_t>(fam[i])] -= s2 * a.diagonal[i] * (rw[i] * rw[i] - rp[i] * rp[i]);
    }
  }
  std::vector<double> u(mm * f_count), ey;
  for (std::size_t e = 0; e < u.size(); ++e) u[e] = s2 * az[e] - cpz[e];
  if (with_y) {
    const double e_res = s2 / in.h2 - s2;
    ey = cpz;
    for (int i = 0; i < m; ++i) ey[static_cast<std::size_t>(i) * f_count + static_cast<std::size_t>(fam[i])] += e_res;
    centre_by_family(ey, m, nf, n);
  }
  centre_by_family(u, m, nf, n);
  centre_by_family(dz, m, nf, n);

  const std::vector<double> g = family_sums(u, m, nf, fam);
  const std::vector<double> h = family_sums(dz, m, nf, fam);
  for (std::size_t f = 0; f < f_count; ++f) t.trace_between += g[f * f_count + f] / n[f];
  t.pfp_pfp = between_between(g, g, n);
  t.pfp_p = between_all(u, u, n, m);
  t.pfp_pfe = between_between(g, h, n);
  t.pfp_e = between_all(u, dz, n, m);
  if (with_y) {
    const std::vector<double> hy = family_sums(ey, m, nf, fam);
    t.pfp_pfey = between_between(g, hy, n);
    t.pfp_ey = between_all(u, ey, n, m);
  }
  const std::vector<double> x = centred(in.p);
  std::vector<double> xs(f_count, 0.0);
  for (int i = 0; i < m; ++i) xs[static_cast<std::size_t>(fam[i])] += x[static_cast<std::size_t>(i)];
  for (std::size_t f = 0; f < f_count; ++f) t.x_between += xs[f] * xs[f] / n[f];
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
  t.trace_w = sw * (1.0 - 1.0 / m);
  if (with_y) t.trace_y = sy * (1.0 - 1.0 / m);
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
