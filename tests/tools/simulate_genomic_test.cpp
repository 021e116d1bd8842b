// Genotypes dropped through the pedigree (Mendelian inheritance, founder frequencies, linkage)
// and the single-step evaluation against the equations formed densely from the textbook H-inverse.
#include "simulate/genomic_model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <sstream>

#include "reference/genomic_reference.hpp"
#include "simulate/genotype_drop.hpp"
#include "simulate/simulate_run.hpp"
#include "simulate_test_util.hpp"
#include "support/test_support.hpp"

namespace ventrel::simulate {
namespace {

using std::size_t;

// Every animal of a small population genotyped.
struct drop_case {
  population p;
  std::vector<int> all;
  std::vector<double> freq;
  std::vector<std::uint8_t> g;
  int markers = 0;
  int at(int a, int k) const { return g[static_cast<size_t>(a - 1) * static_cast<size_t>(markers) + static_cast<size_t>(k)]; }
};

drop_case drop_all(double recombination, int pool, int markers, int size = 100) {
  drop_case c;
  c.p = simulate_population(testing::small_options(1, size, 11));
  c.all.resize(static_cast<size_t>(c.p.n));
  std::iota(c.all.begin(), c.all.end(), 1);
  c.markers = markers;
  rng r(5);
  c.freq = founder_frequencies(markers, r);
  marker_settings s;
  s.markers = markers;
  s.recombination = recombination;
  s.founder_haplotypes = pool;
  c.g = drop_genotypes(c.p.sire, c.p.dam, c.all, c.all, c.freq, s, r);
  return c;
}

TEST(simulate_genomic, progeny_genotypes_follow_mendelian_inheritance_with_and_without_linkage) {
  for (double rec : {0.0, 0.001, 0.5}) {
    for (int pool : {0, 20}) {
      const drop_case c = drop_all(rec, pool, 1500);
      std::int64_t checked = 0, bad = 0;
      for (int a = 1; a <= c.p.n; ++a) {
        const int s = c.p.sire[static_cast<size_t>(a)], d = c.p.dam[static_cast<size_t>(a)];
        if (s == 0) continue;
        for (int k = 0; k < c.markers; ++k) {
          // The progeny holds one allele of each parent: its count lies between the sums of
          // the parents' smallest and largest allele counts.
          const int gs = c.at(s, k), gd = c.at(d, k), ga = c.at(a, k);
          const int lo = (gs == 2) + (gd == 2), hi = (gs > 0) + (gd > 0);
          bad += ga < lo || ga > hi;
          ++checked;
        }
      }
      EXPECT_GT(checked, 100000);
      EXPECT_EQ(bad, 0) << "recombination " << rec << ", pool " << pool;
    }
  }
}

TEST(simulate_genomic, founder_frequencies_follow_the_arcsine_law) {
  rng r(3);
  const std::vector<double> f = founder_frequencies(40000, r);
  double mean = 0;
  int tails = 0, middle = 0;
  for (double p : f) {
    mean += p / static_cast<double>(f.size());
    tails += p < 0.1 || p > 0.9;
    middle += p > 0.4 && p < 0.6;
  }
  // Beta(0.5, 0.5): P(p < 0.1) = 2 asin(sqrt(0.1)) / pi = 0.2048; P(0.4 < p < 0.6) = 0.1282.
  EXPECT_NEAR(mean, 0.5, 0.01);
  EXPECT_NEAR(tails / 40000.0, 2 * 0.2048, 0.01);
  EXPECT_NEAR(middle / 40000.0, 0.1282, 0.01);

  // Founders drawing their haplotypes marker by marker carry those frequencies.
  const drop_case c = drop_all(0.001, 0, 2000, 400);
  double gap = 0;
  const int founders = c.p.first_of_generation[1] - 1;
  for (int k = 0; k < c.markers; ++k) {
    double s = 0;
    for (int a = 1; a <= founders; ++a) s += c.at(a, k);
    gap += std::abs(s / (2.0 * founders) - c.freq[static_cast<size_t>(k)]) / c.markers;
  }
  EXPECT_LT(gap, 0.03);  // about sqrt(p (1 - p) / 800) on average
}

// Mean squared correlation of the genotypes of neighbouring markers in the youngest generation.
double neighbour_r2(const drop_case& c) {
  const int first = c.p.first_of_generation[static_cast<size_t>(c.p.generations)];
  double sum = 0;
  int pairs = 0;
  for (int k = 0; k + 1 < c.markers; ++k) {
    double sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0, n = 0;
    for (int a = first; a <= c.p.n; ++a) {
      const double x = c.at(a, k), y = c.at(a, k + 1);
      sx += x, sy += y, sxx += x * x, syy += y * y, sxy += x * y, n += 1;
    }
    const double vx = sxx - sx * sx / n, vy = syy - sy * sy / n;
    if (vx <= 0 || vy <= 0) continue;
    sum += (sxy - sx * sy / n) * (sxy - sx * sy / n) / (vx * vy);
    ++pairs;
  }
  return sum / pairs;
}

TEST(simulate_genomic, neighbouring_markers_are_linked_only_with_few_founder_haplotypes_and_crossovers) {
  const double linked = neighbour_r2(drop_all(0.001, 20, 1000, 200));
  const double free = neighbour_r2(drop_all(0.5, 0, 1000, 200));
  // Without disequilibrium the r2 of 200 animals is about 1/200 from sampling alone.
  EXPECT_LT(free, 0.02);
  EXPECT_GT(linked, 5 * free);
}

// The single-step equations formed densely: the pedigree equations of the tests' reference plus
// X (x) G0^-1 among the genotyped animals, X = G^-1 - A22^-1 with G by VanRaden's method on the
// markers that pass the quality control (no missing calls here: polymorphic, minor allele
// frequency at least 0.05 among the genotyped), tuned to A22 and blended 0.95 G + 0.05 A22.
testing::dense_mme dense_single_step(const population& p, const genotype_data& d, std::span<const char> rec,
                                     const linalg::dense_matrix& g0, const linalg::dense_matrix& r0) {
  testing::dense_mme m = testing::dense_reference_mme(p, rec, g0, r0);
  const size_t ng = d.typed.size(), nm = static_cast<size_t>(d.markers);
  std::vector<std::vector<int>> geno(ng);
  for (size_t k = 0; k < nm; ++k) {
    double s = 0;
    int lo = 2, hi = 0;
    for (size_t a = 0; a < ng; ++a) {
      const int x = d.codes[a * nm + k];
      s += x, lo = std::min(lo, x), hi = std::max(hi, x);
    }
    const double p_k = s / (2.0 * static_cast<double>(ng));
    if (lo == hi || std::min(p_k, 1 - p_k) < 0.05) continue;
    for (size_t a = 0; a < ng; ++a) geno[a].push_back(d.codes[a * nm + k]);
  }
  const linalg::dense_matrix a = reference::tabular_a(testing::tabular_of(p));
  linalg::dense_matrix a22(static_cast<int>(ng), static_cast<int>(ng));
  for (size_t i = 0; i < ng; ++i)
    for (size_t j = 0; j < ng; ++j) a22(static_cast<int>(i), static_cast<int>(j)) = a(d.typed[i] - 1, d.typed[j] - 1);
  linalg::dense_matrix g = reference::ref_tuned(reference::ref_vanraden_g(geno), a22);
  for (size_t k = 0; k < g.a.size(); ++k) g.a[k] = 0.95 * g.a[k] + 0.05 * a22.a[k];
  const linalg::dense_matrix gi = reference::dense_spd_inverse(g), ai = reference::dense_spd_inverse(a22);
  const linalg::dense_matrix g0i = reference::dense_spd_inverse(g0);
  const mme_layout lay{p.ntrait, p.nherd, p.n};
  for (size_t i = 0; i < ng; ++i)
    for (size_t j = 0; j < ng; ++j)
      for (int t1 = 1; t1 <= p.ntrait; ++t1)
        for (int t2 = 1; t2 <= p.ntrait; ++t2)
          m.c(lay.animal_eq(d.typed[i], t1) - 1, lay.animal_eq(d.typed[j], t2) - 1) +=
              (gi(static_cast<int>(i), static_cast<int>(j)) - ai(static_cast<int>(i), static_cast<int>(j))) * g0i(t1 - 1, t2 - 1);
  return m;
}

TEST(simulate_genomic, single_step_solutions_pev_and_pec_equal_a_dense_solve_of_the_textbook_equations) {
  test_support::scoped_work_dir work;
  for (int traits : {1, 2}) {
    simulation_options o = testing::small_options(traits, 30);
    o.markers = 600;
    o.founder_haplotypes = 30;
    o.out = "ss" + std::to_string(traits);
    const simulation_result r = run_simulation(o);
    const population& p = r.pop;
    ASSERT_EQ(r.genotyped_kept, static_cast<int>(r.genotypes.typed.size()));
    EXPECT_GT(r.genotypes.typed.size(), 30u);  // the 4 sires of each generation and the youngest 30
    const linalg::dense_matrix g0 = genetic_covariance(o), r0 = residual_covariance(o);
    for (bool whole : {true, false}) {
      const evaluation& ev = whole ? r.whole : r.partial;
      const testing::dense_mme m = dense_single_step(p, r.genotypes, whole ? r.record_whole : r.record_partial, g0, r0);
      const linalg::dense_matrix ci = reference::dense_spd_inverse(m.c);
      const std::vector<double> x = testing::times(ci, m.rhs);
      const mme_layout& lay = ev.layout;
      for (int a = 1; a <= p.n; ++a)
        for (int t = 1; t <= traits; ++t) {
          const int e = lay.animal_eq(a, t) - 1;
          ASSERT_NEAR(ev.ebv(a, t), x[static_cast<size_t>(e)], 1e-8) << "animal " << a << " trait " << t;
          ASSERT_NEAR(ev.pev[static_cast<size_t>((a - 1) * traits + t - 1)], ci(e, e), 1e-8);
        }
      const size_t nf = r.focal.size();
      for (int t = 1; t <= traits; ++t)
        for (size_t i = 0; i < nf; ++i)
          for (size_t j = i + 1; j < nf; ++j)
            ASSERT_NEAR(ev.pec[static_cast<size_t>(t - 1)][pair_index(i, j, nf)],
                        ci(lay.animal_eq(r.focal[i], t) - 1, lay.animal_eq(r.focal[j], t) - 1), 1e-8);
    }
  }
}

TEST(simulate_genomic, genotype_files_and_the_parameter_file_name_each_other) {
  test_support::scoped_work_dir work;
  simulation_options o = testing::small_options(1, 30);
  o.markers = 100;
  o.founder_haplotypes = 0;
  o.snp_missing = 0.05;
  o.genotype_sires = false;
  o.genotyped_generations = 2;
  o.genotyped_share = 0.5;
  o.out = "files";
  const simulation_result r = run_simulation(o);
  std::ifstream par("files/ventrel.par"), snp("files/snp.txt"), xref("files/snp.txt.xref");
  std::stringstream ps;
  ps << par.rdbuf();
  EXPECT_NE(ps.str().find("\nOPTION SNP_file snp.txt\n"), std::string::npos);
  // Half of the 60 animals of the two youngest generations, no sire otherwise.
  EXPECT_GT(r.genotypes.typed.size(), 15u);
  EXPECT_LT(r.genotypes.typed.size(), 45u);
  std::string id, calls, level_text, xid;
  int missing = 0;
  for (int a : r.genotypes.typed) {
    EXPECT_GE(r.pop.generation[static_cast<size_t>(a)], 2);
    ASSERT_TRUE(snp >> id >> calls);
    ASSERT_TRUE(xref >> level_text >> xid);
    EXPECT_EQ(id, "G" + std::to_string(a));
    EXPECT_EQ(xid, id);
    EXPECT_EQ(level_text, std::to_string(a));
    ASSERT_EQ(calls.size(), 100u);
    missing += static_cast<int>(std::count(calls.begin(), calls.end(), '5'));
  }
  EXPECT_FALSE(snp >> id);
  const double share = missing / (100.0 * static_cast<double>(r.genotypes.typed.size()));
  EXPECT_GT(share, 0.02);
  EXPECT_LT(share, 0.08);
}

}  // namespace
}  // namespace ventrel::simulate
