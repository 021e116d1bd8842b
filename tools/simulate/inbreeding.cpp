// Meuwissen and Luo's ancestor tracing, one animal at a time, parallel over a generation.
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

namespace {

// One thread's workspace: L by animal number (kept all zero between animals) and the heap of
// the ancestors waiting to be visited.
struct trace_workspace {
  std::vector<double> l;
  std::vector<int> heap;
};

double inbreeding_of(int s, int d, std::span<const int> sire, std::span<const int> dam,
                     std::span<const double> inb, std::span<const double> dvar,
                     trace_workspace& w) {
  if (s == 0 || d == 0) return 0.0;
  auto visit = [&](int p, double amount) {
    double& l = w.l[static_cast<std::size_t>(p)];
    if (l == 0.0) {
      w.heap.push_back(p);
      std::push_heap(w.heap.begin(), w.heap.end());
    }
    l += amount;
  };
  visit(s, 0.5);
  visit(d, 0.5);
  double sum = 0.0;
  while (!w.heap.empty()) {
    std::pop_heap(w.heap.begin(), w.heap.end());
    const int j = w.heap.back();
    w.heap.pop_back();
    const std::size_t uj = static_cast<std::size_t>(j);
    const double lj = w.l[uj];
    w.l[uj] = 0.0;
    sum += lj * lj * dvar[uj];
    if (sire[uj] > 0) visit(sire[uj], 0.5 * lj);
    if (dam[uj] > 0) visit(dam[uj], 0.5 * lj);
  }
  // a_ii = b_i + sum, with b_i = 0.5 - (F_s + F_d)/4 for two known parents; F_i = a_ii - 1.
  const double b = 0.5 - 0.25 * (inb[static_cast<std::size_t>(s)] + inb[static_cast<std::size_t>(d)]);
  return b + sum - 1.0;
}

}  // namespace

void inbreeding_of_new_animals(std::span<const int> sire, std::span<const int> dam,
                               std::vector<double>& inb, std::vector<double>& dvar, int first,
                               int last) {
  const std::size_t n = static_cast<std::size_t>(last) + 1;
  // The animals of the range are independent when none is a parent of another; otherwise they
  // go one after the other, each seeing its parents' coefficients.
  bool independent = true;
  for (int i = first; i <= last && independent; ++i) {
    independent = sire[static_cast<std::size_t>(i)] < first && dam[static_cast<std::size_t>(i)] < first;
  }
  if (!independent) {
    trace_workspace w;
    w.l.assign(n, 0.0);
    for (int i = first; i <= last; ++i) {
      const std::size_t ui = static_cast<std::size_t>(i);
      inb[ui] = inbreeding_of(sire[ui], dam[ui], sire, dam, inb, dvar, w);
      dvar[ui] = mendelian_coefficient(sire[ui], dam[ui], inb);
    }
    return;
  }
#pragma omp parallel
  {
    trace_workspace w;
    w.l.assign(n, 0.0);
#pragma omp for schedule(dynamic, 256)
    for (int i = first; i <= last; ++i) {
      const std::size_t ui = static_cast<std::size_t>(i);
      const int s = sire[ui], d = dam[ui];
      inb[ui] = inbreeding_of(s, d, sire, dam, inb, dvar, w);
    }
  }
  for (int i = first; i <= last; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    dvar[ui] = mendelian_coefficient(sire[ui], dam[ui], inb);
  }
}

}  // namespace ventrel::simulate
