// Writing H-inverse in the format that OPTION readHInverse reads: one element of the upper
// triangle a line, "row column value", the value in the shortest form that reads back exactly.
#pragma once

#include <string>

#include "sparse/ija_matrix.hpp"

namespace ventrel::genomic {

// Writes every stored element of the upper IJA matrix h except off-diagonal zeros. The file is
// written under a temporary name and renamed at the end, so that a failed write leaves no
// truncated file; a write error stops the run naming the file.
void save_h_inverse(const std::string& path, const sparse::ija_matrix& h);

}  // namespace ventrel::genomic
