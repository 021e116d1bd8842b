#!/usr/bin/env python3
"""What a simulated evaluation implies for ventrel's statistics, from the true breeding values.

    python3 examples/implied.py examples/demo

For the focal animals (validation.txt) and every trait: the correlations of the partial and the
whole EBVs with the true breeding values (true_bv.txt), the regression of the true values on
the partial EBVs, the mean true value and the mean reliabilities 1 - PEV / ((1 + F) s2) from
the ebv_pev files. Under the model ventrel's dispersion estimates the regression (1 for BLUP),
its bias 0, its ratio of accuracies cor(p, u) / cor(w, u), its reliability about cor(p, u)^2
and its predictive ability about cor(p, u). Plain Python 3.
"""

import math
import os
import sys


def rows(path, skip_header=False):
    with open(path) as f:
        if skip_header:
            f.readline()
        return [line.split() for line in f if line.strip() and not line.startswith("#")]


def cor(x, y):
    mx, my = sum(x) / len(x), sum(y) / len(y)
    sxy = sum((a - mx) * (b - my) for a, b in zip(x, y))
    return sxy / math.sqrt(sum((a - mx) ** 2 for a in x) * sum((b - my) ** 2 for b in y))


def slope(y, x):
    mx, my = sum(x) / len(x), sum(y) / len(y)
    return sum((a - mx) * (b - my) for a, b in zip(x, y)) / sum((a - mx) ** 2 for a in x)


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else "."
    par = open(os.path.join(folder, "ventrel.par" if os.path.exists(os.path.join(folder, "ventrel.par"))
                            else "parameters.txt")).read().split("\n")
    ntrait = int(par[par.index("NUMBER_OF_TRAITS") + 1])
    g = par.index("(CO)VARIANCES")
    s2 = [float(par[g + 1 + t].split()[t]) for t in range(ntrait)]
    effect = int([l for l in par if l.startswith("OPTION validation")][0].split()[2])

    focal = [int(r[0]) for r in rows(os.path.join(folder, "validation.txt"))]
    truth = {int(r[0]): r for r in rows(os.path.join(folder, "true_bv.txt"))}
    whole, partial = {}, {}
    for name, store in (("solutions_whole", whole), ("solutions_partial", partial)):
        for r in rows(os.path.join(folder, name), skip_header=True):
            if int(r[1]) == effect:
                store[(int(r[0]), int(r[2]))] = float(r[3])

    print("%d focal animals" % len(focal))
    for t in range(1, ntrait + 1):
        u = [float(truth[a][7 + t - 1]) for a in focal]
        w = [whole[(t, a)] for a in focal]
        p = [partial[(t, a)] for a in focal]
        f = [float(truth[a][6]) for a in focal]
        rel = {}
        for e in ("whole", "partial"):
            path = os.path.join(folder, "ebv_pev_%d_1_%s" % (t, e))
            if os.path.exists(path):
                pev = {int(r[0]): float(r[2]) for r in rows(path)}
                rel[e] = sum(1 - pev[a] / ((1 + fi) * s2[t - 1]) for a, fi in zip(focal, f)) / len(focal)
        rp, rw = cor(p, u), cor(w, u)
        print("trait %d:" % t)
        print("  cor(partial EBV, true BV)      %.3f   (predictive ability estimates about this)" % rp)
        print("  cor(whole EBV, true BV)        %.3f" % rw)
        print("  ratio of the two               %.3f   (ratio of accuracies)" % (rp / rw))
        print("  cor(partial EBV, true BV)^2    %.3f   (reliability)" % (rp * rp))
        print("  regression of true BV on p     %.3f   (dispersion; 1 for BLUP)" % slope(u, p))
        print("  mean(p - w)                    %.3f   (bias; expected 0)" % (sum(p) / len(p) - sum(w) / len(w)))
        print("  mean(p - true BV)              %.3f" % (sum(p) / len(p) - sum(u) / len(u)))
        for e in ("partial", "whole"):
            if e in rel:
                print("  mean 1 - PEV/((1+F) s2), %-7s %.3f" % (e, rel[e]))


if __name__ == "__main__":
    main()
