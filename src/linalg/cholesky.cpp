// Cholesky factorisation through LAPACKE_dpotrf.
#include "linalg/cholesky.hpp"

#include <lapacke.h>

#include <string>

#include "common/fatal.hpp"

namespace ventrel::linalg {

int cholesky_lower(dense_matrix& a) {
  if (a.rows != a.cols) fatal("cholesky_lower: matrix is not square");
  if (a.rows == 0) return 0;
  const lapack_int info = LAPACKE_dpotrf(LAPACK_COL_MAJOR, 'L', a.rows, a.a.data(), a.rows);
  if (info < 0) fatal("LAPACK dpotrf: argument " + std::to_string(-info) + " is invalid");
  return static_cast<int>(info);
}

bool is_positive_definite(const dense_matrix& a) {
  dense_matrix work = a;
  return cholesky_lower(work) == 0;
}

}  // namespace ventrel::linalg
