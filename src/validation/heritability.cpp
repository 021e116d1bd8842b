// Heritabilities from the parameter file's variances.
#include "validation/heritability.hpp"

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::validation {

int group_position(const parfile::random_group& g, int effect, int trait, int ntrait) {
  int k = effect - g.effects.front();  // effects of a group are consecutive
  return k * ntrait + (trait - 1);
}

std::vector<double> genetic_variances(const parfile::model_parameters& m, int effect) {
  const parfile::random_group* g = parfile::group_of(m, effect);
  if (!g)
    fatal({"The validation effect " + num(effect) + " is not in any RANDOM_GROUP of " + m.parfile,
           "Its genetic variance and its pedigree FILE are needed"});
  std::vector<double> v(static_cast<std::size_t>(m.ntrait));
  for (int t = 1; t <= m.ntrait; ++t) {
    int p = group_position(*g, effect, t, m.ntrait);
    v[static_cast<std::size_t>(t - 1)] = g->g(p, p);
  }
  return v;
}

std::vector<double> get_h2(const parfile::model_parameters& m, int effect) {
  std::vector<double> gvar = genetic_variances(m, effect);
  std::vector<double> h2(static_cast<std::size_t>(m.ntrait));
#pragma omp parallel for
  for (int t = 1; t <= m.ntrait; ++t) {
    double total = m.r(t - 1, t - 1);
    for (const parfile::random_group& g : m.groups)
      for (int e : g.effects) {
        int p = group_position(g, e, t, m.ntrait);
        total += g.g(p, p);
      }
    h2[static_cast<std::size_t>(t - 1)] = gvar[static_cast<std::size_t>(t - 1)] / total;
  }
  return h2;
}

}  // namespace ventrel::validation
