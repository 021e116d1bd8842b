// The adjusted phenotypes of "yhat_residual", used for predictive ability.
#pragma once

#include <string>

#include "linalg/dense_matrix.hpp"
#include "validation/focal_set.hpp"

namespace ventrel::validation {

// The adjusted-phenotype file of OPTION predictive_ability, always of this name.
inline constexpr const char* yhat_residual_file = "yhat_residual";

// Reads a file of lines "level y_1 .. y_ntrait" (the level of the validation effect, then one
// adjusted phenotype per trait; blanks, TABs or commas separate; blank lines skipped; further
// values ignored). Lines of levels that are not focal are skipped; several lines of one focal
// level are averaged per trait. Returns [d, t] = the mean for index.levels[d] and trait t+1.
// Stops naming the file and line on a line that cannot be read or a non-finite phenotype, and
// naming the level when a focal individual has no line. Parsed on `threads` threads (<= 0:
// OpenMP's default), with the result and the messages of one.
linalg::dense_matrix read_yhat_residual(const std::string& path, int ntrait, const focal_index& index, int threads);

}  // namespace ventrel::validation
