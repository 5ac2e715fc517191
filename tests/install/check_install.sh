#!/bin/sh
# Installs the build into a temporary prefix, then builds and runs a C and a
# C++ consumer program against it, once through pkg-config and once through
# the CMake package.
set -eu
build=$1
source=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
# A cross build names its compilers (with their link flags), the command that
# runs its programs and its CMake arguments; a native build needs none.
cc=${PXINFO_TEST_CC:-cc}
cxx=${PXINFO_TEST_CXX:-c++}
run=${PXINFO_TEST_RUN:-}
cmake_args=${PXINFO_TEST_CMAKE_ARGS:-}

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(ls -d "$prefix"/lib* | head -n 1)
for f in "$prefix/include/pxinfo/pxinfo.h" "$prefix/bin/pxinfo" "$libdir/pkgconfig/libquentapxinfobase.pc" \
         "$libdir/cmake/quentapxinfobase/quentapxinfobaseConfig.cmake"; do
  [ -e "$f" ] || { echo "not installed: $f"; exit 1; }
done
for lib in libquentapxinfobase libquentabase; do
  soname=$(objdump -p "$libdir/$lib.so" | awk '/SONAME/ {print $2}')
  [ "$soname" = "$lib.so.1" ] || { echo "$lib: soname '$soname'"; exit 1; }
done

export PKG_CONFIG_PATH=$libdir/pkgconfig
export LD_LIBRARY_PATH=$libdir
$cc -std=c99 -Wall -Werror -o "$work/c_pc" "$source/consumer.c" $(pkg-config --cflags --libs libquentapxinfobase)
$cxx -std=c++17 -Wall -Werror -o "$work/cpp_pc" "$source/consumer.cpp" $(pkg-config --cflags --libs libquentapxinfobase)
$run "$work/c_pc" >"$work/c_out"
grep -q '^libquentapxinfobase ' "$work/c_out"
grep -qx '01234567-89ab-cdef-0123-456789abcdef' "$work/c_out"
$run "$work/cpp_pc" >/dev/null

cmake -S "$source" -B "$work/pkg" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" $cmake_args >/dev/null
cmake --build "$work/pkg" >/dev/null
$run "$work/pkg/consumer_c" | grep -q '^libquentapxinfobase'
$run "$work/pkg/consumer_cpp" >/dev/null
$run "$prefix/bin/pxinfo" --version | grep -q '^libquentapxinfobase'
echo "installed tree works with pkg-config and find_package"
