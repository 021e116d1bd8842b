// The elements of the inverse at the stored pattern, through morlo90.
#include "sparse/inverse_in_pattern.hpp"

#include "sparse/morlo90.hpp"

namespace ventrel::sparse {

void invert_in_pattern(ija_matrix& m, const inverse_in_pattern_settings& settings) {
  morlo90_settings ms;
  ms.msg_level = settings.msg_level;
  ms.context = settings.context;
  morlo90 solver(ms);
  if (settings.threads > 0) solver.set_num_threads_kelp(settings.threads);
  solver("factorization", m);
  solver("inverse", m);
}

}  // namespace ventrel::sparse
