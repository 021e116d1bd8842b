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

// The Mendelian sampling variance of an animal, the diagonal of D in A = T D T':
// 1 - (a_s + a_d)/4, a_p being what each parent brings: its self-relationship 1 + F when it is an
// animal, Gamma(k,k) when it is a metafounder, 0 when it is unknown or an ordinary group. With
// both parents animals this is 0.5 - (F_s + F_d)/4, with one 0.75 - F/4, with none 1.
inline double mendelian_variance(double a_sire, double a_dam) { return 1.0 - 0.25 * (a_sire + a_dam); }

// What a parent code brings without metafounders: 1 + inb[code] for an animal 1..n, else 0.
inline double parent_self_relationship(std::int32_t code, std::int32_t n, std::span<const double> inb) {
  return code >= 1 && code <= n ? 1.0 + inb[static_cast<std::size_t>(code)] : 0.0;
}

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
