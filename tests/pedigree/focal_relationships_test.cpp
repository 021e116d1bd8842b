// Tests of focal_relationships: A_focal is the focal block of dense tabular A.
#include "pedigree/focal_relationships.hpp"

#include <gtest/gtest.h>

#include "common/fatal.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree/renumber.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

ventrel::linalg::dense_matrix focal(const pedigree_table& ped, std::int32_t nupg,
                                    const std::vector<double>& gamma,
                                    const std::vector<std::int32_t>& animals, int threads) {
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  std::vector<std::int32_t> perm;
  renumber_pedigree(ped, nupg, perm);
  const pedigree_table sorted = sorted_pedigree(ped, perm, nupg);
  std::vector<double> inb;
  compute_inbreeding(ped, inb, {}, group_info{nupg, gamma}, perm);
  std::vector<double> inb_sorted(inb.size(), 0.0);
  for (std::int32_t i = 1; i <= n; ++i)
    inb_sorted[static_cast<std::size_t>(perm[static_cast<std::size_t>(i)])] =
        inb[static_cast<std::size_t>(i)];
  for (std::size_t k = static_cast<std::size_t>(n) + 1; k < inb.size(); ++k) inb_sorted[k] = inb[k];
  testing::internal::CaptureStdout();
  ventrel::linalg::dense_matrix a =
      focal_relationships(n, sorted, inb_sorted, perm, group_info{nupg, gamma}, animals, threads);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Create A for the focal animals using Colleau\n");
  return a;
}

void expect_focal_block(const pedigree_table& ped, std::int32_t nupg, const std::vector<double>& gamma,
                        const std::vector<std::int32_t>& animals, int threads) {
  const ventrel::linalg::dense_matrix a = focal(ped, nupg, gamma, animals, threads);
  const ventrel::linalg::dense_matrix ref = ventrel::reference::tabular_a(fx::to_reference(ped, nupg, gamma));
  const int m = static_cast<int>(animals.size());
  ASSERT_EQ(a.rows, m);
  ASSERT_EQ(a.cols, m);
  for (int k = 0; k < m; ++k)
    for (int j = 0; j < m; ++j) {
      EXPECT_NEAR(a(k, j),
                  ref(animals[static_cast<std::size_t>(k)] - 1, animals[static_cast<std::size_t>(j)] - 1),
                  1e-10);
      EXPECT_EQ(a(k, j), a(j, k));
    }
}

}  // namespace

TEST(focal_relationships, textbook_block) { expect_focal_block(fx::textbook(), 0, {}, {6, 2, 5}, 1); }

TEST(focal_relationships, one_focal_animal_gives_one_plus_f) {
  const ventrel::linalg::dense_matrix a = focal(fx::textbook(), 0, {}, {5}, 2);
  ASSERT_EQ(a.rows, 1);
  EXPECT_DOUBLE_EQ(a(0, 0), 1.125);
}

TEST(focal_relationships, matches_tabular_on_random_pedigrees_with_groups) {
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    fx::random_options o;
    o.n = 200;
    o.nupg = seed % 2 ? 3 : 0;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    std::vector<std::int32_t> animals;
    fx::lcg r(seed);
    for (int k = 0; k < 23; ++k) animals.push_back(1 + r.below(o.n));  // repeats allowed
    expect_focal_block(ped, o.nupg, {}, animals, 1 + static_cast<int>(seed % 3));
  }
}

TEST(focal_relationships, matches_tabular_with_metafounders) {
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    fx::random_options o;
    o.n = 150;
    o.nupg = 2 + static_cast<std::int32_t>(seed % 3);
    o.unknown = 0.3;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    std::vector<std::int32_t> animals;
    fx::lcg r(seed + 50);
    for (int k = 0; k < 17; ++k) animals.push_back(1 + r.below(o.n));
    expect_focal_block(ped, o.nupg, fx::random_gamma(o.nupg, seed), animals, 2);
  }
}

TEST(focal_relationships, matches_tabular_on_a_studbook) {
  const pedigree_table ped = fx::studbook("dorcas");
  std::vector<std::int32_t> animals;
  for (std::int32_t a = 1279; a > 1150; a -= 3) animals.push_back(a);
  expect_focal_block(ped, 0, {}, animals, 2);
}

TEST(focal_relationships, same_matrix_for_any_thread_count) {
  fx::random_options o;
  o.n = 2000;
  o.window = 300;
  const pedigree_table ped = fx::random_pedigree(8, o);
  std::vector<std::int32_t> animals;
  for (std::int32_t a = 1; a <= o.n; a += 7) animals.push_back(a);
  const ventrel::linalg::dense_matrix one = focal(ped, 0, {}, animals, 1);
  for (int threads : {2, 3}) EXPECT_EQ(focal(ped, 0, {}, animals, threads).a, one.a) << threads;
}

TEST(focal_relationships, focal_animal_outside_the_pedigree_stops) {
  try {
    focal(fx::textbook(), 0, {}, {2, 7}, 1);
    FAIL() << "no stop";
  } catch (const ventrel::fatal_error& e) {
    EXPECT_EQ(e.lines().front(), "Focal animal 7 is not in the pedigree (animals 1 to 6)");
  }
}
