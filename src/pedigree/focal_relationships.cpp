// The relationships among the focal animals by blocks of Colleau products restricted to the
// focal animals and their ancestors: offered a column at a time, or gathered into A_focal.
#include "pedigree/focal_relationships.hpp"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <numeric>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "pedigree/colleau_block.hpp"

namespace ventrel::pedigree {
namespace {

constexpr int lanes = 4;  // columns per pass: measured about 8% faster than 8 or 2, and than 16

// What the products and the sweep share: the sub-pedigree, the row of each focal animal and the
// focal animals in row order (parents first).
struct focal_rows {
  detail::sub_pedigree sub;
  std::vector<std::int32_t> rows;   // row of focal animal k
  std::vector<std::int32_t> order;  // focal animals by row, ties in the focal order
};

// y[q] = A_focal x[q] by one product of all the vectors over the sub-pedigree: the vectors are
// put on the focal animals' rows (a focal animal given twice adds both), carried to the
// ancestors backward (q(parent) += q(i)/2), the metafounders take Gamma q, and forward
// y(i) = (y(sire) + y(dam))/2 + d(i) q(i). Cost: two passes over the rows, K values per row.
std::vector<std::vector<double>> focal_times(const focal_rows& f, const std::vector<std::vector<double>>& x) {
  const detail::sub_pedigree& p = f.sub;
  const std::size_t k = x.size(), m = f.rows.size();
  std::vector<std::vector<double>> y(k, std::vector<double>(m, 0.0));
  if (k == 0 || m == 0) return y;
  std::vector<double> b((static_cast<std::size_t>(p.m) + 1) * k, 0.0);
  auto row = [&](std::int32_t i) { return b.data() + static_cast<std::size_t>(i) * k; };
  for (std::size_t j = 0; j < m; ++j)
    for (std::size_t q = 0; q < k; ++q) row(f.rows[j])[q] += x[q][j];
  for (std::int32_t i = p.m; i > p.nmf; --i) {
    const parents& pi = p.par[static_cast<std::size_t>(i)];
    const double* qi = row(i);
    for (std::int32_t par : {pi.sire, pi.dam})
      if (par != 0) {
        double* qp = row(par);
        for (std::size_t q = 0; q < k; ++q) qp[q] += 0.5 * qi[q];
      }
  }
  if (p.nmf > 0) {
    const std::size_t nm = static_cast<std::size_t>(p.nmf);
    std::vector<double> g(nm * k, 0.0);
    for (std::size_t c = 0; c < nm; ++c)
      for (std::size_t r = 0; r < nm; ++r)
        for (std::size_t q = 0; q < k; ++q) g[r * k + q] += p.gamma[r + c * nm] * b[(c + 1) * k + q];
    std::copy(g.begin(), g.end(), b.begin() + static_cast<std::ptrdiff_t>(k));
  }
  for (std::int32_t i = p.nmf + 1; i <= p.m; ++i) {
    const parents& pi = p.par[static_cast<std::size_t>(i)];
    const double* ys = row(pi.sire);
    const double* yd = row(pi.dam);
    double* yi = row(i);
    const double di = p.d[static_cast<std::size_t>(i)];
    for (std::size_t q = 0; q < k; ++q) yi[q] = 0.5 * (ys[q] + yd[q]) + di * yi[q];
  }
  for (std::size_t j = 0; j < m; ++j)
    for (std::size_t q = 0; q < k; ++q) y[q][j] = row(f.rows[j])[q];
  return y;
}

// The sweep: the focal animals in row order, `lanes` columns per product, products in parallel
// with one workspace per thread. Step t is the column of order[t], computed on the rows up to
// its own (the rows of the steps before it come earlier); its values at those rows are gathered
// into a column of the thread's buffer and handed to visit.
void focal_sweep(const focal_rows& f, int threads, const linalg::column_visitor& visit) {
  const std::int32_t m = static_cast<std::int32_t>(f.rows.size());
  const std::size_t mm = static_cast<std::size_t>(m);
  const std::int32_t nblock = (m + lanes - 1) / lanes;
  progress shown("relationships of the focal animals", nblock);
  std::atomic<long long> blocks_done{0};
#pragma omp parallel num_threads(threads)
  {
    detail::block_workspace<lanes> ws(f.sub);
    std::vector<double> col(mm * lanes);
    std::vector<std::int32_t> cols;
#pragma omp for schedule(dynamic, 1)
    for (std::int32_t b = 0; b < nblock; ++b) {
      const std::int32_t t0 = b * lanes, t1 = std::min(m, t0 + lanes), w = t1 - t0;
      cols.clear();
      for (std::int32_t t = t0; t < t1; ++t) cols.push_back(f.rows[static_cast<std::size_t>(f.order[static_cast<std::size_t>(t)])]);
      detail::block_product<lanes>(f.sub, cols, 0, ws);
      for (std::int32_t u = 0; u < t1; ++u) {
        const double* r = ws.row(f.rows[static_cast<std::size_t>(f.order[static_cast<std::size_t>(u)])]);
        const std::int32_t from = std::max(0, u - t0);  // lanes l with t0 + l >= u
        for (std::int32_t l = from; l < w; ++l) col[static_cast<std::size_t>(l) * mm + static_cast<std::size_t>(u)] = r[l];
      }
      for (std::int32_t l = 0; l < w; ++l) visit(t0 + l, col.data() + static_cast<std::size_t>(l) * mm);
      ws.clear();
      const long long now = ++blocks_done;
      if (omp_get_thread_num() == 0) shown.update(now);
    }
  }
  shown.finish();
}

}  // namespace

linalg::symmetric_columns focal_relationship_columns(std::int32_t n, const pedigree_table& ped_sorted,
                                                     std::span<const double> inb_sorted,
                                                     std::span<const std::int32_t> perm, const group_info& groups,
                                                     std::span<const std::int32_t> focal, int nthreads) {
  const std::int32_t m = static_cast<std::int32_t>(focal.size());
  std::vector<std::int32_t> pos(focal.size());
  for (std::size_t k = 0; k < focal.size(); ++k) {
    const std::int32_t a = focal[k];
    if (a < 1 || a > n)
      fatal("Focal animal " + num(a) + " is not in the pedigree (animals 1 to " + num(n) + ")");
    pos[k] = perm[static_cast<std::size_t>(a)];
  }
  auto f = std::make_shared<focal_rows>();
  std::vector<std::int32_t> row_of;
  f->sub = detail::make_subset(n, ped_sorted, inb_sorted, groups, pos, row_of);
  f->rows.resize(focal.size());
  for (std::size_t k = 0; k < focal.size(); ++k) f->rows[k] = row_of[static_cast<std::size_t>(pos[k])];
  f->order.resize(focal.size());
  std::iota(f->order.begin(), f->order.end(), 0);
  std::stable_sort(f->order.begin(), f->order.end(), [&](std::int32_t a, std::int32_t b) {
    return f->rows[static_cast<std::size_t>(a)] < f->rows[static_cast<std::size_t>(b)];
  });

  linalg::symmetric_columns s;
  s.n = m;
  s.order.assign(f->order.begin(), f->order.end());
  s.diagonal.resize(focal.size());
  for (std::size_t k = 0; k < focal.size(); ++k) s.diagonal[k] = 1.0 + inb_sorted[static_cast<std::size_t>(pos[k])];
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  s.times = [f](const std::vector<std::vector<double>>& x) { return focal_times(*f, x); };
  s.sweep = [f, threads](const linalg::column_visitor& visit) { focal_sweep(*f, threads, visit); };
  return s;
}

double focal_relationship_columns_bytes(std::int64_t n, std::int64_t m, int vectors, int nthreads) {
  const double rows = static_cast<double>(n) + 1.0, threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  // The sub-pedigree and the marks of make_subset, the products' rows, and per thread a
  // workspace of `lanes` values per row and `lanes` columns of the focal animals.
  return rows * (16.0 + 5.0) + rows * 8.0 * vectors + 12.0 * static_cast<double>(m) +
         threads * 8.0 * lanes * (rows + static_cast<double>(m)) + threads * rows;
}

linalg::dense_matrix focal_relationships(std::int32_t n, const pedigree_table& ped_sorted,
                                         std::span<const double> inb_sorted,
                                         std::span<const std::int32_t> perm, const group_info& groups,
                                         std::span<const std::int32_t> focal, int nthreads) {
  say("Create A for the focal animals using Colleau");
  const linalg::symmetric_columns s = focal_relationship_columns(n, ped_sorted, inb_sorted, perm, groups, focal, nthreads);
  linalg::dense_matrix a(s.n, s.n);
  s.sweep([&](int k, const double* v) {
    const int j = s.order[static_cast<std::size_t>(k)];
    for (int u = 0; u <= k; ++u) {
      const int i = s.order[static_cast<std::size_t>(u)];
      a(i, j) = v[u];
      a(j, i) = v[u];
    }
  });
  return a;
}

}  // namespace ventrel::pedigree
