#!/usr/bin/env python3
"""Writes the broken-input fixtures tests/e2e/fixtures/bad_<file>_<fault>: each is a copy of a
good fixture with one thing broken, and the run must stop. Unusual inputs that the run accepts
(legal in the family's format, perhaps with a warning) are named odd_<file>_<fault> or after
what they show. Their expected text is then made by accept.sh and read by
eye (the expected text is the test's truth).

    make_bad_fixtures.py [--only NAME...]      (from the repository's top folder)

A fixture whose run must stop also gets an earlier ventrel.log and expected_log_absent: the stop
must leave that log as it was. Files the repository cannot hold (directories, links to a file the
system refuses to read, files of megabytes) are made by the fixture's before.sh.

"Unreadable" is a link to /proc/self/mem, which opens but fails to read (EIO) for every user,
root included: chmod 000 would not stop root (CI runs as root) from reading.
"""
import argparse
import os
import shutil

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "fixtures")

# Base fixtures (good runs) that the broken ones start from.
A = "one_trait_no_se"            # parameter file, validation set, solutions, pedigree, data
PEC = "one_trait_exact_pec"      # se exact: ebv_pev and pec files
HINV = "two_traits_exact_hinverse"  # se exact through OPTION readHInverse
EARLIER_LOG = "an earlier log, kept by a run that stops\n"


def replace(f, old, new, count=1):
    def op(d):
        p = os.path.join(d, f)
        text = open(p, newline="").read()
        assert old in text, (f, old)
        open(p, "w", newline="").write(text.replace(old, new, count))
    return op


def append(f, text):
    def op(d):
        with open(os.path.join(d, f), "a", newline="") as h:
            h.write(text)
    return op


def write(f, text):
    def op(d):
        open(os.path.join(d, f), "w", newline="").write(text)
    return op


def delete(f):
    def op(d):
        os.remove(os.path.join(d, f))
    return op


def cut(f, nbytes):
    """Keeps the first nbytes of the file: a file cut short in the middle of a line."""
    def op(d):
        p = os.path.join(d, f)
        data = open(p, "rb").read()[:nbytes]
        assert not data.endswith(b"\n")
        open(p, "wb").write(data)
    return op


def cut_at(f, marker):
    """Keeps the file up to the end of the first marker: cut short in the middle of a line."""
    def op(d):
        p = os.path.join(d, f)
        text = open(p, newline="").read()
        assert marker in text and not marker.endswith("\n"), (f, marker)
        open(p, "w", newline="").write(text[:text.index(marker) + len(marker)])
    return op


def crlf(f):
    def op(d):
        p = os.path.join(d, f)
        data = open(p, "rb").read()
        open(p, "wb").write(data.replace(b"\n", b"\r\n"))
    return op


def tabs_after_first(f):
    """Blanks between values become TABs on every line but the first."""
    def op(d):
        p = os.path.join(d, f)
        lines = open(p).read().split("\n")
        open(p, "w").write("\n".join(lines[:1] + [l.replace(" ", "\t") for l in lines[1:]]))
    return op


def before(script):
    def op(d):
        p = os.path.join(d, "before.sh")
        open(p, "w").write("#!/usr/bin/env bash\n# Sets up what the repository cannot hold.\nset -e\n" + script + "\n")
        os.chmod(p, 0o755)
    return op


def directory(f):
    return before(f"rm -f {f}\nmkdir {f}")


def unreadable(f):
    return before(f"rm -f {f}\nln -s /proc/self/mem {f}")


def memory_limit(mb):
    def op(d):
        open(os.path.join(d, "memory_limit_mb"), "w").write(f"{mb}\n")
    return op


def args(text):
    def op(d):
        open(os.path.join(d, "args"), "w").write(text + "\n")
    return op


WITH_PA = append("parameters.txt", "OPTION predictive_ability\n")
WITH_RANOLT = [append("parameters.txt", "OPTION ReadExternalInbreeding ranolt.inb\n"),
               write("ranolt.inb", "".join(f"id{a} {0.01 * (a % 7):.4f} {a}\n" for a in range(1, 41)))]
WITH_MF = [replace("parameters.txt", "add_animal", "add_an_meta"),
           append("parameters.txt", "OPTION metafounders_gamma gamma.txt\n"),
           replace("ped.txt", "1 0 0\n", "1 41 42\n"), replace("ped.txt", "2 0 0\n", "2 41 42\n"),
           replace("ped.txt", "3 0 0\n", "3 42 41\n"),
           write("gamma.txt", "1 1 0.3\n1 2 0.1\n2 2 0.4\n")]
FIRST_FOCAL = "17"  # first line of A's valid.txt

# name: (base, [operations], stops)   stops: the run must end with status 1 and keep the log;
# exactly the names that start with bad_ stop
FIXTURES = {
    # The parameter file.
    "bad_parfile_missing": (A, [args("no_such_parameters.txt")], True),
    "bad_parfile_empty": (A, [write("parameters.txt", "")], True),
    "bad_parfile_no_line_ends": (A, [args("/dev/zero"), memory_limit(1500)], True),
    "bad_parfile_directory": (A, [directory("parameters.txt")], True),
    "bad_parfile_unreadable": (A, [unreadable("parameters.txt")], True),
    "odd_parfile_crlf": (A, [crlf("parameters.txt")], False),
    "bad_parfile_cr_only": (A, [replace("parameters.txt", "\n", "\r", -1)], True),
    "bad_parfile_tab_first_record": (A, [replace("parameters.txt", "# a one-trait", "#\ta one-trait")], True),
    "bad_parfile_tab_effects": (A, [replace("parameters.txt", "2 40 cross", "2\t40 cross")], True),
    "bad_parfile_tab_option": (A, [replace("parameters.txt", "OPTION validation 2", "OPTION validation\t2")], True),
    "bad_parfile_truncated": (A, [cut_at("parameters.txt", "1 3 cross\n2 4")], True),
    "bad_parfile_ntrait_nonnumeric": (A, [replace("parameters.txt", "NUMBER_OF_TRAITS\n1", "NUMBER_OF_TRAITS\none")], True),
    "bad_parfile_neff_zero": (A, [replace("parameters.txt", "NUMBER_OF_EFFECTS\n2", "NUMBER_OF_EFFECTS\n0")], True),
    "bad_parfile_neff_huge": (A, [replace("parameters.txt", "NUMBER_OF_EFFECTS\n2", "NUMBER_OF_EFFECTS\n2000000000"),
                                  memory_limit(2000)], True),
    "bad_parfile_nlev_too_large": (A, [replace("parameters.txt", "2 40 cross", "2 99999999999 cross")], True),
    "bad_parfile_nlev_negative": (A, [replace("parameters.txt", "2 40 cross", "2 -40 cross")], True),
    "odd_parfile_nlev_huge": (A, [replace("parameters.txt", "2 40 cross", "2 2000000000 cross"),
                                  memory_limit(2000)], False),
    "bad_parfile_residual_nan": (A, [replace("parameters.txt", "3.0\n", "NaN\n")], True),
    # Zero or negative variances: reported as a matrix that is not positive definite; the run goes
    # on and prints the statistics that divide by them as they come out.
    "odd_parfile_residual_negative": (A, [replace("parameters.txt", "3.0\n", "-3.0\n")], False),
    "odd_parfile_residual_zero": (A, [replace("parameters.txt", "3.0\n", "0\n")], False),
    "odd_parfile_variance_zero": (A, [replace("parameters.txt", "1.5\n", "0.0\n")], False),
    "odd_parfile_variance_negative": (A, [replace("parameters.txt", "1.5\n", "-1.5\n")], False),
    "bad_parfile_variance_text": (A, [replace("parameters.txt", "1.5\n", "1.5x\n")], True),
    "bad_parfile_variances_not_symmetric": (HINV, [replace("parameters.txt", "1.5 0.3\n0.3 0.8", "1.5 0.3\n0.2 0.8")], True),
    "bad_parfile_group_twice": (A, [replace("parameters.txt", "OPTION validation",
                                            "RANDOM_GROUP\n2\nRANDOM_TYPE\nadd_animal\nFILE\nped.txt\n(CO)VARIANCES\n1.5\n"
                                            "OPTION validation")], True),
    "bad_parfile_group_out_of_range": (A, [replace("parameters.txt", "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n3\n")], True),
    "bad_parfile_option_5000_values": (A, [before("{ printf 'OPTION focal_var usr'; for i in $(seq 5000); do printf ' 1.5'; done; echo; }"
                                                  " >> parameters.txt")], True),
    # Ten megabytes of values after RANDOM_RESIDUAL on one line: the first is read, the rest ignored.
    "odd_parfile_line_10mb": (A, [before("{ printf '3.0'; yes ' 7.5' | head -n 2621440 | tr -d '\\n'; echo; } > r.txt\n"
                                         "awk 'NR == FNR { r = $0; next } $0 == \"3.0\" && !done { print r; done = 1; next } { print }'"
                                         " r.txt parameters.txt > p.txt\n"
                                         "mv p.txt parameters.txt\nrm r.txt"),
                                  memory_limit(1000)], False),
    "bad_parfile_nrepboot_huge": (A, [append("parameters.txt", "OPTION se boot\nOPTION nrepboot 2000000000\n")], True),
    "bad_parfile_nthreads_huge": (A, [append("parameters.txt", "OPTION nthreads 100000\n")], True),
    # Option names no part of ventrel reads: listed on standard error, the run goes on.
    "options_unread_names": (A, [append("parameters.txt", "OPTION nrepbot 100\nOPTION predictiv_ability\n"
                                        "OPTION solv_method FSPAK\nOPTION NREPBOT 5\n"),
                                 write("expected_stderr", "ventrel: warning: OPTION lines that ventrel does not read "
                                       "(options of other programs, or misspelled): nrepbot predictiv_ability solv_method\n")],
                             False),
    "focal_var_unknown_word": (A, [append("parameters.txt", "OPTION focal_var foo\n")], False),
    # The data file (only checked to exist).
    "bad_datafile_missing": (A, [delete("data.txt")], True),
    "bad_datafile_directory": (A, [directory("data.txt")], True),
    # The validation-set file.
    "bad_valid_missing": (A, [delete("valid.txt")], True),
    "bad_valid_empty": (A, [write("valid.txt", "\n  \n")], True),
    "bad_valid_directory": (A, [directory("valid.txt")], True),
    "bad_valid_unreadable": (A, [unreadable("valid.txt")], True),
    "bad_valid_level_zero": (A, [append("valid.txt", "0\n")], True),
    "bad_valid_level_negative": (A, [append("valid.txt", "-5\n")], True),
    "bad_valid_level_beyond": (A, [append("valid.txt", "41\n")], True),
    "bad_valid_level_too_large": (A, [append("valid.txt", "99999999999\n")], True),
    "bad_valid_duplicate": (A, [append("valid.txt", FIRST_FOCAL + "\n")], True),
    "odd_valid_one_animal": (A, [write("valid.txt", FIRST_FOCAL + "\n")], False),
    "odd_valid_crlf_tabs": (A, [replace("valid.txt", "\n", "\t\r\n", -1)], False),
    "bad_valid_header": (A, [replace("valid.txt", FIRST_FOCAL + "\n", "animal\n" + FIRST_FOCAL + "\n")], True),
    "bad_valid_byte_order_mark": (A, [replace("valid.txt", FIRST_FOCAL + "\n", "\ufeff" + FIRST_FOCAL + "\n")], True),
    # A footer ends the reading as in the family's programs: a warning, and the levels before it.
    "valid_footer": (A, [append("valid.txt", "22.0\nend of file\n")], False),
    # The solution files.
    "bad_solutions_whole_missing": (A, [delete("solutions_whole")], True),
    "bad_solutions_empty": (A, [write("solutions_partial", "")], True),
    "bad_solutions_directory": (A, [directory("solutions_whole")], True),
    "bad_solutions_unreadable": (A, [unreadable("solutions_partial")], True),
    "bad_solutions_truncated": (A, [cut("solutions_partial", 500)], True),
    "bad_solutions_nan": (A, [replace("solutions_whole", "1 2 17 0.246005", "1 2 17 NaN")], True),
    "bad_solutions_inf": (A, [replace("solutions_partial", "\n1 2 23 ", "\n1 2 23 -Inf ")], True),
    "bad_solutions_nonnumeric": (A, [replace("solutions_whole", "1 2 17 0.246005", "1 2 17 0.246O05")], True),
    "bad_solutions_level_zero": (A, [append("solutions_whole", "1 2 0 1.5\n")], True),
    "bad_solutions_level_beyond": (A, [append("solutions_whole", "1 2 41 1.5\n")], True),
    "bad_solutions_level_too_large": (A, [append("solutions_partial", "1 2 99999999999 1.5\n")], True),
    "bad_solutions_trait_beyond": (A, [append("solutions_whole", "2 2 17 1.5\n")], True),
    "bad_solutions_duplicate": (A, [append("solutions_whole", "1 2 17 0.246005\n")], True),
    "bad_solutions_focal_missing": (A, [replace("solutions_partial", "\n1 2 23 ", "\n1 3 23 ")], True),
    "bad_solutions_header_modified": (A, [replace("solutions_partial", "trait/effect level  solution", "trait effect level solution")], True),
    "bad_solutions_different_headers": (A, [replace("solutions_whole", "trait/effect level  solution", "trait/effect level      solution")], True),
    "odd_solutions_crlf_tabs": (A, [crlf("solutions_whole"), tabs_after_first("solutions_partial")], False),
    "odd_solutions_all_equal": (A, [before("sed -i -E 's/^1 2 ([0-9]+) .*/1 2 \\1 0.25/' solutions_partial")], False),
    # The adjusted phenotypes.
    "bad_yhat_missing": (A, [WITH_PA, delete("yhat_residual")], True),
    "bad_yhat_nan": (A, [WITH_PA, replace("yhat_residual", "\n23 ", "\n23 nan ")], True),
    "bad_yhat_truncated": (A, [WITH_PA, write("yhat_residual", "17 -1.995427\n23")], True),
    "bad_yhat_focal_missing": (A, [WITH_PA, replace("yhat_residual", "\n23 ", "\n24 ")], True),
    # The pedigree.
    "bad_pedigree_missing": (A, [delete("ped.txt")], True),
    "bad_pedigree_empty": (A, [write("ped.txt", "")], True),
    "bad_pedigree_directory": (A, [directory("ped.txt")], True),
    "bad_pedigree_unreadable": (A, [unreadable("ped.txt")], True),
    "bad_pedigree_loop": (A, [replace("ped.txt", "\n12 1 4\n", "\n12 35 4\n")], True),  # 12 -> 35 -> 26 -> 12
    "bad_pedigree_own_parent": (A, [replace("ped.txt", "\n5 0 0\n", "\n5 0 5\n")], True),
    "bad_pedigree_negative_parent": (A, [replace("ped.txt", "\n5 0 0\n", "\n5 -1 0\n")], True),
    "bad_pedigree_parent_beyond": (A, [replace("ped.txt", "\n5 0 0\n", "\n5 47 0\n")], True),
    "odd_pedigree_animal_zero": (A, [append("ped.txt", "0 1 2\n-3 1 2\n")], False),
    "odd_pedigree_crlf_tabs": (A, [crlf("ped.txt"), tabs_after_first("ped.txt")], False),
    "bad_pedigree_huge_animal": (A, [append("ped.txt", "2000000000 0 0\n"), memory_limit(2000)], True),
    "bad_pedigree_header": (A, [replace("ped.txt", "1 0 0\n", "animal sire dam\n1 0 0\n")], True),
    "bad_pedigree_byte_order_mark": (A, [replace("ped.txt", "1 0 0\n", "\ufeff1 0 0\n")], True),
    # Original identifiers instead of the renumbered ones: numbers beyond the effect's 40 levels.
    "bad_pedigree_original_ids": (A, [before("awk '{ for (i = 1; i <= 3; i++) if ($i > 0) $i += 1004000; print }' ped.txt > p\n"
                                             "mv p ped.txt")], True),
    # The inbreeding file of OPTION ReadExternalInbreeding.
    "odd_ranolt_missing": (A, WITH_RANOLT + [delete("ranolt.inb")], False),
    "bad_ranolt_named_file_only": (A, WITH_RANOLT + [replace("parameters.txt", "ReadExternalInbreeding ranolt.inb",
                                                             "ReadExternalInbreeding my.inb"),
                                                     write("my.inb", "id1 0.0 1\n"), delete("ranolt.inb")], True),
    "bad_ranolt_animal_beyond": (A, WITH_RANOLT + [append("ranolt.inb", "id41 0.1 41\n")], True),
    # The ebv_pev and pec files of se exact.
    "bad_ebvpev_missing": (PEC, [delete("ebv_pev_1_1_partial")], True),
    "bad_ebvpev_empty": (PEC, [write("ebv_pev_1_1_whole", "")], True),
    "bad_ebvpev_directory": (PEC, [directory("ebv_pev_1_1_whole")], True),
    "bad_ebvpev_nan": (PEC, [append("ebv_pev_1_1_whole", "12 0.5 NaN\n")], True),
    "bad_ebvpev_negative_pev": (PEC, [before("sed -i -E 's/^19 ([^ ]+) .*/19 \\1 -0.5/' ebv_pev_1_1_partial")], True),
    "bad_ebvpev_duplicate": (PEC, [before("grep '^19 ' ebv_pev_1_1_whole > x\ncat x >> ebv_pev_1_1_whole\nrm x")], True),
    "bad_ebvpev_level_beyond": (PEC, [append("ebv_pev_1_1_whole", "41 0.5 0.9\n")], True),
    "bad_ebvpev_truncated": (PEC, [before("printf '19 0.2' > ebv_pev_1_1_whole")], True),
    "bad_pec_duplicate": (PEC, [before("head -1 pec_1_1_whole >> pec_1_1_whole")], True),
    "bad_pec_nonnumeric": (PEC, [append("pec_1_1_partial", "19 22 0.01O\n")], True),
    "bad_pec_level_zero": (PEC, [append("pec_1_1_whole", "0 22 0.01\n")], True),
    "bad_pec_directory": (PEC, [directory("pec_1_1_whole")], True),
    # 400,000 focal animals: their relationships would take 1.2 TB; the run stops before allocating.
    "bad_exact_memory": (A, [before("m=400000\n"
                                    "sed -i 's/^2 40 cross$/2 400000 cross/' parameters.txt\n"
                                    "echo 'OPTION se exact' >> parameters.txt\n"
                                    "seq 1 $m > valid.txt\n"
                                    "seq 1 $m | awk '{ print $1, 0, 0 }' > ped.txt\n"
                                    "for e in whole partial; do\n"
                                    "  { echo 'trait/effect level  solution'; seq 1 $m | awk -v k=$e '{ print 1, 2, $1, ($1 % (k == \"whole\" ? 97 : 89)) / 89 }'; } > solutions_$e\n"
                                    "  touch ebv_pev_1_1_$e\n"
                                    "done"),
                             memory_limit(1500)], True),
    # The inverse relationship matrix of OPTION readHInverse.
    "bad_hinv_missing": (HINV, [delete("Hinv.txt")], True),
    "bad_hinv_empty": (HINV, [write("Hinv.txt", "\n")], True),
    "bad_hinv_directory": (HINV, [directory("Hinv.txt")], True),
    "bad_hinv_not_positive_definite": (HINV, [replace("Hinv.txt", "\n3 3 1.5\n", "\n3 3 -1.5\n")], True),
    "bad_hinv_index_beyond": (HINV, [append("Hinv.txt", "51 1 0.5\n")], True),
    "bad_hinv_nonnumeric": (HINV, [append("Hinv.txt", "5 2 O.5\n")], True),
    "bad_hinv_fewer_than_levels": (HINV, [replace("parameters.txt", "2 2 50 cross", "2 2 2000000000 cross"),
                                          memory_limit(2000)], True),
    "odd_hinv_crlf": (HINV, [crlf("Hinv.txt")], False),
    # The metafounders' relationship matrix Gamma.
    "bad_gamma_missing": (A, WITH_MF + [delete("gamma.txt")], True),
    "bad_gamma_not_positive_definite": (A, WITH_MF + [write("gamma.txt", "1 1 0.3\n1 2 0.5\n2 2 0.4\n")], True),
    "bad_gamma_not_symmetric": (A, WITH_MF + [append("gamma.txt", "2 1 0.2\n")], True),
    "bad_gamma_missing_diagonal": (A, WITH_MF + [write("gamma.txt", "1 1 0.3\n1 2 0.1\n")], True),
    "bad_gamma_huge_index": (A, WITH_MF + [append("gamma.txt", "100000 100000 1\n")], True),
}


# Faults of the pedigree phase (src/pedigree), whose fixtures wait in tests/e2e/pending until
# the pedigree reader reports them: their expected text is the message a user needs there.
PENDING = {
    "bad_pedigree_nonnumeric": (A, [replace("ped.txt", "\n30 24 14\n", "\n30 twenty-four 14\n")], True),
    "bad_pedigree_truncated": (A, [cut_at("ped.txt", "\n40 32")], True),
    "bad_pedigree_too_large": (A, [replace("ped.txt", "\n30 24 14\n", "\n30 24 99999999999\n")], True),
    "bad_pedigree_duplicate_animal": (A, [append("ped.txt", "17 3 16\n")], True),
    "bad_ranolt_nan": (A, WITH_RANOLT + [replace("ranolt.inb", "id17 0.0300 17", "id17 NaN 17")], True),
}
PENDING_ROOT = os.path.join(ROOT, "..", "pending")


def make(name):
    pending = name in PENDING
    base, ops, stops = PENDING[name] if pending else FIXTURES[name]
    assert stops == name.startswith("bad_"), f"{name}: only the fixtures named bad_ stop"
    src, dst = os.path.join(ROOT, base), os.path.join(PENDING_ROOT if pending else ROOT, name)
    shutil.rmtree(dst, ignore_errors=True)
    os.makedirs(dst)
    for f in os.listdir(src):
        if f.startswith("expected_") or f in ("before.sh", "memory_limit_mb"):
            continue
        shutil.copy(os.path.join(src, f), dst)
    for op in ops:
        op(dst)
    if stops:
        open(os.path.join(dst, "ventrel.log"), "w").write(EARLIER_LOG)
        open(os.path.join(dst, "expected_log_absent"), "w").write("")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--only", nargs="*")
    a = ap.parse_args()
    for name in a.only or list(FIXTURES) + list(PENDING):
        make(name)


if __name__ == "__main__":
    main()
