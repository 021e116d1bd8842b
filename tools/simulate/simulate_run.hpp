// A whole simulation run: population, whole and partial evaluations, and every file.
#pragma once

#include <cstdint>
#include <vector>

#include "simulate/evaluation.hpp"
#include "simulate/genomic_model.hpp"
#include "simulate/population.hpp"
#include "simulate/sim_options.hpp"

namespace ventrel::simulate {

// What a run made, for the console summary and for callers that look further.
struct simulation_result {
  population pop;                       // the simulated population
  std::vector<char> record_whole;       // [i] animal i's record is in the whole data
  std::vector<char> record_partial;     // [i] ... in the partial data
  std::vector<int> focal;               // the focal animals: the youngest generation
  bool pec_written = false;             // pec files were written
  genotype_data genotypes;              // with markers: the genotyped animals and their codes
  int genotyped_kept = 0;               // genotyped animals kept by quality control
  evaluation whole;                     // BLUP with all records
  evaluation partial;                   // BLUP without the youngest generations' records
  double seconds_population = 0.0;      // simulation of the population (selection included)
  double seconds_genomic = 0.0;         // genotypes and the genomic block of H-inverse
  double seconds_files = 0.0;           // writing the files
};

// Simulates, evaluates and writes every file into opt.out (created when missing). The partial
// data lack the records of the latest opt.partial_generations generations; the focal animals
// are the youngest generation. PEVs (with opt.pev) for every animal; PECs among the focal
// animals when there are at most opt.pec_max of them. With opt.markers, genotypes (add_genotypes)
// and single-step evaluations (H-inverse with the genomic block of hinverse_genomic_block), the
// genotype file and its cross-reference file, and OPTION SNP_file in the parameter file. With
// verbosity above 0 prints a summary.
simulation_result run_simulation(const simulation_options& opt);

// EBVs of trait 1 of animals 1..last (element 0 unused) from a BLUP of their records, for
// selection on EBV: solve_mme_pcg started from `solution`, the previous generation's solution
// (empty at first), which is replaced by this one.
std::vector<double> ebv_for_selection(const population& pop, int last,
                                      const simulation_options& opt,
                                      std::vector<double>& solution);

}  // namespace ventrel::simulate
