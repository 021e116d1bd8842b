// Validation by groups of focal animals (OPTION validation_groups): the group file, and the
// statistics with their standard errors for every group of every focal set.
#pragma once

#include <string>
#include <vector>

#include "parfile/model_parameters.hpp"
#include "pedigree/pedigree_phase.hpp"
#include "validation/focal_set.hpp"
#include "validation/options.hpp"
#include "validation/results_file.hpp"

namespace ventrel::validation {

// The groups of the focal animals.
struct validation_groups {
  std::string file;                      // the group file; "" = no groups
  std::vector<std::string> names;        // group names in order of first appearance
  std::vector<std::vector<int>> of_row;  // [set][row]: index in names of the animal's group, -1 none
};

inline constexpr const char* fewer_than_two = "fewer than 2 animals";

// Reads a group file: one line per animal, its level in the validation effect and its group
// (a word; further values ignored; blank lines skipped). Animals not listed belong to no group.
// Stops naming the file and the line on a line without a group, a level that is not a whole
// number, a level that is no focal animal of any validation-set file, a level given twice, and
// the group name "all" (which names every focal animal in the results files); stops when the
// file is missing or holds no line.
validation_groups read_validation_groups(const std::string& path, const std::vector<focal_set>& sets);

// What the group statistics are computed from.
struct group_phase_input {
  const parfile::model_parameters& model;
  const validation_options& options;
  const std::vector<focal_set>& sets;
  const pedigree::pedigree_phase_result& pedigree;
  const std::vector<double>& genetic_variance;  // per trait, parameter file
  const std::vector<double>& h2;                // per trait
  const std::vector<double>& gvar_focal;        // per trait, of all focal animals
  const validation_groups& groups;
  const std::vector<linalg::dense_matrix>& a_focal;  // se exact from an inverse relationship matrix:
                                                     // A_focal of every set, set s at s; else empty
};

// One block per focal set, trait the set validates and group, in that order. A group's
// statistics follow those of the whole set, on its animals alone: the genetic variance of its
// animals is the trait's genetic variance x (1 - their mean inbreeding) under focal_var inb, else
// the whole set's; standard errors by the run's method (the bootstrap from its own stream,
// starting at the default seeds, groups in the order of the blocks; se exact from the group's
// rows and columns of its set's A_focal when that is held, else from Colleau's products over the
// group's animals, a block of columns at a time). Groups of fewer than 2 animals get no statistics and
// the note fewer_than_two. Warnings of the standard errors go to the block's notes.
std::vector<results_block> group_blocks(const group_phase_input& in);

// The console (and log) lines of OPTION print_groups: one report block per group block, titled
// " Cross-validation statistics for trait: " t (I3) "  group: " name "  animals: " n, in the
// report's layout; a group of fewer than 2 animals gets " Fewer than 2 animals: no statistics".
std::vector<std::string> group_report_lines(const std::vector<results_block>& blocks, bool with_se,
                                            bool predictive_ability);

}  // namespace ventrel::validation
