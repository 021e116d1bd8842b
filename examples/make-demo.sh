#!/usr/bin/env bash
# Regenerates the bundled example examples/demo with ventrel-simulate (fixed seed, so the files
# come out the same on every machine with the same build).
#   examples/make-demo.sh build/tools/simulate/ventrel-simulate
set -euo pipefail
sim=$(realpath "$1")
here=$(dirname "$(realpath "$0")")
rm -rf "$here/demo"
"$sim" --seed 2024 --traits 2 --h2 0.35,0.15 --vp 1,4 --mean 100,50 \
  --founders 1000 --size 400 --generations 10 --sires 20 --herds 50 \
  --se boot --pec-max 0 --out "$here/demo"
cd "$here/demo"
mv ventrel.par parameters.txt
sed 's/^OPTION se boot$/OPTION se exact/' parameters.txt > parameters_exact.txt
