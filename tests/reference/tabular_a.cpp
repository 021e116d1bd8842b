// Dense tabular A: the obvious, slow way, as the reference for the pedigree kernels.
#include "reference/tabular_a.hpp"

#include <cmath>
#include <stdexcept>

namespace ventrel::reference {

linalg::dense_matrix tabular_a(const tabular_pedigree& p) {
  const std::int32_t n = static_cast<std::int32_t>(p.parents.size()) - 1;
  const std::int32_t g = p.nupg;
  const bool mf = !p.gamma.empty();
  linalg::dense_matrix a(n + g, n + g);
  auto row = [](std::int32_t code) { return code - 1; };  // animal i at i-1, group k (code n+k) at n+k-1
  auto known = [&](std::int32_t code) { return code >= 1 && (code <= n || mf); };
  if (mf)
    for (std::int32_t k = 0; k < g; ++k)
      for (std::int32_t l = 0; l < g; ++l) a(n + k, n + l) = p.gamma[static_cast<std::size_t>(k + l * g)];
  // Order: an animal may be placed when each known animal parent is placed.
  std::vector<char> placed(static_cast<std::size_t>(n) + 1, 0);
  std::vector<std::int32_t> order;
  std::vector<std::int32_t> done_rows;  // rows already in the table (groups first)
  if (mf)
    for (std::int32_t k = 1; k <= g; ++k) done_rows.push_back(n + k - 1);
  while (static_cast<std::int32_t>(order.size()) < n) {
    bool progress = false;
    for (std::int32_t i = 1; i <= n; ++i) {
      if (placed[static_cast<std::size_t>(i)]) continue;
      const auto [s, d] = p.parents[static_cast<std::size_t>(i)];
      auto ready = [&](std::int32_t c) { return c < 1 || c > n || placed[static_cast<std::size_t>(c)]; };
      if (!ready(s) || !ready(d)) continue;
      placed[static_cast<std::size_t>(i)] = 1;
      order.push_back(i);
      progress = true;
      const std::int32_t r = i - 1;
      for (std::int32_t j : done_rows) {
        double v = 0.0;
        if (known(s)) v += 0.5 * a(row(s), j);
        if (known(d)) v += 0.5 * a(row(d), j);
        a(r, j) = v;
        a(j, r) = v;
      }
      const double f0 = known(s) && known(d) ? 0.5 * a(row(s), row(d)) : 0.0;
      double f = f0;
      if (!p.selfing.empty() && p.selfing[static_cast<std::size_t>(i)] > 0)
        f = 1.0 - (1.0 - f0) / std::pow(2.0, p.selfing[static_cast<std::size_t>(i)]);
      a(r, r) = 1.0 + f;
      done_rows.push_back(r);
    }
    if (!progress) throw std::runtime_error("tabular_a: the pedigree has a loop");
  }
  return a;
}

std::vector<double> tabular_inbreeding(const tabular_pedigree& p) {
  const linalg::dense_matrix a = tabular_a(p);
  const std::int32_t n = static_cast<std::int32_t>(p.parents.size()) - 1;
  std::vector<double> f(static_cast<std::size_t>(n) + 1, 0.0);
  for (std::int32_t i = 1; i <= n; ++i) f[static_cast<std::size_t>(i)] = a(i - 1, i - 1) - 1.0;
  return f;
}

}  // namespace ventrel::reference
