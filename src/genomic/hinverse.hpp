// Relationships among focal animals from an inverse relationship matrix (H-inverse): the matrix
// is read into sparse storage with every focal pair entered, inverted by the sparse inverse, and
// the focal elements are read out of the result.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::genomic {

// Adds every line "row column value" of the file into hashm (order nlev, upper triangle: a
// lower-triangle line is added at its transposed place). Stops on a missing file, a bad line or
// an index outside 1..nlev, naming the file and the line.
void read_hinverse(const std::string& path, int nlev, sparse::sparse_hashm& hashm);

// Checks every line of the file as read_hinverse does and returns the number of element lines.
// Stops when the file holds no element, or fewer than nlev (a positive definite matrix of order
// nlev needs every diagonal element), so that nothing of order nlev is allocated for a file
// that cannot give it.
std::int64_t count_hinverse_elements(const std::string& path, int nlev);

struct inverse_settings {
  int threads = 0;    // threads of the sparse solver; 0 = its default
  int msg_level = 0;  // sparse solver's message level
};

// The matrix of the file in upper IJA form (order nlev), read in one pass: the lines are kept
// as they come, then sorted by row and column; a pair given more than once is summed in the
// order of the file. Stops as read_hinverse and count_hinverse_elements do, before anything of
// order nlev is allocated. The lines are parsed on `threads` threads (<= 0: OpenMP's default).
sparse::ija_matrix read_hinverse_matrix(const std::string& path, int nlev, int threads = 1);

// A_focal of every focal set (levels of the animal effect, in each set's order) from the
// inverse relationship matrix in the file: read_hinverse_matrix, then focal_elements_of_inverse.
// Memory O(elements + nlev + k^2), k the focal animals of all sets.
std::vector<linalg::dense_matrix> focal_relationships_from_inverse(const std::string& path, int nlev,
                                                                   const std::vector<std::vector<int>>& sets,
                                                                   const inverse_settings& settings);

// The elements of the inverse of m (upper IJA, order nlev) at every pair of each focal set:
// rows in no set with at most two neighbours, neighbours of each other, are eliminated first,
// and the rows that this frees in turn (sparse::eliminate_low_degree; m is replaced by the Schur
// complement on the rows kept), then the focal animals of all sets are pivoted last in the
// Cholesky factor, whose trailing triangle gives their block of the inverse
// (sparse::inverse_block). Sets that do not nest, whose union's block would be larger than their
// own blocks together, take one factorisation each. A stop of the sparse solver adds the line "while inverting " + what.
std::vector<linalg::dense_matrix> focal_elements_of_inverse(sparse::ija_matrix& m, const std::vector<std::vector<int>>& sets,
                                                            const inverse_settings& settings, const std::string& what);

}  // namespace ventrel::genomic
