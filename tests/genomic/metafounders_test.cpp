// Reading Gamma: either triangle, agreement of both, positive definiteness, and the stops.
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

TEST(metafounders, bad_files_stop_with_their_reason) {
  const std::string path = ::testing::TempDir() + "gamma_bad.txt", at = "file " + path + ", line ";
  const std::string missing = ::testing::TempDir() + "no_gamma.txt";
  auto read = [](const std::string& text) {
    return [=] { read_metafounders_gamma(write_temp("gamma_bad.txt", text)); };
  };
  expect_stops({
      {"two values", read("1 1 0.4\n1 2 0.1\n2 1 0.2\n2 2 0.3\n"),
       {"Gamma(1,2) is given twice with different values: " + at + "2 and line 3", "Gamma must be symmetric"}},
      {"not positive definite", read("1 1 0.1\n1 2 0.5\n2 2 0.1\n"),
       {"Gamma of file " + path + " is not positive definite"}},
      {"not a number", read("1 1 x\n"), {"Cannot read i, j and a value of Gamma: " + at + "1"}},
      {"two fields", read("1 1\n"), {"Cannot read i, j and a value of Gamma: " + at + "1"}},
      {"infinite", read("1 1 inf\n"), {"Cannot read i, j and a value of Gamma: " + at + "1"}},
      {"index zero", read("1 0 0.1\n"), {"Metafounder index out of range 1..5000: " + at + "1"}},
      {"index above 5000", read("1 1 0.1\n5001 5001 0.1\n"), {"Metafounder index out of range 1..5000: " + at + "2"}},
      // One line with a large index would make a large dense matrix: its missing diagonal stops first.
      {"missing diagonal", read("1 1 0.1\n4000 4000 0.1\n"),
       {"Gamma(2,2) is not given in metafounder relationship file " + path,
        "Gamma is of order 4000 (its largest index) and needs every diagonal element"}},
      {"empty", read("\n"), {"Metafounder relationship file " + path + " holds no element of Gamma"}},
      {"missing", [=] { read_metafounders_gamma(missing); },
       {"Metafounder relationship file " + missing + " does not exist", "It is named by OPTION metafounders_gamma"}},
      {"index 5000", read("5000 5000 0.1\n"), {"Gamma(1,1) is not given in metafounder relationship file *", "*"}},
  });
}

}  // namespace
}  // namespace ventrel::genomic
