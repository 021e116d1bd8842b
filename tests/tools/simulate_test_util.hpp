// Helpers of the simulator's tests: small option sets and the mixed-model equations formed
// densely in the obvious way (tabular A, its dense inverse, Kronecker products), as the
// reference for the sparse assembly and the solvers.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <span>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "reference/dense_inverse.hpp"
#include "reference/tabular_a.hpp"
#include "simulate/mme.hpp"
#include "simulate/population.hpp"
#include "simulate/sim_options.hpp"

namespace ventrel::simulate::testing {

using std::size_t;

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

// The pedigree of a population in the form of the tabular reference.
inline reference::tabular_pedigree tabular_of(const population& p) {
  reference::tabular_pedigree t;
  t.parents.resize(static_cast<size_t>(p.n) + 1);
  for (size_t i = 1; i <= static_cast<size_t>(p.n); ++i) t.parents[i] = {p.sire[i], p.dam[i]};
  return t;
}

// The coefficient matrix (both triangles) and right-hand side, formed densely: for each record
// the outer product of its incidence row with R0^-1, plus A^-1 (x) G0^-1 from the inverse of the
// tabular A. Herds without records get an identity equation, as build_mme gives them.
struct dense_mme {
  linalg::dense_matrix c;
  std::vector<double> rhs;
};

inline dense_mme dense_reference_mme(const population& p, std::span<const char> has_record,
                                     const linalg::dense_matrix& g0, const linalg::dense_matrix& r0) {
  const int nt = p.ntrait;
  const mme_layout lay{nt, p.nherd, p.n};
  dense_mme m{linalg::dense_matrix(lay.neq(), lay.neq()), std::vector<double>(static_cast<size_t>(lay.neq()), 0.0)};
  const linalg::dense_matrix ginv = reference::dense_spd_inverse(g0), rinv = reference::dense_spd_inverse(r0);
  std::vector<char> herd_used(static_cast<size_t>(p.nherd) + 1, 0);
  for (int i = 1; i <= p.n; ++i) {
    if (!has_record[static_cast<size_t>(i)]) continue;
    const int h = p.herd[static_cast<size_t>(i)];
    herd_used[static_cast<size_t>(h)] = 1;
    for (int t1 = 1; t1 <= nt; ++t1)
      for (int t2 = 1; t2 <= nt; ++t2)
        for (int r : {lay.herd_eq(h, t1) - 1, lay.animal_eq(i, t1) - 1}) {
          for (int c : {lay.herd_eq(h, t2) - 1, lay.animal_eq(i, t2) - 1}) m.c(r, c) += rinv(t1 - 1, t2 - 1);
          m.rhs[static_cast<size_t>(r)] += rinv(t1 - 1, t2 - 1) * p.y[static_cast<size_t>(i * nt + t2 - 1)];
        }
  }
  const linalg::dense_matrix ainv = reference::dense_spd_inverse(reference::tabular_a(tabular_of(p)));
  for (int a = 1; a <= p.n; ++a)
    for (int b = 1; b <= p.n; ++b)
      for (int t1 = 1; t1 <= nt; ++t1)
        for (int t2 = 1; t2 <= nt; ++t2)
          m.c(lay.animal_eq(a, t1) - 1, lay.animal_eq(b, t2) - 1) += ainv(a - 1, b - 1) * ginv(t1 - 1, t2 - 1);
  for (int h = 1; h <= p.nherd; ++h)
    for (int t = 1; t <= nt && !herd_used[static_cast<size_t>(h)]; ++t) m.c(lay.herd_eq(h, t) - 1, lay.herd_eq(h, t) - 1) = 1.0;
  return m;
}

// y = m x for a dense square matrix.
inline std::vector<double> times(const linalg::dense_matrix& m, const std::vector<double>& x) {
  std::vector<double> y(static_cast<size_t>(m.rows), 0.0);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i) y[static_cast<size_t>(i)] += m(i, j) * x[static_cast<size_t>(j)];
  return y;
}

}  // namespace ventrel::simulate::testing
