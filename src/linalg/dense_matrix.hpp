// A dense real matrix in column-major order, the layout BLAS and LAPACK take.
#pragma once

#include <cstddef>
#include <vector>

namespace ventrel::linalg {

struct dense_matrix {
  int rows = 0;           // number of rows
  int cols = 0;           // number of columns
  std::vector<double> a;  // element (i, j), counted from 0, at a[i + j * rows]

  dense_matrix() = default;
  dense_matrix(int r, int c) : rows(r), cols(c), a(static_cast<std::size_t>(r) * c, 0.0) {}
  double& operator()(int i, int j) { return a[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * rows]; }
  double operator()(int i, int j) const {
    return a[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * rows];
  }
};

}  // namespace ventrel::linalg
