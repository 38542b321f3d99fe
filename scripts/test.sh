#!/usr/bin/env bash
# Installs what is missing, builds with the dev preset and runs all tests.
#   test.sh [preset]    dev, clang, asan or tsan
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-dev}
scripts/setup.sh test
jobs=$(getconf _NPROCESSORS_ONLN)
cmake --preset "$preset"
cmake --build --preset "$preset" -j"$jobs"
ctest --preset "$preset" -j"$jobs"
