// sparse_hashm: additions, lookups, search modes, slot placement and growth.
#include "sparse/hash_matrix.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <utility>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::fatal_lines;

// Slot of the first probe of (i, j) under lookup3, written out from Bob Jenkins' mix with its
// 64-bit "rotation" (v << k | v >> (32 - k)).
std::int64_t lookup3_first_slot(std::int64_t i, std::int64_t j, std::int64_t nel) {
  std::uint64_t a = static_cast<std::uint64_t>(i), b = static_cast<std::uint64_t>(j), c = 305419896u;
  auto rot = [](std::uint64_t v, unsigned k) { return (v << k) | (v >> (32u - k)); };
  const unsigned shifts[6] = {4, 6, 8, 16, 19, 4};
  std::uint64_t* abc[3] = {&a, &b, &c};
  // the six lines of the mix: x -= z; x ^= rot(z, k); z += y, with (x, y, z) cycling a, b, c
  for (int line = 0; line < 6; ++line) {
    std::uint64_t& x = *abc[line % 3];
    std::uint64_t& y = *abc[(line + 1) % 3];
    std::uint64_t& z = *abc[(line + 2) % 3];
    x -= z;
    x ^= rot(z, shifts[line]);
    z += y;
  }
  return static_cast<std::int64_t>(c & static_cast<std::uint64_t>(nel - 1)) + 1;
}

std::int64_t slot_holding(const sparse_hashm& h, int i, int j) {
  for (std::int64_t s = 1; s <= h.nel; ++s)
    if (slot_row(h, s) == i && slot_col(h, s) == j) return s;
  return -1;
}

TEST(hash_matrix, init_gives_an_empty_ready_table) {
  sparse_hashm h;
  init(h, 20, hash_storage::full, 7);
  EXPECT_EQ(h.nel, 20);
  EXPECT_EQ(h.filled, 0);
  EXPECT_EQ(h.status, hash_ready);
  EXPECT_EQ(h.storage, hash_storage::full);
  EXPECT_EQ(h.n, 7);
  ASSERT_EQ(h.x.size(), 60u);
  for (double v : h.x) EXPECT_EQ(v, 0.0);
}

TEST(hash_matrix, lower_triangle_additions_are_ignored_in_upper_storage) {
  sparse_hashm h;
  init(h, 64);
  addm(1.5, 5, 3, h);
  EXPECT_EQ(h.filled, 0);
  EXPECT_EQ(getm(5, 3, h), 0.0);
  addm(2.5, 3, 5, h);
  EXPECT_EQ(getm(3, 5, h), 2.5);
  EXPECT_EQ(getm(5, 3, h), 0.0);
  EXPECT_EQ(h.filled, 1);
}

TEST(hash_matrix, full_storage_keeps_both_triangles) {
  sparse_hashm h;
  init(h, 64, hash_storage::full);
  addm(1.5, 5, 3, h);
  addm(2.5, 3, 5, h);
  EXPECT_EQ(getm(5, 3, h), 1.5);
  EXPECT_EQ(getm(3, 5, h), 2.5);
  EXPECT_EQ(h.filled, 2);
}

TEST(hash_matrix, repeated_additions_are_summed_and_counted_once) {
  sparse_hashm h;
  init(h, 64);
  addm(1.0, 2, 4, h);
  addm(0.25, 2, 4, h);
  addm(-3.0, 2, 4, h);
  EXPECT_DOUBLE_EQ(getm(2, 4, h), -1.75);
  EXPECT_EQ(h.filled, 1);
  EXPECT_EQ(getm(4, 4, h), 0.0);
}

TEST(hash_matrix, lookup3_places_an_element_at_its_first_probe) {
  sparse_hashm h;
  init(h, 1024);
  addm(1.0, 123456, 654321, h);
  EXPECT_EQ(slot_holding(h, 123456, 654321), lookup3_first_slot(123456, 654321, 1024));
  addm(1.0, 1, 1, h);
  EXPECT_EQ(slot_holding(h, 1, 1), lookup3_first_slot(1, 1, 1024));
}

TEST(hash_matrix, multiplicative_method_places_and_steps_by_sixteen) {
  sparse_hashm h;
  init(h, 100, hash_storage::full);
  h.method = hash_method::multiplicative;
  addm(1.0, 3, 7, h);  // 5813*3 + 1039*7 = 24712 -> slot 13
  EXPECT_EQ(slot_holding(h, 3, 7), 24712 % 100 + 1);
  // (103, 7) hashes to the same slot (5813*100 is a multiple of 100): next is (13+16) mod 100 + 1
  addm(1.0, 103, 7, h);
  EXPECT_EQ(slot_holding(h, 103, 7), (13 + 16) % 100 + 1);
}

TEST(hash_matrix, search_modes_find_insert_and_locate) {
  sparse_hashm h;
  init(h, 64);
  EXPECT_EQ(hash_search(2, 9, h, hash_mode::find), 0);
  std::int64_t where = hash_search(2, 9, h, hash_mode::locate);
  EXPECT_GT(where, 0);
  EXPECT_EQ(h.filled, 0);
  EXPECT_EQ(hash_search(2, 9, h, hash_mode::insert), where);
  EXPECT_EQ(h.filled, 1);
  EXPECT_EQ(slot_row(h, where), 2);
  EXPECT_EQ(slot_col(h, where), 9);
  EXPECT_EQ(hash_search(2, 9, h, hash_mode::find), where);
  EXPECT_EQ(hash_search(2, 9, h, hash_mode::insert), where);
  EXPECT_EQ(h.filled, 1);
}

TEST(hash_matrix, grows_when_more_than_nine_tenths_full) {
  sparse_hashm h;
  init(h, 10);
  h.method = hash_method::multiplicative;  // reaches every slot of a 10-slot table
  for (int k = 1; k <= 9; ++k) addm(k, k, k, h);
  EXPECT_EQ(h.nel, 10);
  addm(10.0, 10, 10, h);  // fill exactly 0.9 before this addition: no growth
  EXPECT_EQ(h.nel, 10);
  EXPECT_EQ(h.filled, 10);
  addm(1.0, 1, 1, h);  // now above 0.9: grows even for an existing element
  EXPECT_EQ(h.nel, 15);
  EXPECT_EQ(h.filled, 10);
  EXPECT_EQ(getm(1, 1, h), 2.0);
  for (int k = 2; k <= 10; ++k) EXPECT_EQ(getm(k, k, h), k);
}

TEST(hash_matrix, lookup3_table_grows_past_nine_tenths) {
  sparse_hashm h;
  init(h, 16);
  for (int k = 1; k <= 15; ++k) addm(1.0, k, k + 1, h);  // 14/16 before the last: no growth
  EXPECT_EQ(h.nel, 16);
  addm(1.0, 20, 30, h);  // 15/16 > 0.9
  EXPECT_EQ(h.nel, 24);
  EXPECT_EQ(h.filled, 16);
}

TEST(hash_matrix, growth_message_only_when_verbose) {
  for (int level : {0, 1}) {
    sparse_hashm h;
    init(h, 10);
    h.method = hash_method::multiplicative;
    h.msg_level = level;
    for (int k = 1; k <= 10; ++k) addm(1.0, k, k, h);
    ::testing::internal::CaptureStdout();
    addm(1.0, 3, 3, h);
    std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(h.nel, 15);
    if (level == 0) EXPECT_EQ(out, "");
    else EXPECT_EQ(out, "hash matrix increased from 10 to 15 % filled: 100\n");
  }
}

TEST(hash_matrix, probe_failure_prints_pb_5000_collisions_and_grows) {
  // With lookup3 a 10-slot table reaches only the slots ((9 AND c) + 1) = 1, 2, 9, 10.
  sparse_hashm h;
  init(h, 10);
  for (int k = 1; k <= 4; ++k) addm(1.0, k, 100 + k, h);
  ASSERT_EQ(h.nel, 10);
  for (std::int64_t s : {3, 4, 5, 6, 7, 8}) EXPECT_EQ(slot_row(h, s), 0);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(hash_search(5, 105, h, hash_mode::locate), -1);
  addm(2.0, 5, 105, h);
  std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(out, "Pb 5000 collisions\nPb 5000 collisions\n");
  EXPECT_GT(h.nel, 10);
  EXPECT_EQ(h.filled, 5);
  for (int k = 1; k <= 4; ++k) EXPECT_EQ(getm(k, 100 + k, h), 1.0);
  EXPECT_EQ(getm(5, 105, h), 2.0);
}

TEST(hash_matrix, random_additions_match_a_map_through_many_growths) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> idx(1, 300);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (hash_method method : {hash_method::lookup3, hash_method::multiplicative}) {
    sparse_hashm h;
    init(h, 7);
    h.method = method;
    std::map<std::pair<int, int>, double> ref;
    ::testing::internal::CaptureStdout();  // probe failures of small tables may print
    for (int k = 0; k < 20000; ++k) {
      int i = idx(rng), j = idx(rng);
      double v = val(rng);
      addm(v, i, j, h);
      if (i <= j) ref[{i, j}] += v;
    }
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(h.filled, static_cast<std::int64_t>(ref.size()));
    EXPECT_LE(static_cast<double>(h.filled), static_cast<double>(h.nel));
    for (const auto& [ij, v] : ref) EXPECT_DOUBLE_EQ(getm(ij.first, ij.second, h), v);
    EXPECT_EQ(getm(301, 301, h), 0.0);
  }
}

TEST(hash_matrix, table_not_ready_stops_addm_and_getm) {
  sparse_hashm h;
  init(h, 16);
  addm(1.0, 1, 2, h);
  h.status = 0;
  EXPECT_EQ(fatal_lines([&] { addm(1.0, 1, 2, h); }),
            std::vector<std::string>{"Structure sparse_hashm not ready; probably destroyed by solving"});
  EXPECT_EQ(fatal_lines([&] { getm(1, 2, h); }),
            std::vector<std::string>{"Structure sparse_hashm not ready; probably sorted"});
}

TEST(hash_matrix, capacity_for_is_a_power_of_two_with_room) {
  for (std::int64_t e : {0, 1, 11, 12, 1000, 3500000}) {
    std::int64_t nel = hash_capacity_for(e);
    EXPECT_EQ(nel & (nel - 1), 0);
    EXPECT_GE(0.7 * static_cast<double>(nel), static_cast<double>(e));
    EXPECT_LT(0.35 * static_cast<double>(nel), std::max<double>(static_cast<double>(e), 8.0));
  }
}

}  // namespace
}  // namespace ventrel::sparse
