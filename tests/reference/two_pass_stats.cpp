// Slow, obvious reference for the LR statistics in long double.
#include "reference/two_pass_stats.hpp"

#include <cmath>
#include <cstddef>
#include <vector>

namespace ventrel::reference {

long double ref_mean(std::span<const double> x) {
  long double s = 0;
  for (const double v : x) s += v;
  return s / static_cast<long double>(x.size());
}

long double ref_centred_cross(std::span<const double> x, std::span<const double> y) {
  const long double mx = ref_mean(x);
  const long double my = ref_mean(y);
  long double s = 0;
  for (std::size_t i = 0; i < x.size(); ++i) s += (x[i] - mx) * (y[i] - my);
  return s;
}

lr_reference lr_two_pass(std::span<const double> w, std::span<const double> p,
                         std::span<const double> y, double gvar_focal, double h2) {
  std::vector<double> d(p.size());
  for (std::size_t i = 0; i < p.size(); ++i) d[i] = p[i] - w[i];
  lr_reference out;
  out.bias = ref_mean(d);
  const long double spw = ref_centred_cross(p, w);
  const long double spp = ref_centred_cross(p, p);
  const long double sww = ref_centred_cross(w, w);
  out.dispersion = spw / spp;
  out.ratio_acc = spw / std::sqrt(spp * sww);
  out.reliability = spw / static_cast<long double>(p.size()) / gvar_focal;
  if (!y.empty()) {
    const long double syp = ref_centred_cross(y, p);
    const long double syy = ref_centred_cross(y, y);
    out.pred_ability = syp / std::sqrt(syy * spp) / std::sqrt(static_cast<long double>(h2));
  }
  return out;
}

}  // namespace ventrel::reference
