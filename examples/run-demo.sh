#!/usr/bin/env bash
# Runs ventrel on the bundled example twice, in a copy of examples/demo in a temporary folder
# (the repository is not written to): with se boot and predictive ability (parameters.txt),
# then with se exact (parameters_exact.txt), then with se exact and H built from the genotypes
# of snp.txt (parameters_genomic.txt).
#   examples/run-demo.sh build/ventrel
set -euo pipefail
bin=$(realpath "$1")
here=$(dirname "$(realpath "$0")")
if [ ! -f "$here/demo/parameters.txt" ]; then
  echo "The bundled example is not there (examples/demo/parameters.txt)."
  exit 1
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$here/demo/." "$work/"
cd "$work"
echo "=== ventrel parameters.txt: OPTION se boot, OPTION predictive_ability ==="
"$bin" parameters.txt
echo "=== ventrel parameters_exact.txt: OPTION se exact, OPTION predictive_ability ==="
"$bin" parameters_exact.txt
echo "=== ventrel parameters_genomic.txt: OPTION se exact, OPTION SNP_file snp.txt ==="
"$bin" parameters_genomic.txt
