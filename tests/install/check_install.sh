#!/bin/sh
# Installs the library twice and checks each tree as its users meet it: the
# build under test into a temporary prefix, and a build configured for /usr
# (with the distribution's LIBDIR, lib/x86_64-linux-gnu on Debian) staged below
# a DESTDIR, as a package build does. That build links the libraries and the
# tool itself, but takes the objects that the build under test compiled with
# the same commands from the same inputs (reuse_objects.py, its compiler
# launcher) instead of compiling them again. In each tree: files and sonames,
# headers that name one another <pxinfo/...>, the tool starting without
# LD_LIBRARY_PATH, the pkg-config variables, and a C and a C++ consumer built
# through pkg-config and through the CMake package, which compare the version
# macros with the version line and the package's version.
#
#     check_install.sh BUILD-DIR [CMAKE-ARGUMENTS-OF-THE-USR-BUILD...]
set -eu
build=$1
shift
source=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A cross build names its compilers (with their link flags), the command that
# runs its programs and its CMake arguments; a native build needs none.
cc=${PXINFO_TEST_CC:-cc}
cxx=${PXINFO_TEST_CXX:-c++}
run=${PXINFO_TEST_RUN:-}
cmake_args=${PXINFO_TEST_CMAKE_ARGS:-}
tree=$build
fail() {
  echo "$tree: $*"
  exit 1
}
# Runs a command, showing its output only when it fails.
quiet() {
  "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "failed: $*"; }
}

# check_tree ROOT PREFIX NAME: the tree installed for PREFIX lies below ROOT
# (empty, or the DESTDIR).
check_tree() {
  root=$1 tree=$1$2 out=$work/$3
  pc=$(find "$tree" -name libquentapxinfobase.pc)
  libdir=$(dirname "$(dirname "$pc")")
  for f in "$tree/include/pxinfo/pxinfo.h" "$tree/include/pxinfo/pxinfo_version.h" "$tree/bin/pxinfo" "$pc" \
           "$libdir/cmake/quentapxinfobase/quentapxinfobaseConfig.cmake"; do
    [ -e "$f" ] || fail "not installed: $f"
  done
  for lib in libquentapxinfobase libquentabase; do
    soname=$(objdump -p "$libdir/$lib.so" | awk '/SONAME/ {print $2}')
    [ "$soname" = "$lib.so.1" ] || fail "$lib: soname '$soname'"
  done
  if grep -l '^#include "' "$tree"/include/pxinfo/*.h; then fail "headers above include by plain name"; fi
  objdump -p "$tree/bin/pxinfo" | grep -Eq 'RUNPATH +\$ORIGIN/' || fail "pxinfo has no RUNPATH relative to itself"
  env -u LD_LIBRARY_PATH $run "$tree/bin/pxinfo" --version | grep -q libquentapxinfobase || fail "pxinfo does not start"

  # pkg-config answers with the installed directories (seen through the
  # sysroot for a staged tree); the staged tree holds this package only, so
  # its dependency comes from the system.
  pkgcfg() { PKG_CONFIG_PATH=$libdir/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root pkg-config "$@" libquentapxinfobase; }
  [ "$(pkgcfg --variable=includedir)" = "$tree/include" ] || fail "pkg-config includedir: $(pkgcfg --variable=includedir)"
  [ "$(pkgcfg --variable=libdir)" = "$libdir" ] || fail "pkg-config libdir: $(pkgcfg --variable=libdir)"
  flags="$(pkgcfg --cflags --libs) $(pkg-config --cflags --libs libtirpc)"
  version="-DPACKAGE_VERSION=\"$(pkgcfg --modversion)\""
  $cc -std=c99 -Wall -Werror "$version" -o "$out-c" "$source/consumer.c" $flags
  $cxx -std=c++17 -Wall -Werror -o "$out-cpp" "$source/consumer.cpp" $flags
  LD_LIBRARY_PATH=$libdir $run "$out-c" >"$out-c.txt" || fail "consumer.c (pkg-config) failed"
  grep -qx '01234567-89ab-cdef-0123-456789abcdef' "$out-c.txt" || fail "consumer.c (pkg-config): wrong output"
  LD_LIBRARY_PATH=$libdir $run "$out-cpp" >/dev/null || fail "consumer.cpp (pkg-config) failed"

  quiet cmake -S "$source" -B "$out-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$tree" $cmake_args
  quiet cmake --build "$out-cmake"
  LD_LIBRARY_PATH=$libdir $run "$out-cmake/consumer_c" | grep -q '^libquentapxinfobase' || fail "consumer_c (CMake)"
  LD_LIBRARY_PATH=$libdir $run "$out-cmake/consumer_cpp" >/dev/null || fail "consumer_cpp (CMake)"
  echo "$tree: works with pkg-config and find_package (libraries in $libdir)"
}

quiet cmake --install "$build" --prefix "$work/prefix"
check_tree "" "$work/prefix" prefix

quiet cmake -S "$source/../.." -B "$work/usr-build" -G Ninja -DCMAKE_INSTALL_PREFIX=/usr -DPXINFO_BUILD_TESTS=OFF \
  -DPXINFO_BUILD_BENCH=OFF -DPXINFO_BUILD_EXAMPLES=OFF $cmake_args "$@"
quiet cmake --build "$work/usr-build" --parallel 2 --target quentabase quentapxinfobase pxinfo
objects=$(cd "$work/usr-build" && find . -name '*.o')
taken=$(for o in $objects; do cmp -s "$work/usr-build/$o" "$build/$o" && echo; done | wc -l)
echo "$work/usr-build: $taken of $(echo "$objects" | wc -w) objects taken from $build"
quiet env DESTDIR="$work/root" cmake --install "$work/usr-build"
check_tree "$work/root" /usr usr
