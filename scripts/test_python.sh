#!/usr/bin/env bash
# Builds the Python module qevo and the reference program qevo_pyref in their
# own build (build-python/, QEVO_BUILD_PYTHON=ON) and runs the pytest suite of
# tests/python through ctest. Missing Debian packages are installed first.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make libgtest-dev pybind11-dev python3-dev python3-numpy python3-pytest

dir=build-python
echo "=== build $dir (Python module)"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=ON -DQEVO_BUILD_APPS=OFF \
  -DQEVO_BUILD_PYTHON=ON >/dev/null
cmake --build "$dir" -j "$(nproc 2>/dev/null || echo 2)" --target qevo_python qevo_pyref
echo "=== test $dir (pytest)"
(cd "$dir" && ctest --no-tests=error -R '^python_bindings$' -V --timeout 600) | sed -n '/Test command/,$p'
