// LAPACK inverses and solves.
#include "linalg/dense_solve.hpp"

#include <lapacke.h>

#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "linalg/dense_products.hpp"

namespace ventrel::linalg {
namespace {

void check(const char* routine, lapack_int info) {
  if (info < 0) fatal(std::string("LAPACK ") + routine + ": argument " + std::to_string(-info) + " is invalid");
}

}  // namespace

int cholesky_lower_checked(dense_matrix& a, double min_pivot_ratio) {
  if (a.rows != a.cols) fatal("cholesky_lower_checked: matrix is not square");
  if (a.rows == 0) return 0;
  std::vector<double> diag(static_cast<std::size_t>(a.rows));
  for (int k = 0; k < a.rows; ++k) diag[static_cast<std::size_t>(k)] = a(k, k);
  const lapack_int info = LAPACKE_dpotrf(LAPACK_COL_MAJOR, 'L', a.rows, a.a.data(), a.rows);
  check("dpotrf", info);
  if (info > 0) return static_cast<int>(info);
  for (int k = 0; k < a.rows; ++k)
    if (a(k, k) * a(k, k) <= min_pivot_ratio * diag[static_cast<std::size_t>(k)]) return k + 1;
  return 0;
}

int spd_inverse(dense_matrix& a, double min_pivot_ratio) {
  if (a.rows != a.cols) fatal("spd_inverse: matrix is not square");
  if (a.rows == 0) return 0;
  const int minor = cholesky_lower_checked(a, min_pivot_ratio);
  if (minor > 0) return minor;
  lapack_int info = LAPACKE_dpotri(LAPACK_COL_MAJOR, 'L', a.rows, a.a.data(), a.rows);
  check("dpotri", info);
  if (info > 0) return static_cast<int>(info);
  mirror_lower(a);
  return 0;
}

void cholesky_solve(const dense_matrix& l, dense_matrix& b) {
  if (l.rows != l.cols || b.rows != l.rows) fatal("cholesky_solve: orders do not match");
  if (b.rows == 0 || b.cols == 0) return;
  check("dpotrs", LAPACKE_dpotrs(LAPACK_COL_MAJOR, 'L', l.rows, b.cols, l.a.data(), l.rows, b.a.data(), b.rows));
}

int lu_solve(dense_matrix& a, dense_matrix& b) {
  if (a.rows != a.cols || b.rows != a.rows) fatal("lu_solve: orders do not match");
  if (a.rows == 0 || b.cols == 0) return 0;
  std::vector<lapack_int> ipiv(static_cast<std::size_t>(a.rows));
  const lapack_int info =
      LAPACKE_dgesv(LAPACK_COL_MAJOR, a.rows, b.cols, a.a.data(), a.rows, ipiv.data(), b.a.data(), b.rows);
  check("dgesv", info);
  return static_cast<int>(info);
}

}  // namespace ventrel::linalg
