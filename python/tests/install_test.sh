#!/bin/sh
# Installs the library and the Python package into a scratch prefix, then
# imports the package from there with nothing but the site directory on
# PYTHONPATH (a scratch prefix is not on the interpreter's default path).
# Usage: install_test.sh <build dir> <python> <scratch dir>
set -eu
build=$1 python=$2 scratch=$3
rm -rf "$scratch"
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
cmake --install "$build" --prefix "$prefix" --component python >/dev/null
site=$(dirname "$(find "$prefix" -path '*/vortan/__init__.py' | head -n 1)")
site=$(dirname "$site")
test -f "$site/vortan/_config.py"

# Run from elsewhere and with VORTAN_LIBRARY unset, so that only the
# installed package and the path it recorded can serve the import.
cd "$scratch"
env -u VORTAN_LIBRARY PYTHONPATH="$site" "$python" -c '
import vortan, sys
assert vortan.library_path().startswith(sys.argv[1]), vortan.library_path()
assert vortan.__file__.startswith(sys.argv[1]), vortan.__file__
with vortan.Qudit(2) as a, vortan.Qudit(2) as b:
    a.hadamard()
    b.cycle(a == 1)
    p = vortan.probabilities(a, b)
    assert abs(p[0, 0] - 0.5) < 1e-6 and abs(p[1, 1] - 0.5) < 1e-6, p
print("installed package imports and runs", vortan.library_version())
' "$prefix"
