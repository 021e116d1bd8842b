// G, tuning, blending, H-inverse and H among focal animals against the dense reference of
// tests/reference (a few hundred animals and markers), and the two ways to H among focal
// animals against each other.
#include "genomic/h_focal.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "genomic/genotype_qc.hpp"
#include "genomic/hinverse.hpp"
#include "genomic/hinverse_build.hpp"
#include "genomic/single_step.hpp"
#include "genomic/tune_blend.hpp"
#include "genomic/vanraden_g.hpp"
#include "pedigree/pedigree_fixtures.hpp"
#include "pedigree/relationship_block.hpp"
#include "reference/genomic_reference.hpp"
#include "reference/tabular_a.hpp"
#include "support/test_support.hpp"

namespace ventrel::genomic {
namespace {

using namespace test_support;
using pedigree_fixtures::lcg;

double max_diff(const linalg::dense_matrix& a, const linalg::dense_matrix& b) {
  if (a.rows != b.rows || a.cols != b.cols) return 1e300;
  double d = 0;
  for (std::size_t k = 0; k < a.a.size(); ++k) d = std::max(d, std::fabs(a.a[k] - b.a[k]));
  return d;
}

linalg::dense_matrix sub(const linalg::dense_matrix& a, const std::vector<std::int32_t>& r,
                         const std::vector<std::int32_t>& c) {
  linalg::dense_matrix s(static_cast<int>(r.size()), static_cast<int>(c.size()));
  for (std::size_t i = 0; i < r.size(); ++i)
    for (std::size_t j = 0; j < c.size(); ++j)
      s(static_cast<int>(i), static_cast<int>(j)) = a(r[i] - 1, c[j] - 1);
  return s;
}

// A pedigree of 300 animals with inbreeding, 120 of them genotyped (every other animal from 61
// on), 400 markers with frequencies in 0.1..0.9 and 2% missing calls; focal animals genotyped
// and not.
struct population {
  pedigree::pedigree_phase_result ped;
  linalg::dense_matrix a;  // tabular A, 0-based by number
  std::vector<std::vector<int>> codes;
  std::vector<std::int32_t> genotyped;
  std::vector<std::int32_t> focal{299, 62, 150, 17, 63, 200, 281, 5};

  population() {
    pedigree_fixtures::random_options o;
    o.n = 300;
    o.window = 40;
    o.unknown = 0.15;
    o.selfing = 0.0;
    const pedigree::pedigree_table table = pedigree_fixtures::random_pedigree(11, o);
    const auto v = pedigree_fixtures::sort_with_inbreeding(table);
    ped.n = v.n;
    ped.ped = table;
    ped.perm = v.perm;
    ped.ped_sorted = v.ped_sorted;
    ped.inb_sorted = v.inb_sorted;
    ped.inb = pedigree_fixtures::inbreeding(table, 1);
    a = reference::tabular_a(pedigree_fixtures::to_reference(table));
    lcg r(5);
    std::vector<double> p(400);
    for (double& x : p) x = 0.1 + 0.8 * r.uniform();
    for (std::int32_t i = 61; i <= 300; i += 2) {
      genotyped.push_back(i);
      std::vector<int> row(p.size());
      for (std::size_t m = 0; m < p.size(); ++m)
        row[m] = r.uniform() < 0.02 ? 5 : (r.uniform() < p[m]) + (r.uniform() < p[m]);
      codes.push_back(row);
    }
  }
  genotype_table table() const {
    genotype_table g;
    g.animals = static_cast<std::int32_t>(codes.size());
    g.markers = static_cast<std::int32_t>(codes[0].size());
    for (std::size_t k = 0; k < codes.size(); ++k) {
      g.ids.push_back("id" + std::to_string(genotyped[k]));
      for (int c : codes[k]) g.codes.push_back(static_cast<std::uint8_t>(c));
    }
    return g;
  }
  std::string file_text() const {
    std::string t;
    for (std::size_t k = 0; k < codes.size(); ++k) {
      t += "id" + std::to_string(genotyped[k]) + " ";
      for (int c : codes[k]) t += static_cast<char>('0' + c);
      t += "\n";
    }
    return t;
  }
  linalg::dense_matrix block(const std::vector<std::int32_t>& rows, const std::vector<std::int32_t>& cols,
                             int threads = 0) const {
    return pedigree::relationship_block(ped.n, ped.ped_sorted, ped.inb_sorted, ped.perm, ped.groups(), rows, cols,
                                        "Animal", "test", threads);
  }
};

const population& pop() {
  static const population p;
  return p;
}

TEST(genomic_relationships, g_by_rank_k_updates_equals_the_element_by_element_reference) {
  const population& p = pop();
  const genotype_table g = p.table();
  const qc_result kept = quality_control(g, qc_settings{0, 0, 0}, 2);
  ASSERT_EQ(kept.markers.size(), 400u);
  const linalg::dense_matrix want = reference::ref_vanraden_g(p.codes);
  const std::vector<double> pw = reference::ref_frequencies(p.codes);
  for (std::size_t m = 0; m < pw.size(); ++m) ASSERT_NEAR(kept.p[m], pw[m], 1e-15);
  for (g_products way : {g_products::automatic, g_products::integer_single, g_products::double_precision})
    for (int threads : {1, 2}) EXPECT_LT(max_diff(vanraden_g(g, kept, threads, way), want), 1e-10);
}

TEST(genomic_relationships, relationship_blocks_are_those_of_tabular_a) {
  const population& p = pop();
  for (int threads : {1, 3}) {
    EXPECT_LT(max_diff(p.block(p.genotyped, p.genotyped, threads), sub(p.a, p.genotyped, p.genotyped)), 1e-12);
    EXPECT_LT(max_diff(p.block(p.genotyped, p.focal, threads), sub(p.a, p.genotyped, p.focal)), 1e-12);
  }
  expect_stops({{"outside", [&] { p.block({301}, {1}); }, {"Animal 301 is not in the pedigree (animals 1 to 300)"}}});
}

TEST(genomic_relationships, tuning_and_blending_follow_their_definitions) {
  const population& p = pop();
  const linalg::dense_matrix g = reference::ref_vanraden_g(p.codes);
  const linalg::dense_matrix a22 = sub(p.a, p.genotyped, p.genotyped);
  linalg::dense_matrix t = g;
  apply_tuning(t, tuning_to_a22(g, a22));
  EXPECT_LT(max_diff(t, reference::ref_tuned(g, a22)), 1e-10);
  linalg::dense_matrix b = t;
  blend(b, a22, 0.95, 0.05);
  for (std::size_t k = 0; k < b.a.size(); ++k) ASSERT_NEAR(b.a[k], 0.95 * t.a[k] + 0.05 * a22.a[k], 1e-15);
  // All animals alike: nothing to tune on.
  linalg::dense_matrix same(3, 3);
  for (double& x : same.a) x = 0.5;
  expect_stops({{"flat", [&] { tuning_to_a22(same, a22); },
                 {"G cannot be tuned to A22: its mean diagonal (0.5) equals its mean off-diagonal element",
                  "The genotyped animals all have the same genotypes; turn tuning off with OPTION tune_G 0"}}});
}

// G tuned and blended as the program does, from the reference.
linalg::dense_matrix reference_g(const population& p) {
  const linalg::dense_matrix a22 = sub(p.a, p.genotyped, p.genotyped);
  linalg::dense_matrix g = reference::ref_tuned(reference::ref_vanraden_g(p.codes), a22);
  blend(g, a22, 0.95, 0.05);
  return g;
}

TEST(genomic_relationships, h_inverse_and_h_among_focal_animals_equal_the_dense_reference_and_each_other) {
  const population& p = pop();
  const linalg::dense_matrix g = reference_g(p);
  const linalg::dense_matrix a22 = sub(p.a, p.genotyped, p.genotyped);
  const std::vector<std::int32_t> f = p.focal;
  for (const h_weights w : {h_weights{1.0, 1.0}, h_weights{1.0, 0.7}, h_weights{0.8, 0.8}}) {
    SCOPED_TRACE("tau " + std::to_string(w.tau) + " omega " + std::to_string(w.omega));
    const linalg::dense_matrix href = reference::ref_h(p.a, p.genotyped, g, w.tau, w.omega);
    // The closed form.
    const linalg::dense_matrix h = h_focal_closed_form(sub(p.a, f, f), p.block(p.genotyped, f), g, a22, w, {}, 2);
    EXPECT_LT(max_diff(h, sub(href, f, f)), 1e-10);
    // H-inverse assembled: every element equals the dense one.
    const genomic_block gb{p.genotyped, genomic_inverse_block(g, a22, w, {}, 2)};
    const std::vector<std::vector<int>> sets{std::vector<int>(f.begin(), f.end()), {f[2], f[0]}};
    sparse::ija_matrix hinv = assemble_hinverse(300, p.ped.n, p.ped.ped, p.ped.inb, gb, sets);
    const linalg::dense_matrix hiref = reference::ref_hinverse(p.a, p.genotyped, g, w.tau, w.omega);
    double d = 0;
    for (int i = 1; i <= 300; ++i)
      for (int j = i; j <= 300; ++j) d = std::max(d, std::fabs(sparse::getm_ija(hinv, i, j) - hiref(i - 1, j - 1)));
    EXPECT_LT(d, 1e-10);
    // The sparse inverse of H-inverse, at the focal pairs of both sets.
    const auto way = focal_elements_of_inverse(hinv, sets, {}, "test");
    EXPECT_LT(max_diff(way[0], h), 1e-8);
    EXPECT_LT(max_diff(way[1], sub(href, {f[2], f[0]}, {f[2], f[0]})), 1e-8);
  }
}

TEST(genomic_relationships, the_run_from_files_gives_h_either_way_and_writes_a_readable_h_inverse) {
  const population& p = pop();
  temp_dir d;
  single_step_settings s;
  s.snp_file = d.file("snp.txt", p.file_text());
  std::string xref;
  for (std::int32_t i : p.genotyped) xref += std::to_string(i) + " id" + std::to_string(i) + "\n";
  d.file("snp.txt.xref", xref);
  s.qc = qc_settings{0, 0, 0};
  s.save_file = d.name("hinv.txt");
  const std::vector<std::vector<int>> sets{std::vector<int>(p.focal.begin(), p.focal.end())};
  std::vector<linalg::dense_matrix> closed, inverse;
  const std::string out = captured_stdout([&] { closed = single_step_focal_relationships(s, p.ped, 300, sets, 2, {}); });
  EXPECT_NE(out.find("wGimA22i    1.000000\n"), std::string::npos) << out;
  const linalg::dense_matrix href = reference::ref_h(p.a, p.genotyped, reference_g(p), 1.0, 1.0);
  EXPECT_LT(max_diff(closed[0], sub(href, p.focal, p.focal)), 1e-10);
  // The written file read back as OPTION readHInverse reads it.
  const auto from_file = focal_relationships_from_inverse(s.save_file, 300, sets, {});
  EXPECT_LT(max_diff(from_file[0], closed[0]), 1e-8);
  s.way = h_focal_way::inverse;
  s.save_file.clear();
  s.weights = {1.0, 0.7};
  const std::string out2 = captured_stdout([&] { inverse = single_step_focal_relationships(s, p.ped, 300, sets, 2, {}); });
  EXPECT_NE(out2.find("wGi,wA22i    1.000000    0.700000\n"), std::string::npos) << out2;
  EXPECT_LT(max_diff(inverse[0], sub(reference::ref_h(p.a, p.genotyped, reference_g(p), 1.0, 0.7), p.focal, p.focal)),
            1e-8);
}

TEST(genomic_relationships, g_not_positive_definite_stops_with_its_order_and_identical_genotypes) {
  const population& p = pop();
  genotype_table g = p.table();
  // Animals 3 and 7 of the table get the genotypes of animal 1: G without blending is singular.
  for (int k : {2, 6})
    std::copy(g.row(0), g.row(0) + g.markers, g.codes.begin() + static_cast<std::ptrdiff_t>(k) * g.markers);
  const qc_result kept = quality_control(g, qc_settings{0, 0, 0}, 1);
  const linalg::dense_matrix gm = vanraden_g(g, kept, 1);
  const linalg::dense_matrix a22 = sub(p.a, p.genotyped, p.genotyped);
  const pd_context c{&g, &kept, "OPTION blend_G 1 0"};
  const std::vector<std::string> want{
      "G, the genomic relationship matrix of the 120 genotyped animals, is not positive definite (order 120, "
      "leading minor *",
      "Settings: OPTION blend_G 1 0",
      "Give A22 more weight with OPTION blend_G alpha beta, raise OPTION min_maf, OPTION marker_callrate or OPTION "
      "animal_callrate, or remove duplicated genotypes",
      "Identical genotypes: id61 and id65", "Identical genotypes: id61 and id73", "Identical genotypes: id65 and id73"};
  expect_stops({{"closed form", [&] { h_focal_closed_form(sub(p.a, {1}, {1}), p.block(p.genotyped, {1}), gm, a22, {}, c, 1); }, want},
                {"inverse block", [&] { genomic_inverse_block(gm, a22, {}, c, 1); }, want}});
  // A22 that is not positive definite (here: one animal twice) is named as such.
  const std::vector<std::int32_t> twice{61, 63, 61};
  linalg::dense_matrix eye(3, 3);
  for (int i = 0; i < 3; ++i) eye(i, i) = 1.0;
  expect_stops({{"A22", [&] { genomic_inverse_block(eye, sub(p.a, twice, twice), {}, {}, 1); },
                 {"A22, the pedigree relationship matrix of the 3 genotyped animals, is not positive definite (order "
                  "3, leading minor 3)",
                  "Check the pedigree and the inbreeding coefficients of the genotyped animals and their ancestors, "
                  "and remove animals genotyped twice under two levels"}}});
}

}  // namespace
}  // namespace ventrel::genomic
