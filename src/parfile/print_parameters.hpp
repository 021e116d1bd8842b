// The printout of the model record: data layout, effects table, residual and random
// (co)variance matrices, with the checks of those matrices.
#pragma once

#include "parfile/model_parameters.hpp"

namespace ventrel::parfile {

// Matrices of higher order than this are not printed ("... skipped from log"): up to this
// order every row fits on one line of the "(20g12.5)" format.
inline constexpr int max_printed_order = 20;

// Prints the model on standard output: the data file, the observation and weight columns, the
// effects table (" #  type", "position (2)", "levels   [positions for nested]"), the residual
// matrix, every random group with its type description, file and (co)variance matrix, and the
// notes (1) and (2). Matrices are printed row by row in "(20g12.5)". A matrix that is not
// symmetric ("R Matrix not symmetric", "G Matrix not symmetric") or a random type outside the
// family's table ("unknown RANDOM-TYPE") stops the run after the matrix is shown; a matrix that
// is not positive definite only prints "R  Matrix not positive definite" or
// "G  Matrix not positive definite".
void print_parameters(const model_parameters& m);

// Whether a square matrix is symmetric: |a(i,j) - a(j,i)| <= 1e-6 max(|a(i,j)|, |a(j,i)|).
bool is_symmetric(const linalg::dense_matrix& a);

}  // namespace ventrel::parfile
