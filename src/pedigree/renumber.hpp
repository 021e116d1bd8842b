// Ordering a pedigree so that parents precede their progeny, and the pedigree in that order.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// Renumbering methods, with their codes in the parameter file's world.
enum class renumber_method {
  by_generation = 1,      // "renumber based on generation"
  within_family = 2,      // "renumber renumber within family"
  within_family_lap = 3,  // "renumber within family with lap" (the default)
};

// The method for a code: 2 and 3 as they are, any other code is method 1.
renumber_method renumber_method_from_code(int code);

// Fills perm (size n+1, perm[0] = 0) with perm[i] = the position of animal i (1..n) in an order
// where every known parent comes before its progeny. ped holds animals 1..n (size n+1, codes
// above n are groups and count as unknown here; they must not exceed n+nupg). A pedigree in
// which an animal is its own ancestor stops the run naming an animal of the loop.
// Orders: method 1 sorts by generation (longest ancestral path; animals without known parents
// are generation 1), then by number; method 2 places each animal after its ancestors, taking the
// animals in their numbers' order and each animal's sire line before its dam line; method 3 sorts
// by generation and, within a generation, by family (sire, dam), so that full sibs are
// neighbours. Verbose (verbosity > 0) prints the method, the largest generation and the time.
// Cost O(n log n) at most.
void renumber_pedigree(const pedigree_table& ped, std::int32_t nupg, std::vector<std::int32_t>& perm,
                       int verbosity = 0, int method = 3);

// Generation of every animal: 1 without known parents, else 1 + the larger generation of its
// known parents (group codes above n count as unknown). Size n+1, element 0 = 0. Stops the run
// on a pedigree loop, as renumber_pedigree does.
std::vector<std::int32_t> generations(const pedigree_table& ped, std::int32_t nupg);

// The pedigree in the renumbered order: element perm[i] holds the parents of animal i with
// animal codes replaced by their positions; 0 and group codes stay as they are; elements
// n+1..n+nupg (the groups) are {0, 0}. Size n+nupg+1.
pedigree_table sorted_pedigree(const pedigree_table& ped, std::span<const std::int32_t> perm,
                               std::int32_t nupg);

// Whether every known parent of animals 1..n precedes its progeny (the kernels' precondition);
// codes above n are groups.
bool parents_first(const pedigree_table& ped, std::int32_t n);

}  // namespace ventrel::pedigree
