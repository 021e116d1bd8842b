// A(rows, cols) by blocks of Colleau products.
#include "pedigree/relationship_block.hpp"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <string>
#include <vector>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "pedigree/colleau_block.hpp"

namespace ventrel::pedigree {
namespace {

constexpr int lanes = 8;  // columns per pass

std::vector<std::int32_t> positions(std::int32_t n, std::span<const std::int32_t> animals,
                                    std::span<const std::int32_t> perm, std::string_view what) {
  std::vector<std::int32_t> pos(animals.size());
  for (std::size_t k = 0; k < animals.size(); ++k) {
    const std::int32_t a = animals[k];
    if (a < 1 || a > n)
      fatal(std::string(what) + " " + num(a) + " is not in the pedigree (animals 1 to " + num(n) + ")");
    pos[k] = perm[static_cast<std::size_t>(a)];
  }
  return pos;
}

}  // namespace

// Column j is A e(c_j) on the sub-pedigree of all the animals named and their ancestors, computed
// up to the last row of `rows`; the columns go in row order, so that each pass starts as low as
// its columns allow.
linalg::dense_matrix relationship_block(std::int32_t n, const pedigree_table& ped_sorted,
                                        std::span<const double> inb_sorted, std::span<const std::int32_t> perm,
                                        const group_info& groups, std::span<const std::int32_t> rows,
                                        std::span<const std::int32_t> cols, std::string_view what,
                                        std::string_view label, int nthreads) {
  const std::vector<std::int32_t> row_pos = positions(n, rows, perm, what);
  const std::vector<std::int32_t> col_pos = positions(n, cols, perm, what);
  std::vector<std::int32_t> all(row_pos);
  all.insert(all.end(), col_pos.begin(), col_pos.end());
  std::vector<std::int32_t> row_of;
  const detail::sub_pedigree sub = detail::make_subset(n, ped_sorted, inb_sorted, groups, all, row_of);
  std::vector<std::int32_t> rrow(rows.size()), crow(cols.size());
  for (std::size_t k = 0; k < rows.size(); ++k) rrow[k] = row_of[static_cast<std::size_t>(row_pos[k])];
  for (std::size_t k = 0; k < cols.size(); ++k) crow[k] = row_of[static_cast<std::size_t>(col_pos[k])];
  const std::int32_t top = rrow.empty() ? 0 : *std::max_element(rrow.begin(), rrow.end());
  std::vector<std::int32_t> order(cols.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::int32_t a, std::int32_t b) {
    return crow[static_cast<std::size_t>(a)] < crow[static_cast<std::size_t>(b)];
  });

  const std::int32_t nr = static_cast<std::int32_t>(rows.size()), nc = static_cast<std::int32_t>(cols.size());
  linalg::dense_matrix out(nr, nc);
  const std::int32_t nblock = (nc + lanes - 1) / lanes;
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  progress shown(label, nblock);
  std::atomic<long long> blocks_done{0};
#pragma omp parallel num_threads(threads)
  {
    detail::block_workspace<lanes> ws(sub);
    std::vector<std::int32_t> lane_rows;
#pragma omp for schedule(dynamic, 1)
    for (std::int32_t b = 0; b < nblock; ++b) {
      const std::int32_t t0 = b * lanes, t1 = std::min(nc, t0 + lanes);
      lane_rows.clear();
      for (std::int32_t t = t0; t < t1; ++t)
        lane_rows.push_back(crow[static_cast<std::size_t>(order[static_cast<std::size_t>(t)])]);
      detail::block_product<lanes>(sub, lane_rows, top, ws);
      for (std::int32_t t = t0; t < t1; ++t) {
        const std::int32_t j = order[static_cast<std::size_t>(t)];
        for (std::int32_t i = 0; i < nr; ++i) out(i, j) = ws.row(rrow[static_cast<std::size_t>(i)])[t - t0];
      }
      ws.clear();
      const long long now = ++blocks_done;
      if (omp_get_thread_num() == 0) shown.update(now);
    }
  }
  shown.finish();
  return out;
}

}  // namespace ventrel::pedigree
