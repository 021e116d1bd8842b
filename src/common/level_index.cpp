// The index of chosen levels.
#include "common/level_index.hpp"

#include <algorithm>

namespace ventrel {

namespace {
constexpr std::int64_t small_table = std::int64_t{1} << 22;  // entries a table may always have
constexpr std::int64_t per_level = 32;                      // table entries per chosen level
}  // namespace

level_index::level_index(std::span<const std::int32_t> levels) {
  for (std::int32_t l : levels) max_level_ = std::max<std::int64_t>(max_level_, l);
  const auto n = static_cast<std::int64_t>(levels.size());
  if (max_level_ <= std::max(small_table, per_level * n)) {
    table_.assign(static_cast<std::size_t>(max_level_) + 1, absent);
    for (std::size_t k = levels.size(); k-- > 0;)
      if (levels[k] >= 1) table_[static_cast<std::size_t>(levels[k])] = static_cast<std::int32_t>(k);
    return;
  }
  sorted_.reserve(levels.size());
  for (std::size_t k = 0; k < levels.size(); ++k)
    if (levels[k] >= 1) sorted_.emplace_back(levels[k], static_cast<std::int32_t>(k));
  // Stable, so that the first position of a repeated level comes first.
  std::stable_sort(sorted_.begin(), sorted_.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
}

std::int32_t level_index::find_sorted(std::int64_t level) const {
  auto it = std::lower_bound(sorted_.begin(), sorted_.end(), level,
                             [](const auto& e, std::int64_t l) { return e.first < l; });
  return it != sorted_.end() && it->first == level ? it->second : absent;
}

}  // namespace ventrel
