// The focal record: per validation-set file, its focal individuals and their solutions in the
// whole and the partial evaluation (and phenotypes for predictive ability), row i of every
// array being the same individual.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/level_index.hpp"
#include "linalg/dense_matrix.hpp"

namespace ventrel::validation {

// The four accepted solution-file layouts, named after their columns (the header line that
// announces each is given beside it).
enum class solution_layout {
  solution,         // "trait/effect level  solution"
  solution_spaced,  // "trait/effect level      solution" (the same columns, another header)
  solution_se,      // "trait/effect level  solution          s.e."
  solution_acc,     // "trait/effect level  solution acc"
};

// What the fifth column of a data line holds.
enum class extra_column { none, se, acc };

extra_column extra_column_of(solution_layout layout);

// One focal set. Cells that no file filled hold NaN (a trait that the set does not validate and
// that the solution files lack).
struct focal_set {
  std::string file;                    // the validation-set file
  int n = 0;                           // number of focal individuals
  std::vector<int> levels;             // [i] level (from 1) of individual i in the validation effect
  std::vector<double> inb;             // [i] inbreeding of individual i; 0 until the pedigree phase
  std::vector<int> traits;             // traits (from 1) this set validates, ascending
  linalg::dense_matrix whole;          // n x ntrait solutions of the whole evaluation
  linalg::dense_matrix partial;        // n x ntrait solutions of the partial evaluation
  linalg::dense_matrix phenotype;      // n x ntrait mean adjusted phenotypes; NaN without
                                       // predictive ability
  extra_column extra = extra_column::none;  // what whole_extra and partial_extra hold
  linalg::dense_matrix whole_extra;    // n x ntrait s.e. or accuracy from the whole file; 0 x 0
                                       // when the files have no such column
  linalg::dense_matrix partial_extra;  // the same from the partial file
};

// The column of trait t (from 1) of one of a set's n x ntrait arrays; empty for a 0 x 0 array
// (phenotypes without predictive ability, the fifth column of layouts without one).
inline std::span<const double> column(const linalg::dense_matrix& m, int trait) {
  if (m.rows == 0 || m.cols == 0) return {};
  return {m.a.data() + static_cast<std::size_t>(trait - 1) * static_cast<std::size_t>(m.rows),
          static_cast<std::size_t>(m.rows)};
}

// The focal levels of all sets, indexed so that a solution line finds its row in constant time
// with memory proportional to the focal levels, not to the effect's number of levels.
struct focal_index {
  int nlev = 0;                    // levels of the validation effect: every level is in 1..nlev
  std::vector<int> levels;         // the distinct focal levels, in order of first appearance
  level_index position;            // level -> position in levels

  // 1 + the position of level in levels; 0 for a level that is not focal.
  std::int32_t slot(std::int64_t level) const { return position.find(level) + 1; }
};

// Builds the index of the levels of every set; nlev is the validation effect's number of levels
// (every level is known to lie in 1..nlev).
focal_index index_focal_levels(const std::vector<focal_set>& sets, int nlev);

}  // namespace ventrel::validation
