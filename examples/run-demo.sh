#!/usr/bin/env bash
# Runs ventrel on the bundled example.
set -euo pipefail
bin=$(realpath "$1")
here=$(dirname "$(realpath "$0")")
if [ ! -f "$here/demo/parameters.txt" ]; then
  echo "The bundled example is not there yet (examples/demo/parameters.txt)."
  exit 1
fi
work=$(mktemp -d)
cp -r "$here/demo/." "$work/"
cd "$work"
"$bin" parameters.txt
