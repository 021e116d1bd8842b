// The sub-pedigree of some animals and all their ancestors, on which the block products run.
#include <algorithm>

#include "pedigree/colleau_block.hpp"

namespace ventrel::pedigree::detail {

sub_pedigree make_subset(std::int32_t n, const pedigree_table& ped, std::span<const double> inb,
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
  sub_pedigree s;
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
      s.d[r] = mendelian_variance(self(p.sire), self(p.dam));
    } else {
      s.d[r] = mendelian_variance(parent_self_relationship(p.sire, n, inb), parent_self_relationship(p.dam, n, inb));
    }
  }
  return s;
}

}  // namespace ventrel::pedigree::detail
