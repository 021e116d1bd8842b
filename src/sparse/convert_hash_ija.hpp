// Conversion of a hash matrix in upper-triangular storage to the IJA form: the whole matrix or
// the block of the rows and columns in an index range, with 32-bit or 64-bit row pointers.
#pragma once

#include <cstdint>

#include "sparse/hash_matrix.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse {

// max_nz: the room the caller grants for ja and a; no_limit sizes them to fit. A 32-bit IJA
// holds at most 2^31 - 2 elements whatever the room.
inline constexpr std::int64_t no_limit = -1;

// The whole matrix (the entry of CONVERT_HASH_IJA_GENERAL). Rows in order, columns ascending
// within each row, no duplicates; the diagonal first where present. The order of the result is
// hashm.n, or the largest index when n is 0. The hash matrix is left as it was.
void convert_hash_ija(const sparse_hashm& hashm, ija_matrix& out, std::int64_t max_nz = no_limit);
void convert_hash_ija(const sparse_hashm& hashm, ija8_matrix& out, std::int64_t max_nz = no_limit);

// The same conversion without the entry's own check of the storage kind.
void convert_hash_ija_general(const sparse_hashm& hashm, ija_matrix& out,
                              std::int64_t max_nz = no_limit);
void convert_hash_ija_general(const sparse_hashm& hashm, ija8_matrix& out,
                              std::int64_t max_nz = no_limit);

// The block of rows and columns first..last (from 1), renumbered from 1 within the block, so
// that the result has order last - first + 1.
void convert_hash_ija_block(const sparse_hashm& hashm, ija_matrix& out, int first, int last,
                            std::int64_t max_nz = no_limit);
void convert_hash_ija_block(const sparse_hashm& hashm, ija8_matrix& out, int first, int last,
                            std::int64_t max_nz = no_limit);

}  // namespace ventrel::sparse
