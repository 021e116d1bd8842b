// One BLUP evaluation of the simulated population: the equations, their solution, and the
// prediction error variances and covariances that the sparse inverse gives.
#pragma once

#include <span>
#include <vector>

#include "simulate/mme.hpp"
#include "simulate/sim_options.hpp"

namespace ventrel::simulate {

struct evaluation_request {
  bool pev = false;                      // prediction error variances of every animal
  std::span<const int> pec_animals;      // animals whose pairwise covariances are wanted
  solver_engine engine = solver_engine::automatic;
  fill_ordering ordering = fill_ordering::amd;  // of the sparse engine
  const genomic::genomic_block* genomic = nullptr;  // single-step: the genomic block of H^-1
};

struct evaluation {
  mme_layout layout;                     // the equation numbers
  std::vector<double> sol;               // [eq - 1] solutions
  std::vector<double> pev;               // [(a - 1) * ntrait + t - 1] Var(u - u_hat) of animal
                                         // a, trait t; empty when not asked for
  std::vector<std::vector<double>> pec;  // [t - 1][k]: covariance of the prediction errors of
                                         // pair k of pec_animals (pairs (a, b), a < b in list
                                         // order, k running over b fastest); empty when none
  double seconds_build = 0.0;            // assembly and conversion of the equations
  double seconds_solve = 0.0;            // factorisation, solution and inverse

  double herd_solution(int h, int t) const { return sol[static_cast<std::size_t>(layout.herd_eq(h, t) - 1)]; }
  double ebv(int a, int t) const { return sol[static_cast<std::size_t>(layout.animal_eq(a, t) - 1)]; }
};

// Index of pair (a, b), a < b, among the pairs of m animals in the order of evaluation::pec.
inline std::size_t pair_index(std::size_t a, std::size_t b, std::size_t m) {
  return a * m - a * (a + 1) / 2 + (b - a - 1);
}

// BLUP of animals 1..nanimal of pop with the records has_record marks (build_mme, solve_mme);
// single-step BLUP (H^-1 in place of A^-1) with request.genomic.
// The inverse is formed only when PEVs or PECs are asked for.
evaluation evaluate(const population& pop, int nanimal, std::span<const char> has_record,
                    const linalg::dense_matrix& g0, const linalg::dense_matrix& r0,
                    const evaluation_request& request);

}  // namespace ventrel::simulate
