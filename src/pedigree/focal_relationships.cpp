// A_focal by blocks of Colleau products restricted to the focal animals and their ancestors.
#include "pedigree/focal_relationships.hpp"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <numeric>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "pedigree/colleau_block.hpp"

namespace ventrel::pedigree {
namespace {

constexpr int lanes = 8;  // columns per pass

}  // namespace

// Column j of A_focal is A e(a_j); A(a_k, a_j) is read from the column of whichever of the two
// comes later in the parents-first order (so a pass needs rows only up to its last column), and
// written to both triangles. Columns go in row order, eight per pass.
linalg::dense_matrix focal_relationships(std::int32_t n, const pedigree_table& ped_sorted,
                                         std::span<const double> inb_sorted,
                                         std::span<const std::int32_t> perm, const group_info& groups,
                                         std::span<const std::int32_t> focal, int nthreads) {
  say("Create A for the focal animals using Colleau");
  const std::int32_t m = static_cast<std::int32_t>(focal.size());
  std::vector<std::int32_t> pos(focal.size());
  for (std::size_t k = 0; k < focal.size(); ++k) {
    const std::int32_t a = focal[k];
    if (a < 1 || a > n)
      fatal("Focal animal " + num(a) + " is not in the pedigree (animals 1 to " + num(n) + ")");
    pos[k] = perm[static_cast<std::size_t>(a)];
  }
  std::vector<std::int32_t> row_of;
  const detail::sub_pedigree sub = detail::make_subset(n, ped_sorted, inb_sorted, groups, pos, row_of);
  std::vector<std::int32_t> rows(focal.size());
  for (std::size_t k = 0; k < focal.size(); ++k) rows[k] = row_of[static_cast<std::size_t>(pos[k])];
  std::vector<std::int32_t> order(focal.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::int32_t a, std::int32_t b) {
    return rows[static_cast<std::size_t>(a)] < rows[static_cast<std::size_t>(b)];
  });

  linalg::dense_matrix a_focal(m, m);
  const std::int32_t nblock = (m + lanes - 1) / lanes;
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  progress shown("relationships of the focal animals", nblock);
  std::atomic<long long> blocks_done{0};
#pragma omp parallel num_threads(threads)
  {
    detail::block_workspace<lanes> ws(sub);
    std::vector<std::int32_t> cols;
#pragma omp for schedule(dynamic, 1)
    for (std::int32_t b = 0; b < nblock; ++b) {
      const std::int32_t t0 = b * lanes, t1 = std::min(m, t0 + lanes);
      cols.clear();
      for (std::int32_t t = t0; t < t1; ++t)
        cols.push_back(rows[static_cast<std::size_t>(order[static_cast<std::size_t>(t)])]);
      detail::block_product<lanes>(sub, cols, 0, ws);
      for (std::int32_t t = t0; t < t1; ++t) {
        const std::int32_t j = order[static_cast<std::size_t>(t)];
        for (std::int32_t u = 0; u <= t; ++u) {
          const std::int32_t k = order[static_cast<std::size_t>(u)];
          const double v = ws.row(rows[static_cast<std::size_t>(k)])[t - t0];
          a_focal(k, j) = v;
          a_focal(j, k) = v;
        }
      }
      ws.clear();
      const long long now = ++blocks_done;
      if (omp_get_thread_num() == 0) shown.update(now);
    }
  }
  shown.finish();
  return a_focal;
}

}  // namespace ventrel::pedigree
