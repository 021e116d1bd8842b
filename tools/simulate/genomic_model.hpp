// The genomic side of a simulation: which animals are genotyped, their markers dropped through
// the pedigree, true breeding values that the markers carry, and the genomic block of H-inverse
// that the single-step evaluations add to the equations.
#pragma once

#include <cstdint>
#include <vector>

#include "genomic/hinverse_build.hpp"
#include "simulate/population.hpp"
#include "simulate/rng.hpp"
#include "simulate/sim_options.hpp"

namespace ventrel::simulate {

struct genotype_data {
  std::vector<int> typed;            // genotyped animals, ascending
  int markers = 0;
  std::vector<std::uint8_t> codes;   // typed.size() x markers, by animal (0, 1, 2; 5 missing)
  std::vector<double> frequency;     // founder frequency of the counted allele of each marker
};

// The animals to genotype: with opt.genotype_sires every animal that is some animal's sire,
// and a share opt.genotyped_share (at random) of the youngest opt.genotyped_generations
// generations.
std::vector<int> genotyped_animals(const population& pop, const simulation_options& opt, rng& r);

// Genotypes of the chosen animals (drop_genotypes with the options' settings), from a stream of
// random numbers of its own (the population does not depend on whether markers are simulated).
// Every marker has an effect: b_k ~ N(0, q G0 / (2 sum p(1-p))), q = opt.marker_variance, p the
// founder frequencies; the true values become u = sqrt(1 - q) u_pedigree + sum_k (g_k - 2 p_k) b_k,
// so that Var(u) is about q G0 (x) G + (1 - q) G0 (x) A, and the phenotypes change by as much.
genotype_data add_genotypes(population& pop, const simulation_options& opt);

// The genomic block of H-inverse, tau G^-1 - omega A22^-1 at the levels (animal numbers) of the
// genotyped animals that quality control keeps, built by the genomic library with ventrel's
// defaults for OPTION SNP_file (quality control, G tuned to A22, blended 0.95 G + 0.05 A22,
// tau = omega = 1), exactly as ventrel builds it from the written genotype file.
genomic::genomic_block hinverse_genomic_block(const population& pop, const genotype_data& g, int nthreads);

}  // namespace ventrel::simulate
