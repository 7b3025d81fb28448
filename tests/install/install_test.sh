#!/bin/sh
# Installs the built library into a scratch prefix and builds the example host
# against it twice: through find_package(vortan) and through pkg-config.
# Usage: install_test.sh <build dir> <source dir> <scratch dir>
set -eu
build=$1 source=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libvortan.so.1' | head -n 1)")
test -L "$libdir/libvortan.so" && test -L "$libdir/libvortan.so.1"
test -f "$prefix/include/vortan.h"

cmake -S "$source/examples" -B "$scratch/cmake-host" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$scratch/cmake-host" --target vortan_demo >/dev/null
# Into a file first: a pipe would hide the demo's own exit status.
"$scratch/cmake-host/vortan_demo" >"$scratch/cmake-host.out"
grep -q 'libvortan 1.4.0' "$scratch/cmake-host.out"

if command -v pkg-config >/dev/null 2>&1; then
  export PKG_CONFIG_PATH="$libdir/pkgconfig"
  test "$(pkg-config --modversion vortan)" = 1.4.0
  # shellcheck disable=SC2046
  cc -std=c11 -Wall -Wextra -pedantic -Werror -o "$scratch/pc-host" "$source/examples/demo.c" $(pkg-config --cflags --libs vortan)
  LD_LIBRARY_PATH="$libdir" "$scratch/pc-host" >"$scratch/pc-host.out"
  grep -q 'libvortan 1.4.0' "$scratch/pc-host.out"
else
  echo "pkg-config not found: the pkg-config host was not built" >&2
  exit 1
fi
echo "install tree serves find_package and pkg-config hosts"
