// Inbreeding by Meuwissen and Luo (1992), with metafounders; longest ancestral paths.
#include <omp.h>

#include <algorithm>
#include <vector>

#include "common/console.hpp"
#include "pedigree/ancestor_trace.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {

// Meuwissen and Luo (1992). Row i of L (A = L D L', L lower triangular with unit diagonal) holds
// the fractions of genes that animal i has from each ancestor; F(i) = sum_j L(i,j)^2 D(j) - 1.
// The row is built by visiting the ancestors from the youngest down (ancestor_trace): an
// ancestor whose descendants in the ancestry have all been visited has its fraction complete,
// adds L(i,j)^2 D(j) and passes half its fraction to each of its parents. D(i) = 1 - (a(s) + a(d))/4
// with a = 1 + F for an animal parent, 0 for an unknown one. An animal with the same parents as
// the previous one (a full sib) takes its coefficient.
// Metafounders enter as ancestors that are not traced further: with t(k) the fraction of genes
// from metafounder k, F(i) = sum_j L(i,j)^2 D(j) + t' Gamma t - 1, and a(k) = Gamma(k,k).
// Each animal's row needs only the coefficients of its ancestors, so the animals are taken by
// longest ancestral path, those of one path length at a time on several threads (one workspace
// each); every coefficient is summed in the same order whatever the number of threads.
// Cost: the number of ancestors of each animal.
void inbreeding_meuwissen_luo(const pedigree_table& ped, index_t n, const group_info& groups,
                              std::vector<double>& f, int nthreads) {
  const bool mf = groups.metafounders();
  const std::size_t un = static_cast<std::size_t>(n);
  f.assign(un + static_cast<std::size_t>(groups.nupg) + 1, 0.0);
  auto self_rel = [&](index_t p) -> double {  // A(p,p), 0 for an unknown parent
    if (p == 0) return 0.0;
    if (p > n) return mf ? gamma_of(groups, n, p, p) : 0.0;  // a group without Gamma is unknown
    return 1.0 + f[static_cast<std::size_t>(p)];
  };
  auto full_sib = [&](index_t i) {  // same parents as the animal before it
    const std::size_t u = static_cast<std::size_t>(i);
    return i > 1 && ped[u].sire == ped[u - 1].sire && ped[u].dam == ped[u - 1].dam;
  };

  // The animals by longest ancestral path (parents above n do not count).
  std::vector<index_t> lap(un + 1, 0);
  index_t max_lap = 0;
  for (std::size_t i = 1; i <= un; ++i) {
    index_t g = 0;
    for (index_t p : {ped[i].sire, ped[i].dam})
      if (p >= 1 && p <= n) g = std::max(g, lap[static_cast<std::size_t>(p)]);
    lap[i] = g + 1;
    max_lap = std::max(max_lap, g + 1);
  }
  std::vector<std::size_t> start(static_cast<std::size_t>(max_lap) + 2, 0);
  for (std::size_t i = 1; i <= un; ++i) ++start[static_cast<std::size_t>(lap[i]) + 1];
  for (std::size_t g = 1; g < start.size(); ++g) start[g] += start[g - 1];
  std::vector<index_t> by_lap(un);
  {
    std::vector<std::size_t> next(start.begin(), start.end() - 1);
    for (std::size_t i = 1; i <= un; ++i) by_lap[next[static_cast<std::size_t>(lap[i])]++] = static_cast<index_t>(i);
  }

  // The traversal works on positions of its own: by path length, and within one length the
  // animals with most progeny first. Parents still precede progeny, and the sires that stand in
  // nearly every animal's ancestry sit together, so that most visits find them in cache.
  std::vector<index_t> progeny(un + 1, 0);
  for (std::size_t i = 1; i <= un; ++i)
    for (index_t p : {ped[i].sire, ped[i].dam})
      if (p >= 1 && p <= n) ++progeny[static_cast<std::size_t>(p)];
  std::vector<index_t> order(by_lap);
  for (std::size_t g = 1; g + 1 < start.size(); ++g)
    std::stable_sort(order.begin() + static_cast<std::ptrdiff_t>(start[g]),
                     order.begin() + static_cast<std::ptrdiff_t>(start[g + 1]), [&](index_t a, index_t b) {
                       return progeny[static_cast<std::size_t>(a)] > progeny[static_cast<std::size_t>(b)];
                     });
  progeny = {};
  std::vector<index_t> at(un + 1, 0);  // at[i]: the traversal's position of animal i
  for (std::size_t k = 0; k < un; ++k) at[static_cast<std::size_t>(order[k])] = static_cast<index_t>(k + 1);
  order = {};
  // The nodes of the traversal, at its positions; groups without metafounders are unknown parents.
  std::vector<trace_node> nodes(un + 1);
  auto parent = [&](index_t p, std::int32_t& code, std::int32_t& length) {
    if (p >= 1 && p <= n) {
      code = at[static_cast<std::size_t>(p)];
      length = lap[static_cast<std::size_t>(p)];
    } else if (p > n && mf) {
      code = p - n;
      length = -1;
    }
  };
  for (std::size_t i = 1; i <= un; ++i) {
    trace_node& x = nodes[static_cast<std::size_t>(at[i])];
    parent(ped[i].sire, x.sire, x.sire_length);
    parent(ped[i].dam, x.dam, x.dam_length);
  }
  std::vector<std::size_t> per_length(static_cast<std::size_t>(max_lap) + 1, 1);
  for (std::size_t g = 1; g <= static_cast<std::size_t>(max_lap); ++g) per_length[g] = start[g + 1] - start[g];
  const std::vector<std::size_t> first = trace_layout(per_length);

  // One workspace a thread, compiled with or without metafounders.
  const int threads = std::max(1, nthreads);
  std::vector<ancestor_trace<true>> with_mf;
  std::vector<ancestor_trace<false>> without_mf;
  for (int k = 0; k < threads; ++k) {
    if (mf)
      with_mf.emplace_back(nodes, first, groups.gamma, groups.nupg);
    else
      without_mf.emplace_back(nodes, first, groups.gamma, 0);
  }
  auto row = [&](index_t i) {
    const trace_node& me = nodes[static_cast<std::size_t>(at[static_cast<std::size_t>(i)])];
    const std::size_t k = static_cast<std::size_t>(omp_get_thread_num());
    return mf ? with_mf[k].inbreeding(me.d, me.sire, me.sire_length, me.dam, me.dam_length)
              : without_mf[k].inbreeding(me.d, me.sire, me.sire_length, me.dam, me.dam_length);
  };

  progress shown("inbreeding (Meuwissen and Luo)", n);
  for (index_t g = 1; g <= max_lap; ++g) {
    const std::size_t lo = start[static_cast<std::size_t>(g)], hi = start[static_cast<std::size_t>(g) + 1];
    const std::int64_t count = static_cast<std::int64_t>(hi - lo);
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16) if (count > 64)
    for (std::int64_t k = 0; k < count; ++k) {
      const index_t i = by_lap[lo + static_cast<std::size_t>(k)];
      const parents& pi = ped[static_cast<std::size_t>(i)];
      nodes[static_cast<std::size_t>(at[static_cast<std::size_t>(i)])].d =
          mendelian_variance(self_rel(pi.sire), self_rel(pi.dam));
      if (pi.sire == 0 || pi.dam == 0 || full_sib(i)) continue;  // F = 0, or a full sib's below
      if (pi.sire > n && pi.dam > n) {  // no ancestor to trace: 0.5 Gamma(s,d), or 0 for groups
        if (mf) f[static_cast<std::size_t>(i)] = 0.5 * gamma_of(groups, n, pi.sire, pi.dam);
        continue;
      }
      if (!mf && (pi.sire > n || pi.dam > n)) continue;  // a group without Gamma is an unknown parent
      f[static_cast<std::size_t>(i)] = row(i);
    }
    // A full sib has the same path length as the animal before it, so that one is done.
    for (std::size_t k = lo; k < hi; ++k) {
      const index_t i = by_lap[k];
      const parents& pi = ped[static_cast<std::size_t>(i)];
      if (pi.sire != 0 && pi.dam != 0 && full_sib(i))
        f[static_cast<std::size_t>(i)] = f[static_cast<std::size_t>(i) - 1];
    }
    shown.update(static_cast<long long>(hi));
  }
}

}  // namespace ventrel::pedigree::detail
