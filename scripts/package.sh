#!/usr/bin/env bash
# Makes the Debian packages libvdxlib2 and libvdxlib-dev in build/package, checks them with lintian, installs them into
# an empty root and builds and runs a consumer against it; then the same consumer against the static library.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh package
jobs=$(getconf _NPROCESSORS_ONLN)
root=$PWD/build/package-root
consumer=$PWD/tests/install/consumer
export CMAKE_GENERATOR=Ninja

cmake --preset package
cmake --build --preset package -j"$jobs"
rm -rf build/package/*.deb "$root" build/package-consumer build/static-consumer build/static-prefix
(cd build/package && cpack)
lintian --allow-root --fail-on error build/package/*.deb

# A root of its own with its own dpkg database; the packages' dependencies are those of this machine, checked by name.
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
for package in build/package/libvdxlib2_*.deb; do
  for needed in $(dpkg-deb -f "$package" Depends | sed 's/([^)]*)//g; s/,/ /g'); do
    dpkg-query -W -f '${Status}\n' "$needed" | grep -q 'install ok installed'
  done
done
dpkg --root="$root" --force-depends --force-script-chrootless --force-not-root --no-triggers -i build/package/*.deb

multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
cmake -S "$consumer" -B build/package-consumer -DCMAKE_BUILD_TYPE=Release \
  -DVDXLib_DIR="$root/usr/lib/$multiarch/cmake/VDXLib"
cmake --build build/package-consumer
LD_LIBRARY_PATH=$root/usr/lib/$multiarch build/package-consumer/consumer

cmake --preset static
cmake --build --preset static -j"$jobs"
cmake --install build/static --prefix build/static-prefix >/dev/null
cmake -S "$consumer" -B build/static-consumer -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$PWD/build/static-prefix"
cmake --build build/static-consumer
build/static-consumer/consumer
