// Solution and selected inverse of the mixed-model equations: the sparse library's
// factorisation for real sizes, a dense LAPACK Cholesky for small systems and checks.
#pragma once

#include <vector>

#include "simulate/mme.hpp"
#include "simulate/sim_options.hpp"

namespace ventrel::simulate {

// Largest system that the automatic choice solves densely.
inline constexpr int dense_limit = 200;

// Solves lhs x = rhs and returns x ([eq - 1]); unused equations get 0. With `inverse`, the
// values of sys.lhs.a are replaced by the elements of the inverse of the coefficient matrix at
// the same positions (the sparse inverse; every element of the pattern is exact), and those of
// unused equations by 0. Stops when the matrix is not positive definite.
std::vector<double> solve_mme(mme_system& sys, bool inverse, solver_engine engine,
                              fill_ordering ordering = fill_ordering::amd);

}  // namespace ventrel::simulate
