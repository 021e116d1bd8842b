// The simulated population behind the benchmark data: a pedigree of generations (each drawing
// its parents from the last one or the last few) with shuffled animal numbers, true breeding values by Mendelian sampling, and the breeding values of
// a whole and a partial evaluation drawn around them with fixed reliabilities. Fast enough for
// 10^7 animals; no mixed-model equations are solved (ventrel-simulate does that at small sizes).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

namespace ventrel::bench {

// splitmix64: a small, fast, well-mixed generator; also used as a hash of keys.
struct splitmix {
  std::uint64_t s;
  explicit splitmix(std::uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ull + 0x632BE59BD9B4E019ull) {}
  static std::uint64_t mix(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  std::uint64_t next() { return mix(s += 0x9E3779B97F4A7C15ull); }
  double uniform() { return (static_cast<double>(next() >> 11) + 0.5) * 0x1.0p-53; }  // (0, 1)
  std::int64_t below(std::int64_t k) { return static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(k)); }
  double normal() {  // Box-Muller, one value per call
    const double u1 = uniform(), u2 = uniform();
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2);
  }
};

struct population_options {
  std::int64_t animals = 1'000'000;  // pedigree size; animals are numbered 1..animals
  int generations = 20;              // discrete generations; the first are founders
  int sires = 200;                   // sires used per generation (drawn from the parents' males)
  int dams = 0;                      // dams used per generation (drawn from the parents' females);
                                     // 0 = every female may be a dam
  int overlap = 1;                   // the parents of a generation come from its last `overlap`
                                     // generations (1: discrete generations)
  double unknown_sire = 0.02;        // probability of an unknown sire
  double unknown_dam = 0.05;         // probability of an unknown dam
  int traits = 1;                    // traits with breeding values
  std::vector<double> sigma2;        // genetic variance per trait
  double rel_whole = 0.6;            // reliability of the whole evaluation's values
  double rel_partial = 0.35;         // reliability of the partial evaluation's values
  std::uint64_t seed = 1;
};

struct population {
  std::int64_t n = 0;
  std::vector<std::int32_t> sire, dam;  // by animal number 1..n; 0 = unknown
  std::vector<std::int32_t> gen;        // generation 1..G by animal number
  std::vector<std::int32_t> by_order;   // animal numbers in generation order (parents first)
  std::vector<std::int64_t> gen_start;  // first position in by_order of each generation, G+1 entries
  int traits = 0;
  // By animal number a and trait t at a*traits + t (t from 0): true, whole and partial values;
  // whole and partial rounded to 8 decimals, as the solution files hold them.
  std::vector<double> tbv, whole, partial;
  double at(const std::vector<double>& v, std::int64_t a, int t) const {
    return v[static_cast<std::size_t>(a) * static_cast<std::size_t>(traits) + static_cast<std::size_t>(t)];
  }
};

inline double round8(double v) { return std::nearbyint(v * 1e8) / 1e8; }

inline population simulate_population(const population_options& o) {
  population p;
  p.n = o.animals;
  p.traits = o.traits;
  const std::size_t n1 = static_cast<std::size_t>(o.animals) + 1;
  p.sire.assign(n1, 0);
  p.dam.assign(n1, 0);
  p.gen.assign(n1, 0);
  p.by_order.resize(static_cast<std::size_t>(o.animals));
  std::iota(p.by_order.begin(), p.by_order.end(), 1);
  splitmix r(o.seed);
  for (std::int64_t i = o.animals - 1; i > 0; --i)
    std::swap(p.by_order[static_cast<std::size_t>(i)], p.by_order[static_cast<std::size_t>(r.below(i + 1))]);
  const std::int64_t per = o.animals / o.generations;
  for (int g = 0; g <= o.generations; ++g) p.gen_start.push_back(g == o.generations ? o.animals : g * per);

  // The males and females of each generation; the parents of generation g come from the last
  // `overlap` generations before it.
  std::vector<std::vector<std::int32_t>> males(static_cast<std::size_t>(o.generations)),
      females(static_cast<std::size_t>(o.generations));
  std::vector<std::int32_t> pool_males, pool_females, sires, dams;
  for (int g = 0; g < o.generations; ++g) {
    pool_males.clear();
    pool_females.clear();
    for (int h = std::max(0, g - o.overlap); h < g; ++h) {
      pool_males.insert(pool_males.end(), males[static_cast<std::size_t>(h)].begin(), males[static_cast<std::size_t>(h)].end());
      pool_females.insert(pool_females.end(), females[static_cast<std::size_t>(h)].begin(),
                          females[static_cast<std::size_t>(h)].end());
    }
    auto draw = [&](const std::vector<std::int32_t>& from) {
      return from[static_cast<std::size_t>(r.below(static_cast<std::int64_t>(from.size())))];
    };
    sires.clear();
    for (int k = 0; k < o.sires && !pool_males.empty(); ++k) sires.push_back(draw(pool_males));
    dams.clear();
    for (int k = 0; k < o.dams && !pool_females.empty(); ++k) dams.push_back(draw(pool_females));
    const std::vector<std::int32_t>& dam_list = o.dams > 0 ? dams : pool_females;
    for (std::int64_t k = p.gen_start[static_cast<std::size_t>(g)]; k < p.gen_start[static_cast<std::size_t>(g) + 1]; ++k) {
      const std::int32_t a = p.by_order[static_cast<std::size_t>(k)];
      p.gen[static_cast<std::size_t>(a)] = g + 1;
      if (!sires.empty() && r.uniform() >= o.unknown_sire) p.sire[static_cast<std::size_t>(a)] = draw(sires);
      if (!dam_list.empty() && r.uniform() >= o.unknown_dam) p.dam[static_cast<std::size_t>(a)] = draw(dam_list);
      (r.uniform() < 0.5 ? males : females)[static_cast<std::size_t>(g)].push_back(a);
    }
  }

  // True values by Mendelian sampling (the inbreeding of the parents is neglected), then the
  // two evaluations: whole = r_w u + e, partial = (r_p / r_w) whole + e', so that the
  // regression of whole on partial is 1 and the partial values are the less reliable.
  const std::size_t nt = static_cast<std::size_t>(o.traits);
  p.tbv.assign(n1 * nt, 0.0);
  p.whole.assign(n1 * nt, 0.0);
  p.partial.assign(n1 * nt, 0.0);
  const double b = o.rel_partial / o.rel_whole;
  for (const std::int32_t a : p.by_order) {
    const std::size_t ua = static_cast<std::size_t>(a);
    const std::int32_t s = p.sire[ua], d = p.dam[ua];
    const double msv = s > 0 && d > 0 ? 0.5 : s > 0 || d > 0 ? 0.75 : 1.0;
    for (std::size_t t = 0; t < nt; ++t) {
      const double s2 = o.sigma2[t];
      double u = std::sqrt(msv * s2) * r.normal();
      if (s > 0) u += 0.5 * p.tbv[static_cast<std::size_t>(s) * nt + t];
      if (d > 0) u += 0.5 * p.tbv[static_cast<std::size_t>(d) * nt + t];
      p.tbv[ua * nt + t] = u;
      const double w = o.rel_whole * u + std::sqrt(o.rel_whole * (1 - o.rel_whole) * s2) * r.normal();
      p.whole[ua * nt + t] = round8(w);
      p.partial[ua * nt + t] = round8(b * w + std::sqrt(b * (o.rel_whole - o.rel_partial) * s2) * r.normal());
    }
  }
  return p;
}

// `m` distinct animals drawn at random from generation g (1..G), in random order.
inline std::vector<std::int32_t> sample_generation(const population& p, int g, std::int64_t m, std::uint64_t seed) {
  std::vector<std::int32_t> pool(p.by_order.begin() + p.gen_start[static_cast<std::size_t>(g) - 1],
                                 p.by_order.begin() + p.gen_start[static_cast<std::size_t>(g)]);
  splitmix r(seed);
  const std::int64_t take = std::min<std::int64_t>(m, static_cast<std::int64_t>(pool.size()));
  for (std::int64_t k = 0; k < take; ++k) {
    const std::int64_t j = k + r.below(static_cast<std::int64_t>(pool.size()) - k);
    std::swap(pool[static_cast<std::size_t>(k)], pool[static_cast<std::size_t>(j)]);
  }
  pool.resize(static_cast<std::size_t>(take));
  return pool;
}

// `m` distinct animals of the youngest generations (the youngest first), each generation's in
// random order.
inline std::vector<std::int32_t> young_animals(const population& p, std::int64_t m, std::uint64_t seed) {
  std::vector<std::int32_t> out;
  for (int g = static_cast<int>(p.gen_start.size()) - 1; g > 0 && static_cast<std::int64_t>(out.size()) < m; --g) {
    const std::vector<std::int32_t> s = sample_generation(p, g, m - static_cast<std::int64_t>(out.size()), seed + static_cast<std::uint64_t>(g));
    out.insert(out.end(), s.begin(), s.end());
  }
  return out;
}

}  // namespace ventrel::bench
