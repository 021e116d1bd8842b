// Genotypes for the benchmarks: markers dropped through the simulated pedigree by Mendelian
// inheritance, in chunks of markers so that the haplotypes of a million animals fit in memory,
// written as ventrel's genotype file (with its cross-reference file) and as PLINK's binary
// fileset for the peer program.
#pragma once

#include <cmath>
#include <cstdint>
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "generate_population.hpp"
#include "text_writer.hpp"

namespace ventrel::bench {

// Genotypes (0, 1, 2 copies of allele 1; 5 missing, about 1 in 200) of the animals `typed`
// (numbers), typed.size() x markers by animal. An unknown parent passes on one of 512 founder
// haplotypes drawn per chunk with allele frequencies from a U-shaped Beta(0.5, 0.5); a gamete takes in each chunk of 1,024 markers one parental haplotype, switching
// to the other at one uniform position with probability one half (linkage among neighbours).
// Haplotypes are bit-packed: 256 bytes per animal and chunk.
inline std::vector<std::uint8_t> drop_genotypes(const population& p, const std::vector<std::int32_t>& typed,
                                                std::int32_t markers, std::uint64_t seed) {
  constexpr int words = 16, chunk = 64 * words;
  splitmix r(seed);
  std::vector<double> freq(static_cast<std::size_t>(markers));
  for (double& f : freq) {
    const double u = r.uniform();
    f = 0.5 - 0.5 * std::cos(3.141592653589793 * u);  // the arcsine law, Beta(0.5, 0.5)
  }
  const std::size_t n1 = static_cast<std::size_t>(p.n) + 1;
  std::vector<std::uint64_t> hap(n1 * 2 * words);
  std::vector<std::uint8_t> out(typed.size() * static_cast<std::size_t>(markers));
  constexpr int pool = 512;
  std::vector<std::uint64_t> founders(static_cast<std::size_t>(pool) * words);
  for (std::int32_t m0 = 0; m0 < markers; m0 += chunk) {
    const int width = std::min(chunk, markers - m0);
    std::fill(founders.begin(), founders.end(), 0);
    for (int f = 0; f < pool; ++f)
      for (int k = 0; k < width; ++k)
        if (r.uniform() < freq[static_cast<std::size_t>(m0 + k)])
          founders[static_cast<std::size_t>(f) * words + static_cast<std::size_t>(k / 64)] |= std::uint64_t{1} << (k % 64);
    for (std::int32_t a : p.by_order) {
      for (int side = 0; side < 2; ++side) {
        std::uint64_t* h = hap.data() + (static_cast<std::size_t>(a) * 2 + side) * words;
        const std::int32_t par = side == 0 ? p.sire[static_cast<std::size_t>(a)] : p.dam[static_cast<std::size_t>(a)];
        if (par == 0) {
          const std::uint64_t* src = founders.data() + static_cast<std::size_t>(r.below(pool)) * words;
          std::copy(src, src + words, h);
          continue;
        }
        const std::uint64_t* h0 = hap.data() + static_cast<std::size_t>(par) * 2 * words;
        const std::uint64_t* h1 = h0 + words;
        if (r.next() & 1) std::swap(h0, h1);
        const int cross = (r.next() & 1) ? static_cast<int>(r.below(chunk)) : chunk;
        for (int w = 0; w < words; ++w) {
          const int lo = w * 64;
          const std::uint64_t from1 = cross >= lo + 64 ? 0 : cross <= lo ? ~std::uint64_t{0} : ~std::uint64_t{0} << (cross - lo);
          h[w] = (h0[w] & ~from1) | (h1[w] & from1);
        }
      }
    }
    for (std::size_t t = 0; t < typed.size(); ++t) {
      const std::uint64_t* h = hap.data() + static_cast<std::size_t>(typed[t]) * 2 * words;
      std::uint8_t* g = out.data() + t * static_cast<std::size_t>(markers) + m0;
      for (int k = 0; k < width; ++k)
        g[k] = static_cast<std::uint8_t>(((h[k / 64] >> (k % 64)) & 1) + ((h[words + k / 64] >> (k % 64)) & 1));
    }
  }
  for (std::uint8_t& g : out)
    if (r.below(200) == 0) g = 5;
  return out;
}

// snp.txt ("G<number> " and one character a marker), snp.txt.xref ("<number> G<number>": the
// level is the animal's number), and snp.bed/.bim/.fam (SNP-major, allele 1 counted).
inline void write_genotypes(const std::string& dir, const std::vector<std::int32_t>& typed, std::int32_t markers,
                            const std::vector<std::uint8_t>& g) {
  {
    text_writer w(dir + "/snp.txt"), x(dir + "/snp.txt.xref");
    std::string row(static_cast<std::size_t>(markers), '0');
    for (std::size_t t = 0; t < typed.size(); ++t) {
      const std::uint8_t* c = g.data() + t * static_cast<std::size_t>(markers);
      for (std::int32_t m = 0; m < markers; ++m) row[static_cast<std::size_t>(m)] = static_cast<char>('0' + c[m]);
      const std::string id = "G" + std::to_string(typed[t]);
      w.text(id).text(" ").text(row).end();
      x.text(std::to_string(typed[t])).text(" ").text(id).end();
    }
  }
  {
    text_writer f(dir + "/snp.fam"), b(dir + "/snp.bim");
    for (std::int32_t a : typed) f.text("G" + std::to_string(a) + " G" + std::to_string(a) + " 0 0 0 -9").end();
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
