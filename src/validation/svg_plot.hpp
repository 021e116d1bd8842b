// Plots as SVG files written by the program itself: per trait the whole against the partial
// breeding values of the focal animals, and the statistics of every group with their 95%
// intervals.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "validation/results_file.hpp"

namespace ventrel::validation {

// Above this many animals the scatter plot draws density cells instead of points.
inline constexpr std::size_t max_points = 5000;

// What the scatter plot of one trait shows.
struct scatter_data {
  int trait = 1;
  std::span<const double> partial;          // x: partial EBVs of the focal animals
  std::span<const double> whole;            // y: whole EBVs, same order
  std::span<const int> group;               // per animal: index in group_names, -1 none; empty = no groups
  std::vector<std::string> group_names;     // legend names of the groups
  double slope = 0.0;                       // dispersion
  double intercept = 0.0;                   // of the regression of whole on partial
  double bias = 0.0;                        // mean(partial - whole)
};

// The scatter plot: points (or, above max_points animals, cells of a 60 x 60 grid shaded by
// their count and coloured by their most frequent group), the identity line, the regression
// line of whole on partial, and a legend with the slope and the bias (3 decimals, as the report)
// and the groups. Non-finite values are left out.
std::string scatter_svg(const scatter_data& d);

// The statistics of one trait by group: one panel per statistic (bias, dispersion, ratio of
// accuracies, reliability, predictive ability when computed), one row per block ("all" first)
// with its value and, with standard errors, its 95% interval. Blocks without statistics (fewer
// than 2 animals) are listed with that note.
std::string groups_svg(int trait, const std::vector<const results_block*>& blocks, bool with_se,
                       bool predictive_ability);

// "ventrel_plot_trait_<t>.svg" and "ventrel_groups_trait_<t>.svg".
std::string scatter_file_name(int trait);
std::string groups_file_name(int trait);

}  // namespace ventrel::validation
