// Heritabilities from the parameter file's variances.
#include "validation/heritability.hpp"

#include <cmath>

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
    // Zero or negative is not a stop: the statistics that divide by it come out non-finite
    // and are printed as they are (the matrix was already reported as not positive definite).
    v[static_cast<std::size_t>(t - 1)] = g->g(p, p);
  }
  return v;
}

namespace {

// The variances that enter a trait's total must add up to a finite number. Zero or negative
// variances are not stopped here: a matrix that is not positive definite has been reported when
// the parameters were printed, and a heritability of zero, negative or above one makes the
// predictive ability non-finite or odd, printed as it is.
void check_diagonal_variances(const parfile::model_parameters& m) {
  for (int t = 1; t <= m.ntrait; ++t) {
    double total = m.r(t - 1, t - 1);
    for (const parfile::random_group& g : m.groups)
      for (int e : g.effects) {
        int p = group_position(g, e, t, m.ntrait);
        total += g.g(p, p);
      }
    if (!std::isfinite(total))
      fatal({"The variances of trait " + num(t) + " add up to more than the largest real number",
             "RANDOM_RESIDUAL and (CO)VARIANCES in file " + m.parfile});
  }
}

}  // namespace

std::vector<double> get_h2(const parfile::model_parameters& m, int effect) {
  std::vector<double> gvar = genetic_variances(m, effect);
  check_diagonal_variances(m);  // before the parallel loop: a stop must not leave a parallel region
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
