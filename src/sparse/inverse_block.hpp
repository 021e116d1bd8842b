// A block of the inverse of a sparse symmetric positive definite matrix among chosen rows,
// without the sparse inverse of the whole pattern: the chosen rows are pivoted last, so that
// their block of the inverse is the inverse of the trailing triangle of the Cholesky factor.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sparse/ija_matrix.hpp"
#include "sparse/upper_csr.hpp"

namespace ventrel::sparse {

struct inverse_block_settings {
  int threads = 0;      // OpenMP threads of the sparse engine; 0 = the OpenMP default (said once)
  int msg_level = 0;    // above 0: the solver's steps, sizes and times
  std::string context;  // a last line for every stop of the solver (which matrix it is)
};

// A fill-reducing order (perm[k] = row, from 0, of pivot k) with the chosen rows (from 1, no
// repeats) last, in the order given, and the other rows ordered by AMD on their own pattern.
// Rows of that pattern with many more entries than most (the dense block of a genomic
// relationship inverse, the sires of many progeny) are set aside by AMD and pivoted just before
// the chosen rows: AMD's time grows fast with such rows, and after them the factor is dense
// anyway. dense_rows receives how many were set aside.
std::vector<std::int64_t> order_chosen_last(const upper_csr& a, const std::vector<int>& chosen,
                                            std::int64_t* dense_rows = nullptr);

// The block of an inverse among k chosen rows, in the order of the pivots: z holds its lower
// triangle (k x k by columns), place[q] the index in z of the q-th chosen row.
struct inverse_block_result {
  std::int64_t k = 0;
  std::vector<double> z;
  std::vector<std::int64_t> place;

  // Element (chosen[q], chosen[r]) of the inverse.
  double at(std::size_t q, std::size_t r) const {
    std::int64_t a = place[q], b = place[r];
    if (a < b) std::swap(a, b);
    return z[static_cast<std::size_t>(a + b * k)];
  }
};

// The elements of m^{-1} among the chosen rows (from 1, no repeats). With the chosen rows
// pivoted last, P m P' = F F' and F's trailing k x k triangle T give the block as (T T')^{-1}
// (a dense inverse by LAPACK); the rest of the inverse is never formed. Cost: that of the
// factorisation and of the dense k x k inverse. m is left as it is. A stop of the solver (m not
// positive definite) adds settings.context.
inverse_block_result inverse_block(ija_matrix& m, const std::vector<int>& chosen, const inverse_block_settings& settings);

}  // namespace ventrel::sparse
