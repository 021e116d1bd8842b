// Quality control of the genotypes.
#include "genomic/genotype_qc.hpp"

#include <omp.h>

#include <algorithm>
#include <array>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::genomic {
namespace {

constexpr std::int32_t marker_block = 4096;  // markers counted together by one thread

// Counts of the genotype classes 0, 1, 2 and missing of every marker over the given rows:
// counts[4*m + c]. Markers in blocks over threads; within a block the rows are read in turn, so
// each row's block of markers is contiguous.
std::vector<std::int32_t> class_counts(const genotype_table& g, std::span<const std::int32_t> rows, int threads) {
  const std::int32_t nm = g.markers;
  std::vector<std::int32_t> counts(static_cast<std::size_t>(nm) * 4, 0);
  const std::int32_t nblock = (nm + marker_block - 1) / marker_block;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (std::int32_t b = 0; b < nblock; ++b) {
    const std::int32_t m0 = b * marker_block, m1 = std::min(nm, m0 + marker_block);
    std::int32_t* c = counts.data() + static_cast<std::size_t>(m0) * 4;
    for (std::int32_t r : rows) {
      const std::uint8_t* x = g.row(r);
      for (std::int32_t m = m0; m < m1; ++m) {
        const std::uint8_t v = x[m];
        ++c[static_cast<std::size_t>(m - m0) * 4 + (v == missing_genotype ? 3 : v)];
      }
    }
  }
  return counts;
}

std::string share(double x) { return fmt_f(x, 5, 3); }

// A percentage with two decimals, without leading blanks.
std::string percent(double x) {
  std::string f = fmt_f(x, 12, 2);
  return f.substr(f.find_first_not_of(' '));
}

}  // namespace

qc_result quality_control(const genotype_table& g, const qc_settings& s, int nthreads) {
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  qc_result r;
  std::vector<std::int32_t> all(static_cast<std::size_t>(g.animals));
  for (std::int32_t k = 0; k < g.animals; ++k) all[static_cast<std::size_t>(k)] = k;

  // 1. Markers' call rates over all animals.
  std::vector<std::int32_t> counts = class_counts(g, all, threads);
  std::vector<std::int32_t> markers;
  for (std::int32_t m = 0; m < g.markers; ++m) {
    const double called = g.animals - counts[static_cast<std::size_t>(m) * 4 + 3];
    if (called / g.animals < s.marker_callrate)
      ++r.markers_callrate;
    else
      markers.push_back(m);
  }

  // 2. Animals' call rates over the markers left.
  std::vector<std::int32_t> animals;
  if (!markers.empty()) {
    std::vector<std::int32_t> miss(static_cast<std::size_t>(g.animals), 0);
#pragma omp parallel for schedule(static) num_threads(threads)
    for (std::int32_t k = 0; k < g.animals; ++k) {
      const std::uint8_t* x = g.row(k);
      std::int32_t c = 0;
      for (std::int32_t m : markers) c += x[m] == missing_genotype;
      miss[static_cast<std::size_t>(k)] = c;
    }
    const double nm = static_cast<double>(markers.size());
    for (std::int32_t k = 0; k < g.animals; ++k)
      if ((nm - miss[static_cast<std::size_t>(k)]) / nm < s.animal_callrate)
        ++r.animals_callrate;
      else
        animals.push_back(k);
  } else {
    r.animals_callrate = 0;  // nothing to judge the animals on
  }

  // 3. Monomorphic and rare markers among the animals left.
  if (!animals.empty() && static_cast<std::int32_t>(animals.size()) != g.animals)
    counts = class_counts(g, animals, threads);
  for (std::int32_t m : markers) {
    const std::int32_t* c = counts.data() + static_cast<std::size_t>(m) * 4;
    const int classes = (c[0] > 0) + (c[1] > 0) + (c[2] > 0);
    if (animals.empty() || classes <= 1) {
      ++r.markers_monomorphic;
      continue;
    }
    const double p = (c[1] + 2.0 * c[2]) / (2.0 * (c[0] + c[1] + c[2]));
    if (std::min(p, 1.0 - p) < s.min_maf) {
      ++r.markers_maf;
      continue;
    }
    r.markers.push_back(m);
    r.p.push_back(p);
  }
  r.animals = std::move(animals);
  return r;
}

void print_quality_control(const qc_result& r, const qc_settings& s) {
  auto line = [](const std::string& label, std::int64_t count) { say(pad_right(label, 54) + fmt_i(count, 10)); };
  line(" Markers removed, call rate below " + share(s.marker_callrate) + ":", r.markers_callrate);
  line(" Animals removed, call rate below " + share(s.animal_callrate) + ":", r.animals_callrate);
  line(" Markers removed, monomorphic:", r.markers_monomorphic);
  line(" Markers removed, minor allele frequency below " + share(s.min_maf) + ":", r.markers_maf);
  say(" Genotypes kept: " + num(static_cast<std::int64_t>(r.animals.size())) + " animals, " +
      num(static_cast<std::int64_t>(r.markers.size())) + " markers");
}

std::vector<parent_conflict> parent_progeny_conflicts(const genotype_table& g, const qc_result& r,
                                                      std::span<const std::int32_t> level,
                                                      const pedigree::pedigree_table& ped, double max_share) {
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  std::vector<std::int32_t> row_of_animal(ped.size(), -1);
  for (std::int32_t k : r.animals) {
    const std::int32_t a = level[static_cast<std::size_t>(k)];
    if (a >= 1 && a <= n) row_of_animal[static_cast<std::size_t>(a)] = k;
  }
  std::vector<parent_conflict> out;
  for (std::int32_t k : r.animals) {
    const std::int32_t a = level[static_cast<std::size_t>(k)];
    if (a < 1 || a > n) continue;
    const pedigree::parents& pa = ped[static_cast<std::size_t>(a)];
    const std::array<std::int32_t, 2> par{pa.sire, pa.dam};
    for (int w = 0; w < 2; ++w) {
      const std::int32_t p = par[static_cast<std::size_t>(w)];
      if (p < 1 || p > n || row_of_animal[static_cast<std::size_t>(p)] < 0) continue;
      const std::uint8_t* x = g.row(k);
      const std::uint8_t* y = g.row(row_of_animal[static_cast<std::size_t>(p)]);
      std::int64_t opposing = 0, compared = 0;
      for (std::int32_t m : r.markers) {
        const std::uint8_t u = x[m], v = y[m];
        if (u == missing_genotype || v == missing_genotype) continue;
        ++compared;
        opposing += (u == 0 && v == 2) || (u == 2 && v == 0);
      }
      if (compared > 0 && static_cast<double>(opposing) > max_share * static_cast<double>(compared))
        out.push_back({k, row_of_animal[static_cast<std::size_t>(p)], w == 0, opposing, compared});
    }
  }
  return out;
}

void report_parent_progeny_conflicts(const genotype_table& g, std::span<const std::int32_t> level,
                                     const std::vector<parent_conflict>& c) {
  for (const parent_conflict& x : c) {
    const std::size_t a = static_cast<std::size_t>(x.progeny), p = static_cast<std::size_t>(x.parent);
    warn("parent-progeny conflict: animal " + g.ids[a] + " (level " + num(level[a]) + ") and its " +
         (x.sire ? "sire " : "dam ") + g.ids[p] + " (level " + num(level[p]) + ") are opposing homozygotes at " +
         num(x.opposing) + " of " + num(x.compared) + " markers (" +
         percent(100.0 * static_cast<double>(x.opposing) / static_cast<double>(x.compared)) + "%)");
  }
}

}  // namespace ventrel::genomic
