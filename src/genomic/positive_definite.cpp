// Identical genotypes and the stop on a matrix that is not positive definite.
#include "genomic/positive_definite.hpp"

#include <algorithm>
#include <cstring>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::genomic {

std::vector<std::pair<std::int32_t, std::int32_t>> identical_genotypes(const genotype_table& g, const qc_result& kept) {
  const std::size_t na = kept.animals.size();
  std::vector<std::pair<std::uint64_t, std::int32_t>> h(na);
  std::vector<std::uint8_t> buf;
  auto gather = [&](std::int32_t row, std::vector<std::uint8_t>& out) {
    out.resize(kept.markers.size());
    const std::uint8_t* x = g.row(row);
    for (std::size_t j = 0; j < kept.markers.size(); ++j) out[j] = x[kept.markers[j]];
  };
#pragma omp parallel for schedule(static) private(buf)
  for (std::size_t k = 0; k < na; ++k) {
    gather(kept.animals[k], buf);
    std::uint64_t v = 1469598103934665603ull;  // FNV-1a
    for (std::uint8_t c : buf) v = (v ^ c) * 1099511628211ull;
    h[k] = {v, kept.animals[k]};
  }
  std::sort(h.begin(), h.end());
  std::vector<std::pair<std::int32_t, std::int32_t>> out;
  std::vector<std::uint8_t> a, b;
  for (std::size_t i = 0; i < na; ++i)
    for (std::size_t j = i + 1; j < na && h[j].first == h[i].first; ++j) {
      gather(h[i].second, a);
      gather(h[j].second, b);
      if (a == b) out.emplace_back(std::min(h[i].second, h[j].second), std::max(h[i].second, h[j].second));
    }
  std::sort(out.begin(), out.end());
  return out;
}

void stop_not_positive_definite(const std::string& which, int order, int minor, const pd_context& c) {
  std::vector<std::string> lines;
  if (which == "G")
    lines.push_back("G, the genomic relationship matrix of the " + num(order) +
                    " genotyped animals, is not positive definite (order " + num(order) + ", leading minor " +
                    num(minor) + ")");
  else
    lines.push_back(which + ", the pedigree relationship matrix of the " + num(order) +
                    " genotyped animals, is not positive definite (order " + num(order) + ", leading minor " +
                    num(minor) + ")");
  if (!c.settings.empty()) lines.push_back("Settings: " + c.settings);
  if (which == "G")
    lines.push_back(
        "Give A22 more weight with OPTION blend_G alpha beta, raise OPTION min_maf, OPTION marker_callrate or "
        "OPTION animal_callrate, or remove duplicated genotypes");
  else
    lines.push_back(
        "Check the pedigree and the inbreeding coefficients of the genotyped animals and their ancestors, and "
        "remove animals genotyped twice under two levels");
  if (c.genotypes && c.kept) {
    const auto pairs = identical_genotypes(*c.genotypes, *c.kept);
    if (pairs.empty()) lines.push_back("No two genotyped animals have identical genotypes");
    constexpr std::size_t shown = 20;
    for (std::size_t k = 0; k < pairs.size() && k < shown; ++k)
      lines.push_back("Identical genotypes: " + c.genotypes->ids[static_cast<std::size_t>(pairs[k].first)] + " and " +
                      c.genotypes->ids[static_cast<std::size_t>(pairs[k].second)]);
    if (pairs.size() > shown)
      lines.push_back("... and " + num(static_cast<std::int64_t>(pairs.size() - shown)) +
                      " more pairs with identical genotypes");
  }
  fatal(std::move(lines));
}

}  // namespace ventrel::genomic
