// Meuwissen and Luo's row of L for one animal, the inner loop of inbreeding methods 1 and 6.
// Internal to the pedigree folder.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace ventrel::pedigree::detail {

// What a visit reads of an ancestor, in one place so that it touches one line of memory: its
// parents, the longest ancestral paths that file them, and its within-family variance D. A
// parent is 0 (unknown, or a group that is an unknown parent) with length 0, an ancestor with its
// path length (1 for a founder), or metafounder k with length -1 and k as the parent.
struct trace_node {
  std::int32_t sire = 0;
  std::int32_t dam = 0;
  std::int32_t sire_length = 0;
  std::int32_t dam_length = 0;
  double d = 0.0;
};

// Where each path length's stretch of a trace's slots begins, from the number of ancestors of
// each length (count[0] is that of length 0, the unknown parent, and should be 1): each stretch
// is one place longer than its count, as a filing writes one place past what it has filed.
inline std::vector<std::size_t> trace_layout(const std::vector<std::size_t>& count) {
  std::vector<std::size_t> first(count.size() + 1, 0);
  for (std::size_t g = 0; g < count.size(); ++g) first[g + 1] = first[g] + count[g] + 1;
  return first;
}

// One thread's workspace for the rows of L of many animals over one array of nodes (index 0 the
// unknown parent). Every descendant of an ancestor has a longer ancestral path than it, so the
// ancestors are visited by path length, the longest first, and within one length in the order
// they were reached: an ancestor's fraction is complete when it is visited, as in the published
// list of ancestors, with no sorted list to search. An ancestor is filed at every fraction it
// receives, in the place after the last one of its length, but that place is kept only at its
// first fraction: no branch to mispredict. The ancestors of one length are all known before the
// first of them is visited, so their nodes, and the fractions of their parents, are fetched a
// few visits ahead. The sums of a row do not depend on what the workspace traced before.
template <bool Metafounders>
class ancestor_trace {
 public:
  // nodes: size m+1; first: trace_layout of the numbers of nodes of each path length; gamma:
  // nmf x nmf, column-major, the metafounders' relationships (Metafounders only).
  ancestor_trace(std::span<const trace_node> nodes, std::vector<std::size_t> first,
                 std::span<const double> gamma, std::int32_t nmf)
      : nodes_(nodes), first_(std::move(first)), gamma_(gamma), nmf_(nmf), lrow_(nodes.size(), 0.0),
        slots_(first_.back(), 0), top_(first_.size() - 1), t_(static_cast<std::size_t>(nmf) + 1, 0.0) {
    for (std::size_t g = 0; g + 1 < first_.size(); ++g) top_[g] = slots_.data() + first_[g];
  }

  // F of an animal with Mendelian variance d and the parents given as in a node (the path
  // lengths of the parents at most those that the layout counts):
  // d + sum_j L(i,j)^2 D(j) + t' Gamma t - 1 over its ancestors j and metafounder fractions t.
  double inbreeding(double d, std::int32_t sire, std::int32_t sire_length, std::int32_t dam,
                    std::int32_t dam_length) {
    constexpr std::ptrdiff_t node_ahead = 8, parents_ahead = 4;
    const trace_node* const nodes = nodes_.data();
    double* const lrow = lrow_.data();
    std::int32_t** const top = top_.data();
    auto add = [&](std::int32_t p, std::int32_t length, double v) __attribute__((always_inline)) {
      if (Metafounders && length < 0) {
        const std::size_t k = static_cast<std::size_t>(p);
        if (t_[k] == 0.0) t_used_.push_back(p);
        t_[k] += v;
        return;
      }
      const std::size_t q = static_cast<std::size_t>(p);
      const double before = lrow[q];
      std::int32_t*& end = top[static_cast<std::size_t>(length)];
      *end = p;
      end += before == 0.0;
      lrow[q] = before + v;
    };
    double sum = d;
    add(sire, sire_length, 0.5);
    add(dam, dam_length, 0.5);
    for (std::size_t g = static_cast<std::size_t>(std::max(sire_length, dam_length)); g >= 1; --g) {
      std::int32_t* const begin = slots_.data() + first_[g];
      const std::int32_t* const end = top[g];  // parents have shorter paths: nothing is filed here now
      for (const std::int32_t* k = begin; k < end; ++k) {
        if (end - k > node_ahead) __builtin_prefetch(&nodes[k[node_ahead]]);
        if (end - k > parents_ahead) {
          const trace_node& ahead = nodes[k[parents_ahead]];
          __builtin_prefetch(&lrow[Metafounders && ahead.sire_length < 0 ? 0 : ahead.sire]);
          __builtin_prefetch(&lrow[Metafounders && ahead.dam_length < 0 ? 0 : ahead.dam]);
        }
        const std::size_t j = static_cast<std::size_t>(*k);
        const double l = lrow[j];
        lrow[j] = 0.0;
        const trace_node& nj = nodes[j];
        sum += l * l * nj.d;
        add(nj.sire, nj.sire_length, 0.5 * l);
        add(nj.dam, nj.dam_length, 0.5 * l);
      }
      top[g] = begin;
    }
    top[0] = slots_.data();
    lrow[0] = 0.0;
    if (Metafounders && !t_used_.empty()) {
      const std::size_t nmf = static_cast<std::size_t>(nmf_);
      double q = 0.0;
      for (std::int32_t a : t_used_)
        for (std::int32_t b : t_used_)
          q += t_[static_cast<std::size_t>(a)] * t_[static_cast<std::size_t>(b)] *
               gamma_[static_cast<std::size_t>(a - 1) + static_cast<std::size_t>(b - 1) * nmf];
      sum += q;
      for (std::int32_t a : t_used_) t_[static_cast<std::size_t>(a)] = 0.0;
      t_used_.clear();
    }
    return sum - 1.0;
  }

 private:
  std::span<const trace_node> nodes_;
  std::vector<std::size_t> first_;    // trace_layout: where each path length's stretch begins
  std::span<const double> gamma_;
  std::int32_t nmf_;
  std::vector<double> lrow_;          // fraction of each ancestor still to visit (0 = none yet)
  std::vector<std::int32_t> slots_;   // the ancestors still to visit, filed by path length
  std::vector<std::int32_t*> top_;    // end of what is filed of each length
  std::vector<double> t_;             // fraction of genes from each metafounder
  std::vector<std::int32_t> t_used_;  // the metafounders with a fraction
};

}  // namespace ventrel::pedigree::detail
