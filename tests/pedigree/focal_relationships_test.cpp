// Tests of focal_relationships: A_focal is the focal block of dense tabular A (the textbook's
// among others), the same on any number of threads.
#include "pedigree/focal_relationships.hpp"

#include <gtest/gtest.h>

#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using namespace ventrel::test_support;

namespace {

ventrel::linalg::dense_matrix focal(const pedigree_table& ped, std::int32_t nupg, const std::vector<double>& gamma,
                                    const std::vector<std::int32_t>& animals, int threads) {
  const fx::sorted_view v = fx::sort_with_inbreeding(ped, nupg, gamma);
  ventrel::linalg::dense_matrix a;
  captured_stdout([&] {
    a = focal_relationships(v.n, v.ped_sorted, v.inb_sorted, v.perm, group_info{nupg, gamma}, animals, threads);
  });
  return a;
}

// A_focal(k,j) = ref(a_k, a_j) for animals 1..n, exactly symmetric.
template <class Ref>
void expect_focal_block(const ventrel::linalg::dense_matrix& a, const std::vector<std::int32_t>& animals, Ref ref) {
  const int m = static_cast<int>(animals.size());
  ASSERT_EQ(a.rows, m);
  ASSERT_EQ(a.cols, m);
  for (int k = 0; k < m; ++k)
    for (int j = 0; j < m; ++j) {
      EXPECT_NEAR(a(k, j), ref(animals[static_cast<std::size_t>(k)], animals[static_cast<std::size_t>(j)]), 1e-10)
          << k << "," << j;
      EXPECT_EQ(a(k, j), a(j, k));
    }
}

}  // namespace

TEST(focal_relationships, matches_tabular_with_groups_metafounders_the_textbook_and_a_studbook) {
  struct row {
    pedigree_table ped;
    std::int32_t nupg;
    std::vector<double> gamma;
    std::vector<std::int32_t> animals;  // repeats allowed
    int threads;
  };
  std::vector<row> rows = {{fx::textbook(), 0, {}, {4, 4, 1, 3, 6, 2, 5}, 1}, {fx::textbook(), 0, {}, {5}, 2}};
  for (std::uint64_t seed = 1; seed <= 18; ++seed) {
    const bool mf = seed > 10;  // seeds 11 to 18: metafounders
    fx::random_options o;
    o.n = mf ? 150 : 200;
    o.nupg = mf ? 2 + static_cast<std::int32_t>(seed % 3) : (seed % 2 ? 3 : 0);
    o.unknown = mf ? 0.3 : 0.2;
    row r{fx::random_pedigree(seed, o), o.nupg, mf ? fx::random_gamma(o.nupg, seed) : std::vector<double>{}, {},
          mf ? 2 : 1 + static_cast<int>(seed % 3)};
    fx::lcg g(seed);
    for (int k = 0; k < (mf ? 17 : 23); ++k) r.animals.push_back(1 + g.below(o.n));
    rows.push_back(std::move(r));
  }
  rows.push_back({fx::studbook("dorcas"), 0, {}, {}, 2});
  for (std::int32_t a = 1279; a > 1150; a -= 3) rows.back().animals.push_back(a);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    SCOPED_TRACE(k);
    const row& r = rows[k];
    const ventrel::linalg::dense_matrix ref = ventrel::reference::tabular_a(fx::to_reference(r.ped, r.nupg, r.gamma));
    expect_focal_block(focal(r.ped, r.nupg, r.gamma, r.animals, r.threads), r.animals,
                       [&](std::int32_t i, std::int32_t j) { return ref(i - 1, j - 1); });
  }
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

// The relationships offered a column at a time: every step visited once, its column at the rows
// of the steps before it and the diagonal equal to tabular A; the animals in parents-first order;
// the diagonal 1 + F; the products with vectors equal to tabular A times them. 61 and 203 animals
// make several blocks of four with an uneven last one; one animal is given twice.
TEST(focal_relationship_columns, sweep_products_and_diagonal_match_tabular_a) {
  for (const bool mf : {false, true}) {
    SCOPED_TRACE(mf);
    fx::random_options o;
    o.n = 600;
    o.window = 150;
    o.nupg = mf ? 3 : 2;
    const pedigree_table ped = fx::random_pedigree(mf ? 12 : 4, o);
    const std::vector<double> gamma = mf ? fx::random_gamma(o.nupg, 5) : std::vector<double>{};
    const ventrel::linalg::dense_matrix ref = ventrel::reference::tabular_a(fx::to_reference(ped, o.nupg, gamma));
    const fx::sorted_view v = fx::sort_with_inbreeding(ped, o.nupg, gamma);
    for (const int m : {61, 203}) {
      SCOPED_TRACE(m);
      std::vector<std::int32_t> animals;
      fx::lcg g(static_cast<std::uint64_t>(m));
      for (int k = 0; k < m - 1; ++k) animals.push_back(1 + g.below(o.n));
      animals.push_back(animals[3]);
      for (const int threads : {1, 2}) {
        const ventrel::linalg::symmetric_columns s = focal_relationship_columns(
            v.n, v.ped_sorted, v.inb_sorted, v.perm, group_info{o.nupg, mf ? gamma : std::vector<double>{}}, animals,
            threads);
        ASSERT_EQ(s.n, m);
        ASSERT_EQ(s.order.size(), static_cast<std::size_t>(m));
        for (int k = 1; k < m; ++k)
          EXPECT_LE(v.perm[animals[s.order[k - 1]]], v.perm[animals[s.order[k]]]) << "parents first";
        auto a = [&](int i, int j) { return ref(animals[i] - 1, animals[j] - 1); };
        for (int i = 0; i < m; ++i) EXPECT_NEAR(s.diagonal[i], a(i, i), 1e-12) << i;
        std::vector<int> visits(static_cast<std::size_t>(m), 0);
        std::vector<double> worst(static_cast<std::size_t>(m), 0.0);
        s.sweep([&](int k, const double* col) {
          ++visits[k];
          for (int u = 0; u <= k; ++u)
            worst[k] = std::max(worst[k], std::fabs(col[u] - a(s.order[u], s.order[k])));
        });
        for (int k = 0; k < m; ++k) {
          EXPECT_EQ(visits[k], 1) << k;
          EXPECT_LT(worst[k], 1e-12) << k;
        }
        std::vector<std::vector<double>> x(3, std::vector<double>(static_cast<std::size_t>(m)));
        for (int i = 0; i < m; ++i) x[0][i] = 1.0, x[1][i] = 0.01 * (i % 17) - 0.05, x[2][i] = i == 7;
        const std::vector<std::vector<double>> y = s.times(x);
        for (int q = 0; q < 3; ++q)
          for (int i = 0; i < m; ++i) {
            double want = 0.0;
            for (int j = 0; j < m; ++j) want += a(i, j) * x[q][j];
            EXPECT_NEAR(y[q][i], want, 1e-10 * std::max(1.0, std::fabs(want))) << q << "," << i;
          }
      }
    }
  }
}
