// The metafounders' relationship matrix Gamma, read from the file of OPTION metafounders_gamma.
#pragma once

#include <string>

#include "linalg/dense_matrix.hpp"

namespace ventrel::genomic {

// Reads lines "i j value" (1 <= i, j; either triangle, or both when they agree) into a
// symmetric matrix whose order is the largest index found. Stops on a bad line, an index outside
// 1..5000, two different values for one element, a missing diagonal element, or a matrix that is
// not positive definite.
linalg::dense_matrix read_metafounders_gamma(const std::string& path);

}  // namespace ventrel::genomic
