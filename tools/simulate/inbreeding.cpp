// Inbreeding of new animals from the relationship columns of their sires (Colleau's product).
#include "simulate/inbreeding.hpp"

#include <algorithm>
#include <cstddef>

namespace ventrel::simulate {

double mendelian_coefficient(int sire, int dam, std::span<const double> inb) {
  double b = 1.0;
  if (sire > 0) b -= 0.25 * (1.0 + inb[static_cast<std::size_t>(sire)]);
  if (dam > 0) b -= 0.25 * (1.0 + inb[static_cast<std::size_t>(dam)]);
  return b;
}

void relationship_column(int s, int n, std::span<const int> sire, std::span<const int> dam,
                         std::span<const double> dvar, std::vector<double>& out) {
  out.assign(static_cast<std::size_t>(n) + 1, 0.0);
  double* v = out.data();
  v[s] = 1.0;
  // T' e_s: the path coefficients of s's ancestors.
  for (int i = s; i >= 1; --i) {
    const double x = v[i];
    if (x == 0.0) continue;
    const std::size_t ui = static_cast<std::size_t>(i);
    if (sire[ui] > 0) v[sire[ui]] += 0.5 * x;
    if (dam[ui] > 0) v[dam[ui]] += 0.5 * x;
  }
  // B T' e_s, then T: v[0] stays 0 and stands for an unknown parent.
  for (int i = 1; i <= s; ++i) v[i] *= dvar[static_cast<std::size_t>(i)];
  for (int i = 1; i <= n; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    v[i] += 0.5 * (v[sire[ui]] + v[dam[ui]]);
  }
}

void inbreeding_of_new_animals(std::span<const int> sire, std::span<const int> dam,
                               std::vector<double>& inb, std::vector<double>& dvar, int first,
                               int last) {
  bool independent = true;
  for (int i = first; i <= last && independent; ++i) {
    independent = sire[static_cast<std::size_t>(i)] < first && dam[static_cast<std::size_t>(i)] < first;
  }
  if (!independent) {
    std::vector<double> col;
    for (int i = first; i <= last; ++i) {
      const std::size_t ui = static_cast<std::size_t>(i);
      const int s = sire[ui], d = dam[ui];
      if (s > 0 && d > 0) {
        relationship_column(std::max(s, d), i - 1, sire, dam, dvar, col);
        inb[ui] = 0.5 * col[static_cast<std::size_t>(std::min(s, d))];
      } else {
        inb[ui] = 0.0;
      }
      dvar[ui] = mendelian_coefficient(s, d, inb);
    }
    return;
  }

  // The distinct sires of the range with both parents known, and their progeny.
  std::vector<int> progeny;  // animals of the range, grouped by sire
  for (int i = first; i <= last; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    if (sire[ui] > 0 && dam[ui] > 0) progeny.push_back(i);
    else inb[ui] = 0.0;
  }
  std::stable_sort(progeny.begin(), progeny.end(), [&](int a, int b) {
    return sire[static_cast<std::size_t>(a)] < sire[static_cast<std::size_t>(b)];
  });
  std::vector<std::size_t> group_start;
  for (std::size_t k = 0; k < progeny.size(); ++k) {
    if (k == 0 || sire[static_cast<std::size_t>(progeny[k])] != sire[static_cast<std::size_t>(progeny[k - 1])]) {
      group_start.push_back(k);
    }
  }
  group_start.push_back(progeny.size());
  const int ngroups = static_cast<int>(group_start.size()) - 1;
  const int known = first - 1;
#pragma omp parallel
  {
    std::vector<double> col;
#pragma omp for schedule(dynamic, 1)
    for (int g = 0; g < ngroups; ++g) {
      const std::size_t b = group_start[static_cast<std::size_t>(g)], e = group_start[static_cast<std::size_t>(g) + 1];
      const int s = sire[static_cast<std::size_t>(progeny[b])];
      relationship_column(s, known, sire, dam, dvar, col);
      for (std::size_t k = b; k < e; ++k) {
        const std::size_t ui = static_cast<std::size_t>(progeny[k]);
        inb[ui] = 0.5 * col[static_cast<std::size_t>(dam[ui])];
      }
    }
  }
  for (int i = first; i <= last; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    dvar[ui] = mendelian_coefficient(sire[ui], dam[ui], inb);
  }
}

}  // namespace ventrel::simulate
