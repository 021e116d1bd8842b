// The block of the inverse among chosen rows, from the trailing triangle of the factor with the
// chosen rows pivoted last, against the dense inverse.
#include "sparse/inverse_block.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <numeric>

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

// Every element of the block against the dense inverse of d.
void expect_block_of_inverse(const linalg::dense_matrix& d, const std::vector<int>& chosen, double tol) {
  ija_matrix m = ija_of(d);
  const ija_matrix before = m;
  const inverse_block_result b = inverse_block(m, chosen, {1, 0, "test"});
  EXPECT_EQ(m.a, before.a) << "the matrix is left as it is";
  const linalg::dense_matrix inv = reference::dense_spd_inverse(d);
  ASSERT_EQ(b.k, static_cast<std::int64_t>(chosen.size()));
  double worst = 0.0;
  for (std::size_t q = 0; q < chosen.size(); ++q)
    for (std::size_t r = 0; r < chosen.size(); ++r)
      worst = std::max(worst, std::fabs(b.at(q, r) - inv(chosen[q] - 1, chosen[r] - 1)));
  EXPECT_LT(worst, tol);
}

TEST(inverse_block, equals_the_dense_inverse_among_the_chosen_rows_in_the_order_given) {
  // A pedigree inverse, and a sparse matrix with a dense block whose rows the ordering sets
  // aside (more than 16 entries in a matrix of 300 rows).
  expect_block_of_inverse(pedigree_inverse(200, 3), {150, 7, 199, 42, 43, 1}, 1e-10);
  expect_block_of_inverse(random_spd(300, 0.01, 40, 5), {300, 12, 77, 5, 290, 133, 134}, 1e-10);
  // Every row chosen, and a single one.
  std::vector<int> all(60);
  std::iota(all.rbegin(), all.rend(), 1);
  expect_block_of_inverse(random_spd(60, 0.1, 0, 9), all, 1e-10);
  expect_block_of_inverse(random_spd(60, 0.1, 0, 9), {31}, 1e-12);
}

TEST(inverse_block, chosen_rows_unrelated_to_each_other_and_to_the_rest_stay_last) {
  // Two blocks that do not touch and a diagonal row: the elimination forest has several trees,
  // which a postorder may place after the chosen rows' ones.
  linalg::dense_matrix d(30, 30);
  const linalg::dense_matrix a = random_spd(20, 0.2, 0, 11), b = random_spd(9, 0.4, 0, 12);
  for (int i = 0; i < 20; ++i)
    for (int j = 0; j < 20; ++j) d(i, j) = a(i, j);
  for (int i = 0; i < 9; ++i)
    for (int j = 0; j < 9; ++j) d(20 + i, 20 + j) = b(i, j);
  d(29, 29) = 4.0;
  expect_block_of_inverse(d, {30, 3, 25}, 1e-12);
  expect_block_of_inverse(d, {1, 2, 3}, 1e-12);
}

TEST(inverse_block, the_order_puts_the_chosen_rows_last_and_is_a_permutation) {
  ija_matrix m = ija_of(random_spd(300, 0.01, 40, 5));
  std::vector<std::int64_t> ptr;
  const std::vector<int> chosen{17, 3, 250};
  std::int64_t dense = -1;
  const std::vector<std::int64_t> perm = order_chosen_last(view_of(m, ptr), chosen, &dense);
  ASSERT_EQ(perm.size(), 300u);
  EXPECT_EQ(perm[297], 16);
  EXPECT_EQ(perm[298], 2);
  EXPECT_EQ(perm[299], 249);
  std::vector<std::int64_t> sorted(perm);
  std::sort(sorted.begin(), sorted.end());
  for (std::int64_t k = 0; k < 300; ++k) EXPECT_EQ(sorted[static_cast<std::size_t>(k)], k);
  EXPECT_GT(dense, 30) << "the rows of the dense block are set aside";
}

TEST(inverse_block, a_matrix_not_positive_definite_stops_with_its_context) {
  linalg::dense_matrix d(3, 3);
  d(0, 0) = d(1, 1) = d(2, 2) = 1.0;
  d(0, 1) = d(1, 0) = 2.0;
  ija_matrix m = ija_of(d);
  expect_stops({{"indefinite", [&] { inverse_block(m, {1, 3}, {1, 0, "while inverting the test matrix"}); },
                 {"MORLO90 (KELP): An error occurred.", "cholmod_l_factorize: CHOLMOD status 1 (matrix not positive definite)",
                  "while inverting the test matrix"}}});
}

// A random graph's pattern fills in: its factor is dense in a block of about half its rows.
// Upper IJA of order n, `degree` random neighbours a row, a dominant diagonal.
ija_matrix random_graph(int n, int degree, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<std::vector<int>> upper(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < degree; ++k) {
      const int j = static_cast<int>(rng() % static_cast<unsigned>(n));
      if (j != i) upper[static_cast<std::size_t>(std::min(i, j))].push_back(std::max(i, j));
    }
  ija_matrix m;
  m.n = n;
  m.ia.push_back(1);
  for (auto& row : upper) {
    std::sort(row.begin(), row.end());
    row.erase(std::unique(row.begin(), row.end()), row.end());
    m.ja.push_back(static_cast<int>(m.ia.size()));  // the diagonal, from 1
    m.a.push_back(4.0 * degree);
    for (int j : row) {
      m.ja.push_back(j + 1);
      m.a.push_back(-0.5);
    }
    m.ia.push_back(static_cast<int>(m.ja.size()) + 1);
  }
  return m;
}

// The process's address space now, in bytes (VmSize of /proc/self/status).
std::uint64_t address_space() {
  std::ifstream in("/proc/self/status");
  std::string key;
  std::uint64_t kb = 0;
  while (in >> key)
    if (key == "VmSize:" && in >> kb) return kb * 1024;
  return 0;
}

// In a process of its own: factorises a matrix whose factor needs some 300 MB with 64 MB of
// address space left; exits 7 when the run stops with the expected lines.
[[noreturn]] void factor_beyond_the_limit() {
  ija_matrix m = random_graph(8000, 6, 17);
  const rlim_t limit = address_space() + (rlim_t{64} << 20);
  const rlimit r{limit, limit};
  setrlimit(RLIMIT_AS, &r);
  try {
    inverse_block(m, {1, 2, 3}, {1, 0, "while inverting the test matrix"});
  } catch (const fatal_error& e) {
    const std::vector<std::string>& l = e.lines();
    const bool ok = l.size() == 6 &&
                    l[0].rfind("Not enough memory for the Cholesky factor of the matrix: it needs ", 0) == 0 &&
                    l[5] == "while inverting the test matrix";
    std::fprintf(stderr, "%s\n", e.what());
    _exit(ok ? 7 : 2);
  }
  _exit(0);
}

// Without the check CHOLMOD fails only when it allocates ("out of memory"), after the analysis.
TEST(inverse_block, a_factor_that_cannot_fit_stops_before_the_factorisation_with_what_it_needs) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's shadow memory needs the address space that the test limits";
#endif
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process: no OpenMP threads forked
  EXPECT_EXIT(factor_beyond_the_limit(), ::testing::ExitedWithCode(7), "Not enough memory for the Cholesky factor");
}

}  // namespace ventrel::sparse::testing
