// Small deterministic data sets shared by the statistics tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::statistics::testing {

// Whole, partial and phenotype values of n focal animals: correlated, with an offset mean so
// that centring matters. A 64-bit LCG makes them the same everywhere.
struct focal_data {
  std::vector<double> w, p, y;
};

inline focal_data make_focal_data(int n, std::uint64_t seed = 12345) {
  std::uint64_t state = seed;
  auto uniform = [&state] {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return (static_cast<double>(state >> 11) + 0.5) / 9007199254740992.0;
  };
  focal_data d;
  for (int i = 0; i < n; ++i) {
    const double u = uniform() - 0.5;
    d.w.push_back(100.0 + 3.0 * u + 0.5 * (uniform() - 0.5));
    d.p.push_back(100.2 + 2.0 * u + 0.8 * (uniform() - 0.5));
    d.y.push_back(50.0 + 3.0 * u + 4.0 * (uniform() - 0.5));
  }
  return d;
}

// The message of the fatal stop raised by f, or "no stop".
template <class F>
std::string stop_message(F f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.what();
  }
  return "no stop";
}

}  // namespace ventrel::statistics::testing
