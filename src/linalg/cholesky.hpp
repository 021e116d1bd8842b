// Cholesky factorisation of a dense symmetric matrix through LAPACK (dpotrf).
#pragma once

#include "linalg/dense_matrix.hpp"

namespace ventrel::linalg {

// Factorises the symmetric matrix a (only its lower triangle is read) in place as a = L L',
// leaving L in the lower triangle; the strict upper triangle is left as it was.
// Returns 0 on success, or k > 0 when the leading minor of order k is not positive definite
// (a then holds a partial factor). Cost n^3/3 flops. A LAPACK argument error stops the run.
int cholesky_lower(dense_matrix& a);

// Whether the symmetric matrix a (lower triangle read) is positive definite; a is not changed.
// An empty matrix counts as positive definite.
bool is_positive_definite(const dense_matrix& a);

}  // namespace ventrel::linalg
