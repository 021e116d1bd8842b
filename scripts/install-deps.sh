#!/usr/bin/env bash
# Installs the Debian packages that ventrel's build, tests and benchmarks need, when missing
# (time: GNU /usr/bin/time, which bench/run.sh uses for wall time and peak memory; clang and
# libclang-rt-dev: libFuzzer, for make fuzz).
# Idempotent and quiet when everything is present. As root it runs apt-get, otherwise sudo,
# otherwise it prints the one apt-get line to run and stops.
set -euo pipefail

packages=(g++ gfortran cmake make pkg-config libopenblas-dev liblapack-dev liblapacke-dev
          libsuitesparse-dev libmetis-dev libgtest-dev time clang libclang-rt-dev)

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
