// Command line of ventrel-simulate: values, defaults that depend on others, and the covariance
// matrices the parameter file carries.
#include "simulate/sim_options.hpp"

#include <gtest/gtest.h>

#include "support/test_support.hpp"

#include <cmath>
#include <string>
#include <vector>

namespace ventrel::simulate {
namespace {

TEST(simulate_options, reads_values_and_fills_the_dependent_defaults) {
  const simulation_options o = parse_command_line({"--seed=12", "--traits", "2", "--h2", "0.4,0.1", "--se", "approx",
                                                   "--animals", "1003", "--generations", "4"}).options;
  EXPECT_EQ(o.seed, 12u);
  EXPECT_EQ(o.h2, (std::vector<double>{0.4, 0.1}));
  EXPECT_TRUE(o.acc);  // --se approx turns on the accuracy column
  EXPECT_EQ(o.size, 200);
  EXPECT_EQ(o.founders, 203);  // the animals that do not fill a generation are founders
  EXPECT_EQ(o.dams, 100);
  EXPECT_EQ(o.vp.size(), 2u);
  EXPECT_EQ(o.markers, 0);  // no genotypes unless asked for

  const simulation_options g = parse_command_line({"--markers", "500", "--recombination=0.01", "--founder-haplotypes", "0",
                                                   "--genotyped-generations", "2", "--genotyped-share", "0.5",
                                                   "--no-sire-genotypes", "--snp-missing", "0.01",
                                                   "--marker-variance", "0.8"}).options;
  EXPECT_EQ(g.markers, 500);
  EXPECT_EQ(g.recombination, 0.01);
  EXPECT_EQ(g.founder_haplotypes, 0);
  EXPECT_EQ(g.genotyped_generations, 2);
  EXPECT_EQ(g.genotyped_share, 0.5);
  EXPECT_FALSE(g.genotype_sires);
  EXPECT_EQ(g.snp_missing, 0.01);
  EXPECT_EQ(g.marker_variance, 0.8);
}

TEST(simulate_options, genotype_settings_that_cannot_make_a_single_step_evaluation_stop) {
  auto parse = [](std::vector<std::string> a) { return [a] { parse_command_line(a); }; };
  test_support::expect_stops({
      {"selection", parse({"--markers", "100", "--select", "ebv"}),
       {"ventrel-simulate: --markers needs --select none (the marker values are added after the pedigree is made)"}},
      {"no animal", parse({"--markers", "100", "--genotyped-generations", "0", "--no-sire-genotypes"}),
       {"ventrel-simulate: --markers needs genotyped animals: --genotyped-generations 0 with --no-sire-genotypes "
        "genotypes none"}},
      {"recombination", parse({"--markers", "100", "--recombination", "0.6"}),
       {"ventrel-simulate: --recombination must lie in 0..0.5"}},
      {"generations", parse({"--markers", "100", "--generations", "3", "--genotyped-generations", "5"}),
       {"ventrel-simulate: --genotyped-generations must lie in 0..4"}},
      {"without markers nothing is checked", parse({"--select", "ebv", "--recombination", "0.6"}), {}},
  });
}

TEST(simulate_options, covariance_matrices_follow_heritability_variance_and_correlation) {
  const simulation_options o = parse_command_line({"--traits", "2", "--h2", "0.25,0.5", "--vp", "4,2",
                                                   "--rg", "-0.5", "--re", "0.3"}).options;
  const linalg::dense_matrix g = genetic_covariance(o), r = residual_covariance(o);
  EXPECT_EQ(g.a, (std::vector<double>{1.0, -0.5, -0.5, 1.0}));
  EXPECT_DOUBLE_EQ(r(0, 0), 3.0);
  EXPECT_DOUBLE_EQ(r(1, 1), 1.0);
  EXPECT_DOUBLE_EQ(r(0, 1), 0.3 * std::sqrt(3.0));
  EXPECT_DOUBLE_EQ(r(1, 0), r(0, 1));
}

}  // namespace
}  // namespace ventrel::simulate
