// The quadratic form x'Ax of a symmetric matrix held as its upper triangle in IJA form.
#pragma once

#include <span>

#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse {

// x'Ax with every off-diagonal element counted twice; rows are divided among OpenMP threads.
// Stops with "QUADR_IJA: incompatible dimensions" when x does not have n elements. With
// msg_level above 0 prints the thread counts.
double quadr_ija(const ija_matrix& m, std::span<const double> x, int msg_level = 0);
double quadr_ija(const ija8_matrix& m, std::span<const double> x, int msg_level = 0);

}  // namespace ventrel::sparse
