// Slow reference: the numerator relationship matrix formed densely by the tabular method, with
// unknown parent groups, metafounders related by Gamma, and selfing generations.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "linalg/dense_matrix.hpp"

namespace ventrel::reference {

struct tabular_pedigree {
  // parents[i] = {sire, dam} of animal i (1..n), any order of numbers; parents[0] unused.
  // 0 = unknown; n+1..n+nupg = group k = code - n.
  std::vector<std::array<std::int32_t, 2>> parents;
  std::int32_t nupg = 0;
  std::vector<double> gamma;          // nupg x nupg column-major; empty: groups are unknown
  std::vector<std::int32_t> selfing;  // generations of selfing per animal (size n+1) or empty
};

// A of order n+nupg, 0-based: animal i at row i-1, group k at row n+k-1. Without Gamma the
// group rows are zero. Animals are taken in an order found by repeated scans (parents first);
// A(i,j) = (A(s_i,j) + A(d_i,j))/2 for j before i, A(i,i) = 1 + F(i) with F(i) = A(s_i,d_i)/2,
// or 1 - (1 - A(s_i,d_i)/2) / 2^g after g generations of selfing. Cost O((n+nupg)^2) memory
// and O(n^2) time (plus O(n^2) for the ordering).
linalg::dense_matrix tabular_a(const tabular_pedigree& p);

// Inbreeding coefficients from tabular_a: F(i) = A(i,i) - 1 for i = 1..n, element 0 = 0.
std::vector<double> tabular_inbreeding(const tabular_pedigree& p);

}  // namespace ventrel::reference
