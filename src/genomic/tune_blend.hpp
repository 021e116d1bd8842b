// Adjusting G to the pedigree relationships of the genotyped animals: tuning (a + b G with the
// means of A22) and blending (alpha G + beta A22).
#pragma once

#include "linalg/dense_matrix.hpp"

namespace ventrel::genomic {

struct g_tuning {
  double a = 0.0;  // added to every element
  double b = 1.0;  // factor of every element
};

// The a and b for which a + b G has the mean diagonal and the mean off-diagonal element of A22:
// b = (dA - oA) / (dG - oG), a = dA - b dG (d: mean diagonal, o: mean off-diagonal). With one
// animal there is no off-diagonal: a = 0 and b matches the diagonal. Stops when G's diagonal and
// off-diagonal means are equal (all animals alike).
g_tuning tuning_to_a22(const linalg::dense_matrix& g, const linalg::dense_matrix& a22);

// g = t.a + t.b g, every element.
void apply_tuning(linalg::dense_matrix& g, const g_tuning& t);

// g = alpha g + beta a22.
void blend(linalg::dense_matrix& g, const linalg::dense_matrix& a22, double alpha, double beta);

}  // namespace ventrel::genomic
