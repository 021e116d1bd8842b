// Reading Gamma: either triangle, and the stops that the end-to-end runs do not reach.
#include "genomic/metafounders.hpp"

#include <gtest/gtest.h>

#include "support/test_support.hpp"

namespace ventrel::genomic {
namespace {

using namespace test_support;

TEST(metafounders, either_triangle_fills_a_symmetric_matrix) {
  const auto g = read_metafounders_gamma(write_temp("gamma1.txt", "1 1 0.4\n2 1 0.1\n\n2 2 0.3\n1 2 0.1\n"));
  ASSERT_EQ(g.rows, 2);
  ASSERT_EQ(g.cols, 2);
  EXPECT_EQ(g.a, (std::vector<double>{0.4, 0.1, 0.1, 0.3}));
}

TEST(metafounders, stops_the_end_to_end_runs_do_not_try) {
  const std::string path = ::testing::TempDir() + "gamma_bad.txt";
  auto read = [](const std::string& text) {
    return [=] { read_metafounders_gamma(write_temp("gamma_bad.txt", text)); };
  };
  expect_stops({
      {"infinite", read("1 1 inf\n"), {"Cannot read i, j and a value of Gamma: file " + path + ", line 1"}},
      {"index zero", read("1 0 0.1\n"), {"Metafounder index out of range 1..5000: *"}},
      {"empty", read("\n"), {"Metafounder relationship file " + path + " holds no element of Gamma"}},
      {"index 5000", read("5000 5000 0.1\n"), {"Gamma(1,1) is not given in metafounder relationship file *", "*"}},
  });
}

}  // namespace
}  // namespace ventrel::genomic
