// The bootstrap's generator: first draws, the folded step and the jump-ahead. The expected
// numbers come from lecuyer_first_draws.py beside this file (plain big-integer a*s mod m, no
// Schrage; single precision through IEEE rounding), not from this code.
#include "statistics/random.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace ventrel::statistics {
namespace {

struct expected_draw {
  std::int32_t s1, s2, z;
  float u;
  std::int32_t of_20000, of_10;  // random_integer(1, 20000) and random_integer(1, 10)
};

// Output of lecuyer_first_draws.py: the first draws from the default seeds.
constexpr std::array<expected_draw, 5> first_draws = {{
    {1435150771, 739987727, 695163044, 0.323710531F, 6475, 4},
    {264992611, 1715849705, 696626468, 0.324391991F, 6488, 4},
    {1287986023, 228444173, 1059541850, 0.49338761F, 9868, 5},
    {14695885, 1542136844, 620042603, 0.288729846F, 5775, 3},
    {1778129691, 1020053869, 758075822, 0.353006572F, 7061, 4},
}};

TEST(rng, draws_match_big_integer_arithmetic) {
  lecuyer_stream s;
  rng uniform, big, small;
  for (const expected_draw& e : first_draws) {
    SCOPED_TRACE(e.z);
    EXPECT_EQ(s.next_z(), e.z);
    EXPECT_EQ(s.s1, e.s1);
    EXPECT_EQ(s.s2, e.s2);
    EXPECT_EQ(uniform.uniform_draw(), e.u);
    EXPECT_EQ(big.random_integer(1, 20000), e.of_20000);
    EXPECT_EQ(small.random_integer(1, 10), e.of_10);
  }
  for (int i = 5; i < 1000000; ++i) uniform.uniform_draw();
  EXPECT_EQ(uniform.current().s1, 1080427395);
  EXPECT_EQ(uniform.current().s2, 113458526);
}

TEST(rng, draw_lies_in_open_unit_interval_at_both_ends) {
  // z = 1 and z = m1 - 1 are the extreme combined values.
  EXPECT_EQ(lecuyer_stream::uniform_from_z(1), 4.656612873077393e-10F);
  EXPECT_EQ(lecuyer_stream::uniform_from_z(lecuyer_m1 - 1), 0.99999994F);
  EXPECT_EQ(lecuyer_stream::integer_from_uniform(0.99999994F, 1, 20000), 20000);
  EXPECT_EQ(lecuyer_stream::integer_from_uniform(0.99999994F, 1, 2147483647), 2147483520);
  EXPECT_EQ(lecuyer_stream::integer_from_uniform(4.656612873077393e-10F, 1, 20000), 1);
}

TEST(lecuyer_stream, skip_equals_sequential_draws) {
  lecuyer_stream drawn;
  for (std::uint64_t k = 0; k <= 60000; ++k) {
    if (k <= 200 || k % 9973 == 0) {
      lecuyer_stream jumped;
      jumped.skip(k);
      ASSERT_EQ(jumped, drawn) << k;
    }
    drawn.next_z();
  }
  lecuyer_stream far;  // 2^50 draws on: the second virtual generator's start, from the .py
  far.skip(std::uint64_t{1} << 50);
  EXPECT_EQ(far, (lecuyer_stream{1270879355, 1392541422, false}));
}

TEST(lecuyer_stream, folded_step_equals_schrage_step) {
  lecuyer_stream a, b;
  for (int i = 0; i < 2000000; ++i) ASSERT_EQ(a.next_z_folded(), b.next_z()) << i;
  // Seeds at the edges of the range and of Schrage's quotients.
  const std::int32_t edges[] = {1, 2, lecuyer_q1 - 1, lecuyer_q1, lecuyer_q1 + 1, lecuyer_q2,
                                53668 * 40013, 52774 * 40691, lecuyer_m2 - 1, lecuyer_m2,
                                lecuyer_m1 - 2, lecuyer_m1 - 1};
  for (const std::int32_t e1 : edges) {
    for (const std::int32_t e2 : edges) {
      if (e2 >= lecuyer_m2) continue;
      lecuyer_stream x{e1, e2, false}, y{e1, e2, false};
      EXPECT_EQ(x.next_z_folded(), y.next_z()) << e1 << " " << e2;
      EXPECT_EQ(x, y);
    }
  }
}

}  // namespace
}  // namespace ventrel::statistics
