// Hash matrix to IJA: the whole matrix and blocks, with 32- and 64-bit row pointers, against a
// dense accumulation of the same additions; the order of the result; the stops.
#include "sparse/convert_hash_ija.hpp"

#include <tuple>

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

// The IJA matrix holds exactly the positions filled within rows and columns first..last, with
// their sums, renumbered from 1.
template <class Ptr>
void expect_block_of(const basic_ija<Ptr>& m, const hash_fill& r, int first, int last) {
  ASSERT_TRUE(well_formed_ija(m));
  ASSERT_EQ(m.n, last - first + 1);
  for (int i = first; i <= last; ++i)
    for (int j = i; j <= last; ++j) {
      const int bi = i - first + 1, bj = j - first + 1;
      EXPECT_DOUBLE_EQ(getm_ija(m, bi, bj), r.matrix(i - 1, j - 1)) << i << "," << j;
      EXPECT_EQ(ija_position(m, bi, bj) >= 0, r.matrix(i - 1, j - 1) != 0.0) << i << "," << j;
    }
}

TEST(convert_hash_ija, random_matrices_match_the_dense_sums) {
  // order, additions, with a full diagonal, block first..last (last 0: the whole matrix)
  unsigned seed = 11;
  for (const auto& [n, additions, with_diagonal, first, last] : std::vector<std::tuple<int, int, bool, int, int>>{
           {60, 900, true, 1, 0}, {40, 300, false, 1, 0},
           {200, 30000, true, 1, 0},  // rows longer than the insertion sort takes
           {50, 700, true, 12, 31}, {50, 700, true, 50, 50}}) {
    SCOPED_TRACE(seed);
    const hash_fill r = random_hash(n, additions, seed++, with_diagonal);
    ija_matrix m;
    ija8_matrix m8;
    if (last == 0) {
      convert_hash_ija(r.h, m);
      convert_hash_ija_general(r.h, m8);
    } else {
      convert_hash_ija_block(r.h, m, first, last);
      convert_hash_ija_block(r.h, m8, first, last);
    }
    expect_block_of(m, r, first, last ? last : n);
    expect_block_of(m8, r, first, last ? last : n);
    EXPECT_EQ(r.h.status, hash_ready);  // the hash matrix stays usable
  }
}

TEST(convert_hash_ija, order_is_the_stated_one_or_the_largest_index) {
  sparse_hashm h;
  init(h, 16, hash_storage::upper, 5);
  ija_matrix m;
  convert_hash_ija(h, m);  // empty
  EXPECT_EQ(m.ia, std::vector<int>(6, 1));
  h.n = 0;
  addm(1.0, 2, 7, h);
  convert_hash_ija(h, m);
  EXPECT_EQ(m.ia, (std::vector<int>{1, 1, 2, 2, 2, 2, 2, 2}));
}

TEST(convert_hash_ija, stops) {
  sparse_hashm full, beyond;
  init(full, 16, hash_storage::full, 3);
  init(beyond, 16, hash_storage::upper, 3);
  addm(1.0, 2, 4, beyond);
  const hash_fill r = random_hash(20, 80, 17);
  ija_matrix m;
  convert_hash_ija(r.h, m, r.h.filled);  // room for exactly the elements: enough
  auto block = [&](int first, int last) { return [&, first, last] { convert_hash_ija_block(r.h, m, first, last); }; };
  const std::string abnormal = "CONVERT_HASH_IJA_BLOCK: abnormal range specified";
  expect_stops({
      {"full storage", [&] { convert_hash_ija(full, m); },
       {"CONVERT_HASH_IJA: not yet implemented for full-stored hash matrix"}},
      {"room", [&] { convert_hash_ija(r.h, m, r.h.filled - 1); },
       {"CONVERT_HASH_IJA_GENERAL: too many elements found in a hash matrix",
        "The upper limit & actual number of elements " + std::to_string(r.h.filled - 1) + " " +
            std::to_string(r.h.filled)}},
      {"beyond the order", [&] { convert_hash_ija(beyond, m); },
       {"CONVERT_HASH_IJA_GENERAL: element outside the order of the matrix", "*"}},
      {"first > last", block(5, 4), {abnormal, "*"}},
      {"first < 1", block(0, 3), {abnormal, "*"}},
      {"last > n", block(3, 21), {abnormal, "range: 3 21; order of the matrix: 20"}},
  });
}

}  // namespace ventrel::sparse::testing
