#!/usr/bin/env bash
# ABI guard (x86-64): compares the library's exported interface with the
# baseline abi/libQEVO.kivexC.abi using libabigail's abidiff. A removed or
# changed function, variable or symbol, or a changed layout of a type they
# reach, fails; additions pass and are listed. Then checks itself on edited
# copies of the current description: a removal and a grown class must fail,
# an addition must pass.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$(uname -m)" != x86_64 ]; then
  echo "=== ABI check skipped: the baseline describes the x86-64 library"
  exit 0
fi
baseline=abi/libQEVO.kivexC.abi
current=build-abi/current.abi
bash scripts/abi_dump.sh "$current"

# compare OLD NEW: prints abidiff's report; 0 when NEW only adds to OLD.
compare() {
  local report rc=0
  report=$(abidiff "$1" "$2") || rc=$?
  [ -n "$report" ] && printf '%s\n' "$report"
  if [ $((rc & 3)) -ne 0 ]; then
    echo "abidiff could not compare $1 and $2 (status $rc)"
    return 2
  fi
  # Status bit 8 marks incompatible changes; bit 4 any change, additions
  # included, so the summary lines tell removals and changes apart.
  if [ $((rc & 8)) -ne 0 ] || grep -Eq '(summary|changes):.* [1-9][0-9]* (Removed|Changed)' <<<"$report"; then
    return 1
  fi
  return 0
}

echo "=== ABI check against $baseline"
status=0
compare "$baseline" "$current" || status=$?
case $status in
  0) echo "ABI check passed (additions, if any, are listed above)" ;;
  1) echo "ABI check FAILED: an existing symbol or type layout was removed or changed" ;;
  *) echo "ABI check FAILED: no comparison" ;;
esac

echo "=== ABI check self-test"
python3 - "$current" build-abi <<'PY'
import sys
import xml.etree.ElementTree as ET

src, out = sys.argv[1], sys.argv[2]

def load():
    tree = ET.parse(src)
    return tree, {c: p for p in tree.getroot().iter() for c in p}

# One exported function gone (its symbol and its declaration).
tree, parent = load()
for e in list(tree.getroot().iter()):
    if e.get('elf-symbol-id') == 'sigmoid' or (e.tag == 'elf-symbol' and e.get('name') == 'sigmoid'):
        parent[e].remove(e)
tree.write(out + '/without_function.abi')

# ImageMat grown by 64 bits, its last member moved.
tree, parent = load()
for e in tree.getroot().iter('class-decl'):
    if e.get('name') == 'ImageMat' and e.get('size-in-bits'):
        e.set('size-in-bits', str(int(e.get('size-in-bits')) + 64))
        last = list(e.iter('data-member'))[-1]
        last.set('layout-offset-in-bits', str(int(last.get('layout-offset-in-bits')) + 64))
        break
tree.write(out + '/grown_class.abi')
PY
expect() {
  local want=$1 what=$2 rc=0
  compare "$3" "$4" >/dev/null || rc=$?
  if [ "$rc" -ne "$want" ]; then
    echo "self-test FAILED: $what gave $rc, expected $want"
    status=1
  else
    echo "self-test: $what -> $([ "$want" -eq 0 ] && echo passes || echo fails), as it must"
  fi
}
expect 1 "a removed function" "$current" build-abi/without_function.abi
expect 1 "a changed class layout" "$current" build-abi/grown_class.abi
expect 0 "an added function" build-abi/without_function.abi "$current"
exit $status
