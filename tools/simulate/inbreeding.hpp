// Inbreeding coefficients of newly born animals from those of their ancestors (Meuwissen and
// Luo 1992), for a pedigree that grows generation by generation.
#pragma once

#include <span>
#include <vector>

namespace ventrel::simulate {

// Within-family (Mendelian sampling) variance coefficient of an animal, the b_i of
// A = T B T': 1 - (1 + F_s)/4 for a known sire - (1 + F_d)/4 for a known dam; 1 for a founder,
// 0.5 - (F_s + F_d)/4 with both parents known. Unknown parents are 0.
double mendelian_coefficient(int sire, int dam, std::span<const double> inb);

// Fills inb[i] and dvar[i] (the coefficient above) for animals i = first..last (from 1), given
// inb and dvar of every animal before `first`. Parents must carry smaller numbers than their
// progeny; 0 is an unknown parent. sire, dam, inb and dvar are indexed by animal number (size
// at least last + 1, element 0 unused and inb[0] = 0).
//
// Method: a_ii = b_i + sum over ancestors j of L_ij^2 b_j, where L_ij is the sum over paths from
// i to j of 0.5^length (a row of T). The ancestors are visited from the youngest (largest
// number) down, each passing half of its L to its parents, so each is visited once after all
// its descendants among the ancestors. Cost per animal: its number of ancestors times a log for
// the heap. When no animal of the range is a parent of another (a generation), they run in
// parallel (OpenMP), each thread with its own workspace; the result does not depend on the
// thread count. Otherwise they run in order.
void inbreeding_of_new_animals(std::span<const int> sire, std::span<const int> dam,
                               std::vector<double>& inb, std::vector<double>& dvar, int first,
                               int last);

}  // namespace ventrel::simulate
