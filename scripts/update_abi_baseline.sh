#!/usr/bin/env bash
# Replaces the ABI baseline abi/libQEVO.kivexC.abi by the description of the
# library as it is now. Run it only on purpose (see the README): after a
# release, or when an incompatible change has been decided and the version
# number raised; never to make a failing ABI check pass.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$(uname -m)" != x86_64 ]; then
  echo "the ABI baseline describes the x86-64 library; run this on x86-64" >&2
  exit 1
fi
bash scripts/abi_dump.sh abi/libQEVO.kivexC.abi
echo "abi/libQEVO.kivexC.abi updated; review and commit it"
