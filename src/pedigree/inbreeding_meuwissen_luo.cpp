// Inbreeding by Meuwissen and Luo (1992), with metafounders; longest ancestral paths.
#include <algorithm>
#include <vector>

#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// The list of ancestors still to visit, handing out the youngest (largest position) first. Since
// every position added is smaller than the last one handed out (parents precede progeny), a
// radix heap serves: entries sit in buckets by the highest bit in which they differ from the last
// position handed out, and a bucket is split only when everything below it is empty, so each
// entry moves a few times at most. Cost O(log n) per entry at worst, about O(1) in practice.
class youngest_first {
 public:
  bool empty() const { return size_ == 0; }
  void push(index_t p) {
    if (size_ == 0) last_ = 0;  // a new list: any position may follow
    bucket_[bucket_of(key(p))].push_back(key(p));
    ++size_;
  }
  index_t pop() {
    if (bucket_[0].empty()) {
      std::size_t b = 1;
      while (bucket_[b].empty()) ++b;
      last_ = *std::min_element(bucket_[b].begin(), bucket_[b].end());
      for (std::uint32_t k : bucket_[b]) bucket_[bucket_of(k)].push_back(k);
      bucket_[b].clear();
    }
    const std::uint32_t k = bucket_[0].back();
    bucket_[0].pop_back();
    --size_;
    return static_cast<index_t>(~k);
  }

 private:
  static std::uint32_t key(index_t p) { return ~static_cast<std::uint32_t>(p); }  // smallest = youngest
  std::size_t bucket_of(std::uint32_t k) const {
    return k == last_ ? 0 : static_cast<std::size_t>(32 - __builtin_clz(k ^ last_));
  }
  std::vector<std::uint32_t> bucket_[33];
  std::uint32_t last_ = 0;
  std::size_t size_ = 0;
};

}  // namespace

// Meuwissen and Luo (1992). Row i of L (A = L D L', L lower triangular with unit diagonal) holds
// the fractions of genes that animal i has from each ancestor; F(i) = sum_j L(i,j)^2 D(j) - 1.
// The row is built by visiting the ancestors from the youngest down: the youngest ancestor in
// the list (largest position, from a radix heap) has its fraction complete, adds
// L(i,j)^2 D(j) and passes half its fraction to each of its parents. D(i) = 1 - (a(s) + a(d))/4
// with a = 1 + F for an animal parent, 0 for an unknown one. An animal with the same parents as
// the previous one (a full sib) takes its coefficient.
// Metafounders enter as ancestors that are not traced further: with t(k) the fraction of genes
// from metafounder k, F(i) = sum_j L(i,j)^2 D(j) + t' Gamma t - 1, and a(k) = Gamma(k,k).
// Cost: the number of ancestors of each animal times the log of the list's length.
void inbreeding_meuwissen_luo(const pedigree_table& ped, index_t n, const group_info& groups,
                              std::vector<double>& f) {
  const bool mf = groups.metafounders();
  const std::size_t un = static_cast<std::size_t>(n);
  f.assign(un + static_cast<std::size_t>(groups.nupg) + 1, 0.0);
  std::vector<double> dvar(un + 1, 0.0);
  std::vector<double> lrow(un + 1, 0.0);  // fractions of the ancestors in the list; 0 = not in it
  youngest_first list;
  std::vector<double> t(static_cast<std::size_t>(groups.nupg) + 1, 0.0);
  std::vector<index_t> t_used;
  auto self_rel = [&](index_t p) -> double {  // A(p,p), 0 for an unknown parent
    if (p == 0) return 0.0;
    if (p > n) return gamma_of(groups, n, p, p);
    return 1.0 + f[static_cast<std::size_t>(p)];
  };
  auto add = [&](index_t p, double v) {
    if (p == 0) return;
    if (p > n) {
      const std::size_t k = static_cast<std::size_t>(p - n);
      if (t[k] == 0.0) t_used.push_back(p - n);
      t[k] += v;
      return;
    }
    double& l = lrow[static_cast<std::size_t>(p)];
    if (l == 0.0) list.push(p);
    l += v;
  };
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    dvar[static_cast<std::size_t>(i)] = 1.0 - 0.25 * (self_rel(p.sire) + self_rel(p.dam));
    if (p.sire == 0 || p.dam == 0) continue;  // F = 0
    if (i > 1 && p.sire == ped[static_cast<std::size_t>(i) - 1].sire &&
        p.dam == ped[static_cast<std::size_t>(i) - 1].dam) {
      f[static_cast<std::size_t>(i)] = f[static_cast<std::size_t>(i) - 1];
      continue;
    }
    if (p.sire > n && p.dam > n) {
      f[static_cast<std::size_t>(i)] = 0.5 * gamma_of(groups, n, p.sire, p.dam);
      continue;
    }
    double sum = dvar[static_cast<std::size_t>(i)];
    add(p.sire, 0.5);
    add(p.dam, 0.5);
    while (!list.empty()) {
      const index_t j = list.pop();
      double& lj = lrow[static_cast<std::size_t>(j)];
      const double l = lj;
      lj = 0.0;
      sum += l * l * dvar[static_cast<std::size_t>(j)];
      const parents& pj = ped[static_cast<std::size_t>(j)];
      add(pj.sire, 0.5 * l);
      add(pj.dam, 0.5 * l);
    }
    if (mf && !t_used.empty()) {
      double q = 0.0;
      for (index_t a : t_used)
        for (index_t b : t_used)
          q += t[static_cast<std::size_t>(a)] * t[static_cast<std::size_t>(b)] * groups.gamma_at(a, b);
      sum += q;
      for (index_t a : t_used) t[static_cast<std::size_t>(a)] = 0.0;
      t_used.clear();
    }
    f[static_cast<std::size_t>(i)] = sum - 1.0;
  }
}

}  // namespace ventrel::pedigree::detail
