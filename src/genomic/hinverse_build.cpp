// Assembling H-inverse.
#include "genomic/hinverse_build.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "sparse/convert_hash_ija.hpp"

namespace ventrel::genomic {

void add_pedigree_inverse(sparse::sparse_hashm& hashm, int nlev, std::int32_t n, const pedigree::pedigree_table& ped,
                          std::span<const double> inb) {
  for (std::int32_t i = 1; i <= n; ++i) {
    const pedigree::parents& p = ped[static_cast<std::size_t>(i)];
    std::array<std::pair<std::int32_t, double>, 3> t{};
    int k = 0;
    t[static_cast<std::size_t>(k++)] = {i, 1.0};
    for (std::int32_t par : {p.sire, p.dam})
      if (par >= 1 && par <= n) t[static_cast<std::size_t>(k++)] = {par, -0.5};
    const double d = pedigree::mendelian_variance(pedigree::parent_self_relationship(p.sire, n, inb),
                                                  pedigree::parent_self_relationship(p.dam, n, inb));
    if (!(d > 0.0))
      fatal({"Animal " + num(i) + " has a Mendelian sampling variance of " + num(d) +
                 ": the inbreeding coefficients of its parents are not valid",
             "A-inverse cannot be formed"});
    const double w = 1.0 / d;
    for (int u = 0; u < k; ++u)
      for (int v = 0; v < k; ++v) {
        const auto& a = t[static_cast<std::size_t>(u)];
        const auto& b = t[static_cast<std::size_t>(v)];
        if (a.first <= b.first) sparse::addm(w * a.second * b.second, a.first, b.first, hashm);
      }
  }
  for (int i = n + 1; i <= nlev; ++i) sparse::addm(1.0, i, i, hashm);
}

// Each row of the result is the union of the row of the sparse part (A-inverse and the focal
// pairs) and, for a genotyped level, the genotyped levels at or after it; a count pass sizes the
// arrays, a fill pass merges the two sorted column lists.
sparse::ija_matrix assemble_hinverse(int nlev, std::int32_t n, const pedigree::pedigree_table& ped,
                                     std::span<const double> inb, const genomic_block& block,
                                     const std::vector<std::vector<int>>& focal_sets) {
  if (n > nlev)
    fatal({"The pedigree holds " + num(n) + " animals, more than the " + num(nlev) + " levels of the animal effect",
           "H-inverse is of the order of the animal effect"});
  std::int64_t pairs = 0;
  for (const auto& s : focal_sets) pairs += static_cast<std::int64_t>(s.size()) * static_cast<std::int64_t>(s.size() + 1) / 2;
  sparse::sparse_hashm h;
  sparse::init(h, sparse::hash_capacity_for(std::max<std::int64_t>(4 * static_cast<std::int64_t>(nlev) + pairs, 16)),
               sparse::hash_storage::upper, nlev);
  add_pedigree_inverse(h, nlev, n, ped, inb);
  for (const auto& s : focal_sets)
    for (std::size_t a = 0; a < s.size(); ++a)
      for (std::size_t b = a; b < s.size(); ++b) sparse::addm(0.0, std::min(s[a], s[b]), std::max(s[a], s[b]), h);
  sparse::ija_matrix sp;
  sparse::convert_hash_ija(h, sp);
  h = sparse::sparse_hashm();

  // The genotyped levels in ascending order, with their rows of the block.
  const std::size_t ng = block.levels.size();
  std::vector<std::int32_t> order(ng);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](std::int32_t a, std::int32_t b) {
    return block.levels[static_cast<std::size_t>(a)] < block.levels[static_cast<std::size_t>(b)];
  });
  std::vector<std::int32_t> glev(ng);
  for (std::size_t k = 0; k < ng; ++k) glev[k] = block.levels[static_cast<std::size_t>(order[k])];
  for (std::size_t k = 0; k < ng; ++k)
    if (glev[k] < 1 || glev[k] > nlev || (k > 0 && glev[k] == glev[k - 1]))
      fatal({"Genotyped level " + num(glev[k]) + " is outside 1.." + num(nlev) + " or given twice"});
  std::vector<std::int32_t> gpos(static_cast<std::size_t>(nlev) + 1, -1);  // level -> index in glev
  for (std::size_t k = 0; k < ng; ++k) gpos[static_cast<std::size_t>(glev[k])] = static_cast<std::int32_t>(k);

  // Visits the merged row i: f(column, value).
  auto merge_row = [&](int i, auto&& f) {
    std::int64_t p = sp.ia[static_cast<std::size_t>(i - 1)] - 1;
    const std::int64_t pe = sp.ia[static_cast<std::size_t>(i)] - 1;
    const std::int32_t gi = gpos[static_cast<std::size_t>(i)];
    std::size_t q = gi < 0 ? ng : static_cast<std::size_t>(gi);
    const std::size_t ri = gi < 0 ? 0 : static_cast<std::size_t>(order[static_cast<std::size_t>(gi)]);
    while (p < pe || q < ng) {
      const int cp = p < pe ? sp.ja[static_cast<std::size_t>(p)] : std::numeric_limits<int>::max();
      const int cq = q < ng ? glev[q] : std::numeric_limits<int>::max();
      if (cp < cq) {
        f(cp, sp.a[static_cast<std::size_t>(p++)]);
      } else {
        const double x = block.x(static_cast<int>(ri), order[q]);
        if (cp == cq)
          f(cp, sp.a[static_cast<std::size_t>(p++)] + x);
        else
          f(cq, x);
        ++q;
      }
    }
  };

  sparse::ija_matrix out;
  out.n = nlev;
  out.ia.assign(static_cast<std::size_t>(nlev) + 1, 1);
  std::int64_t nz = 0;
  for (int i = 1; i <= nlev; ++i) {
    merge_row(i, [&](int, double) { ++nz; });
    if (nz > std::numeric_limits<int>::max() - 1)
      fatal({"H-inverse has more than 2^31 - 2 elements", "Too many genotyped animals for one sparse matrix"});
    out.ia[static_cast<std::size_t>(i)] = static_cast<int>(nz + 1);
  }
  out.ja.resize(static_cast<std::size_t>(nz));
  out.a.resize(static_cast<std::size_t>(nz));
#pragma omp parallel for schedule(dynamic, 256)
  for (int i = 1; i <= nlev; ++i) {
    std::size_t at = static_cast<std::size_t>(out.ia[static_cast<std::size_t>(i - 1)] - 1);
    merge_row(i, [&](int c, double v) {
      out.ja[at] = c;
      out.a[at++] = v;
    });
  }
  return out;
}

}  // namespace ventrel::genomic
