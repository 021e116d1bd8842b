// Products of dense matrices through BLAS (column-major dense_matrix).
#pragma once

#include "linalg/dense_matrix.hpp"

namespace ventrel::linalg {

// Lower triangle of c += alpha a' a (dsyrk, a of k x n, c of n x n); the strict upper triangle
// of c is not touched. Cost n^2 k flops.
void syrk_lower_add(dense_matrix& c, const dense_matrix& a, double alpha);

// Copies the lower triangle of the square matrix a over its upper triangle.
void mirror_lower(dense_matrix& a);

// c = alpha a b + beta c with a symmetric (its lower triangle read) on the left (dsymm).
void symm_left(double alpha, const dense_matrix& a, const dense_matrix& b, double beta, dense_matrix& c);

// c = alpha op(a) op(b) + beta c, op = transpose where asked (dgemm).
void gemm(bool trans_a, bool trans_b, double alpha, const dense_matrix& a, const dense_matrix& b, double beta,
          dense_matrix& c);

}  // namespace ventrel::linalg
