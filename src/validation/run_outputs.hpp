// The outputs beside the report: the description of the run and the statistics blocks that
// the results files hold.
#pragma once

#include <vector>

#include "genomic/options.hpp"
#include "parfile/read_parameter_file.hpp"
#include "validation/focal_set.hpp"
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

}  // namespace ventrel::validation
