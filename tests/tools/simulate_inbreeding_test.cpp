// Inbreeding by ancestor tracing against the tabular relationship matrix.
#include "simulate/inbreeding.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "reference/tabular_a.hpp"
#include "simulate/rng.hpp"

namespace ventrel::simulate {
namespace {

// A random pedigree with much inbreeding: parents drawn among the latest animals, some unknown,
// some full-sib and parent-offspring matings.
struct random_pedigree {
  std::vector<int> sire, dam;
};

random_pedigree make_pedigree(int n, std::uint64_t seed) {
  rng r(seed);
  random_pedigree p;
  p.sire.assign(static_cast<std::size_t>(n) + 1, 0);
  p.dam.assign(static_cast<std::size_t>(n) + 1, 0);
  for (int i = 6; i <= n; ++i) {
    const int window = i - 1 < 12 ? i - 1 : 12;
    auto pick = [&]() { return r.uniform() < 0.1 ? 0 : i - 1 - r.below(window); };
    p.sire[static_cast<std::size_t>(i)] = pick();
    p.dam[static_cast<std::size_t>(i)] = pick();
  }
  return p;
}

std::vector<double> tabular(const random_pedigree& p) {
  reference::tabular_pedigree t;
  t.parents.resize(p.sire.size());
  for (std::size_t i = 1; i < p.sire.size(); ++i) t.parents[i] = {p.sire[i], p.dam[i]};
  return reference::tabular_inbreeding(t);
}

TEST(simulate_inbreeding, mendelian_coefficient_by_known_parents) {
  const std::vector<double> inb = {0.0, 0.2, 0.1};
  EXPECT_DOUBLE_EQ(mendelian_coefficient(0, 0, inb), 1.0);
  EXPECT_DOUBLE_EQ(mendelian_coefficient(1, 0, inb), 0.75 - 0.25 * 0.2);
  EXPECT_DOUBLE_EQ(mendelian_coefficient(0, 2, inb), 0.75 - 0.25 * 0.1);
  EXPECT_DOUBLE_EQ(mendelian_coefficient(1, 2, inb), 0.5 - 0.25 * 0.3);
}

TEST(simulate_inbreeding, relationship_column_equals_the_tabular_matrix) {
  const int n = 120;
  random_pedigree p = make_pedigree(n, 5);
  std::vector<double> inb(static_cast<std::size_t>(n) + 1, 0.0), dvar(static_cast<std::size_t>(n) + 1, 1.0);
  inbreeding_of_new_animals(p.sire, p.dam, inb, dvar, 1, n);
  reference::tabular_pedigree t;
  t.parents.resize(p.sire.size());
  for (std::size_t i = 1; i < p.sire.size(); ++i) t.parents[i] = {p.sire[i], p.dam[i]};
  const linalg::dense_matrix a = reference::tabular_a(t);
  std::vector<double> col;
  for (int s : {1, 7, 60, 119}) {
    for (int upto : {s, n}) {
      relationship_column(s, upto, p.sire, p.dam, dvar, col);
      ASSERT_EQ(col.size(), static_cast<std::size_t>(upto) + 1);
      EXPECT_EQ(col[0], 0.0);
      for (int j = 1; j <= upto; ++j) EXPECT_NEAR(col[static_cast<std::size_t>(j)], a(s - 1, j - 1), 1e-12) << s << "," << j;
    }
  }
}

TEST(simulate_inbreeding, equals_the_tabular_method_animal_by_animal) {
  const int n = 300;
  random_pedigree p = make_pedigree(n, 3);
  std::vector<double> inb(static_cast<std::size_t>(n) + 1, 0.0), dvar(static_cast<std::size_t>(n) + 1, 1.0);
  inbreeding_of_new_animals(p.sire, p.dam, inb, dvar, 1, n);  // parents inside the range: in order
  const std::vector<double> ref = tabular(p);
  int inbred = 0;
  for (int i = 1; i <= n; ++i) {
    EXPECT_NEAR(inb[static_cast<std::size_t>(i)], ref[static_cast<std::size_t>(i)], 1e-12) << "animal " << i;
    if (ref[static_cast<std::size_t>(i)] > 0.1) ++inbred;
    EXPECT_DOUBLE_EQ(dvar[static_cast<std::size_t>(i)],
                     mendelian_coefficient(p.sire[static_cast<std::size_t>(i)], p.dam[static_cast<std::size_t>(i)], inb));
  }
  EXPECT_GT(inbred, 50);  // the pedigree does test inbreeding
}

TEST(simulate_inbreeding, a_range_of_independent_animals_gives_the_same_as_one_by_one) {
  const int n = 200;
  random_pedigree p = make_pedigree(n, 11);
  // Animals 151..200 get parents among 1..150 only, so the range is one generation.
  rng r(2);
  for (int i = 151; i <= n; ++i) {
    p.sire[static_cast<std::size_t>(i)] = 150 - r.below(20);
    p.dam[static_cast<std::size_t>(i)] = 150 - r.below(20);
  }
  std::vector<double> inb(static_cast<std::size_t>(n) + 1, 0.0), dvar(static_cast<std::size_t>(n) + 1, 1.0);
  inbreeding_of_new_animals(p.sire, p.dam, inb, dvar, 1, 150);
  inbreeding_of_new_animals(p.sire, p.dam, inb, dvar, 151, n);  // parallel branch
  const std::vector<double> ref = tabular(p);
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(inb[static_cast<std::size_t>(i)], ref[static_cast<std::size_t>(i)], 1e-12);
}

}  // namespace
}  // namespace ventrel::simulate
