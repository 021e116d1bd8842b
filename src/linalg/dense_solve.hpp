// Inverses and solves of dense matrices through LAPACK.
#pragma once

#include "linalg/dense_matrix.hpp"

namespace ventrel::linalg {

// Cholesky factor a = L L' in place (lower triangle, dpotrf) that also counts as failed a pivot
// whose square is at most min_pivot_ratio times the diagonal element it comes from (a matrix
// singular in exact arithmetic gives a rounding-sized pivot of either sign). Returns 0, or the
// order k > 0 of the first leading minor that fails.
int cholesky_lower_checked(dense_matrix& a, double min_pivot_ratio);

// Replaces the symmetric positive definite matrix a (lower triangle read) by its inverse, both
// triangles filled (dpotrf, dpotri). Returns 0, or k > 0 when the leading minor of order k is not
// positive definite, by the test of cholesky_lower_checked (a then holds a partial factor).
// Cost n^3 flops.
int spd_inverse(dense_matrix& a, double min_pivot_ratio = 0.0);

// Solves a x = b for the columns of b, b overwritten by x, with l the Cholesky factor of a from
// cholesky_lower (dpotrs). Cost 2 n^2 per column.
void cholesky_solve(const dense_matrix& l, dense_matrix& b);

// Solves a x = b for the columns of b by the LU factorisation of the general square matrix a (a
// overwritten by its factors, b by x; dgesv). Returns 0, or k > 0 when a is singular (pivot k is
// zero). Cost 2 n^3 / 3 flops.
int lu_solve(dense_matrix& a, dense_matrix& b);

}  // namespace ventrel::linalg
