// Slow, obvious dense reference for the sparse factorisation tests: inverse and log-determinant
// of a symmetric positive definite matrix by a textbook Cholesky factorisation.
#pragma once

#include "linalg/dense_matrix.hpp"

namespace ventrel::reference {

// Inverse of the symmetric positive definite matrix a (both triangles read): Cholesky
// a = L L' by the textbook column loop, then one forward and one backward substitution per
// unit vector. O(n^3); for test sizes only. Stops (fatal) when a pivot is not positive.
linalg::dense_matrix dense_spd_inverse(const linalg::dense_matrix& a);

// log det(a) = 2 sum log L_ii of the same Cholesky factor.
double dense_spd_logdet(const linalg::dense_matrix& a);

}  // namespace ventrel::reference
