#!/usr/bin/env bash
# Checks the dynamic symbol table of the built library against the lists in
# tests/symbols/*.txt.
#
#   check_symbols.sh NM LIBRARY LIST_DIR [--extra LINE] [--drop LINE]
#
# List files: one symbol per line; blank lines and lines starting with '#' are
# skipped. A line is either a plain C name (IsFileExist) or a demangled C++
# signature exactly as `nm -DC --defined-only` prints it
# (resize_bilinear_c1(unsigned char const*, int, int, unsigned char*, int, int)).
# --extra adds one line to the lists and --drop removes one (used to check that
# this script notices a missing or an unlisted symbol).
#
# Rules:
#   1. Every listed line must be a defined, exported symbol.
#   2. Every exported function or object (nm types T W D B R V i u) must be
#      listed, with these exceptions:
#      a. standard-library template instances and their local statics: the
#         mangled name is in namespace std or __gnu_cxx, or is the typeinfo,
#         typeinfo name, vtable or VTT of such a class (prefixes _ZSt _ZNSt
#         _ZNKSt _ZSa.. _ZN9__gnu_cxx _ZZNSt ...);
#      b. "typeinfo for X", "typeinfo name for X", "vtable for X" and
#         "VTT for X" where X is a class that has a listed member;
#      c. symbols the toolchain itself defines: _init, _fini, _edata, _end,
#         __bss_start, and the sanitizer/coverage runtime's __asan_*,
#         __odr_asan*, __ubsan_*, __lsan_*, __sanitizer_*, __gcov_*.
set -euo pipefail

nm_tool=$1
lib=$2
list_dir=$3
shift 3
extra=()
drop=()
while [ $# -gt 0 ]; do
    case $1 in
        --extra) extra+=("$2"); shift 2 ;;
        --drop) drop+=("$2"); shift 2 ;;
        *) echo "unknown option $1" >&2; exit 2 ;;
    esac
done

declare -A listed=()   # line -> list file
declare -A classes=()  # classes with a listed member
add_line() {
    local line=$1 origin=$2
    for d in "${drop[@]+"${drop[@]}"}"; do [ "$line" = "$d" ] && return 0; done
    listed["$line"]=$origin
    local head=${line%%(*}
    if [ "$head" != "$line" ] && [[ $head == *::* ]]; then classes["${head%::*}"]=1; fi
}
shopt -s nullglob
for file in "$list_dir"/*.txt; do
    while IFS= read -r line || [ -n "$line" ]; do
        line=${line%$'\r'}
        line="${line#"${line%%[![:space:]]*}"}"
        line="${line%"${line##*[![:space:]]}"}"
        [ -z "$line" ] && continue
        [ "${line:0:1}" = "#" ] && continue
        add_line "$line" "$(basename "$file")"
    done < "$file"
done
for line in "${extra[@]+"${extra[@]}"}"; do add_line "$line" "--extra"; done

# The two listings come from the same table in the same (unsorted) order, so
# line i of one is line i of the other.
raw=$("$nm_tool" -D --defined-only -p "$lib")
demangled=$("$nm_tool" -DC --defined-only -p "$lib")
if [ "$(wc -l <<<"$raw")" != "$(wc -l <<<"$demangled")" ]; then
    echo "nm listings differ in length" >&2
    exit 2
fi

declare -A seen=()
leaked=()
exported=0
while IFS=$'\t' read -r r d; do
    type=${r#* }; type=${type%% *}
    name=${r#* * }
    dname=${d#* * }
    case $type in T | W | D | B | R | V | i | u) ;; *) continue ;; esac
    exported=$((exported + 1))
    if [ -n "${listed[$name]+x}" ]; then seen["$name"]=1; continue; fi
    if [ -n "${listed[$dname]+x}" ]; then seen["$dname"]=1; continue; fi
    if [[ $name =~ ^_Z(T[VIST]|Z)?N?[rVK]*(St|S[absiod]|9__gnu_cxx) ]]; then continue; fi
    if [[ $dname =~ ^(typeinfo\ for|typeinfo\ name\ for|vtable\ for|VTT\ for)\ (.+)$ ]] &&
        [ -n "${classes[${BASH_REMATCH[2]}]+x}" ]; then continue; fi
    case $name in
        _init | _fini | _edata | _end | __bss_start) continue ;;
        __asan_* | __odr_asan* | __ubsan_* | __lsan_* | __sanitizer_* | __gcov_*) continue ;;
    esac
    leaked+=("$dname")
done < <(paste <(printf '%s\n' "$raw") <(printf '%s\n' "$demangled"))

status=0
for line in "${!listed[@]}"; do
    if [ -z "${seen[$line]+x}" ]; then
        echo "not exported: $line (listed in ${listed[$line]})"
        status=1
    fi
done
for s in "${leaked[@]+"${leaked[@]}"}"; do
    echo "not listed: $s"
    status=1
done
echo "${#listed[@]} listed symbols, $exported exported functions and objects checked in $(basename "$lib")"
exit $status
