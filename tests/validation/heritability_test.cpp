// Heritabilities and the genetic variance of the validated effect, and the stops on variances
// that cannot give them.
#include "validation/heritability.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::stop_lines;

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
  m.groups.resize(2);
  m.groups[0].effects = {2, 3};
  m.groups[0].g = linalg::dense_matrix(4, 4);
  const double diag[4] = {1.5, 0.8, 0.5, 0.2};  // effect 2 traits 1, 2; effect 3 traits 1, 2
  for (int i = 0; i < 4; ++i) m.groups[0].g(i, i) = diag[i];
  m.groups[1].effects = {4};
  m.groups[1].g = linalg::dense_matrix(2, 2);
  m.groups[1].g(0, 0) = m.groups[1].g(1, 1) = 1.0;
  return m;
}

TEST(heritability, genetic_variance_over_the_sum_of_every_diagonal_variance) {
  parfile::model_parameters m = model();
  EXPECT_EQ(group_position(m.groups[0], 3, 2, 2), 3);
  EXPECT_EQ(genetic_variances(m, 2), (std::vector<double>{1.5, 0.8}));
  EXPECT_EQ(genetic_variances(m, 3), (std::vector<double>{0.5, 0.2}));
  std::vector<double> h2 = get_h2(m, 2);
  EXPECT_DOUBLE_EQ(h2[0], 1.5 / (3.0 + 1.5 + 0.5 + 1.0));
  EXPECT_DOUBLE_EQ(h2[1], 0.8 / (2.0 + 0.8 + 0.2 + 1.0));
  // A zero residual variance still leaves the other effects in the total.
  m.r(0, 0) = 0.0;
  EXPECT_DOUBLE_EQ(get_h2(m, 2)[0], 1.5 / 3.0);
}

TEST(heritability, stops_when_the_effect_is_in_no_group_or_the_variances_overflow) {
  parfile::model_parameters m = model();
  EXPECT_EQ(stop_lines([&] { get_h2(m, 1); })[0], "The validation effect 1 is not in any RANDOM_GROUP of p.txt");
  m.r(1, 1) = 1e308;
  m.groups[1].g(1, 1) = 1e308;
  EXPECT_EQ(stop_lines([&] { get_h2(m, 2); })[0], "The variances of trait 2 add up to more than the largest real number");
}

}  // namespace
}  // namespace ventrel::validation
