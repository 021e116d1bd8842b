// A simulated pedigree and the upper-triangle contributions of its inverse relationship matrix
// (Henderson's rules without inbreeding), for the sparse-matrix benchmarks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace ventrel::bench {

struct sim_pedigree {
  int n = 0;
  std::vector<int> sire, dam;  // 1-based animals, 0 = unknown; parents precede offspring
};

// Discrete generations of equal size; the first is founders. Each later generation's sires are
// a few hundred males of the previous generation, its dams any female of it; 5% of sires and
// 10% of dams are unknown.
inline sim_pedigree simulate_pedigree(int n, int generations, unsigned seed) {
  sim_pedigree p;
  p.n = n;
  p.sire.assign(static_cast<std::size_t>(n) + 1, 0);
  p.dam.assign(static_cast<std::size_t>(n) + 1, 0);
  std::mt19937_64 rng(seed);
  int per_gen = n / generations;
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int g = 1; g < generations; ++g) {
    int prev_first = (g - 1) * per_gen + 1, prev_size = per_gen;
    int first = g * per_gen + 1, last = g == generations - 1 ? n : (g + 1) * per_gen;
    // males = odd animals, females = even animals of the previous generation
    std::uniform_int_distribution<int> pick(0, prev_size / 2 - 1);
    std::vector<int> sires(std::max(1, std::min(500, prev_size / 2)));
    for (int& s : sires) s = prev_first + 2 * pick(rng) + (prev_first % 2 == 1 ? 0 : 1);
    std::uniform_int_distribution<std::size_t> pick_sire(0, sires.size() - 1);
    for (int a = first; a <= last; ++a) {
      if (u(rng) >= 0.05) p.sire[static_cast<std::size_t>(a)] = sires[pick_sire(rng)];
      if (u(rng) >= 0.10) p.dam[static_cast<std::size_t>(a)] = prev_first + 2 * pick(rng) + (prev_first % 2 == 0 ? 0 : 1);
    }
  }
  return p;
}

struct contribution {
  int i, j;  // i <= j
  double v;
};

// Upper-triangle contributions of A-inverse, one per element and animal (6 for an animal with
// both parents known), in animal order.
inline std::vector<contribution> ainverse_contributions(const sim_pedigree& p) {
  std::vector<contribution> out;
  out.reserve(static_cast<std::size_t>(p.n) * 6);
  for (int a = 1; a <= p.n; ++a) {
    int s = p.sire[static_cast<std::size_t>(a)], d = p.dam[static_cast<std::size_t>(a)];
    int known = (s > 0) + (d > 0);
    double alpha = known == 2 ? 2.0 : known == 1 ? 4.0 / 3.0 : 1.0;
    int par[2] = {s, d};
    out.push_back({a, a, alpha});
    for (int k = 0; k < 2; ++k) {
      if (par[k] == 0) continue;
      out.push_back({std::min(a, par[k]), std::max(a, par[k]), -alpha / 2});
      out.push_back({par[k], par[k], alpha / 4});
    }
    if (s > 0 && d > 0) out.push_back({std::min(s, d), std::max(s, d), alpha / 4});
  }
  return out;
}

}  // namespace ventrel::bench
