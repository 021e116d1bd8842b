// The results files ventrel_results.json and ventrel_results.csv: the run's settings and input
// files, and per focal set, group and trait every statistic with its SD and 95% limits at full
// double precision, for programs to read (docs/results-format.md describes both).
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "statistics/lr_results.hpp"
#include "validation/report.hpp"

namespace ventrel::validation {

inline constexpr const char* results_json_name = "ventrel_results.json";
inline constexpr const char* results_csv_name = "ventrel_results.csv";
inline constexpr int results_format_version = 1;

// The statistics of one focal set (or one group of its animals) for one trait.
struct results_block {
  std::string cutoff;                                   // OPTION cutoffs prefix; "" = the run's own
  std::string partial_file;                             // its partial solution file
  int set = 1;                                          // focal set, from 1
  std::string group = "all";                            // "all" = every animal of the set
  int trait = 1;                                        // from 1
  int n = 0;                                            // animals in the block
  double h2 = statistics::not_computed;                 // heritability of the trait
  double gvar_focal = statistics::not_computed;         // genetic variance of the block's animals
  bool computed = false;                                // false: fewer than 2 animals, no statistics
  bool has_se = true;                                   // false: no standard errors for this block
  trait_report stats;                                   // point values, variances and limits
  double intercept = statistics::not_computed;          // of the regression of whole on partial
  double rmsd = statistics::not_computed;               // sqrt(mean((whole - partial)^2))
  std::vector<std::string> notes;                       // warnings of its standard errors
};

// Fills the intercept (mean(w) - dispersion x mean(p), dispersion from block.stats) and the
// root mean squared difference of the whole (w) and partial (p) values.
void add_whole_partial_figures(results_block& block, std::span<const double> w, std::span<const double> p);

// One statistic of a block as the files give it: the name of the CSV column "statistic" and
// of the JSON member, its value, SD (square root of the variance) and limits.
struct statistic_entry {
  const char* name;
  double value;
  double sd;
  double lower;
  double upper;
};

// A block's statistics in a fixed order: bias, bias_in_sd, dispersion, ratio_acc, reliability,
// pred_ability (with predictive ability), intercept, increase_in_accuracy (1 / ratio_acc: SD by
// the delta method, limits 1/upper and 1/lower when the ratio's interval is positive), rmsd.
// Without standard errors, and for intercept and rmsd always, SD and limits are NaN.
std::vector<statistic_entry> statistic_entries(const results_block& block, bool with_se, bool predictive_ability);

// What the files say about the run.
struct results_run {
  std::string version;                                       // program version
  std::string date_time;                                     // "2026-11-24T08:25:11Z" (UTC)
  std::string parameter_file;                                // as named on the command line
  int validation_effect = 0;                                 // effect of the focal animals
  std::string se_method = "none";                            // none, exact, approx, boot
  int replicates = 0;                                        // bootstrap replicates (boot)
  std::vector<std::pair<std::string, std::string>> se_settings;   // further settings: name, text
  std::vector<std::pair<std::string, std::string>> input_files;   // role, file name
  bool predictive_ability = false;
  std::string groups_file;                                   // OPTION validation_groups; "" none
  std::vector<results_block> blocks;                         // sets in order, "all" then groups
};

// The current date and time in UTC as "YYYY-MM-DDTHH:MM:SSZ".
std::string utc_date_time();

// The two files' texts.
std::string results_json(const results_run& run);
std::string results_csv(const results_run& run);

// Writes both files atomically (each replaced whole or left as it was).
void write_results_files(const results_run& run);

}  // namespace ventrel::validation
