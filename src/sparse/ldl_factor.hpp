// MORLO engine: simplicial LDL' factorisation, up-looking, of P A P' with an AMD ordering.
// Small and obviously right; the reference the supernodal KELP engine is tested against.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sparse/upper_csr.hpp"

namespace ventrel::sparse {

// P A P' = L D L' with L unit lower triangular held by columns (diagonal not stored, row
// indices ascending within a column) and D diagonal. Indices from 0.
struct simplicial_factor {
  int n = 0;                          // order
  std::vector<std::int64_t> perm;     // perm[k]: original index of pivot k
  std::vector<std::int64_t> pinv;     // pinv[perm[k]] = k
  std::vector<std::int64_t> parent;   // elimination tree, -1 at a root
  std::vector<std::int64_t> lp;       // n+1 column pointers of L
  std::vector<int> li;                // row indices of L
  std::vector<double> lx;             // values of L
  std::vector<double> d;              // pivots, the diagonal of D
  bool numeric = false;               // lx and d hold a factorisation
};

// Approximate minimum degree ordering (the amd library) of the pattern of A + A'.
std::vector<std::int64_t> amd_permutation(const upper_csr& a);

// Sets perm and pinv from a permutation, checking that it is one.
bool set_permutation(simplicial_factor& f, std::vector<std::int64_t> perm);

// Elimination tree and column counts of L (Liu's algorithm, as in Davis' LDL): f.perm set.
void ldl_symbolic(const upper_csr& a, simplicial_factor& f);

// Numeric factorisation, row by row (up-looking): row k of L from a sparse triangular solve
// along the elimination tree. A pivot d_k <= 0 stops with the MORLO messages naming the
// original row. Cost O(flops of the factor).
void ldl_numeric(const upper_csr& a, simplicial_factor& f);

// x := A^{-1} x.
void ldl_solve(const simplicial_factor& f, std::span<double> x);

// log det A = sum log d_k.
double ldl_logdet(const simplicial_factor& f);

// Products with F = L D^{1/2} (so that P A P' = F F'), in the original order of A:
// multiply: x := P' F x; inverse: x := F^{-1} P x; inverse_transposed: x := P' F'^{-1} x.
enum class factor_product { multiply, inverse, inverse_transposed };
void ldl_product(const simplicial_factor& f, factor_product what, std::span<double> x);

// Number of stored elements of F (diagonal included).
std::int64_t ldl_factor_nnz(const simplicial_factor& f);

}  // namespace ventrel::sparse
