#!/usr/bin/env bash
# Runs ventrel on a fixture and stores what it printed as the fixture's expected text. Use only
# after checking the figures against tools/reference.py (or by hand): the expected text is the
# test's truth.  Usage: accept.sh BINARY FIXTURE_DIR
set -u
bin=$(realpath "$1") dir=$(realpath "$2")
w=$(mktemp -d)
(cd "$dir" && find . -maxdepth 1 -mindepth 1 ! -name 'expected_*' ! -name args ! -name stdin ! -name before.sh ! -name memory_limit_mb -exec cp -r {} "$w/" \;)
[ -x "$dir/before.sh" ] && (cd "$w" && "$dir/before.sh")
args=$(cat "$dir/args" 2>/dev/null || true)
limit=""
[ -f "$dir/memory_limit_mb" ] && limit="ulimit -v $(( $(cat "$dir/memory_limit_mb") * 1024 ));"
if [ -f "$dir/stdin" ]; then
  (cd "$w" && eval "$limit \"$bin\" $args" <"$dir/stdin" >stdout.txt 2>/dev/null); status=$?
else
  (cd "$w" && eval "$limit \"$bin\" $args" </dev/null >stdout.txt 2>/dev/null); status=$?
fi
sed -E -i -e 's/^.* Compiled on [A-Z][a-z]{2} [0-9]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}$/<compiler> Compiled on <date> <time>/' \
  -e 's/, and [0-9.]+ (bytes|KiB|MiB|GiB|TiB) are available$/, and <memory> are available/' "$w/stdout.txt"
cp "$w/stdout.txt" "$dir/expected_stdout"
if [ "$status" != 0 ]; then echo "$status" >"$dir/expected_status"; else rm -f "$dir/expected_status"; fi
if [ -f "$w/ventrel.log" ] && [ "$status" = 0 ]; then cp "$w/ventrel.log" "$dir/expected_log"; fi
if [ -f "$w/sol_valids" ] && [ "$status" = 0 ]; then mkdir -p "$dir/expected_files" && cp "$w/sol_valids" "$dir/expected_files/"; fi
echo "status $status"; cat "$dir/expected_stdout"
rm -rf "$w"
