// Hash matrix to IJA: the whole matrix and blocks, with 32- and 64-bit row pointers, against a
// dense accumulation of the same additions.
#include "sparse/convert_hash_ija.hpp"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <utility>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::dense_of;
using testing::fatal_lines;
using testing::ija_problem;

// Random additions (lower ones included, which upper storage ignores) into a hash matrix and
// into a dense upper triangle with the set of positions touched.
struct random_fill {
  sparse_hashm h;
  linalg::dense_matrix dense;  // upper triangle accumulated
  std::set<std::pair<int, int>> pattern;
};

random_fill make_random(int n, int additions, unsigned seed, bool with_diagonal) {
  random_fill r;
  init(r.h, 16, hash_storage::upper, n);
  r.dense = linalg::dense_matrix(n, n);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> idx(1, n);
  std::uniform_real_distribution<double> val(-2.0, 2.0);
  auto add = [&](double v, int i, int j) {
    addm(v, i, j, r.h);
    if (i <= j) {
      r.dense(i - 1, j - 1) += v;
      r.pattern.insert({i, j});
    }
  };
  if (with_diagonal)
    for (int i = 1; i <= n; ++i) add(val(rng), i, i);
  for (int k = 0; k < additions; ++k) add(val(rng), idx(rng), idx(rng));
  return r;
}

template <class Ptr>
void expect_matches(const basic_ija<Ptr>& m, const random_fill& r, int first, int last) {
  ASSERT_EQ(ija_problem(m), "");
  ASSERT_EQ(m.n, last - first + 1);
  std::size_t expected_nz = 0;
  for (const auto& [i, j] : r.pattern)
    if (i >= first && j <= last && i <= last && j >= first) ++expected_nz;
  EXPECT_EQ(m.ja.size(), expected_nz);
  for (int i = first; i <= last; ++i)
    for (int j = i; j <= last; ++j) {
      double got = getm_ija(m, i - first + 1, j - first + 1);
      EXPECT_DOUBLE_EQ(got, r.dense(i - 1, j - 1)) << i << "," << j;
      bool stored = ija_position(m, i - first + 1, j - first + 1) >= 0;
      EXPECT_EQ(stored, r.pattern.count({i, j}) == 1) << i << "," << j;
    }
}

TEST(convert_hash_ija, empty_matrix_gives_ia_one_for_every_row) {
  sparse_hashm h;
  init(h, 16, hash_storage::upper, 5);
  ija_matrix m;
  convert_hash_ija(h, m);
  EXPECT_EQ(m.n, 5);
  EXPECT_EQ(m.ia, std::vector<int>(6, 1));
  EXPECT_TRUE(m.ja.empty());
  EXPECT_TRUE(m.a.empty());
}

TEST(convert_hash_ija, random_matrix_matches_dense_reference) {
  random_fill r = make_random(60, 900, 11, true);
  ija_matrix m;
  convert_hash_ija(r.h, m);
  expect_matches(m, r, 1, 60);
  EXPECT_EQ(r.h.status, hash_ready);  // the hash matrix stays usable
  for (int i = 1; i <= 60; ++i)  // the diagonal heads every row
    EXPECT_EQ(m.ja[static_cast<std::size_t>(m.ia[static_cast<std::size_t>(i - 1)] - 1)], i);
}

TEST(convert_hash_ija, random_matrix_without_full_diagonal_and_64_bit_pointers) {
  random_fill r = make_random(40, 300, 12, false);
  ija8_matrix m;
  convert_hash_ija(r.h, m);
  expect_matches(m, r, 1, 40);
}

TEST(convert_hash_ija, long_rows_are_sorted) {
  random_fill r = make_random(200, 30000, 13, true);  // dense: rows of up to 200 elements
  ija_matrix m;
  convert_hash_ija_general(r.h, m);
  expect_matches(m, r, 1, 200);
}

TEST(convert_hash_ija, order_from_largest_index_when_not_stated) {
  sparse_hashm h;
  init(h, 16);
  addm(1.0, 2, 7, h);
  ija_matrix m;
  convert_hash_ija(h, m);
  EXPECT_EQ(m.n, 7);
  EXPECT_EQ(m.ia, (std::vector<int>{1, 1, 2, 2, 2, 2, 2, 2}));
  EXPECT_EQ(m.ja, std::vector<int>{7});
}

TEST(convert_hash_ija, full_storage_is_not_converted) {
  sparse_hashm h;
  init(h, 16, hash_storage::full, 3);
  ija_matrix m;
  EXPECT_EQ(fatal_lines([&] { convert_hash_ija(h, m); }),
            std::vector<std::string>{"CONVERT_HASH_IJA: not yet implemented for full-stored hash matrix"});
  EXPECT_EQ(fatal_lines([&] { convert_hash_ija_general(h, m); }),
            std::vector<std::string>{"CONVERT_HASH_IJA_GENERAL: not yet implemented for full-stored matrix"});
}

TEST(convert_hash_ija, too_many_elements_for_the_room_given) {
  random_fill r = make_random(10, 30, 14, true);
  ija_matrix m;
  auto lines = fatal_lines([&] { convert_hash_ija(r.h, m, 5); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "CONVERT_HASH_IJA_GENERAL: too many elements found in a hash matrix");
  EXPECT_EQ(lines[1], "The upper limit & actual number of elements 5 " + std::to_string(r.h.filled));
  convert_hash_ija(r.h, m, r.h.filled);  // exactly enough room
  EXPECT_EQ(static_cast<std::int64_t>(m.ja.size()), r.h.filled);
}

TEST(convert_hash_ija_block, block_is_renumbered_from_one) {
  random_fill r = make_random(50, 700, 15, true);
  ija_matrix m;
  convert_hash_ija_block(r.h, m, 12, 31);
  expect_matches(m, r, 12, 31);
  ija8_matrix m8;
  convert_hash_ija_block(r.h, m8, 1, 50);
  expect_matches(m8, r, 1, 50);
  convert_hash_ija_block(r.h, m8, 50, 50);
  expect_matches(m8, r, 50, 50);
}

TEST(convert_hash_ija_block, abnormal_ranges_stop) {
  random_fill r = make_random(20, 50, 16, true);
  ija_matrix m;
  for (auto [first, last] : {std::pair{5, 4}, std::pair{0, 3}, std::pair{3, 21}}) {
    auto lines = fatal_lines([&] { convert_hash_ija_block(r.h, m, first, last); });
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "CONVERT_HASH_IJA_BLOCK: abnormal range specified");
  }
}

TEST(convert_hash_ija_block, too_many_elements_in_the_block) {
  random_fill r = make_random(20, 80, 17, true);
  ija_matrix m;
  convert_hash_ija_block(r.h, m, 1, 10);
  std::int64_t in_block = static_cast<std::int64_t>(m.ja.size());
  auto lines = fatal_lines([&] { convert_hash_ija_block(r.h, m, 1, 10, in_block - 1); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "CONVERT_HASH_IJA_BLOCK: too many elements found in a hash matrix");
  EXPECT_EQ(lines[1], "The upper limit & actual number of elements " + std::to_string(in_block - 1) +
                          " " + std::to_string(in_block));
}

TEST(convert_hash_ija, element_beyond_the_stated_order_stops) {
  sparse_hashm h;
  init(h, 16, hash_storage::upper, 3);
  addm(1.0, 2, 4, h);
  ija_matrix m;
  auto lines = fatal_lines([&] { convert_hash_ija(h, m); });
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "CONVERT_HASH_IJA_GENERAL: element outside the order of the matrix");
}

}  // namespace
}  // namespace ventrel::sparse
