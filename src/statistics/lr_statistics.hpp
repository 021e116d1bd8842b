// Point values of the LR validation statistics of one trait: bias, dispersion, ratio of
// accuracies, reliability and, with phenotypes, predictive ability.
#pragma once

#include <span>

#include "statistics/lr_results.hpp"

namespace ventrel::statistics {

// The statistics of one trait from the whole (w) and partial (p) values of the focal
// individuals and, for predictive ability, their adjusted phenotypes (y; empty when that input
// was not given, and then pred_ability stays not computed):
//   bias = mean(p - w), dispersion = b1(w, p), ratio_acc = cor(p, w),
//   reliability = cov(p, w) / gvar_focal, pred_ability = cor(y, p) / sqrt(h2).
// Zero denominators give non-finite values, never a stop; n = 0 gives NaN everywhere.
// Unequal lengths stop the run with the message of b1 (w, p) or cor (y, p).
lr_values compute_lr(std::span<const double> w, std::span<const double> p,
                     std::span<const double> y, double gvar_focal, double h2);

namespace detail {

// Pass 1 of the two-pass statistics: plain sums in index order.
struct lr_sums {
  double w = 0.0;  // sum of whole values
  double p = 0.0;  // sum of partial values
  double y = 0.0;  // sum of phenotypes (when present)
  double d = 0.0;  // sum of partial - whole
};

// Pass 2: the centred sums about the means of pass 1, then the statistics. Shared by
// compute_lr and the bootstrap's replicates so that both give the same bits for the same
// vectors. Lengths are the caller's business (w, p and a non-empty y of equal length).
lr_values lr_from_sums(const lr_sums& sums, std::span<const double> w, std::span<const double> p,
                       std::span<const double> y, double gvar_focal, double h2);

}  // namespace detail

}  // namespace ventrel::statistics
