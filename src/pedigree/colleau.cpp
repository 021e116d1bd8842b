// Colleau's product y = A x: a backward pass q = T' x and a forward pass y = T D q.
#include "pedigree/colleau.hpp"

#include <algorithm>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::pedigree {

// A = T D T' with T the gene paths from ancestors to descendants and D the Mendelian sampling
// variances. Backward, i = n..1: q(i) += x(i), q(parent) += q(i)/2 for each animal parent.
// Forward, i = 1..n: y(i) = (sum of the animal parents' y)/2 + 0.25 (c - inb(s) - inb(d)) q(i).
void nrm_times_vector(std::int32_t n, const pedigree_table& ped_sorted, std::span<const double> inb_sorted,
                      std::span<double> y, std::span<const double> x, std::span<double> q) {
  const std::size_t un = static_cast<std::size_t>(n);
  std::fill(q.begin(), q.begin() + static_cast<std::ptrdiff_t>(un) + 1, 0.0);
  for (std::size_t i = un; i >= 1; --i) {
    q[i] += x[i];
    const parents& p = ped_sorted[i];
    if (p.sire >= 1 && p.sire <= n) q[static_cast<std::size_t>(p.sire)] += 0.5 * q[i];
    if (p.dam >= 1 && p.dam <= n) q[static_cast<std::size_t>(p.dam)] += 0.5 * q[i];
  }
  for (std::size_t i = 1; i <= un; ++i) {
    const parents& p = ped_sorted[i];
    double a = 0.0;
    for (std::int32_t par : {p.sire, p.dam})
      if (par >= 1 && par <= n) a += y[static_cast<std::size_t>(par)];
    y[i] = 0.5 * a + mendelian_variance(parent_self_relationship(p.sire, n, inb_sorted),
                                        parent_self_relationship(p.dam, n, inb_sorted)) *
                         q[i];
  }
}

// With metafounders the augmented relationship matrix is T [D 0; 0 Gamma] T' over animals and
// metafounders: the backward pass carries q up to the metafounders too, they take
// y(meta) = Gamma q(meta), and the forward pass runs as before with the metafounders as known
// parents, an animal's Mendelian sampling variance being 1 - (a(s) + a(d))/4 with a = 1 + F for
// an animal, Gamma(k,k) for a metafounder and 0 for an unknown parent.
void nrm_times_vector_mf(std::int32_t n, const pedigree_table& ped_sorted, std::span<const double> inb_sorted,
                         const group_info& groups, std::span<double> y, std::span<const double> x,
                         std::span<double> q) {
  const std::int32_t k = groups.nupg;
  if (groups.gamma.size() != static_cast<std::size_t>(k) * static_cast<std::size_t>(k))
    fatal("The metafounders' relationship matrix Gamma must be of order " + std::to_string(k));
  const std::size_t un = static_cast<std::size_t>(n), top = un + static_cast<std::size_t>(k);
  std::fill(q.begin(), q.begin() + static_cast<std::ptrdiff_t>(top) + 1, 0.0);
  for (std::size_t i = un + 1; i <= top; ++i) q[i] = x[i];
  for (std::size_t i = un; i >= 1; --i) {
    q[i] += x[i];
    const parents& p = ped_sorted[i];
    if (p.sire != 0) q[static_cast<std::size_t>(p.sire)] += 0.5 * q[i];
    if (p.dam != 0) q[static_cast<std::size_t>(p.dam)] += 0.5 * q[i];
  }
  for (std::int32_t a = 1; a <= k; ++a) {
    double s = 0.0;
    for (std::int32_t b = 1; b <= k; ++b) s += groups.gamma_at(a, b) * q[un + static_cast<std::size_t>(b)];
    y[un + static_cast<std::size_t>(a)] = s;
  }
  auto self = [&](std::int32_t c) -> double {
    if (c == 0) return 0.0;
    if (c > n) return groups.gamma_at(c - n, c - n);
    return 1.0 + inb_sorted[static_cast<std::size_t>(c)];
  };
  for (std::size_t i = 1; i <= un; ++i) {
    const parents& p = ped_sorted[i];
    const double ys = p.sire != 0 ? y[static_cast<std::size_t>(p.sire)] : 0.0;
    const double yd = p.dam != 0 ? y[static_cast<std::size_t>(p.dam)] : 0.0;
    y[i] = 0.5 * (ys + yd) + mendelian_variance(self(p.sire), self(p.dam)) * q[i];
  }
}

}  // namespace ventrel::pedigree
