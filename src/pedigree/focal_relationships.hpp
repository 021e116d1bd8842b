// The relationship matrix among the focal animals of a focal set, by Colleau's product.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "linalg/symmetric_columns.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// The relationships among the focal animals a_1..a_m (numbers 1..n of the pedigree file) without
// storing them: S(k,j) = A(a_k, a_j). ped_sorted (size at least n+1), inb_sorted (0..n+nupg) and
// perm (perm[a] = position of a) are the pedigree phase's arrays; with metafounders
// (groups.metafounders()) the metafounder product is used, otherwise groups are unknown parents
// and inb_sorted gives the Mendelian sampling variances as in nrm_times_vector. Prints nothing
// (the sweep shows its progress on standard error). A focal animal outside 1..n stops the run.
// - diagonal: 1 + F of each focal animal from inb_sorted (A's diagonal when the coefficients are
//   the pedigree's own).
// - times: one product of all the vectors over the focal animals and their ancestors.
// - sweep: the focal animals parents first (order), four columns per product over the focal
//   animals and their ancestors, products in parallel on nthreads threads (0 = the runtime's
//   default) with one workspace per thread; step k's column is computed on the rows up to its
//   own, so each element is computed once, by the same arithmetic in any block and on any
//   number of threads. Memory: per thread 4 values per row of the sub-pedigree and 4 columns of
//   m values (see focal_relationship_columns_bytes); never m x m.
linalg::symmetric_columns focal_relationship_columns(std::int32_t n, const pedigree_table& ped_sorted,
                                                     std::span<const double> inb_sorted,
                                                     std::span<const std::int32_t> perm, const group_info& groups,
                                                     std::span<const std::int32_t> focal, int nthreads = 0);

// Bytes that focal_relationship_columns and its sweep hold at most for m focal animals in a
// pedigree of n animals, with products of `vectors` vectors at a time, on nthreads threads.
double focal_relationship_columns_bytes(std::int64_t n, std::int64_t m, int vectors, int nthreads);

// A_focal (m x m, in the order of focal) gathered from the sweep of focal_relationship_columns,
// after printing "Create A for the focal animals using Colleau": exactly symmetric and the same
// on any number of threads.
linalg::dense_matrix focal_relationships(std::int32_t n, const pedigree_table& ped_sorted,
                                         std::span<const double> inb_sorted,
                                         std::span<const std::int32_t> perm, const group_info& groups,
                                         std::span<const std::int32_t> focal, int nthreads = 0);

}  // namespace ventrel::pedigree
