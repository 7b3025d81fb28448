#!/bin/sh
# Installs the built library into a scratch prefix, builds the example hosts
# against it through find_package(vortan) and through pkg-config, and runs
# them as a user would; then checks that the source configures without the
# test and benchmark packages.
# Usage: install_test.sh <build dir> <source dir> <scratch dir>
set -eu
build=$1 source=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libvortan.so.1' | head -n 1)")
test -L "$libdir/libvortan.so" && test -L "$libdir/libvortan.so.1"
test -f "$prefix/include/vortan.h" && test -f "$prefix/include/vortan.hpp"

cmake -S "$source/examples" -B "$scratch/cmake-host" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$scratch/cmake-host" --target vortan_demo vortan_teleport >/dev/null
# Into files first: a pipe would hide the hosts' own exit status.
"$scratch/cmake-host/vortan_demo" >"$scratch/demo.out"
grep -q 'libvortan 1.4.0' "$scratch/demo.out"
"$scratch/cmake-host/vortan_teleport" 20 >"$scratch/teleport.out"
grep -q 'every state arrived' "$scratch/teleport.out"

if ! command -v pkg-config >/dev/null 2>&1; then
  echo "pkg-config not found: the pkg-config hosts were not built" >&2
  exit 1
fi
export PKG_CONFIG_PATH="$libdir/pkgconfig"
test "$(pkg-config --modversion vortan)" = 1.4.0
test "$(pkg-config --variable=libdir vortan)" -ef "$libdir"
# The two ways the README gives for the loader to find libvortan.so.1: an
# rpath recorded in the host, or LD_LIBRARY_PATH when it runs.
unset LD_LIBRARY_PATH
# shellcheck disable=SC2046
cc -std=c11 -Wall -Wextra -pedantic -Werror -o "$scratch/pc-host" "$source/examples/demo.c" \
  $(pkg-config --cflags --libs vortan) -Wl,-rpath,"$(pkg-config --variable=libdir vortan)"
"$scratch/pc-host" >"$scratch/pc-host.out"
grep -q 'libvortan 1.4.0' "$scratch/pc-host.out"
# shellcheck disable=SC2046
c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -o "$scratch/pc-host-cpp" "$source/examples/teleport.cpp" \
  $(pkg-config --cflags --libs vortan)
LD_LIBRARY_PATH="$libdir" "$scratch/pc-host-cpp" 20 >"$scratch/pc-host-cpp.out"
grep -q 'every state arrived' "$scratch/pc-host-cpp.out"

# A user without GoogleTest or Google Benchmark configures all the same, and
# is told what was left out.
cmake -S "$source" -B "$scratch/bare" -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON >"$scratch/bare.log"
grep -q 'GoogleTest not found: tests not built' "$scratch/bare.log"
grep -q 'Google Benchmark not found: benchmarks not built' "$scratch/bare.log"
test ! -e "$scratch/bare/tests" && test ! -e "$scratch/bare/bench"

echo "install tree serves find_package and pkg-config hosts, which run"
