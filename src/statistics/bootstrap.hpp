// Bootstrap standard errors of the LR statistics: resampling of the focal individuals with
// replacement, the variance of the replicate values and their 2.5% and 97.5% percentiles.
#pragma once

#include <cstdint>
#include <span>

#include "statistics/lr_results.hpp"
#include "statistics/random.hpp"

namespace ventrel::statistics {

// One effect and trait: nrepboot replicates, each drawing n = size(p) individuals with
// generator.random_integer(1, n); one draw picks the same row of w, p and y (y empty when
// predictive ability is off, and then pred_ability stays not computed). Each replicate's
// statistics follow compute_lr. Each replicate array is sorted by quicksort without bounds
// (position 1 stays in place); variance = var (divisor nrepboot), limits = percentile at
// lower_fraction and upper_fraction.
//
// Parallel over replicates and bit-identical for any thread count: replicate r (0-based) uses
// draws r*n+1 .. (r+1)*n of the generator's current stream; each thread jumps to the start of
// its block of replicates. On return the generator stands where nrepboot*n sequential draws
// would leave it. nthreads = 0 uses the thread runtime's current setting.
// Unequal lengths stop the run with the message of b1 (w, p) or cor (y, p).
lr_intervals bootstrap(std::span<const double> w, std::span<const double> p,
                       std::span<const double> y, double gvar_focal, double h2,
                       std::int32_t nrepboot, rng& generator, int nthreads = 0);

}  // namespace ventrel::statistics
