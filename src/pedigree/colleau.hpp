// Colleau's product of the numerator relationship matrix with a vector, without forming A.
#pragma once

#include <cstdint>
#include <span>

#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// y = A x for the pedigree in parents-first order (ped_sorted, positions 1..n; codes above n are
// groups, taken as unknown parents). x, y and q (a workspace) are indexed by position, 1..n
// (size at least n+1; element 0 is not used). inb_sorted is indexed by code (0..n+nupg, with
// inb_sorted[0] = 0): the Mendelian sampling variance of animal i is
// 0.25 (c - inb(s) - inb(d)), c = 2 plus the number of parents that are not animals.
// Cost: two passes over the pedigree, three vectors of length n.
void nrm_times_vector(std::int32_t n, const pedigree_table& ped_sorted, std::span<const double> inb_sorted,
                      std::span<double> y, std::span<const double> x, std::span<double> q);

// The same product for a pedigree with metafounders: the relationship matrix of the animals and
// the metafounders together, in which metafounders k, l are related by Gamma(k,l) and every
// animal follows the tabular rules. x, y and q are indexed by code: 1..n the animals' positions,
// n+1..n+nupg the metafounders (size at least n+nupg+1). inb_sorted as above (entries of the
// metafounders are not used: their self-relationship is Gamma(k,k)).
void nrm_times_vector_mf(std::int32_t n, const pedigree_table& ped_sorted, std::span<const double> inb_sorted,
                         const group_info& groups, std::span<double> y, std::span<const double> x,
                         std::span<double> q);

}  // namespace ventrel::pedigree
