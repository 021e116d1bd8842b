// A block of the numerator relationship matrix, A(rows, cols) for two lists of animals, by
// Colleau's product: the pedigree relationships among genotyped animals (A22) and between
// focal and genotyped animals.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "linalg/dense_matrix.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// A(rows, cols) as a dense rows.size() x cols.size() matrix, for animals numbered 1..n as in the
// pedigree file; the arrays are the pedigree phase's (as for focal_relationships). One product
// per column, eight columns per pass, restricted to the animals named and their ancestors,
// passes in parallel on nthreads threads (0 = the runtime's default). Every element is the same
// on any number of threads. An animal outside 1..n stops the run naming `what` (for example
// "Genotyped animal"). Progress on standard error under `label`.
// Cost: cols.size() / 8 passes over the animals named and their ancestors.
linalg::dense_matrix relationship_block(std::int32_t n, const pedigree_table& ped_sorted,
                                        std::span<const double> inb_sorted, std::span<const std::int32_t> perm,
                                        const group_info& groups, std::span<const std::int32_t> rows,
                                        std::span<const std::int32_t> cols, std::string_view what,
                                        std::string_view label, int nthreads = 0);

}  // namespace ventrel::pedigree
