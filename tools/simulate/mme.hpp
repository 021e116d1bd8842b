// The mixed-model equations of the simulator's animal model: herds as a fixed effect and the
// additive animal effect, one or two traits, assembled in a hash matrix and handed over in
// upper-triangular IJA form.
#pragma once

#include <span>
#include <utility>
#include <vector>

#include "genomic/hinverse_build.hpp"
#include "linalg/dense_matrix.hpp"
#include "simulate/population.hpp"
#include "sparse/ija_matrix.hpp"

namespace ventrel::simulate {

// Equation numbers (from 1), as the family's solvers number them: effect by effect, then
// level, then trait. Effect 1 is the herd, effect 2 the animal.
struct mme_layout {
  int ntrait = 1;   // traits
  int nherd = 0;    // levels of effect 1
  int nanimal = 0;  // levels of effect 2 (animals 1..nanimal of the population)

  int herd_eq(int h, int t) const { return (h - 1) * ntrait + t; }                   // t from 1
  int animal_eq(int a, int t) const { return (nherd + a - 1) * ntrait + t; }         // t from 1
  int neq() const { return (nherd + nanimal) * ntrait; }
};

struct mme_system {
  mme_layout layout;
  sparse::ija_matrix lhs;     // upper triangle of the coefficient matrix, rows from 1
  std::vector<double> rhs;    // [eq - 1] right-hand side
  std::vector<char> unused;   // [eq - 1] 1 for an equation without data (a herd without
                              // records): its diagonal is set to 1 and its solution is 0
};

// Builds the MME of the multi-trait animal model y = X b + Z u + e with Var(u) = G0 (x) A and
// Var(e) = I (x) R0 (every record has every trait):
//   [X'R^-1 X  X'R^-1 Z            ] [b]   [X'R^-1 y]
//   [Z'R^-1 X  Z'R^-1 Z + A^-1 (x) G0^-1] [u] = [Z'R^-1 y]
// so that the inverse of the coefficient matrix holds prediction error (co)variances directly.
// A^-1 by Henderson's rules with the Mendelian coefficients pop.dvar (inbreeding included).
// The animals are 1..nanimal of pop (their parents lie among them); has_record[i] says whether
// animal i's record enters. Every pair of `pec_animals` is entered for each trait as an
// explicit zero, so that it lies in the pattern of the factor and its sparse inverse.
// With `genomic` (a single-step evaluation) A^-1 becomes H^-1 = A^-1 + [0 0; 0 X]: X (x) G0^-1
// is added among the genotyped animals (genomic->levels, which must lie in 1..nanimal), a dense
// block in the sparse equations.
// Cost: O(records ntrait^2 + nanimal ntrait^2 + pairs ntrait + genotyped^2 ntrait^2 / 2) hash
// additions.
mme_system build_mme(const population& pop, int nanimal, std::span<const char> has_record,
                     const linalg::dense_matrix& g0, const linalg::dense_matrix& r0,
                     std::span<const int> pec_animals = {}, const genomic::genomic_block* genomic = nullptr);

// The inverse of a small symmetric positive definite matrix (LAPACK); stops with a message
// naming `what` when it is not positive definite.
linalg::dense_matrix small_spd_inverse(const linalg::dense_matrix& m, const char* what);

}  // namespace ventrel::simulate
