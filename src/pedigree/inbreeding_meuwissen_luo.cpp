// Inbreeding by Meuwissen and Luo (1992), with metafounders; longest ancestral paths.
#include <omp.h>

#include <algorithm>
#include <vector>

#include "common/console.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// The list of ancestors still to visit, the youngest (largest position) on top: a bitmap over
// the positions with one summary bit per word of it. Every position added is smaller than the
// last one taken off (parents precede progeny), so the search for the next one starts at that
// one's summary word and only moves down, with no state kept between visits; the bitmap of a
// 10^6-animal pedigree is 125 kB and stays in cache, where a heap of positions would be searched
// on every visit. A position may be marked again while in the list (nothing changes), and a
// traversal marks position 0 first as its end: 0 is below every animal, so it comes out last
// and no count is kept.
class youngest_first {
 public:
  void reset(index_t n) {
    bits_.assign(static_cast<std::size_t>(n) / 64 + 1, 0);
    summary_.assign(bits_.size() / 64 + 1, 0);
  }
  void mark(index_t p) {
    const std::size_t w = static_cast<std::size_t>(p) >> 6;
    bits_[w] |= std::uint64_t{1} << (p & 63);
    summary_[w >> 6] |= std::uint64_t{1} << (w & 63);
  }
  void remove(index_t p) {
    const std::size_t w = static_cast<std::size_t>(p) >> 6;
    bits_[w] &= ~(std::uint64_t{1} << (p & 63));
    summary_[w >> 6] &= ~(std::uint64_t{bits_[w] == 0} << (w & 63));
  }
  // The largest position in the list when none is above the summary word of `from` (position 0
  // is marked, so there is one).
  index_t largest(index_t from) const {
    std::size_t s = static_cast<std::size_t>(from) >> 12;
    while (summary_[s] == 0) --s;
    const std::size_t w = (s << 6) + static_cast<std::size_t>(63 - __builtin_clzll(summary_[s]));
    return static_cast<index_t>((w << 6) + static_cast<std::size_t>(63 - __builtin_clzll(bits_[w])));
  }

 private:
  std::vector<std::uint64_t> bits_;     // bit p: position p is in the list
  std::vector<std::uint64_t> summary_;  // bit w: word w of bits_ is not zero
};

// What the traversal reads of each ancestor, in one place so that a visit touches one line of
// memory: its parents and its within-family variance D.
struct node {
  index_t sire = 0;
  index_t dam = 0;
  double d = 0.0;
};

// One thread's workspace: the fractions of the ancestors in the list (0 = not in it), the list,
// and the fractions of genes from each metafounder.
struct workspace {
  std::vector<double> lrow;
  youngest_first list;
  std::vector<double> t;
  std::vector<index_t> t_used;
};

}  // namespace

// Meuwissen and Luo (1992). Row i of L (A = L D L', L lower triangular with unit diagonal) holds
// the fractions of genes that animal i has from each ancestor; F(i) = sum_j L(i,j)^2 D(j) - 1.
// The row is built by visiting the ancestors from the youngest down: the youngest ancestor in
// the list (largest position) has its fraction complete, adds
// L(i,j)^2 D(j) and passes half its fraction to each of its parents. D(i) = 1 - (a(s) + a(d))/4
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
  lap = {};

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
  std::vector<node> nodes(un + 1);
  bool codes_above_n = false;  // groups, or codes that count as unknown parents
  for (std::size_t i = 1; i <= un; ++i) {
    nodes[static_cast<std::size_t>(at[i])] = {moved(ped[i].sire), moved(ped[i].dam), 0.0};
    codes_above_n = codes_above_n || ped[i].sire > n || ped[i].dam > n;
  }

  const int threads = std::max(1, nthreads);
  std::vector<workspace> work(static_cast<std::size_t>(threads));
  for (workspace& w : work) {
    w.lrow.assign(un + 1, 0.0);
    w.t.assign(static_cast<std::size_t>(groups.nupg) + 1, 0.0);
    w.list.reset(n);
  }

  // An ancestor is marked in the list at every fraction it receives, and unknown parents (0, or
  // a group above n without metafounders) fall on position 0, which ends the list: fewer
  // branches to mispredict than a test of each fraction. The list is searched once a visit: the
  // top left after taking an ancestor off, found before its parents are marked, is the next one
  // unless a parent is younger, and the fractions of its parents are fetched meanwhile.
  auto row = [&]<bool MF, bool GROUPS>(workspace& w, index_t i) {
    auto add = [&](index_t p, double v) __attribute__((always_inline)) -> index_t {
      if (MF && p > n) {
        const std::size_t k = static_cast<std::size_t>(p - n);
        if (w.t[k] == 0.0) w.t_used.push_back(p - n);
        w.t[k] += v;
        return 0;
      }
      const index_t q = GROUPS && p > n ? 0 : p;
      w.lrow[static_cast<std::size_t>(q)] += v;
      w.list.mark(q);
      // The ancestor is visited later: its parents and D are read then.
      __builtin_prefetch(&nodes[static_cast<std::size_t>(q)]);
      return q;
    };
    const node& me = nodes[static_cast<std::size_t>(i)];
    double sum = me.d;
    w.list.mark(0);
    const index_t ms = add(me.sire, 0.5), md = add(me.dam, 0.5);  // in this order, as in the loop
    index_t j = std::max(ms, md);
    while (j != 0) {
      w.list.remove(j);
      const index_t after = w.list.largest(j);
      {
        const node& nk = nodes[static_cast<std::size_t>(after)];
        __builtin_prefetch(&w.lrow[static_cast<std::size_t>(GROUPS && nk.sire > n ? 0 : nk.sire)]);
        __builtin_prefetch(&w.lrow[static_cast<std::size_t>(GROUPS && nk.dam > n ? 0 : nk.dam)]);
      }
      double& lj = w.lrow[static_cast<std::size_t>(j)];
      const double l = lj;
      lj = 0.0;
      const node& nj = nodes[static_cast<std::size_t>(j)];
      sum += l * l * nj.d;
      const index_t qs = add(nj.sire, 0.5 * l), qd = add(nj.dam, 0.5 * l);
      j = std::max(after, std::max(qs, qd));
    }
    w.list.remove(0);
    w.lrow[0] = 0.0;
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
  auto row_of = [&](workspace& w, index_t i) {
    if (mf) return row.template operator()<true, true>(w, i);
    if (codes_above_n) return row.template operator()<false, true>(w, i);
    return row.template operator()<false, false>(w, i);
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
          row_of(work[static_cast<std::size_t>(omp_get_thread_num())], at[static_cast<std::size_t>(i)]);
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
