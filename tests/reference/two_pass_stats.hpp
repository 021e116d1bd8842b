// Slow, obvious reference for the LR statistics: every sum in long double, each formula
// written out from its definition (mean first, then centred sums, one routine per quantity).
#pragma once

#include <span>

namespace ventrel::reference {

long double ref_mean(std::span<const double> x);
long double ref_centred_cross(std::span<const double> x, std::span<const double> y);

struct lr_reference {
  long double bias = 0;
  long double dispersion = 0;
  long double ratio_acc = 0;
  long double reliability = 0;
  long double pred_ability = 0;  // only when y is given
};

// bias = mean(p - w) from an explicit difference vector, dispersion = Spw / Spp,
// ratio_acc = Spw / sqrt(Spp Sww), reliability = (Spw / n) / gvar_focal,
// pred_ability = Syp / sqrt(Syy Spp) / sqrt(h2).
lr_reference lr_two_pass(std::span<const double> w, std::span<const double> p,
                         std::span<const double> y, double gvar_focal, double h2);

}  // namespace ventrel::reference
