#!/usr/bin/env python3
"""Writes the inverse of the pedigree relationship matrix of a fixture's ped.txt by Henderson's
rules with the tabular inbreeding coefficients, one element "row column value" per line, some
in the lower triangle, as an H-inverse file of a pedigree-only evaluation."""
import sys
import os

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from reference import tabular_inbreeding  # noqa: E402


def main():
    d = sys.argv[1]
    ped = [tuple(int(v) for v in l.split()[1:3]) for l in open(os.path.join(d, "ped.txt"))]
    F = tabular_inbreeding(ped)
    ainv = {}

    def add(i, j, v):
        key = (min(i, j), max(i, j))
        ainv[key] = ainv.get(key, 0.0) + v

    for i, (s, dd) in enumerate(ped, start=1):
        par = [p for p in (s, dd) if p]
        b = 1.0 - sum(0.25 * (1 + F[p]) for p in par) if par else 1.0
        if len(par) == 1:
            b = 0.75 - 0.25 * F[par[0]]
        alpha = 1.0 / b
        add(i, i, alpha)
        for p in par:
            add(i, p, -0.5 * alpha)
        for x in range(len(par)):
            for y in range(x, len(par)):
                add(par[x], par[y], 0.25 * alpha)
    with open(os.path.join(d, "Hinv.txt"), "w") as f:
        for (i, j), v in sorted(ainv.items(), key=lambda kv: (kv[0][1], kv[0][0])):
            f.write(f"{j} {i} {v:.15g}\n" if (i + j) % 2 else f"{i} {j} {v:.15g}\n")


if __name__ == "__main__":
    main()
