#!/usr/bin/env bash
# Regenerates the bundled examples with ventrel-simulate (fixed seeds, so the files come out the
# same on every machine with the same build): examples/demo, a pedigree evaluation, and
# examples/demo-genomic, a single-step genomic evaluation with its genotypes.
#   examples/make-demo.sh build/tools/simulate/ventrel-simulate
set -euo pipefail
sim=$(realpath "$1")
here=$(dirname "$(realpath "$0")")
rm -rf "$here/demo" "$here/demo-genomic"
"$sim" --seed 2024 --traits 2 --h2 0.35,0.15 --vp 1,4 --mean 100,50 \
  --founders 1000 --size 400 --generations 10 --sires 20 --herds 50 \
  --se boot --pec-max 0 --out "$here/demo"
(
  cd "$here/demo"
  mv ventrel.par parameters.txt
  sed 's/^OPTION se boot$/OPTION se exact/' parameters.txt > parameters_exact.txt
)
"$sim" --seed 2026 --h2 0.3 --founders 400 --size 200 --generations 7 --sires 15 --herds 30 \
  --markers 2000 --genotyped-generations 2 --se exact --out "$here/demo-genomic"
mv "$here/demo-genomic/ventrel.par" "$here/demo-genomic/parameters.txt"
