#!/usr/bin/env bash
# run.sh <find_package|pkg_config|add_subdirectory> <source> <build> <work folder> <compiler>
# Builds and runs tests/install/consumer in the given way; status 0 when it printed its line.
set -euo pipefail
kind=$1 source=$2 build=$3 work=$4 compiler=$5
# setup.sh installs no make.
export CMAKE_GENERATOR=Ninja
rm -rf "$work"
mkdir -p "$work"

# Installed elsewhere, then moved: nothing in the package may hold the place of installation.
install_tree() {
  cmake --install "$build" --prefix "$work/made" >/dev/null
  mv "$work/made" "$work/prefix"
}

case $kind in
  find_package)
    install_tree
    cmake -S "$source/tests/install/consumer" -B "$work/build" -DCMAKE_CXX_COMPILER="$compiler" \
      -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build "$work/build" >/dev/null
    program=$work/build/consumer
    ;;
  pkg_config)
    install_tree
    PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name vdxlib.pc)")
    export PKG_CONFIG_PATH
    libdir=$(pkg-config --variable=libdir vdxlib)
    program=$work/consumer
    # shellcheck disable=SC2046
    "$compiler" -std=c++20 "$source/tests/install/consumer/main.cpp" -o "$program" \
      $(pkg-config --cflags --libs vdxlib) -Wl,-rpath,"$libdir"
    ;;
  add_subdirectory)
    cmake -S "$source/tests/install/consumer" -B "$work/build" -DCMAKE_CXX_COMPILER="$compiler" \
      -DVDX_SUBDIRECTORY="$source" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O0 \
      -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" >/dev/null
    cmake --build "$work/build" --target consumer -j2 >/dev/null
    program=$work/build/consumer
    # What the consumer installs is its own affair.
    cmake --install "$work/build" --prefix "$work/prefix" >/dev/null
    [ ! -e "$work/prefix" ] || { echo "the consumer installs our files"; exit 1; }
    ;;
esac
answer=$("$program")
[ "$answer" = "libVDXLib 2.0.5.35: consumer" ] || { echo "consumer said: $answer"; exit 1; }

# Every installed header compiles alone, with warnings on.
if [ "$kind" = find_package ]; then
  find "$work/prefix/include/vdx" -name '*.h' -printf 'vdx/%f\n' | xargs -P 2 -I{} \
    "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I"$work/prefix/include" -include {} -x c++ /dev/null
fi
