// BLAS products.
#include "linalg/dense_products.hpp"

#include <cblas.h>

#include <algorithm>

#include "common/fatal.hpp"

namespace ventrel::linalg {

void syrk_lower_add(dense_matrix& c, const dense_matrix& a, double alpha) {
  if (c.rows != c.cols || c.rows != a.cols) fatal("syrk_lower_add: orders do not match");
  if (c.rows == 0 || a.rows == 0) return;
  cblas_dsyrk(CblasColMajor, CblasLower, CblasTrans, c.rows, a.rows, alpha, a.a.data(), a.rows, 1.0, c.a.data(),
              c.rows);
}

void mirror_lower(dense_matrix& a) {
  const int n = a.rows;
  // By blocks of columns, so that the strided reads of a row stay in cache.
  constexpr int bs = 64;
#pragma omp parallel for schedule(dynamic, 1)
  for (int jb = 0; jb < n; jb += bs)
    for (int ib = jb; ib < n; ib += bs)
      for (int j = jb; j < std::min(n, jb + bs); ++j)
        for (int i = std::max(ib, j + 1); i < std::min(n, ib + bs); ++i) a(j, i) = a(i, j);
}

void symm_left(double alpha, const dense_matrix& a, const dense_matrix& b, double beta, dense_matrix& c) {
  if (a.rows != a.cols || a.cols != b.rows || c.rows != a.rows || c.cols != b.cols)
    fatal("symm_left: orders do not match");
  if (c.rows == 0 || c.cols == 0) return;
  cblas_dsymm(CblasColMajor, CblasLeft, CblasLower, c.rows, c.cols, alpha, a.a.data(), a.rows, b.a.data(), b.rows,
              beta, c.a.data(), c.rows);
}

void gemm(bool trans_a, bool trans_b, double alpha, const dense_matrix& a, const dense_matrix& b, double beta,
          dense_matrix& c) {
  const int m = trans_a ? a.cols : a.rows, k = trans_a ? a.rows : a.cols;
  const int kb = trans_b ? b.cols : b.rows, n = trans_b ? b.rows : b.cols;
  if (k != kb || c.rows != m || c.cols != n) fatal("gemm: orders do not match");
  if (m == 0 || n == 0) return;
  cblas_dgemm(CblasColMajor, trans_a ? CblasTrans : CblasNoTrans, trans_b ? CblasTrans : CblasNoTrans, m, n, k, alpha,
              a.a.data(), std::max(a.rows, 1), b.a.data(), std::max(b.rows, 1), beta, c.a.data(), c.rows);
}

}  // namespace ventrel::linalg
