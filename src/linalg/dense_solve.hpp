// Inverses and solves of dense matrices through LAPACK.
#pragma once

#include "linalg/dense_matrix.hpp"

namespace ventrel::linalg {

// Replaces the symmetric positive definite matrix a (lower triangle read) by its inverse, both
// triangles filled (dpotrf, dpotri). Returns 0, or k > 0 when the leading minor of order k is not
// positive definite (a then holds a partial factor). Cost n^3 flops.
int spd_inverse(dense_matrix& a);

// Solves a x = b for the columns of b, b overwritten by x, with l the Cholesky factor of a from
// cholesky_lower (dpotrs). Cost 2 n^2 per column.
void cholesky_solve(const dense_matrix& l, dense_matrix& b);

// Solves a x = b for the columns of b by the LU factorisation of the general square matrix a (a
// overwritten by its factors, b by x; dgesv). Returns 0, or k > 0 when a is singular (pivot k is
// zero). Cost 2 n^3 / 3 flops.
int lu_solve(dense_matrix& a, dense_matrix& b);

}  // namespace ventrel::linalg
