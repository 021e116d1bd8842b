// Helpers of the simulator's tests: small option sets and the mixed-model equations formed
// densely in the obvious way (tabular A, its dense inverse, Kronecker products), as the
// reference for the sparse assembly and the solvers.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "reference/dense_inverse.hpp"
#include "reference/tabular_a.hpp"
#include "simulate/mme.hpp"
#include "simulate/population.hpp"
#include "simulate/sim_options.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::simulate::testing {

// A small population: founders, 3 generations of `size`, few herds.
inline simulation_options small_options(int traits = 1, int size = 40, std::uint64_t seed = 7) {
  simulation_options o;
  o.seed = seed;
  o.generations = 3;
  o.size = size;
  o.sires = 4;
  o.dams = size / 2;
  o.herds = 4;
  o.traits = traits;
  o.verbosity = 0;
  check_options(o);
  return o;
}

// The pedigree of animals 1..n of a population in the form of the tabular reference.
inline reference::tabular_pedigree tabular_of(const population& p, int n) {
  reference::tabular_pedigree t;
  t.parents.resize(static_cast<std::size_t>(n) + 1);
  for (int i = 1; i <= n; ++i) {
    t.parents[static_cast<std::size_t>(i)] = {p.sire[static_cast<std::size_t>(i)], p.dam[static_cast<std::size_t>(i)]};
  }
  return t;
}

// The coefficient matrix (both triangles) and right-hand side, formed densely: for each record
// the outer product of its incidence row with R0^-1, plus A^-1 (x) G0^-1 from the inverse of the
// tabular A. Herds without records get an identity equation, as build_mme gives them.
struct dense_mme {
  linalg::dense_matrix c;
  std::vector<double> rhs;
};

inline dense_mme dense_reference_mme(const population& p, int nanimal,
                                     std::span<const char> has_record,
                                     const linalg::dense_matrix& g0,
                                     const linalg::dense_matrix& r0) {
  const int nt = p.ntrait;
  const mme_layout lay{nt, p.nherd, nanimal};
  const int neq = lay.neq();
  dense_mme m{linalg::dense_matrix(neq, neq), std::vector<double>(static_cast<std::size_t>(neq), 0.0)};
  const linalg::dense_matrix ginv = reference::dense_spd_inverse(g0);
  const linalg::dense_matrix rinv = reference::dense_spd_inverse(r0);
  std::vector<int> herd_records(static_cast<std::size_t>(p.nherd) + 1, 0);
  for (int i = 1; i <= nanimal; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    if (!has_record[ui]) continue;
    const int h = p.herd[ui];
    ++herd_records[static_cast<std::size_t>(h)];
    for (int t1 = 1; t1 <= nt; ++t1) {
      for (int t2 = 1; t2 <= nt; ++t2) {
        const double v = rinv(t1 - 1, t2 - 1);
        const int rows[2] = {lay.herd_eq(h, t1) - 1, lay.animal_eq(i, t1) - 1};
        const int cols[2] = {lay.herd_eq(h, t2) - 1, lay.animal_eq(i, t2) - 1};
        for (int r : rows) {
          for (int c : cols) m.c(r, c) += v;
          m.rhs[static_cast<std::size_t>(r)] += v * p.y[ui * static_cast<std::size_t>(nt) + static_cast<std::size_t>(t2 - 1)];
        }
      }
    }
  }
  const linalg::dense_matrix ainv = reference::dense_spd_inverse(reference::tabular_a(tabular_of(p, nanimal)));
  for (int a = 1; a <= nanimal; ++a)
    for (int b = 1; b <= nanimal; ++b)
      for (int t1 = 1; t1 <= nt; ++t1)
        for (int t2 = 1; t2 <= nt; ++t2)
          m.c(lay.animal_eq(a, t1) - 1, lay.animal_eq(b, t2) - 1) += ainv(a - 1, b - 1) * ginv(t1 - 1, t2 - 1);
  for (int h = 1; h <= p.nherd; ++h) {
    if (herd_records[static_cast<std::size_t>(h)] > 0) continue;
    for (int t = 1; t <= nt; ++t) m.c(lay.herd_eq(h, t) - 1, lay.herd_eq(h, t) - 1) = 1.0;
  }
  return m;
}

// y = m x for a dense square matrix.
inline std::vector<double> times(const linalg::dense_matrix& m, const std::vector<double>& x) {
  std::vector<double> y(static_cast<std::size_t>(m.rows), 0.0);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i) y[static_cast<std::size_t>(i)] += m(i, j) * x[static_cast<std::size_t>(j)];
  return y;
}

// The symmetric matrix of an upper-triangular IJA, densely.
inline linalg::dense_matrix dense_of(const sparse::ija_matrix& m) {
  linalg::dense_matrix d(m.n, m.n);
  for (int i = 1; i <= m.n; ++i) {
    for (int p = m.ia[static_cast<std::size_t>(i - 1)]; p < m.ia[static_cast<std::size_t>(i)]; ++p) {
      const int j = m.ja[static_cast<std::size_t>(p - 1)];
      d(i - 1, j - 1) = d(j - 1, i - 1) = m.a[static_cast<std::size_t>(p - 1)];
    }
  }
  return d;
}

// A fresh empty folder under the test temporary directory.
inline std::string fresh_dir(const std::string& name) {
  const std::filesystem::path d = std::filesystem::path(::testing::TempDir()) / name;
  std::filesystem::remove_all(d);
  std::filesystem::create_directories(d);
  return d.string();
}

}  // namespace ventrel::simulate::testing
