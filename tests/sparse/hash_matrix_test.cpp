// sparse_hashm: search modes and slots, growth, probe failures, random additions in both
// storages against std::map, the capacity for a size, and the stops.
#include "sparse/hash_matrix.hpp"

#include <map>
#include <tuple>

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

TEST(hash_matrix, search_modes_agree_on_one_slot_per_element_through_collisions) {
  // Sixty elements of row 7 in a table of 100 (or 128) slots collide on their first probe many
  // times; each must still get a slot of its own that every mode finds again.
  for (auto [method, nel] : {std::pair{hash_method::multiplicative, std::int64_t{100}},
                             std::pair{hash_method::lookup3, std::int64_t{128}}}) {
    SCOPED_TRACE(nel);
    sparse_hashm h;
    init(h, nel, hash_storage::full);
    h.method = method;
    EXPECT_EQ(hash_search(3, 7, h, hash_mode::find), 0);  // absent
    const std::int64_t slot = hash_search(3, 7, h, hash_mode::locate);
    EXPECT_GT(slot, 0);
    EXPECT_EQ(h.filled, 0);  // locating stores nothing
    EXPECT_EQ(hash_search(3, 7, h, hash_mode::insert), slot);
    EXPECT_EQ(hash_search(3, 7, h, hash_mode::insert), slot);  // already there
    EXPECT_EQ(h.filled, 1);
    std::map<std::int64_t, std::pair<int, int>> owner = {{slot, {3, 7}}};
    for (int c = 1; c <= 60; ++c) {
      addm(1.0, 7, c, h);
      const std::int64_t s = hash_search(7, c, h, hash_mode::find);
      ASSERT_GT(s, 0) << c;
      EXPECT_TRUE(owner.emplace(s, std::pair{7, c}).second) << "slot " << s << " given twice";
    }
    EXPECT_EQ(h.filled, 61);
    for (const auto& [s, ij] : owner) {
      EXPECT_EQ(std::pair(slot_row(h, s), slot_col(h, s)), ij);
      EXPECT_EQ(hash_search(ij.first, ij.second, h, hash_mode::locate), s);
    }
  }
}

TEST(hash_matrix, grows_by_half_when_more_than_nine_tenths_full) {
  // The multiplicative hash reaches every slot of 10 slots, so that the fill of exactly 0.9
  // occurs (no growth); lookup3 needs a power of two (14/16, then 15/16). Growth comes before an
  // addition to a table above 0.9, even of an element already there.
  for (auto [method, nel] : {std::pair{hash_method::multiplicative, 10}, std::pair{hash_method::lookup3, 16}}) {
    sparse_hashm h;
    init(h, nel);
    h.method = method;
    int k = 0;
    while (static_cast<double>(h.filled) <= 0.9 * nel) {
      ++k;
      addm(k, k, k + 1, h);
      ASSERT_EQ(h.nel, nel);
    }
    addm(1.0, 1, 2, h);
    EXPECT_EQ(h.nel, nel * 3 / 2);
    EXPECT_EQ(h.filled, k);
    for (int m = 1; m <= k; ++m) EXPECT_EQ(getm(m, m + 1, h), m + (m == 1));
  }
}

TEST(hash_matrix, probe_failure_prints_pb_5000_collisions_and_grows) {
  // With lookup3 a 10-slot table reaches only the slots ((9 AND c) + 1) = 1, 2, 9, 10.
  sparse_hashm h;
  init(h, 10);
  for (int k = 1; k <= 4; ++k) addm(1.0, k, 100 + k, h);
  ASSERT_EQ(h.nel, 10);
  std::int64_t found = 0;
  EXPECT_EQ(captured_stdout([&] {
              found = hash_search(5, 105, h, hash_mode::locate);
              addm(2.0, 5, 105, h);
            }),
            "Pb 5000 collisions\nPb 5000 collisions\n");
  EXPECT_EQ(found, -1);
  EXPECT_GT(h.nel, 10);
  EXPECT_EQ(h.filled, 5);
  for (int k = 1; k <= 5; ++k) EXPECT_EQ(getm(k, 100 + k, h), k == 5 ? 2.0 : 1.0);
}

TEST(hash_matrix, random_additions_match_a_map_through_many_growths) {
  // upper storage ignores the lower triangle, full storage keeps both
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> idx(1, 300);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (hash_storage st : {hash_storage::upper, hash_storage::full})
    for (hash_method method : {hash_method::lookup3, hash_method::multiplicative}) {
      sparse_hashm h;
      init(h, 7, st);
      h.method = method;
      std::map<std::pair<int, int>, double> ref;
      captured_stdout([&] {  // probe failures of small tables may print
        for (int k = 0; k < 20000; ++k) {
          const int i = idx(rng), j = idx(rng);
          const double v = val(rng);
          addm(v, i, j, h);
          if (i <= j || st == hash_storage::full) ref[{i, j}] += v;
        }
      });
      EXPECT_EQ(h.filled, static_cast<std::int64_t>(ref.size()));
      for (const auto& [ij, v] : ref) EXPECT_DOUBLE_EQ(getm(ij.first, ij.second, h), v);
      EXPECT_EQ(getm(301, 301, h), 0.0);
    }
}

TEST(hash_matrix, capacity_for_is_a_power_of_two_with_room) {
  for (std::int64_t e : {0, 1, 11, 12, 1000, 3500000}) {
    const double nel = static_cast<double>(hash_capacity_for(e));
    EXPECT_EQ(std::exp2(std::round(std::log2(nel))), nel) << e;
    EXPECT_GE(0.7 * nel, static_cast<double>(e));
    EXPECT_LT(0.35 * nel, std::max<double>(static_cast<double>(e), 8.0));
  }
}

TEST(hash_matrix, stops) {
  sparse_hashm h, gone;  // gone: never initialised
  init(h, 16);
  expect_stops({{"addm, not ready", [&] { addm(1.0, 1, 2, gone); },
                 {"Structure sparse_hashm not ready; probably destroyed by solving"}},
                {"getm, not ready", [&] { getm(1, 2, gone); }, {"Structure sparse_hashm not ready; probably sorted"}},
                {"index below 1", [&] { addm(1.0, 0, 3, h); }, {"sparse_hashm: index below 1: 0 3"}}});
}

}  // namespace ventrel::sparse::testing
