// The bootstrap's sort of a replicate array.
#include "statistics/quicksort.hpp"

#include <algorithm>
#include <cmath>

namespace ventrel::statistics {

void quicksort(std::span<double> x, std::int64_t first, std::int64_t last) {
  const auto size = static_cast<std::int64_t>(x.size());
  if (last < 0 || last > size) last = size;
  if (first < 1) first = 1;
  if (first >= last) return;
  // A strict weak order even with NaN present: numbers ascending, then every NaN.
  auto before = [](double a, double b) { return std::isnan(b) ? !std::isnan(a) : a < b; };
  std::sort(x.begin() + (first - 1), x.begin() + last, before);
}

}  // namespace ventrel::statistics
