// The printout of the model record and the checks of its matrices.
#include "parfile/print_parameters.hpp"

#include <gtest/gtest.h>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::parfile {
namespace {

linalg::dense_matrix from_rows(int n, std::initializer_list<double> v) {
  linalg::dense_matrix m(n, n);
  auto it = v.begin();
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) m(i, j) = *it++;
  return m;
}

model_parameters two_trait_model() {
  model_parameters m;
  m.datafile = "data.txt";
  m.ntrait = 2;
  m.neff = 2;
  m.pos_y = {5, 6};
  m.pos_weight = {0, 0};
  m.pos_eff = {{1, 2}, {3, 0}};
  m.nlev = {12, 1};
  m.effecttype = {effect_type::cross_classified, effect_type::covariable};
  m.nestedcov = {{0, 0}, {1, 2}};
  m.r = from_rows(2, {1.5, 0.25, 0.25, 2});
  random_group g;
  g.effects = {1};
  g.ncorr = 1;
  g.type = random_type::add_an_upginb;
  g.file = "ped.txt";
  g.g = from_rows(2, {0.5, 0.1, 0.1, 0.8});
  m.groups.push_back(g);
  return m;
}

std::string printed(const model_parameters& m) {
  ::testing::internal::CaptureStdout();
  print_parameters(m);
  return ::testing::internal::GetCapturedStdout();
}

// The output of print_parameters when it stops, and the stop's lines.
std::pair<std::string, std::vector<std::string>> printed_until_stop(const model_parameters& m) {
  ::testing::internal::CaptureStdout();
  std::vector<std::string> lines;
  try {
    print_parameters(m);
    ADD_FAILURE() << "the run did not stop";
  } catch (const fatal_error& e) {
    lines = e.lines();
  }
  return {::testing::internal::GetCapturedStdout(), lines};
}

std::string row_line(std::initializer_list<double> v) {
  std::vector<double> x(v);
  return fmt_g_lines(x.data(), x.size(), 20, 12, 5) + "\n";
}

TEST(print_parameters, prints_the_effects_table_with_aligned_columns) {
  const std::string out = printed(two_trait_model());
  EXPECT_NE(out.find(" #  type              position (2)      levels   [positions for nested]\n"
                     " 1  cross-classified       1     2          12\n"
                     " 2  covariable             3     0           1   [1 2]\n"),
            std::string::npos)
      << out;
}

TEST(print_parameters, prints_matrices_row_by_row_in_20g12_5) {
  const std::string out = printed(two_trait_model());
  EXPECT_NE(out.find(" Residual (co)variances\n" + row_line({1.5, 0.25}) + row_line({0.25, 2})),
            std::string::npos) << out;
  EXPECT_NE(out.find(" Type of random effect: additive animal with unknown parent groups and "
                     "inbreeding\n File: ped.txt\n (Co)variances\n" +
                     row_line({0.5, 0.1}) + row_line({0.1, 0.8})),
            std::string::npos) << out;
  EXPECT_EQ(out.find("not positive definite"), std::string::npos);
}

TEST(print_parameters, ends_with_the_notes) {
  const std::string out = printed(two_trait_model());
  const std::string notes = " (1) Weight position 0 means no weights utilized\n"
                            " (2) Effect positions of 0 for some effects and traits means that such\n"
                            "     effects are missing for specified traits\n";
  ASSERT_GE(out.size(), notes.size());
  EXPECT_EQ(out.substr(out.size() - notes.size()), notes);
}

TEST(print_parameters, stops_on_a_matrix_that_is_not_symmetric) {
  model_parameters m = two_trait_model();
  m.r(0, 1) = 0.3;
  EXPECT_EQ(printed_until_stop(m).second[0], "R Matrix not symmetric");
  m = two_trait_model();
  m.groups[0].g(1, 0) = 0.2;
  auto [out, lines] = printed_until_stop(m);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "G Matrix not symmetric");
  // Then which elements differ and where the matrix is given.
  EXPECT_EQ(lines[1].substr(0, lines[1].find(':')), "element (2,1) is 0.2 but (1,2) is " + num(m.groups[0].g(0, 1)));
  EXPECT_NE(lines[1].find("(CO)VARIANCES of the RANDOM_GROUP of effect " + num(m.groups[0].effects.front()) +
                          " in file "),
            std::string::npos);
  EXPECT_NE(out.find(row_line({0.2, 0.8})), std::string::npos);  // shown before the stop
}

TEST(print_parameters, warns_about_a_matrix_that_is_not_positive_definite) {
  model_parameters m = two_trait_model();
  m.r = from_rows(2, {1, 2, 2, 1});
  m.groups[0].g = from_rows(2, {1, 1, 1, 1});
  const std::string out = printed(m);
  EXPECT_NE(out.find("R  Matrix not positive definite\n"), std::string::npos);
  EXPECT_NE(out.find("G  Matrix not positive definite\n"), std::string::npos);
}

TEST(print_parameters, skips_matrices_above_the_printed_order) {
  model_parameters m = two_trait_model();
  const int n = max_printed_order + 1;
  m.groups[0].g = linalg::dense_matrix(n, n);
  for (int i = 0; i < n; ++i) m.groups[0].g(i, i) = 1;
  const std::string out = printed(m);
  EXPECT_NE(out.find(" (Co)variances\nG Matrix skipped from log\n"), std::string::npos);
  m.groups[0].g = linalg::dense_matrix(n - 1, n - 1);
  for (int i = 0; i < n - 1; ++i) m.groups[0].g(i, i) = 1;
  EXPECT_EQ(printed(m).find("skipped"), std::string::npos);
}

TEST(print_parameters, stops_on_a_random_type_outside_the_table) {
  model_parameters m = two_trait_model();
  m.groups[0].type = static_cast<random_type>(1);
  EXPECT_EQ(printed_until_stop(m).second, std::vector<std::string>{"unknown RANDOM-TYPE"});
}

TEST(is_symmetric, allows_only_rounding_differences) {
  EXPECT_TRUE(is_symmetric(from_rows(2, {1, 0.3333333, 0.33333331, 1})));
  EXPECT_FALSE(is_symmetric(from_rows(2, {1, 0.333, 0.334, 1})));
  EXPECT_FALSE(is_symmetric(from_rows(2, {1, 0, 1e-30, 1})));
}

}  // namespace
}  // namespace ventrel::parfile
