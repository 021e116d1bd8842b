// Helpers shared by the sparse tests: the message lines of a fatal stop, random symmetric
// matrices and the dense form of an upper-triangular IJA matrix.
#pragma once

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "linalg/dense_matrix.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse::testing {

// The lines of the fatal stop that f raises, empty when it returns normally.
inline std::vector<std::string> fatal_lines(const std::function<void()>& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  return {};
}

// Dense symmetric matrix of an upper-triangular IJA matrix, read element by element.
template <class Ptr>
linalg::dense_matrix dense_of(const basic_ija<Ptr>& m) {
  linalg::dense_matrix d(m.n, m.n);
  for (int i = 1; i <= m.n; ++i)
    for (auto k = m.ia[i - 1]; k < m.ia[i]; ++k) {
      int j = m.ja[k - 1];
      double v = m.a[k - 1];
      d(i - 1, j - 1) = v;
      d(j - 1, i - 1) = v;
    }
  return d;
}

// Checks the IJA invariants: ia(1) = 1, ia non-decreasing, columns ascending without duplicates
// and not below the row. Returns an empty string or what is wrong.
template <class Ptr>
std::string ija_problem(const basic_ija<Ptr>& m) {
  if (m.ia.size() != static_cast<std::size_t>(m.n) + 1) return "size of ia";
  if (m.ia[0] != 1) return "ia(1) /= 1";
  if (static_cast<std::size_t>(m.ia.back() - 1) != m.ja.size() || m.ja.size() != m.a.size())
    return "ia(n+1) - 1 /= size of ja";
  for (int i = 1; i <= m.n; ++i) {
    if (m.ia[i] < m.ia[i - 1]) return "ia decreasing";
    for (auto k = m.ia[i - 1]; k < m.ia[i]; ++k) {
      int j = m.ja[k - 1];
      if (j < i || j > m.n) return "column out of range in row " + std::to_string(i);
      if (k > m.ia[i - 1] && m.ja[k - 2] >= j)
        return "columns not ascending in row " + std::to_string(i);
    }
  }
  return {};
}

// Upper-triangular IJA of a dense symmetric matrix: every element with |a_ij| > 0 of the
// upper triangle, plus the diagonal and the extra positions `keep` (explicit zeros).
inline ija_matrix ija_of(const linalg::dense_matrix& d) {
  ija_matrix m;
  m.n = d.rows;
  m.ia.push_back(1);
  for (int i = 0; i < d.rows; ++i) {
    for (int j = i; j < d.cols; ++j)
      if (j == i || d(i, j) != 0.0) {
        m.ja.push_back(j + 1);
        m.a.push_back(d(i, j));
      }
    m.ia.push_back(static_cast<int>(m.ja.size()) + 1);
  }
  return m;
}

// A random sparse symmetric positive definite matrix: off-diagonal elements in [-1, 1] with
// probability `density`, a dense block among `dense_rows` random rows, and a diagonal that
// dominates every row.
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
  for (int i = 0; i < n; ++i) {
    double s = 1.0;
    for (int j = 0; j < n; ++j)
      if (j != i) s += std::fabs(d(i, j));
    d(i, i) = s;
  }
  return d;
}

// Inverse relationship matrix of a random pedigree by Henderson's rules, with the Mendelian
// sampling variances of non-inbred parents (1, 3/4 or 1/2): positive definite.
inline linalg::dense_matrix pedigree_inverse(int n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  linalg::dense_matrix d(n, n);
  for (int a = 0; a < n; ++a) {
    int s = -1, m = -1;
    if (a >= n / 10) {
      if (u(rng) < 0.9) s = static_cast<int>(u(rng) * a) % a;
      if (u(rng) < 0.8) m = static_cast<int>(u(rng) * a) % a;
      if (m == s) m = -1;
    }
    int known = (s >= 0) + (m >= 0);
    double alpha = known == 2 ? 2.0 : known == 1 ? 4.0 / 3.0 : 1.0;
    int idx[3] = {a, s, m};
    double w[3] = {1.0, -0.5, -0.5};
    for (int x = 0; x < 3; ++x)
      for (int y = 0; y < 3; ++y)
        if (idx[x] >= 0 && idx[y] >= 0) d(idx[x], idx[y]) += alpha * w[x] * w[y];
  }
  return d;
}

}  // namespace ventrel::sparse::testing
