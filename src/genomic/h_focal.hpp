// H among focal animals without inverting H-inverse, and the genomic block of H-inverse.
#pragma once

#include "genomic/hinverse_build.hpp"
#include "genomic/positive_definite.hpp"
#include "linalg/dense_matrix.hpp"

namespace ventrel::genomic {

struct h_weights {
  double tau = 1.0;    // weight of G^-1 (OPTION H_weights tau omega)
  double omega = 1.0;  // weight of A22^-1
};

// H(f, f) for focal animals f from A(f, f) (a_ff, m x m), A(2, f) (a_2f, genotyped x focal),
// G and A22 (in the same order of genotyped animals). With H^-1 = A^-1 + U X U',
// X = tau G^-1 - omega A22^-1 and U the columns of the genotyped animals, Woodbury's identity
// gives H = A - A_.2 (X^-1 + A22)^-1 A_2. = A - A_.2 X (I + A22 X)^-1 A_2., which needs no X^-1.
// With tau = omega = 1 it is H = A + A_.2 A22^-1 (G - A22) A22^-1 A_2.: a Cholesky factor of
// A22, a solve for A22^-1 A_2f, one symmetric and one general product (about n2^3/3 + 2 n2^2 m
// + n2 m^2 flops, n2 genotyped, m focal). Other weights take G^-1, A22^-1 and an LU solve of
// I + A22 X (about 3 n2^3 flops). Stops through stop_not_positive_definite when G or A22 is not
// positive definite, and when I + A22 X is singular. BLAS on nthreads threads (0 = default).
linalg::dense_matrix h_focal_closed_form(const linalg::dense_matrix& a_ff, const linalg::dense_matrix& a_2f,
                                         const linalg::dense_matrix& g, const linalg::dense_matrix& a22,
                                         const h_weights& w, const pd_context& context, int nthreads);

// x = tau G^-1 - omega A22^-1 (both triangles), for H-inverse. Stops as above.
linalg::dense_matrix genomic_inverse_block(const linalg::dense_matrix& g, const linalg::dense_matrix& a22,
                                           const h_weights& w, const pd_context& context, int nthreads);

}  // namespace ventrel::genomic
