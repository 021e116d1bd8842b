// OPTION cutoffs: the partial solutions of several truncated evaluations ("prefix_partial"),
// each compared with the same whole evaluation, for the trend of the statistics over cut-offs.
#pragma once

#include <string>
#include <vector>

#include "parfile/model_parameters.hpp"
#include "validation/options.hpp"
#include "validation/results_file.hpp"

namespace ventrel::validation {

struct cutoff_input {
  const parfile::model_parameters& model;
  const validation_options& options;
  const std::vector<double>& genetic_variance;  // per trait, parameter file
  const std::vector<double>& h2;                // per trait
  const std::vector<double>& gvar_focal;        // per trait, of the focal animals
};

// One block per cut-off, focal set and trait (group "all"), cut-offs in the given order: the
// focal records are read again with the partial solutions of prefix + "_partial" (the same
// checks and stops as the run's own files), and the statistics computed as for the report.
// Standard errors: with se boot from the cut-offs' own stream (default seeds, blocks in order);
// with se exact or approx none (their prediction error variances belong to the run's own partial
// evaluation), and the block's note says so.
std::vector<results_block> cutoff_blocks(const cutoff_input& in, const std::vector<std::string>& prefixes);

}  // namespace ventrel::validation
