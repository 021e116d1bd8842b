// A simulated population: founders and overlapping generations, sires and dams chosen at random
// or by truncation selection, herds, true breeding values by Mendelian sampling, phenotypes.
#pragma once

#include <functional>
#include <vector>

#include "simulate/sim_options.hpp"

namespace ventrel::simulate {

// Animals are numbered 1..n in order of birth (parents before progeny); vectors indexed by
// animal keep element 0 unused (0 stands for an unknown parent). Per-trait values of animal i
// are at [i * ntrait + t], t from 0; of herd h at [h * ntrait + t].
struct population {
  int n = 0;                              // animals
  int ntrait = 1;                         // traits
  int nherd = 0;                          // herds, numbered 1..nherd
  int generations = 0;                    // generations after the founders (generation 0)
  std::vector<int> sire;                  // [i] sire of animal i, 0 = unknown
  std::vector<int> dam;                   // [i] dam of animal i, 0 = unknown
  std::vector<int> generation;            // [i] generation of birth, 0 = founder
  std::vector<char> male;                 // [i] 1 for a male, 0 for a female
  std::vector<int> herd;                  // [i] herd 1..nherd (the dam's; founders at random)
  std::vector<double> inb;                // [i] inbreeding coefficient, inb[0] = 0
  std::vector<double> dvar;               // [i] Mendelian sampling coefficient b_i (see
                                          // mendelian_coefficient)
  std::vector<double> tbv;                // [i*ntrait+t] true breeding value
  std::vector<double> y;                  // [i*ntrait+t] phenotype (every animal has a record)
  std::vector<double> herd_effect;        // [h*ntrait+t] true herd effect
  std::vector<double> mean;               // [t] overall mean
  std::vector<int> first_of_generation;   // [g] first animal of generation g; [generations+1]
                                          // = n + 1
};

// EBVs of trait 1 for animals 1..last from the records of those animals (a BLUP of the data
// so far); element 0 unused. Supplied by the caller when parents are selected on EBV.
using ebv_function = std::function<std::vector<double>(const population& pop, int last)>;

// Simulates the population that the options describe, deterministically from opt.seed.
//
// Founders (generation 0) have unknown parents and u ~ N(0, G0). Generation g = 1..G is born
// from parents of generations max(0, g - overlap)..g-1: the `sires` best males and `dams` best
// females by the selection criterion on trait 1 (own phenotype, EBV from `ebv`, or at random),
// or all candidates when there are fewer. Each dam of a shuffled list gets progeny in turn;
// each offspring gets a sire drawn at random among the chosen ones, a random sex and its dam's
// herd. u_i = (u_s + u_d)/2 + sqrt(b_i) L z with b_i = 1/2 - (F_s + F_d)/4, G0 = L L', z
// standard normal; inbreeding by inbreeding_of_new_animals. y_i = mean + herd + u_i + e_i,
// e_i ~ N(0, R0), herd effects ~ N(0, herd_share vp_t) independently per trait.
// Stops when a generation has no male or no female candidate.
population simulate_population(const simulation_options& opt, const ebv_function& ebv = {});

}  // namespace ventrel::simulate
