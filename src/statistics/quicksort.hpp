// The bootstrap's sort of a replicate array.
#pragma once

#include <cstdint>
#include <span>

namespace ventrel::statistics {

// Sorts positions first .. last (1-based, inclusive) of x in ascending order and leaves the
// others where they are. Called without bounds it sorts positions 2 .. size and leaves
// position 1 (the first replicate) in place: the family's quicksort starts at 2 by default and
// its bootstrap calls it so, and the confidence limits the family reports (percentiles of the
// array so ordered) are reproduced only with the same order. The effect is felt only with very
// few replicates (see bootstrap.cpp). NaN values go after every number (an order is needed for
// them; infinities sort as numbers).
void quicksort(std::span<double> x, std::int64_t first = 2, std::int64_t last = -1);

}  // namespace ventrel::statistics
