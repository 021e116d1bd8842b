// Sparse inverse over a simplicial LDL' factor: every element of (P A P')^{-1} within the
// pattern of L, by the Takahashi recurrence.
#pragma once

#include <vector>

#include "sparse/ldl_factor.hpp"
#include "sparse/upper_csr.hpp"

namespace ventrel::sparse {

// Z = (P A P')^{-1} in the pattern of the factor: zd its diagonal, zx its strictly lower part
// in the layout of f.li / f.lx.
struct simplicial_inverse {
  std::vector<double> zd;
  std::vector<double> zx;
};

// Takahashi: from the last column back, z_rj = -sum_{k in R_j} Z_rk l_kj for the rows r of
// column j (R_j) and z_jj = 1/d_j - sum_{k in R_j} l_kj z_kj. Every Z_rk needed lies in the
// pattern of an already computed column, since the rows of a column of L form a clique of the
// filled graph. Cost of the order of the factorisation's.
simplicial_inverse takahashi_simplicial(const simplicial_factor& f);

// Writes the element of A^{-1} at every stored position of a over a.a.
void scatter_inverse(const simplicial_factor& f, const simplicial_inverse& z, upper_csr& a);

}  // namespace ventrel::sparse
