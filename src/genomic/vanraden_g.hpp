// The genomic relationship matrix G by VanRaden's first method.
#pragma once

#include <cstdint>

#include "genomic/genotype_qc.hpp"
#include "genomic/genotypes.hpp"
#include "linalg/dense_matrix.hpp"

namespace ventrel::genomic {

// How the products Z Z' are formed.
//   integer_single: the genotypes themselves (0, 1, 2; a missing call 0) are multiplied in single
//     precision, M0 M0' by ssyrk: every partial sum is an integer below 4 x markers, which single
//     precision holds exactly while markers < 2^22, so M0 M0' is exact. Z Z' follows in double:
//     Z Z' = M0 M0' - 2 u 1' - 2 1 u' + 4 (p'p) 1 1' with u = M0 p, when no call is missing; each
//     missing call (animal k, marker j) adds a column correction of cost animals (an axpy with
//     the genotypes of marker j) plus one term for each other animal missing marker j. Half the
//     processor time of double precision (ssyrk runs twice as fast as dsyrk) while missing calls
//     are a small share; G's own storage holds the single-precision sums, then is widened in place.
//   double_precision: Z itself in double, by dsyrk over blocks of markers.
//   automatic: integer_single unless markers >= 2^22 or missing calls exceed
//     max_missing_share_single of all calls.
enum class g_products { automatic, integer_single, double_precision };

// At 0.5% missing calls the single way takes 0.75 of the double way's processor time, at 2% 1.12.
inline constexpr double max_missing_share_single = 0.01;

// The way `automatic` takes for these counts (kept animals, kept markers, missing calls among
// them): integer_single or double_precision.
g_products g_products_for(std::int64_t animals, std::int64_t markers, std::int64_t missing);

// G = Z Z' / (2 sum p(1-p)) over the animals and markers kept by quality control (rows and
// columns of G in the order of kept.animals), with Z = M - 2p, a missing genotype taken as 2p
// (a zero in Z), p the frequencies of kept.p (VanRaden 2008, J. Dairy Sci. 91:4414). Markers go
// by blocks (gathered by animal, in parallel), each block added by a BLAS symmetric rank-k
// update; both triangles are filled at the end. nthreads (0 = the defaults) sets the OpenMP and
// BLAS threads. Cost: animals^2 x markers flops (in single precision by default, see g_products);
// memory G plus one block of markers.
linalg::dense_matrix vanraden_g(const genotype_table& g, const qc_result& kept, int nthreads,
                                g_products way = g_products::automatic);

}  // namespace ventrel::genomic
