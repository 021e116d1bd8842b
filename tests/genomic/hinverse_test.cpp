// Focal relationships from an inverse relationship matrix: the sparse inverse of A-inverse gives
// back the focal block of A; the reader's stops name the file and the line.
#include "genomic/hinverse.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>

#include "reference/dense_inverse.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "reference/tabular_a.hpp"
#include "support/test_support.hpp"

namespace ventrel::genomic {
namespace {

using namespace test_support;

TEST(hinverse, sparse_inverse_gives_the_focal_block_of_a) {
  // A random pedigree of 60 animals (the first 12 founders), and the upper triangle of the
  // inverse of its A written in a shuffled order, some lines given in the lower triangle, as a
  // solver would leave them.
  const int n = 60;
  std::mt19937 g(7);
  reference::tabular_pedigree ped;
  ped.parents.resize(n + 1);
  for (int i = n / 5 + 1; i <= n; ++i) {
    std::uniform_int_distribution<int> pick(0, i - 1);
    ped.parents[static_cast<std::size_t>(i)] = {pick(g), pick(g)};
  }
  const linalg::dense_matrix a = reference::tabular_a(ped);
  const linalg::dense_matrix ainv = reference::dense_spd_inverse(a);
  std::vector<std::string> rows;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i)
      if (std::fabs(ainv(i, j)) > 1e-13) {
        const bool lower = g() % 3 == 0;
        char buf[96];
        std::snprintf(buf, sizeof buf, "%d %d %.17g\n", lower ? j + 1 : i + 1, lower ? i + 1 : j + 1, ainv(i, j));
        rows.emplace_back(buf);
      }
  std::shuffle(rows.begin(), rows.end(), g);
  std::string text;
  for (const auto& l : rows) text += l;
  // Two focal sets, not sorted, far apart in the pedigree so that some pairs are not in the
  // pattern of A-inverse itself.
  const std::vector<std::vector<int>> sets{{55, 3, 41, 60, 12}, {7}};
  const auto out = focal_relationships_from_inverse(write_temp("ainv1.txt", text), n, sets, {});
  ASSERT_EQ(out.size(), 2u);
  for (std::size_t s = 0; s < sets.size(); ++s)
    for (std::size_t i = 0; i < sets[s].size(); ++i)
      for (std::size_t j = 0; j < sets[s].size(); ++j)
        EXPECT_NEAR(out[s](static_cast<int>(i), static_cast<int>(j)), a(sets[s][i] - 1, sets[s][j] - 1), 1e-10)
            << "set " << s << " (" << i << "," << j << ")";
}

TEST(hinverse, a_pair_given_twice_is_summed_and_blank_lines_are_skipped) {
  const std::string path = write_temp("ainv2.txt", "1 1 2.0\n\n1 1 2.0\n2 2 0.5\n");
  EXPECT_EQ(count_hinverse_elements(path, 2), 3);
  const auto out = focal_relationships_from_inverse(path, 2, {{1, 2}}, {});
  EXPECT_NEAR(out[0](0, 0), 0.25, 1e-14);
  EXPECT_NEAR(out[0](1, 1), 2.0, 1e-14);
  EXPECT_EQ(out[0](0, 1), 0.0);
}

TEST(hinverse, the_matrix_read_in_one_pass_equals_the_one_added_up_in_a_hash_table) {
  // Lines in random order, in either triangle, a pair given up to four times with values that
  // do not add up exactly in every order: the sums must be those of the file's order.
  std::mt19937 g(11);
  std::uniform_int_distribution<int> idx(1, 40);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  std::string text;
  for (int i = 1; i <= 40; ++i) text += std::to_string(i) + " " + std::to_string(i) + " 3.0\n";
  for (int k = 0; k < 400; ++k) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "%d %d %.17g\n", idx(g), idx(g) % 7 + 1, val(g) * 1e-3 + (k % 3 == 0 ? 1e3 : 0.0));
    text += buf;
  }
  const std::string path = write_temp("ainv3.txt", text);
  sparse::sparse_hashm h;
  sparse::init(h, 64, sparse::hash_storage::upper, 40);
  read_hinverse(path, 40, h);
  sparse::ija_matrix want;
  sparse::convert_hash_ija(h, want);
  for (int threads : {1, 2, 3, 7}) {  // the lines cut into pieces parsed side by side
    const sparse::ija_matrix got = read_hinverse_matrix(path, 40, threads);
    EXPECT_EQ(got.n, 40);
    EXPECT_EQ(got.ia, want.ia) << threads;
    EXPECT_EQ(got.ja, want.ja) << threads;
    EXPECT_EQ(got.a, want.a) << "bit for bit, threads " << threads;
  }
}

TEST(hinverse, a_bad_line_is_named_by_its_line_in_the_file_whatever_the_threads) {
  // Two bad lines that fall into different pieces: the first in the file is the one named.
  std::string text;
  for (int k = 1; k <= 60; ++k) text += k == 41 ? "3 x 1.0\n" : k == 52 ? "9 1 1.0\n" : "1 1 1.0\n";
  const std::string path = write_temp("bad_hinv_long.txt", text);
  const std::string index_path = write_temp("bad_hinv_index.txt", text.substr(0, 40 * 8) + "9 1 1.0\n");
  auto read = [](const std::string& file, int threads) { return [=] { read_hinverse_matrix(file, 5, threads); }; };
  const lines unreadable{"Cannot read row, column and value of the inverse relationship matrix: file " + path + ", line 41",
                         "  3 x 1.0"};
  expect_stops({
      {"one thread", read(path, 1), unreadable},
      {"two threads", read(path, 2), unreadable},
      {"three threads", read(path, 3), unreadable},
      {"index, two threads", read(index_path, 2),
       {"Index outside the levels 1..5 of the animal effect: file " + index_path + ", line 41", "  9 1 1.0"}},
  });
}

TEST(hinverse, values_and_indices_the_end_to_end_runs_do_not_try_stop) {
  auto read = [](const std::string& text) {
    return [=] {
      sparse::sparse_hashm h;
      sparse::init(h, 64, sparse::hash_storage::upper, 5);
      read_hinverse(write_temp("bad_hinv.txt", text), 5, h);
    };
  };
  const std::string at = ::testing::TempDir() + "bad_hinv.txt, line 1";
  expect_stops({
      {"not finite", read("1 1 nan\n"),
       {"Cannot read row, column and value of the inverse relationship matrix: file " + at, "  1 1 nan"}},
      {"zero", read("1 0 1.0\n"), {"Index outside the levels 1..5 of the animal effect: file " + at, "  1 0 1.0"}},
      {"column above the levels", read("1 6 1.0\n"), {"Index outside the levels 1..5 of the animal effect: *", "*"}},
  });
}

}  // namespace
}  // namespace ventrel::genomic
