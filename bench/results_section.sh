#!/usr/bin/env bash
# Puts the markdown in FILE into bench/RESULTS.md as the section NAME,
# replacing that section where it is already there and keeping the others:
#   bench/results_section.sh NAME FILE
# Each benchmark script owns one section (x86 times, aarch64 instruction
# counts), so rerunning one leaves the other's table as it was.
set -euo pipefail
cd "$(dirname "$0")/.."
name=$1 file=$2 results=bench/RESULTS.md
begin="<!-- begin $name -->" end="<!-- end $name -->"
[ -f "$results" ] || printf '# Benchmark results\n\nEach section is written by the script it names; the figures are\nmeasurements, never test thresholds.\n' > "$results"
tmp=$(mktemp)
awk -v b="$begin" -v e="$end" -v f="$file" '
  function emit() { print b; while ((getline line < f) > 0) print line; print e; done = 1 }
  $0 == b { skip = 1; emit(); next }
  $0 == e { skip = 0; next }
  !skip { print }
  END { if (!done) { print ""; emit() } }' "$results" > "$tmp"
mv "$tmp" "$results"
echo "wrote section $name of $results"
