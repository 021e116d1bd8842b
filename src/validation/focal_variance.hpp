// The genetic variance of the focal animals per trait, from the user's values or from the
// inbreeding of the focal animals.
#pragma once

#include <vector>

#include "pedigree/pedigree_phase.hpp"
#include "validation/focal_set.hpp"
#include "validation/options.hpp"

namespace ventrel::validation {

// Fills the inbreeding slots of every focal set from the pedigree phase's coefficients (0 where
// the phase obtained none, or where the external inbreeding file was missing), then returns
// gvar_focal per trait (trait t at t-1) by OPTION focal_var:
//   "inb": for every set in order and every trait t it validates, (1 - mean F of the set's
//          focal animals) x genetic_variance[t-1]; a trait that two sets list keeps the later;
//   "usr": prints "Genetic variance of focal animals provided by the user" and returns the
//          user's values;
//   anything else: zeros.
// Stops when a focal animal is not in the pedigree and the coefficients were obtained.
std::vector<double> focal_genetic_variance(const validation_options& options, const pedigree::pedigree_phase_result& ped,
                                           const std::vector<double>& genetic_variance, std::vector<focal_set>& sets);

}  // namespace ventrel::validation
