// Reading Gamma: either triangle, agreement of both, positive definiteness.
#include "genomic/metafounders.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include "common/fatal.hpp"

namespace ventrel::genomic {
namespace {

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

std::string stop(const std::string& text) {
  try {
    read_metafounders_gamma(write_temp("gamma_bad.txt", text));
  } catch (const fatal_error& e) {
    return e.lines()[0];
  }
  return "";
}

TEST(metafounders, either_triangle_fills_a_symmetric_matrix) {
  auto g = read_metafounders_gamma(write_temp("gamma1.txt", "1 1 0.4\n2 1 0.1\n2 2 0.3\n1 2 0.1\n"));
  ASSERT_EQ(g.rows, 2);
  EXPECT_EQ(g(0, 1), 0.1);
  EXPECT_EQ(g(1, 0), 0.1);
  EXPECT_EQ(g(1, 1), 0.3);
}

TEST(metafounders, bad_files_stop_with_their_reason) {
  std::string dir = ::testing::TempDir();
  EXPECT_EQ(stop("1 1 0.4\n1 2 0.1\n2 1 0.2\n2 2 0.3\n"),
            "Gamma(1,2) is given twice with different values: file " + dir + "gamma_bad.txt, line 2 and line 3");
  EXPECT_EQ(stop("1 1 0.1\n1 2 0.5\n2 2 0.1\n"), "Gamma of file " + dir + "gamma_bad.txt is not positive definite");
  EXPECT_EQ(stop("1 1 x\n"), "Cannot read i, j and a value of Gamma: file " + dir + "gamma_bad.txt, line 1");
  EXPECT_EQ(stop("0 1 0.1\n"), "Metafounder index out of range 1..5000: file " + dir + "gamma_bad.txt, line 1");
  EXPECT_EQ(stop("1 1 0.1\n5001 5001 0.1\n"),
            "Metafounder index out of range 1..5000: file " + dir + "gamma_bad.txt, line 2");
  // One line with a large index would make a large dense matrix: its missing diagonal stops first.
  EXPECT_EQ(stop("1 1 0.1\n4000 4000 0.1\n"),
            "Gamma(2,2) is not given in metafounder relationship file " + dir + "gamma_bad.txt");
  EXPECT_EQ(stop("\n"), "Metafounder relationship file " + dir + "gamma_bad.txt holds no element of Gamma");
  try {
    read_metafounders_gamma(dir + "no_gamma.txt");
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines()[0], "Metafounder relationship file " + dir + "no_gamma.txt does not exist");
  }
}

}  // namespace
}  // namespace ventrel::genomic
