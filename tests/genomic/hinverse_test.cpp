// Focal relationships from an inverse relationship matrix: the sparse inverse of A-inverse gives
// back the focal block of A; the reader's stops name the file and the line.
#include "genomic/hinverse.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "common/fatal.hpp"
#include "reference/dense_inverse.hpp"
#include "reference/tabular_a.hpp"
#include "sparse/hash_matrix.hpp"

namespace ventrel::genomic {
namespace {

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

reference::tabular_pedigree random_pedigree(int n, unsigned seed) {
  std::mt19937 g(seed);
  reference::tabular_pedigree p;
  p.parents.resize(static_cast<std::size_t>(n) + 1);
  for (int i = 1; i <= n; ++i) {
    if (i <= n / 5) continue;
    std::uniform_int_distribution<int> pick(0, i - 1);
    p.parents[static_cast<std::size_t>(i)] = {pick(g), pick(g)};
  }
  return p;
}

// Writes the upper triangle of the inverse of A, lines in a shuffled order and some given in
// the lower triangle, as a solver would leave them.
std::string write_ainv(const linalg::dense_matrix& ainv, const std::string& name, unsigned seed) {
  std::vector<std::string> lines;
  std::mt19937 g(seed);
  for (int j = 0; j < ainv.cols; ++j)
    for (int i = 0; i <= j; ++i)
      if (std::fabs(ainv(i, j)) > 1e-13) {
        bool lower = (g() % 3) == 0;
        char buf[96];
        std::snprintf(buf, sizeof buf, "%d %d %.17g\n", lower ? j + 1 : i + 1, lower ? i + 1 : j + 1, ainv(i, j));
        lines.emplace_back(buf);
      }
  std::shuffle(lines.begin(), lines.end(), g);
  std::string text;
  for (const auto& l : lines) text += l;
  return write_temp(name, text);
}

TEST(hinverse, sparse_inverse_gives_the_focal_block_of_a) {
  const int n = 60;
  reference::tabular_pedigree ped = random_pedigree(n, 7);
  linalg::dense_matrix a = reference::tabular_a(ped);
  std::string path = write_ainv(reference::dense_spd_inverse(a), "ainv1.txt", 3);
  // Two focal sets, not sorted, far apart in the pedigree so that some pairs are not in the
  // pattern of A-inverse itself.
  std::vector<std::vector<int>> sets{{55, 3, 41, 60, 12}, {7}};
  auto out = focal_relationships_from_inverse(path, n, sets, {});
  ASSERT_EQ(out.size(), 2u);
  for (std::size_t s = 0; s < sets.size(); ++s)
    for (std::size_t i = 0; i < sets[s].size(); ++i)
      for (std::size_t j = 0; j < sets[s].size(); ++j)
        EXPECT_NEAR(out[s](static_cast<int>(i), static_cast<int>(j)), a(sets[s][i] - 1, sets[s][j] - 1), 1e-10)
            << "set " << s << " (" << i << "," << j << ")";
}

TEST(hinverse, a_pair_given_twice_is_summed) {
  std::string path = write_temp("ainv2.txt", "1 1 2.0\n1 1 2.0\n2 2 0.5\n");
  auto out = focal_relationships_from_inverse(path, 2, {{1, 2}}, {});
  EXPECT_NEAR(out[0](0, 0), 0.25, 1e-14);
  EXPECT_NEAR(out[0](1, 1), 2.0, 1e-14);
  EXPECT_EQ(out[0](0, 1), 0.0);
}

std::vector<std::string> stop_lines(const std::function<void()>& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

std::string stop_message(const std::string& text, int nlev) {
  std::string path = write_temp("bad_hinv.txt", text);
  sparse::sparse_hashm h;
  sparse::init(h, 64, sparse::hash_storage::upper, nlev);
  try {
    read_hinverse(path, nlev, h);
  } catch (const fatal_error& e) {
    return e.lines()[0];
  }
  return "";
}

TEST(hinverse, reader_stops_name_the_file_and_line) {
  std::string dir = ::testing::TempDir();
  EXPECT_EQ(stop_message("1 1 1.0\n2 x 1.0\n", 5),
            "Cannot read row, column and value of the inverse relationship matrix: file " + dir + "bad_hinv.txt, line 2");
  EXPECT_EQ(stop_message("1 1 1.0\n1 2\n", 5),
            "Cannot read row, column and value of the inverse relationship matrix: file " + dir + "bad_hinv.txt, line 2");
  EXPECT_EQ(stop_message("1 1 nan\n", 5),
            "Cannot read row, column and value of the inverse relationship matrix: file " + dir + "bad_hinv.txt, line 1");
  EXPECT_EQ(stop_message("\n6 1 1.0\n", 5),
            "Index outside the levels 1..5 of the animal effect: file " + dir + "bad_hinv.txt, line 2");
  EXPECT_EQ(stop_message("0 1 1.0\n", 5),
            "Index outside the levels 1..5 of the animal effect: file " + dir + "bad_hinv.txt, line 1");
  sparse::sparse_hashm h;
  sparse::init(h, 64, sparse::hash_storage::upper, 5);
  try {
    read_hinverse(dir + "no_such_hinv.txt", 5, h);
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines()[0], "The inverse relationship matrix file " + dir + "no_such_hinv.txt does not exist");
  }
}

TEST(hinverse, the_bad_line_is_shown_below_the_message) {
  std::string path = write_temp("bad_hinv2.txt", "1 1 1.0\n99999999999 1 1.0\n");
  sparse::sparse_hashm h;
  sparse::init(h, 64, sparse::hash_storage::upper, 5);
  try {
    read_hinverse(path, 5, h);
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines(), (std::vector<std::string>{
                             "Cannot read row, column and value of the inverse relationship matrix: file " + path + ", line 2",
                             "  99999999999 1 1.0"}));
  }
}

TEST(hinverse, an_empty_or_short_file_stops_before_the_matrix_is_built) {
  std::string empty = write_temp("ainv_empty.txt", "\n\n");
  EXPECT_EQ(stop_lines([&] { focal_relationships_from_inverse(empty, 3, {{1, 2}}, {}); }),
            (std::vector<std::string>{"The inverse relationship matrix file " + empty + " holds no element",
                                      "It is named by OPTION readHInverse"}));
  // Two billion levels and two lines: stops at once instead of allocating for two billion.
  std::string small = write_temp("ainv_small.txt", "1 1 2.0\n2000000000 2000000000 1.0\n");
  EXPECT_EQ(stop_lines([&] { focal_relationships_from_inverse(small, 2000000000, {{1, 2000000000}}, {}); }),
            (std::vector<std::string>{
                "The inverse relationship matrix file " + small +
                    " holds 2 element(s), fewer than the 2000000000 levels of the animal effect",
                "A positive definite matrix of that order needs at least a diagonal element for every level"}));
  EXPECT_EQ(count_hinverse_elements(write_temp("ainv_three.txt", "1 1 2\n\n2 2 1\n1 2 0.5\n"), 2), 3);
}

TEST(hinverse, a_matrix_that_is_not_positive_definite_stops) {
  std::string path = write_temp("ainv3.txt", "1 1 1.0\n1 2 2.0\n2 2 1.0\n");
  try {
    focal_relationships_from_inverse(path, 2, {{1, 2}}, {});
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines().front(), "MORLO90 (KELP): An error occurred.");
    EXPECT_EQ(e.lines().back(), "while inverting the inverse relationship matrix of file " + path);
  }
}

}  // namespace
}  // namespace ventrel::genomic
