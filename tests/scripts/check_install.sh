#!/usr/bin/env bash
# Installs the build tree into a fresh prefix, then builds and runs the
# consumer in tests/consumer twice: through find_package(QEVO) and through
# pkg-config.
#
#   check_install.sh CMAKE BUILD_DIR CONSUMER_DIR CXX [extra compiler flags...]
#
# The extra flags (the sanitizer flags of an instrumented build) are passed to
# both consumer builds, since an instrumented library needs an instrumented
# program.
set -euo pipefail
cmake_tool=$1
build=$2
consumer=$3
cxx=$4
shift 4
flags="$*"

work="$build/install-check"
prefix="$work/prefix"
rm -rf "$work"
mkdir -p "$work"

"$cmake_tool" --install "$build" --prefix "$prefix" >"$work/install.log"

for h in detection_type_api.h imageMat.h mat_pixel_resize.h objTracker.h preprocess.h rawReader.h \
    tracker.h utils.h qevo_version.h; do
    [ -f "$prefix/include/qevo/$h" ] || { echo "header $h not installed"; exit 1; }
done
pc=$(find "$prefix" -name qevo.pc -print -quit)
[ -n "$pc" ] || { echo "qevo.pc not installed"; exit 1; }
lib=$(find "$prefix" -name 'libQEVO.kivexC.so' -print -quit)
[ -n "$lib" ] || { echo "libQEVO.kivexC.so not installed"; exit 1; }

echo "== find_package(QEVO)"
"$cmake_tool" -S "$consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" \
    >"$work/cmake-configure.log"
"$cmake_tool" --build "$work/cmake-build" >"$work/cmake-build.log"
"$work/cmake-build/qevo_consumer"

echo "== pkg-config qevo"
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$pc")
pc_flags=$(pkg-config --cflags --libs qevo)
libdir=$(pkg-config --variable=libdir qevo)
echo "pkg-config: $pc_flags"
# shellcheck disable=SC2086
"$cxx" -std=c++17 $flags "$consumer/main.cpp" $pc_flags -Wl,-rpath,"$libdir" -o "$work/pc-consumer"
"$work/pc-consumer"
