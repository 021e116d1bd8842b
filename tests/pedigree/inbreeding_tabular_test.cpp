// Tests of inbreeding method 7 with self-breeding generations (methods 4 and 7 without them are
// checked with every method in inbreeding_test.cpp).
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using namespace ventrel::test_support;

TEST(inbreeding_tabular, selfing_generations_match_the_reference) {
  // Seeds 1 to 10 without groups, seed 21 with three metafounders.
  for (std::uint64_t seed : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 21}) {
    fx::random_options o;
    o.n = seed == 21 ? 150 : 120;
    o.nupg = seed == 21 ? 3 : 0;
    o.unknown = seed == 21 ? 0.3 : 0.2;
    const pedigree_table ped = fx::random_pedigree(seed, o);
    const std::vector<double> gamma = o.nupg > 0 ? fx::random_gamma(3, seed) : std::vector<double>{};
    std::vector<std::int32_t> selfing(ped.size(), 0);
    std::string text;
    fx::lcg r(seed);
    for (std::int32_t i = 1; i <= o.n; ++i)
      if (r.uniform() < 0.3) {
        selfing[static_cast<std::size_t>(i)] = 1 + r.below(5);
        text += std::to_string(i) + " " + std::to_string(selfing[static_cast<std::size_t>(i)]) + "\n";
      }
    const std::string file = write_temp("inbreeding_tabular_self", text);
    const std::vector<double> inb = fx::inbreeding(ped, 7, o.nupg, gamma, 0, file);
    const std::vector<double> ref =
        ventrel::reference::tabular_inbreeding(fx::to_reference(ped, o.nupg, gamma, selfing));
    for (std::int32_t i = 1; i <= o.n; ++i)
      EXPECT_NEAR(inb[static_cast<std::size_t>(i)], ref[static_cast<std::size_t>(i)], 1e-10) << seed << " " << i;
  }
}

TEST(inbreeding_tabular, selfing_formula_for_a_founder_line) {
  // A founder selfed 3 times: F = 1 - 1/8; its progeny with an unrelated founder: F = 0.
  const pedigree_table ped = {{0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 1}};
  const std::vector<double> inb = fx::inbreeding(ped, 7, 0, {}, 0, write_temp("inbreeding_tabular_self", "1 3\n"));
  EXPECT_DOUBLE_EQ(inb[1], 0.875);
  EXPECT_DOUBLE_EQ(inb[3], 0.0);
  EXPECT_DOUBLE_EQ(inb[4], 0.5 * 1.875);  // selfed once more in the pedigree itself
}

TEST(inbreeding_tabular, the_selfing_file_is_read_only_by_method_7) {
  fx::inbreeding(fx::textbook(), 4, 0, {}, 0, "/nonexistent/self");  // not read, so no stop
  EXPECT_EQ(stop_lines([] { fx::inbreeding(fx::textbook(), 7, 0, {}, 0, "/nonexistent/self"); }),
            lines{"File of self-breeding generations /nonexistent/self does not exist"});
}
