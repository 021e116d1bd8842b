// Genotypes for the benchmarks: markers dropped through the simulated pedigree by the
// simulator's Mendelian drop (simulate/genotype_drop.hpp), written as ventrel's genotype file
// (with its cross-reference file) and as PLINK's binary fileset for the peer program.
#pragma once

#include <cstdint>
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "generate_population.hpp"
#include "simulate/genotype_drop.hpp"
#include "text_writer.hpp"

namespace ventrel::bench {

// Genotypes (0, 1, 2 copies of allele 1; 5 missing, about 1 in 200) of the animals `typed`
// (numbers), typed.size() x markers by animal: founder frequencies from Beta(0.5, 0.5), founder
// haplotypes from a pool of 512 per chromosome of 1,024 markers, a crossover between neighbours
// with probability 1/2048 (about one every other chromosome).
inline std::vector<std::uint8_t> drop_genotypes(const population& p, const std::vector<std::int32_t>& typed,
                                                std::int32_t markers, std::uint64_t seed) {
  simulate::rng r(seed);
  simulate::marker_settings s;
  s.markers = markers;
  s.recombination = 1.0 / 2048;
  s.founder_haplotypes = 512;
  s.missing = 1.0 / 200;
  const std::vector<double> freq = simulate::founder_frequencies(markers, r);
  return simulate::drop_genotypes(p.sire, p.dam, p.by_order, typed, freq, s, r);
}

// snp.txt and snp.txt.xref (simulate::write_genotype_files: "G<number>", the level is the
// animal's number), and snp.bed/.bim/.fam (SNP-major, allele 1 counted).
inline void write_genotypes(const std::string& dir, const std::vector<std::int32_t>& typed, std::int32_t markers,
                            const std::vector<std::uint8_t>& g) {
  simulate::write_genotype_files(dir + "/snp.txt", typed, markers, g);
  {
    text_writer f(dir + "/snp.fam"), b(dir + "/snp.bim");
    for (std::int32_t a : typed) f.text(simulate::genotype_id(a) + " " + simulate::genotype_id(a) + " 0 0 0 -9").end();
    for (std::int32_t m = 0; m < markers; ++m)
      b.text("1 s" + std::to_string(m + 1) + " 0 " + std::to_string(m + 1) + " A C").end();
  }
  std::FILE* bed = std::fopen((dir + "/snp.bed").c_str(), "wb");
  const unsigned char magic[3] = {0x6c, 0x1b, 0x01};
  std::fwrite(magic, 1, 3, bed);
  const std::size_t per = (typed.size() + 3) / 4;
  std::vector<unsigned char> col(per);
  static const unsigned char code[6] = {3, 2, 0, 0, 0, 1};  // copies of A1 -> 2 bits; 5 = missing
  for (std::int32_t m = 0; m < markers; ++m) {
    std::fill(col.begin(), col.end(), 0);
    for (std::size_t t = 0; t < typed.size(); ++t)
      col[t / 4] |= static_cast<unsigned char>(code[g[t * static_cast<std::size_t>(markers) + m]] << (2 * (t % 4)));
    std::fwrite(col.data(), 1, per, bed);
  }
  std::fclose(bed);
}

}  // namespace ventrel::bench
