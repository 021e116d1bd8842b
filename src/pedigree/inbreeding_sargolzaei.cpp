// Inbreeding by Sargolzaei and Iwaisaki's modification of Meuwissen and Luo.
#include <algorithm>
#include <vector>

#include "common/console.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// Longest ancestral path of each position: 1 for an animal without known parents, else 1 + the
// larger of its parents'. Size n+1.
std::vector<index_t> ancestral_paths(const pedigree_table& ped, index_t n) {
  std::vector<index_t> lap(static_cast<std::size_t>(n) + 1, 0);
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    index_t g = 0;
    if (p.sire >= 1 && p.sire <= n) g = std::max(g, lap[static_cast<std::size_t>(p.sire)]);
    if (p.dam >= 1 && p.dam <= n) g = std::max(g, lap[static_cast<std::size_t>(p.dam)]);
    lap[static_cast<std::size_t>(i)] = g + 1;
  }
  return lap;
}

}  // namespace

// Meuwissen and Luo's rows of L, with the ancestors kept in buckets by longest ancestral path
// (LAP) instead of a list searched for the youngest: an ancestor's descendants all have larger
// LAPs, so emptying the buckets from the animal's LAP down visits every ancestor after all of
// its descendants in the list, and the fractions are complete when read.
// F(i) = sum_j L(i,j)^2 D(j) + D(i) - 1, D(i) = 0.5 - (F(s) + F(d))/4 (0.75 - F/4 with one parent
// known). An animal with the same parents as the previous one takes its coefficient.
// Cost: the number of ancestors of each animal, no search.
void inbreeding_sargolzaei_iwaisaki(const pedigree_table& ped, index_t n, std::vector<double>& f) {
  const std::size_t un = static_cast<std::size_t>(n);
  f.assign(un + 1, 0.0);
  const std::vector<index_t> lap = ancestral_paths(ped, n);
  index_t max_lap = 0;
  for (index_t g : lap) max_lap = g > max_lap ? g : max_lap;
  std::vector<std::vector<index_t>> bucket(static_cast<std::size_t>(max_lap) + 1);
  std::vector<double> dvar(un + 1, 0.0);
  std::vector<double> lrow(un + 1, 0.0);
  auto add = [&](index_t p, double v) __attribute__((always_inline)) {
    if (p == 0) return;
    double& l = lrow[static_cast<std::size_t>(p)];
    if (l == 0.0) bucket[static_cast<std::size_t>(lap[static_cast<std::size_t>(p)])].push_back(p);
    l += v;
  };
  progress shown("inbreeding (Sargolzaei and Iwaisaki)", n);
  for (index_t i = 1; i <= n; ++i) {
    if ((i & 4095) == 0) shown.update(i);
    const parents& p = ped[static_cast<std::size_t>(i)];
    dvar[static_cast<std::size_t>(i)] =
        mendelian_variance(parent_self_relationship(p.sire, n, f), parent_self_relationship(p.dam, n, f));
    if (p.sire == 0 || p.dam == 0) continue;
    if (i > 1 && p.sire == ped[static_cast<std::size_t>(i) - 1].sire &&
        p.dam == ped[static_cast<std::size_t>(i) - 1].dam) {
      f[static_cast<std::size_t>(i)] = f[static_cast<std::size_t>(i) - 1];
      continue;
    }
    double sum = dvar[static_cast<std::size_t>(i)];
    add(p.sire, 0.5);
    add(p.dam, 0.5);
    for (index_t g = lap[static_cast<std::size_t>(i)] - 1; g >= 1; --g) {
      std::vector<index_t>& b = bucket[static_cast<std::size_t>(g)];
      for (std::size_t k = 0; k < b.size(); ++k) {  // parents go to lower buckets only
        const index_t j = b[k];
        double& lj = lrow[static_cast<std::size_t>(j)];
        const double l = lj;
        lj = 0.0;
        sum += l * l * dvar[static_cast<std::size_t>(j)];
        const parents& pj = ped[static_cast<std::size_t>(j)];
        add(pj.sire, 0.5 * l);
        add(pj.dam, 0.5 * l);
      }
      b.clear();
    }
    f[static_cast<std::size_t>(i)] = sum - 1.0;
  }
}

}  // namespace ventrel::pedigree::detail
