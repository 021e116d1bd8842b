#!/usr/bin/env python3
"""Writes the inputs of a small end-to-end fixture: pedigree, solution files, validation-set
files and adjusted phenotypes, from a seed. Kept beside the fixtures so that they can be made
again; the expected figures come from reference.py, not from ventrel."""
import argparse
import os
import random


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("dir")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--animals", type=int, default=40)
    ap.add_argument("--traits", type=int, default=1)
    ap.add_argument("--focal", type=int, default=12)
    ap.add_argument("--header", default="trait/effect level  solution")
    ap.add_argument("--pec", action="store_true", help="also write pec files for the focal pairs")
    ap.add_argument("--pev", type=float, default=0.0,
                    help="write ebv_pev files with PEVs below this genetic variance")
    a = ap.parse_args()
    rnd = random.Random(a.seed)
    os.makedirs(a.dir, exist_ok=True)
    n = a.animals
    founders = n // 4
    with open(os.path.join(a.dir, "ped.txt"), "w") as f:
        for i in range(1, n + 1):
            if i <= founders:
                s = d = 0
            else:
                s = rnd.choice([0] + list(range(1, i)))
                d = rnd.choice([0] + list(range(1, i)))
                if d == s:
                    d = 0
            f.write(f"{i} {s} {d}\n")
    focal = sorted(rnd.sample(range(n - 2 * a.focal, n + 1), a.focal))
    with open(os.path.join(a.dir, "valid.txt"), "w") as f:
        for k in focal:
            f.write(f"{k}\n")
    extra = a.header.endswith("acc") or a.header.endswith("s.e.")
    for which, noise in (("whole", 0.3), ("partial", 0.6)):
        rr = random.Random(a.seed * 100 + (1 if which == "whole" else 2))
        with open(os.path.join(a.dir, f"solutions_{which}"), "w") as f:
            f.write(a.header + "\n")
            for t in range(1, a.traits + 1):
                for lev in range(1, 4):
                    f.write(f"{t} 1 {lev} {rr.gauss(10, 1):.6f}" + (" 0.5000" if extra else "") + "\n")
                for lev in range(1, n + 1):
                    tbv = random.Random(a.seed * 1000 + lev * 10 + t).gauss(0, 1)
                    sol = tbv * (0.8 if which == "whole" else 0.5) + rr.gauss(0, noise)
                    line = f"{t} 2 {lev} {sol:.6f}"
                    if extra:
                        line += f" {rr.uniform(0.3, 0.9):.4f}"
                    f.write(line + "\n")
    if a.pev > 0:
        for t in range(1, a.traits + 1):
            for which, r2 in (("whole", 0.6), ("partial", 0.3)):
                sol = {}
                for l in open(os.path.join(a.dir, f"solutions_{which}")).read().splitlines()[1:]:
                    f4 = l.split()
                    if int(f4[0]) == t and int(f4[1]) == 2:
                        sol[int(f4[2])] = f4[3]
                rr = random.Random(a.seed * 7 + t)
                with open(os.path.join(a.dir, f"ebv_pev_{t}_1_{which}"), "w") as f:
                    for lev in range(n, 0, -1):
                        pev = a.pev * (1 - r2 * rr.uniform(0.8, 1.0))
                        f.write(f"{lev} {sol[lev]} {pev:.6f}\n")
    if a.pec:
        for t in range(1, a.traits + 1):
            for which, scale in (("whole", 0.02), ("partial", 0.06)):
                rr = random.Random(a.seed * 11 + t)
                with open(os.path.join(a.dir, f"pec_{t}_1_{which}"), "w") as f:
                    for x in range(len(focal)):
                        for y in range(x + 1, len(focal)):
                            i, j = (focal[x], focal[y]) if rr.random() < 0.5 else (focal[y], focal[x])
                            f.write(f"{i} {j} {scale * a.pev * rr.uniform(0, 1):.6f}\n")
    with open(os.path.join(a.dir, "yhat_residual"), "w") as f:
        for lev in focal:
            vals = []
            for t in range(1, a.traits + 1):
                tbv = random.Random(a.seed * 1000 + lev * 10 + t).gauss(0, 1)
                vals.append(f"{tbv + rnd.gauss(0, 1.5):.6f}")
            f.write(f"{lev} " + " ".join(vals) + "\n")
    with open(os.path.join(a.dir, "data.txt"), "w") as f:
        f.write("1 1 1.0\n")


if __name__ == "__main__":
    main()
