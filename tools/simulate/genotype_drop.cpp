// Mendelian drop of bit-packed haplotypes, chromosome by chromosome, and the genotype files.
#include "simulate/genotype_drop.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "common/fatal.hpp"
#include "common/output_file.hpp"

namespace ventrel::simulate {

namespace {

constexpr int words = chromosome_markers / 64;

// The crossover mask of one gamete over a chromosome of `width` markers: bit k set when marker k
// comes from the second parental haplotype. Gaps are crossed with probability `rec`; the gap
// before marker k is drawn by geometric skips (log_keep = log(1 - rec)).
void crossover_mask(int width, double rec, double log_keep, rng& r, std::uint64_t* mask) {
  std::fill(mask, mask + words, 0);
  if (rec > 0.0) {
    // Toggle bits at the crossovers, then a running parity turns them into the mask.
    for (int k = 0;;) {
      const double skip = 1.0 + std::floor(std::log(r.uniform_open()) / log_keep);
      if (skip >= static_cast<double>(width - k)) break;
      k += static_cast<int>(skip);
      mask[k / 64] ^= std::uint64_t{1} << (k % 64);
    }
    std::uint64_t carry = 0;
    for (int w = 0; w < words; ++w) {
      std::uint64_t x = mask[w];
      for (int s = 1; s < 64; s *= 2) x ^= x << s;
      if (carry) x = ~x;
      carry = x >> 63;
      mask[w] = x;
    }
  }
  if (r.next() & 1) for (int w = 0; w < words; ++w) mask[w] = ~mask[w];
}

// One haplotype of `width` markers drawn from the frequencies.
void draw_haplotype(std::span<const double> freq, int width, rng& r, std::uint64_t* h) {
  std::fill(h, h + words, 0);
  for (int k = 0; k < width; ++k)
    if (r.uniform() < freq[static_cast<std::size_t>(k)]) h[k / 64] |= std::uint64_t{1} << (k % 64);
}

}  // namespace

std::vector<double> founder_frequencies(int markers, rng& r) {
  std::vector<double> f(static_cast<std::size_t>(markers));
  for (double& p : f) p = 0.5 - 0.5 * std::cos(std::numbers::pi * r.uniform());
  return f;
}

std::vector<std::uint8_t> drop_genotypes(std::span<const int> sire, std::span<const int> dam, std::span<const int> order,
                                         std::span<const int> typed, std::span<const double> freq,
                                         const marker_settings& s, rng& r, const marker_effects* effects) {
  if (!(s.recombination >= 0.0 && s.recombination <= 0.5))
    fatal("ventrel-simulate: the recombination probability must lie in 0..0.5");
  const std::size_t n1 = sire.size(), nm = static_cast<std::size_t>(s.markers);
  const double log_keep = std::log1p(-s.recombination);
  std::vector<std::uint64_t> hap(n1 * 2 * words), mask(words);
  std::vector<std::uint64_t> pool(static_cast<std::size_t>(std::max(s.founder_haplotypes, 0)) * words);
  std::vector<std::uint8_t> out(typed.size() * nm);
  const int nt = effects ? effects->traits : 0;
  for (int m0 = 0; m0 < s.markers; m0 += chromosome_markers) {
    const int width = std::min(chromosome_markers, s.markers - m0);
    const std::span<const double> f = freq.subspan(static_cast<std::size_t>(m0), static_cast<std::size_t>(width));
    for (int k = 0; k < s.founder_haplotypes; ++k) draw_haplotype(f, width, r, pool.data() + static_cast<std::size_t>(k) * words);
    for (int a : order) {
      for (int side = 0; side < 2; ++side) {
        std::uint64_t* h = hap.data() + (static_cast<std::size_t>(a) * 2 + static_cast<std::size_t>(side)) * words;
        const int par = side == 0 ? sire[static_cast<std::size_t>(a)] : dam[static_cast<std::size_t>(a)];
        if (par == 0) {
          if (s.founder_haplotypes > 0) {
            const std::uint64_t* src = pool.data() + static_cast<std::size_t>(r.below(s.founder_haplotypes)) * words;
            std::copy(src, src + words, h);
          } else {
            draw_haplotype(f, width, r, h);
          }
          continue;
        }
        const std::uint64_t* h0 = hap.data() + static_cast<std::size_t>(par) * 2 * words;
        const std::uint64_t* h1 = h0 + words;
        crossover_mask(width, s.recombination, log_keep, r, mask.data());
        for (int w = 0; w < words; ++w) h[w] = (h0[w] & ~mask[static_cast<std::size_t>(w)]) | (h1[w] & mask[static_cast<std::size_t>(w)]);
      }
    }
    for (std::size_t t = 0; t < typed.size(); ++t) {
      const std::uint64_t* h = hap.data() + static_cast<std::size_t>(typed[t]) * 2 * words;
      std::uint8_t* g = out.data() + t * nm + static_cast<std::size_t>(m0);
      for (int k = 0; k < width; ++k)
        g[k] = static_cast<std::uint8_t>(((h[k / 64] >> (k % 64)) & 1) + ((h[words + k / 64] >> (k % 64)) & 1));
    }
    if (!effects) continue;
    for (int a : order) {
      const std::uint64_t* h = hap.data() + static_cast<std::size_t>(a) * 2 * words;
      double* v = effects->values->data() + static_cast<std::size_t>(a) * static_cast<std::size_t>(nt);
      for (int w = 0; w < 2 * words; ++w) {
        for (std::uint64_t x = h[w]; x != 0; x &= x - 1) {
          const std::size_t k = static_cast<std::size_t>(m0 + (w % words) * 64 + std::countr_zero(x));
          for (int t = 0; t < nt; ++t) v[t] += effects->b[k * static_cast<std::size_t>(nt) + static_cast<std::size_t>(t)];
        }
      }
    }
  }
  if (effects) {
    std::vector<double> centre(static_cast<std::size_t>(nt), 0.0);
    for (std::size_t k = 0; k < nm; ++k)
      for (int t = 0; t < nt; ++t) centre[static_cast<std::size_t>(t)] += 2.0 * freq[k] * effects->b[k * static_cast<std::size_t>(nt) + static_cast<std::size_t>(t)];
    for (int a : order)
      for (int t = 0; t < nt; ++t)
        (*effects->values)[static_cast<std::size_t>(a) * static_cast<std::size_t>(nt) + static_cast<std::size_t>(t)] -= centre[static_cast<std::size_t>(t)];
  }
  if (s.missing > 0.0)
    for (std::uint8_t& g : out)
      if (r.uniform() < s.missing) g = 5;
  return out;
}

std::string genotype_id(int a) { return "G" + std::to_string(a); }

void write_genotype_files(const std::string& path, std::span<const int> typed, int markers,
                          std::span<const std::uint8_t> codes) {
  const std::size_t nm = static_cast<std::size_t>(markers);
  std::string text, xref;
  text.reserve(typed.size() * (nm + 12));
  for (std::size_t t = 0; t < typed.size(); ++t) {
    const std::string id = genotype_id(typed[t]);
    text += id;
    text += ' ';
    const std::size_t at = text.size();
    text.resize(at + nm);
    for (std::size_t k = 0; k < nm; ++k) text[at + k] = static_cast<char>('0' + codes[t * nm + k]);
    text += '\n';
    xref += std::to_string(typed[t]) + " " + id + "\n";
  }
  write_file_atomically(path, text);
  write_file_atomically(path + ".xref", xref);
}

}  // namespace ventrel::simulate
