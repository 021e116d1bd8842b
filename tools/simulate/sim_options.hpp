// The settings of a simulation: population structure, genetic model, evaluation and output,
// read from the command line of ventrel-simulate.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"

namespace ventrel::simulate {

// Fill-reducing ordering of the sparse engine.
enum class fill_ordering { amd, metis };

// How the parents of each generation are chosen among the candidates.
enum class selection { random, phenotype, ebv };

// Which engine solves and inverts the mixed-model equations.
enum class solver_engine {
  automatic,  // dense for small systems, sparse otherwise
  dense,      // LAPACK Cholesky of the full matrix: small systems and checks only
  sparse,     // the sparse library (morlo90)
};

struct simulation_options {
  std::uint64_t seed = 1;               // seed of the random numbers
  int generations = 5;                  // generations born after the founders
  int size = 1000;                      // animals born per generation
  int founders = 0;                     // animals of generation 0; 0 = size
  std::int64_t animals = 0;             // total animals; above 0 it sets size and founders
                                        // (size = animals / (generations + 1), founders the rest)
  int sires = 20;                       // sires mated per generation
  int dams = 0;                         // dams mated per generation; 0 = size / 2
  int overlap = 2;                      // parents come from the latest `overlap` generations
  int traits = 1;                       // 1 or 2
  std::vector<double> h2 = {0.3};       // heritability per trait (one value: every trait)
  std::vector<double> vp = {1.0};       // genetic + residual variance per trait
  double rg = 0.5;                      // genetic correlation (2 traits)
  double re = 0.2;                      // residual correlation (2 traits)
  int herds = 50;                       // herds (a fixed effect)
  double herd_share = 0.2;              // variance of herd effects as a share of vp
  std::vector<double> mean = {100.0};   // overall mean per trait
  selection select = selection::random; // truncation selection of the parents
  int partial_generations = 1;          // youngest generations whose records the partial
                                        // evaluation lacks
  bool acc = false;                     // solution files with an "acc" column
  bool pev = true;                      // prediction error variances (ebv_pev files)
  int pec_max = 2000;                   // pec files only up to this many focal animals
  std::string se = "exact";             // OPTION se in the parameter file; "none" = no line
  solver_engine solver = solver_engine::automatic;
  fill_ordering ordering = fill_ordering::amd;  // ordering of the sparse engine
  // Genotypes and the single-step evaluation (markers > 0).
  int markers = 0;                      // markers genotyped; 0 = none (pedigree evaluations)
  double recombination = 0.001;         // crossover probability between neighbouring markers
  int founder_haplotypes = 100;         // haplotypes per chromosome the founders draw from
                                        // (0 = each drawn marker by marker: no disequilibrium)
  double snp_missing = 0.0;             // share of calls written as missing
  int genotyped_generations = 1;        // youngest generations genotyped
  double genotyped_share = 1.0;         // share of their animals genotyped, at random
  bool genotype_sires = true;           // every animal used as a sire is genotyped
  double marker_variance = 0.95;        // share of the genetic (co)variance due to the markers
  std::string out = "sim";              // output folder
  int verbosity = 1;                    // 0: silent; 1: summary lines on the console
};

// The parsed command line: the options, or a request for the help text.
struct parsed_command_line {
  simulation_options options;
  bool help = false;  // --help was given: print help_text() and do nothing else
};

// Reads "--name value", "--name=value" and the flags --acc, --no-pev, --quiet, --help. Stops with a
// message naming the option on an unknown option, a missing or malformed value, or settings
// that cannot make a population (see check_options).
parsed_command_line parse_command_line(const std::vector<std::string>& args);

// Stops on settings out of range: traits not 1 or 2, a heritability outside (0, 1), a
// non-positive variance, a correlation outside (-1, 1), counts below 1, partial generations
// outside 1..generations. Fills the defaults that depend on others (founders, dams, per-trait
// vectors of one value; --se approx turns on the accuracy column).
void check_options(simulation_options& opt);

// The help text of ventrel-simulate, one line per option with its default.
std::string help_text();

// Genetic (co)variance matrix G0 and residual matrix R0 (ntrait x ntrait) of the options:
// sigma_a^2 = h2 vp, sigma_e^2 = (1 - h2) vp, covariances from rg and re.
linalg::dense_matrix genetic_covariance(const simulation_options& opt);
linalg::dense_matrix residual_covariance(const simulation_options& opt);

}  // namespace ventrel::simulate
