// traceblock_ija family: tr(A_bb B) against the dense product of the block with B.
#include "sparse/traceblock_ija.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "sparse/convert_hash_ija.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::dense_of;
using testing::fatal_lines;

sparse_hashm random_hash(int n, int additions, unsigned seed, hash_storage storage) {
  sparse_hashm h;
  init(h, 64, storage, n);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> idx(1, n);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (int i = 1; i <= n; ++i) addm(val(rng), i, i, h);
  for (int k = 0; k < additions; ++k) addm(val(rng), idx(rng), idx(rng), h);
  return h;
}

// tr(A_bb B) with A_bb the dense block (rows and columns first..last) of the symmetric A.
double dense_trace(const linalg::dense_matrix& a, int first, int last, const linalg::dense_matrix& b) {
  double s = 0.0;
  int m = last - first + 1;
  for (int i = 0; i < m; ++i)
    for (int k = 0; k < m; ++k) s += a(first - 1 + i, first - 1 + k) * b(k, i);
  return s;
}

struct fixture {
  ija_matrix a;
  linalg::dense_matrix ad;
  int first = 7, last = 26;
};

fixture make() {
  fixture f;
  sparse_hashm h = random_hash(40, 400, 21, hash_storage::upper);
  convert_hash_ija(h, f.a);
  f.ad = dense_of(f.a);
  return f;
}

TEST(traceblock_ija, with_a_sparse_symmetric_matrix) {
  fixture f = make();
  int m = f.last - f.first + 1;
  sparse_hashm hb = random_hash(m, 100, 22, hash_storage::upper);
  ija_matrix b;
  convert_hash_ija(hb, b);
  double want = dense_trace(f.ad, f.first, f.last, dense_of(b));
  EXPECT_NEAR(traceblock_ija(f.a, f.first, f.last, b), want, 1e-12 * (1 + std::fabs(want)));
  ija8_matrix a8{f.a.n, {f.a.ia.begin(), f.a.ia.end()}, f.a.ja, f.a.a};
  ija8_matrix b8{b.n, {b.ia.begin(), b.ia.end()}, b.ja, b.a};
  EXPECT_NEAR(traceblock_ija8(a8, f.first, f.last, b8), want, 1e-12 * (1 + std::fabs(want)));
}

TEST(traceblock_ija, with_a_dense_unsymmetric_matrix) {
  fixture f = make();
  int m = f.last - f.first + 1;
  linalg::dense_matrix b(m, m);
  std::mt19937 rng(23);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (double& v : b.a) v = val(rng);
  double want = dense_trace(f.ad, f.first, f.last, b);
  EXPECT_NEAR(traceblock_ija_dense(f.a, f.first, f.last, b), want, 1e-12 * (1 + std::fabs(want)));
  ija8_matrix a8{f.a.n, {f.a.ia.begin(), f.a.ia.end()}, f.a.ja, f.a.a};
  EXPECT_NEAR(traceblock_ija8_dense(a8, f.first, f.last, b), want, 1e-12 * (1 + std::fabs(want)));
}

TEST(traceblock_ija, with_hash_matrices_in_both_storages) {
  fixture f = make();
  int m = f.last - f.first + 1;
  for (hash_storage st : {hash_storage::upper, hash_storage::full}) {
    sparse_hashm hb = random_hash(m, 150, 24, st);
    linalg::dense_matrix bd(m, m);
    for (int i = 1; i <= m; ++i)
      for (int j = 1; j <= m; ++j)
        bd(i - 1, j - 1) = st == hash_storage::upper ? getm(std::min(i, j), std::max(i, j), hb) : getm(i, j, hb);
    double want = dense_trace(f.ad, f.first, f.last, bd);
    EXPECT_NEAR(traceblock_ija_hashm(f.a, f.first, f.last, hb), want, 1e-12 * (1 + std::fabs(want)));
    ija8_matrix a8{f.a.n, {f.a.ia.begin(), f.a.ia.end()}, f.a.ja, f.a.a};
    EXPECT_NEAR(traceblock_ija8_hashm(a8, f.first, f.last, hb), want, 1e-12 * (1 + std::fabs(want)));
  }
}

TEST(traceblock_ija, abnormal_range_and_dimensions_stop) {
  fixture f = make();
  linalg::dense_matrix b(5, 5);
  auto lines = fatal_lines([&] { traceblock_ija_dense(f.a, 10, 9, b); });
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "TRACEBLOCK_IJA_DENSE: abnormal range specified");
  lines = fatal_lines([&] { traceblock_ija_dense(f.a, 1, 6, b); });
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "TRACEBLOCK_IJA_DENSE: incompatible dimensions");
}

}  // namespace
}  // namespace ventrel::sparse
