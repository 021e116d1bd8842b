// The report of the LR statistics, printed on the console and repeated in the log.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "statistics/lr_results.hpp"

namespace ventrel::validation {

// What the report needs of one trait.
struct trait_report {
  statistics::lr_values value;     // point values
  statistics::lr_intervals se;     // variances and limits, used when the report has them
  double genetic_variance = 1.0;   // parameter-file variance of the validated effect (bias in sd)
};

// The report's lines, without or with the standard-error columns. Trait i of the report is
// element i-1 of traits.
std::vector<std::string> report_lines(std::span<const trait_report> traits, bool with_se,
                                      bool predictive_ability);

}  // namespace ventrel::validation
