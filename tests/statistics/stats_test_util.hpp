// Helpers shared by the statistics tests: deterministic and random vectors, a NaN-aware
// comparison; temporary files and the capture of console output and of fatal stops come from
// support/test_support.hpp.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "support/test_support.hpp"

namespace ventrel::statistics::testing {

using test_support::lines;

// Whole, partial and phenotype values of n focal animals: correlated, with an offset mean so
// that centring matters. A 64-bit LCG makes them the same everywhere.
struct focal_data {
  std::vector<double> w, p, y;
};

inline focal_data make_focal_data(int n, std::uint64_t seed = 12345) {
  std::uint64_t state = seed;
  auto uniform = [&state] {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return (static_cast<double>(state >> 11) + 0.5) / 9007199254740992.0 - 0.5;
  };
  focal_data d;
  for (int i = 0; i < n; ++i) {
    const double u = uniform();
    d.w.push_back(100.0 + 3.0 * u + 0.5 * uniform());
    d.p.push_back(100.2 + 2.0 * u + 0.8 * uniform());
    d.y.push_back(50.0 + 3.0 * u + 4.0 * uniform());
  }
  return d;
}

// n standard normal deviates.
inline std::vector<double> normals(int n, std::mt19937_64& rng) {
  std::normal_distribution<double> z(0.0, 1.0);
  std::vector<double> v(static_cast<std::size_t>(n));
  for (double& e : v) e = z(rng);
  return v;
}

// Equal element by element, bit for bit, NaN equal to NaN.
inline bool same_values(const std::vector<double>& a, const std::vector<double>& b) {
  bool same = a.size() == b.size();
  for (std::size_t i = 0; same && i < a.size(); ++i)
    same = a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i]));
  return same;
}

}  // namespace ventrel::statistics::testing
