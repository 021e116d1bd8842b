// The statistics of every cut-off.
#include "validation/cutoffs.hpp"

#include <span>

#include "statistics/bootstrap.hpp"
#include "statistics/lr_statistics.hpp"
#include "statistics/random.hpp"
#include "validation/solution_files.hpp"

namespace ventrel::validation {
namespace {

std::size_t at(int t) { return static_cast<std::size_t>(t - 1); }

}  // namespace

std::vector<results_block> cutoff_blocks(const cutoff_input& in, const std::vector<std::string>& prefixes) {
  std::vector<results_block> out;
  statistics::rng generator;  // the cut-offs' own stream, from the default seeds
  for (const std::string& prefix : prefixes) {
    validation_options o = in.options;
    o.sol_partial = prefix + "_partial";
    const std::vector<focal_set> sets = read_focal_sets(o, in.model);
    for (std::size_t s = 0; s < sets.size(); ++s)
      for (int t : sets[s].traits) {
        const focal_set& set = sets[s];
        results_block b;
        b.cutoff = prefix;
        b.partial_file = o.sol_partial;
        b.set = static_cast<int>(s) + 1;
        b.trait = t;
        b.n = set.n;
        b.h2 = in.h2[at(t)];
        b.gvar_focal = in.gvar_focal[at(t)];
        b.computed = true;
        b.stats.genetic_variance = in.genetic_variance[at(t)];
        const auto w = column(set.whole, t), p = column(set.partial, t);
        const auto y = o.predictive_ability ? column(set.phenotype, t) : std::span<const double>();
        b.stats.value = statistics::compute_lr(w, p, y, b.gvar_focal, b.h2);
        if (o.se == se_method::boot)
          b.stats.se = statistics::bootstrap(w, p, y, b.gvar_focal, b.h2, o.nrepboot, generator, o.nthreads);
        else if (o.se != se_method::none) {
          b.has_se = false;
          b.notes.push_back("no standard errors for a cut-off other than the run's own with se " +
                            std::string(se_method_name(o.se)));
        }
        add_whole_partial_figures(b, w, p);
        out.push_back(std::move(b));
      }
  }
  return out;
}

}  // namespace ventrel::validation
