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

// Iterative solution of lhs x = rhs by conjugate gradients with the diagonal as
// preconditioner, from the starting values x (resized to the order, new elements 0), until
// ||rhs - lhs x|| <= tolerance ||rhs||. For the EBVs that rank candidates during selection,
// where only the solutions are needed: each iteration costs one product with the matrix
// (O(nnz)), and the solution of the previous generation is a close start. Unused equations
// get 0. Returns the number of iterations; stops after max_iterations without convergence.
int solve_mme_pcg(const mme_system& sys, std::vector<double>& x, double tolerance = 1e-10,
                  int max_iterations = 20000);

}  // namespace ventrel::simulate
