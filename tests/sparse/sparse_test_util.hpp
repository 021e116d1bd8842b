// Helpers shared by the sparse tests (besides support/test_support.hpp): random symmetric
// matrices, pedigree inverses and hash matrices, and the dense forms and dense references the
// sparse results are compared with. The tests live in this namespace too.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "reference/dense_inverse.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/ija_matrix.hpp"
#include "sparse/ldl_factor.hpp"
#include "sparse/upper_csr.hpp"
#include "support/test_support.hpp"

namespace ventrel::sparse::testing {

using namespace test_support;

// The same matrix with 64-bit row pointers.
inline ija8_matrix wide(const ija_matrix& m) { return {m.n, {m.ia.begin(), m.ia.end()}, m.ja, m.a}; }

// Whether m is a proper upper-triangular IJA matrix (the check itself is tested on its own).
template <class Ptr>
bool well_formed_ija(basic_ija<Ptr> m) {
  std::vector<std::int64_t> ptr;
  return m.ia.size() == static_cast<std::size_t>(m.n) + 1 && m.a.size() == m.ja.size() && well_formed(view_of(m, ptr));
}

// Dense symmetric matrix of an upper-triangular IJA matrix, read element by element.
template <class Ptr>
linalg::dense_matrix dense_of(const basic_ija<Ptr>& m) {
  linalg::dense_matrix d(m.n, m.n);
  for (int i = 1; i <= m.n; ++i)
    for (auto k = m.ia[i - 1]; k < m.ia[i]; ++k) d(i - 1, m.ja[k - 1] - 1) = d(m.ja[k - 1] - 1, i - 1) = m.a[k - 1];
  return d;
}

// Upper-triangular IJA of a dense symmetric matrix: the diagonal, every nonzero above it, and
// the positions (from 0) that `keep` names, as explicit zeros where d has none.
inline ija_matrix ija_of(const linalg::dense_matrix& d, const std::function<bool(int, int)>& keep = {}) {
  ija_matrix m{d.rows, {1}, {}, {}};
  for (int i = 0; i < d.rows; ++i) {
    for (int j = i; j < d.cols; ++j)
      if (j == i || d(i, j) != 0.0 || (keep && keep(i, j))) m.ja.push_back(j + 1), m.a.push_back(d(i, j));
    m.ia.push_back(static_cast<int>(m.ja.size()) + 1);
  }
  return m;
}

// Makes the diagonal of d dominate every row (1 + the row's absolute sum): positive definite.
inline void dominate_diagonal(linalg::dense_matrix& d) {
  for (int i = 0; i < d.rows; ++i) {
    d(i, i) = 1.0;
    for (int j = 0; j < d.cols; ++j) d(i, i) += j != i ? std::fabs(d(i, j)) : 0.0;
  }
}

// A random sparse symmetric positive definite matrix: off-diagonal elements in [-1, 1] with
// probability `density`, a dense block among `dense_rows` random rows, a dominant diagonal.
inline linalg::dense_matrix random_spd(int n, double density, int dense_rows, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0), v(-1.0, 1.0);
  linalg::dense_matrix d(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      if (u(rng) < density) d(i, j) = d(j, i) = v(rng);
  std::vector<int> rows;
  for (int k = 0; k < dense_rows; ++k) rows.push_back(static_cast<int>(u(rng) * n) % n);
  for (int a : rows)
    for (int b : rows)
      if (a != b) d(a, b) = d(b, a) = 0.3 * v(rng) + 0.01;
  dominate_diagonal(d);
  return d;
}

// Inverse relationship matrix by Henderson's rules: animal a (from 0) with parents sire[a] and
// dam[a] (from 1, 0 unknown) and Mendelian sampling variance dvar[a].
inline linalg::dense_matrix henderson_inverse(const std::vector<int>& sire, const std::vector<int>& dam,
                                              const std::vector<double>& dvar) {
  const int n = static_cast<int>(sire.size());
  linalg::dense_matrix d(n, n);
  for (int a = 0; a < n; ++a) {
    const int idx[3] = {a, sire[a] - 1, dam[a] - 1};
    const double w[3] = {1.0, -0.5, -0.5};
    for (int x = 0; x < 3; ++x)
      for (int y = 0; y < 3; ++y)
        if (idx[x] >= 0 && idx[y] >= 0) d(idx[x], idx[y]) += w[x] * w[y] / dvar[a];
  }
  return d;
}

// The inverse of a random pedigree of n animals (the first tenth founders), with the sampling
// variances of non-inbred parents (1/2, 3/4 or 1): positive definite.
inline linalg::dense_matrix pedigree_inverse(int n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<int> sire(n, 0), dam(n, 0);
  std::vector<double> dvar(n);
  for (int a = 0; a < n; ++a) {
    if (a >= n / 10) {
      if (u(rng) < 0.9) sire[a] = static_cast<int>(u(rng) * a) % a + 1;
      if (u(rng) < 0.8) dam[a] = static_cast<int>(u(rng) * a) % a + 1;
      if (dam[a] == sire[a]) dam[a] = 0;
    }
    dvar[a] = 1.0 - 0.25 * ((sire[a] > 0) + (dam[a] > 0));
  }
  return henderson_inverse(sire, dam, dvar);
}

// Random additions (lower ones included, which upper storage ignores) into a hash matrix of order
// n, with the matrix they make (symmetric for upper storage; its nonzeros are the positions filled).
struct hash_fill {
  sparse_hashm h;
  linalg::dense_matrix matrix;
};

inline hash_fill random_hash(int n, int additions, unsigned seed, bool with_diagonal = true,
                             hash_storage storage = hash_storage::upper) {
  hash_fill r;
  init(r.h, 16, storage, n);
  r.matrix = linalg::dense_matrix(n, n);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> idx(1, n);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (int k = with_diagonal ? -n : 0; k < additions; ++k) {
    const int i = k < 0 ? n + k + 1 : idx(rng), j = k < 0 ? i : idx(rng);
    const double v = val(rng);
    addm(v, i, j, r.h);
    if (storage == hash_storage::upper && j < i) continue;
    r.matrix(i - 1, j - 1) += v;
    if (storage == hash_storage::upper && i != j) r.matrix(j - 1, i - 1) += v;
  }
  return r;
}

// The upper-triangular IJA matrix of random_hash's additions.
inline ija_matrix random_ija(int n, int additions, unsigned seed, bool with_diagonal = true) {
  ija_matrix m;
  convert_hash_ija(random_hash(n, additions, seed, with_diagonal).h, m);
  return m;
}

// The MORLO engine's L D L' of d with the permutation given, or AMD's when none is.
inline simplicial_factor ldl_of(const linalg::dense_matrix& d, std::vector<std::int64_t> perm = {}) {
  ija_matrix m = ija_of(d);
  std::vector<std::int64_t> ptr;
  const upper_csr view = view_of(m, ptr);
  simplicial_factor f;
  EXPECT_TRUE(set_permutation(f, perm.empty() ? amd_permutation(view) : perm));
  ldl_symbolic(view, f);
  ldl_numeric(view, f);
  return f;
}

// y = A x by the dense reference.
inline std::vector<double> dense_times(const linalg::dense_matrix& a, const std::vector<double>& x) {
  std::vector<double> y(static_cast<std::size_t>(a.rows), 0.0);
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i) y[i] += a(i, j) * x[j];
  return y;
}

inline void expect_all_near(const std::vector<double>& got, const std::vector<double>& want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t k = 0; k < got.size(); ++k) EXPECT_NEAR(got[k], want[k], tol) << "element " << k;
}

// Every stored element of `inv` against the same element of the dense inverse of d.
inline void expect_dense_inverse_at_pattern(const ija_matrix& inv, const linalg::dense_matrix& d, double tol) {
  const linalg::dense_matrix ref = reference::dense_spd_inverse(d);
  for (int i = 1; i <= inv.n; ++i)
    for (int p = inv.ia[i - 1]; p < inv.ia[i]; ++p)
      EXPECT_NEAR(inv.a[p - 1], ref(i - 1, inv.ja[p - 1] - 1), tol) << i << "," << inv.ja[p - 1];
}

// U'U = P A P' for an upper-triangular factor U (IJA) and perm[k] = original index (from 0) of
// pivot k: every element of the product against the dense matrix.
inline void expect_factor_of(const ija8_matrix& u, const linalg::dense_matrix& a,
                             const std::vector<std::int64_t>& perm, double tol) {
  ASSERT_TRUE(well_formed_ija(u));
  const linalg::dense_matrix ud = dense_of(u);  // U + U' - diag(U): its upper part is U
  for (int i = 0; i < u.n; ++i)
    for (int j = 0; j < u.n; ++j) {
      double s = 0.0;
      for (int r = 0; r <= std::min(i, j); ++r) s += ud(r, i) * ud(r, j);
      EXPECT_NEAR(s, a(static_cast<int>(perm[i]), static_cast<int>(perm[j])), tol) << i << "," << j;
    }
}

}  // namespace ventrel::sparse::testing
