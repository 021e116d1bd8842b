// The columns and products of a dense symmetric matrix stored by its lower triangle.
#include "linalg/symmetric_columns.hpp"

#include <omp.h>

#include <cstddef>

namespace ventrel::linalg {
namespace {

// Number of column blocks of the products. Fixed, so that the order in which the partial sums
// are added, and with it the result, does not depend on the number of threads.
constexpr int n_blocks = 32;

// Splits the columns 0..n-1 into blocks of about equal work over the lower triangle (column j
// holds n - j elements): block b is [start[b], start[b + 1]).
std::vector<int> triangle_blocks(int n) {
  std::vector<int> start(n_blocks + 1, n);
  start[0] = 0;
  const double total = 0.5 * static_cast<double>(n) * (n + 1.0);
  double done = 0.0;
  int b = 1;
  for (int j = 0; j < n && b < n_blocks; ++j) {
    done += static_cast<double>(n - j);
    while (b < n_blocks && done >= total * b / n_blocks) start[b++] = j + 1;
  }
  for (; b < n_blocks; ++b) start[b] = n;
  return start;
}

// y[q] = S x[q], reading only the lower triangle of the column-major n x n matrix a. Each column
// block gathers into its own columns and scatters into a private array; the private arrays are
// added in block order. Cost: one pass over the lower triangle.
std::vector<std::vector<double>> lower_products(int n, const double* a, const std::vector<std::vector<double>>& x,
                                                int threads) {
  const std::size_t k = x.size();
  const std::size_t nn = static_cast<std::size_t>(n);
  const std::vector<int> start = triangle_blocks(n);
  std::vector<std::vector<double>> gather(k, std::vector<double>(nn, 0.0));
  std::vector<std::vector<double>> scatter(static_cast<std::size_t>(n_blocks) * k);

#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int b = 0; b < n_blocks; ++b) {
    if (start[b] == start[b + 1]) continue;
    for (std::size_t q = 0; q < k; ++q) scatter[b * k + q].assign(nn, 0.0);
    for (int j = start[b]; j < start[b + 1]; ++j) {
      const double* aj = a + static_cast<std::size_t>(j) * nn;
      for (std::size_t q = 0; q < k; ++q) {
        const double* vq = x[q].data();
        double* sq = scatter[b * k + q].data();
        const double vj = vq[j];
        double g = aj[j] * vj;
#pragma omp simd reduction(+ : g)
        for (int i = j + 1; i < n; ++i) {
          g += aj[i] * vq[i];
          sq[i] += aj[i] * vj;
        }
        gather[q][j] = g;
      }
    }
  }
  for (std::size_t q = 0; q < k; ++q)
    for (int b = 0; b < n_blocks; ++b) {
      const std::vector<double>& s = scatter[b * k + q];
      if (s.empty()) continue;
      for (std::size_t i = 0; i < nn; ++i) gather[q][i] += s[i];
    }
  return gather;
}

}  // namespace

symmetric_columns dense_symmetric_columns(std::span<const double> a, int n, int nthreads) {
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  const std::size_t nn = static_cast<std::size_t>(n);
  const double* data = a.data();
  symmetric_columns s;
  s.n = n;
  s.order.resize(nn);
  s.diagonal.resize(nn);
  for (int k = 0; k < n; ++k) s.order[static_cast<std::size_t>(k)] = n - 1 - k;
  for (std::size_t i = 0; i < nn; ++i) s.diagonal[i] = data[i + i * nn];
  s.times = [n, data, threads](const std::vector<std::vector<double>>& x) { return lower_products(n, data, x, threads); };
  s.sweep = [n, data, threads](const column_visitor& visit) {
    const std::size_t nn = static_cast<std::size_t>(n);
#pragma omp parallel num_threads(threads)
    {
      std::vector<double> v(nn);
#pragma omp for schedule(dynamic, 16)
      for (int k = 0; k < n; ++k) {
        // Step k is column c = n-1-k; its rows n-1-i for i <= k are c and the rows below it.
        const std::size_t c = nn - 1 - static_cast<std::size_t>(k);
        const double* col = data + c * nn;
        for (int i = 0; i <= k; ++i) v[static_cast<std::size_t>(i)] = col[nn - 1 - static_cast<std::size_t>(i)];
        visit(k, v.data());
      }
    }
  };
  return s;
}

}  // namespace ventrel::linalg
