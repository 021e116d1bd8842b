#!/usr/bin/env python3
"""Coverage study of ventrel's standard errors on simulated evaluations.

For every replicate (one seed) ventrel-simulate writes a small evaluation with an accuracy
column and the PEV and PEC files; ventrel then runs five times on it (twice, the exact ways,
in the single-step scenario "genomic", whose parameter file has OPTION SNP_file):
  boot         OPTION se boot (10,000 bootstrap replicates over the focal animals)
  exact+pec    OPTION se exact with the pec files
  exact-pec    OPTION se exact with the pec files moved away
  approx       OPTION se approx (accuracies from the "acc" column)
  boot-sire    OPTION se boot with OPTION boot_clusters sire (whole sire families resampled)
always with OPTION predictive_ability (--methods picks some of them). For each statistic and method the study reports the
empirical SD of the statistic across replicates, the mean of the SDs that ventrel printed, and
how often the printed 95% interval covers the mean value of the statistic across replicates.

Plain Python 3 (no numpy). Run by hand from the repository root, for example:
    python3 tools/coverage_study.py --bin build --replicates 500 --jobs 2 --table /tmp/coverage.md
Each replicate runs in its own temporary folder, removed afterwards (--keep keeps them).
Replicate k (0-based) of every scenario uses seed --first-seed + k. With --variance-check N the
first N replicates of each scenario also check two parts of se exact's model (the variance of
the partial EBVs it assumes, and D built from accuracies when there are no pec files) against
what the simulated files hold. docs/validation.md holds the results.
"""

import argparse
import csv
import functools
import math
import multiprocessing
import os
import shutil
import subprocess
import sys
import tempfile
import time

# Report labels and the short names used in the tables.
STATISTICS = [
    ("Absolute bias:", "bias"),
    ("Dispersion:", "dispersion"),
    ("Ratio of accuracies:", "ratio of accuracies"),
    ("Reliability :", "reliability"),
    ("Predictive ability:", "predictive ability"),
]
METHODS = ["exact+pec", "exact-pec", "approx", "boot", "boot-sire"]
METHOD_TITLES = {
    "exact+pec": "exact with pec",
    "exact-pec": "exact without pec",
    "approx": "approx",
    "boot": "boot",
    "boot-sire": "boot, sire clusters",
}

# Scenarios: the population options given to ventrel-simulate (one trait, h2 0.3, 50 herds as
# the fixed effect, the youngest generation focal); without selection unless "-ebv" (parents
# chosen on their trait-1 EBV).
SCENARIOS = {
    "sires15": ["--founders", "400", "--size", "400", "--generations", "5", "--sires", "15"],
    "sires60": ["--founders", "400", "--size", "400", "--generations", "5", "--sires", "60"],
    "sires15-ebv": ["--founders", "400", "--size", "400", "--generations", "5", "--sires", "15",
                    "--select", "ebv"],
    "sires60-ebv": ["--founders", "400", "--size", "400", "--generations", "5", "--sires", "60",
                    "--select", "ebv"],
    # Single-step: the sires and the two youngest generations genotyped for 2,000 markers that
    # carry 95% of the genetic variance; both evaluations with H-inverse, and OPTION SNP_file in
    # the parameter file, so that se exact takes H among the focal animals.
    "genomic": ["--founders", "400", "--size", "400", "--generations", "5", "--sires", "15",
                "--markers", "2000", "--genotyped-generations", "2"],
}
# Methods run on a scenario when it is not all of them: the genomic scenario is about se exact
# with H; boot and approx do not use the relationships and are measured on the others.
SCENARIO_METHODS = {"genomic": ["exact+pec", "exact-pec"]}
# Scenarios whose relationships are not those of the pedigree: no --variance-check (it uses A).
NOT_PEDIGREE = {"genomic"}


def methods_of(args, scenario):
    return [m for m in args.methods if m in SCENARIO_METHODS.get(scenario, METHODS)]


def run(cmd, cwd):
    """Runs a command in cwd; stops the study with its output when it fails."""
    r = subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if r.returncode != 0:
        sys.exit("command failed in %s: %s\n%s" % (cwd, " ".join(cmd), r.stdout))
    return r.stdout


def parse_report(text):
    """Rows of the first trait block of a report with standard errors:
    label -> (value, SD, lower, upper); a field of asterisks reads as NaN."""
    rows = {}
    in_block = False
    for line in text.splitlines():
        if line.startswith(" Cross-validation statistics for trait:"):
            if in_block:
                break
            in_block = True
            continue
        if not in_block or len(line) < 41:
            continue
        label = line[1:40].strip()
        fields = line[40:].split()
        if len(fields) != 4:
            continue
        values = []
        for f in fields:
            try:
                values.append(float(f))
            except ValueError:
                values.append(float("nan"))
        rows[label] = tuple(values)
    return rows


def write_parameter_file(template, path, method, extra=()):
    """The simulator's parameter file with OPTION se <method>, OPTION predictive_ability and the
    extra OPTION lines."""
    out = []
    has_pa = False
    for line in template.splitlines():
        words = line.split()
        if len(words) >= 2 and words[0] == "OPTION" and words[1] == "se":
            continue
        if len(words) >= 2 and words[0] == "OPTION" and words[1] == "predictive_ability":
            has_pa = True
        out.append(line)
    if not has_pa:
        out.append("OPTION predictive_ability")
    out.append("OPTION se " + method)
    out.extend(extra)
    with open(path, "w") as f:
        f.write("\n".join(out) + "\n")


def read_columns(path, skip_header):
    rows = []
    with open(path) as f:
        if skip_header:
            f.readline()
        for line in f:
            w = line.split()
            if w and not w[0].startswith("#"):
                rows.append(w)
    return rows


def cor(x, y):
    n = len(x)
    mx, my = sum(x) / n, sum(y) / n
    sxy = sum((a - mx) * (b - my) for a, b in zip(x, y))
    sxx = sum((a - mx) ** 2 for a in x)
    syy = sum((b - my) ** 2 for b in y)
    return sxy / math.sqrt(sxx * syy)


def slope(y, x):
    """Regression coefficient of y on x."""
    n = len(x)
    mx, my = sum(x) / n, sum(y) / n
    return sum((a - mx) * (b - my) for a, b in zip(x, y)) / sum((a - mx) ** 2 for a in x)


def realised(folder, animal_effect, s2):
    """What the simulation implies for the focal animals of one replicate: correlations of the
    partial and whole EBVs with the true breeding values, the regression of the true values on
    the partial EBVs, and the mean reliabilities 1 - PEV / ((1 + F) s2) of both evaluations."""
    focal = [int(r[0]) for r in read_columns(os.path.join(folder, "validation.txt"), False)]
    tbv, inb = {}, {}
    for r in read_columns(os.path.join(folder, "true_bv.txt"), False):
        tbv[int(r[0])] = float(r[7])
        inb[int(r[0])] = float(r[6])

    def solutions(name):
        s = {}
        for r in read_columns(os.path.join(folder, name), True):
            if int(r[0]) == 1 and int(r[1]) == animal_effect:
                s[int(r[2])] = float(r[3])
        return s

    def pev(name):
        return {int(r[0]): float(r[2]) for r in read_columns(os.path.join(folder, name), False)}

    w, p = solutions("solutions_whole"), solutions("solutions_partial")
    pw, pp = pev("ebv_pev_1_1_whole"), pev("ebv_pev_1_1_partial")
    u = [tbv[a] for a in focal]
    wv = [w[a] for a in focal]
    pv = [p[a] for a in focal]
    rel_w = sum(1 - pw[a] / ((1 + inb[a]) * s2) for a in focal) / len(focal)
    rel_p = sum(1 - pp[a] / ((1 + inb[a]) * s2) for a in focal) / len(focal)
    return {
        "cor_p_u": cor(pv, u),
        "cor_w_u": cor(wv, u),
        "b_u_p": slope(u, pv),
        "rel_p_pev": rel_p,
        "rel_w_pev": rel_w,
        "m": len(focal),
    }


def focal_relationships(folder, focal):
    """Relationships among the focal animals from the simulated pedigree and inbreeding
    (true_bv.txt): column j of A = T D T' e_j, one backward and one forward pass per focal
    animal (Colleau's product, plain Python)."""
    sire, dam, inb = {}, {}, {}
    for r in read_columns(os.path.join(folder, "true_bv.txt"), False):
        a = int(r[0])
        sire[a], dam[a], inb[a] = int(r[1]), int(r[2]), float(r[6])
    n = len(sire)
    d = [0.0] * (n + 1)
    for i in range(1, n + 1):
        known = [x for x in (sire[i], dam[i]) if x]
        # Mendelian sampling variance: 1 - (1 + F_s)/4 - (1 + F_d)/4 over the known parents.
        d[i] = 1.0 - 0.25 * sum(1.0 + inb[x] for x in known)
    a_focal = []
    for a in focal:
        x = [0.0] * (n + 1)
        x[a] = 1.0
        for i in range(a, 0, -1):
            if x[i]:
                if sire[i]:
                    x[sire[i]] += 0.5 * x[i]
                if dam[i]:
                    x[dam[i]] += 0.5 * x[i]
        y = [0.0] * (n + 1)
        for i in range(1, n + 1):
            y[i] = d[i] * x[i] + 0.5 * ((y[sire[i]] if sire[i] else 0.0) + (y[dam[i]] if dam[i] else 0.0))
        a_focal.append([y[b] for b in focal])
    return a_focal


def centred(v):
    """J v J for a symmetric m x m list of rows (J = I - 11'/m)."""
    m = len(v)
    row = [sum(r) / m for r in v]
    grand = sum(row) / m
    return [[v[i][j] - row[i] - row[j] + grand for j in range(m)] for i in range(m)]


def variance_check(folder, pec_folder, animal_effect, s2):
    """Two parts of se exact's model, measured on one replicate (focal animals, partial EBVs p,
    centred x = J p, A from the simulated pedigree, C_w and C_p from the ebv_pev and pec files):
    - the variance of the partial EBVs that se exact assumes, E[S_pp] = tr(J Vp J) / m with
      Vp = s2 A - C_p, against the observed S_pp = x'x / m;
    - x'Dx and 1'D1 with D = C_p - C_w from the pec files, and with the off-diagonal of D built
      from accuracies, s2 a_ij (r_w,i r_w,j - r_p,i r_p,j), as se exact does without pec files;
    - the shares of the bias's and the reliability's sampling variances that lie within sire
      families, the most that resampling whole families can see."""
    focal = [int(r[0]) for r in read_columns(os.path.join(folder, "validation.txt"), False)]
    m = len(focal)
    index = {a: k for k, a in enumerate(focal)}
    a_focal = focal_relationships(folder, focal)

    def pec_matrix(evaluation):
        c = [[0.0] * m for _ in range(m)]
        for r in read_columns(os.path.join(folder, "ebv_pev_1_1_" + evaluation), False):
            k = index.get(int(r[0]))
            if k is not None:
                c[k][k] = float(r[2])
        for r in read_columns(os.path.join(pec_folder, "pec_1_1_" + evaluation), False):
            i, j = index[int(r[0])], index[int(r[1])]
            c[i][j] = c[j][i] = float(r[2])
        return c

    c_p, c_w = pec_matrix("partial"), pec_matrix("whole")
    v = [[s2 * a_focal[i][j] - c_p[i][j] for j in range(m)] for i in range(m)]
    vw = [[s2 * a_focal[i][j] - c_w[i][j] for j in range(m)] for i in range(m)]
    expected = sum(v[i][i] for i in range(m)) / m - sum(map(sum, v)) / (m * m)
    p = {}
    for r in read_columns(os.path.join(folder, "solutions_partial"), True):
        if int(r[0]) == 1 and int(r[1]) == animal_effect:
            p[int(r[2])] = float(r[3])
    mp = sum(p[a] for a in focal) / m
    x = [p[a] - mp for a in focal]

    def accuracy(c, i):
        return math.sqrt(min(1.0, max(0.0, 1.0 - c[i][i] / (a_focal[i][i] * s2))))

    r_w = [accuracy(c_w, i) for i in range(m)]
    r_p = [accuracy(c_p, i) for i in range(m)]
    xdx_pec = xdx_acc = one_pec = one_acc = 0.0
    for i in range(m):
        for j in range(m):
            d_pec = c_p[i][j] - c_w[i][j]
            d_acc = d_pec if i == j else s2 * a_focal[i][j] * (r_w[i] * r_w[j] - r_p[i] * r_p[j])
            xdx_pec += x[i] * x[j] * d_pec
            xdx_acc += x[i] * x[j] * d_acc
            one_pec += d_pec
            one_acc += d_acc
    # The shares of the bias's variance (1'D1) and of the reliability's ((tPP + tPW), P = J Vp J,
    # W = J Vw J, the model's moments unscaled) that lie within sire families: pairs of focal
    # animals with the same sire, the diagonal included.
    sire = {int(r[0]): int(r[1]) for r in read_columns(os.path.join(folder, "true_bv.txt"), False)}
    family = [sire[a] for a in focal]
    pp, ww = centred(v), centred(vw)
    one_within = rel_all = rel_within = 0.0
    for i in range(m):
        for j in range(m):
            t = pp[i][j] * (pp[i][j] + ww[i][j])
            rel_all += t
            if family[i] == family[j]:
                one_within += c_p[i][j] - c_w[i][j]
                rel_within += t
    return {"spp_model": expected, "spp_observed": sum(t * t for t in x) / m,
            "xdx_pec": xdx_pec, "xdx_acc": xdx_acc, "one_pec": one_pec, "one_acc": one_acc,
            "within_bias": one_within / one_pec, "within_reliability": rel_within / rel_all}


def one_replicate(args, scenario, seed, check):
    folder = tempfile.mkdtemp(prefix="coverage-%s-%d-" % (scenario, seed), dir=args.work)
    t0 = time.time()
    run([args.simulate, "--seed", str(seed), "--acc", "--se", "exact", "--quiet", "--out", folder] + SCENARIOS[scenario], cwd=args.work)
    template = open(os.path.join(folder, "ventrel.par")).read()
    animal_effect = int(template.split("OPTION validation")[1].split()[0])
    s2 = None
    lines = template.splitlines()
    for i, line in enumerate(lines):
        if line.strip() == "(CO)VARIANCES":
            s2 = float(lines[i + 1].split()[0])
    result = {"scenario": scenario, "seed": seed}
    runs = [("boot", "boot", ()), ("boot-sire", "boot", ("OPTION boot_clusters sire",)),
            ("exact+pec", "exact", ()), ("approx", "approx", ())]
    methods = methods_of(args, scenario)
    for method, word, extra in runs:
        if method not in methods:
            continue
        name = "p_%s.txt" % method.replace("+", "")
        write_parameter_file(template, os.path.join(folder, name), word, extra)
        result[method] = parse_report(run([args.ventrel, name], cwd=folder))
    # The same data without the pec files: ventrel uses them whenever they are present.
    os.mkdir(os.path.join(folder, "held"))
    for name in os.listdir(folder):
        if name.startswith("pec_"):
            os.rename(os.path.join(folder, name), os.path.join(folder, "held", name))
    if "exact-pec" in methods:
        write_parameter_file(template, os.path.join(folder, "p_exact-pec.txt"), "exact")
        result["exact-pec"] = parse_report(run([args.ventrel, "p_exact-pec.txt"], cwd=folder))
    result.update(realised(folder, animal_effect, s2))
    if check:
        result.update(variance_check(folder, os.path.join(folder, "held"), animal_effect, s2))
    result["seconds"] = time.time() - t0
    if not args.keep:
        shutil.rmtree(folder)
    return result


def replicate_of(args, scenario, k):
    """Replicate k (0-based) of a scenario: seed --first-seed + k; the same whatever --jobs is."""
    return one_replicate(args, scenario, args.first_seed + k,
                         k < args.variance_check and scenario not in NOT_PEDIGREE)


def mean(x):
    return sum(x) / len(x)


def sd(x):
    m = mean(x)
    return math.sqrt(sum((a - m) ** 2 for a in x) / (len(x) - 1))


def summarise(results, out, methods):
    """Markdown table of one scenario; out is a list of lines."""
    n = len(results)
    first = methods[0]
    out.append("| statistic | mean value | empirical SD | " +
               " | ".join(METHOD_TITLES[m] for m in methods) + " |")
    out.append("|---|---|---|" + "---|" * len(methods))
    for label, name in STATISTICS:
        values = [r[first][label][0] for r in results]
        target = mean(values)
        cells = []
        for m in methods:
            sds = [r[m][label][1] for r in results]
            cover = sum(1 for r in results if r[m][label][2] <= target <= r[m][label][3])
            cells.append("%.3f (%.0f%%)" % (mean(sds), 100.0 * cover / n))
        out.append("| %s | %.3f | %.3f | %s |" % (name, target, sd(values), " | ".join(cells)))
    out.append("")
    out.append("Monte Carlo precision with %d replicates: a coverage of 95%% has a standard error of "
               "%.1f points; an empirical SD, about %.0f%% of itself."
               % (n, 100 * math.sqrt(0.95 * 0.05 / n), 100 / math.sqrt(2 * (n - 1))))
    out.append("")
    out.append("Mean SD reported / empirical SD:")
    out.append("")
    out.append("| statistic | " + " | ".join(METHOD_TITLES[m] for m in methods) + " |")
    out.append("|---|" + "---|" * len(methods))
    for label, name in STATISTICS:
        empirical = sd([r[first][label][0] for r in results])
        cells = ["%.2f" % (mean([r[m][label][1] for r in results]) / empirical) for m in methods]
        out.append("| %s | %s |" % (name, " | ".join(cells)))
    out.append("")
    # The reliability's limits: how often symmetric limits value -/+ 1.96 SD would leave [0, 1],
    # and how often the printed ones miss the mean value below and above.
    label = "Reliability :"
    target = mean([r[first][label][0] for r in results])
    cells = []
    for m in methods:
        outside = sum(1 for r in results if r[m][label][0] - 1.959964 * r[m][label][1] < 0
                      or r[m][label][0] + 1.959964 * r[m][label][1] > 1)
        low = sum(1 for r in results if r[m][label][3] < target)
        high = sum(1 for r in results if r[m][label][2] > target)
        cells.append("%s: %.0f%% / %.0f%% / %.0f%%" % (METHOD_TITLES[m], 100.0 * outside / n,
                                                      100.0 * low / n, 100.0 * high / n))
    out.append("Reliability limits (symmetric limits outside [0, 1] / printed interval below the "
               "mean value / above it): " + "; ".join(cells) + ".")
    out.append("")
    cpu = mean([r["cor_p_u"] for r in results])
    cwu = mean([r["cor_w_u"] for r in results])
    out.append("What the simulation implies (means over replicates, focal animals): "
               "cor(partial EBV, true BV) %.3f, cor(whole EBV, true BV) %.3f, their ratio %.3f; "
               "cor(partial EBV, true BV)^2 %.3f; regression of true BV on partial EBV %.3f; "
               "mean 1 - PEV/((1+F) s2): partial %.3f, whole %.3f."
               % (cpu, cwu, mean([r["cor_p_u"] / r["cor_w_u"] for r in results]),
                  mean([r["cor_p_u"] ** 2 for r in results]), mean([r["b_u_p"] for r in results]),
                  mean([r["rel_p_pev"] for r in results]), mean([r["rel_w_pev"] for r in results])))
    out.append("")
    checked = [r for r in results if "spp_model" in r]
    if checked:
        model = mean([r["spp_model"] for r in checked])
        observed = mean([r["spp_observed"] for r in checked])
        out.append("Variance of the partial EBVs among the focal animals (first %d replicates): "
                   "assumed by se exact, tr(J (s2 A - C_p) J)/m, %.4f; observed S_pp %.4f; "
                   "observed/assumed %.2f." % (len(checked), model, observed, observed / model))
        out.append("")
        out.append("D = C_p - C_w with the off-diagonal from the pec files, and from accuracies as without "
                   "them (means over the same replicates): x'Dx %.3f and %.3f (ratio %.2f); 1'D1 %.1f and %.1f "
                   "(ratio %.2f)." % (mean([r["xdx_pec"] for r in checked]), mean([r["xdx_acc"] for r in checked]),
                                      mean([r["xdx_acc"] for r in checked]) / mean([r["xdx_pec"] for r in checked]),
                                      mean([r["one_pec"] for r in checked]), mean([r["one_acc"] for r in checked]),
                                      mean([r["one_acc"] for r in checked]) / mean([r["one_pec"] for r in checked])))
        out.append("")
        wb = mean([r["within_bias"] for r in checked])
        wr = mean([r["within_reliability"] for r in checked])
        out.append("Share of the sampling variance within sire families (pairs of focal animals with the same "
                   "sire; a method that takes the families as independent can report at most its square root "
                   "times the true SD): bias, 1'D1, %.2f (%.2f); reliability, tPP + tPW at the model's unscaled "
                   "moments, %.2f (%.2f)." % (wb, math.sqrt(wb), wr, math.sqrt(wr)))
        out.append("")


def write_csv(results, path, methods):
    with open(path, "w", newline="") as f:
        wr = csv.writer(f)
        head = ["scenario", "seed", "seconds", "cor_p_u", "cor_w_u", "b_u_p", "rel_p_pev", "rel_w_pev"]
        for m in methods:
            for _, name in STATISTICS:
                for part in ("value", "sd", "lower", "upper"):
                    head.append("%s|%s|%s" % (m, name, part))
        wr.writerow(head)
        for r in results:
            row = [r["scenario"], r["seed"], "%.2f" % r["seconds"]] + \
                  ["%.6f" % r[k] for k in ("cor_p_u", "cor_w_u", "b_u_p", "rel_p_pev", "rel_w_pev")]
            for m in methods:
                for label, _ in STATISTICS:
                    row.extend(r[m][label] if m in r else ("",) * 4)
            wr.writerow(row)


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--bin", default="build", help="build folder with ventrel and tools/simulate/ventrel-simulate")
    ap.add_argument("--replicates", type=int, default=500, help="replicates per scenario (500)")
    ap.add_argument("--first-seed", type=int, default=1, help="seed of the first replicate; then +1 (1)")
    ap.add_argument("--scenarios", default=",".join(SCENARIOS), help="comma-separated: " + ",".join(SCENARIOS))
    ap.add_argument("--work", default=None, help="folder for the replicates (a temporary folder)")
    ap.add_argument("--table", default=None, help="write the markdown tables to this file too")
    ap.add_argument("--csv", default=None, help="write every replicate's results to this CSV file")
    ap.add_argument("--keep", action="store_true", help="keep the replicate folders")
    ap.add_argument("--jobs", type=int, default=2, help="replicates run side by side (2)")
    ap.add_argument("--methods", default=",".join(METHODS), help="comma-separated: " + ",".join(METHODS))
    ap.add_argument("--variance-check", type=int, default=0,
                    help="for the first N replicates of each scenario, check parts of se exact's model: the "
                         "assumed variance of the partial EBVs, and D from accuracies against D from the pec "
                         "files (slow: plain Python)")
    args = ap.parse_args()

    args.methods = [m for m in METHODS if m in args.methods.split(",")]
    args.ventrel = os.path.abspath(os.path.join(args.bin, "ventrel"))
    args.simulate = os.path.abspath(os.path.join(args.bin, "tools", "simulate", "ventrel-simulate"))
    for exe in (args.ventrel, args.simulate):
        if not os.access(exe, os.X_OK):
            sys.exit("not found: " + exe)
    own_work = args.work is None
    args.work = os.path.abspath(args.work or tempfile.mkdtemp(prefix="coverage-study-"))
    os.makedirs(args.work, exist_ok=True)
    # One thread per process: the machine is shared and the problems are small.
    os.environ["OMP_NUM_THREADS"] = "1"
    os.environ["OPENBLAS_NUM_THREADS"] = "1"

    start = time.time()
    lines = []
    everything = []
    for scenario in args.scenarios.split(","):
        results = []
        t0 = time.time()
        work = functools.partial(replicate_of, args, scenario)
        with multiprocessing.Pool(args.jobs) as pool:
            for k, result in enumerate(pool.imap(work, range(args.replicates))):
                result["load"] = os.getloadavg()[0]
                results.append(result)
                if (k + 1) % 10 == 0:
                    print("%s: %d/%d replicates, %.0f s" % (scenario, k + 1, args.replicates,
                                                            time.time() - t0), file=sys.stderr, flush=True)
        everything.extend(results)
        lines.append("### %s: `ventrel-simulate %s`, seeds %d..%d, %d focal animals" %
                     (scenario, " ".join(SCENARIOS[scenario]), args.first_seed,
                      args.first_seed + args.replicates - 1, results[0]["m"]))
        lines.append("")
        loads = [r["load"] for r in results]
        lines.append("Mean SD reported (coverage of the 95%% interval), %d replicates, %.0f s "
                     "(1-minute load average %.1f to %.1f, mean %.1f):" %
                     (len(results), time.time() - t0, min(loads), max(loads), mean(loads)))
        lines.append("")
        summarise(results, lines, methods_of(args, scenario))
    lines.append("Total run time: %.0f s." % (time.time() - start))
    text = "\n".join(lines) + "\n"
    print(text)
    if args.table:
        with open(args.table, "w") as f:
            f.write(text)
    if args.csv:
        write_csv(everything, args.csv, args.methods)
    if own_work and not args.keep:
        shutil.rmtree(args.work)


if __name__ == "__main__":
    main()
