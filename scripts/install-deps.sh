#!/usr/bin/env bash
# Installs the Debian packages that a make target needs, when missing.
#   scripts/install-deps.sh [program|test|fuzz|bench]...     default: program
#   program  the compiler, cmake, BLAS/LAPACK(E), SuiteSparse (CHOLMOD, AMD) and METIS:
#            all that make, make demo and make install need
#   test     GoogleTest, and Python 3 when there is none (the results-file checks)
#   fuzz     clang and libclang-rt-dev: libFuzzer (make fuzz)
#   bench    GNU time (/usr/bin/time), which bench/run.sh uses for wall time and peak memory
# Every target but program also gets the program's packages. Idempotent and quiet when
# everything is present. As root it runs apt-get, otherwise sudo, otherwise it prints the one
# apt-get line to run and stops.
set -euo pipefail

program=(g++ cmake make pkg-config libopenblas-dev liblapack-dev liblapacke-dev
         libsuitesparse-dev libmetis-dev)
packages=("${program[@]}")
for target in "${@:-program}"; do
  case "$target" in
    program) ;;
    test) packages+=(libgtest-dev); command -v python3 >/dev/null 2>&1 || packages+=(python3) ;;
    fuzz) packages+=(clang libclang-rt-dev) ;;
    bench) packages+=(time) ;;
    *) echo "install-deps.sh: unknown target '$target' (program, test, fuzz or bench)"; exit 1 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

line="apt-get install -y --no-install-recommends ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
  sudo=""
elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
  sudo="sudo"
else
  echo "ventrel needs these packages; run as root:"
  echo "  apt-get update && $line"
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq >/dev/null
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
