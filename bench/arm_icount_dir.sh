# Sourced by the benchmark scripts: sets `icount` to the arm-icount tool
# directory (count.c, roi.h): $ARM_ICOUNT_DIR, else shared/tools/arm-icount
# beside this checkout or beside the main checkout of its repository; empty
# when none is found.
icount=${ARM_ICOUNT_DIR:-}
if [ -z "$icount" ]; then
  common=$(git rev-parse --path-format=absolute --git-common-dir 2>/dev/null || echo "$PWD/.git")
  for d in "$PWD/../shared/tools/arm-icount" "$(dirname "$common")/../shared/tools/arm-icount"; do
    if [ -f "$d/count.c" ]; then icount=$(cd "$d" && pwd); break; fi
  done
fi
