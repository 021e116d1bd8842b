// Tests of nrm_times_vector and nrm_times_vector_mf against dense tabular A.
#include "pedigree/colleau.hpp"

#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree/renumber.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

struct sorted_view {
  std::int32_t n = 0;
  std::vector<std::int32_t> perm;
  pedigree_table ped_sorted;
  std::vector<double> inb_sorted;  // by code, groups included
};

sorted_view sort_with_inbreeding(const pedigree_table& ped, std::int32_t nupg,
                                 const std::vector<double>& gamma) {
  sorted_view v;
  v.n = static_cast<std::int32_t>(ped.size()) - 1;
  renumber_pedigree(ped, nupg, v.perm);
  v.ped_sorted = sorted_pedigree(ped, v.perm, nupg);
  std::vector<double> inb;
  compute_inbreeding(ped, inb, {}, group_info{nupg, gamma}, v.perm);
  v.inb_sorted.assign(inb.size(), 0.0);
  for (std::int32_t i = 1; i <= v.n; ++i)
    v.inb_sorted[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(i)])] =
        inb[static_cast<std::size_t>(i)];
  for (std::size_t k = static_cast<std::size_t>(v.n) + 1; k < inb.size(); ++k) v.inb_sorted[k] = inb[k];
  return v;
}

}  // namespace

TEST(colleau, textbook_columns_are_the_columns_of_a) {
  const sorted_view v = sort_with_inbreeding(fx::textbook(), 0, {});
  const double a[6][6] = {
      {1.0, 0.0, 0.5, 0.5, 0.5, 0.25},          {0.0, 1.0, 0.5, 0.0, 0.25, 0.625},
      {0.5, 0.5, 1.0, 0.25, 0.625, 0.5625},     {0.5, 0.0, 0.25, 1.0, 0.625, 0.3125},
      {0.5, 0.25, 0.625, 0.625, 1.125, 0.6875}, {0.25, 0.625, 0.5625, 0.3125, 0.6875, 1.125}};
  std::vector<double> x(7), y(7), q(7);
  for (int j = 1; j <= 6; ++j) {
    std::fill(x.begin(), x.end(), 0.0);
    x[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(j)])] = 1.0;
    nrm_times_vector(6, v.ped_sorted, v.inb_sorted, y, x, q);
    for (int i = 1; i <= 6; ++i)
      EXPECT_DOUBLE_EQ(y[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(i)])], a[i - 1][j - 1])
          << i << "," << j;
  }
}

TEST(colleau, matches_dense_tabular_a_on_random_pedigrees_and_vectors) {
  for (std::uint64_t seed = 1; seed <= 15; ++seed) {
    fx::random_options o;
    o.n = 150;
    o.nupg = seed % 3 == 0 ? 3 : 0;  // groups without Gamma: unknown parents
    const pedigree_table ped = fx::random_pedigree(seed, o);
    const sorted_view v = sort_with_inbreeding(ped, o.nupg, {});
    const ventrel::linalg::dense_matrix a = ventrel::reference::tabular_a(fx::to_reference(ped, o.nupg));
    fx::lcg r(seed);
    std::vector<double> x(ped.size()), y(ped.size()), q(ped.size()), xa(ped.size());
    for (std::int32_t i = 1; i <= o.n; ++i) xa[static_cast<std::size_t>(i)] = r.uniform() - 0.5;
    for (std::int32_t i = 1; i <= o.n; ++i)
      x[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(i)])] = xa[static_cast<std::size_t>(i)];
    nrm_times_vector(o.n, v.ped_sorted, v.inb_sorted, y, x, q);
    for (std::int32_t i = 1; i <= o.n; ++i) {
      double want = 0.0;
      for (std::int32_t j = 1; j <= o.n; ++j) want += a(i - 1, j - 1) * xa[static_cast<std::size_t>(j)];
      EXPECT_NEAR(y[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(i)])], want, 1e-10)
          << seed << " " << i;
    }
  }
}

TEST(colleau, founder_without_progeny_has_one_on_the_diagonal) {
  const pedigree_table ped = {{0, 0}, {0, 0}, {0, 0}, {1, 2}};
  const sorted_view v = sort_with_inbreeding(ped, 0, {});
  std::vector<double> x(4, 0.0), y(4), q(4);
  x[static_cast<std::size_t>(v.perm[3])] = 1.0;
  nrm_times_vector(3, v.ped_sorted, v.inb_sorted, y, x, q);
  EXPECT_DOUBLE_EQ(y[static_cast<std::size_t>(v.perm[3])], 1.0);
  EXPECT_DOUBLE_EQ(q[static_cast<std::size_t>(v.perm[3])], 1.0);
}

TEST(colleau, full_sibs_of_unrelated_founders) {
  const pedigree_table ped = {{0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 2}};
  const sorted_view v = sort_with_inbreeding(ped, 0, {});
  std::vector<double> x(5, 0.0), y(5), q(5);
  x[static_cast<std::size_t>(v.perm[3])] = 1.0;
  nrm_times_vector(4, v.ped_sorted, v.inb_sorted, y, x, q);
  EXPECT_DOUBLE_EQ(y[static_cast<std::size_t>(v.perm[3])], 1.0);
  EXPECT_DOUBLE_EQ(y[static_cast<std::size_t>(v.perm[4])], 0.5);
}

TEST(colleau, metafounder_product_matches_dense_a_with_gamma_rows) {
  for (std::uint64_t seed = 1; seed <= 12; ++seed) {
    fx::random_options o;
    o.n = 120;
    o.nupg = 1 + static_cast<std::int32_t>(seed % 4);
    o.unknown = 0.3;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    const std::vector<double> gamma = fx::random_gamma(o.nupg, seed);
    const sorted_view v = sort_with_inbreeding(ped, o.nupg, gamma);
    const ventrel::linalg::dense_matrix a =
        ventrel::reference::tabular_a(fx::to_reference(ped, o.nupg, gamma));
    const std::int32_t top = o.n + o.nupg;
    fx::lcg r(seed);
    std::vector<double> xa(static_cast<std::size_t>(top) + 1), x(xa.size()), y(xa.size()), q(xa.size());
    for (std::int32_t i = 1; i <= top; ++i) xa[static_cast<std::size_t>(i)] = r.uniform() - 0.5;
    auto code = [&](std::int32_t i) { return i <= o.n ? v.perm[static_cast<std::size_t>(i)] : i; };
    for (std::int32_t i = 1; i <= top; ++i)
      x[static_cast<std::size_t>(code(i))] = xa[static_cast<std::size_t>(i)];
    nrm_times_vector_mf(o.n, v.ped_sorted, v.inb_sorted, group_info{o.nupg, gamma}, y, x, q);
    for (std::int32_t i = 1; i <= top; ++i) {
      double want = 0.0;
      for (std::int32_t j = 1; j <= top; ++j) want += a(i - 1, j - 1) * xa[static_cast<std::size_t>(j)];
      EXPECT_NEAR(y[static_cast<std::size_t>(code(i))], want, 1e-10) << seed << " " << i;
    }
  }
}
