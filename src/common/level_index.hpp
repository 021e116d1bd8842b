// The positions of a few chosen levels (ids 1..nlev of an effect) in a list, found in constant
// time without a table over all nlev levels: nlev comes from a file and may be huge while the
// chosen levels (the focal animals) are few.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace ventrel {

// Method: a direct table over 1..(largest chosen level) when that table is small (at most
// 4 Mi entries, or 32 entries per chosen level), else the chosen levels sorted, searched by
// halving. Memory is O(number of chosen levels) plus at most 16 MB, whatever the levels are.
class level_index {
 public:
  static constexpr std::int32_t absent = -1;

  level_index() = default;
  // Indexes levels (each >= 1): find(levels[k]) = k for the first k that holds each level.
  // A level below 1 is not indexed.
  explicit level_index(std::span<const std::int32_t> levels);

  // The position of level in the list, or absent.
  std::int32_t find(std::int64_t level) const {
    if (level < 1 || level > max_level_) return absent;
    if (!table_.empty()) return table_[static_cast<std::size_t>(level)];
    return find_sorted(level);
  }
  std::int64_t max_level() const { return max_level_; }  // largest level indexed; 0 when none
  bool dense() const { return !table_.empty(); }           // which method is in use

 private:
  std::int32_t find_sorted(std::int64_t level) const;
  std::int64_t max_level_ = 0;
  std::vector<std::int32_t> table_;                          // [level] position or absent
  std::vector<std::pair<std::int32_t, std::int32_t>> sorted_;  // (level, position) by level
};

}  // namespace ventrel
