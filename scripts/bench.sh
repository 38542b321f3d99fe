#!/usr/bin/env bash
# Installs the peers, builds the benchmarks, runs them one after the other, ours beside the best peer, and writes
# the tables and plots of docs/performance.md. A missed goal is a result; status 1 if a benchmark does not run.
#   bench.sh [name...]    for example: bench.sh base xml; all when none is named
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh bench
cmake --preset release
cmake --build --preset release -j"$(getconf _NPROCESSORS_ONLN)"
if [ $# -gt 0 ]; then
  names=("$@")
else
  mapfile -t names < <(find build/release/bench -type f -name 'bench_*' -perm -u+x -printf '%f\n' | sed 's/^bench_//' | sort)
fi
tables=build/release/tables
rm -rf $tables
mkdir -p $tables
failed=()
for name in "${names[@]}"; do
  echo "== $name"
  program=$(find build/release/bench -type f -name "bench_$name" -perm -u+x)
  VDX_BENCH_TABLE=$tables/$name.tsv "${program:?no such benchmark}" || failed+=("$name")
done
scripts/bench_report.py $tables
[ ${#failed[@]} -eq 0 ] || { echo "did not run: ${failed[*]}" >&2; exit 1; }
