// The genetic variance of the focal animals.
#include "validation/focal_variance.hpp"

#include "common/console.hpp"

namespace ventrel::validation {

std::vector<double> focal_genetic_variance(const validation_options& options, const pedigree::pedigree_phase_result& ped,
                                           const std::vector<double>& genetic_variance, std::vector<focal_set>& sets) {
  const bool have_inbreeding = ped.inbreeding_known && !ped.external_inbreeding_missing;
  for (focal_set& set : sets) {
    set.inb.assign(set.levels.size(), 0.0);
    if (options.focal_var != "inb" && !have_inbreeding) continue;
    pedigree::check_focal_animals(ped, set.levels);
    if (!have_inbreeding) continue;
    for (std::size_t k = 0; k < set.levels.size(); ++k) set.inb[k] = ped.inb[static_cast<std::size_t>(set.levels[k])];
  }

  std::vector<double> gvar_focal(genetic_variance.size(), 0.0);
  if (options.focal_var == "usr") {
    say("Genetic variance of focal animals provided by the user");
    for (std::size_t t = 0; t < gvar_focal.size() && t < options.focal_var_usr.size(); ++t)
      gvar_focal[t] = options.focal_var_usr[t];
    return gvar_focal;
  }
  if (options.focal_var != "inb") return gvar_focal;
  for (const focal_set& set : sets) {
    if (set.levels.empty()) continue;  // no mean to take: the set leaves its traits alone
    double sum = 0.0;
    for (double f : set.inb) sum += f;
    const double mean_f = sum / static_cast<double>(set.levels.size());
    for (int t : set.traits)
      gvar_focal[static_cast<std::size_t>(t - 1)] = (1.0 - mean_f) * genetic_variance[static_cast<std::size_t>(t - 1)];
  }
  return gvar_focal;
}

}  // namespace ventrel::validation
