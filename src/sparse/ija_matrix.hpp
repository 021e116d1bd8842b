// The compressed-row ("IJA") form of a sparse matrix, with 32-bit or 64-bit row pointers, and
// the lookup of one element in it.
#pragma once

#include <cstdint>
#include <vector>

namespace ventrel::sparse {

// A sparse matrix of order n in compressed rows, every index counted from 1 as the family's
// files and messages count them. The elements of row i are at positions ia[i-1] .. ia[i]-1
// (counted from 1) of ja and a, that is ja[ia[i-1]-1] .. ja[ia[i]-2] in C++ terms.
// ia[0] = 1 and ia[n] = nz + 1. Columns ascend within a row, without duplicates. In the
// upper-triangular form only elements with column >= row are held, so the diagonal, when
// present, is the first element of its row.
template <class Ptr>
struct basic_ija {
  int n = 0;                // order of the matrix (rows = columns)
  std::vector<Ptr> ia;      // n+1 row pointers, from 1
  std::vector<int> ja;      // nz column indices, from 1
  std::vector<double> a;    // nz values

  std::int64_t nnz() const { return ia.empty() ? 0 : static_cast<std::int64_t>(ia.back()) - 1; }
};

using ija_matrix = basic_ija<int>;            // 32-bit row pointers
using ija8_matrix = basic_ija<std::int64_t>;  // 64-bit row pointers (the "ija8" routines)

// Position (from 0) of element (i, j) in ja/a, or -1 when it is not stored. Binary search
// within row i. With upper-triangular storage the caller asks with i <= j.
template <class Ptr>
std::int64_t ija_position(const basic_ija<Ptr>& m, int i, int j) {
  if (i < 1 || i > m.n) return -1;
  std::int64_t lo = static_cast<std::int64_t>(m.ia[i - 1]) - 1;
  std::int64_t hi = static_cast<std::int64_t>(m.ia[i]) - 1;  // one past the row's end
  while (lo < hi) {
    std::int64_t mid = lo + (hi - lo) / 2;
    int c = m.ja[static_cast<std::size_t>(mid)];
    if (c == j) return mid;
    if (c < j) lo = mid + 1; else hi = mid;
  }
  return -1;
}

// Value of element (i, j) of an upper-triangular IJA matrix of a symmetric matrix: the pair
// is looked up as (min, max); 0 when absent.
template <class Ptr>
double getm_ija(const basic_ija<Ptr>& m, int i, int j) {
  std::int64_t p = i <= j ? ija_position(m, i, j) : ija_position(m, j, i);
  return p < 0 ? 0.0 : m.a[static_cast<std::size_t>(p)];
}

}  // namespace ventrel::sparse
