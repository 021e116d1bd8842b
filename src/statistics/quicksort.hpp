// The bootstrap's sort of a replicate array.
#pragma once

#include <cstdint>
#include <span>

namespace ventrel::statistics {

// Sorts positions first .. last (1-based, inclusive) of x in ascending order and leaves the
// others where they are. Called without bounds it sorts positions 2 .. size and leaves
// position 1 (the first replicate) in place, as the bootstrap requires. NaN values go after
// every number (an order is needed for them; infinities sort as numbers).
void quicksort(std::span<double> x, std::int64_t first = 2, std::int64_t last = -1);

}  // namespace ventrel::statistics
