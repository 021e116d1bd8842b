// The run flow: the phases in order, each a call into its own subsystem. The run owns every
// record (model, options, focal sets, pedigree, results) and passes them explicitly.
#include "validation/run.hpp"

#include <omp.h>

#include <span>
#include <string>
#include <vector>

#include "common/build_info.hpp"
#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/output_file.hpp"
#include "genomic/metafounders.hpp"
#include "genomic/options.hpp"
#include "genomic/single_step.hpp"
#include "linalg/blas_threads.hpp"
#include "parfile/print_parameters.hpp"
#include "parfile/read_parameter_file.hpp"
#include "pedigree/pedigree_phase.hpp"
#include "statistics/lr_statistics.hpp"
#include "validation/focal_variance.hpp"
#include "validation/cutoffs.hpp"
#include "validation/groups.hpp"
#include "validation/heritability.hpp"
#include "validation/options.hpp"
#include "validation/output_options.hpp"
#include "validation/report.hpp"
#include "validation/results_file.hpp"
#include "validation/run_outputs.hpp"
#include "validation/se_phase.hpp"
#include "validation/sol_valids.hpp"
#include "validation/solution_files.hpp"

namespace ventrel::validation {
namespace {

using parfile::random_type;

bool allows_groups(random_type t) {
  return t == random_type::add_an_upg || t == random_type::add_an_upginb || t == random_type::add_an_mf ||
         t == random_type::add_an_meta || t == random_type::add_an_auto;
}

bool has_metafounders(random_type t) { return t == random_type::add_an_mf || t == random_type::add_an_meta; }

// The pedigree phase's inputs from the model and the options. The coefficients are needed by
// the focal variance from inbreeding, by Colleau's product (A_focal itself, or A22 and the focal
// animals' relationships when H is built from the genotypes) and by the diagonal 1 + F of se
// approx.
pedigree::pedigree_phase_input pedigree_input(const parfile::parameter_file& pf, const validation_options& opt,
                                              const genomic::genomic_options& gen) {
  const parfile::model_parameters& m = pf.model;
  pedigree::pedigree_phase_input in;
  random_type type = parfile::randomtype(m, opt.focal_effect);
  in.pedigree_file = parfile::randomfile(m, opt.focal_effect);
  if (in.pedigree_file.empty())
    fatal({"The validation effect " + num(opt.focal_effect) + " has no pedigree FILE in " + m.parfile});
  in.groups_allowed = allows_groups(type);
  if (has_metafounders(type) && !gen.metafounders_gamma_file.empty())
    in.gamma = genomic::read_metafounders_gamma(gen.metafounders_gamma_file);
  const bool from_inbreeding = opt.focal_var == "inb";
  in.relationships_needed = opt.se == se_method::exact &&
                            (!genomic::uses_inverse_relationships(gen) || (gen.snp_file_given && !opt.read_hinverse));
  in.inbreeding_needed = from_inbreeding || in.relationships_needed || opt.se == se_method::approx;
  in.inbreeding_method = opt.inbreeding_method;
  // The external file serves the focal variance; other uses compute the coefficients.
  in.read_external_inbreeding = from_inbreeding && opt.read_external_inbreeding;
  in.external_inbreeding_file = opt.inbreeding_file;
  in.effect_levels = m.nlev[static_cast<std::size_t>(opt.focal_effect - 1)];
  in.self_generations_file = opt.self_generations_file;
  in.nthreads = opt.nthreads;
  return in;
}

}  // namespace

int run(const command_line& cmd) {
  // 1. The parameter file and its effects table.
  const std::string banner = banner_field();
  const parfile::parameter_file pf = parfile::read_parameter_file(cmd, 1, banner);
  const parfile::model_parameters& m = pf.model;
  parfile::print_parameters(m);

  // 2. Validation options, then the genomic library's own.
  const validation_options opt = read_validation_options(pf.options, m);
  const genomic::genomic_options gen = genomic::read_genomic_options(pf.options);
  const output_options outputs = read_output_options(pf.options);
  // Every query is made by now: the other names are other programs' options or misspellings.
  if (const std::vector<std::string> unread = pf.options.unread_option_names(); !unread.empty()) {
    std::string names;
    for (const std::string& u : unread) names += " " + u;
    warn("OPTION lines that ventrel does not read (options of other programs, or misspelled):" + names);
  }

  // 3. The runtimes' thread counts, set once: OpenMP's from OPTION nthreads, BLAS's from the
  // sparse solver's (OPTION num_threads_kelp, else OpenMP's); each phase gets its own count.
  if (opt.nthreads > 0) omp_set_num_threads(opt.nthreads);
  linalg::set_blas_threads(opt.num_threads_kelp > 0 ? opt.num_threads_kelp : omp_get_max_threads());

  // Faults of the genomic options known now stop before any long phase.
  const bool metafounders = has_metafounders(parfile::randomtype(m, opt.focal_effect)) &&
                            !gen.metafounders_gamma_file.empty();
  if (opt.se == se_method::exact && genomic::uses_inverse_relationships(gen) && gen.snp_file_given &&
      !opt.read_hinverse)
    genomic::check_single_step_pedigree(metafounders);

  // 4. Focal records from the validation-set and solution files.
  std::vector<focal_set> sets = read_focal_sets(opt, m);
  const validation_groups groups =
      outputs.validation_groups.empty() ? validation_groups{} : read_validation_groups(outputs.validation_groups, sets);

  // 5. Heritabilities.
  const std::vector<double> genetic_variance = genetic_variances(m, opt.focal_effect);
  const std::vector<double> h2 = get_h2(m, opt.focal_effect);
  say("");
  for (int t = 1; t <= m.ntrait; ++t)
    say(" Heritability for trait " + fmt_i(t, 3) + ": " + fmt_f(h2[static_cast<std::size_t>(t - 1)], 12, 3));
  say("");

  // 6. Pedigree, inbreeding and the genetic variance of the focal animals.
  const pedigree::pedigree_phase_result ped = pedigree::read_pedigree_phase(pedigree_input(pf, opt, gen));
  const std::vector<double> gvar_focal = focal_genetic_variance(opt, ped, genetic_variance, sets);
  for (int t = 1; t <= m.ntrait; ++t)
    say(" Genetic variance for the focal animals for trait " + fmt_i(t, 3) + ": " +
        fmt_f(gvar_focal[static_cast<std::size_t>(t - 1)], 12, 3));
  say("");

  // 7. LR statistics of every trait, from the set that validates it.
  std::vector<trait_report> results(static_cast<std::size_t>(m.ntrait));
  for (int t = 1; t <= m.ntrait; ++t) results[static_cast<std::size_t>(t - 1)].genetic_variance = genetic_variance[static_cast<std::size_t>(t - 1)];
  for (const focal_set& set : sets)
    for (int t : set.traits) {
      auto y = opt.predictive_ability ? column(set.phenotype, t) : std::span<const double>();
      results[static_cast<std::size_t>(t - 1)].value =
          statistics::compute_lr(column(set.whole, t), column(set.partial, t), y,
                                 gvar_focal[static_cast<std::size_t>(t - 1)], h2[static_cast<std::size_t>(t - 1)]);
    }

  // The standard-error phase.
  const bool with_se = opt.se != se_method::none;
  std::vector<linalg::dense_matrix> a_focal;  // kept by se exact for the groups
  if (with_se) {
    se_phase_input in{m, opt, gen, sets, ped, genetic_variance, gvar_focal, h2};
    run_se_phase(in, results, groups.names.empty() ? nullptr : &a_focal);
  }

  // Statistics of the validation groups and of further cut-offs.
  std::vector<results_block> by_group =
      group_blocks({m, opt, sets, ped, genetic_variance, h2, gvar_focal, groups, a_focal});
  std::vector<results_block> by_cutoff = cutoff_blocks({m, opt, genetic_variance, h2, gvar_focal}, outputs.cutoffs);

  // 8. The report (and the groups' blocks when asked for), 9. the log, the focal animals'
  // solutions, the results files and the plots.
  std::vector<std::string> lines = report_lines(results, with_se, opt.predictive_ability);
  if (outputs.print_groups)
    for (std::string& line : group_report_lines(by_group, with_se, opt.predictive_ability)) lines.push_back(std::move(line));
  std::string log = banner + "\n";
  for (const std::string& line : lines) {
    say(line);
    log += line + "\n";
  }
  results_run described = describe_run({pf, opt, gen, sets, h2, gvar_focal, results});
  add_groups(described, groups, std::move(by_group));
  add_cutoffs(described, outputs.cutoffs, std::move(by_cutoff));
  write_sol_valids(sets, m.ntrait);
  write_results_files(described);
  if (outputs.plots) write_plots({pf, opt, gen, sets, h2, gvar_focal, results}, described, groups);
  write_file_atomically("ventrel.log", log);
  return 0;
}

}  // namespace ventrel::validation
