#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (tests/fuzz/CMakeLists.txt: the program's sources with
# -fsanitize=fuzzer,address,undefined) and runs each target in turn, one process at a time.
#   tests/fuzz/run.sh [SECONDS] [TARGET...]    default: 30 s each, every target
# Environment: FUZZ_BUILD (build folder, default build-fuzz-clang), JOBS (compile jobs, 2).
# The seed corpus tests/fuzz/corpus/<target> is only read; new inputs go to
# FUZZ_BUILD/corpus/<target>. A crash, leak, timeout or sanitizer report ends with status 1 and
# leaves the input in FUZZ_BUILD/artifacts/<target>/ (add it to the seed corpus once fixed).
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
secs=${1:-30}
[ $# -gt 0 ] && shift
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(freeformat parfile solutions pedigree hinverse)
build=${FUZZ_BUILD:-$root/build-fuzz-clang}

if ! command -v clang++ >/dev/null 2>&1; then
  echo "The fuzz targets need clang++ with libFuzzer (Debian packages clang and libclang-rt-dev)."
  exit 1
fi
cmake -S "$root/tests/fuzz" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang >/dev/null
if ! cmake --build "$build" -j "${JOBS:-2}" >"$build/build.log" 2>&1; then
  tail -30 "$build/build.log"
  exit 1
fi

# One thread for the solver libraries: the machine is shared, and a run must be reproducible.
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
for t in "${targets[@]}"; do
  mkdir -p "$build/corpus/$t" "$build/artifacts/$t"
  log="$build/$t.log"
  if "$build/fuzz_$t" -max_total_time="$secs" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="$build/artifacts/$t/" "$build/corpus/$t" "$root/tests/fuzz/corpus/$t" >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    took=$(sed -n 's/^Done [0-9]* runs in \([0-9]*\) second.*/\1/p' "$log")
    echo "fuzz $t: ${runs:-?} runs in ${took:-?} s, corpus $(ls "$build/corpus/$t" | wc -l) inputs"
  else
    status=1
    echo "fuzz $t: FAILED (log $log)"
    grep -E "ERROR|SUMMARY|fuzz check failed|runtime error|Test unit written" "$log" | head -10
  fi
done
exit $status
