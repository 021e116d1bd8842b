// The per-trait input files of se exact: "ebv_pev_" files (level, EBV, PEV of every animal of
// the validation effect) and the optional "pec_" files (prediction error covariances between
// pairs of focal animals), read for the animals of one focal set.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "statistics/analytical_se.hpp"

namespace ventrel::statistics {

enum class evaluation { whole, partial };

// "ebv_pev_<t>_1_whole" / "ebv_pev_<t>_1_partial", t without blanks.
std::string ebv_pev_file_name(int trait, evaluation e);
// "pec_<t>_1_whole" / "pec_<t>_1_partial".
std::string pec_file_name(int trait, evaluation e);

// EBV and PEV of the focal animals, in the focal set's order.
struct ebv_pev {
  std::vector<double> ebv;  // EBV column of the file
  std::vector<double> pev;  // prediction error variance, >= 0
};

// Reads an ebv_pev file for the focal animals whose levels (1..nlev of the validation effect)
// are given in the set's order. Free format, one animal a line: level, EBV, PEV; further
// columns are ignored, lines come in any order, blank lines and non-focal animals are skipped.
// Stops on a line that does not hold a level and two finite numbers (PEV >= 0), on a level
// outside 1..nlev, on a focal animal given twice, and on a focal animal without a line (naming
// the file and the level). One pass over the file, parsed on `threads` threads (<= 0: OpenMP's
// default) with the result and the messages of one; O(m) memory.
ebv_pev read_ebv_pev(const std::string& path, std::span<const int> focal, int nlev, int threads);

// Reads a pec file: one pair a line, the levels of two animals and their prediction error
// covariance. Pairs with a non-focal animal are skipped, as are pairs of an animal with itself
// (the variances come from the ebv_pev file). A pair may come in either order, once: a pair
// given twice stops the run naming both lines. Pairs not listed are 0. Parsed on `threads`
// threads, as read_ebv_pev.
pec_matrix read_pec(const std::string& path, std::span<const int> focal, int nlev, int threads);

// Number of focal animals whose EBV in an ebv_pev file differs from the solution file by more
// than 1e-3 relative to max(|ebv|, |solution|, root mean square of the solutions), so that EBVs
// near 0 written with few decimals do not count.
int count_ebv_differences(std::span<const double> file_ebv, std::span<const double> solutions);

// Counts the differences and, when there are any, prints one warning naming both files.
// Returns the count.
int compare_ebv(const std::string& ebv_pev_path, std::span<const double> file_ebv,
                const std::string& solution_path, std::span<const double> solutions);

}  // namespace ventrel::statistics
