// The engines behind solve_mme (dense LAPACK, sparse morlo90) and the conjugate-gradient
// solver of the selection EBVs.
#include "simulate/mme_solver.hpp"

#include <lapacke.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "sparse/morlo90.hpp"

namespace ventrel::simulate {

namespace {

// Dense engine: the full matrix (lower triangle), dpotrf, dpotrs and dpotri. O(neq^2) memory
// and O(neq^3) time.
std::vector<double> solve_dense(mme_system& sys, bool inverse) {
  sparse::ija_matrix& m = sys.lhs;
  const int n = m.n;
  const std::size_t un = static_cast<std::size_t>(n);
  std::vector<double> a(un * un, 0.0);
  for (int i = 1; i <= n; ++i) {
    for (int p = m.ia[static_cast<std::size_t>(i - 1)]; p < m.ia[static_cast<std::size_t>(i)]; ++p) {
      const std::size_t j = static_cast<std::size_t>(m.ja[static_cast<std::size_t>(p - 1)]);
      a[(j - 1) + static_cast<std::size_t>(i - 1) * un] = m.a[static_cast<std::size_t>(p - 1)];
    }
  }
  int info = LAPACKE_dpotrf(LAPACK_COL_MAJOR, 'L', n, a.data(), n);
  if (info != 0) {
    fatal("ventrel-simulate: the mixed-model equations are not positive definite (dense pivot " +
          num(info) + ")");
  }
  std::vector<double> x = sys.rhs;
  for (std::size_t e = 0; e < un; ++e) if (sys.unused[e]) x[e] = 0.0;
  info = LAPACKE_dpotrs(LAPACK_COL_MAJOR, 'L', n, 1, a.data(), n, x.data(), n);
  if (info != 0) fatal("ventrel-simulate: dense solve failed");
  if (inverse) {
    info = LAPACKE_dpotri(LAPACK_COL_MAJOR, 'L', n, a.data(), n);
    if (info != 0) fatal("ventrel-simulate: dense inverse failed");
    for (int i = 1; i <= n; ++i) {
      for (int p = m.ia[static_cast<std::size_t>(i - 1)]; p < m.ia[static_cast<std::size_t>(i)]; ++p) {
        const std::size_t j = static_cast<std::size_t>(m.ja[static_cast<std::size_t>(p - 1)]);
        m.a[static_cast<std::size_t>(p - 1)] = a[(j - 1) + static_cast<std::size_t>(i - 1) * un];
      }
    }
  }
  return x;
}

// Sparse engine: morlo90 with its default engine (CHOLMOD supernodal factorisation, AMD
// ordering) and its sparse inverse, which overwrites the values in place.
std::vector<double> solve_sparse(mme_system& sys, bool inverse, fill_ordering ordering) {
  sparse::morlo90_settings settings;
  settings.ordering = ordering == fill_ordering::metis ? sparse::kelp_ordering::metis : sparse::kelp_ordering::amd;
  sparse::morlo90 solver(settings);
  solver.set_num_threads_kelp(omp_get_max_threads());
  solver("factorization", sys.lhs);
  std::vector<double> x(sys.rhs.size(), 0.0);
  sparse::morlo90_args args;
  args.rs = sys.rhs;
  args.sol = x;
  solver("solve", sys.lhs, args);
  if (inverse) solver("inverse", sys.lhs);
  return x;
}

// y = A x for the symmetric matrix held as its upper triangle.
void multiply_upper(const sparse::ija_matrix& m, const std::vector<double>& x, std::vector<double>& y) {
  std::fill(y.begin(), y.end(), 0.0);
  for (int i = 1; i <= m.n; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i - 1);
    double yi = 0.0;
    const double xi = x[ui];
    for (int p = m.ia[ui]; p < m.ia[ui + 1]; ++p) {
      const std::size_t j = static_cast<std::size_t>(m.ja[static_cast<std::size_t>(p - 1)] - 1);
      const double a = m.a[static_cast<std::size_t>(p - 1)];
      yi += a * x[j];
      if (j != ui) y[j] += a * xi;
    }
    y[ui] += yi;
  }
}

double dot(const std::vector<double>& a, const std::vector<double>& b) {
  double s = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k) s += a[k] * b[k];
  return s;
}

}  // namespace

int solve_mme_pcg(const mme_system& sys, std::vector<double>& x, double tolerance,
                  int max_iterations) {
  const sparse::ija_matrix& m = sys.lhs;
  const std::size_t n = static_cast<std::size_t>(m.n);
  x.resize(n, 0.0);
  std::vector<double> dinv(n), r(n), z(n), p(n), q(n);
  for (std::size_t i = 0; i < n; ++i) {
    dinv[i] = 1.0 / m.a[static_cast<std::size_t>(m.ia[i] - 1)];  // the diagonal leads its row
    if (sys.unused[i]) x[i] = 0.0;
  }
  multiply_upper(m, x, q);
  for (std::size_t i = 0; i < n; ++i) r[i] = sys.rhs[i] - q[i];
  const double bnorm = std::sqrt(dot(sys.rhs, sys.rhs));
  const double target = tolerance * (bnorm > 0.0 ? bnorm : 1.0);
  for (std::size_t i = 0; i < n; ++i) z[i] = dinv[i] * r[i];
  p = z;
  double rz = dot(r, z);
  for (int it = 0; it <= max_iterations; ++it) {
    if (std::sqrt(dot(r, r)) <= target) return it;
    multiply_upper(m, p, q);
    const double alpha = rz / dot(p, q);
    for (std::size_t i = 0; i < n; ++i) {
      x[i] += alpha * p[i];
      r[i] -= alpha * q[i];
      z[i] = dinv[i] * r[i];
    }
    const double rz_new = dot(r, z);
    const double beta = rz_new / rz;
    rz = rz_new;
    for (std::size_t i = 0; i < n; ++i) p[i] = z[i] + beta * p[i];
  }
  fatal("ventrel-simulate: the iterative solution of the mixed-model equations did not converge in " +
        num(max_iterations) + " iterations");
}

std::vector<double> solve_mme(mme_system& sys, bool inverse, solver_engine engine,
                              fill_ordering ordering) {
  if (engine == solver_engine::automatic) {
    engine = sys.lhs.n <= dense_limit ? solver_engine::dense : solver_engine::sparse;
  }
  std::vector<double> x = engine == solver_engine::dense ? solve_dense(sys, inverse)
                                                         : solve_sparse(sys, inverse, ordering);
  const sparse::ija_matrix& m = sys.lhs;
  for (std::size_t e = 0; e < x.size(); ++e) {
    if (!sys.unused[e]) continue;
    x[e] = 0.0;
    if (inverse) sys.lhs.a[static_cast<std::size_t>(m.ia[e] - 1)] = 0.0;  // the diagonal leads its row
  }
  return x;
}

}  // namespace ventrel::simulate
