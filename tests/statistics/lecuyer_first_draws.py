#!/usr/bin/env python3
"""Expected first draws of the bootstrap's generator, computed independently of the C++ code:
plain big-integer arithmetic s = a*s mod m (no Schrage), and IEEE single precision through
struct for float(z) * 4.656613057E-10. random_test.cpp holds the numbers this prints.

    python3 tests/statistics/lecuyer_first_draws.py
"""
import struct

M1, M2, A1, A2 = 2147483563, 2147483399, 40014, 40692


def f32(x):
    """x rounded to the nearest single-precision value (ties to even), as a Python float."""
    return struct.unpack("f", struct.pack("f", x))[0]


C = f32(4.656613057e-10)  # the constant as stored: 4.656612873077393e-10


def draws(count, s1=1234567890, s2=123456789):
    for _ in range(count):
        s1 = A1 * s1 % M1
        s2 = A2 * s2 % M2
        z = s1 - s2
        if z < 1:
            z += M1 - 1
        # float(z) then the single-precision product: the exact double product of two floats
        # rounded once to single precision is the IEEE single-precision product.
        u = f32(f32(z) * C)
        yield s1, s2, z, u


def random_integer(u, lo, hi):
    import math
    return lo + math.trunc(math.floor(u * (hi - lo + 1)))


if __name__ == "__main__":
    print("constant", repr(C))
    for i, (s1, s2, z, u) in enumerate(draws(10), start=1):
        print(f"draw {i}: s1={s1} s2={s2} z={z} u={u!r} (float {u:.9g}) "
              f"random_integer(1,20000)={random_integer(u, 1, 20000)} "
              f"random_integer(1,10)={random_integer(u, 1, 10)}")
    *_, (s1, s2, z, u) = draws(1000000)
    print(f"after 1000000 draws: s1={s1} s2={s2}")
    print("a1^(2^30) mod m1 =", pow(A1, 2**30, M1), " a2^(2^30) mod m2 =", pow(A2, 2**30, M2))
    print("a1^(2^50) mod m1 =", pow(A1, 2**50, M1), " a2^(2^50) mod m2 =", pow(A2, 2**50, M2))
    print("generator 2 starts at", pow(A1, 2**50, M1) * 1234567890 % M1,
          pow(A2, 2**50, M2) * 123456789 % M2)
