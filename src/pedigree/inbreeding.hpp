// Inbreeding coefficients of all animals of a pedigree, by the method that OPTION
// inbreeding_method chooses.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

// The methods, with their codes of OPTION inbreeding_method.
enum class inbreeding_method {
  meuwissen_luo = 1,         // "Meuwissen and Luo (1992)"
  sargolzaei_iwaisaki = 2,   // "Modified Meuwissen & Luo by Sargolzaei & Iwaisaki (2004)"
  modified_colleau = 3,      // "Modified Colleau by Sargolzaei et al. (2005)"
  recursive_tabular = 4,     // "Recursive tabular"
  tier = 5,                  // "Tier (1990)"
  hybrid_parallel = 6,       // "Hybrid parallel computing"
  tabular_selfing = 7,       // "Recursive tabular with self breeding generations"
  colleau_metafounders = 8,  // "F by Colleau " (with metafounders; else method 1)
  metafounder_file = 9,      // "read from file inb_mf.txt with " (with metafounders; else method 1)
};

// The coefficients of inbreeding method 9 with metafounders are read from this file.
inline constexpr const char* inb_mf_file_name = "inb_mf.txt";

struct inbreeding_options {
  int method = 1;                          // OPTION inbreeding_method; codes not listed mean 1
  int verbosity = 0;                       // > 0: the method's label and the timing lines
  int nthreads = 0;                        // threads of method 6; 0 = the runtime's default
  std::string self_generations_file;       // OPTION self_generations (method 7); empty = none
  std::string inb_mf_file = inb_mf_file_name;  // coefficients of method 9 with metafounders
};

// The method that actually runs for a code: unlisted codes run 1, 8 and 9 run 1 without
// metafounders, and with metafounders 2 to 5 run 1.
inbreeding_method effective_inbreeding_method(int code, bool metafounders);

// The label that verbose runs print after "    method = ".
std::string inbreeding_method_label(int code, const group_info& groups);

// Fills inb (size n+nupg+1) with the inbreeding coefficient of every animal by its number in ped:
// inb[0] = 0, inb[i] for animal i, inb[n+k] for group k (0 for an unknown parent group,
// Gamma(k,k)/2 for a metafounder). ped holds animals 1..n (size n+1) by pedigree-file number;
// codes above n are groups. perm, when given, is an order with parents first (as
// renumber_pedigree makes it, perm[i] = position of animal i); without it the pedigree is
// renumbered here. Groups without Gamma are unknown parents. Verbose runs print
// "  - computing inbreeding coefficients", "    method = " and the label, and
// "  - computation done; elapsed time=" with the seconds and " sec.".
void compute_inbreeding(const pedigree_table& ped, std::vector<double>& inb, const inbreeding_options& opt,
                        const group_info& groups = {}, std::span<const std::int32_t> perm = {});

// The cost of the methods that the shape of a pedigree tells, in predicted seconds on `threads`
// threads of the benchmark machine (only their ratios matter).
struct inbreeding_forecast {
  double traced_visits = 0.0;          // ancestor visits of Meuwissen and Luo
  double sire_rows = 0.0;              // rows of the column passes of method 3
  double hybrid_rows = 0.0;            // rows of the column passes of method 6
  double hybrid_visits = 0.0;          // ancestor visits of the matings that method 6 traces
  double meuwissen_luo_seconds = 0.0;  // method 1
  double sargolzaei_iwaisaki_seconds = 0.0;  // method 2: the same ancestors, on one thread
  double sire_columns_seconds = 0.0;   // method 3
  double hybrid_seconds = 0.0;         // method 6
};

// The forecast for a pedigree in parents-first order (sorted_pedigree; codes above n count as
// unknown parents). Cost O(n) and the ancestors of a sample of 256 animals.
inbreeding_forecast forecast_inbreeding(const pedigree_table& sorted, std::int32_t n, int threads);

// Runs whose chosen method is forecast to take this long or longer may be advised another.
constexpr double advice_threshold_seconds = 5.0;

// The forecast seconds of a method; 0 for one that has none (8 and 9).
double forecast_seconds(inbreeding_method method, const inbreeding_forecast& fc);

// The code of a method (1, 3 or 6) forecast to take at most half the time of the chosen one, on
// a pedigree where the chosen one takes advice_threshold_seconds or more; 0 when there is none.
int advised_inbreeding_method(inbreeding_method chosen, const inbreeding_forecast& fc);

// Selfing generations per animal from a file of lines "animal generations" (animals not listed
// have 0). Size n+1. Stops on a missing file, a bad line or an animal outside 1..n.
std::vector<std::int32_t> read_self_generations(const std::string& path, std::int32_t n);

// Inbreeding coefficients per animal from a file of lines "animal coefficient" (method 9).
// Size n+1. Stops on a missing file, a bad line, an animal outside 1..n+nupg (group lines are
// read and not used) or an animal 1..n without a line.
std::vector<double> read_inbreeding_file(const std::string& path, std::int32_t n, std::int32_t nupg);

}  // namespace ventrel::pedigree
