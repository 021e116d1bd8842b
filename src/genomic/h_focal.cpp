// The closed form of H among focal animals.
#include "genomic/h_focal.hpp"

#include <utility>
#include <vector>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "linalg/blas_threads.hpp"
#include "linalg/dense_products.hpp"
#include "linalg/dense_solve.hpp"

namespace ventrel::genomic {
namespace {

// A pivot whose square is below this share of its diagonal element counts as zero: G of two
// animals with identical genotypes, or A22 of an animal that is the exact mean of its parents,
// is singular in exact arithmetic and gives a pivot of rounding size and either sign.
constexpr double min_pivot_ratio = 1e-10;

linalg::dense_matrix inverse_or_stop(linalg::dense_matrix m, const std::string& which, const pd_context& c) {
  const int minor = linalg::spd_inverse(m, min_pivot_ratio);
  if (minor != 0) stop_not_positive_definite(which, m.rows, minor, c);
  return m;
}

// Progress of the steps of the closed form, each weighted by its floating-point operations.
class steps_done {
 public:
  explicit steps_done(std::vector<double> flops)
      : flops_(std::move(flops)), shown_("H among the focal animals", 1000) {
    for (double f : flops_) total_ += f;
    shown_.update(0);
  }
  void next() {  // one more step done
    done_ += flops_.at(step_++);
    shown_.update(static_cast<long long>(1000.0 * done_ / total_));
  }

 private:
  std::vector<double> flops_;
  progress shown_;
  std::size_t step_ = 0;
  double total_ = 0.0, done_ = 0.0;
};

void symmetrise(linalg::dense_matrix& h) {
  for (int j = 0; j < h.cols; ++j)
    for (int i = j + 1; i < h.rows; ++i) {
      const double v = 0.5 * (h(i, j) + h(j, i));
      h(i, j) = v;
      h(j, i) = v;
    }
}

}  // namespace

linalg::dense_matrix genomic_inverse_block(const linalg::dense_matrix& g, const linalg::dense_matrix& a22,
                                           const h_weights& w, const pd_context& context, int nthreads) {
  linalg::blas_threads blas(nthreads);
  linalg::dense_matrix x = inverse_or_stop(g, "G", context);
  const linalg::dense_matrix a22i = inverse_or_stop(a22, "A22", context);
  for (std::size_t k = 0; k < x.a.size(); ++k) x.a[k] = w.tau * x.a[k] - w.omega * a22i.a[k];
  return x;
}

linalg::dense_matrix h_focal_closed_form(const linalg::dense_matrix& a_ff, const linalg::dense_matrix& a_2f,
                                         const linalg::dense_matrix& g, const linalg::dense_matrix& a22,
                                         const h_weights& w, const pd_context& context, int nthreads) {
  linalg::blas_threads blas(nthreads);
  const int n2 = g.rows, m = a_ff.rows;
  const double n = n2, n3 = n * n * n, n2m = 2.0 * n * n * m, nm2 = 2.0 * n * m * m;
  linalg::dense_matrix h = a_ff;
  if (w.tau == 1.0 && w.omega == 1.0) {
    steps_done shown({n3 / 3.0, n3 / 3.0, n2m, n2m, nm2});
    linalg::dense_matrix l = a22;
    int minor = linalg::cholesky_lower_checked(l, min_pivot_ratio);
    if (minor != 0) stop_not_positive_definite("A22", n2, minor, context);
    shown.next();
    linalg::dense_matrix d = g;
    minor = linalg::cholesky_lower_checked(d, min_pivot_ratio);
    if (minor != 0) stop_not_positive_definite("G", n2, minor, context);
    shown.next();
    for (std::size_t k = 0; k < d.a.size(); ++k) d.a[k] = g.a[k] - a22.a[k];
    linalg::dense_matrix c = a_2f;
    linalg::cholesky_solve(l, c);  // A22^-1 A_2f
    shown.next();
    linalg::dense_matrix wm(n2, m);
    linalg::symm_left(1.0, d, c, 0.0, wm);
    shown.next();
    linalg::gemm(true, false, 1.0, c, wm, 1.0, h);
    shown.next();
  } else {
    steps_done shown({2.0 * n3, 2.0 * n3, 2.0 * n3 / 3.0 + n2m, n2m, nm2});
    const linalg::dense_matrix x = genomic_inverse_block(g, a22, w, context, nthreads);
    shown.next();
    linalg::dense_matrix mm(n2, n2);
    linalg::symm_left(1.0, a22, x, 0.0, mm);
    shown.next();
    for (int i = 0; i < n2; ++i) mm(i, i) += 1.0;
    linalg::dense_matrix y = a_2f;
    if (linalg::lu_solve(mm, y) != 0)
      fatal({"H-inverse is singular with the weights tau = " + num(w.tau) + " and omega = " + num(w.omega) +
                 " (I + A22 X is singular, X = tau G^-1 - omega A22^-1)",
             "Change the weights of OPTION H_weights tau omega"});
    shown.next();
    linalg::dense_matrix wm(n2, m);
    linalg::symm_left(1.0, x, y, 0.0, wm);
    shown.next();
    linalg::gemm(true, false, -1.0, a_2f, wm, 1.0, h);
    shown.next();
  }
  symmetrise(h);
  return h;
}

}  // namespace ventrel::genomic
