// The sparse inverse as the program asks for it: the elements of the inverse of a symmetric
// positive definite matrix at the positions its upper IJA form stores (morlo90's tasks
// "factorization" and "inverse" behind one typed call).
#pragma once

#include <string>

#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse {

struct inverse_in_pattern_settings {
  int threads = 0;      // OpenMP threads of the sparse inverse; 0 = the OpenMP default (said once)
  int msg_level = 0;    // above 0: the solver's steps, sizes and times
  std::string context;  // a last line for every stop of the solver (which matrix it is)
};

// Overwrites the values of m with the elements of m^{-1} at every stored position: KELP's
// supernodal Cholesky in AMD order, then the supernodal Takahashi inverse. A position that must
// be given (a focal pair) is entered in m beforehand, a zero where the matrix has none. Cost
// about three times the factorisation's; memory that of the factor.
void invert_in_pattern(ija_matrix& m, const inverse_in_pattern_settings& settings);

}  // namespace ventrel::sparse
