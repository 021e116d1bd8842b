// Inbreeding by Tier (1990): the subset of A that the inbreeding coefficients need.
#include <algorithm>
#include <vector>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// Largest number of relationship elements the subset may hold (about 12 bytes each).
constexpr std::size_t max_elements = 150'000'000;

}  // namespace

// Tier (1990). F(i) = A(s,d)/2 needs A between the parents of every animal, and an element
// A(x,y), x older than y, needs A(x,s(y)) and A(x,d(y)). A symbolic pass from the youngest animal
// down collects, for every animal y, the older animals x whose A(x,y) is needed (requests always
// come from younger animals, so the list of y is complete when y is reached); a numeric pass from
// the oldest animal up then fills them, each element from two that are already known, and the
// coefficients with them. Elements on the diagonal are 1 + F. Memory: one number per element of
// the subset; a subset above max_elements stops the run. Unknown parents (and unknown parent
// groups, which arrive here as unknown) contribute 0.
void inbreeding_tier(const pedigree_table& ped, index_t n, std::vector<double>& f) {
  const std::size_t un = static_cast<std::size_t>(n);
  f.assign(un + 1, 0.0);
  std::vector<std::vector<index_t>> need(un + 1);
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    if (p.sire != 0 && p.dam != 0 && p.sire != p.dam)
      need[static_cast<std::size_t>(std::max(p.sire, p.dam))].push_back(std::min(p.sire, p.dam));
  }
  std::size_t total = 0;
  for (index_t y = n; y >= 1; --y) {
    std::vector<index_t>& ny = need[static_cast<std::size_t>(y)];
    std::sort(ny.begin(), ny.end());
    ny.erase(std::unique(ny.begin(), ny.end()), ny.end());
    ny.shrink_to_fit();
    total += ny.size();
    if (total > max_elements)
      fatal({"Tier (1990): the relationships needed for the inbreeding coefficients exceed " +
                 num(static_cast<std::int64_t>(max_elements)) + " elements",
             "choose another inbreeding_method"});
    const parents& py = ped[static_cast<std::size_t>(y)];
    for (index_t x : ny)
      for (index_t q : {py.sire, py.dam})
        if (q != 0 && q != x) need[static_cast<std::size_t>(std::max(x, q))].push_back(std::min(x, q));
  }
  std::vector<std::vector<double>> value(un + 1);
  auto get = [&](index_t a, index_t b) -> double {
    if (a == 0 || b == 0) return 0.0;
    if (a == b) return 1.0 + f[static_cast<std::size_t>(a)];
    const index_t y = std::max(a, b), x = std::min(a, b);
    const std::vector<index_t>& ny = need[static_cast<std::size_t>(y)];
    const auto it = std::lower_bound(ny.begin(), ny.end(), x);
    return value[static_cast<std::size_t>(y)][static_cast<std::size_t>(it - ny.begin())];
  };
  progress shown("inbreeding (Tier)", n);
  for (index_t y = 1; y <= n; ++y) {
    if ((y & 4095) == 0) shown.update(y);
    const parents& py = ped[static_cast<std::size_t>(y)];
    f[static_cast<std::size_t>(y)] = 0.5 * get(py.sire, py.dam);
    const std::vector<index_t>& ny = need[static_cast<std::size_t>(y)];
    std::vector<double>& vy = value[static_cast<std::size_t>(y)];
    vy.resize(ny.size());
    for (std::size_t k = 0; k < ny.size(); ++k) vy[k] = 0.5 * (get(ny[k], py.sire) + get(ny[k], py.dam));
  }
}

}  // namespace ventrel::pedigree::detail
