// Takahashi's sparse inverse over the simplicial LDL' factor.
#include "sparse/simplicial_inverse.hpp"

#include <algorithm>

namespace ventrel::sparse {

simplicial_inverse takahashi_simplicial(const simplicial_factor& f) {
  const std::int64_t n = f.n;
  simplicial_inverse z;
  z.zd.assign(n, 0.0);
  z.zx.assign(f.lx.size(), 0.0);
  std::vector<double> w(n, 0.0), lval(n, 0.0);
  std::vector<std::int64_t> mark(n, -1);
  for (std::int64_t j = n - 1; j >= 0; --j) {
    const std::int64_t b = f.lp[j], e = f.lp[j + 1];
    for (std::int64_t p = b; p < e; ++p) {
      mark[f.li[p]] = j;
      lval[f.li[p]] = f.lx[p];
    }
    for (std::int64_t p = b; p < e; ++p) {
      const std::int64_t k = f.li[p];
      const double lkj = f.lx[p];
      w[k] -= z.zd[k] * lkj;
      // Z(r, k) for the rows r > k of column k that are rows of column j
      for (std::int64_t q = f.lp[k]; q < f.lp[k + 1]; ++q) {
        const std::int64_t r = f.li[q];
        if (mark[r] != j) continue;
        w[r] -= z.zx[q] * lkj;
        w[k] -= z.zx[q] * lval[r];
      }
    }
    double zjj = 1.0 / f.d[j];
    for (std::int64_t p = b; p < e; ++p) {
      const std::int64_t r = f.li[p];
      z.zx[p] = w[r];
      zjj -= f.lx[p] * w[r];
      w[r] = 0.0;
    }
    z.zd[j] = zjj;
  }
  return z;
}

void scatter_inverse(const simplicial_factor& f, const simplicial_inverse& z, upper_csr& a) {
#pragma omp parallel for schedule(dynamic, 1024)
  for (int i = 0; i < a.n; ++i) {
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p) {
      std::int64_t pi = f.pinv[i], pj = f.pinv[a.ja[p] - 1];
      if (pi == pj) {
        a.a[p] = z.zd[pi];
        continue;
      }
      std::int64_t col = std::min(pi, pj), row = std::max(pi, pj);
      const int* first = f.li.data() + f.lp[col];
      const int* last = f.li.data() + f.lp[col + 1];
      const int* hit = std::lower_bound(first, last, static_cast<int>(row));
      // the input pattern lies within the factor's pattern, so the row is always there
      a.a[p] = hit != last && *hit == row ? z.zx[hit - f.li.data()] : 0.0;
    }
  }
}

}  // namespace ventrel::sparse
