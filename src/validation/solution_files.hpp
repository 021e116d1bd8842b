// The solution files of the whole and the partial evaluation: their headers, the streaming read
// of the validation effect's solutions, and the focal records built from them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "parfile/model_parameters.hpp"
#include "validation/focal_set.hpp"
#include "validation/options.hpp"

namespace ventrel::validation {

// The layout a header line announces (trailing blanks ignored); empty when it is none of the
// four accepted headers.
std::optional<solution_layout> layout_of_header(std::string_view header);

// Reads the first line of both files and returns their common layout. Stops with
// whole " and " partial " are in different formats" / "or have different headers" when both
// headers are accepted ones but differ, and with the "invalid format" message and the list of
// valid headers when either is not an accepted header.
solution_layout check_headers(const std::string& whole, const std::string& partial);

// Solutions of the distinct focal levels read from one solution file.
struct focal_solutions {
  linalg::dense_matrix sol;    // [d, t] solution of focal level index.levels[d], trait t+1; NaN
                               // where the file has no line
  linalg::dense_matrix extra;  // the same for the fifth column; 0 x 0 for layouts without it
};

// One streaming pass over a solution file (its header is skipped): every data line is
// trait, effect, level, solution[, s.e. or acc], values separated by blanks, TABs or commas,
// blank lines skipped, further values ignored. Lines of other effects are only checked to be
// numbers; lines of `effect` at a focal level fill the result. Stops naming the file and line
// on a line that cannot be read, a non-finite solution or fifth value of the validation effect,
// a trait outside 1..ntrait or a level outside 1..nlev of the validation effect, and a solution
// given twice. Memory is that of the index and the result, whatever the file's length. The
// lines are parsed on `threads` threads (<= 0: OpenMP's default); the result and the messages
// are those of one.
focal_solutions read_solution_file(const std::string& path, solution_layout layout, int effect,
                                   int ntrait, const focal_index& index, int threads);

// The focal records of a run: the validation-set files (one set per file: a single file
// validates every trait, else file t validates trait t), both solution files, and with
// predictive ability the file "yhat_residual". Stops naming the individual, the trait and the
// file when a focal individual has no solution for a trait its set validates, and, before any
// solution is read, when se approx is asked for and the headers announce no accuracy or s.e. A set of a single
// individual gets a warning (its dispersion, accuracies and reliability are not defined).
// "sol_valids" is not written here: see write_sol_valids.
std::vector<focal_set> read_focal_sets(const validation_options& options,
                                       const parfile::model_parameters& model);

}  // namespace ventrel::validation
