#!/usr/bin/env bash
# Runs ventrel on the bundled examples, in copies in a temporary folder (the repository is not
# written to): the pedigree evaluation of examples/demo with se boot and predictive ability
# (parameters.txt), then with se exact (parameters_exact.txt); then the single-step evaluation
# of examples/demo-genomic with se exact and H built from the genotypes of snp.txt.
#   examples/run-demo.sh build/ventrel
set -euo pipefail
bin=$(realpath "$1")
here=$(dirname "$(realpath "$0")")
for f in demo/parameters.txt demo-genomic/parameters.txt; do
  if [ ! -f "$here/$f" ]; then
    echo "The bundled example is not there (examples/$f)."
    exit 1
  fi
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$here/demo" "$here/demo-genomic" "$work/"
cd "$work/demo"
echo "=== demo: ventrel parameters.txt: OPTION se boot, OPTION predictive_ability ==="
"$bin" parameters.txt
echo "=== demo: ventrel parameters_exact.txt: OPTION se exact, OPTION predictive_ability ==="
"$bin" parameters_exact.txt
cd "$work/demo-genomic"
echo "=== demo-genomic: ventrel parameters.txt: single-step, OPTION se exact, OPTION SNP_file snp.txt ==="
"$bin" parameters.txt
