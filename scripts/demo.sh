#!/usr/bin/env bash
# Installs what is missing, builds the library and its examples, and runs the relay on real input.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh build
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DVDX_BUILD_TESTS=OFF
cmake --build build/demo -j"$(getconf _NPROCESSORS_ONLN)" --target relay
APP_ROOT=${APP_ROOT:-$PWD/build/demo/relay-root} exec build/demo/examples/relay/relay "$@"
