// Rows of at most two neighbours eliminated ahead of a sparse factorisation. In the inverse
// relationship matrix of a pedigree most rows are animals without progeny, whose only
// neighbours are their two parents, themselves neighbours as mates: eliminating such a row
// changes three elements of the parents and fills nothing. Once the last common progeny of two
// mates has gone, the element joining them has cancelled, and the parents go in turn, up to the
// ancestors of the rows kept. The block of the inverse among the rows kept is the same for the
// reduced matrix (the Schur complement) as for the whole, and the factorisation then works on
// far fewer columns.
#pragma once

#include <cstdint>
#include <vector>

#include "sparse/ija_matrix.hpp"

namespace ventrel::sparse {

struct reduced_matrix {
  ija_matrix m;           // the Schur complement on the rows kept, upper IJA, rows 1..n'
  std::vector<int> kept;  // kept[q] = the original row (from 1) of reduced row q+1; empty: none went
};

// Eliminates, one after another, the rows that are not marked in `keep` (size m.n+1, by row from
// 1) and have at most two off-diagonal neighbours left, the two being neighbours themselves, so
// that nothing fills in; a row whose pivot is not positive is kept (the factorisation then says
// that the matrix is not positive definite), and so is a row that starts with more than 64
// neighbours. Rows freed by an elimination are taken in turn, and an element that cancels to a
// rounding residue joins its two rows no more. The reduction is done within m's arrays, which
// the result takes over (unchanged when no row went). Memory beside them: O(n), a byte per
// element, and the positions of the elements of the rows that may go.
reduced_matrix eliminate_low_degree(ija_matrix m, const std::vector<char>& keep);

}  // namespace ventrel::sparse
