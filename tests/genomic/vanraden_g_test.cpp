// G from the integer genotypes in single precision against G from Z in double precision and the
// element-by-element reference: with and without missing calls, several blocks of markers with an
// uneven last one, several tiles of animals, animals and markers removed by quality control, and
// missing calls beyond the share at which the double way is taken.
#include "genomic/vanraden_g.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "pedigree/pedigree_fixtures.hpp"
#include "reference/genomic_reference.hpp"

namespace ventrel::genomic {
namespace {

using pedigree_fixtures::lcg;

// Largest difference over the largest element of want.
double relative_diff(const linalg::dense_matrix& got, const linalg::dense_matrix& want) {
  if (got.rows != want.rows || got.cols != want.cols) return 1e300;
  double d = 0, w = 0;
  for (std::size_t k = 0; k < want.a.size(); ++k) {
    d = std::max(d, std::fabs(got.a[k] - want.a[k]));
    w = std::max(w, std::fabs(want.a[k]));
  }
  return d / w;
}

struct genotypes {
  std::vector<std::vector<int>> codes;  // animals x markers: 0, 1, 2 or 5 (missing)
  genotype_table table() const {
    genotype_table g;
    g.animals = static_cast<std::int32_t>(codes.size());
    g.markers = static_cast<std::int32_t>(codes[0].size());
    for (std::size_t k = 0; k < codes.size(); ++k) {
      g.ids.push_back("a" + std::to_string(k));
      for (int c : codes[k]) g.codes.push_back(static_cast<std::uint8_t>(c));
    }
    return g;
  }
};

// Frequencies in [pmin, 1 - pmin], each call missing with probability miss.
genotypes simulate(int animals, int markers, double pmin, double miss, std::uint64_t seed) {
  lcg r(seed);
  std::vector<double> p(static_cast<std::size_t>(markers));
  for (double& x : p) x = pmin + (1 - 2 * pmin) * r.uniform();
  genotypes g;
  for (int i = 0; i < animals; ++i) {
    std::vector<int> row(p.size());
    for (std::size_t m = 0; m < p.size(); ++m)
      row[m] = r.uniform() < miss ? 5 : (r.uniform() < p[m]) + (r.uniform() < p[m]);
    g.codes.push_back(row);
  }
  return g;
}

TEST(vanraden_g_ways, integer_single_and_double_equal_the_reference_over_uneven_blocks) {
  // 9000 markers: blocks of 4096, 4096 and 808 in single precision, of 2048 (and 808) in double.
  for (double miss : {0.0, 0.005}) {
    const genotypes s = simulate(60, 9000, 0.1, miss, 3);
    const genotype_table g = s.table();
    const qc_result kept = quality_control(g, qc_settings{0, 0, 0}, 2);
    ASSERT_EQ(kept.markers.size(), 9000u);
    const linalg::dense_matrix want = reference::ref_vanraden_g(s.codes);
    for (g_products way : {g_products::automatic, g_products::integer_single, g_products::double_precision})
      for (int threads : {1, 2}) EXPECT_LT(relative_diff(vanraden_g(g, kept, threads, way), want), 1e-12) << miss;
  }
}

TEST(vanraden_g_ways, integer_single_equals_double_with_quality_control_and_uneven_missing_calls) {
  // 275 animals (two tiles of animals after quality control), 9000 markers; scattered missing
  // calls, one animal and one marker with many (kept), one animal and one marker with most
  // (removed), rare alleles (markers removed).
  genotypes s = simulate(275, 9000, 0.01, 0.005, 7);
  lcg r(9);
  for (std::size_t m = 0; m < 9000; ++m) {
    if (r.uniform() < 0.08) s.codes[7][m] = 5;
    if (r.uniform() < 0.5) s.codes[100][m] = 5;
  }
  for (std::size_t i = 0; i < 275; ++i) {
    if (r.uniform() < 0.09) s.codes[i][50] = 5;
    if (r.uniform() < 0.5) s.codes[i][51] = 5;
  }
  const genotype_table g = s.table();
  const qc_result kept = quality_control(g, qc_settings{}, 2);
  ASSERT_EQ(kept.animals.size(), 274u);
  ASSERT_GT(kept.markers.size(), 8193u);
  ASSERT_LT(kept.markers.size(), 9000u);
  const linalg::dense_matrix want = vanraden_g(g, kept, 2, g_products::double_precision);
  for (int threads : {1, 2}) {
    EXPECT_LT(relative_diff(vanraden_g(g, kept, threads, g_products::integer_single), want), 1e-12);
    EXPECT_LT(relative_diff(vanraden_g(g, kept, threads), want), 1e-12);
  }
}

TEST(vanraden_g_ways, missing_calls_beyond_the_share_take_double_precision_and_single_stays_exact) {
  // 10% missing calls everywhere: automatic takes the double way; the single way, asked for,
  // gives the same G.
  const genotypes s = simulate(270, 4500, 0.1, 0.10, 13);
  const genotype_table g = s.table();
  const qc_result kept = quality_control(g, qc_settings{0, 0, 0}, 2);
  std::int64_t missing = 0;
  for (std::int32_t a : kept.animals)
    for (std::int32_t m : kept.markers) missing += g.row(a)[m] == missing_genotype;
  EXPECT_EQ(g_products_for(270, static_cast<std::int64_t>(kept.markers.size()), missing),
            g_products::double_precision);
  const linalg::dense_matrix want = vanraden_g(g, kept, 2, g_products::double_precision);
  EXPECT_LT(relative_diff(vanraden_g(g, kept, 2), want), 1e-12);
  EXPECT_LT(relative_diff(vanraden_g(g, kept, 2, g_products::integer_single), want), 1e-12);
}

TEST(vanraden_g_ways, the_automatic_way_follows_the_share_of_missing_calls_and_the_markers) {
  const double share = max_missing_share_single;
  EXPECT_EQ(g_products_for(1000, 50000, 0), g_products::integer_single);
  EXPECT_EQ(g_products_for(1000, 50000, static_cast<std::int64_t>(share * 1000 * 50000)), g_products::integer_single);
  EXPECT_EQ(g_products_for(1000, 50000, static_cast<std::int64_t>(share * 1000 * 50000) + 1),
            g_products::double_precision);
  // Sums of products of genotypes stay exact in single precision below 2^22 markers.
  EXPECT_EQ(g_products_for(10, (1 << 22) - 1, 0), g_products::integer_single);
  EXPECT_EQ(g_products_for(10, 1 << 22, 0), g_products::double_precision);
}

}  // namespace
}  // namespace ventrel::genomic
