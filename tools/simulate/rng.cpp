// xoshiro256** with splitmix64 seeding, and the draws built on it.
#include "simulate/rng.hpp"

#include <cmath>
#include <numbers>

namespace ventrel::simulate {

namespace {
inline std::uint64_t rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
}  // namespace

std::uint64_t splitmix64(std::uint64_t& state) {
  std::uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

rng::rng(std::uint64_t seed) {
  std::uint64_t sm = seed;
  for (auto& s : s_) s = splitmix64(sm);
}

std::uint64_t rng::next() {
  const std::uint64_t result = rotl(s_[1] * 5, 7) * 9;
  const std::uint64_t t = s_[1] << 17;
  s_[2] ^= s_[0];
  s_[3] ^= s_[1];
  s_[1] ^= s_[2];
  s_[0] ^= s_[3];
  s_[2] ^= t;
  s_[3] = rotl(s_[3], 45);
  return result;
}

double rng::uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

double rng::uniform_open() {
  // (k + 0.5) / 2^53 for k in 0..2^53-1: never 0, never 1.
  return (static_cast<double>(next() >> 11) + 0.5) * 0x1.0p-53;
}

int rng::below(int n) {
  // Lemire's multiply-shift with rejection of the biased low range.
  const std::uint64_t range = static_cast<std::uint64_t>(n);
  for (;;) {
    const std::uint64_t x = next() >> 32;  // 32 random bits
    const std::uint64_t m = x * range;
    const std::uint64_t low = m & 0xffffffffULL;
    if (low >= ((0x100000000ULL - range) % range)) return static_cast<int>(m >> 32);
  }
}

double rng::normal() {
  if (has_spare_) {
    has_spare_ = false;
    return spare_;
  }
  const double u1 = uniform_open();
  const double u2 = uniform();
  const double r = std::sqrt(-2.0 * std::log(u1));
  const double a = 2.0 * std::numbers::pi * u2;
  spare_ = r * std::sin(a);
  has_spare_ = true;
  return r * std::cos(a);
}

}  // namespace ventrel::simulate
