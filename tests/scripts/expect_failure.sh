#!/usr/bin/env bash
# Runs a command that must fail (non-zero exit) and print a line matching a
# pattern.
#
#   expect_failure.sh PATTERN COMMAND [ARGS...]
pattern=$1
shift
out=$("$@" 2>&1)
status=$?
printf '%s\n' "$out" | tail -n 20
if [ $status -eq 0 ]; then
    echo "expected a failure, got exit status 0"
    exit 1
fi
if ! grep -Eq -- "$pattern" <<<"$out"; then
    echo "exit status $status, but no line matches: $pattern"
    exit 1
fi
echo "failed as expected (exit status $status)"
