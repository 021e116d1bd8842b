// Traces of products tr(A_bb B): A a symmetric matrix held as its upper triangle in IJA form,
// A_bb its block of rows and columns first..last, and B a matrix of the block's order held
// dense, as a hash matrix or as an upper-triangular IJA matrix. Used for expectations of
// quadratic forms, E(x'Bx) = tr(B Var(x)).
#pragma once

#include "linalg/dense_matrix.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse {

// B symmetric, upper triangle in IJA form, order last - first + 1 (indices within the block).
double traceblock_ija(const ija_matrix& a, int first, int last, const ija_matrix& b);
double traceblock_ija8(const ija8_matrix& a, int first, int last, const ija8_matrix& b);

// B dense, any (not necessarily symmetric) square matrix of the block's order:
// tr(A_bb B) = sum_ij A_ij B_ji.
double traceblock_ija_dense(const ija_matrix& a, int first, int last,
                            const linalg::dense_matrix& b);
double traceblock_ija8_dense(const ija8_matrix& a, int first, int last,
                             const linalg::dense_matrix& b);

// B a hash matrix indexed within the block: with upper storage B is the symmetric matrix of
// that upper triangle; with full storage B is taken as it is.
double traceblock_ija_hashm(const ija_matrix& a, int first, int last, const sparse_hashm& b);
double traceblock_ija8_hashm(const ija8_matrix& a, int first, int last, const sparse_hashm& b);

}  // namespace ventrel::sparse
