// The OPTIONs of the outputs beside the report: validation by groups, their printing, and the
// plots.
#pragma once

#include <string>
#include <vector>

#include "parfile/option_store.hpp"

namespace ventrel::validation {

struct output_options {
  std::string validation_groups;  // OPTION validation_groups FILE; "" = no groups
  bool print_groups = false;      // OPTION print_groups: the groups' blocks after the report
  bool plots = false;             // OPTION plots: SVG files per trait
};

// Reads validation_groups, print_groups and plots, echoing each one found. validation_groups
// without a file name stops naming the line; print_groups without groups prints a warning.
output_options read_output_options(const parfile::option_store& store);

}  // namespace ventrel::validation
