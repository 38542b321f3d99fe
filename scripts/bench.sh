#!/usr/bin/env bash
# Installs the peers, builds the benchmarks and prints the table of figures, ours beside the best peer.
#   bench.sh [name...]    for example: bench.sh base xml; all when none is named
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh bench
cmake --preset release
cmake --build --preset release -j"$(getconf _NPROCESSORS_ONLN)"
names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for folder in bench/*/; do names+=("$(basename "$folder")"); done
fi
for name in "${names[@]}"; do
  program=build/release/bench/$name/bench_$name
  [ -x "$program" ] || continue
  echo "== $name"
  "$program"
done
