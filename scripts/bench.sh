#!/usr/bin/env bash
# Installs the peers, builds the benchmarks and prints the table of figures, ours beside the best peer.
#   bench.sh [name...]    for example: bench.sh base xml; all when none is named
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh bench
cmake --preset release
cmake --build --preset release -j"$(getconf _NPROCESSORS_ONLN)"
programs=()
if [ $# -gt 0 ]; then
  for name in "$@"; do programs+=("$(find build/release/bench -type f -name "bench_$name")"); done
else
  mapfile -t programs < <(find build/release/bench -type f -name 'bench_*' -perm -u+x | sort)
fi
for program in "${programs[@]}"; do
  echo "== $(basename "$program")"
  "$program"
done
