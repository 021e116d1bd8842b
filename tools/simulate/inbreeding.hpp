// Inbreeding coefficients of newly born animals from the relationships of their parents, for a
// pedigree that grows generation by generation.
#pragma once

#include <span>
#include <vector>

namespace ventrel::simulate {

// Within-family (Mendelian sampling) variance coefficient of an animal, the b_i of
// A = T B T': 1 - (1 + F_s)/4 for a known sire - (1 + F_d)/4 for a known dam; 1 for a founder,
// 0.5 - (F_s + F_d)/4 with both parents known. Unknown parents are 0.
double mendelian_coefficient(int sire, int dam, std::span<const double> inb);

// Column s of the relationship matrix among animals 1..n: out[j] = a(s, j) for j = 1..n
// (out[0] = 0; out is resized to n + 1). Needs s <= n, parents numbered before progeny and
// dvar of animals 1..s. Colleau's product A e_s = T B T' e_s: T' e_s by one pass from s down
// to 1 (each animal passes half its value to its parents), B by dvar, T by one pass up from 1
// (x_i = w_i + (x_sire + x_dam)/2). Cost O(n).
void relationship_column(int s, int n, std::span<const int> sire, std::span<const int> dam,
                         std::span<const double> dvar, std::vector<double>& out);

// Fills inb[i] and dvar[i] for animals i = first..last (from 1), given inb and dvar of every
// animal before `first`. Parents must carry smaller numbers than their progeny; 0 is an
// unknown parent. sire, dam, inb and dvar are indexed by animal number (size at least last + 1,
// element 0 unused and inb[0] = 0).
//
// F_i = a(s_i, d_i) / 2. When no animal of the range is a parent of another (a generation),
// the relationship columns of the distinct sires among animals 1..first-1 are formed once each
// (relationship_column), in parallel over sires (OpenMP, one workspace per thread; the result
// does not depend on the thread count): cost O(distinct sires x first). Otherwise the animals
// go in order, one column each over the animals before them (O(n^2); small pedigrees only).
void inbreeding_of_new_animals(std::span<const int> sire, std::span<const int> dam,
                               std::vector<double>& inb, std::vector<double>& dvar, int first,
                               int last);

}  // namespace ventrel::simulate
