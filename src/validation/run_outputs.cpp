// The description of a run for the results files.
#include "validation/run_outputs.hpp"

#include <span>

#include "common/build_info.hpp"
#include "common/freeformat.hpp"
#include "common/output_file.hpp"
#include "parfile/model_parameters.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "validation/svg_plot.hpp"

namespace ventrel::validation {
namespace {

std::size_t at(int t) { return static_cast<std::size_t>(t - 1); }

void describe_settings(const outputs_input& in, results_run& run) {
  const validation_options& o = in.options;
  const bool inverse = genomic::uses_inverse_relationships(in.genomic);
  run.se_method = o.se == se_method::none ? "none" : se_method_name(o.se);
  switch (o.se) {
    case se_method::boot:
      run.replicates = o.nrepboot;
      run.se_settings.emplace_back("generator", "L'Ecuyer combined, fixed seeds");
      break;
    case se_method::exact:
      run.se_settings.emplace_back("relationships", !inverse          ? "pedigree"
                                                     : o.read_hinverse ? "inverse relationship matrix"
                                                                       : "H from genotypes");
      if (inverse) run.se_settings.emplace_back("engine", "KELP");  // the only engine built in
      break;
    case se_method::approx: {
      const extra_column x = in.sets.empty() ? extra_column::none : in.sets.front().extra;
      run.se_settings.emplace_back("accuracies", x == extra_column::acc  ? "acc column"
                                                 : x == extra_column::se ? "s.e. column"
                                                                         : "none");
      break;
    }
    case se_method::none: break;
  }
}

void describe_inputs(const outputs_input& in, results_run& run) {
  const validation_options& o = in.options;
  const parfile::model_parameters& m = in.parameters.model;
  auto add = [&](const char* role, const std::string& file) { run.input_files.emplace_back(role, file); };
  add("solutions_whole", o.sol_whole);
  add("solutions_partial", o.sol_partial);
  for (const std::string& f : o.validation_files) add("validation_set", f);
  add("pedigree", parfile::randomfile(m, o.focal_effect));
  if (o.read_external_inbreeding && file_exists(o.inbreeding_file)) add("inbreeding", o.inbreeding_file);
  if (o.predictive_ability) add("yhat_residual", "yhat_residual");
  if (o.se == se_method::exact) {
    if (genomic::uses_inverse_relationships(in.genomic)) {
      if (o.read_hinverse) add("inverse_relationships", o.hinverse_file);
      else if (in.genomic.snp_file_given) add("genotypes", in.genomic.snp_file);
    }
    for (int t = 1; t <= m.ntrait; ++t)
      for (statistics::evaluation e : {statistics::evaluation::whole, statistics::evaluation::partial}) {
        add("ebv_pev", statistics::ebv_pev_file_name(t, e));
        const std::string pec = statistics::pec_file_name(t, e);
        if (file_exists(pec)) add("pec", pec);
      }
  }
}

}  // namespace

results_run describe_run(const outputs_input& in) {
  results_run run;
  run.version = program_version;
  run.date_time = utc_date_time();
  run.parameter_file = in.parameters.model.parfile;
  run.validation_effect = in.options.focal_effect;
  run.predictive_ability = in.options.predictive_ability;
  describe_settings(in, run);
  describe_inputs(in, run);
  for (std::size_t s = 0; s < in.sets.size(); ++s) {
    const focal_set& set = in.sets[s];
    for (int t : set.traits) {
      results_block b;
      b.partial_file = in.options.sol_partial;
      b.set = static_cast<int>(s) + 1;
      b.trait = t;
      b.n = set.n;
      b.h2 = in.h2[at(t)];
      b.gvar_focal = in.gvar_focal[at(t)];
      b.computed = true;
      b.stats = in.results[at(t)];
      add_whole_partial_figures(b, column(set.whole, t), column(set.partial, t));
      run.blocks.push_back(std::move(b));
    }
  }
  return run;
}

void add_cutoffs(results_run& run, const std::vector<std::string>& prefixes, std::vector<results_block> blocks) {
  for (const std::string& prefix : prefixes) run.input_files.emplace_back("cutoff_partial", prefix + "_partial");
  for (results_block& b : blocks) run.blocks.push_back(std::move(b));
}

void add_groups(results_run& run, const validation_groups& groups, std::vector<results_block> blocks) {
  if (groups.file.empty()) return;
  run.groups_file = groups.file;
  run.input_files.emplace_back("validation_groups", groups.file);
  for (results_block& b : blocks) run.blocks.push_back(std::move(b));
}

void write_plots(const outputs_input& in, const results_run& run, const validation_groups& groups) {
  const bool with_se = run.se_method != "none";
  for (std::size_t s = 0; s < in.sets.size(); ++s) {
    const focal_set& set = in.sets[s];
    for (int t : set.traits) {
      std::vector<const results_block*> blocks;
      for (const results_block& b : run.blocks)
        if (b.cutoff.empty() && b.set == static_cast<int>(s) + 1 && b.trait == t) blocks.push_back(&b);
      if (blocks.empty()) continue;
      const results_block& all = *blocks.front();
      scatter_data d;
      d.trait = t;
      d.partial = column(set.partial, t);
      d.whole = column(set.whole, t);
      if (!groups.names.empty()) {
        d.group = groups.of_row[s];
        d.group_names = groups.names;
      }
      d.slope = all.stats.value.dispersion;
      d.intercept = all.intercept;
      d.bias = all.stats.value.bias;
      write_file_atomically(scatter_file_name(t), scatter_svg(d));
      write_file_atomically(groups_file_name(t), groups_svg(t, blocks, with_se, run.predictive_ability));
    }
  }
}

}  // namespace ventrel::validation
