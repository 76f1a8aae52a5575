#!/usr/bin/env bash
# Builds the Debian packages of the library for amd64 (native build) and arm64
# (cross build), in build-pkg/ and build-pkg-arm64/, and prints their files,
# sizes and control fields, with lintian's verdict where lintian is installed.
#   scripts/package.sh           build, list and lint
#   scripts/package.sh --check   also unpack each architecture's packages into
#                                a temporary root (nothing is installed on the
#                                machine), build the consumer project against
#                                that root with find_package(QEVO) and with
#                                pkg-config, and run it (arm64 under qemu)
# Missing Debian packages are installed first.
set -euo pipefail
cd "$(dirname "$0")/.."
check=no
[ "${1:-}" = "--check" ] && check=yes
bash scripts/deps.sh cmake g++ make pkg-config dpkg-dev g++-aarch64-linux-gnu qemu-user lintian

jobs=$(nproc 2>/dev/null || echo 2)
build() {  # build DIR [cmake args...]
  local dir=$1; shift
  echo "=== packages in $dir"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_APPS=OFF -DQEVO_BUILD_BENCH=OFF "$@" >/dev/null
  cmake --build "$dir" -j "$jobs" >/dev/null
  rm -f "$dir"/*.deb
  (cd "$dir" && cpack >/dev/null)
  for deb in "$dir"/*.deb; do
    echo "--- $(basename "$deb"): $(stat -c %s "$deb") bytes"
    dpkg-deb --field "$deb" Package Version Architecture Section Depends Installed-Size
    dpkg-deb --contents "$deb" | awk '$6 !~ /\/$/ { print "    " $6, $7, $8 }'
  done
  if command -v lintian >/dev/null; then
    # Errors fail the build; warnings are shown.
    lintian --fail-on error "$dir"/*.deb 2>&1 | grep -v 'root privileges' || true
    lintian --fail-on error "$dir"/*.deb >/dev/null 2>&1 || { echo "lintian: errors in $dir"; exit 1; }
    echo "lintian: no errors"
  fi
}
build build-pkg
build build-pkg-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake \
  -DCMAKE_INSTALL_LIBDIR=lib/aarch64-linux-gnu
[ $check = yes ] || exit 0

# consume DIR TRIPLET: the consumer against the unpacked packages of DIR,
# found through their CMake package and through their pkg-config file, run
# with the unpacked library directory on the loader's path.
sysroot=/usr/aarch64-linux-gnu
consume() {
  local dir=$1 triplet=$2 root
  root=$(mktemp -d)
  for deb in "$dir"/*.deb; do dpkg-deb -x "$deb" "$root"; done
  local lib=$root/usr/lib/$triplet
  local cxx=g++ toolchain=() run=(env "LD_LIBRARY_PATH=$lib")
  if [ "$triplet" = aarch64-linux-gnu ]; then
    cxx=aarch64-linux-gnu-g++
    toolchain=(-DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchain-aarch64.cmake")
    run=(qemu-aarch64 -L "$sysroot" -E "LD_LIBRARY_PATH=$sysroot/lib:$lib")
  fi
  echo "=== consumer against $dir's packages, unpacked in $root"
  cmake -S tests/consumer -B "$root/build" "${toolchain[@]}" -DCMAKE_PREFIX_PATH="$root/usr" \
    -DCMAKE_FIND_ROOT_PATH="$root" >/dev/null
  cmake --build "$root/build" >/dev/null
  echo -n "find_package(QEVO 1.0): "
  "${run[@]}" "$root/build/qevo_consumer"
  local flags
  flags=$(PKG_CONFIG_PATH="$lib/pkgconfig" pkg-config --cflags --libs qevo)
  # shellcheck disable=SC2086
  $cxx -std=c++17 tests/consumer/main.cpp $flags -o "$root/pc-consumer"
  echo -n "pkg-config qevo $(PKG_CONFIG_PATH="$lib/pkgconfig" pkg-config --modversion qevo): "
  "${run[@]}" "$root/pc-consumer"
  rm -rf "$root"
}
consume build-pkg x86_64-linux-gnu
consume build-pkg-arm64 aarch64-linux-gnu
