// A read view of a symmetric matrix held as its upper triangle in IJA form, with 64-bit row
// pointers whatever the caller's IJA uses; the common input of both factorisation engines.
#pragma once

#include <cstdint>
#include <vector>

#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse {

struct upper_csr {
  int n = 0;                        // order
  const std::int64_t* ia = nullptr; // n+1 row pointers, from 1
  const int* ja = nullptr;          // column indices, from 1, ascending, >= row
  double* a = nullptr;              // values (overwritten by the sparse inverse)
  std::int64_t nnz = 0;             // ia[n] - 1

  std::int64_t row_begin(int i) const { return ia[i] - 1; }   // row i from 0; positions from 0
  std::int64_t row_end(int i) const { return ia[i + 1] - 1; }
};

// The caller's IJA as a view; `pointers` receives the 64-bit copy of ia where needed.
upper_csr view_of(ija_matrix& m, std::vector<std::int64_t>& pointers);
upper_csr view_of(ija8_matrix& m, std::vector<std::int64_t>& pointers);

// Whether the view is a well-formed upper triangle: ia(1) = 1, ia non-decreasing, columns in
// row..n and strictly ascending within each row.
bool well_formed(const upper_csr& a);

// A triangle of C = P A P' (perm[k] = original index, from 0, of pivot k) in compressed
// columns, 0-based: column k holds the rows i <= k (upper) or i >= k (lower). Rows are not
// sorted. Index: the row indices' type (int for our factor, 64-bit for CHOLMOD's).
enum class triangle { upper, lower };
template <class Index>
struct permuted_triangle {
  std::vector<std::int64_t> cp;  // n+1 column pointers
  std::vector<Index> ci;         // row indices
  std::vector<double> cx;        // values
};
template <class Index>
permuted_triangle<Index> permute_triangle(const upper_csr& a, const std::vector<std::int64_t>& pinv,
                                          triangle which, bool with_values);

using permuted_upper = permuted_triangle<int>;
inline permuted_upper permute_upper(const upper_csr& a, const std::vector<std::int64_t>& pinv,
                                    bool with_values) {
  return permute_triangle<int>(a, pinv, triangle::upper, with_values);
}

}  // namespace ventrel::sparse
