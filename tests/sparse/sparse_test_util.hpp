// Helpers shared by the sparse tests: the message lines of a fatal stop, random symmetric
// matrices and the dense form of an upper-triangular IJA matrix.
#pragma once

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
    for (auto k = m.ia[static_cast<std::size_t>(i - 1)]; k < m.ia[static_cast<std::size_t>(i)]; ++k) {
      int j = m.ja[static_cast<std::size_t>(k - 1)];
      double v = m.a[static_cast<std::size_t>(k - 1)];
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
    if (m.ia[static_cast<std::size_t>(i)] < m.ia[static_cast<std::size_t>(i - 1)]) return "ia decreasing";
    for (auto k = m.ia[static_cast<std::size_t>(i - 1)]; k < m.ia[static_cast<std::size_t>(i)]; ++k) {
      int j = m.ja[static_cast<std::size_t>(k - 1)];
      if (j < i || j > m.n) return "column out of range in row " + std::to_string(i);
      if (k > m.ia[static_cast<std::size_t>(i - 1)] && m.ja[static_cast<std::size_t>(k - 2)] >= j)
        return "columns not ascending in row " + std::to_string(i);
    }
  }
  return {};
}

}  // namespace ventrel::sparse::testing
