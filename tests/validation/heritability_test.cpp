// Heritabilities and the genetic variance of the validated effect, and the stops on variances
// that cannot give them.
#include "validation/heritability.hpp"

#include <gtest/gtest.h>

#include "common/fatal.hpp"

namespace ventrel::validation {
namespace {

// Two traits; effect 1 fixed, effects 2 and 3 a correlated group (the animal effect and its
// maternal effect), effect 4 a diagonal group.
parfile::model_parameters model() {
  parfile::model_parameters m;
  m.parfile = "p.txt";
  m.ntrait = 2;
  m.neff = 4;
  m.r = linalg::dense_matrix(2, 2);
  m.r(0, 0) = 3.0;
  m.r(1, 1) = 2.0;
  parfile::random_group a;
  a.effects = {2, 3};
  a.ncorr = 2;
  a.g = linalg::dense_matrix(4, 4);
  const double diag[4] = {1.5, 0.8, 0.5, 0.2};  // effect 2 traits 1, 2; effect 3 traits 1, 2
  for (int i = 0; i < 4; ++i) a.g(i, i) = diag[i];
  parfile::random_group h;
  h.effects = {4};
  h.ncorr = 1;
  h.g = linalg::dense_matrix(2, 2);
  h.g(0, 0) = 1.0;
  h.g(1, 1) = 1.0;
  m.groups = {a, h};
  return m;
}

std::vector<std::string> stop_of(const parfile::model_parameters& m, int effect) {
  try {
    get_h2(m, effect);
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

TEST(heritability, genetic_variance_over_the_sum_of_every_diagonal_variance) {
  const parfile::model_parameters m = model();
  EXPECT_EQ(genetic_variances(m, 2), (std::vector<double>{1.5, 0.8}));
  EXPECT_EQ(genetic_variances(m, 3), (std::vector<double>{0.5, 0.2}));
  const std::vector<double> h2 = get_h2(m, 2);
  EXPECT_DOUBLE_EQ(h2[0], 1.5 / (3.0 + 1.5 + 0.5 + 1.0));
  EXPECT_DOUBLE_EQ(h2[1], 0.8 / (2.0 + 0.8 + 0.2 + 1.0));
}

TEST(heritability, a_zero_residual_variance_gives_a_heritability_below_one) {
  parfile::model_parameters m = model();
  m.r(0, 0) = 0.0;
  EXPECT_DOUBLE_EQ(get_h2(m, 2)[0], 1.5 / 3.0);
}

TEST(heritability, zero_or_negative_variances_give_non_finite_or_odd_values_not_a_stop) {
  parfile::model_parameters m = model();
  m.groups[0].g(1, 1) = 0.0;
  EXPECT_EQ(genetic_variances(m, 2)[1], 0.0);
  EXPECT_EQ(get_h2(m, 2)[1], 0.0);
  m.r(0, 0) = -6.0;  // total of trait 1: -6 + 1.5 + 0.5 + 1 = -3
  EXPECT_DOUBLE_EQ(get_h2(m, 2)[0], -0.5);
}

TEST(heritability, stops_when_the_variances_overflow) {
  parfile::model_parameters m = model();
  m.r(0, 0) = 1e308;
  m.groups[1].g(0, 0) = 1e308;
  EXPECT_EQ(stop_of(m, 2), (std::vector<std::string>{
                               "The variances of trait 1 add up to more than the largest real number",
                               "RANDOM_RESIDUAL and (CO)VARIANCES in file p.txt"}));
}

TEST(heritability, stops_when_the_effect_is_in_no_group) {
  EXPECT_EQ(stop_of(model(), 1)[0], "The validation effect 1 is not in any RANDOM_GROUP of p.txt");
}

}  // namespace
}  // namespace ventrel::validation
