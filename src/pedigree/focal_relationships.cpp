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

// The focal animals' positions and all their ancestors, as rows of a sub-pedigree (metafounders
// first), with the Mendelian sampling variances that the product needs.
detail::sub_pedigree make_subset(std::int32_t n, const pedigree_table& ped, std::span<const double> inb,
                                 const group_info& groups, const std::vector<std::int32_t>& pos,
                                 std::vector<std::int32_t>& row_of) {
  const bool mf = groups.metafounders();
  const std::int32_t nmf = mf ? groups.nupg : 0;
  const std::size_t un = static_cast<std::size_t>(n);
  std::vector<char> keep(un + 1, 0);
  for (std::int32_t p : pos) keep[static_cast<std::size_t>(p)] = 1;
  for (std::size_t i = un; i >= 1; --i) {
    if (!keep[i]) continue;
    const parents& p = ped[i];
    if (p.sire >= 1 && p.sire <= n) keep[static_cast<std::size_t>(p.sire)] = 1;
    if (p.dam >= 1 && p.dam <= n) keep[static_cast<std::size_t>(p.dam)] = 1;
  }
  row_of.assign(un + 1, 0);
  detail::sub_pedigree s;
  s.nmf = nmf;
  std::int32_t m = nmf;
  for (std::size_t i = 1; i <= un; ++i)
    if (keep[i]) row_of[i] = ++m;
  s.m = m;
  s.par.assign(static_cast<std::size_t>(m) + 1, parents{});
  s.d.assign(static_cast<std::size_t>(m) + 1, 0.0);
  if (mf) s.gamma.assign(groups.gamma.begin(), groups.gamma.end());
  auto row = [&](std::int32_t c) -> std::int32_t {
    if (c >= 1 && c <= n) return row_of[static_cast<std::size_t>(c)];
    return mf && c > n ? c - n : 0;
  };
  for (std::size_t i = 1; i <= un; ++i) {
    if (!keep[i]) continue;
    const parents& p = ped[i];
    const std::size_t r = static_cast<std::size_t>(row_of[i]);
    s.par[r] = parents{row(p.sire), row(p.dam)};
    if (mf) {
      auto self = [&](std::int32_t c) -> double {
        if (c == 0) return 0.0;
        if (c > n) return groups.gamma_at(c - n, c - n);
        return 1.0 + inb[static_cast<std::size_t>(c)];
      };
      s.d[r] = 1.0 - 0.25 * (self(p.sire) + self(p.dam));
    } else {
      const double c = 2.0 + (p.sire < 1 || p.sire > n) + (p.dam < 1 || p.dam > n);
      s.d[r] = 0.25 * (c - inb[static_cast<std::size_t>(p.sire)] - inb[static_cast<std::size_t>(p.dam)]);
    }
  }
  return s;
}

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
  const detail::sub_pedigree sub = make_subset(n, ped_sorted, inb_sorted, groups, pos, row_of);
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
