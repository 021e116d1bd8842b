// x'Ax over an upper-triangular IJA matrix, in parallel over rows.
#include "sparse/quadr_ija.hpp"

#include <omp.h>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::sparse {
namespace {

// Each row i gives x_i (a_ii x_i + 2 sum_{j>i} a_ij x_j). Rows go to threads in fixed blocks
// (static schedule) and the partial sums are added by the reduction: the result differs
// between thread counts only by the order of the additions, that is within rounding.
template <class Ptr>
double quadr(const basic_ija<Ptr>& m, std::span<const double> x, int msg_level) {
  if (static_cast<std::int64_t>(x.size()) != m.n ||
      static_cast<std::int64_t>(m.ia.size()) != static_cast<std::int64_t>(m.n) + 1)
    fatal("QUADR_IJA: incompatible dimensions");
  const Ptr* ia = m.ia.data();
  const int* ja = m.ja.data();
  const double* a = m.a.data();
  const double* xv = x.data();
  const int n = m.n;
  double total = 0.0;
  int used = 1;
#pragma omp parallel reduction(+ : total)
  {
#pragma omp single
    used = omp_get_num_threads();
#pragma omp for schedule(static)
    for (int i = 0; i < n; ++i) {
      double diag = 0.0, off = 0.0;
      for (std::int64_t k = static_cast<std::int64_t>(ia[i]) - 1; k < static_cast<std::int64_t>(ia[i + 1]) - 1; ++k) {
        int j = ja[k] - 1;
        if (j == i) diag += a[k] * xv[j];
        else off += a[k] * xv[j];
      }
      total += xv[i] * (diag + 2.0 * off);
    }
  }
  if (msg_level > 0)
    say("quadr_ija: OpenMP threads=" + num(used) + " OMP=" + num(omp_get_max_threads()));
  return total;
}

}  // namespace

double quadr_ija(const ija_matrix& m, std::span<const double> x, int msg_level) {
  return quadr(m, x, msg_level);
}
double quadr_ija(const ija8_matrix& m, std::span<const double> x, int msg_level) {
  return quadr(m, x, msg_level);
}

}  // namespace ventrel::sparse
