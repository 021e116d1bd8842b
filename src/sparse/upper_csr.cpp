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

template <class Index>
permuted_triangle<Index> permute_triangle(const upper_csr& a, const std::vector<std::int64_t>& pinv,
                                          triangle which, bool with_values) {
  permuted_triangle<Index> c;
  const int n = a.n;
  const bool upper = which == triangle::upper;
  // the column of an element and its row: the larger and smaller of its two places (upper)
  auto column = [upper](std::int64_t pi, std::int64_t pj) { return upper ? std::max(pi, pj) : std::min(pi, pj); };
  c.cp.assign(static_cast<std::size_t>(n) + 1, 0);
  for (int i = 0; i < n; ++i) {
    const std::int64_t pi = pinv[static_cast<std::size_t>(i)];
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p)
      ++c.cp[static_cast<std::size_t>(column(pi, pinv[static_cast<std::size_t>(a.ja[p] - 1)])) + 1];
  }
  for (int k = 0; k < n; ++k) c.cp[static_cast<std::size_t>(k) + 1] += c.cp[static_cast<std::size_t>(k)];
  c.ci.resize(static_cast<std::size_t>(a.nnz));
  if (with_values) c.cx.resize(static_cast<std::size_t>(a.nnz));
  std::vector<std::int64_t> next(c.cp.begin(), c.cp.end() - 1);
  for (int i = 0; i < n; ++i) {
    const std::int64_t pi = pinv[static_cast<std::size_t>(i)];
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p) {
      const std::int64_t pj = pinv[static_cast<std::size_t>(a.ja[p] - 1)];
      const std::int64_t k = column(pi, pj);
      const std::int64_t q = next[static_cast<std::size_t>(k)]++;
      c.ci[static_cast<std::size_t>(q)] = static_cast<Index>(pi + pj - k);
      if (with_values) c.cx[static_cast<std::size_t>(q)] = a.a[p];
    }
  }
  return c;
}

template permuted_triangle<int> permute_triangle<int>(const upper_csr&, const std::vector<std::int64_t>&,
                                                      triangle, bool);
template permuted_triangle<std::int64_t> permute_triangle<std::int64_t>(const upper_csr&,
                                                                        const std::vector<std::int64_t>&,
                                                                        triangle, bool);

}  // namespace ventrel::sparse
