// The printout of the model record and the checks of its matrices.
#include "parfile/print_parameters.hpp"

#include "common/format.hpp"
#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

using test_support::lines;
using test_support::stop_lines;

linalg::dense_matrix from_rows(int n, std::initializer_list<double> v) {
  linalg::dense_matrix m(n, n);
  auto it = v.begin();
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) m(i, j) = *it++;
  return m;
}

// Two traits, a fixed effect and a nested covariable, one group with a pedigree and one without.
model_parameters two_trait_model() {
  model_parameters m;
  m.parfile = "par.txt";
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
  m.groups.resize(2);
  m.groups[0] = {{1}, 1, random_type::add_an_upginb, "ped.txt", from_rows(2, {0.5, 0.1, 0.1, 0.8})};
  m.groups[1] = {{2}, 1, random_type::diagonal, "", from_rows(2, {1, 0, 0, 1})};
  return m;
}

// What print_parameters prints, and the lines of its stop ({"no stop"} when it ends normally).
std::pair<std::string, lines> run(const model_parameters& m) {
  ::testing::internal::CaptureStdout();
  const lines stop = stop_lines([&] { print_parameters(m); });
  return {::testing::internal::GetCapturedStdout(), stop};
}

std::string row_line(std::vector<double> x) { return fmt_g_lines(x.data(), x.size(), 20, 12, 5) + "\n"; }

// The layout itself is checked end to end; here the lines no end-to-end model has: a nested
// covariable, a group without a file, a type description of its own and a 2x2 G row by row.
TEST(print_parameters, prints_nested_columns_files_types_and_matrices_row_by_row) {
  const auto [out, stop] = run(two_trait_model());
  EXPECT_EQ(stop, lines{"no stop"});
  for (const std::string& part :
       {std::string(" 2  covariable             3     0           1   [1 2]\n"),
        "\n Random group 1, effect(s): 1\n Type of random effect: additive animal with unknown parent groups and "
        "inbreeding\n File: ped.txt\n (Co)variances\n" + row_line({0.5, 0.1}) + row_line({0.1, 0.8}),
        std::string(" Type of random effect: diagonal\n File: (none)\n")})
    EXPECT_NE(out.find(part), std::string::npos) << part << "\nin\n" << out;
}

TEST(print_parameters, stops_on_a_residual_that_is_not_square_and_symmetric_or_an_unknown_type) {
  model_parameters r = two_trait_model(), nonsquare = r, type = r;
  r.r(0, 1) = 0.3;
  nonsquare.r = linalg::dense_matrix(2, 3);
  type.groups[1].type = static_cast<random_type>(1);
  EXPECT_EQ(run(r).second, (lines{"R Matrix not symmetric",
                                  "element (2,1) is 0.25 but (1,2) is 0.3: RANDOM_RESIDUAL in file par.txt"}));
  EXPECT_EQ(run(nonsquare).second, lines{"R Matrix not symmetric"});
  EXPECT_EQ(run(type).second, lines{"unknown RANDOM-TYPE"});
}

TEST(print_parameters, skips_matrices_above_the_printed_order) {
  model_parameters m = two_trait_model();
  for (int n : {max_printed_order + 1, max_printed_order}) {
    m.groups[0].g = linalg::dense_matrix(n, n);
    for (int i = 0; i < n; ++i) m.groups[0].g(i, i) = 1;
    const bool skipped = run(m).first.find(" (Co)variances\nG Matrix skipped from log\n") != std::string::npos;
    EXPECT_EQ(skipped, n > max_printed_order) << n;
  }
}

TEST(is_symmetric, allows_only_rounding_differences) {
  EXPECT_TRUE(is_symmetric(from_rows(2, {1, 0.3333333, 0.33333331, 1})));
  EXPECT_FALSE(is_symmetric(from_rows(2, {1, 0.333, 0.334, 1})));
  EXPECT_FALSE(is_symmetric(from_rows(2, {1, 0, 1e-30, 1})));
}

}  // namespace
}  // namespace ventrel::parfile
