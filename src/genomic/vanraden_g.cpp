// G by symmetric rank-k updates over blocks of markers.
#include "genomic/vanraden_g.hpp"

#include <omp.h>

#include <algorithm>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "linalg/blas_threads.hpp"
#include "linalg/dense_products.hpp"

namespace ventrel::genomic {
namespace {

constexpr std::int32_t markers_per_block = 2048;  // columns of Z added by one update

}  // namespace

linalg::dense_matrix vanraden_g(const genotype_table& g, const qc_result& kept, int nthreads) {
  const std::int32_t na = static_cast<std::int32_t>(kept.animals.size());
  const std::int32_t nm = static_cast<std::int32_t>(kept.markers.size());
  if (na == 0 || nm == 0) fatal({"G needs at least one animal and one marker after quality control"});
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  double scale = 0.0;
  for (double p : kept.p) scale += 2.0 * p * (1.0 - p);

  linalg::dense_matrix gm(na, na);
  linalg::blas_threads blas(threads);
  const std::int32_t nblock = (nm + markers_per_block - 1) / markers_per_block;
  // zt holds Z' for a block of markers: markers by rows, one column per animal, so that every
  // animal's genotypes are gathered into contiguous memory.
  linalg::dense_matrix zt(std::min(nm, markers_per_block), na);
  progress shown("genomic relationships", nblock);
  for (std::int32_t b = 0; b < nblock; ++b) {
    const std::int32_t m0 = b * markers_per_block, m1 = std::min(nm, m0 + markers_per_block);
    const std::int32_t k = m1 - m0;
    if (k != zt.rows) zt = linalg::dense_matrix(k, na);
    const std::int32_t* mk = kept.markers.data() + m0;
    const double* p = kept.p.data() + m0;
#pragma omp parallel for schedule(static) num_threads(threads)
    for (std::int32_t a = 0; a < na; ++a) {
      const std::uint8_t* x = g.row(kept.animals[static_cast<std::size_t>(a)]);
      double* z = zt.a.data() + static_cast<std::size_t>(a) * static_cast<std::size_t>(k);
      for (std::int32_t j = 0; j < k; ++j) {
        const std::uint8_t v = x[mk[j]];
        z[j] = v == missing_genotype ? 0.0 : static_cast<double>(v) - 2.0 * p[j];
      }
    }
    linalg::syrk_lower_add(gm, zt, 1.0 / scale);
    shown.update(b + 1);
  }
  shown.finish();
  linalg::mirror_lower(gm);
  return gm;
}

}  // namespace ventrel::genomic
