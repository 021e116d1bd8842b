// The validation OPTIONs of the parameter file: what to validate, where the solutions are, how
// to get standard errors, and the settings handed to the pedigree and sparse phases.
#pragma once

#include <string>
#include <vector>

#include "parfile/model_parameters.hpp"
#include "parfile/option_store.hpp"
#include "pedigree/pedigree_phase.hpp"

namespace ventrel::validation {

enum class se_method { none, exact, approx, boot };        // OPTION se; none when absent

// Every setting with its default; filled once by read_validation_options.
struct validation_options {
  int focal_effect = 0;                          // effect whose levels are the focal individuals
  std::vector<std::string> validation_files;     // validation-set files: 1 (all traits) or ntrait
  bool predictive_ability = false;               // read "yhat_residual", report predictive ability
  std::string solutions = "solutions";           // the family's plain solution file name
  std::string sol_whole = "solutions_whole";     // solutions of the whole evaluation
  std::string sol_partial = "solutions_partial"; // solutions of the partial evaluation
  std::string focal_var = "inb";                 // first 3 characters of OPTION focal_var
  std::vector<double> focal_var_usr;             // [trait] user-given variances when "usr"
  se_method se = se_method::none;                // standard-error method
  bool read_hinverse = false;                    // OPTION readHInverse given
  std::string hinverse_file = "Hinv.txt";        // its file
  int inbreeding_method = 1;                     // OPTION inbreeding_method
  int msg_morlo = 0;                             // message level of the sparse package
  int num_threads_kelp = 0;                      // sparse solver threads (at least 1 when given);
                                                 // 0 = its default
  bool read_external_inbreeding = false;         // OPTION ReadExternalInbreeding given
  std::string inbreeding_file = pedigree::ranolt_inb_file;  // its file (the default when none
                                                           // is named)
  int nrepboot = 10000;                          // bootstrap replicates
  int nthreads = 0;                              // threads of the calculations; 0 = runtime's own
  std::string boot_clusters;                     // se boot resamples clusters: "sire", "dam" or a
                                                 // file of "level cluster" lines; "" = animals
  std::string self_generations_file;             // OPTION self_generations (inbreeding method 7)
};

// The se method as the report and messages write it ("exact", "approx", "boot"; "" for none).
const char* se_method_name(se_method m);

// Reads every validation OPTION in a fixed order (validation, predictive_ability, prefix,
// focal_var, se, readHInverse, inbreeding_method, use_kelp, msg_MORLO, num_threads_kelp,
// ReadExternalInbreeding, nrepboot, nthreads, self_generations, boot_clusters), echoing each
// one found, then checks that the files the run needs exist: both solution files,
// "yhat_residual" for predictive ability, the "ebv_pev_" files of every trait for se exact. The family's se approx warnings on a missing
// solution file are kept after them but cannot fire here (a missing file stops first). OPTION
// use_kelp only echoes: KELP is built in and always factorises. Option names are
// compared regardless of case, as every OPTION query does. A bad or missing value stops the
// run. Nothing is set here: the run hands the thread counts to the runtimes and the phases.
validation_options read_validation_options(const parfile::option_store& store,
                                           const parfile::model_parameters& model);

}  // namespace ventrel::validation
