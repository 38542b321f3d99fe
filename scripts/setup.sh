#!/usr/bin/env bash
# Installs what is missing to build, test, or measure the library; does nothing when all is there.
#   setup.sh [build|test|bench|package|docs]    test (the default) includes build; bench and package include both;
#                                               docs stands alone
set -euo pipefail
what=${1:-test}

build=(g++ cmake ninja-build pkg-config ccache git)
test=(libgtest-dev libspdlog-dev clang clang-tidy clang-format libclang-rt-dev strace iproute2 libssl-dev
  python3)
bench=(libbenchmark-dev libspdlog-dev libasio-dev libboost-dev libpugixml-dev libtinyxml2-dev libvulkan-dev libxml2-dev
  libbotan-2-dev libcrypto++-dev libssl-dev libspandsp-dev python3)
package=(dpkg-dev lintian file)
docs=(doxygen python3)

case $what in
  build) packages=("${build[@]}") ;;
  test) packages=("${build[@]}" "${test[@]}") ;;
  bench) packages=("${build[@]}" "${test[@]}" "${bench[@]}") ;;
  package) packages=("${build[@]}" "${test[@]}" "${package[@]}") ;;
  docs) packages=("${docs[@]}") ;;
  *) echo "usage: setup.sh [build|test|bench|package|docs]" >&2; exit 2 ;;
esac

if [ "$(uname)" = Darwin ]; then
  echo "On macOS install the Xcode command line tools, and by Homebrew: cmake ninja pkg-config ccache googletest spdlog openssl"
  command -v cmake >/dev/null && command -v ninja >/dev/null
  exit
fi

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$state" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "missing: ${missing[*]}; run as root or install sudo" >&2; exit 1; }
  as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
