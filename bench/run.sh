#!/usr/bin/env bash
# The national-scale benchmarks of ventrel: generates their data under BUILD/bench-data (reused
# when present), runs each scenario at three sizes a factor 4 apart, and prints one table
# (scenario, size, wall seconds, peak memory, the figure a user cares about) with the exponent
# of each scenario's growth fitted to log(time) against log(size).
#
#   bench/run.sh [BUILD=build] [scenario ...]      e.g. bench/run.sh build 3 5
#
# Scenarios (all by default):
#   1  reading: two solution files of 20 million lines (4 traits), 20,000 focal, no se (whole run)
#   2  pedigree: 1,000,000 animals of each pedigree shape (BENCH_SHAPES), every inbreeding
#      method, and whether the advice that a run prints names the method measured fastest
#   3  se boot: 20,000 focal, 10,000 replicates, 2 traits with predictive ability; R's boot
#   4  se exact by Colleau: 10,000 focal on a 1,000,000-animal pedigree, 2 traits (whole run)
#   5  se exact from an H-inverse file: 1,000,000 animals, 5,000 genotyped (whole run)
#   6  national run: 2,000,000 animals, 4 traits, 40 million lines, 20,000 focal, se boot
#   7  single-step se exact from genotypes: 1,000,000 animals, 10,000 genotyped, 50,000 markers
#      (fixed at every size), 2,500 focal (whole run); the steps apart (bench_genomic); PLINK 2's
#      --make-rel on the same genotypes as a peer of G, at the largest size
#   8  se exact by Colleau for many focal animals: 10,000, 30,000 and 100,000 focal animals in a
#      1,000,000-animal pedigree, 2 traits (whole run); at 10,000 and 30,000 also the dense
#      A_focal of before as the peer (bench_se_exact_ways: time of both ways and the largest
#      relative difference of their SDs)
# Every count scales with the size: 1/16, 1/4 and 1 of the numbers above (the number of
# replicates, traits and generations stay fixed); scenario 8 keeps the pedigree and takes the
# focal animals above (its growth exponent is against the number of focal animals).
#
# Environment:
#   BENCH_QUICK=1        the smallest size only
#   BENCH_SIZES="1 2 3"  which sizes (1 = 1/16, 2 = 1/4, 3 = full)
#   BENCH_DATA=DIR       where the data go (default BUILD/bench-data)
#   BENCH_LIMIT=100      seconds: a larger size of a slow inbreeding method is skipped when its
#                        predicted time exceeds this (a run is stopped at 3 times the limit)
#   BENCH_METHODS="1 2 3 4 5 6 7 6mf 8mf"   the inbreeding methods of scenario 2 (each run is
#                        limited to 8 GiB of address space, so a tabular method cannot take the
#                        shared machine's memory)
#   BENCH_S5_SHAPES="generations"   the pedigree shapes of scenario 5 (e.g. "generations dairy
#                        nucleus random"; random mating's factor takes 14 GiB and 190 s at full size);
#                        a shape may end in -inbred or -inbred7: the file's A-inverse then takes
#                        the parents' inbreeding, written in full or to 7 significant digits
#   BENCH_S8_SHAPES="generations"   the pedigree shapes of scenario 8 (e.g. "generations dairy
#                        random nucleus"; the comparison with the dense way on generations only)
#   BENCH_SHAPES="generations dairy random nucleus"   the pedigree shapes of scenario 2 (see
#                        bench_generate: 20 discrete generations; AI dairy; random mating with
#                        overlapping generations; a small closed nucleus)
#   BENCH_QUIET=P        before each run wait until other processes use less than P% of the CPUs
#                        (at most BENCH_QUIET_MAX=900 seconds each)
#   BENCH_REPEAT=k       run every measurement k times and keep the fastest
#   BENCH_NICE=N         run the timed programs at nice N (e.g. -10 as root on a shared machine,
#                        so that other processes take less of the CPUs during a measurement)
#   BENCH_GENERATE_ONLY=1  generate the data and time nothing
#   BENCH_R=0            skip the comparison with R's boot; BENCH_R_REPS=1000 its replicates
#                        (R's time is scaled to 10,000 replicates; its cost is linear in them)
# The table also goes to BENCH_DATA/results.md.
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
build=${1:-build}
shift || true
[[ $build = /* ]] || build="$root/$build"
scenarios=("$@")
[ ${#scenarios[@]} -eq 0 ] && scenarios=(1 2 3 4 5 6 7 8)
data=${BENCH_DATA:-$build/bench-data}
limit=${BENCH_LIMIT:-100}
methods=${BENCH_METHODS:-"1 2 3 4 5 6 7 6mf 8mf"}
if [ "${BENCH_QUICK:-0}" = 1 ]; then sizes=${BENCH_SIZES:-1}; else sizes=${BENCH_SIZES:-"1 2 3"}; fi
r_reps=${BENCH_R_REPS:-1000}

ventrel=$build/ventrel
gen=$build/bench/bench_generate
inbreeding=$build/bench/bench_inbreeding
boot=$build/bench/bench_bootstrap
for exe in "$ventrel" "$gen" "$inbreeding" "$boot" "$build/bench/bench_genomic"; do
  if [ ! -x "$exe" ]; then
    echo "building the benchmarks in $build"
    cmake --build "$build" --target benchmarks -j "$(nproc)" >/dev/null || exit 1
    break
  fi
done
if [ ! -x /usr/bin/time ]; then
  echo "bench/run.sh needs /usr/bin/time (Debian package time): run scripts/install-deps.sh" >&2
  exit 1
fi
mkdir -p "$data"
results=$data/results.tsv
: > "$results"

# ---------------------------------------------------------------------------------------------
# Helpers

# scaled COUNT SIZE: COUNT at size 3, divided by 4 per size below.
scaled() { echo $(( $1 / (1 << (2 * (3 - $2))) )); }

# human COUNT: 20000000 -> 20M, 62500 -> 62.5k
human() {
  awk -v x="$1" 'BEGIN { if (x >= 1e6) s = sprintf("%.4gM", x / 1e6); else if (x >= 1e3) s = sprintf("%.4gk", x / 1e3); else s = x; print s }'
}

# ensure_data DIR key=value...: runs the generator unless DIR/.complete holds the same arguments.
ensure_data() {
  local dir=$1
  shift
  local args="dir=$dir $*"
  if [ -f "$dir/.complete" ] && [ "$(cat "$dir/.complete")" = "$args" ]; then return 0; fi
  echo "  generating $dir" >&2
  rm -rf "$dir"
  "$gen" "dir=$dir" "$@" > "$data/generate.log" 2>&1 || { cat "$data/generate.log" >&2; return 1; }
}

info() { sed -n "s/^$2=//p" "$1/info.txt"; }

# busy: the share of the machine's CPU time that other processes took over the last 2 seconds.
busy() {
  local a b
  a=$(awk '/^cpu / { print $2 + $3 + $4 + $7 + $8, $5 + $6 }' /proc/stat)
  sleep 2
  b=$(awk '/^cpu / { print $2 + $3 + $4 + $7 + $8, $5 + $6 }' /proc/stat)
  echo "$a $b" | awk '{ u = $3 - $1; i = $4 - $2; printf "%.0f", (u + i > 0) ? 100 * u / (u + i) : 0 }'
}

# With BENCH_QUIET=P, waits (at most BENCH_QUIET_MAX seconds, default 900) until other processes
# use less than P% of the CPUs, so that the timings are not those of a shared machine.
wait_quiet() {
  [ -n "${BENCH_QUIET:-}" ] || return 0
  local waited=0 b
  while b=$(busy); [ "$b" -ge "$BENCH_QUIET" ] && [ "$waited" -lt "${BENCH_QUIET_MAX:-900}" ]; do
    sleep 8
    waited=$((waited + 10))
  done
}

# timed DIR OUT CMD...: runs CMD in DIR with stdout in OUT; sets wall and cpu (user + system)
# seconds, peak (resident MiB), load (1-minute load average before the run, and the share of the
# CPUs that other processes used just before it) and rc. With BENCH_REPEAT=k the command runs k
# times and the fastest run is kept (the usual remedy for a shared machine).
timed() {
  local dir=$1 out=$2
  shift 2
  local nice=() k tf best=""
  [ -n "${BENCH_NICE:-}" ] && nice=(nice -n "$BENCH_NICE")
  tf=$(mktemp)
  for ((k = 0; k < ${BENCH_REPEAT:-1}; ++k)); do
    wait_quiet
    local l="$(cut -d' ' -f1 /proc/loadavg) / $(busy)%"
    (cd "$dir" && { [ -z "${cap_kib:-}" ] || ulimit -v "$cap_kib"; } &&
      "${nice[@]}" /usr/bin/time -f '%e %M %U %S' -o "$tf" "$@" > "$out.run" 2> "$out.err")
    local r=$? w
    w=$(tail -1 "$tf" | cut -d' ' -f1)
    case $w in '' | *[!0-9.]*) w=NaN ;; esac
    if [ -z "$best" ] || { [ "$w" != NaN ] && awk -v a="$w" -v b="$wall" 'BEGIN { exit !(a < b) }'; }; then
      best=1
      rc=$r
      wall=$w
      load=$l
      peak=$(tail -1 "$tf" | awk '{ printf "%.0f", $2 / 1024 }')
      cpu=$(tail -1 "$tf" | awk '{ printf "%.2f", $3 + $4 }')
      mv "$out.run" "$out"
    fi
    [ "$r" -eq 0 ] || break
  done
  rm -f "$tf" "$out.run"
}

# row ID SCENARIO SIZE SCALE WALL PEAK FIGURE TARGET LOAD; the cpu seconds of the last timed
# run are added (when WALL is a time of its own, set cpu=- first).
row() {
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$@" "${cpu:--}" >> "$results"
  printf '  %-10s %-34s %8s s %7s MiB  %s  %s\n' "$1" "$3" "$5" "$6" "$7" "$8" >&2
}

rate() {  # rate COUNT SECONDS UNIT -> "12.3M UNIT/s"
  awk -v c="$1" -v s="$2" -v u="$3" 'BEGIN { if (s <= 0) s = 0.001; r = c / s;
    if (r >= 1e6) printf "%.3gM %s/s", r / 1e6, u; else if (r >= 1e3) printf "%.3gk %s/s", r / 1e3, u; else printf "%.3g %s/s", r, u }'
}

verdict() {  # verdict VALUE LIMIT -> "met" / "missed by x%"
  awk -v v="$1" -v l="$2" 'BEGIN { if (v == "NaN" || v == "") print "no result"; else if (v + 0 <= l + 0) printf "met (%.2g of the limit)", v / l; else printf "MISSED by %.0f%%", 100 * (v / l - 1) }'
}

whole_run() {  # whole_run DIR: ventrel on DIR/parameters.txt; fails loudly on a stop
  # The input files are read once beforehand, so that the run reads them from the page cache:
  # the table measures the program, not the disk.
  cat "$1"/solutions_* "$1"/ped.txt "$1"/Hinv.txt "$1"/snp.txt* "$1"/ebv_pev_* "$1"/yhat_residual > /dev/null 2>&1
  timed "$1" "$1/console.txt" "$ventrel" parameters.txt
  if [ "$rc" -ne 0 ]; then
    echo "  ventrel stopped in $1 (status $rc):" >&2
    tail -5 "$1/console.txt" >&2
    wall=NaN
  fi
}

# ---------------------------------------------------------------------------------------------
# Scenarios

scenario1() {
  local s=$1 lines animals focal dir
  lines=$(scaled 20000000 "$s"); animals=$(scaled 1000000 "$s"); focal=$(scaled 20000 "$s")
  dir=$data/s1-$s
  ensure_data "$dir" "animals=$animals" traits=4 "lines=$lines" "focal=$focal" pedigree=focal || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  whole_run "$dir"
  local target=""
  [ "$s" = 3 ] && target="< 8 s: $(verdict "$wall" 8)"
  row 1 "reading, no se (whole run)" "2 x $(human "$lines") lines" "$s" "$wall" "$peak" \
    "$(rate $((2 * lines)) "$wall" lines)" "$target" "$load"
}

scenario2() {
  local s=$1 shape
  for shape in ${BENCH_SHAPES:-generations dairy random nucleus}; do scenario2_shape "$s" "$shape"; done
}

# scenario2_shape SIZE SHAPE: every method on one shape; rows 2.SHAPE.mM, 2.SHAPE.fastest and
# 2.SHAPE.advice (the method that a run of method 1 advises on standard error, from the
# pedigree's statistics, against the method measured fastest).
scenario2_shape() {
  local s=$1 shape=$2 animals dir m best_m="" best_t="" m1_t="" advice="" pre extra_gen=()
  animals=$(scaled 1000000 "$s")
  pre=2.$shape
  dir=$data/s2-$shape-$s
  [ "$shape" = generations ] && dir=$data/s2-$s  # the data of earlier runs
  # Random mating keeps its number of progeny per sire at every size.
  [ "$shape" = random ] && extra_gen=("sires=$(scaled 3000 "$s")")
  ensure_data "$dir" "animals=$animals" only=pedigree "shape=$shape" "${extra_gen[@]}" || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  for m in $methods; do
    local id="$pre.m$m" extra=() mm=${m%mf}
    [ "$mm" != "$m" ] && extra=(metafounders=4)
    # Skip a size that a slow method would take too long for, from its earlier sizes' times.
    local pred
    # A method that was stopped at a smaller size is not tried at a larger one.
    pred=$(awk -F'\t' -v id="$id" -v lim="$limit" '$1 == id && $7 ~ /^stopped/ { stopped = 1 }
      $1 == id && $5 != "NaN" && $5 != "skipped" { n++; x[n] = log(4) * $4; y[n] = log($5 + 0) }
      END { if (stopped) { print 1e9; exit } if (n == 0) { print 0; exit } e = 2; if (n >= 2) e = (y[n] - y[n-1]) / (x[n] - x[n-1]); if (e < 1) e = 1;
            print exp(y[n] + e * log(4)) }' "$results")
    if awk -v p="$pred" -v l="$limit" 'BEGIN { exit !(p > l) }'; then
      cpu=-
      local why="predicted $(printf '%.0f' "$pred") s > BENCH_LIMIT $limit s"
      [ "$pred" = 1e9 ] && why="stopped at a smaller size"
      row "$id" "$shape: inbreeding method $m" "$(human "$animals") animals" "$s" skipped - "$why" "" -
      continue
    fi
    cap_kib=$((8 * 1024 * 1024)) timed "$dir" "$dir/method$m.txt" timeout $((3 * limit)) "$inbreeding" ped=ped.txt \
      "method=$mm" "${extra[@]}"
    local step figure meanf maxf
    step=$(sed -n 's/.*inbreeding=\([0-9.]*\).*/\1/p' "$dir/method$m.txt")
    if [ "$rc" -ne 0 ] || [ -z "$step" ]; then
      figure="stopped: $(head -1 "$dir/method$m.txt" | cut -c1-60)"
      [ "$rc" = 124 ] && figure="stopped after $((3 * limit)) s"
      wall=NaN
    else
      meanf=$(sed -n 's/.*meanF=\([0-9.]*\).*/\1/p' "$dir/method$m.txt")
      maxf=$(sed -n 's/.*maxF=\([0-9.]*\).*/\1/p' "$dir/method$m.txt")
      figure="$(rate "$animals" "$step" animals) (inbreeding $step s; F mean $(printf '%.3f' "$meanf"), max $(printf '%.3f' "$maxf"))"
      if [ "$mm" = "$m" ] && { [ -z "$best_t" ] || awk -v a="$step" -v b="$best_t" 'BEGIN { exit !(a < b) }'; }; then
        best_t=$step; best_m=$m
      fi
      if [ "$m" = 1 ]; then
        m1_t=$step
        advice=$(sed -n 's/.*advice=\([0-9]*\).*/\1/p' "$dir/method$m.txt")
      fi
    fi
    local target=""
    [ "$s" = 3 ] && [ "$m" = 1 ] && [ -n "$m1_t" ] && target="< 10 s: $(verdict "$m1_t" 10)"
    row "$id" "$shape: inbreeding method $m" "$(human "$animals") animals" "$s" "$wall" "$peak" "$figure" "$target" "$load"
  done
  # The fastest method's inbreeding step alone (the target's measure), among the methods without
  # metafounders (those compute the coefficients of another relationship matrix).
  [ -n "$best_t" ] || return 0
  local target=""
  [ "$s" = 3 ] && target="< 3 s: $(verdict "$best_t" 3)"
  cpu=-
  row "$pre.fastest" "$shape: fastest method, inbreeding step" "$(human "$animals") animals" "$s" "$best_t" - \
    "method $best_m: $(rate "$animals" "$best_t" animals)" "$target" "$load"
  # The advice of a method-1 run: right when it names no method and method 1 takes at most twice
  # the fastest's time (the program names only a method that saves most of the run) or under 5 s (the program advises only runs forecast to take 5 s or
  # more), or names a method that is faster than method 1.
  if [ -n "$m1_t" ]; then
    local named=${advice:-0} verdict_a t_named=""
    [ "$named" != 0 ] && t_named=$(awk -F'\t' -v id="$pre.m$named" -v s="$s" '$1 == id && $4 == s { print $7 }' "$results" |
      sed -n 's/.*inbreeding \([0-9.]*\) s.*/\1/p')
    if [ "$named" = 0 ]; then
      verdict_a=$(awk -v a="$m1_t" -v b="$best_t" 'BEGIN { print (a <= 2 * b || a < 5) ? "right" : "WRONG (a faster method exists)" }')
      figure="no advice; method 1 $m1_t s, fastest (method $best_m) $best_t s: $verdict_a"
    elif [ -z "$t_named" ]; then
      figure="advises method $named, not measured"
    else
      verdict_a=$(awk -v a="$t_named" -v b="$m1_t" 'BEGIN { print (a < b) ? "right" : "WRONG (slower than method 1)" }')
      figure="advises method $named ($t_named s against method 1's $m1_t s): $verdict_a"
    fi
    cpu=-
    row "$pre.advice" "$shape: advice of a method-1 run" "$(human "$animals") animals" "$s" - - "$figure" "" -
  fi
}

scenario3() {
  local s=$1 focal animals dir reps=10000
  focal=$(scaled 20000 "$s"); animals=$(scaled 100000 "$s")
  dir=$data/s3-$s
  ensure_data "$dir" "animals=$animals" traits=2 "focal=$focal" se=boot predictive=1 focal_var=usr boot_table=1 || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  local gvar h2 draws
  gvar=$(info "$dir" gvar); h2=$(info "$dir" h2); draws=$((2 * focal * reps))
  timed "$dir" "$dir/kernel.txt" "$boot" --read boot_table.txt "$reps" 2 "$gvar" "$h2"
  local kernel
  kernel=$(sed -n 's/^RESULT seconds=\([0-9.]*\).*/\1/p' "$dir/kernel.txt")
  local target=""
  [ "$s" = 3 ] && target="< 2 s: $(verdict "$kernel" 2)"
  row 3.kernel "se boot: the bootstrap alone" "$(human "$focal") focal" "$s" "$wall" "$peak" \
    "$(rate "$draws" "$kernel" draws) (bootstrap $kernel s)" "$target" "$load"
  whole_run "$dir"
  target=""
  [ "$s" = 3 ] && target="< 2 s: $(verdict "$wall" 2)"
  row 3.whole "se boot (whole run)" "$(human "$focal") focal" "$s" "$wall" "$peak" \
    "$(rate "$draws" "$wall" draws)" "$target" "$load"
  # R's boot on the same table, at the largest size asked for (its time scaled to 10,000 replicates).
  local largest=${sizes##* }
  [ "$s" = "$largest" ] || return 0
  cpu=-
  if [ "${BENCH_R:-1}" = 0 ]; then
    row 3.R "R boot package" "$(human "$focal") focal" "$s" skipped - "BENCH_R=0" "" "$load"
  elif ! command -v Rscript >/dev/null || ! Rscript -e 'suppressPackageStartupMessages(library(boot))' >/dev/null 2>&1; then
    row 3.R "R boot package" "$(human "$focal") focal" "$s" skipped - "no Rscript with the boot package" "" "$load"
  else
    timed "$dir" "$dir/R.txt" Rscript "$here/bootstrap.R" boot_table.txt "$r_reps" 2 "$gvar" "$h2"
    local rsec ratio
    rsec=$(sed -n 's/^RESULT seconds=\([0-9.]*\).*/\1/p' "$dir/R.txt")
    if [ -z "$rsec" ]; then
      row 3.R "R boot package" "$(human "$focal") focal" "$s" NaN "$peak" "R failed: see $dir/R.txt.err" "" "$load"
    else
      rsec=$(awk -v r="$rsec" -v k="$r_reps" 'BEGIN { printf "%.1f", r * 10000 / k }')
      ratio=$(awk -v r="$rsec" -v c="$kernel" 'BEGIN { printf "%.0f", r / c }')
      row 3.R "R boot package ($r_reps replicates x $((10000 / r_reps)))" "$(human "$focal") focal" "$s" "$wall" "$peak" \
        "$(rate "$draws" "$rsec" draws) (boot $rsec s for 10,000)" "R / ventrel = $ratio" "$load"
    fi
  fi
}

scenario4() {
  local s=$1 focal animals dir
  focal=$(scaled 10000 "$s"); animals=$(scaled 1000000 "$s")
  dir=$data/s4-$s
  ensure_data "$dir" "animals=$animals" traits=2 "focal=$focal" se=exact inbreeding_method=6 || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  whole_run "$dir"
  local target=""
  [ "$s" = 3 ] && target="< 15 s: $(verdict "$wall" 15)"
  row 4 "se exact, Colleau (whole run)" "$(human "$focal") focal, $(human "$animals") animals" "$s" "$wall" "$peak" \
    "$(rate "$focal" "$wall" "focal animals")" "$target" "$load"
}

scenario5() {
  local s=$1 shape
  for shape in ${BENCH_S5_SHAPES:-generations}; do scenario5_shape "$s" "$shape"; done
}

# scenario5_shape SIZE SHAPE: row 5 for the generations shape (the data of earlier runs), row
# 5.SHAPE for another (bench_generate shape=, and a suffix -inbred or -inbred7 for the file's
# A-inverse with the parents' inbreeding, at full precision or with 7 significant digits).
scenario5_shape() {
  local s=$1 shape=$2 genotyped animals dir id=5 extra=() base=${2%%-*}
  genotyped=$(scaled 5000 "$s"); animals=$(scaled 1000000 "$s")
  dir=$data/s5-$s
  if [ "$base" != generations ]; then
    extra=("shape=$base")
    [ "$base" = random ] && extra+=("sires=$(scaled 3000 "$s")")
  fi
  case $shape in
    *-inbred) extra+=(hinv_inbred=1) ;;
    *-inbred7) extra+=(hinv_inbred=1 hinv_digits=7) ;;
  esac
  if [ "$shape" != generations ]; then
    dir=$data/s5-$shape-$s
    id=5.$shape
  fi
  ensure_data "$dir" "animals=$animals" traits=2 "genotyped=$genotyped" se=exact inbreeding_method=6 "${extra[@]}" || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  whole_run "$dir"
  local target=""
  [ "$s" = 3 ] && target="< 60 s: $(verdict "$wall" 60)"
  row "$id" "se exact, H-inverse file (whole run)${extra:+, $shape}" "$(human "$animals") animals, $(human "$genotyped") genotyped" "$s" \
    "$wall" "$peak" "$(rate "$animals" "$wall" animals), $(info "$dir" focal) focal" "$target" "$load"
}

scenario6() {
  local s=$1 lines animals focal dir
  lines=$(scaled 40000000 "$s"); animals=$(scaled 2000000 "$s"); focal=$(scaled 20000 "$s")
  dir=$data/s6-$s
  ensure_data "$dir" "animals=$animals" traits=4 "lines=$lines" "focal=$focal" se=boot inbreeding_method=6 || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  whole_run "$dir"
  local target=""
  if [ "$s" = 3 ]; then
    target="< 30 s: $(verdict "$wall" 30); < 4 GiB: $(verdict "$peak" 4096)"
  fi
  row 6 "national run, se boot (whole run)" "$(human "$animals") animals, 2 x $(human "$lines") lines" "$s" "$wall" "$peak" \
    "$(rate $((2 * lines)) "$wall" lines)" "$target" "$load"
}

scenario7() {
  local s=$1 genotyped animals focal dir markers=50000
  genotyped=$(scaled 10000 "$s"); animals=$(scaled 1000000 "$s"); focal=$(scaled 2500 "$s")
  dir=$data/s7-$s
  ensure_data "$dir" "animals=$animals" traits=2 "genotyped=$genotyped" "markers=$markers" "focal=$focal" se=exact \
    inbreeding_method=6 || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  local what="$(human "$animals") animals, $(human "$genotyped") genotyped"
  whole_run "$dir"
  local target=""
  [ "$s" = 3 ] && target="< 90 s: $(verdict "$wall" 90); < 8 GiB: $(verdict "$peak" 8192)"
  row 7 "single-step se exact from genotypes (whole run)" "$what" "$s" "$wall" "$peak" \
    "$(info "$dir" focal) focal, $markers markers" "$target" "$load"
  # The steps apart: one row each, wall and processor seconds of bench_genomic.
  cat "$dir"/snp.txt "$dir"/ped.txt > /dev/null 2>&1
  timed "$dir" "$dir/steps.txt" "$build/bench/bench_genomic" "dir=$dir" threads=2
  local gsec="" gcpu="" step w c fig id
  while IFS='|' read -r _ step w c fig; do
    step=$(echo "$step" | sed 's/ *$//; s/^ *//'); w=$(echo "$w" | tr -d ' '); c=$(echo "$c" | tr -d ' ')
    [ "$step" = step ] && continue
    target=""
    id=7.$(echo "$step" | awk '{ print $1 }')
    case $step in
      reading*) [ "$s" = 3 ] && target=">= 300 MB/s: $(echo "$fig" | awk '{ print ($NF == "MB/s" && $(NF-1) + 0 >= 300) ? "met" : "MISSED" }')" ;;
      G*) gsec=$w; gcpu=$c ;;
    esac
    cpu=$c row "$id" "  $step" "$what" "$s" "$w" - "$fig" "$target" "$load"
  done < <(grep '^|' "$dir/steps.txt")
  local largest=${sizes##* }
  [ "$s" = "$largest" ] || return 0
  if ! command -v plink2 >/dev/null; then
    cpu=- row 7.plink2 "PLINK 2 --make-rel (peer of G)" "$what" "$s" skipped - "no plink2 (apt-get install plink2)" "" "$load"
    return 0
  fi
  cat "$dir"/snp.bed > /dev/null
  timed "$dir" "$dir/plink2.txt" plink2 --bfile snp --maf 0.05 --make-rel square bin --threads 2 --out rel
  # Processor seconds are compared: on a shared machine they vary less than the wall clock.
  row 7.plink2 "PLINK 2 --make-rel, --maf 0.05 (peer of G)" "$what" "$s" "$wall" "$peak" \
    "G of ventrel: $gsec s wall, $gcpu s cpu" "ventrel's cpu s no more: $(verdict "$gcpu" "$cpu")" "$load"
  rm -f "$dir"/rel.rel.bin
}

scenario8() {
  local s=$1 shape
  for shape in ${BENCH_S8_SHAPES:-generations}; do scenario8_shape "$s" "$shape"; done
}

# scenario8_shape SIZE SHAPE: row 8 (and 8.blocks, 8.dense) for the generations shape, row
# 8.SHAPE for another (bench_generate shape=; random mating with 3,000 sires a generation).
scenario8_shape() {
  local s=$1 shape=$2 focal animals=1000000 dir size id=8 extra=()
  focal=$(echo "$s" | awk '{ print ($1 == 1) ? 10000 : ($1 == 2) ? 30000 : 100000 }')
  # The size column that the exponent reads: 3 + log4(focal / 100,000), so that the fitted
  # exponent is that of the time against the number of focal animals.
  size=$(awk -v f="$focal" 'BEGIN { printf "%.4f", 3 + log(f / 100000) / log(4) }')
  dir=$data/s8-$s
  if [ "$shape" != generations ]; then
    dir=$data/s8-$shape-$s
    id=8.$shape
    extra=("shape=$shape")
    [ "$shape" = random ] && extra+=("sires=3000")
  fi
  ensure_data "$dir" "animals=$animals" traits=2 "focal=$focal" se=exact inbreeding_method=6 "${extra[@]}" || return
  [ "${BENCH_GENERATE_ONLY:-0}" = 1 ] && return 0
  whole_run "$dir"
  local target=""
  [ "$s" = 3 ] && target="< 120 s: $(verdict "$wall" 120); < 4 GiB: $(verdict "$peak" 4096)"
  row "$id" "se exact, Colleau, many focal (whole run)${extra:+, $shape}" "$(human "$focal") focal, $(human "$animals") animals" "$size" \
    "$wall" "$peak" "$(rate "$focal" "$wall" "focal animals")" "$target" "$load"
  [ "$shape" = generations ] || return 0
  # Both ways on the same focal animals: the dense one only where 8 m^2 bytes stay small.
  local dense=0
  [ "$focal" -le 30000 ] && dense=1
  cat "$dir"/ped.txt > /dev/null
  timed "$dir" "$dir/ways.txt" "$build/bench/bench_se_exact_ways" "dir=$dir" "dense=$dense" threads=2
  local bw bc dw dc diff
  bw=$(awk -F'|' '/by blocks/ { gsub(/ /, "", $3); print $3 }' "$dir/ways.txt")
  bc=$(awk -F'|' '/by blocks/ { gsub(/ /, "", $4); print $4 }' "$dir/ways.txt")
  cpu=$bc row 8.blocks "  se exact by blocks of columns (the traces alone)" "$(human "$focal") focal" "$size" "${bw:-NaN}" - \
    "" "" "$load"
  if [ "$dense" = 1 ]; then
    dw=$(awk -F'|' '/dense A_focal/ { gsub(/ /, "", $3); print $3 }' "$dir/ways.txt")
    dc=$(awk -F'|' '/dense A_focal/ { gsub(/ /, "", $4); print $4 }' "$dir/ways.txt")
    diff=$(sed -n 's/^largest relative difference.*: //p' "$dir/ways.txt")
    cpu=$dc row 8.dense "  peer: dense A_focal, as before (the traces alone)" "$(human "$focal") focal" "$size" "${dw:-NaN}" \
      "$peak" "SDs and limits differ by $diff (relative)" "$(awk -v d="$diff" 'BEGIN { print (d + 0 <= 1e-6) ? "<= 1e-6: met" : "<= 1e-6: MISSED" }')" "$load"
  fi
}

# ---------------------------------------------------------------------------------------------
# Run, then the table and the exponents.

echo "ventrel benchmarks: $(date -u '+%Y-%m-%d %H:%M UTC'), data in $data, sizes $sizes" >&2
for sc in "${scenarios[@]}"; do
  if ! declare -F "scenario$sc" >/dev/null; then
    echo "unknown scenario $sc (1 to 8)" >&2
    exit 2
  fi
  echo "scenario $sc" >&2
  for s in $sizes; do "scenario$sc" "$s"; done
done

cpu_model=$(lscpu | sed -n 's/^Model name: *//p' | head -1)
mem=$(free -g | awk '/^Mem:/ { print $2 }')
{
  echo "Machine: $cpu_model, $(nproc) cores, ${mem} GiB memory; $(date -u '+%Y-%m-%d %H:%M UTC')"
  # The commit: from git, or from a file COMMIT beside bench/ in an exported tree (git archive).
  commit=$(git -C "$root" rev-parse --short HEAD 2>/dev/null || cat "$root/COMMIT" 2>/dev/null || echo unknown)
  echo "Code: commit $commit$(git -C "$root" status --porcelain -- src 2>/dev/null | grep -q . && echo ', with uncommitted changes in src/')"
  echo
  echo "The load column: the 1-minute load average and the share of the CPUs that other processes"
  echo "used in the 2 seconds before the run."
  echo
  echo "| scenario | what | size | wall s | cpu s | peak MiB | figure | target | load |"
  echo "|---|---|---|---|---|---|---|---|---|"
  awk -F'\t' '{ printf "| %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", $1, $2, $3, $5, $10, $6, $7, $8, $9 }' "$results"
  echo
  echo "Growth: exponent e of wall time ~ size^e (least squares of log time on log size):"
  echo
  awk -F'\t' '$5 != "NaN" && $5 != "skipped" && $5 > 0 { id = $1; if (!(id in n)) { order[++k] = id; what[id] = $2 }
      n[id]++; x = log(4) * ($4 - 3); y = log($5); sx[id] += x; sy[id] += y; sxx[id] += x * x; sxy[id] += x * y }
    END { for (i = 1; i <= k; i++) { id = order[i];
        if (n[id] < 2) { printf "- %s (%s): one size only\n", id, what[id]; continue }
        e = (n[id] * sxy[id] - sx[id] * sy[id]) / (n[id] * sxx[id] - sx[id] * sx[id]);
        printf "- %s (%s): %.2f over %d sizes\n", id, what[id], e, n[id] } }' "$results"
} | tee "$data/results.md"
