// The index of focal levels over the validation effect.
#include "validation/focal_set.hpp"

namespace ventrel::validation {

extra_column extra_column_of(solution_layout layout) {
  switch (layout) {
    case solution_layout::orvane_se: return extra_column::se;
    case solution_layout::quodax: return extra_column::acc;
    case solution_layout::orvane:
    case solution_layout::tirvex: break;
  }
  return extra_column::none;
}

focal_index index_focal_levels(const std::vector<focal_set>& sets, int nlev) {
  focal_index idx;
  idx.slot.assign(static_cast<std::size_t>(nlev) + 1, 0);
  for (const focal_set& s : sets)
    for (int level : s.levels)
      if (idx.slot[level] == 0) {
        idx.levels.push_back(level);
        idx.slot[level] = static_cast<std::int32_t>(idx.levels.size());
      }
  return idx;
}

}  // namespace ventrel::validation
