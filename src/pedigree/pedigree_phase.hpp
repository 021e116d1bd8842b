// The pedigree phase of a run: read and renumber the pedigree of the animal effect, obtain the
// inbreeding coefficients and set the genetic variance of the focal animals.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// What the phase needs from the parameter file, the validation options and the focal records.
struct pedigree_phase_input {
  std::string pedigree_file;               // FILE of the validated (animal) effect
  bool groups_allowed = false;             // its random type allows groups (add_an_upg,
                                           // add_an_upginb, add_an_mf, add_an_meta, add_an_auto)
  linalg::dense_matrix gamma;              // metafounders' relationships (0 x 0 = none); given
                                           // only for the metafounder types
  std::string focal_var = "inb";           // OPTION focal_var; its first three characters decide
  std::vector<double> user_gvar;           // per trait (trait t at t-1): the values of focal_var usr
  int inbreeding_method = 1;               // OPTION inbreeding_method
  bool read_external_inbreeding = false;   // OPTION ReadExternalInbreeding given
  std::string external_inbreeding_file;    // its file name (tested for existence only)
  std::string ranolt_inb = "ranolt.inb";   // the inbreeding file actually read
  std::vector<double> genetic_variance;    // per trait: the animal effect's genetic variance
  int ntrait = 1;                          // number of traits
  int verbosity = 0;                       // > 0: renumbering and inbreeding print their lines
  std::string self_generations_file;       // OPTION self_generations (inbreeding method 7)
  std::string inb_mf_file = "inb_mf.txt";  // inbreeding method 9 with metafounders
  int nthreads = 0;                        // threads of the parallel method; 0 = default
  bool relationships_needed = false;       // A_focal by Colleau follows (se exact): the
                                           // coefficients are then computed even where the
                                           // focal variance does not need them
};

// One focal set as the phase sees it.
struct focal_view {
  std::vector<std::int32_t> animals;  // the focal animals, numbers 1..n of the pedigree file
  std::vector<double> inbreeding;     // output: inbreeding of each focal animal, in the same order
  std::vector<int> traits;            // the traits (1..ntrait) that the set validates
};

// The phase's arrays, kept for the focal relationships.
struct pedigree_phase_result {
  std::int32_t n = 0;                // animals 1..n
  std::int32_t nupg = 0;             // groups n+1..n+nupg
  pedigree_table ped;                // parents by pedigree-file number (size n+1)
  std::vector<std::int32_t> perm;    // perm[i] = position of animal i in parents-first order
  pedigree_table ped_sorted;         // pedigree in that order (size n+nupg+1)
  std::vector<double> inb;           // by number, 0..n+nupg
  std::vector<double> inb_sorted;    // by position, 0..n+nupg
  std::vector<double> gamma;         // nupg x nupg column-major; empty = no metafounders
  std::vector<double> gvar_focal;    // per trait (trait t at t-1)
  bool inbreeding_complete = false;  // inb holds every animal's coefficient
  group_info groups() const { return group_info{nupg, gamma}; }
};

// Runs the phase in order: "Reading and renumbering pedigree"; count and read the pedigree;
// renumber it (method 3); "Done"; then by focal_var: "inb" obtains the inbreeding coefficients
// (computed, with the groups when there are any, or read from ranolt.inb under
// ReadExternalInbreeding) and sets gvar_focal(t) = (1 - mean F of the set's focal animals) x the
// genetic variance of t for every trait t of every set, in order; "usr" prints "Genetic variance
// of focal animals provided by the user" and keeps the user's values; anything else leaves
// gvar_focal at zero. The focal sets' inbreeding slots are filled under "inb".
pedigree_phase_result read_pedigree_phase(const pedigree_phase_input& in, std::vector<focal_view>& sets);

// A_focal of one focal set from the phase's arrays (see focal_relationships.hpp).
linalg::dense_matrix focal_relationships(const pedigree_phase_result& ped,
                                         std::span<const std::int32_t> focal, int nthreads = 0);

}  // namespace ventrel::pedigree
