// Quality control of the genotypes before G: markers and animals with low call rates,
// monomorphic markers and markers with a low minor allele frequency are removed; parent-progeny
// pairs with opposing homozygotes are reported.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "genomic/genotypes.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::genomic {

struct qc_settings {
  double marker_callrate = 0.90;  // OPTION marker_callrate: markers called in fewer animals go
  double animal_callrate = 0.90;  // OPTION animal_callrate: animals with fewer markers called go
  double min_maf = 0.05;          // OPTION min_maf: markers with a rarer minor allele go
};

struct qc_result {
  std::vector<std::int32_t> animals;   // rows of the genotype table kept, ascending
  std::vector<std::int32_t> markers;   // markers kept (from 0), ascending
  std::vector<double> p;               // frequency of the counted allele of each kept marker,
                                       // among the kept animals' calls
  std::int64_t markers_callrate = 0;   // markers removed for their call rate
  std::int64_t animals_callrate = 0;   // animals removed for their call rate
  std::int64_t markers_monomorphic = 0;  // markers removed with one genotype only (or no call)
  std::int64_t markers_maf = 0;        // further markers removed for their minor allele frequency
};

// In this order: markers whose call rate over all animals is below s.marker_callrate; animals
// whose call rate over the markers left is below s.animal_callrate; among the animals left,
// markers with one genotype class only (monomorphic), then markers whose minor allele frequency
// is below s.min_maf. The frequencies p are those of the animals and markers kept. Markers in
// parallel blocks on nthreads threads (0 = the runtime's default). Cost: three passes over the
// genotypes.
qc_result quality_control(const genotype_table& g, const qc_settings& s, int nthreads);

// Prints the counts removed, one line each.
void print_quality_control(const qc_result& r, const qc_settings& s);

struct parent_conflict {
  std::int32_t progeny = 0;   // row of the genotype table
  std::int32_t parent = 0;    // row of the genotype table
  bool sire = true;           // the parent is the sire (else the dam)
  std::int64_t opposing = 0;  // markers with opposing homozygotes (0 against 2)
  std::int64_t compared = 0;  // markers called in both
};

// Parent-progeny pairs among the kept animals (level[row] is the animal's level, which is its
// number in the pedigree ped; parents outside 1..ped.size()-1 are not animals) with more than
// max_share of the markers called in both being opposing homozygotes.
std::vector<parent_conflict> parent_progeny_conflicts(const genotype_table& g, const qc_result& r,
                                                      std::span<const std::int32_t> level,
                                                      const pedigree::pedigree_table& ped,
                                                      double max_share = 0.01);

// One "Warning: " line per conflict on standard error.
void report_parent_progeny_conflicts(const genotype_table& g, std::span<const std::int32_t> level,
                                     const std::vector<parent_conflict>& c);

}  // namespace ventrel::genomic
