#!/usr/bin/env bash
# Runs the built ventrel on every fixture folder and compares what it printed with the
# expected text. A fixture folder holds the input files and:
#   args              the command line after the program name (one line; may be empty)
#   stdin             optional: what is piped to standard input
#   expected_stdout   the console, exactly
#   expected_status   optional: the exit status (default 0)
#   expected_log      optional: ventrel.log, exactly; "absent" in expected_log_absent means
#                     that no ventrel.log may exist after the run
#   expected_files/   optional: further output files to compare (e.g. sol_valids)
#   expected_stderr   optional: lines that standard error must contain (warnings), each as is
#   before.sh         optional: run in the work folder before ventrel (to set up odd files:
#                     directories, links, files of megabytes)
#   memory_limit_mb   optional: the run's address space is limited to this many MB (ulimit -v),
#                     so that an input that makes the program allocate without bound fails
#                     quickly instead of exhausting the machine; not applied to a sanitizer
#                     build, whose shadow memory needs a large address space
# A fixture whose name starts with bad_ must be a run that stops (expected_status not 0); unusual
# inputs that the run accepts are named odd_ (or after what they show).
# Prints one line per fixture and "N passed, N failed" at the end.
set -u
bin=$(realpath "$1") fixtures=$(realpath "$2") work=$3
pass=0 fail=0
rm -rf "$work" && mkdir -p "$work"
for dir in "$fixtures"/*/; do
  name=$(basename "$dir")
  w="$work/$name"
  mkdir -p "$w"
  (cd "$dir" && find . -maxdepth 1 -mindepth 1 ! -name 'expected_*' ! -name args ! -name stdin \
     ! -name before.sh ! -name memory_limit_mb -exec cp -r {} "$w/" \;)
  [ -x "$dir/before.sh" ] && (cd "$w" && "$dir/before.sh")
  args=$(cat "$dir/args" 2>/dev/null || true)
  limit=""
  if [ -f "$dir/memory_limit_mb" ] && ! grep -q __asan_init "$bin"; then
    limit="ulimit -v $(( $(cat "$dir/memory_limit_mb") * 1024 ));"
  fi
  want_status=$(cat "$dir/expected_status" 2>/dev/null || echo 0)
  # A fixture named bad_ is a run that stops; one that finishes is named otherwise (odd_).
  if [[ $name == bad_* ]] && [ "$want_status" = 0 ]; then
    echo "  $name: named bad_ but expected to finish with status 0: rename it (odd_)"; fail=$((fail+1)); continue
  fi
  if [ -f "$dir/stdin" ]; then
    (cd "$w" && eval "$limit \"$bin\" $args" <"$dir/stdin" >stdout.txt 2>stderr.txt); status=$?
  else
    (cd "$w" && eval "$limit \"$bin\" $args" </dev/null >stdout.txt 2>stderr.txt); status=$?
  fi
  # The build identification line varies from build to build, and the memory available from machine
# to machine: compare them as patterns.
  sed -E -i -e 's/^.* Compiled on [A-Z][a-z]{2} [0-9]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}$/<compiler> Compiled on <date> <time>/' \
  -e 's/, and [0-9.]+ (bytes|KiB|MiB|GiB|TiB) are available$/, and <memory> are available/' "$w/stdout.txt"
  ok=1
  if [ "$status" != "$want_status" ]; then echo "  $name: exit status $status, expected $want_status"; ok=0; fi
  # Under the sanitizers a report may come with the expected status (a stop and a leak): look.
  if grep -q -E "ERROR: (Address|Leak)Sanitizer|runtime error:" "$w/stderr.txt"; then
    echo "  $name: sanitizer report:"; head -20 "$w/stderr.txt"; ok=0
  fi
  if ! diff -u "$dir/expected_stdout" "$w/stdout.txt" >"$w/stdout.diff"; then
    echo "  $name: console differs:"; head -40 "$w/stdout.diff"; ok=0
  fi
  if [ -f "$dir/expected_stderr" ]; then
    while IFS= read -r want; do
      if ! grep -q -F -- "$want" "$w/stderr.txt"; then
        echo "  $name: standard error lacks: $want"; ok=0
      fi
    done <"$dir/expected_stderr"
  fi
  if [ -f "$dir/expected_log" ] && ! diff -u "$dir/expected_log" "$w/ventrel.log" >"$w/log.diff" 2>&1; then
    echo "  $name: ventrel.log differs:"; head -40 "$w/log.diff"; ok=0
  fi
  if [ -f "$dir/expected_log_absent" ] && [ -e "$w/ventrel.log" ] && ! cmp -s "$w/ventrel.log" "$dir/ventrel.log" 2>/dev/null; then
    echo "  $name: ventrel.log written by a failed run"; ok=0
  fi
  if [ -d "$dir/expected_files" ]; then
    for f in "$dir"/expected_files/*; do
      if ! diff -u "$f" "$w/$(basename "$f")" >"$w/file.diff" 2>&1; then
        echo "  $name: $(basename "$f") differs:"; head -20 "$w/file.diff"; ok=0
      fi
    done
  fi
  if [ $ok = 1 ]; then pass=$((pass+1)); echo "ok   $name"; else fail=$((fail+1)); echo "FAIL $name"; fi
done
echo "e2e: $pass passed, $fail failed"
[ $fail = 0 ]
