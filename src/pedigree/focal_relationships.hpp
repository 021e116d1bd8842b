// The relationship matrix among the focal animals of a focal set, by Colleau's product.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// A_focal (m x m, in the order of focal) with A_focal(k,j) = A(a_k, a_j) for the focal animals
// a_1..a_m (numbers 1..n of the pedigree file). ped_sorted (size at least n+1), inb_sorted
// (0..n+nupg) and perm (perm[a] = position of a) are the pedigree phase's arrays; with
// metafounders (groups.metafounders()) the metafounder product is used, otherwise groups are
// unknown parents and inb_sorted gives the Mendelian sampling variances as in nrm_times_vector.
// Prints "Create A for the focal animals using Colleau" first. The products run over the focal
// animals and their ancestors only, several columns per pass, passes in parallel on nthreads
// threads (0 = the runtime's default) with one workspace per thread; every element is computed
// once, by the same arithmetic for any thread count, so the matrix is exactly symmetric and the
// same on any number of threads. A focal animal outside 1..n stops the run.
linalg::dense_matrix focal_relationships(std::int32_t n, const pedigree_table& ped_sorted,
                                         std::span<const double> inb_sorted,
                                         std::span<const std::int32_t> perm, const group_info& groups,
                                         std::span<const std::int32_t> focal, int nthreads = 0);

}  // namespace ventrel::pedigree
