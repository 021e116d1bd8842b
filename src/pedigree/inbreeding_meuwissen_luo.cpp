// Inbreeding by Meuwissen and Luo (1992), with metafounders; longest ancestral paths.
#include <omp.h>

#include <algorithm>
#include <vector>

#include "common/console.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// What the traversal reads of each ancestor, in one place so that a visit touches one line of
// memory: its parents, the path lengths that file them, and its within-family variance D.
struct node {
  index_t sire = 0;
  index_t dam = 0;
  index_t sire_length = 0;  // longest ancestral path of the sire, 0 for an unknown parent
  index_t dam_length = 0;
  double d = 0.0;
};

// One thread's workspace: the fractions of the ancestors still to visit (0 = none yet); those
// ancestors, filed by path length in `slots`, where length g owns the stretch from `first[g]`
// (one place more than there are animals of that length) and `top[g]` is the end of what is
// filed; and the fractions of genes from each metafounder.
struct workspace {
  std::vector<double> lrow;
  std::vector<index_t> slots;
  std::vector<index_t*> top;
  std::vector<double> t;
  std::vector<index_t> t_used;
};

}  // namespace

// Meuwissen and Luo (1992). Row i of L (A = L D L', L lower triangular with unit diagonal) holds
// the fractions of genes that animal i has from each ancestor; F(i) = sum_j L(i,j)^2 D(j) - 1.
// The row is built by visiting the ancestors from the youngest down: an ancestor whose
// descendants in the ancestry have all been visited has its fraction complete, adds
// L(i,j)^2 D(j) and passes half its fraction to each of its parents. Every descendant of an
// ancestor has a longer ancestral path than it, so the ancestors are visited by path length, the
// longest first, and within one length in the order they were reached: the published list of
// ancestors in an order as good as its own, kept with no search. D(i) = 1 - (a(s) + a(d))/4
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
    if (p > n) return gamma_of(groups, n, p, p);
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
  auto moved = [&](index_t p) { return p >= 1 && p <= n ? at[static_cast<std::size_t>(p)] : p; };
  // Where each path length's stretch of a workspace's slots begins: one place for the unknown
  // parent (length 0) and the animals of each length, each stretch one place longer, as a
  // filing writes one place past the end of what it has filed whether it keeps it or not.
  std::vector<std::size_t> first(static_cast<std::size_t>(max_lap) + 1, 0);
  for (std::size_t g = 1; g <= static_cast<std::size_t>(max_lap); ++g) first[g] = start[g] + g + 1;
  std::vector<node> nodes(un + 1);
  bool codes_above_n = false;  // groups, or codes that count as unknown parents
  for (std::size_t i = 1; i <= un; ++i) {
    auto length = [&](index_t p) { return p >= 1 && p <= n ? lap[static_cast<std::size_t>(p)] : 0; };
    nodes[static_cast<std::size_t>(at[i])] = {moved(ped[i].sire), moved(ped[i].dam), length(ped[i].sire),
                                              length(ped[i].dam), 0.0};
    codes_above_n = codes_above_n || ped[i].sire > n || ped[i].dam > n;
  }

  const int threads = std::max(1, nthreads);
  std::vector<workspace> work(static_cast<std::size_t>(threads));
  for (workspace& w : work) {
    w.lrow.assign(un + 1, 0.0);
    w.t.assign(static_cast<std::size_t>(groups.nupg) + 1, 0.0);
    w.slots.assign(un + static_cast<std::size_t>(max_lap) + 2, 0);
    w.top.resize(first.size());
    for (std::size_t g = 0; g < first.size(); ++g) w.top[g] = w.slots.data() + first[g];
  }

  // An ancestor is filed at every fraction it receives, in the place after the last one of its
  // path length, but that place is kept only at its first fraction: no branch to mispredict.
  // Unknown parents (0, or a group above n without metafounders) fall on position 0, of length
  // 0, which is never visited. The ancestors of one length are known before the first of them is
  // visited, so their nodes, and the fractions of their parents, are fetched a few visits ahead.
  auto row = [&]<bool MF, bool GROUPS>(workspace& w, index_t i, index_t length) {
    constexpr std::ptrdiff_t node_ahead = 8, parents_ahead = 4;
    index_t** const top = w.top.data();
    double* const lrow = w.lrow.data();
    auto add = [&](index_t p, index_t g, double v) __attribute__((always_inline)) {
      if (MF && p > n) {
        const std::size_t k = static_cast<std::size_t>(p - n);
        if (w.t[k] == 0.0) w.t_used.push_back(p - n);
        w.t[k] += v;
        return;
      }
      const std::size_t q = static_cast<std::size_t>(GROUPS && p > n ? 0 : p);
      const double before = lrow[q];
      index_t*& end = top[static_cast<std::size_t>(g)];
      *end = static_cast<index_t>(q);
      end += before == 0.0;
      lrow[q] = before + v;
    };
    const node& me = nodes[static_cast<std::size_t>(i)];
    double sum = me.d;
    add(me.sire, me.sire_length, 0.5);
    add(me.dam, me.dam_length, 0.5);
    for (std::size_t g = static_cast<std::size_t>(length) - 1; g >= 1; --g) {
      index_t* const begin = w.slots.data() + first[g];
      const index_t* const end = top[g];  // parents have shorter paths: nothing is filed here now
      for (const index_t* k = begin; k < end; ++k) {
        if (end - k > node_ahead) __builtin_prefetch(&nodes[static_cast<std::size_t>(k[node_ahead])]);
        if (end - k > parents_ahead) {
          const node& ahead = nodes[static_cast<std::size_t>(k[parents_ahead])];
          __builtin_prefetch(&lrow[static_cast<std::size_t>(GROUPS && ahead.sire > n ? 0 : ahead.sire)]);
          __builtin_prefetch(&lrow[static_cast<std::size_t>(GROUPS && ahead.dam > n ? 0 : ahead.dam)]);
        }
        const std::size_t j = static_cast<std::size_t>(*k);
        const double l = lrow[j];
        lrow[j] = 0.0;
        const node& nj = nodes[j];
        sum += l * l * nj.d;
        add(nj.sire, nj.sire_length, 0.5 * l);
        add(nj.dam, nj.dam_length, 0.5 * l);
      }
      top[g] = begin;
    }
    top[0] = w.slots.data();
    lrow[0] = 0.0;
    if (MF && !w.t_used.empty()) {
      double q = 0.0;
      for (index_t a : w.t_used)
        for (index_t b : w.t_used)
          q += w.t[static_cast<std::size_t>(a)] * w.t[static_cast<std::size_t>(b)] * groups.gamma_at(a, b);
      sum += q;
      for (index_t a : w.t_used) w.t[static_cast<std::size_t>(a)] = 0.0;
      w.t_used.clear();
    }
    return sum - 1.0;
  };
  // The row compiled for each kind of pedigree, so that a visit tests nothing it need not:
  // with metafounders, with groups as unknown parents, with no parent above n (6% of the time).
  auto row_of = [&](workspace& w, index_t i, index_t length) {
    if (mf) return row.template operator()<true, true>(w, i, length);
    if (codes_above_n) return row.template operator()<false, true>(w, i, length);
    return row.template operator()<false, false>(w, i, length);
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
      if (pi.sire > n && pi.dam > n) {
        f[static_cast<std::size_t>(i)] = 0.5 * gamma_of(groups, n, pi.sire, pi.dam);
        continue;
      }
      f[static_cast<std::size_t>(i)] =
          row_of(work[static_cast<std::size_t>(omp_get_thread_num())], at[static_cast<std::size_t>(i)],
                 lap[static_cast<std::size_t>(i)]);
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
