// Tuning and blending G.
#include "genomic/tune_blend.hpp"

#include <cmath>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::genomic {
namespace {

struct means {
  double diag = 0.0;
  double off = 0.0;
};

means mean_elements(const linalg::dense_matrix& m) {
  const int n = m.rows;
  long double all = 0, trace = 0;
  for (double v : m.a) all += v;
  for (int i = 0; i < n; ++i) trace += m(i, i);
  means r;
  r.diag = static_cast<double>(trace / n);
  if (n > 1) r.off = static_cast<double>((all - trace) / (static_cast<long double>(n) * (n - 1)));
  return r;
}

}  // namespace

g_tuning tuning_to_a22(const linalg::dense_matrix& g, const linalg::dense_matrix& a22) {
  const means mg = mean_elements(g), ma = mean_elements(a22);
  g_tuning t;
  if (g.rows == 1) {
    t.b = ma.diag / mg.diag;
    return t;
  }
  const double spread = mg.diag - mg.off;
  if (!(std::fabs(spread) > 1e-12 * std::fabs(mg.diag)))
    fatal({"G cannot be tuned to A22: its mean diagonal (" + num(mg.diag) + ") equals its mean off-diagonal element",
           "The genotyped animals all have the same genotypes; turn tuning off with OPTION tune_G 0"});
  t.b = (ma.diag - ma.off) / spread;
  t.a = ma.diag - t.b * mg.diag;
  return t;
}

void apply_tuning(linalg::dense_matrix& g, const g_tuning& t) {
  for (double& v : g.a) v = t.a + t.b * v;
}

void blend(linalg::dense_matrix& g, const linalg::dense_matrix& a22, double alpha, double beta) {
  for (std::size_t k = 0; k < g.a.size(); ++k) g.a[k] = alpha * g.a[k] + beta * a22.a[k];
}

}  // namespace ventrel::genomic
