// The uniform random-number generator of the bootstrap: L'Ecuyer's combined multiplicative
// congruential generator with 32 virtual generators (L'Ecuyer and Cote, ACM TOMS 17, 1991),
// started from fixed default seeds so that every run draws the same stream.
#pragma once

#include <array>
#include <cstdint>

namespace ventrel::statistics {

// Moduli, multipliers and the Schrage factors (m = a q + r, r < q) of the two components.
inline constexpr std::int32_t lecuyer_m1 = 2147483563;
inline constexpr std::int32_t lecuyer_m2 = 2147483399;
inline constexpr std::int32_t lecuyer_a1 = 40014;
inline constexpr std::int32_t lecuyer_a2 = 40692;
inline constexpr std::int32_t lecuyer_q1 = 53668;
inline constexpr std::int32_t lecuyer_r1 = 12211;
inline constexpr std::int32_t lecuyer_q2 = 52774;
inline constexpr std::int32_t lecuyer_r2 = 3791;
// a^(2^30) mod m: the length of one block of a virtual generator.
inline constexpr std::int32_t lecuyer_a1w = 1033780774;
inline constexpr std::int32_t lecuyer_a2w = 1494757890;
// a^(2^50) mod m: the spacing between the starts of two virtual generators.
inline constexpr std::int32_t lecuyer_a1vw = 2082007225;
inline constexpr std::int32_t lecuyer_a2vw = 784306273;
// Default initial seeds of generator 1.
inline constexpr std::int32_t lecuyer_seed1 = 1234567890;
inline constexpr std::int32_t lecuyer_seed2 = 123456789;
inline constexpr int lecuyer_generators = 32;

// (a^k * s) mod m by binary exponentiation, in 64-bit arithmetic (m < 2^31): O(log k).
std::int32_t pow_mod_times(std::int32_t a, std::uint64_t k, std::int32_t s, std::int32_t m);

// The two seeds of one virtual generator and the draws from them.
struct lecuyer_stream {
  std::int32_t s1 = lecuyer_seed1;  // seed of component 1, in [1, m1 - 1]
  std::int32_t s2 = lecuyer_seed2;  // seed of component 2, in [1, m2 - 1]
  bool antithetic = false;          // draw 1 - u instead of u (never set by this program)

  // Advances both seeds one step (Schrage's method, no overflow in 32 bits) and returns the
  // combined value z in [1, m1 - 1].
  std::int32_t next_z() {
    std::int32_t k = s1 / lecuyer_q1;
    s1 = lecuyer_a1 * (s1 - k * lecuyer_q1) - k * lecuyer_r1;
    if (s1 < 0) s1 += lecuyer_m1;
    k = s2 / lecuyer_q2;
    s2 = lecuyer_a2 * (s2 - k * lecuyer_q2) - k * lecuyer_r2;
    if (s2 < 0) s2 += lecuyer_m2;
    return combine();
  }

  // The same step as next_z, for the bootstrap's inner loop: the exact residue a s mod m by
  // folding the 64-bit product at bit 31 (m = 2^31 - c, so 2^31 = c mod m): x = hi 2^31 + lo
  // gives lo + c hi < 2 m, and one conditional subtraction ends it. Half the multiplications
  // of Schrage's method, and the same seeds for every s in [1, m - 1].
  std::int32_t next_z_folded() {
    s1 = fold_step(s1, lecuyer_a1, 2147483648U - lecuyer_m1, lecuyer_m1);
    s2 = fold_step(s2, lecuyer_a2, 2147483648U - lecuyer_m2, lecuyer_m2);
    return combine();
  }

  // A single-precision uniform number in (0, 0.99999994]: float(z) * 4.656613057E-10 computed
  // in single precision.
  static float uniform_from_z(std::int32_t z) {
    return static_cast<float>(z) * 4.656613057E-10F;
  }
  float uniform_draw() { return uniform_from_z(next_z()); }

  // A uniform integer in [lo, hi] (hi >= lo): lo + floor(u * (hi - lo + 1)) with u widened to
  // double; the product is non-negative, so truncation is the floor. Since u < 1 the result
  // never exceeds hi.
  static std::int32_t integer_from_uniform(float u, std::int32_t lo, std::int32_t hi) {
    return lo + static_cast<std::int32_t>(static_cast<double>(u) *
                                          (static_cast<double>(hi) - lo + 1.0));
  }
  std::int32_t random_integer(std::int32_t lo, std::int32_t hi) {
    return integer_from_uniform(uniform_draw(), lo, hi);
  }

  // Moves the stream forward by k draws in O(log k): each component is multiplicative, so its
  // seed after k steps is s * a^k mod m.
  void skip(std::uint64_t k) {
    s1 = pow_mod_times(lecuyer_a1, k, s1, lecuyer_m1);
    s2 = pow_mod_times(lecuyer_a2, k, s2, lecuyer_m2);
  }

  friend bool operator==(const lecuyer_stream&, const lecuyer_stream&) = default;

 private:
  std::int32_t combine() const {
    std::int32_t z = s1 - s2;
    if (z < 1) z += lecuyer_m1 - 1;
    if (antithetic) z = lecuyer_m1 - z;
    return z;
  }
  static std::int32_t fold_step(std::int32_t s, std::int32_t a, std::uint32_t c, std::int32_t m) {
    const std::uint64_t x = static_cast<std::uint64_t>(s) * static_cast<std::uint64_t>(a);
    const std::uint32_t y = static_cast<std::uint32_t>(x & 0x7fffffffU) +
                            c * static_cast<std::uint32_t>(x >> 31);
    const auto um = static_cast<std::uint32_t>(m);
    return static_cast<std::int32_t>(y >= um ? y - um : y);
  }
};

// The generator package of one run: the 32 virtual generators, their initial seeds and which
// one is current. The run creates one object and passes it to every bootstrap call, so that the
// stream continues across focal sets and traits in the order they are processed.
class rng {
 public:
  // Initialises the package: generator 1 gets the default seeds 1234567890 and 123456789,
  // generator g+1 starts 2^50 draws after generator g; generator 1 is current.
  rng();

  float uniform_draw() { return current().uniform_draw(); }
  std::int32_t random_integer(std::int32_t lo, std::int32_t hi) {
    return current().random_integer(lo, hi);
  }

  // The current generator's state, for the bootstrap's jump-ahead and for checks.
  lecuyer_stream& current() { return state_[static_cast<std::size_t>(current_ - 1)]; }
  const lecuyer_stream& current() const { return state_[static_cast<std::size_t>(current_ - 1)]; }
  int current_generator() const { return current_; }  // 1-based
  // Initial seeds of generator g (1-based).
  const lecuyer_stream& initial_seeds(int g) const {
    return initial_[static_cast<std::size_t>(g - 1)];
  }

 private:
  std::array<lecuyer_stream, lecuyer_generators> initial_{};  // initial seeds per generator
  std::array<lecuyer_stream, lecuyer_generators> state_{};    // current seeds per generator
  int current_ = 1;                                           // current generator, 1-based
};

}  // namespace ventrel::statistics
