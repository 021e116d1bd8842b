// Command line of ventrel-simulate: values, defaults that depend on others, and the messages
// of bad settings.
#include "simulate/sim_options.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::simulate {
namespace {

std::string stop_of(const std::vector<std::string>& args) {
  try {
    parse_command_line(args);
  } catch (const fatal_error& e) {
    return e.lines().at(0);
  }
  ADD_FAILURE() << "no stop";
  return {};
}

TEST(simulate_options, defaults_fill_founders_dams_and_per_trait_vectors) {
  parsed_command_line c = parse_command_line({"--traits", "2", "--size", "300"});
  const simulation_options& o = c.options;
  EXPECT_FALSE(c.help);
  EXPECT_EQ(o.founders, 300);
  EXPECT_EQ(o.dams, 150);
  ASSERT_EQ(o.h2.size(), 2u);
  EXPECT_EQ(o.h2[1], 0.3);
  EXPECT_EQ(o.mean.size(), 2u);
  EXPECT_EQ(o.vp.size(), 2u);
}

TEST(simulate_options, reads_both_value_forms_lists_and_flags) {
  parsed_command_line c = parse_command_line({"--seed=12", "--traits", "2", "--h2", "0.4,0.1",
                                              "--select", "ebv", "--acc", "--no-pev",
                                              "--out=x/y", "--solver", "dense", "--se", "boot"});
  const simulation_options& o = c.options;
  EXPECT_EQ(o.seed, 12u);
  EXPECT_EQ(o.h2, (std::vector<double>{0.4, 0.1}));
  EXPECT_EQ(o.select, selection::ebv);
  EXPECT_TRUE(o.acc);
  EXPECT_FALSE(o.pev);
  EXPECT_EQ(o.out, "x/y");
  EXPECT_EQ(o.solver, solver_engine::dense);
  EXPECT_EQ(o.se, "boot");
  EXPECT_TRUE(parse_command_line({"--help"}).help);
  EXPECT_EQ(parse_command_line({"--ordering", "metis"}).options.ordering, fill_ordering::metis);
  EXPECT_EQ(parse_command_line({"--quiet"}).options.verbosity, 0);
}

TEST(simulate_options, se_approx_turns_on_the_accuracy_column) {
  EXPECT_FALSE(parse_command_line({"--se", "exact"}).options.acc);
  EXPECT_TRUE(parse_command_line({"--se", "approx"}).options.acc);
}

TEST(simulate_options, animals_set_the_generation_size_and_founders_take_the_rest) {
  const simulation_options o = parse_command_line({"--animals", "1003", "--generations", "4"}).options;
  EXPECT_EQ(o.size, 200);
  EXPECT_EQ(o.founders, 203);
  EXPECT_EQ(o.founders + o.size * o.generations, 1003);
}

TEST(simulate_options, bad_settings_stop_with_a_message_naming_the_option) {
  EXPECT_EQ(stop_of({"--colour", "red"}), "ventrel-simulate: unknown option --colour (see --help)");
  EXPECT_EQ(stop_of({"--colour"}), "ventrel-simulate: unknown option --colour (see --help)");
  EXPECT_EQ(stop_of({"--size"}), "ventrel-simulate: option --size needs a value");
  EXPECT_EQ(stop_of({"--size", "ten"}), "ventrel-simulate: option --size needs a whole number, not \"ten\"");
  EXPECT_EQ(stop_of({"--h2", "0.3,x"}), "ventrel-simulate: option --h2 needs a number, not \"x\"");
  EXPECT_EQ(stop_of({"--traits", "3"}), "ventrel-simulate: --traits must be 1 or 2");
  EXPECT_EQ(stop_of({"--h2", "1"}), "ventrel-simulate: --h2 must lie strictly between 0 and 1");
  EXPECT_EQ(stop_of({"--h2", "0.1,0.2,0.3", "--traits", "2"}),
            "ventrel-simulate: option --h2 needs 1 or 2 values, not 3");
  EXPECT_EQ(stop_of({"--partial-generations", "6"}),
            "ventrel-simulate: --partial-generations must lie in 1..5");
  EXPECT_EQ(stop_of({"--select", "best"}),
            "ventrel-simulate: option --select takes none, phenotype or ebv, not \"best\"");
  EXPECT_EQ(stop_of({"--rg", "1", "--traits", "2"}),
            "ventrel-simulate: --rg and --re must lie strictly between -1 and 1");
  EXPECT_EQ(stop_of({"plain"}), "ventrel-simulate: unexpected argument \"plain\" (options begin with --)");
}

TEST(simulate_options, covariance_matrices_follow_heritability_variance_and_correlation) {
  simulation_options o = parse_command_line({"--traits", "2", "--h2", "0.25,0.5", "--vp", "4,2",
                                             "--rg", "-0.5", "--re", "0.3"}).options;
  const linalg::dense_matrix g = genetic_covariance(o), r = residual_covariance(o);
  EXPECT_DOUBLE_EQ(g(0, 0), 1.0);
  EXPECT_DOUBLE_EQ(g(1, 1), 1.0);
  EXPECT_DOUBLE_EQ(g(0, 1), -0.5);
  EXPECT_DOUBLE_EQ(g(1, 0), -0.5);
  EXPECT_DOUBLE_EQ(r(0, 0), 3.0);
  EXPECT_DOUBLE_EQ(r(1, 1), 1.0);
  EXPECT_DOUBLE_EQ(r(0, 1), 0.3 * std::sqrt(3.0));
}

}  // namespace
}  // namespace ventrel::simulate
