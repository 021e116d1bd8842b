// tr(A_bb B) over the block's upper-triangular elements of A: for a symmetric A,
// tr(A_bb B) = sum_i A_ii B_ii + sum_{i<j} A_ij (B_ij + B_ji). Rows of the block are divided
// among OpenMP threads; each thread keeps its own workspace.
#include "sparse/traceblock_ija.hpp"

#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::sparse {
namespace {

void check_range(const char* head, int n, int first, int last, int order_b) {
  if (first > last || first < 1 || last > n)
    fatal({std::string(head) + ": abnormal range specified",
           "range: " + num(first) + " " + num(last) + "; order of the matrix: " + num(n)});
  if (order_b != last - first + 1)
    fatal({std::string(head) + ": incompatible dimensions",
           "order of the block: " + num(last - first + 1) + "; of the second matrix: " +
               num(order_b)});
}

// Calls f(i, j, a_ij) for every stored element of the block, with i <= j counted within the
// block from 0, and sums what f returns. f must be safe to call from several threads.
template <class Ptr, class F>
double sum_block(const basic_ija<Ptr>& a, int first, int last, F f) {
  double total = 0.0;
#pragma omp parallel for schedule(dynamic, 256) reduction(+ : total)
  for (int r = first; r <= last; ++r) {
    for (std::int64_t k = static_cast<std::int64_t>(a.ia[r - 1]) - 1;
         k < static_cast<std::int64_t>(a.ia[r]) - 1; ++k) {
      int c = a.ja[k];
      if (c < first || c > last || c < r) continue;
      total += f(r - first, c - first, a.a[k]);
    }
  }
  return total;
}

template <class Ptr>
double with_ija(const char* head, const basic_ija<Ptr>& a, int first, int last,
                const basic_ija<Ptr>& b) {
  check_range(head, a.n, first, last, b.n);
  // Element (i, j), i <= j, of B by binary search in its row.
  return sum_block(a, first, last, [&b](int i, int j, double v) {
    double bij = getm_ija(b, i + 1, j + 1);
    return i == j ? v * bij : 2.0 * v * bij;
  });
}

template <class Ptr>
double with_dense(const char* head, const basic_ija<Ptr>& a, int first, int last,
                  const linalg::dense_matrix& b) {
  if (b.rows != b.cols)
    fatal({std::string(head) + ": incompatible dimensions",
           "the second matrix is " + num(b.rows) + " x " + num(b.cols)});
  check_range(head, a.n, first, last, b.rows);
  return sum_block(a, first, last, [&b](int i, int j, double v) {
    return i == j ? v * b(i, i) : v * (b(i, j) + b(j, i));
  });
}

template <class Ptr>
double with_hashm(const char* head, const basic_ija<Ptr>& a, int first, int last,
                  const sparse_hashm& b) {
  if (b.status != hash_ready) fatal("Structure sparse_hashm not ready; probably sorted");
  check_range(head, a.n, first, last, b.n > 0 ? b.n : last - first + 1);
  // getm only reads the table, so the threads may share it.
  const bool upper = b.storage == hash_storage::upper;
  return sum_block(a, first, last, [&b, upper](int i, int j, double v) {
    if (i == j) return v * getm(i + 1, i + 1, b);
    double bij = getm(i + 1, j + 1, b);
    double bji = upper ? bij : getm(j + 1, i + 1, b);
    return v * (bij + bji);
  });
}

}  // namespace

double traceblock_ija(const ija_matrix& a, int first, int last, const ija_matrix& b) {
  return with_ija("TRACEBLOCK_IJA", a, first, last, b);
}
double traceblock_ija8(const ija8_matrix& a, int first, int last, const ija8_matrix& b) {
  return with_ija("TRACEBLOCK_IJA8", a, first, last, b);
}
double traceblock_ija_dense(const ija_matrix& a, int first, int last,
                            const linalg::dense_matrix& b) {
  return with_dense("TRACEBLOCK_IJA_DENSE", a, first, last, b);
}
double traceblock_ija8_dense(const ija8_matrix& a, int first, int last,
                             const linalg::dense_matrix& b) {
  return with_dense("TRACEBLOCK_IJA8_DENSE", a, first, last, b);
}
double traceblock_ija_hashm(const ija_matrix& a, int first, int last, const sparse_hashm& b) {
  return with_hashm("TRACEBLOCK_IJA_HASHM", a, first, last, b);
}
double traceblock_ija8_hashm(const ija8_matrix& a, int first, int last, const sparse_hashm& b) {
  return with_hashm("TRACEBLOCK_IJA8_HASHM", a, first, last, b);
}

}  // namespace ventrel::sparse
