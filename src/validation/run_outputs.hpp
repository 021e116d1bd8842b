// The outputs beside the report: the description of the run and the statistics blocks that
// the results files hold.
#pragma once

#include <vector>

#include "genomic/options.hpp"
#include "parfile/read_parameter_file.hpp"
#include "validation/focal_set.hpp"
#include "validation/groups.hpp"
#include "validation/options.hpp"
#include "validation/report.hpp"
#include "validation/results_file.hpp"

namespace ventrel::validation {

// What the results files are made from, as the run holds it at its end.
struct outputs_input {
  const parfile::parameter_file& parameters;
  const validation_options& options;
  const genomic::genomic_options& genomic;
  const std::vector<focal_set>& sets;
  const std::vector<double>& h2;            // per trait
  const std::vector<double>& gvar_focal;    // per trait, genetic variance of the focal animals
  const std::vector<trait_report>& results; // per trait, the report's figures
};

// The run's settings and input files, and one block per focal set and trait it validates
// (group "all"), sets in order.
results_run describe_run(const outputs_input& in);

// Adds the groups' file (as an input file) and their blocks, after those of the whole sets.
void add_groups(results_run& run, const validation_groups& groups, std::vector<results_block> blocks);

// Adds the cut-offs' partial files (as input files) and their blocks, after all others.
void add_cutoffs(results_run& run, const std::vector<std::string>& prefixes, std::vector<results_block> blocks);

// OPTION plots: per trait "ventrel_plot_trait_<t>.svg" (whole against partial, coloured by
// group) and "ventrel_groups_trait_<t>.svg" (the statistics of every block of the trait), each
// written atomically.
void write_plots(const outputs_input& in, const results_run& run, const validation_groups& groups);

}  // namespace ventrel::validation
