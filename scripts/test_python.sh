#!/usr/bin/env bash
# Tests the Python package as a user gets it: builds a wheel with pip (no
# network, Debian's setuptools), installs it into a throwaway virtual
# environment with nothing but the interpreter on PATH, and runs the pytest
# suite of tests/python against the installed package, from outside the
# source tree. Then mypy (when Debian's mypy can be had) checks the installed
# stubs and apps/python/track_mot.py. The reference program qevo_pyref and the
# wheel's CMake build live in build-python/. Missing Debian packages are
# installed first.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh cmake g++ make pybind11-dev python3-dev python3-numpy python3-pytest \
  python3-pip python3-venv python3-setuptools python3-wheel
bash scripts/deps.sh python3-mypy || echo "python3-mypy cannot be installed; mypy is skipped"

python=/usr/bin/python3
dir=$PWD/build-python
echo "=== build $dir (reference program)"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=ON -DQEVO_BUILD_APPS=OFF \
  -DQEVO_BUILD_PYTHON=ON -DPython_EXECUTABLE=$python >/dev/null
cmake --build "$dir" -j "$(nproc 2>/dev/null || echo 2)" --target qevo_pyref

echo "=== wheel"
rm -rf "$dir/wheel"
QEVO_CMAKE_BUILD_DIR=$dir $python -m pip wheel --no-build-isolation --no-deps --no-cache-dir \
  -q -w "$dir/wheel" .
wheel=$(ls "$dir"/wheel/qevo-*.whl)
$python -m zipfile -l "$wheel"

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
echo "=== install into a fresh virtual environment ($tmp/venv)"
# Debian's numpy, pytest and mypy come from the system's site-packages.
$python -m venv --system-site-packages "$tmp/venv"
mkdir "$tmp/bin"
ln -s "$tmp/venv/bin/python" "$tmp/bin/python"
PATH=$tmp/bin "$tmp/venv/bin/python" -m pip install --no-index --no-cache-dir -q "$wheel"

echo "=== pytest against the installed package"
repo=$PWD
cd "$tmp"
installed=$("$tmp/venv/bin/python" -c 'import qevo; print(qevo.__file__)')
case $installed in
  "$tmp"/venv/*) echo "qevo $("$tmp/venv/bin/python" -c 'import qevo; print(qevo.__version__)') from $installed" ;;
  *) echo "qevo was imported from $installed, not from the virtual environment"; exit 1 ;;
esac
QEVO_PYREF=$dir/tests/qevo_pyref "$tmp/venv/bin/python" -m pytest -q -p no:cacheprovider \
  "$repo/tests/python"

if "$tmp/venv/bin/python" -c 'import mypy' 2>/dev/null; then
  echo "=== mypy over the installed stubs and apps/python/track_mot.py"
  "$tmp/venv/bin/python" -m mypy --strict --no-incremental -p qevo
  "$tmp/venv/bin/python" -m mypy --strict --no-incremental "$repo/apps/python/track_mot.py"
else
  echo "=== mypy skipped: Debian's python3-mypy is not installed"
fi
