// Marker genotypes dropped through a pedigree by Mendelian inheritance: founder allele
// frequencies from a U-shaped distribution, founder haplotypes drawn from a small pool (linkage
// disequilibrium), crossovers between neighbouring markers (linkage), and the genotype file and
// its cross-reference file in the formats of OPTION SNP_file and OPTION SNP_xref. Used by the
// simulator and by the benchmark generator.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "simulate/rng.hpp"

namespace ventrel::simulate {

// Markers are dropped chromosome by chromosome: blocks of this many neighbouring markers, each
// inherited independently of the others.
inline constexpr int chromosome_markers = 1024;

struct marker_settings {
  int markers = 0;              // markers in all
  double recombination = 0.001; // probability of a crossover between two neighbouring markers
                                // (0 .. 0.5; 0.5 = no linkage)
  int founder_haplotypes = 0;   // haplotypes of each chromosome from which the founders draw
                                // theirs; 0 = every founder haplotype drawn marker by marker
  double missing = 0.0;         // share of the calls of the genotyped animals set missing (5)
};

// Founder frequencies of the counted allele of each marker from Beta(0.5, 0.5) (the arcsine
// law: p = (1 - cos(pi u)) / 2, u uniform), which puts as many markers near 0 and 1 as real
// chips show after ascertainment.
std::vector<double> founder_frequencies(int markers, rng& r);

// Effects of the markers on the true breeding values: values[a * traits + t] receives
// sum_k (g_ak - 2 p_k) b[k * traits + t] for every animal a = 1..n.
struct marker_effects {
  int traits = 1;
  std::span<const double> b;    // markers x traits, by marker
  std::vector<double>* values;  // (n + 1) x traits, by animal; added to
};

// Genotypes (0, 1, 2 copies of the counted allele; 5 missing) of the animals `typed`, typed.size()
// x markers by animal. sire and dam by animal number 1..n (0 unknown, element 0 unused); order:
// every animal once, parents before progeny. An animal with an unknown parent takes, from that
// side, a founder haplotype (from the pool, or drawn from freq); a gamete starts on one parental
// haplotype at random and switches at each gap between neighbours with probability
// s.recombination. Haplotypes are bit-packed, one chromosome at a time: memory 256 bytes per
// animal besides the result. With effects, adds the marker values of every animal (see
// marker_effects). Deterministic from r.
std::vector<std::uint8_t> drop_genotypes(std::span<const int> sire, std::span<const int> dam, std::span<const int> order,
                                         std::span<const int> typed, std::span<const double> freq,
                                         const marker_settings& s, rng& r, const marker_effects* effects = nullptr);

// The identifier of animal a in the genotype file: "G" and its number.
std::string genotype_id(int a);

// Writes `path` (a line per typed animal: its identifier, a blank, one character per marker) and
// `path`.xref (a line per typed animal: its number, which is its level of the animal effect, and
// its identifier), each whole or not at all.
void write_genotype_files(const std::string& path, std::span<const int> typed, int markers,
                          std::span<const std::uint8_t> codes);

}  // namespace ventrel::simulate
