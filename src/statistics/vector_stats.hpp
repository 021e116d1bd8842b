// Vector statistics routines over whole real vectors: mean, variance, covariance, regression
// slope, correlation and the percentile of a sorted replicate array.
#pragma once

#include <span>

namespace ventrel::statistics {

// Tag for the optional argument of var: its presence alone selects the divisor n - 1.
struct unbiased_t {};
inline constexpr unbiased_t unbiased{};

// The two fractions of the 95% limits: single-precision constants widened to double, so they
// are exactly 0.02500000037252903 and 0.9750000238418579.
inline constexpr double lower_fraction = static_cast<double>(0.025F);
inline constexpr double upper_fraction = static_cast<double>(0.975F);

// All sums are formed in double precision in index order, centred on the mean computed first
// (two passes). An empty vector gives 0/0 = NaN.
double mean(std::span<const double> x);                 // sum x / n
double var(std::span<const double> x);                  // sum (x - mean)^2 / n
double var(std::span<const double> x, unbiased_t);      // sum (x - mean)^2 / (n - 1)
double cov(std::span<const double> x, std::span<const double> y);  // cross-products / n
// Slope of the regression of y on x (x is the regressor): cross-products / sum (x - mean x)^2.
double b1(std::span<const double> y, std::span<const double> x);
// Pearson correlation: cross-products / sqrt(sum squares x * sum squares y).
double cor(std::span<const double> x, std::span<const double> y);
// cov, b1 and cor stop the run with "Dimension mismatch in cov(x,y)", "... in b1(y,x)" or
// "... in cor(x,y)" when the two lengths differ.

// The element at 1-based position nint((m - 1) * q) + 1 of x (length m), nint rounding half
// away from zero. x is expected in the order the bootstrap's sort leaves it. NaN when the
// position falls outside x (an empty array).
double percentile(std::span<const double> x, double q);

}  // namespace ventrel::statistics
