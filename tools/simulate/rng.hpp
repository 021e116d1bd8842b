// The simulator's random numbers: xoshiro256** seeded through splitmix64, uniform and normal
// draws (Box-Muller). Small, fast and the same on every platform, so that a seed always gives
// the same population.
#pragma once

#include <cstdint>

namespace ventrel::simulate {

// splitmix64 step: advances state and returns the next output (Steele, Lea and Flood 2014).
std::uint64_t splitmix64(std::uint64_t& state);

class rng {
 public:
  explicit rng(std::uint64_t seed);

  std::uint64_t next();          // xoshiro256** (Blackman and Vigna 2018)
  double uniform();              // in [0, 1), 53 random bits
  double uniform_open();         // in (0, 1)
  int below(int n);              // uniform integer in 0..n-1 (n >= 1), without modulo bias
  double normal();               // standard normal, Box-Muller; the second value is kept

 private:
  std::uint64_t s_[4];
  bool has_spare_ = false;       // a second Box-Muller value is waiting
  double spare_ = 0.0;
};

}  // namespace ventrel::simulate
