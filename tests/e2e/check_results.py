#!/usr/bin/env python3
"""Runs the built ventrel on fixture folders and checks its results files: both parse (JSON by
the json module, CSV by the csv module), say the same thing at full precision, describe the run,
and agree with the figures of the console report. A stopped run leaves earlier results files as
they were.

usage: check_results.py VENTREL FIXTURES_DIR WORK_DIR"""
import csv
import json
import math
import os
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree as ET

SVG = "{http://www.w3.org/2000/svg}"

LABELS = {"Absolute bias:": "bias", "Bias in genetic sd:": "bias_in_sd", "Dispersion:": "dispersion",
          "Ratio of accuracies:": "ratio_acc", "Reliability :": "reliability",
          "Predictive ability:": "pred_ability"}
# Fixtures whose successful runs are checked, with what their settings must say.
RUNS = {
    "one_trait_no_se": {"method": "none"},
    "one_trait_exact_pec": {"method": "exact", "relationships": "pedigree"},
    "one_trait_approx_acc": {"method": "approx"},
    "two_traits_boot_pred": {"method": "boot", "replicates": 500},
    "two_traits_two_files_exact": {"method": "exact"},
    "two_traits_exact_hinverse": {"method": "exact", "relationships": "inverse relationship matrix"},
    "cutoffs_boot": {"method": "boot"},
    "two_traits_exact_snp": {"method": "exact", "relationships": "H from genotypes"},
}
failures = []


def fail(name, what):
    failures.append(f"{name}: {what}")


def run(ventrel, fixture, work):
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    for f in os.listdir(fixture):
        if f.startswith("expected_") or f in ("args", "stdin", "before.sh", "memory_limit_mb"):
            continue
        src = os.path.join(fixture, f)
        (shutil.copytree if os.path.isdir(src) else shutil.copy)(src, os.path.join(work, f))
    args = open(os.path.join(fixture, "args")).read().split()
    p = subprocess.run([ventrel] + args, cwd=work, capture_output=True, text=True, stdin=subprocess.DEVNULL)
    return p.returncode, p.stdout


def console_blocks(stdout):
    """{(trait, group): {statistic: [value, sd, lower, upper] as printed}} from the report blocks;
    group "all" for the report, the group's name for the blocks of OPTION print_groups."""
    blocks, key = {}, None
    for line in stdout.splitlines():
        m = re.match(r" Cross-validation statistics for trait: +(\d+)(?:  group: (\S+))?", line)
        if m:
            key = (int(m.group(1)), m.group(2) or "all")
            blocks[key] = {}
            continue
        if key is None:
            continue
        label = line[1:40].rstrip()
        if label in LABELS:
            body = line[40:]
            fields = [body[i:i + 13].strip() for i in range(0, len(body), 13) if body[i:i + 13].strip()]
            blocks[key][LABELS[label]] = fields
        elif line.strip() == "":
            key = None
    return blocks


def printed(x):
    """A figure as the report prints it (F12.3, NaN, Infinity)."""
    if x is None:
        return None
    if math.isnan(x):
        return "NaN"
    if math.isinf(x):
        return "Infinity" if x > 0 else "-Infinity"
    return f"{x:.3f}"


def csv_value(text):
    return None if text == "" else float(text)


def check_run(name, want, ventrel, fixture, work, banner_version):
    status, stdout = run(ventrel, fixture, work)
    if status != 0:
        fail(name, f"exit status {status}")
        return
    js = json.load(open(os.path.join(work, "ventrel_results.json")))
    rows = list(csv.DictReader(open(os.path.join(work, "ventrel_results.csv"), newline="")))
    if js.get("format") != "ventrel-results" or js.get("format_version") != 1:
        fail(name, "format or version")
    if js["program"]["version"] != banner_version:
        fail(name, f"version {js['program']['version']} differs from the banner's {banner_version}")
    if not re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", js["date_time"]):
        fail(name, f"date_time {js['date_time']}")
    if js["parameter_file"] != "parameters.txt":
        fail(name, "parameter_file")
    for k, v in want.items():
        if js["standard_errors"].get(k) != v:
            fail(name, f"standard_errors.{k} = {js['standard_errors'].get(k)!r}, expected {v!r}")
    for f in js["input_files"]:
        if not os.path.exists(os.path.join(work, f["file"])):
            fail(name, f"input file {f['file']} ({f['role']}) does not exist")
    roles = {f["role"] for f in js["input_files"]}
    for role in ("solutions_whole", "solutions_partial", "validation_set", "pedigree"):
        if role not in roles:
            fail(name, f"no input file of role {role}")

    with_se = js["standard_errors"]["method"] != "none"
    console = console_blocks(stdout)
    blocks = {(b["trait"], b["group"]): b for b in js["results"] if b["cutoff"] is None}
    report_keys = {k for k in console if k[1] == "all"}
    if report_keys != {k for k in blocks if k[1] == "all"}:
        fail(name, f"blocks of the report {sorted(report_keys)} and of the JSON file {sorted(blocks)} differ")
    for key, stats in console.items():
        b = blocks.get(key)
        if b is None:
            fail(name, f"no JSON block for trait {key[0]} group {key[1]}")
            continue
        for stat, fields in stats.items():
            s = b["statistics"][stat]
            got = [printed(s["value"])] + ([printed(s[k]) for k in ("sd", "lower", "upper")] if with_se else [])
            # null in JSON stands for a non-finite figure: the CSV spells it out.
            csv_row = next(r for r in rows if r["cutoff"] == "" and int(r["trait"]) == key[0] and r["group"] == key[1]
                           and r["statistic"] == stat)
            csv_got = [printed(csv_value(csv_row[k])) for k in ("value", "sd", "lower", "upper")][:len(fields)]
            for i, g in enumerate(got):
                if g is None:
                    got[i] = csv_got[i]
            if got != fields:
                fail(name, f"trait {key[0]} group {key[1]} {stat}: JSON {got}, console {fields}")
            if csv_got != fields:
                fail(name, f"trait {key[0]} group {key[1]} {stat}: CSV {csv_got}, console {fields}")
    # Every JSON figure is in the CSV, bit for bit.
    n_stats = 0
    for b in js["results"]:
        for stat, s in b["statistics"].items():
            n_stats += 1
            row = [r for r in rows if r["cutoff"] == (b["cutoff"] or "") and int(r["set"]) == b["set"] and r["group"] == b["group"]
                   and int(r["trait"]) == b["trait"] and r["statistic"] == stat]
            if len(row) != 1:
                fail(name, f"{len(row)} CSV rows for set {b['set']} group {b['group']} trait {b['trait']} {stat}")
                continue
            r = row[0]
            if int(r["n"]) != b["n"]:
                fail(name, f"n differs for {stat}")
            for k in ("value", "sd", "lower", "upper"):
                c = csv_value(r[k])
                if s[k] is None:
                    if c is not None and math.isfinite(c):
                        fail(name, f"{stat} {k}: null in JSON, {r[k]} in CSV")
                elif c != s[k]:
                    fail(name, f"{stat} {k}: {s[k]!r} in JSON, {r[k]} in CSV")
        for k in ("heritability", "genetic_variance_focal"):
            r0 = next(r for r in rows if r["cutoff"] == (b["cutoff"] or "") and int(r["set"]) == b["set"]
                      and r["group"] == b["group"] and int(r["trait"]) == b["trait"])
            if b[k] is not None and float(r0[k]) != b[k]:
                fail(name, f"{k} differs between JSON and CSV")
    computed_rows = [r for r in rows if r["statistic"] != ""]
    if n_stats != len(computed_rows):
        fail(name, f"{n_stats} statistics in JSON, {len(computed_rows)} rows in CSV")
    # The heritability and focal variance lines of the console.
    for m in re.finditer(r" Heritability for trait +(\d+): +(\S+)", stdout):
        for b in js["results"]:
            if b["trait"] == int(m.group(1)) and printed(b["heritability"]) != m.group(2):
                fail(name, f"heritability of trait {b['trait']}")
    for m in re.finditer(r" Genetic variance for the focal animals for trait +(\d+): +(\S+)", stdout):
        for b in js["results"]:
            if b["trait"] == int(m.group(1)) and b["group"] == "all" and b["cutoff"] is None and printed(b["genetic_variance_focal"]) != m.group(2):
                fail(name, f"genetic variance of the focal animals of trait {b['trait']}")
    # The derived figures from the focal animals' solutions (sol_valids, E16.8).
    check_derived(name, work, js)
    check_groups(name, work, js, rows)
    check_cutoffs(name, work, js)
    if re.search(r"(?im)^OPTION\s+plots\b", open(os.path.join(work, "parameters.txt")).read()):
        check_plots(name, work, js)
    return js, rows


def option_value(work, key):
    m = re.search(r"(?im)^OPTION\s+" + key + r"\s+(\S+)", open(os.path.join(work, "parameters.txt")).read())
    return m.group(1) if m else None


def solutions(work):
    """{(set, level): (whole list, partial list)} from sol_valids."""
    out = {}
    for line in open(os.path.join(work, "sol_valids")).read().splitlines()[1:]:
        f = line.split()
        v = [float(x) for x in f[2:]]
        out[(int(f[0]), int(f[1]))] = (v[0::2], v[1::2])
    return out


def check_groups(name, work, js, rows):
    gfile = option_value(work, "validation_groups")
    if gfile is None:
        if any(b["group"] != "all" for b in js["results"]):
            fail(name, "group blocks without OPTION validation_groups")
        return
    if js["validation_groups_file"] != gfile:
        fail(name, "validation_groups_file")
    group_of = {int(l.split()[0]): l.split()[1] for l in open(os.path.join(work, gfile)) if l.split()}
    sol = solutions(work)
    js = dict(js, results=[b for b in js["results"] if b["cutoff"] is None])
    all_blocks = {(b["set"], b["trait"]): b for b in js["results"] if b["group"] == "all"}
    names = list(dict.fromkeys(group_of.values()))
    for (s, t), whole_set in all_blocks.items():
        for g in names:
            b = [x for x in js["results"] if x["set"] == s and x["trait"] == t and x["group"] == g]
            if len(b) != 1:
                fail(name, f"{len(b)} blocks for set {s} trait {t} group {g}")
                continue
            b = b[0]
            members = [lv for (ss, lv) in sol if ss == s and group_of.get(lv) == g]
            if b["n"] != len(members):
                fail(name, f"group {g}: n {b['n']}, expected {len(members)}")
            if len(members) < 2:
                row = [r for r in rows if r["group"] == g and int(r["trait"]) == t]
                if b["computed"] or b["statistics"] or b["notes"] != ["fewer than 2 animals"]:
                    fail(name, f"group {g} of {len(members)} animal(s) has statistics")
                if len(row) != 1 or row[0]["note"] != "fewer than 2 animals" or row[0]["statistic"] != "":
                    fail(name, f"group {g}: CSV rows {row}")
                continue
            w = [sol[(s, lv)][0][t - 1] for lv in members]
            p = [sol[(s, lv)][1][t - 1] for lv in members]
            n = len(w)
            mw, mp = sum(w) / n, sum(p) / n
            spp = sum((x - mp) ** 2 for x in p)
            sww = sum((x - mw) ** 2 for x in w)
            spw = sum((x - mp) * (y - mw) for x, y in zip(p, w))
            want = {"bias": mp - mw, "dispersion": spw / spp, "ratio_acc": spw / math.sqrt(spp * sww),
                    "reliability": spw / n / b["genetic_variance_focal"],
                    "rmsd": math.sqrt(sum((x - y) ** 2 for x, y in zip(w, p)) / n)}
            for stat, v in want.items():
                got = b["statistics"][stat]["value"]
                if abs(got - v) > 1e-6 * max(1.0, abs(v)):  # sol_valids holds 8 decimals
                    fail(name, f"group {g} trait {t} {stat}: {got}, recomputed {v}")
            # A group of every focal animal gives the whole set's figures, standard errors included.
            if b["n"] == whole_set["n"]:
                for stat, x in whole_set["statistics"].items():
                    for k in ("value", "sd", "lower", "upper"):
                        a, c = x[k], b["statistics"][stat][k]
                        if (a is None) != (c is None) or (a is not None and abs(a - c) > 1e-9 * max(1.0, abs(a))):
                            fail(name, f"group of everyone, trait {t} {stat} {k}: {c}, whole set {a}")


def check_cutoffs(name, work, js):
    """Each cut-off's statistics recomputed from the whole solutions (sol_valids) and its own
    partial solution file."""
    m = re.search(r"(?im)^OPTION\s+cutoffs\s+(.*)$", open(os.path.join(work, "parameters.txt")).read())
    prefixes = m.group(1).split() if m else []
    got = sorted({b["cutoff"] for b in js["results"] if b["cutoff"] is not None})
    if got != sorted(prefixes):
        fail(name, f"cut-off blocks {got}, expected {prefixes}")
    sol = solutions(work)
    effect = js["validation_effect"]
    for prefix in prefixes:
        partial = {}
        for line in open(os.path.join(work, prefix + "_partial")).read().splitlines()[1:]:
            f = line.split()
            if len(f) >= 4 and int(f[1]) == effect:
                partial[(int(f[0]), int(f[2]))] = float(f[3])
        for b in (x for x in js["results"] if x["cutoff"] == prefix):
            if b["partial_solutions"] != prefix + "_partial":
                fail(name, f"cut-off {prefix}: partial_solutions {b['partial_solutions']}")
            t = b["trait"]
            levels = [lv for (s, lv) in sol if s == b["set"]]
            w = [sol[(b["set"], lv)][0][t - 1] for lv in levels]
            p = [partial[(t, lv)] for lv in levels]
            n = len(w)
            mw, mp = sum(w) / n, sum(p) / n
            spp = sum((x - mp) ** 2 for x in p)
            sww = sum((x - mw) ** 2 for x in w)
            spw = sum((x - mp) * (y - mw) for x, y in zip(p, w))
            want = {"bias": mp - mw, "rmsd": math.sqrt(sum((x - y) ** 2 for x, y in zip(w, p)) / n)}
            if spp > 0 and sww > 0:
                want.update(dispersion=spw / spp, ratio_acc=spw / math.sqrt(spp * sww))
            for stat, v in want.items():
                g = b["statistics"][stat]["value"]
                if abs(g - v) > 1e-6 * max(1.0, abs(v)):
                    fail(name, f"cut-off {prefix} trait {t} {stat}: {g}, recomputed {v}")


def check_plots(name, work, js):
    sol = solutions(work)
    gfile = option_value(work, "validation_groups")
    names = []
    if gfile:
        names = list(dict.fromkeys(l.split()[1] for l in open(os.path.join(work, gfile)) if l.split()))
    js = dict(js, results=[b for b in js["results"] if b["cutoff"] is None])
    for whole_set in (b for b in js["results"] if b["group"] == "all"):
        t = whole_set["trait"]
        root = ET.parse(os.path.join(work, f"ventrel_plot_trait_{t}.svg")).getroot()
        if root.tag != SVG + "svg" or root.find(SVG + "title") is None:
            fail(name, f"scatter plot of trait {t}: not an SVG with a title")
        everything = list(root.iter())
        points = [e for e in everything if e.get("class") == "point"]
        cells = [e for e in everything if e.get("class") == "cell"]
        n = sum(1 for (s, _) in sol if s == whole_set["set"])
        shown = len(points) if points else sum(int(c.get("data-count")) for c in cells)
        if shown != n or (n <= 5000) != bool(points):
            fail(name, f"scatter plot of trait {t}: {len(points)} points, {len(cells)} cells for {n} animals")
        for cls in ("identity", "regression"):
            if sum(1 for e in everything if e.get("class") == cls and e.tag == SVG + "line") != 1:
                fail(name, f"scatter plot of trait {t}: no {cls} line")
        texts = {e.get("class"): "".join(e.itertext()) for e in everything if e.tag == SVG + "text" and e.get("class")}
        st = whole_set["statistics"]
        if texts.get("legend-slope") != "slope (dispersion) " + printed(st["dispersion"]["value"]):
            fail(name, f"scatter plot of trait {t}: slope legend {texts.get('legend-slope')!r}")
        if texts.get("legend-bias") != "bias " + printed(st["bias"]["value"]):
            fail(name, f"scatter plot of trait {t}: bias legend {texts.get('legend-bias')!r}")
        legend_groups = [("".join(e.itertext())).rsplit(" (", 1)[0] for e in everything
                         if e.get("class") == "legend-group"]
        if [g for g in legend_groups if g != "no group"] != names:
            fail(name, f"scatter plot of trait {t}: legend groups {legend_groups}, expected {names}")
        # The statistics by group: every value and interval of the results file.
        root = ET.parse(os.path.join(work, f"ventrel_groups_trait_{t}.svg")).getroot()
        blocks = {b["group"]: b for b in js["results"] if b["trait"] == t and b["set"] == whole_set["set"]}
        panels = [g for g in root.iter(SVG + "g") if g.get("class") == "panel"]
        want_panels = ["bias", "dispersion", "ratio_acc", "reliability"] + (["pred_ability"] if js["predictive_ability"] else [])
        if [p.get("data-statistic") for p in panels] != want_panels:
            fail(name, f"groups plot of trait {t}: panels {[p.get('data-statistic') for p in panels]}")
        for panel in panels:
            stat = panel.get("data-statistic")
            seen = set()
            for e in panel.iter():
                g = e.get("data-group")
                if g is None:
                    continue
                s = blocks[g]["statistics"][stat]
                if e.get("class") == "estimate":
                    seen.add(g)
                    if float(e.get("data-value")) != s["value"]:
                        fail(name, f"groups plot of trait {t} {stat} {g}: value {e.get('data-value')}")
                elif e.get("class") == "interval":
                    if float(e.get("data-lower")) != s["lower"] or float(e.get("data-upper")) != s["upper"]:
                        fail(name, f"groups plot of trait {t} {stat} {g}: interval")
            want = {g for g, b in blocks.items() if b["computed"] and b["statistics"][stat]["value"] is not None}
            if seen != want:
                fail(name, f"groups plot of trait {t} {stat}: estimates of {sorted(seen)}, expected {sorted(want)}")


def check_derived(name, work, js):
    lines = open(os.path.join(work, "sol_valids")).read().splitlines()[1:]
    for b in js["results"]:
        if b["group"] != "all" or b["cutoff"] is not None:
            continue
        w, p = [], []
        for line in lines:
            f = line.split()
            if int(f[0]) == b["set"]:
                w.append(float(f[2 * b["trait"]]))
                p.append(float(f[2 * b["trait"] + 1]))
        n = len(w)
        rmsd = math.sqrt(sum((a - c) ** 2 for a, c in zip(w, p)) / n)
        mw, mp = sum(w) / n, sum(p) / n
        s = b["statistics"]
        checks = [("rmsd", rmsd)]
        spp = sum((c - mp) ** 2 for c in p)
        if spp > 0:  # else the slope, the intercept and the ratio are not finite (null)
            slope = sum((a - mw) * (c - mp) for a, c in zip(w, p)) / spp
            checks.append(("intercept", mw - slope * mp))
        if s["ratio_acc"]["value"]:
            checks.append(("increase_in_accuracy", 1 / s["ratio_acc"]["value"]))
        for stat, want in checks:
            if s[stat]["value"] is None or abs(s[stat]["value"] - want) > 1e-6 * max(1.0, abs(want)):
                fail(name, f"trait {b['trait']} {stat} {s[stat]['value']} instead of {want}")


def check_stop_keeps_results(ventrel, fixtures, work):
    name = "stop_keeps_old_log"
    fixture = os.path.join(fixtures, name)
    old = {"ventrel_results.json": '{"old": true}\n', "ventrel_results.csv": "old\n"}
    shutil.rmtree(work, ignore_errors=True)
    status, _ = run(ventrel, fixture, work)
    for f, text in old.items():
        open(os.path.join(work, f), "w").write(text)
    args = open(os.path.join(fixture, "args")).read().split()
    status = subprocess.run([ventrel] + args, cwd=work, capture_output=True, stdin=subprocess.DEVNULL).returncode
    if status != 1:
        fail(name, f"exit status {status}")
    for f, text in old.items():
        if open(os.path.join(work, f)).read() != text:
            fail(name, f"{f} was changed by a stopped run")
        if os.path.exists(os.path.join(work, f + ".tmp")):
            fail(name, f"{f}.tmp left behind")


def main():
    ventrel, fixtures, work = os.path.realpath(sys.argv[1]), os.path.realpath(sys.argv[2]), sys.argv[3]
    version = subprocess.run([ventrel, "--version"], capture_output=True, text=True).stdout.split()[2]
    # Every fixture of a successful run: those of RUNS with their settings, and all others.
    for name in sorted(os.listdir(fixtures)):
        d = os.path.join(fixtures, name)
        if os.path.exists(os.path.join(d, "expected_status")) or not os.path.exists(os.path.join(d, "parameters.txt")):
            continue
        if os.path.exists(os.path.join(d, "stdin")) or "--" in open(os.path.join(d, "args")).read():
            continue
        check_run(name, RUNS.get(name, {}), ventrel, d, os.path.join(work, name), version)
        print(f"checked {name}")
    for name in RUNS:
        if not os.path.isdir(os.path.join(fixtures, name)):
            fail(name, "fixture missing")
    check_stop_keeps_results(ventrel, fixtures, os.path.join(work, "stop"))
    for f in failures:
        print("FAIL " + f)
    print(f"results files: {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
