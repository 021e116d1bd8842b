// Dense inverse and log-determinant by a textbook Cholesky factorisation, in plain loops.
#include "reference/dense_inverse.hpp"

#include <cmath>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::reference {
namespace {

// Lower Cholesky factor: L_jj = sqrt(a_jj - sum_k L_jk^2), L_ij = (a_ij - sum_k L_ik L_jk) / L_jj.
linalg::dense_matrix cholesky(const linalg::dense_matrix& a) {
  const int n = a.rows;
  linalg::dense_matrix l(n, n);
  for (int j = 0; j < n; ++j) {
    double d = a(j, j);
    for (int k = 0; k < j; ++k) d -= l(j, k) * l(j, k);
    if (!(d > 0.0)) fatal("dense_spd_inverse: matrix not positive definite");
    l(j, j) = std::sqrt(d);
    for (int i = j + 1; i < n; ++i) {
      double s = a(i, j);
      for (int k = 0; k < j; ++k) s -= l(i, k) * l(j, k);
      l(i, j) = s / l(j, j);
    }
  }
  return l;
}

}  // namespace

linalg::dense_matrix dense_spd_inverse(const linalg::dense_matrix& a) {
  const int n = a.rows;
  linalg::dense_matrix l = cholesky(a);
  linalg::dense_matrix inv(n, n);
  std::vector<double> y(static_cast<std::size_t>(n));
  for (int c = 0; c < n; ++c) {
    // L y = e_c
    for (int i = 0; i < n; ++i) {
      double s = i == c ? 1.0 : 0.0;
      for (int k = 0; k < i; ++k) s -= l(i, k) * y[static_cast<std::size_t>(k)];
      y[static_cast<std::size_t>(i)] = s / l(i, i);
    }
    // L' x = y
    for (int i = n - 1; i >= 0; --i) {
      double s = y[static_cast<std::size_t>(i)];
      for (int k = i + 1; k < n; ++k) s -= l(k, i) * inv(k, c);
      inv(i, c) = s / l(i, i);
    }
  }
  return inv;
}

double dense_spd_logdet(const linalg::dense_matrix& a) {
  linalg::dense_matrix l = cholesky(a);
  double s = 0.0;
  for (int i = 0; i < a.rows; ++i) s += 2.0 * std::log(l(i, i));
  return s;
}

}  // namespace ventrel::reference
