// The pedigree as the pedigree routines pass it around: sire and dam per animal, indexed by the
// animal's number, with the family's coding of unknown parents and groups.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace ventrel::pedigree {

// The parents of one animal. Codes: 0 = unknown parent; 1..n = an animal; n+1..n+nupg = an
// unknown parent group or a metafounder.
struct parents {
  std::int32_t sire = 0;  // sire code
  std::int32_t dam = 0;   // dam code
};

// A pedigree indexed by animal number: element i (1..n) holds the parents of animal i; element 0
// is {0, 0} and stands for the unknown parent. Arrays of this kind may carry further elements
// n+1..n+nupg for the groups, whose parents are always {0, 0}.
using pedigree_table = std::vector<parents>;

// What the kernels need to know about the groups of a pedigree.
struct group_info {
  std::int32_t nupg = 0;  // number of groups, coded n+1..n+nupg; 0 = none
  // Relationship matrix of the metafounders, nupg x nupg (column-major, 0-based). Empty means the
  // groups are ordinary unknown parent groups, treated as unknown parents.
  std::span<const double> gamma;
  bool metafounders() const { return nupg > 0 && !gamma.empty(); }
  double gamma_at(std::int32_t k, std::int32_t l) const {  // groups counted from 1
    return gamma[static_cast<std::size_t>(k - 1) +
                 static_cast<std::size_t>(l - 1) * static_cast<std::size_t>(nupg)];
  }
};

}  // namespace ventrel::pedigree
