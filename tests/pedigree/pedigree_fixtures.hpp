// Pedigrees for the pedigree tests: random ones (close inbreeding, unknown parents, groups,
// selfing), the studbooks of tests/data, the textbook example with its relationship matrix,
// the conversion to the dense tabular reference, and the parents-first view of a pedigree.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "pedigree/inbreeding.hpp"
#include "pedigree/pedigree_types.hpp"
#include "pedigree/read_pedigree.hpp"
#include "pedigree/renumber.hpp"
#include "reference/tabular_a.hpp"
#include "support/test_support.hpp"

namespace pedigree_fixtures {

using namespace ventrel::pedigree;
using namespace ventrel::test_support;

struct lcg {
  std::uint64_t s;
  explicit lcg(std::uint64_t seed) : s(seed * 2862933555777941757ull + 3037000493ull) {}
  std::uint32_t next() {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<std::uint32_t>(s >> 33);
  }
  double uniform() { return next() / 2147483648.0; }
  std::int32_t below(std::int32_t k) {
    return static_cast<std::int32_t>(next() % static_cast<std::uint32_t>(k));
  }
};

struct random_options {
  std::int32_t n = 60;
  double unknown = 0.2;      // probability of each parent being unknown (with groups: a group 7 times in 10)
  std::int32_t nupg = 0;     // unknown parents become groups n+1..n+nupg when > 0
  std::int32_t window = 15;  // parents drawn among the last `window` animals: close inbreeding
  double selfing = 0.03;     // probability that the dam is the sire itself
  bool shuffle = true;       // numbers not in parents-first order
};

// A random pedigree by pedigree-file number (size n+1).
inline pedigree_table random_pedigree(std::uint64_t seed, const random_options& o) {
  lcg r(seed);
  pedigree_table born(static_cast<std::size_t>(o.n) + 1);  // in birth order
  auto unknown = [&]() -> std::int32_t {
    return o.nupg > 0 && r.uniform() < 0.7 ? o.n + 1 + r.below(o.nupg) : 0;
  };
  for (std::int32_t i = 1; i <= o.n; ++i) {
    parents p;
    if (i > 1) {
      const std::int32_t lo = std::max(1, i - o.window);
      p.sire = r.uniform() < o.unknown ? unknown() : lo + r.below(i - lo);
      p.dam = r.uniform() < o.unknown ? unknown() : lo + r.below(i - lo);
      if (p.sire >= 1 && p.sire <= o.n && r.uniform() < o.selfing) p.dam = p.sire;
    } else {
      p = parents{unknown(), unknown()};
    }
    born[static_cast<std::size_t>(i)] = p;
  }
  std::vector<std::int32_t> number(static_cast<std::size_t>(o.n) + 1);
  std::iota(number.begin(), number.end(), 0);
  if (o.shuffle)
    for (std::int32_t i = o.n; i > 1; --i)
      std::swap(number[static_cast<std::size_t>(i)], number[static_cast<std::size_t>(1 + r.below(i))]);
  auto map = [&](std::int32_t c) { return c >= 1 && c <= o.n ? number[static_cast<std::size_t>(c)] : c; };
  pedigree_table ped(static_cast<std::size_t>(o.n) + 1);
  for (std::int32_t i = 1; i <= o.n; ++i) {
    const parents& p = born[static_cast<std::size_t>(i)];
    ped[static_cast<std::size_t>(number[static_cast<std::size_t>(i)])] = parents{map(p.sire), map(p.dam)};
  }
  return ped;
}

// A symmetric positive definite Gamma (k x k, column-major) with relationships of the size that
// metafounders have: u u' / 2 + diag(0.1 + 0.3 v) with u, v uniform in [0, 1).
inline std::vector<double> random_gamma(std::int32_t k, std::uint64_t seed) {
  lcg r(seed);
  std::vector<double> u(static_cast<std::size_t>(k)), g(static_cast<std::size_t>(k * k));
  for (double& x : u) x = r.uniform();
  for (std::int32_t i = 0; i < k; ++i)
    for (std::int32_t j = 0; j < k; ++j)
      g[static_cast<std::size_t>(i + j * k)] = 0.5 * u[i] * u[j] + (i == j ? 0.1 + 0.3 * r.uniform() : 0.0);
  return g;
}

inline ventrel::reference::tabular_pedigree to_reference(const pedigree_table& ped, std::int32_t nupg = 0,
                                                         std::vector<double> gamma = {},
                                                         std::vector<std::int32_t> selfing = {}) {
  ventrel::reference::tabular_pedigree t;
  t.parents.resize(ped.size());
  for (std::size_t i = 1; i < ped.size(); ++i) t.parents[i] = {ped[i].sire, ped[i].dam};
  t.nupg = nupg;
  t.gamma = std::move(gamma);
  t.selfing = std::move(selfing);
  return t;
}

// Sire and dam codes of elements 0, 1, 2, ... in one row, for comparisons that print well.
inline std::vector<std::int32_t> flat(const pedigree_table& ped) {
  std::vector<std::int32_t> v;
  for (const parents& p : ped) v.insert(v.end(), {p.sire, p.dam});
  return v;
}

inline const char* const studbooks[] = {"arrui", "atlas", "dama", "dorcas"};

inline pedigree_table studbook(const std::string& name) {
  const std::string path = std::string(VENTREL_SOURCE_DIR) + "/tests/data/" + name + ".ped";
  pedigree_table ped;
  read_pedigree(path, count_pedigree(path).n, false, ped);
  return ped;
}

// The six animals of the textbook example, their inbreeding coefficients (element 0 = 0) and
// their relationship matrix (row-major); the same pedigree with every unknown parent replaced
// by one metafounder (code 7) whose self-relationship is 0.2, and its coefficients (element 7 =
// the metafounder's own, Gamma/2).
inline pedigree_table textbook() { return {{0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 0}, {4, 3}, {5, 2}}; }
inline const std::vector<double> textbook_f = {0, 0, 0, 0, 0, 0.125, 0.125};
inline const double textbook_a[6][6] = {
    {1.0, 0.0, 0.5, 0.5, 0.5, 0.25},          {0.0, 1.0, 0.5, 0.0, 0.25, 0.625},
    {0.5, 0.5, 1.0, 0.25, 0.625, 0.5625},     {0.5, 0.0, 0.25, 1.0, 0.625, 0.3125},
    {0.5, 0.25, 0.625, 0.625, 1.125, 0.6875}, {0.25, 0.625, 0.5625, 0.3125, 0.6875, 1.125}};
inline pedigree_table textbook_mf() { return {{0, 0}, {7, 7}, {7, 7}, {1, 2}, {1, 7}, {4, 3}, {5, 2}}; }
inline const std::vector<double> textbook_mf_f = {0, 0.1, 0.1, 0.1, 0.1, 0.2125, 0.2125, 0.1};

// Inbreeding by compute_inbreeding with the given method, groups, threads and selfing file.
inline std::vector<double> inbreeding(const pedigree_table& ped, int method, std::int32_t nupg = 0,
                                      const std::vector<double>& gamma = {}, int nthreads = 0,
                                      const std::string& self_generations_file = {}) {
  inbreeding_options opt;
  opt.method = method;
  opt.nthreads = nthreads;
  opt.self_generations_file = self_generations_file;
  std::vector<double> inb;
  compute_inbreeding(ped, inb, opt, group_info{nupg, gamma});
  return inb;
}

// Largest |F(method) - F(tabular reference)| over the animals, with the groups' own entries
// checked too (0 for unknown parent groups, Gamma(k,k)/2 for metafounders).
inline double inbreeding_error(const pedigree_table& ped, int method, std::int32_t nupg = 0,
                               const std::vector<double>& gamma = {}, int nthreads = 0) {
  const std::vector<double> inb = inbreeding(ped, method, nupg, gamma, nthreads);
  const std::vector<double> ref = ventrel::reference::tabular_inbreeding(to_reference(ped, nupg, gamma));
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  if (inb.size() != static_cast<std::size_t>(n + nupg + 1)) return 1e300;
  double err = std::abs(inb[0]);
  for (std::int32_t i = 1; i <= n; ++i)
    err = std::max(err, std::abs(inb[static_cast<std::size_t>(i)] - ref[static_cast<std::size_t>(i)]));
  for (std::int32_t k = 1; k <= nupg; ++k) {
    const double want = gamma.empty() ? 0.0 : 0.5 * gamma[static_cast<std::size_t>((k - 1) * (nupg + 1))];
    err = std::max(err, std::abs(inb[static_cast<std::size_t>(n + k)] - want));
  }
  return err;
}

// A pedigree in parents-first order as the pedigree phase keeps it: the order, the pedigree by
// position, and the inbreeding coefficients by code (positions 1..n, then the groups).
struct sorted_view {
  std::int32_t n = 0;
  std::vector<std::int32_t> perm;
  pedigree_table ped_sorted;
  std::vector<double> inb_sorted;
};

inline sorted_view sort_with_inbreeding(const pedigree_table& ped, std::int32_t nupg = 0,
                                        const std::vector<double>& gamma = {}) {
  sorted_view v;
  v.n = static_cast<std::int32_t>(ped.size()) - 1;
  renumber_pedigree(ped, nupg, v.perm);
  v.ped_sorted = sorted_pedigree(ped, v.perm, nupg);
  std::vector<double> inb;
  compute_inbreeding(ped, inb, {}, group_info{nupg, gamma}, v.perm);
  v.inb_sorted = inb;
  for (std::int32_t i = 1; i <= v.n; ++i)
    v.inb_sorted[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(i)])] =
        inb[static_cast<std::size_t>(i)];
  return v;
}

}  // namespace pedigree_fixtures
