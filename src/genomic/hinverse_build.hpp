// Assembly of H-inverse from the pedigree and the genomic block:
// H^-1 = A^-1 + [0 0; 0 tau G^-1 - omega A22^-1].
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "pedigree/pedigree_types.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::genomic {

// Adds A-inverse of the pedigree to hashm (upper storage, order nlev >= n) by Henderson's rules
// with inbreeding: for animal i with parents s, d, Mendelian sampling variance
// d_i = 0.25 (c - F(s) - F(d)) (c = 2 plus the parents that are not animals; the same variances
// as Colleau's product), 1/d_i times t t' with t = e_i - e_s/2 - e_d/2 over the parents that are
// animals. Parent codes above n (groups) count as unknown. Levels n+1..nlev (animals without a
// pedigree line) get a diagonal of 1. ped and inb by pedigree-file number (inb 0..n+nupg).
void add_pedigree_inverse(sparse::sparse_hashm& hashm, int nlev, std::int32_t n, const pedigree::pedigree_table& ped,
                          std::span<const double> inb);

// The genomic part of H-inverse: x = tau G^-1 - omega A22^-1 at the genotyped levels.
struct genomic_block {
  std::vector<std::int32_t> levels;  // the level of the animal of each row of x
  linalg::dense_matrix x;            // symmetric, both triangles
};

// H-inverse in upper IJA form of order nlev: A-inverse plus the genomic block, with an explicit
// (zero) element for every pair of animals within each focal set, so that the sparse inverse
// gives them all. Rows are merged from the sparse pedigree part and the dense block. Memory: the
// pedigree part, the focal pairs, and the block's upper triangle.
sparse::ija_matrix assemble_hinverse(int nlev, std::int32_t n, const pedigree::pedigree_table& ped,
                                     std::span<const double> inb, const genomic_block& block,
                                     const std::vector<std::vector<int>>& focal_sets);

}  // namespace ventrel::genomic
