// Sparse inverse over CHOLMOD's supernodal factor: every element of (P A P')^{-1} within the
// pattern of the factor, by the supernodal Takahashi recurrence, in parallel over subtrees.
#pragma once

#include <cholmod.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "sparse/upper_csr.hpp"

namespace ventrel::sparse {

// Z = (P A P')^{-1} in the supernodal layout of the factor (same px offsets, nsrow x nscol
// panels by columns; only the lower triangle of each diagonal block is meaningful).
struct supernodal_inverse {
  std::vector<double> z;
};

// Per supernode J with columns J and rows S below them, from the factor F = L (LL' form):
//   L^_SJ = L_SJ L_JJ^{-1}           (triangular solve)
//   D_J^{-1} = (L_JJ L_JJ')^{-1}     (LAPACK potri)
// then from the last supernode back (ancestors first):
//   Z_SJ = -Z_SS L^_SJ               (symmetric and general products, block by block over the
//                                     supernodes that hold the rows S)
//   Z_JJ = D_J^{-1} - L^_SJ' Z_SJ.
// Z_SS lies in the pattern of the ancestors' panels (the rows of a supernode form a clique of
// the filled graph). Supernodes at the top of the tree run one by one with the run's BLAS
// threads; the independent subtrees below them run on `threads` OpenMP threads, BLAS serial. Cost about
// twice the factorisation's; memory the size of the factor plus panel-sized workspaces.
// context: a last line for its stop (which matrix it is); empty: none.
supernodal_inverse takahashi_supernodal(const cholmod_factor* l, int threads, std::string_view context = {});

// Writes the element of A^{-1} at every stored position of a over a.a.
void scatter_inverse(const cholmod_factor* l, const supernodal_inverse& z, upper_csr& a);

}  // namespace ventrel::sparse
