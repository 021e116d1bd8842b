// A symmetric matrix offered a column at a time instead of held in memory: its diagonal, its
// products with vectors, and a sweep over its columns in an order of the producer's choice.
#pragma once

#include <functional>
#include <span>
#include <vector>

namespace ventrel::linalg {

// Called with the column at step k of a sweep: v[i] = S(order[i], order[k]) for i = 0..k (the
// entries of the columns visited before, and the diagonal at v[k]). v is valid during the call.
using column_visitor = std::function<void(int k, const double* v)>;

// The symmetric n x n matrix S, indices 0..n-1.
struct symmetric_columns {
  int n = 0;                     // order of S
  std::vector<int> order;        // index of the column visited at step k of a sweep, n entries
  std::vector<double> diagonal;  // S(i, i) by index
  // y[q] = S x[q] for the vectors x[q] (length n each); y[q] has length n.
  std::function<std::vector<std::vector<double>>(const std::vector<std::vector<double>>& x)> times;
  // Calls visit(k, v) once for every step k = 0..n-1, from several threads at once (the visitor
  // must only write what belongs to step k) and in no fixed order.
  std::function<void(const column_visitor& visit)> sweep;
};

// The columns of a dense symmetric matrix, column-major n x n, of which only the lower triangle
// is read; the matrix must outlive the result. The sweep visits the columns from the last to
// the first (order[k] = n-1-k, so that step k reads column n-1-k below the diagonal), one
// thread per column, on nthreads threads (0 = the runtime's default). The products read the
// lower triangle once; their sums are added in a fixed order, the same on any thread count.
symmetric_columns dense_symmetric_columns(std::span<const double> a, int n, int nthreads = 0);

}  // namespace ventrel::linalg
