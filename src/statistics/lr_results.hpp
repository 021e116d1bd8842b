// Result records of the LR statistics of one trait: the point values and, with a standard-error
// method, each statistic's sampling variance and 95% limits.
#pragma once

#include <cmath>
#include <limits>

namespace ventrel::statistics {

inline constexpr double not_computed = std::numeric_limits<double>::quiet_NaN();

// Point values of the statistics for one trait.
struct lr_values {
  double bias = not_computed;          // mean(partial - whole)
  double dispersion = not_computed;    // slope of whole on partial
  double ratio_acc = not_computed;     // cor(partial, whole)
  double reliability = not_computed;   // cov(partial, whole) / gvar_focal
  double pred_ability = not_computed;  // cor(phenotype, partial) / sqrt(h2), when asked for
};

// One row of a standard-error table: column 1 the variance of the statistic (the report prints
// its square root as "SD"), columns 2 and 3 the lower and upper 95% limits.
struct interval {
  double variance = not_computed;
  double lower = not_computed;
  double upper = not_computed;
};

// The standard-error tables' rows of one trait.
struct lr_intervals {
  interval bias;
  interval dispersion;
  interval ratio_acc;
  interval reliability;
  interval pred_ability;
};

}  // namespace ventrel::statistics
