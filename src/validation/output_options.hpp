// The OPTIONs of the outputs beside the report: validation by groups, their printing, the plots
// and further cut-offs.
#pragma once

#include <string>
#include <vector>

#include "parfile/option_store.hpp"

namespace ventrel::validation {

struct output_options {
  std::string validation_groups;  // OPTION validation_groups FILE; "" = no groups
  bool print_groups = false;      // OPTION print_groups: the groups' blocks after the report
  bool plots = false;             // OPTION plots: SVG files per trait
  std::vector<std::string> cutoffs;  // OPTION cutoffs: prefixes of further partial solution files
};

// Reads validation_groups, print_groups, plots and cutoffs, echoing each one found.
// validation_groups without a file name, cutoffs without a prefix and a cut-off whose file
// prefix + "_partial" does not exist stop naming the line; print_groups without groups prints a
// warning.
output_options read_output_options(const parfile::option_store& store);

}  // namespace ventrel::validation
