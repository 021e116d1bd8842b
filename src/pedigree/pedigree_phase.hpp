// The pedigree phase of a run: read and renumber the pedigree of the animal effect and obtain the
// inbreeding coefficients of its animals.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "linalg/symmetric_columns.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// The inbreeding file of the renumbering program, always read under this name.
inline constexpr const char* ranolt_inb_file = "ranolt.inb";

// What the phase needs from the parameter file and the validation options.
struct pedigree_phase_input {
  std::string pedigree_file;               // FILE of the validated (animal) effect
  bool groups_allowed = false;             // its random type allows groups (add_an_upg,
                                           // add_an_upginb, add_an_mf, add_an_meta, add_an_auto)
  linalg::dense_matrix gamma;              // metafounders' relationships (0 x 0 = none); given
                                           // only for the metafounder types
  bool inbreeding_needed = false;          // obtain the coefficient of every animal (the focal
                                           // variance, A_focal by Colleau and se approx use it)
  int inbreeding_method = 1;               // OPTION inbreeding_method
  bool read_external_inbreeding = false;   // take the coefficients from ranolt.inb (without groups)
  std::string external_inbreeding_file;    // the file OPTION ReadExternalInbreeding names
                                           // (tested for existence only)
  std::string ranolt_inb = ranolt_inb_file;  // the inbreeding file actually read
  std::int64_t effect_levels = 0;          // levels of the validated effect: animal numbers
                                           // beyond them stop the run (0 = not checked)
  int verbosity = 0;                       // > 0: renumbering and inbreeding print their lines
  std::string self_generations_file;       // OPTION self_generations (inbreeding method 7)
  std::string inb_mf_file = inb_mf_file_name;  // inbreeding method 9 with metafounders
  int nthreads = 0;                        // threads of the parallel method; 0 = default
  bool relationships_needed = false;       // A_focal by Colleau follows: the coefficients are
                                           // computed even where the external file is missing
};

// The phase's arrays: the pedigree, its parents-first order and the inbreeding coefficients.
struct pedigree_phase_result {
  std::string file;                  // the pedigree file, as messages name it
  std::int32_t n = 0;                // animals 1..n
  std::int32_t nupg = 0;             // groups n+1..n+nupg
  std::int32_t stop_line = 0;        // > 0: the reading ended early at this line
  pedigree_table ped;                // parents by pedigree-file number (size n+1)
  std::vector<std::int32_t> perm;    // perm[i] = position of animal i in parents-first order
  pedigree_table ped_sorted;         // pedigree in that order (size n+nupg+1)
  std::vector<double> inb;           // by number, 0..n+nupg; zeros where not obtained
  std::vector<double> inb_sorted;    // by position, 0..n+nupg
  std::vector<double> gamma;         // nupg x nupg column-major; empty = no metafounders
  bool inbreeding_known = false;     // inb holds every animal's coefficient (computed or read)
  bool external_inbreeding_missing = false;  // the file of ReadExternalInbreeding does not
                                             // exist: the focal animals' F are taken as 0
  group_info groups() const { return group_info{nupg, gamma}; }
};

// Runs the phase in order: "Reading and renumbering pedigree"; count and read the pedigree;
// renumber it (method 3); "Done"; then, when the coefficients are needed, obtains them: computed
// (with the groups when there are any), or under read_external_inbreeding read from ranolt.inb
// ("Genetic variance of focal animals calculated as genetic variance * (1-mean(f))") when the
// named file exists, else the pair of lines "<file> does not exist" and "Genetic variance of
// focal animals assumed equal to the genetic variance".
pedigree_phase_result read_pedigree_phase(const pedigree_phase_input& in);

// Stops when a focal animal is not one of the pedigree's animals 1..n; when the reading of the
// pedigree ended early, the message says where, since the animal may well be on a later line.
void check_focal_animals(const pedigree_phase_result& ped, std::span<const std::int32_t> focal);

// A_focal of one focal set from the phase's arrays (see focal_relationships.hpp).
linalg::dense_matrix focal_relationships(const pedigree_phase_result& ped,
                                         std::span<const std::int32_t> focal, int nthreads = 0);

// The relationships among the focal animals of one focal set a column at a time, from the
// phase's arrays (see focal_relationship_columns in focal_relationships.hpp).
linalg::symmetric_columns focal_relationship_columns(const pedigree_phase_result& ped,
                                                     std::span<const std::int32_t> focal, int nthreads = 0);

}  // namespace ventrel::pedigree
