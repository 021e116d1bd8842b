// Supernodal Takahashi sparse inverse over CHOLMOD's LL' supernodal factor.
#include "sparse/supernodal_inverse.hpp"

#include <cblas.h>
#include <lapacke.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <queue>
#include <string>
#include <utility>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "linalg/blas_threads.hpp"


namespace ventrel::sparse {
namespace {

using idx = std::int64_t;

// Blocks smaller than this (in multiply-adds) go through plain loops: a BLAS call costs more
// than the work for the many tiny supernodes of a pedigree.
constexpr idx small_block = 2048;

// Columns of Z_SS taken at a time: bounds the blocks gathered when the rows are not contiguous.
constexpr idx chunk = 256;

// C += alpha * A * B, A m x m symmetric with its lower triangle given.
void symm_lower(idx m, idx n, double alpha, const double* a, idx lda, const double* b, idx ldb,
                double* c, idx ldc) {
  if (m * m * n < small_block) {
    for (idx j = 0; j < n; ++j)
      for (idx k = 0; k < m; ++k) {
        const double bkj = alpha * b[k + j * ldb];
        for (idx i = 0; i < m; ++i) c[i + j * ldc] += (i >= k ? a[i + k * lda] : a[k + i * lda]) * bkj;
      }
    return;
  }
  cblas_dsymm(CblasColMajor, CblasLeft, CblasLower, static_cast<int>(m), static_cast<int>(n), alpha, a,
              static_cast<int>(lda), b, static_cast<int>(ldb), 1.0, c, static_cast<int>(ldc));
}

// C += alpha * op(A) * B with op(A) = A (m x k) or A' (A k x m).
void gemm(bool trans_a, idx m, idx n, idx k, double alpha, const double* a, idx lda,
          const double* b, idx ldb, double* c, idx ldc) {
  if (m * n * k < small_block) {
    for (idx j = 0; j < n; ++j)
      for (idx q = 0; q < k; ++q) {
        const double bqj = alpha * b[q + j * ldb];
        if (trans_a)
          for (idx i = 0; i < m; ++i) c[i + j * ldc] += a[q + i * lda] * bqj;
        else
          for (idx i = 0; i < m; ++i) c[i + j * ldc] += a[i + q * lda] * bqj;
      }
    return;
  }
  cblas_dgemm(CblasColMajor, trans_a ? CblasTrans : CblasNoTrans, CblasNoTrans, static_cast<int>(m),
              static_cast<int>(n), static_cast<int>(k), alpha, a, static_cast<int>(lda), b,
              static_cast<int>(ldb), 1.0, c, static_cast<int>(ldc));
}

// C += alpha * A' * B on the lower triangle of the c x c result only (A, B k x c), by column
// blocks: the result is symmetric, so its upper part is not worth the flops.
void gemm_lower_tn(idx c, idx k, double alpha, const double* a, idx lda, const double* b, idx ldb,
                   double* cm, idx ldc) {
  constexpr idx block = 128;
  if (c <= block) {
    gemm(true, c, c, k, alpha, a, lda, b, ldb, cm, ldc);
    return;
  }
  for (idx j0 = 0; j0 < c; j0 += block) {
    const idx nb = std::min(block, c - j0);
    gemm(true, c - j0, nb, k, alpha, a + j0 * lda, lda, b + j0 * ldb, ldb, cm + j0 + j0 * ldc, ldc);
  }
}

// X := X L^{-1} for X m x c and L c x c lower triangular (solve X L = B in place).
void trsm_right_lower(idx m, idx c, const double* l, idx ldl, double* x, idx ldx) {
  if (m * c * c < small_block) {
    for (idx j = c - 1; j >= 0; --j) {
      double* xj = x + j * ldx;
      for (idx k = j + 1; k < c; ++k) {
        const double lkj = l[k + j * ldl];
        const double* xk = x + k * ldx;
        for (idx i = 0; i < m; ++i) xj[i] -= xk[i] * lkj;
      }
      const double d = 1.0 / l[j + j * ldl];
      for (idx i = 0; i < m; ++i) xj[i] *= d;
    }
    return;
  }
  cblas_dtrsm(CblasColMajor, CblasRight, CblasLower, CblasNoTrans, CblasNonUnit, static_cast<int>(m),
              static_cast<int>(c), 1.0, l, static_cast<int>(ldl), x, static_cast<int>(ldx));
}

struct workspace {
  std::vector<double> w, gtop, gbelow;
  std::vector<idx> rel;
};

class sweep {
 public:
  sweep(const cholmod_factor* l, std::vector<double>& z)
      : n_(static_cast<idx>(l->n)), nsuper_(static_cast<idx>(l->nsuper)),
        super_(static_cast<const SuiteSparse_long*>(l->super)),
        pi_(static_cast<const SuiteSparse_long*>(l->pi)),
        px_(static_cast<const SuiteSparse_long*>(l->px)),
        s_(static_cast<const SuiteSparse_long*>(l->s)),
        x_(static_cast<const double*>(l->x)), z_(z.data()), col_super_(static_cast<std::size_t>(n_)) {
    for (idx j = 0; j < nsuper_; ++j)
      for (idx k = super_[j]; k < super_[j + 1]; ++k) col_super_[k] = j;
  }

  idx nsuper() const { return nsuper_; }
  idx ncols(idx j) const { return super_[j + 1] - super_[j]; }
  idx nrows(idx j) const { return pi_[j + 1] - pi_[j]; }
  // supernode holding the first row below the columns of j, -1 at a root
  idx parent(idx j) const {
    return nrows(j) > ncols(j) ? col_super_[s_[pi_[j] + ncols(j)]] : -1;
  }
  bool failed() const { return failed_.load(); }

  // The whole step for supernode j; its ancestors must be done.
  void process(idx j, workspace& ws) {
    const idx c = ncols(j), r = nrows(j), m = r - c;
    const double* lp = x_ + px_[j];
    double* zp = z_ + px_[j];
    std::copy(lp, lp + r * c, zp);
    double* lhat = zp + c;  // rows S of the panel, leading dimension r
    if (m > 0) trsm_right_lower(m, c, lp, r, lhat, r);
    if (c == 1) {
      zp[0] = 1.0 / (lp[0] * lp[0]);
    } else if (LAPACKE_dpotri_work(LAPACK_COL_MAJOR, 'L', static_cast<int>(c), zp, static_cast<int>(r)) != 0) {
      failed_ = true;
      return;
    }
    if (m == 0) return;

    const SuiteSparse_long* srows = s_ + pi_[j] + c;
    ws.w.assign(static_cast<std::size_t>(m * c), 0.0);
    ws.rel.resize(static_cast<std::size_t>(m));
    double* w = ws.w.data();
    for (idx s0 = 0; s0 < m;) {
      // rows s0..sk-1 of S are columns of supernode k; rel: their places, and those of all the
      // rows after them, in the row list of k
      const idx k = col_super_[srows[s0]];
      const idx k1 = super_[k], k2 = super_[k + 1], ck = k2 - k1, rk = nrows(k);
      const SuiteSparse_long* krows = s_ + pi_[k];
      const double* zk = z_ + px_[k];
      idx sk = s0;
      while (sk < m && srows[sk] < k2) {
        ws.rel[sk] = srows[sk] - k1;
        ++sk;
      }
      for (idx t = sk, q = ck; t < m; ++t) {  // rows below the columns of k: merge
        while (q < rk && krows[q] < srows[t]) ++q;
        if (q == rk || krows[q] != srows[t]) {
          failed_ = true;
          return;
        }
        ws.rel[t] = q;
      }
      const idx* rel = ws.rel.data();
      // the columns s0..sk-1 in chunks, so that gathered blocks stay at most m x chunk
      for (idx c0 = s0; c0 < sk; c0 += chunk) {
        const idx c1 = std::min(sk, c0 + chunk), nb = c1 - c0, mb = m - c1;
        const bool cols_contiguous = rel[c1 - 1] - rel[c0] == nb - 1;

        // Z(S_b, S_b), lower triangle
        const double* gtop = zk + rel[c0] + rel[c0] * rk;
        idx ldtop = rk;
        if (!cols_contiguous) {
          ws.gtop.resize(static_cast<std::size_t>(nb * nb));
          for (idx b = 0; b < nb; ++b)
            for (idx a = b; a < nb; ++a) ws.gtop[a + b * nb] = zk[rel[c0 + a] + rel[c0 + b] * rk];
          gtop = ws.gtop.data();
          ldtop = nb;
        }
        symm_lower(nb, c, -1.0, gtop, ldtop, lhat + c0, r, w + c0, m);
        if (mb == 0) continue;

        // Z(rows after b, S_b)
        const bool rows_contiguous = rel[m - 1] - rel[c1] == mb - 1;
        const double* gb = zk + rel[c1] + rel[c0] * rk;
        idx ldb = rk;
        if (!(cols_contiguous && rows_contiguous)) {
          ws.gbelow.resize(static_cast<std::size_t>(mb * nb));
          for (idx b = 0; b < nb; ++b)
            for (idx a = 0; a < mb; ++a) ws.gbelow[a + b * mb] = zk[rel[c1 + a] + rel[c0 + b] * rk];
          gb = ws.gbelow.data();
          ldb = mb;
        }
        gemm(false, mb, c, nb, -1.0, gb, ldb, lhat + c0, r, w + c1, m);
        gemm(true, nb, c, mb, -1.0, gb, ldb, lhat + c1, r, w + c0, m);
      }
      s0 = sk;
    }
    gemm_lower_tn(c, m, -1.0, lhat, r, w, m, zp, r);  // Z_JJ = D_J^{-1} - L^' Z_SJ
    for (idx b = 0; b < c; ++b) std::copy(w + b * m, w + (b + 1) * m, lhat + b * r);
  }

 private:
  idx n_, nsuper_;
  const SuiteSparse_long *super_, *pi_, *px_, *s_;
  const double* x_;
  double* z_;
  std::vector<idx> col_super_;
  std::atomic<bool> failed_{false};
};

// Splits the supernodal tree into a top part, done one supernode at a time with threaded
// BLAS, and subtrees small enough to balance over the threads. A subtree of a postordered
// tree is the range first[j]..j; pieces are returned as roots, largest work first.
struct schedule {
  std::vector<char> top;
  std::vector<idx> pieces, first;
  bool contiguous = true;
};

schedule plan(const sweep& sw, int threads) {
  const idx ns = sw.nsuper();
  schedule sc;
  sc.top.assign(static_cast<std::size_t>(ns), 0);
  sc.first.resize(static_cast<std::size_t>(ns));
  std::vector<double> work(static_cast<std::size_t>(ns));
  std::vector<idx> size(static_cast<std::size_t>(ns), 1), nchild(static_cast<std::size_t>(ns) + 1, 0);
  for (idx j = 0; j < ns; ++j) {
    const double c = static_cast<double>(sw.ncols(j)), m = static_cast<double>(sw.nrows(j) - sw.ncols(j));
    work[j] = c * m * m + c * c * m + c * c * c + 50.0;
    sc.first[j] = j;
  }
  double total = 0.0;
  for (idx j = 0; j < ns; ++j) {  // children come before parents
    total += work[j];
    idx p = sw.parent(j);
    if (p < 0) continue;
    work[p] += work[j];
    size[p] += size[j];
    sc.first[p] = std::min(sc.first[p], sc.first[j]);
    ++nchild[p + 1];
  }
  for (idx j = 0; j < ns; ++j) {
    if (size[j] != j - sc.first[j] + 1) sc.contiguous = false;
    nchild[j + 1] += nchild[j];
  }
  std::vector<idx> child(static_cast<std::size_t>(nchild[ns])), next(nchild.begin(), nchild.end() - 1);
  std::priority_queue<std::pair<double, idx>> queue;
  for (idx j = 0; j < ns; ++j) {
    idx p = sw.parent(j);
    if (p < 0) queue.push({work[j], j});
    else child[next[p]++] = j;
  }
  if (threads <= 1 || !sc.contiguous) {
    std::fill(sc.top.begin(), sc.top.end(), 1);
    return sc;
  }
  const double piece_limit = total / (4.0 * threads);
  while (!queue.empty() && queue.top().first > piece_limit) {
    idx j = queue.top().second;
    queue.pop();
    sc.top[j] = 1;
    for (idx q = nchild[j]; q < nchild[j + 1]; ++q) queue.push({work[child[q]], child[q]});
  }
  while (!queue.empty()) {
    sc.pieces.push_back(queue.top().second);
    queue.pop();
  }
  return sc;
}

}  // namespace

supernodal_inverse takahashi_supernodal(const cholmod_factor* l, int threads, std::string_view context) {
  supernodal_inverse inv;
  inv.z.assign(l->xsize, 0.0);
  sweep sw(l, inv.z);
  schedule sc = plan(sw, threads);

  // Progress in the flops each supernode's step takes (roughly), shown by the first thread.
  std::vector<long long> cost(static_cast<std::size_t>(sw.nsuper()));
  long long total = 0;
  for (idx j = 0; j < sw.nsuper(); ++j) {
    const double c = static_cast<double>(sw.ncols(j)), m = static_cast<double>(sw.nrows(j) - sw.ncols(j));
    cost[static_cast<std::size_t>(j)] = static_cast<long long>(c * m * m + c * c * m + c * c * c) + 1;
    total += cost[static_cast<std::size_t>(j)];
  }
  progress shown("sparse inverse", total);
  std::atomic<long long> done{0};

  workspace ws;
  for (idx j = sw.nsuper() - 1; j >= 0 && !sw.failed(); --j)
    if (sc.top[j]) {
      sw.process(j, ws);
      shown.update(done += cost[static_cast<std::size_t>(j)]);
    }

  if (!sc.pieces.empty() && !sw.failed()) {
    const linalg::blas_threads serial(1);
#pragma omp parallel num_threads(threads)
    {
      workspace tws;
#pragma omp for schedule(dynamic, 1)
      for (std::size_t q = 0; q < sc.pieces.size(); ++q) {
        const idx root = sc.pieces[q];
        for (idx j = root; j >= sc.first[root] && !sw.failed(); --j) {
          sw.process(j, tws);
          const long long now = done += cost[static_cast<std::size_t>(j)];
          if (omp_get_thread_num() == 0) shown.update(now);
        }
      }
    }
  }
  shown.finish();
  if (sw.failed()) {
    std::vector<std::string> lines = {"MORLO90 (KELP): An error occurred.",
                                      "sparse inverse: the supernodal factor is not usable"};
    if (!context.empty()) lines.emplace_back(context);
    fatal(std::move(lines));
  }
  return inv;
}

// The input's elements are bucketed by their column in the factor (the smaller permuted index);
// then, supernode by supernode, a map from row to place in the supernode's row list gives the
// place of each of its elements in Z. Linear in the elements and the factor's row lists.
void scatter_inverse(const cholmod_factor* l, const supernodal_inverse& inv, upper_csr& a) {
  const idx n = static_cast<idx>(l->n), ns = static_cast<idx>(l->nsuper);
  auto super = static_cast<const SuiteSparse_long*>(l->super);
  auto pi = static_cast<const SuiteSparse_long*>(l->pi);
  auto px = static_cast<const SuiteSparse_long*>(l->px);
  auto s = static_cast<const SuiteSparse_long*>(l->s);
  auto perm = static_cast<const SuiteSparse_long*>(l->Perm);
  std::vector<idx> pinv(static_cast<std::size_t>(n)), start(static_cast<std::size_t>(n) + 1, 0);
  for (idx k = 0; k < n; ++k) pinv[perm[k]] = k;
  for (int i = 0; i < a.n; ++i)
    for (idx p = a.row_begin(i); p < a.row_end(i); ++p) ++start[std::min(pinv[i], pinv[a.ja[p] - 1]) + 1];
  for (idx k = 0; k < n; ++k) start[k + 1] += start[k];
  std::vector<idx> place(static_cast<std::size_t>(a.nnz)), next(start.begin(), start.end() - 1);
  std::vector<int> row_of(static_cast<std::size_t>(a.nnz));
  for (int i = 0; i < a.n; ++i)
    for (idx p = a.row_begin(i); p < a.row_end(i); ++p) {
      const idx pi_ = pinv[i], pj = pinv[a.ja[p] - 1];
      const idx q = next[std::min(pi_, pj)]++;
      place[q] = p;
      row_of[q] = static_cast<int>(std::max(pi_, pj));
    }
#pragma omp parallel
  {
    std::vector<idx> where(static_cast<std::size_t>(n), 0);
#pragma omp for schedule(dynamic, 256)
    for (idx k = 0; k < ns; ++k) {
      const idx k1 = super[k], rk = pi[k + 1] - pi[k];
      const SuiteSparse_long* krows = s + pi[k];
      for (idx q = 0; q < rk; ++q) where[krows[q]] = q;
      for (idx col = k1; col < super[k + 1]; ++col) {
        const double* zc = inv.z.data() + px[k] + (col - k1) * rk;
        for (idx e = start[col]; e < start[col + 1]; ++e) a.a[place[e]] = zc[where[row_of[e]]];
      }
    }
  }
}

}  // namespace ventrel::sparse
