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

// One row of a report block: its label, the point value and the variance and limits.
struct report_row {
  const char* label;
  double value;
  statistics::interval se;
};

// The rows of one trait's block in report order: "Absolute bias:", "Bias in genetic sd:" (the
// bias, its variance and limits scaled by the parameter file's genetic variance),
// "Dispersion:", "Ratio of accuracies:", "Reliability :" and, when asked for,
// "Predictive ability:".
std::vector<report_row> report_rows(const trait_report& t, bool predictive_ability);

// One block: the title line as given, the column header with standard errors, the rows, and
// an empty line.
std::vector<std::string> report_block(const std::string& title, const trait_report& t, bool with_se,
                                      bool predictive_ability);

// The report's lines, without or with the standard-error columns. Trait i of the report is
// element i-1 of traits.
std::vector<std::string> report_lines(std::span<const trait_report> traits, bool with_se,
                                      bool predictive_ability);

}  // namespace ventrel::validation
