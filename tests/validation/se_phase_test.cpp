// se exact from the pedigree: the relationships among the focal animals computed a block of
// columns at a time and never stored give the standard errors of the dense A_focal, for the
// whole set and for the groups.
#include "validation/se_phase.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <random>

#include "pedigree/focal_relationships.hpp"
#include "statistics/analytical_se.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "support/test_support.hpp"
#include "validation/groups.hpp"

namespace ventrel::validation {
namespace {

using namespace test_support;

// A pedigree of n animals in files: parents among the 400 animals before, some unknown.
void write_pedigree(int n, std::mt19937_64& rng) {
  std::ofstream out("ped.txt");
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int a = 1; a <= n; ++a) {
    const int lo = std::max(1, a - 400);
    auto parent = [&] { return a <= 50 || u(rng) < 0.1 ? 0 : lo + static_cast<int>(u(rng) * (a - lo)); };
    const int s = parent(), d = parent();
    out << a << ' ' << s << ' ' << d << '\n';
  }
}

struct scenario {
  parfile::model_parameters model;
  validation_options options;
  genomic::genomic_options genomic;
  std::vector<focal_set> sets;
  pedigree::pedigree_phase_result ped;
  std::vector<double> genetic_variance = {1.5, 0.8}, gvar_focal = {1.4, 0.75}, h2 = {0.3, 0.4};
  std::vector<std::vector<double>> pev_w, pev_p;  // [trait][animal]
};

// 150 focal animals among the youngest of 3,000 (38 blocks of four, the last of two): two
// traits with predictive ability; trait 1's partial EBVs vary far less than the model implies
// (selection: the model is scaled), trait 2 has the prediction error covariances of both
// evaluations for some pairs.
scenario make_scenario() {
  scenario c;
  std::mt19937_64 rng(11);
  const int n = 3000, m = 150;
  write_pedigree(n, rng);
  pedigree::pedigree_phase_input pin;
  pin.pedigree_file = "ped.txt";
  pin.inbreeding_needed = true;
  pin.relationships_needed = true;
  captured_stdout([&] { c.ped = pedigree::read_pedigree_phase(pin); });
  c.model.nlev = {5, n};
  c.options.focal_effect = 2;
  c.options.se = se_method::exact;
  c.options.predictive_ability = true;
  c.options.nthreads = 2;
  focal_set s;
  s.file = "valid.txt";
  std::vector<int> young(600);
  for (int k = 0; k < 600; ++k) young[k] = n - 599 + k;
  std::shuffle(young.begin(), young.end(), rng);
  s.levels.assign(young.begin(), young.begin() + m);
  s.n = m;
  s.traits = {1, 2};
  s.whole = s.partial = s.phenotype = linalg::dense_matrix(m, 2);
  std::normal_distribution<double> z(0.0, 1.0);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int t = 0; t < 2; ++t) {
    const double s2 = c.genetic_variance[t], sd_p = t == 0 ? 0.1 : 0.6;
    std::vector<double> pw(m), pp(m);
    for (int i = 0; i < m; ++i) {
      s.partial(i, t) = sd_p * std::sqrt(s2) * z(rng);
      s.whole(i, t) = s.partial(i, t) + 0.3 * std::sqrt(s2) * z(rng);
      s.phenotype(i, t) = s.partial(i, t) + std::sqrt(s2) * z(rng);
      pp[i] = s2 * (0.5 + 0.4 * u(rng));
      pw[i] = pp[i] * (0.5 + 0.4 * u(rng));
    }
    for (const bool whole : {true, false}) {
      std::ofstream out(statistics::ebv_pev_file_name(t + 1, whole ? statistics::evaluation::whole
                                                                    : statistics::evaluation::partial));
      out << std::setprecision(17);
      for (int i = 0; i < m; ++i)
        out << s.levels[i] << ' ' << (whole ? s.whole(i, t) : s.partial(i, t)) << ' ' << (whole ? pw[i] : pp[i]) << '\n';
    }
    c.pev_w.push_back(pw);
    c.pev_p.push_back(pp);
  }
  for (const bool whole : {true, false}) {
    std::ofstream out(statistics::pec_file_name(2, whole ? statistics::evaluation::whole : statistics::evaluation::partial));
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < i; j += 3) out << s.levels[i] << ' ' << s.levels[j] << ' ' << (whole ? 0.01 : 0.02) * u(rng) << '\n';
  }
  c.sets.push_back(std::move(s));
  return c;
}

void expect_same(const statistics::lr_intervals& got, const statistics::lr_intervals& want) {
  for (const auto& [g, w] : {std::pair{got.bias, want.bias}, {got.dispersion, want.dispersion},
                             {got.ratio_acc, want.ratio_acc}, {got.reliability, want.reliability},
                             {got.pred_ability, want.pred_ability}}) {
    EXPECT_GT(w.variance, 0.0);
    EXPECT_NEAR(g.variance, w.variance, 1e-10 * w.variance);
    EXPECT_NEAR(g.lower, w.lower, 1e-10 * std::max(1.0, std::fabs(w.lower)));
    EXPECT_NEAR(g.upper, w.upper, 1e-10 * std::max(1.0, std::fabs(w.upper)));
  }
}

TEST(se_phase, exact_from_the_pedigree_by_blocks_equals_the_dense_relationships) {
  scoped_work_dir work;
  const scenario c = make_scenario();
  const focal_set& set = c.sets[0];
  const se_phase_input in{c.model, c.options, c.genomic, c.sets, c.ped, c.genetic_variance, c.gvar_focal, c.h2};
  std::vector<trait_report> blockwise(2);
  std::vector<linalg::dense_matrix> kept;
  const std::string out = captured_stdout([&] { run_se_phase(in, blockwise, &kept); });
  EXPECT_TRUE(kept.empty()) << "relationships from the pedigree are not held";
  EXPECT_EQ(out.find("Create A for the focal animals using Colleau"), 0u);

  linalg::dense_matrix a;
  captured_stdout([&] { a = pedigree::focal_relationships(c.ped, set.levels, 1); });
  // The focal animals' sire families, numbered as the sires first appear (unknown sire: alone).
  std::vector<int> family, sires;
  for (int level : set.levels) {
    const int sire = c.ped.ped[static_cast<std::size_t>(level)].sire;
    const auto it = std::find(sires.begin(), sires.end(), sire);
    family.push_back(sire > 0 && it != sires.end() ? static_cast<int>(it - sires.begin())
                                                   : static_cast<int>(sires.size()));
    if (sire <= 0 || it == sires.end()) sires.push_back(sire > 0 ? sire : -1);
  }
  for (int t = 1; t <= 2; ++t) {
    SCOPED_TRACE(t);
    statistics::se_trait_input x{t, column(set.whole, t), column(set.partial, t), column(set.phenotype, t),
                                 c.genetic_variance[t - 1], c.gvar_focal[t - 1], c.h2[t - 1]};
    statistics::pec_matrix pw, pp;
    statistics::se_exact_model model{a.a, c.pev_w[t - 1], c.pev_p[t - 1], nullptr, nullptr, family};
    if (t == 2) {
      pw = statistics::read_pec(statistics::pec_file_name(2, statistics::evaluation::whole), set.levels, 3000, 1);
      pp = statistics::read_pec(statistics::pec_file_name(2, statistics::evaluation::partial), set.levels, 3000, 1);
      model.pec_w = &pw;
      model.pec_p = &pp;
    }
    statistics::se_result dense;
    captured_stdout([&] { dense = statistics::se_exact(x, model); });
    EXPECT_EQ(dense.scale < 0.5, t == 1) << dense.scale;
    EXPECT_EQ(dense.scale_between > 0.0, t == 1) << "trait 1 scaled by sire families";
    expect_same(blockwise[static_cast<std::size_t>(t - 1)].se, dense.intervals);
  }

  // Groups: their own sweeps over their animals, or their rows of a held dense A_focal.
  validation_groups groups;
  groups.names = {"odd", "even", "single"};
  groups.of_row.emplace_back();
  for (int i = 0; i < set.n; ++i) groups.of_row[0].push_back(i == 5 ? 2 : i % 2);
  const std::vector<linalg::dense_matrix> none, held = {a};
  std::vector<results_block> by_blocks, from_held;
  captured_stdout([&] {
    by_blocks = group_blocks({c.model, c.options, c.sets, c.ped, c.genetic_variance, c.h2, c.gvar_focal, groups, none});
    from_held = group_blocks({c.model, c.options, c.sets, c.ped, c.genetic_variance, c.h2, c.gvar_focal, groups, held});
  });
  ASSERT_EQ(by_blocks.size(), 6u);
  ASSERT_EQ(from_held.size(), 6u);
  for (std::size_t k = 0; k < by_blocks.size(); ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(by_blocks[k].notes, from_held[k].notes);
    if (by_blocks[k].group == "single") {
      EXPECT_FALSE(by_blocks[k].computed);
      continue;
    }
    expect_same(by_blocks[k].stats.se, from_held[k].stats.se);
  }
}

}  // namespace
}  // namespace ventrel::validation
