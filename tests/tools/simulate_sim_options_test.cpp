// Command line of ventrel-simulate: values, defaults that depend on others, and the covariance
// matrices the parameter file carries.
#include "simulate/sim_options.hpp"

#include <gtest/gtest.h>

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
