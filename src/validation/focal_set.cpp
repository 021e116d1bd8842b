// The index of focal levels over the validation effect.
#include "validation/focal_set.hpp"

namespace ventrel::validation {

extra_column extra_column_of(solution_layout layout) {
  switch (layout) {
    case solution_layout::solution_se: return extra_column::se;
    case solution_layout::solution_acc: return extra_column::acc;
    case solution_layout::solution:
    case solution_layout::solution_spaced: break;
  }
  return extra_column::none;
}

focal_index index_focal_levels(const std::vector<focal_set>& sets, int nlev) {
  focal_index idx;
  idx.nlev = nlev;
  std::vector<std::int32_t> all;
  for (const focal_set& s : sets) all.insert(all.end(), s.levels.begin(), s.levels.end());
  const level_index first(all);  // position of the first appearance of each level in all
  for (std::size_t k = 0; k < all.size(); ++k)
    if (first.find(all[k]) == static_cast<std::int32_t>(k)) idx.levels.push_back(all[k]);
  idx.position = level_index(idx.levels);
  return idx;
}

}  // namespace ventrel::validation
