// Slow, obvious reference for the genomic relationships: G by VanRaden's first method written
// element by element, tuning and blending from their definitions, and H by inverting the dense
// H-inverse A^-1 + [0 0; 0 tau G^-1 - omega A22^-1].
#pragma once

#include <cstdint>
#include <vector>

#include "linalg/dense_matrix.hpp"

namespace ventrel::reference {

// genotypes[a][m]: 0, 1, 2, or 5 for missing. p[m] = mean of the calls / 2;
// G(i,j) = sum_m z_im z_jm / (2 sum_m p_m (1 - p_m)), z = genotype - 2p, 0 when missing.
std::vector<double> ref_frequencies(const std::vector<std::vector<int>>& genotypes);
linalg::dense_matrix ref_vanraden_g(const std::vector<std::vector<int>>& genotypes);

// a + b G with a, b such that the mean diagonal and mean off-diagonal equal those of a22.
linalg::dense_matrix ref_tuned(const linalg::dense_matrix& g, const linalg::dense_matrix& a22);

// H of order n (all animals, 0-based rows = animal - 1) from A (dense), the genotyped animals
// (numbers 1..n, in the order of g's rows), G and the weights: the inverse of
// A^-1 + U (tau G^-1 - omega A22^-1) U', every inverse by textbook Cholesky.
linalg::dense_matrix ref_h(const linalg::dense_matrix& a, const std::vector<std::int32_t>& genotyped,
                           const linalg::dense_matrix& g, double tau, double omega);

// The dense H-inverse itself.
linalg::dense_matrix ref_hinverse(const linalg::dense_matrix& a, const std::vector<std::int32_t>& genotyped,
                                  const linalg::dense_matrix& g, double tau, double omega);

}  // namespace ventrel::reference
