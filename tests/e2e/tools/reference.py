#!/usr/bin/env python3
"""Independent reference for the end-to-end fixtures: reads a fixture's inputs (pedigree,
solution files, validation set, yhat_residual) and prints the heritabilities, the focal genetic
variance and the LR statistics, computed the plain way (tabular inbreeding, textbook
formulas). Usage: reference.py DIR --gvar G [--rvar R] [--effect 2] [--traits T]
[--pred] [--valid FILE ...]."""
import argparse
import math
import os
import struct


def tabular_a(ped):
    n = len(ped)
    A = [[0.0] * (n + 1) for _ in range(n + 1)]
    for i in range(1, n + 1):
        s, d = ped[i - 1]
        for j in range(1, i):
            A[i][j] = A[j][i] = 0.5 * ((A[j][s] if s else 0) + (A[j][d] if d else 0))
        A[i][i] = 1 + (0.5 * A[s][d] if s and d else 0)
    return A


def exact_se(A, focal, w, p, pev_w, pev_p, s2, gvar, pec=None):
    """Standard errors of the exact method, formed with dense matrices. Without prediction
    error covariances: Vp = s2 A - diag(PEV_p), D from the accuracies, Vw = Vp + D. With them
    (pec = {"whole": {(i, j): c}, "partial": {...}} by positions): C given, Vp = s2 A - C_p,
    D = C_p - C_w."""
    m = len(focal)
    a = [[A[i][j] for j in focal] for i in focal]
    if pec is not None:
        def C(which, pev, i, j):
            return pev[i] if i == j else pec[which].get((min(i, j), max(i, j)), 0.0)
        Vp = [[s2 * a[i][j] - C("partial", pev_p, i, j) for j in range(m)] for i in range(m)]
        D = [[C("partial", pev_p, i, j) - C("whole", pev_w, i, j) for j in range(m)] for i in range(m)]
        return se_from_model(Vp, D, w, p, gvar)
    r = lambda pev, i: math.sqrt(min(1.0, max(0.0, 1 - pev[i] / (a[i][i] * s2))))
    Vp = [[s2 * a[i][j] - (pev_p[i] if i == j else 0) for j in range(m)] for i in range(m)]
    D = [[(pev_p[i] - pev_w[i]) if i == j else s2 * a[i][j] * (r(pev_w, i) * r(pev_w, j) - r(pev_p, i) * r(pev_p, j))
          for j in range(m)] for i in range(m)]
    return se_from_model(Vp, D, w, p, gvar)


def approx_se(F, focal, w, p, acc_w, acc_p, s2, gvar):
    """The approximation: unrelated animals, Vw and Vp diagonal from the accuracies."""
    m = len(focal)
    a = [1 + F[k] for k in focal]
    Vp = [[s2 * a[i] * acc_p[i] ** 2 if i == j else 0.0 for j in range(m)] for i in range(m)]
    D = [[s2 * a[i] * (acc_w[i] ** 2 - acc_p[i] ** 2) if i == j else 0.0 for j in range(m)] for i in range(m)]
    return se_from_model(Vp, D, w, p, gvar)


def se_from_model(Vp, D, w, p, gvar):
    m = len(w)
    Vw = [[Vp[i][j] + D[i][j] for j in range(m)] for i in range(m)]
    def centre(V):
        rows = [sum(V[i]) / m for i in range(m)]
        g = sum(rows) / m
        return [[V[i][j] - rows[i] - rows[j] + g for j in range(m)] for i in range(m)]
    P, W = centre(Vp), centre(Vw)
    tpp = sum(P[i][j] ** 2 for i in range(m) for j in range(m))
    tpw = sum(P[i][j] * W[i][j] for i in range(m) for j in range(m))
    tww = sum(W[i][j] ** 2 for i in range(m) for j in range(m))
    mp, mw = mean(p), mean(w)
    x = [v - mp for v in p]
    xw = [v - mw for v in w]
    spw = sum(x[i] * w[i] for i in range(m)) / m
    spp = sum(v * v for v in x) / m
    sww = sum(v * v for v in xw) / m
    rho = spw / math.sqrt(spp * sww)
    om = [[(tpp + tpw), 2 * tpp, 2 * tpw], [2 * tpp, 2 * tpp, 2 * tpp], [2 * tpw, 2 * tpp, 2 * tww]]
    g = [1 / math.sqrt(spp * sww), -rho / (2 * spp), -rho / (2 * sww)]
    var = {
        "bias": sum(D[i][j] for i in range(m) for j in range(m)) / m ** 2,
        "dispersion": sum(x[i] * D[i][j] * x[j] for i in range(m) for j in range(m)) / (m * spp) ** 2,
        "ratio_acc": sum(g[i] * om[i][j] * g[j] for i in range(3) for j in range(3)) / m ** 2,
        "reliability": (tpp + tpw) / (m ** 2 * gvar ** 2),
    }
    value = {"bias": mp - mw, "dispersion": spw / spp, "ratio_acc": rho, "reliability": spw / gvar}
    out = {}
    for k, v in var.items():
        sd = math.sqrt(max(v, 0.0))
        if k == "ratio_acc":
            z, sz = math.atanh(rho), sd / (1 - rho ** 2)
            out[k] = (sd, math.tanh(z - 1.959964 * sz), math.tanh(z + 1.959964 * sz))
        else:
            out[k] = (sd, value[k] - 1.959964 * sd, value[k] + 1.959964 * sd)
    return out


def tabular_inbreeding(ped):
    A = tabular_a(ped)
    return [A[i][i] - 1 for i in range(len(ped) + 1)]


def mean(x):
    return sum(x) / len(x)


def stats(w, p, y, gvar, h2):
    mw, mp = mean(w), mean(p)
    spw = sum((a - mp) * (b - mw) for a, b in zip(p, w))
    spp = sum((a - mp) ** 2 for a in p)
    sww = sum((b - mw) ** 2 for b in w)
    out = {
        "bias": mp - mw,
        "dispersion": spw / spp,
        "ratio_acc": spw / math.sqrt(spp * sww),
        "reliability": spw / len(p) / gvar,
    }
    if y is not None:
        my = mean(y)
        syp = sum((a - my) * (b - mp) for a, b in zip(y, p))
        syy = sum((a - my) ** 2 for a in y)
        out["pred_ability"] = syp / math.sqrt(syy * spp) / math.sqrt(h2)
    return out


def f32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


class Lecuyer:
    """The combined multiplicative congruential generator, written plainly (64-bit products
    instead of Schrage's method)."""

    def __init__(self):
        self.s1, self.s2 = 1234567890, 123456789

    def uniform(self):
        self.s1 = self.s1 * 40014 % 2147483563
        self.s2 = self.s2 * 40692 % 2147483399
        z = self.s1 - self.s2
        if z < 1:
            z += 2147483562
        return f32(f32(float(z)) * f32(4.656613057e-10))

    def integer(self, lo, hi):
        return lo + math.floor(self.uniform() * (hi - lo + 1))


def boot_summary(values):
    m = len(values)
    x = values[:1] + sorted(values[1:])
    mu = sum(x) / m
    var = sum((v - mu) ** 2 for v in x) / m
    def pos(q):
        t = (m - 1) * q
        return int(math.floor(t + 0.5)) + 1
    return var, x[pos(f32(0.025)) - 1], x[pos(f32(0.975)) - 1]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("dir")
    ap.add_argument("--gvar", type=float, nargs="+", required=True)
    ap.add_argument("--rvar", type=float, nargs="+", required=True)
    ap.add_argument("--effect", type=int, default=2)
    ap.add_argument("--pred", action="store_true")
    ap.add_argument("--valid", nargs="+", default=["valid.txt"])
    ap.add_argument("--boot", type=int, default=0, help="bootstrap replicates")
    ap.add_argument("--exact", action="store_true", help="exact standard errors from ebv_pev files")
    ap.add_argument("--approx", action="store_true", help="approximate standard errors from acc columns")
    a = ap.parse_args()
    ntrait = len(a.gvar)
    ped = [tuple(int(v) for v in l.split()[1:3]) for l in open(os.path.join(a.dir, "ped.txt"))]
    F = tabular_inbreeding(ped)
    sol = {}
    for which in ("whole", "partial"):
        lines = open(os.path.join(a.dir, f"solutions_{which}")).read().splitlines()[1:]
        for l in lines:
            t, e, lev, v = l.split()[:4]
            if int(e) == a.effect:
                sol[(which, int(t), int(lev))] = float(v)
                if len(l.split()) > 4:
                    sol[("acc_" + which, int(t), int(lev))] = float(l.split()[4])
    y = {}
    if a.pred:
        for l in open(os.path.join(a.dir, "yhat_residual")):
            f = l.split()
            y.setdefault(int(f[0]), []).append([float(v) for v in f[1:]])
    for t in range(1, ntrait + 1):
        h2 = a.gvar[t - 1] / (a.gvar[t - 1] + a.rvar[t - 1])
        print(f"trait {t}: h2 {h2:.6f}")
    gen = Lecuyer()
    for t in range(1, ntrait + 1):
        vf = a.valid[0] if len(a.valid) == 1 else a.valid[t - 1]
        focal = [int(l.split()[0]) for l in open(os.path.join(a.dir, vf)) if l.strip()]
        gvar = a.gvar[t - 1] * (1 - mean([F[k] for k in focal]))
        w = [sol[("whole", t, k)] for k in focal]
        p = [sol[("partial", t, k)] for k in focal]
        yy = [mean([r[t - 1] for r in y[k]]) for k in focal] if a.pred else None
        h2 = a.gvar[t - 1] / (a.gvar[t - 1] + a.rvar[t - 1])
        s = stats(w, p, yy, gvar, h2)
        print(f"trait {t}: gvar_focal {gvar:.6f} bias {s['bias']:.6f} "
              f"bias_sd {s['bias'] / math.sqrt(a.gvar[t - 1]):.6f} dispersion {s['dispersion']:.6f} "
              f"ratio_acc {s['ratio_acc']:.6f} reliability {s['reliability']:.6f}"
              + (f" pred_ability {s['pred_ability']:.6f}" if a.pred else ""))
        if a.exact:
            A = tabular_a(ped)
            pev = {}
            for which in ("whole", "partial"):
                d = {int(l.split()[0]): float(l.split()[2]) for l in open(os.path.join(a.dir, f"ebv_pev_{t}_1_{which}"))}
                pev[which] = [d[k] for k in focal]
            pec = None
            if os.path.exists(os.path.join(a.dir, f"pec_{t}_1_whole")):
                pos = {k: i for i, k in enumerate(focal)}
                pec = {}
                for which in ("whole", "partial"):
                    pec[which] = {}
                    for l in open(os.path.join(a.dir, f"pec_{t}_1_{which}")):
                        i, j, c = l.split()[:3]
                        if int(i) in pos and int(j) in pos:
                            key = (min(pos[int(i)], pos[int(j)]), max(pos[int(i)], pos[int(j)]))
                            pec[which][key] = float(c)
            res = exact_se(A, focal, w, p, pev["whole"], pev["partial"], a.gvar[t - 1], gvar, pec)
            for key, (sd, lo, hi) in res.items():
                print(f"  exact {key}: sd {sd:.6f} lower {lo:.6f} upper {hi:.6f}")
        if a.approx:
            res = approx_se(F, focal, w, p, [sol[("acc_whole", t, k)] for k in focal],
                            [sol[("acc_partial", t, k)] for k in focal], a.gvar[t - 1], gvar)
            for key, (sd, lo, hi) in res.items():
                print(f"  approx {key}: sd {sd:.6f} lower {lo:.6f} upper {hi:.6f}")
        if a.boot:
            reps = {}
            n = len(w)
            for r in range(a.boot):
                k = [gen.integer(1, n) - 1 for _ in range(n)]
                rs = stats([w[i] for i in k], [p[i] for i in k], [yy[i] for i in k] if a.pred else None, gvar, h2)
                for key, v in rs.items():
                    reps.setdefault(key, []).append(v)
            for key, v in reps.items():
                var, lo, hi = boot_summary(v)
                print(f"  boot {key}: sd {math.sqrt(var):.6f} lower {lo:.6f} upper {hi:.6f}")


if __name__ == "__main__":
    main()
