// Vector statistics routines: two-pass sums in index order.
#include "statistics/vector_stats.hpp"

#include <cmath>
#include <cstddef>
#include <limits>

#include "common/fatal.hpp"

namespace ventrel::statistics {
namespace {

// Sum of squares (or cross-products) about the means: pass 2 of the two-pass method.
double centred_cross(std::span<const double> x, std::span<const double> y) {
  const double mx = mean(x);
  const double my = mean(y);
  double s = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) s += (x[i] - mx) * (y[i] - my);
  return s;
}

double centred_squares(std::span<const double> x) {
  const double mx = mean(x);
  double s = 0.0;
  for (const double v : x) s += (v - mx) * (v - mx);
  return s;
}

void check_lengths(std::span<const double> x, std::span<const double> y, const char* message) {
  if (x.size() != y.size()) fatal(std::string(message));
}

}  // namespace

double mean(std::span<const double> x) {
  double s = 0.0;
  for (const double v : x) s += v;
  return s / static_cast<double>(x.size());
}

double var(std::span<const double> x) {
  return centred_squares(x) / static_cast<double>(x.size());
}

double var(std::span<const double> x, unbiased_t) {
  return centred_squares(x) / (static_cast<double>(x.size()) - 1.0);
}

double cov(std::span<const double> x, std::span<const double> y) {
  check_lengths(x, y, "Dimension mismatch in cov(x,y)");
  return centred_cross(x, y) / static_cast<double>(x.size());
}

double b1(std::span<const double> y, std::span<const double> x) {
  check_lengths(y, x, "Dimension mismatch in b1(y,x)");
  return centred_cross(y, x) / centred_squares(x);
}

double cor(std::span<const double> x, std::span<const double> y) {
  check_lengths(x, y, "Dimension mismatch in cor(x,y)");
  return centred_cross(x, y) / std::sqrt(centred_squares(x) * centred_squares(y));
}

double percentile(std::span<const double> x, double q) {
  const double m = static_cast<double>(x.size());
  const double position = std::round((m - 1.0) * q) + 1.0;  // 1-based; round = half away from 0
  if (!(position >= 1.0 && position <= m)) return std::numeric_limits<double>::quiet_NaN();
  return x[static_cast<std::size_t>(position) - 1];
}

}  // namespace ventrel::statistics
