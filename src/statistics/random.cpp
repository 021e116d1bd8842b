// The uniform random-number generator: jump-ahead and the package's initial state.
#include "statistics/random.hpp"

namespace ventrel::statistics {

std::int32_t pow_mod_times(std::int32_t a, std::uint64_t k, std::int32_t s, std::int32_t m) {
  // Products of two residues below 2^31 fit in 62 bits.
  const auto mod = static_cast<std::uint64_t>(m);
  std::uint64_t base = static_cast<std::uint64_t>(a) % mod;
  std::uint64_t result = static_cast<std::uint64_t>(s) % mod;
  while (k != 0) {
    if (k & 1U) result = result * base % mod;
    base = base * base % mod;
    k >>= 1U;
  }
  return static_cast<std::int32_t>(result);
}

rng::rng() {
  // Generator 1 starts from the default seeds; each further one starts a1vw (a2vw) times the
  // previous start, that is 2^50 draws later on each component.
  lecuyer_stream start;
  for (std::size_t g = 0; g < initial_.size(); ++g) {
    initial_[g] = start;
    state_[g] = start;
    start.s1 = pow_mod_times(lecuyer_a1vw, 1, start.s1, lecuyer_m1);
    start.s2 = pow_mod_times(lecuyer_a2vw, 1, start.s2, lecuyer_m2);
  }
  current_ = 1;
}

}  // namespace ventrel::statistics
