// The inbreeding algorithms behind compute_inbreeding. Internal to the pedigree folder.
//
// Every kernel takes the pedigree in parents-first order (sorted_pedigree: element i, 1..n, holds
// the parents' positions; 0 = unknown; codes n+1..n+nupg = metafounders, present only when
// groups.metafounders(), otherwise already replaced by 0) and fills f (size n+nupg+1) with the
// inbreeding coefficient of each position; f[0] = 0. The metafounders' own entries f[n+k] are
// left to the caller.
#pragma once

#include <cstdint>
#include <vector>

#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree::detail {

using index_t = std::int32_t;

// Relationship of two metafounder codes (above n), or of a metafounder with itself.
inline double gamma_of(const group_info& g, index_t n, index_t a, index_t b) {
  return g.gamma_at(a - n, b - n);
}

// Method 1: Meuwissen and Luo (1992), with metafounders when groups.metafounders(), on nthreads
// threads (the same coefficients for any number).
void inbreeding_meuwissen_luo(const pedigree_table& ped, index_t n, const group_info& groups,
                              std::vector<double>& f, int nthreads = 1);

// Method 2: Sargolzaei and Iwaisaki's modification of Meuwissen and Luo (no metafounders).
void inbreeding_sargolzaei_iwaisaki(const pedigree_table& ped, index_t n, std::vector<double>& f);

// Indirect (Colleau) methods: F of progeny = A(sire, dam)/2 from columns of A computed by
// Colleau's product over the reduced pedigree of parents.
struct indirect_options {
  bool sire_columns = true;  // true: one column per sire, taken in order (Sargolzaei, Iwaisaki
                             // and Colleau 2005); false: the hybrid scheme, one column per animal
                             // of a vertex cover of the matings, and matings whose parents have
                             // few mates traced by Meuwissen and Luo
  int nthreads = 1;          // threads over the tasks of one stage (1 = sequential)
};
// What the hybrid scheme counts one visit of a traced mating's ancestor in rows of a column pass
// when it chooses between them (measured: about 7 ns against 1.2 ns on the benchmark machine; the
// time of method 6 on the four pedigree shapes of bench/ is the same for any value from 1 to 4).
constexpr double hybrid_visit_rows = 4.0;
void inbreeding_indirect(const pedigree_table& ped, index_t n, const group_info& groups,
                         const indirect_options& opt, std::vector<double>& f);

// Methods 4 and 7: recursive tabular, with selfing generations per position (empty: none) and
// metafounders when groups.metafounders().
void inbreeding_recursive_tabular(const pedigree_table& ped, index_t n, const group_info& groups,
                                  const std::vector<index_t>& selfing, std::vector<double>& f);

// Method 5: Tier (1990), the subset of A needed for the inbreeding coefficients (no metafounders).
void inbreeding_tier(const pedigree_table& ped, index_t n, std::vector<double>& f);

}  // namespace ventrel::pedigree::detail
