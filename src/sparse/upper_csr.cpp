// Views of IJA matrices, their format check and their symmetric permutation.
#include "sparse/upper_csr.hpp"

#include <algorithm>

namespace ventrel::sparse {

upper_csr view_of(ija_matrix& m, std::vector<std::int64_t>& pointers) {
  pointers.assign(m.ia.begin(), m.ia.end());
  upper_csr v;
  v.n = m.n;
  v.ia = pointers.data();
  v.ja = m.ja.data();
  v.a = m.a.data();
  v.nnz = static_cast<std::int64_t>(m.ja.size());
  return v;
}

upper_csr view_of(ija8_matrix& m, std::vector<std::int64_t>& pointers) {
  pointers.clear();
  upper_csr v;
  v.n = m.n;
  v.ia = m.ia.data();
  v.ja = m.ja.data();
  v.a = m.a.data();
  v.nnz = static_cast<std::int64_t>(m.ja.size());
  return v;
}

bool well_formed(const upper_csr& a) {
  if (a.ia[0] != 1) return false;
  for (int i = 0; i < a.n; ++i) {
    if (a.ia[i + 1] < a.ia[i] || a.ia[i + 1] - 1 > a.nnz) return false;
    int prev = i;  // columns from 1: the first must be >= i+1
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p) {
      int c = a.ja[p];
      if (c <= prev || c > a.n) return false;
      prev = c;
    }
  }
  return a.ia[a.n] - 1 == a.nnz;
}

permuted_upper permute_upper(const upper_csr& a, const std::vector<std::int64_t>& pinv,
                             bool with_values) {
  permuted_upper c;
  const int n = a.n;
  c.cp.assign(static_cast<std::size_t>(n) + 1, 0);
  for (int i = 0; i < n; ++i)
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p) {
      std::int64_t pi = pinv[i], pj = pinv[a.ja[p] - 1];
      ++c.cp[static_cast<std::size_t>(std::max(pi, pj)) + 1];
    }
  for (int k = 0; k < n; ++k) c.cp[static_cast<std::size_t>(k) + 1] += c.cp[k];
  c.ci.resize(static_cast<std::size_t>(a.nnz));
  if (with_values) c.cx.resize(static_cast<std::size_t>(a.nnz));
  std::vector<std::int64_t> next(c.cp.begin(), c.cp.end() - 1);
  for (int i = 0; i < n; ++i)
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p) {
      std::int64_t pi = pinv[i], pj = pinv[a.ja[p] - 1];
      std::int64_t q = next[std::max(pi, pj)]++;
      c.ci[q] = static_cast<int>(std::min(pi, pj));
      if (with_values) c.cx[q] = a.a[p];
    }
  return c;
}

}  // namespace ventrel::sparse
