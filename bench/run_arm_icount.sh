#!/usr/bin/env bash
# Counts executed aarch64 instructions per call of this library (NEON path and
# scalar path) and of its peers (Debian's arm64 OpenCV and libyuv) on the same
# inputs, under qemu-aarch64 with the arm-icount plugin, and writes the table
# to its section of bench/RESULTS.md.
#   bench/run_arm_icount.sh [PATTERN]
# With a PATTERN (a grep -E expression on the case names) only the matching
# cases run and the table goes to standard output alone.
# The arm-icount tool (count.c, roi.h) is taken from $ARM_ICOUNT_DIR, else
# from shared/tools/arm-icount beside the main checkout.
# Missing Debian packages are installed first, the arm64 peers included
# (which adds the arm64 architecture to dpkg when it is missing).
set -euo pipefail
cd "$(dirname "$0")/.."
pattern=${1:-}

source bench/arm_icount_dir.sh
if [ -z "$icount" ] || [ ! -f "$icount/count.c" ] || [ ! -f "$icount/roi.h" ]; then
  echo "arm-icount tool not found: set ARM_ICOUNT_DIR to the directory holding count.c and roi.h" >&2
  exit 1
fi

bash scripts/deps.sh cmake make gcc g++-aarch64-linux-gnu qemu-user libopencv-dev libyuv-dev
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO dpkg --add-architecture arm64
fi
bash scripts/deps.sh libopencv-core406:arm64 libopencv-imgproc406:arm64 libopencv-dnn406:arm64 \
  libyuv0:arm64

peerlib=/usr/lib/aarch64-linux-gnu
sysroot=/usr/aarch64-linux-gnu
dir=build-arm-icount
cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake \
  -DCMAKE_BUILD_TYPE=Release -DQEVO_BUILD_TESTS=OFF -DQEVO_BUILD_APPS=OFF \
  -DQEVO_BUILD_ARM_ICOUNT=ON -DQEVO_ARM_ICOUNT_DIR="$icount" -DQEVO_PEER_LIBDIR="$peerlib" \
  >/dev/null
cmake --build "$dir" -j "$(nproc 2>/dev/null || echo 2)" --target arm_icount
gcc -O2 -shared -fPIC -fvisibility=hidden -o "$dir/libcount.so" "$icount/count.c"
gcc -O2 -shared -fPIC -fvisibility=hidden -I"$icount" -o "$dir/liblines.so" bench/arm/lines.c

# The cross toolchain's libraries first, so that the host's arm64 libc (listed
# in the loader cache once arm64 packages are installed) is never loaded.
guest=(qemu-aarch64 -L "$sysroot" -E "LD_LIBRARY_PATH=$sysroot/lib:$peerlib")
prog="$dir/bench/arm/arm_icount"

# run CASE SIDE [QEMU-ARGS...]: prints "insns_per_call vector_share out_bytes".
run() {
  local name=$1 side=$2; shift 2
  local counts="$dir/counts.txt" out
  rm -f "$counts"
  out=$(env -u QEVO_SIMD "${guest[@]}" "$@" -plugin "$dir/libcount.so,out=$counts" \
    "$prog" "$name" "$side")
  awk -v out="$out" '
    { for (i = 1; i <= NF; ++i) { split($i, kv, "="); v[kv[1]] = kv[2] } }
    END {
      split(out, o, /[= ]/); calls = o[2]; bytes = o[4]
      if (v["roi_regions"] != 1 || calls < 1) { print "bad count" > "/dev/stderr"; exit 1 }
      printf "%.0f %.3f %d\n", v["roi_insns"] / calls,
             (v["roi_simd_vec"] + v["roi_simd_ldst"]) / v["roi_insns"], bytes
    }' "$counts"
}

# lines CASE SIDE: prints "read_kb write_kb", the distinct cache lines one call
# reads and writes (the traffic of a call on uncached data), in KB.
lines() {
  local name=$1 side=$2 counts="$dir/lines.txt"
  rm -f "$counts"
  env -u QEVO_SIMD "${guest[@]}" -plugin "$dir/liblines.so,out=$counts" "$prog" "$name" "$side" 1 \
    >/dev/null
  awk '{ for (i = 1; i <= NF; ++i) { split($i, kv, "="); v[kv[1]] = kv[2] } }
       END { printf "%.0f %.0f\n", v["read_lines"] * 64 / 1024, v["write_lines"] * 64 / 1024 }' \
    "$counts"
}

table=$(mktemp)
{
  echo "| case | peer | NEON insns/call | scalar insns/call | peer insns/call | peer/NEON | scalar/NEON | NEON insns/output byte | peer insns/output byte | NEON vector share | peer vector share | ours KB read / written | peer KB read / written |"
  echo "|---|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|"
} > "$table"
while IFS=$'\t' read -r name peer; do
  if [ -n "$pattern" ] && ! grep -qE -- "$pattern" <<<"$name"; then continue; fi
  echo "counting: $name" >&2
  read -r ours ours_vec bytes < <(run "$name" ours)
  read -r scalar _ _ < <(run "$name" ours -E QEVO_SIMD=scalar)
  read -r theirs theirs_vec _ < <(run "$name" peer)
  read -r our_read our_write < <(lines "$name" ours)
  read -r peer_read peer_write < <(lines "$name" peer)
  awk -v n="$name" -v p="$peer" -v o="$ours" -v s="$scalar" -v t="$theirs" -v b="$bytes" \
    -v ov="$ours_vec" -v tv="$theirs_vec" -v orr="$our_read" -v ow="$our_write" \
    -v pr="$peer_read" -v pw="$peer_write" 'BEGIN {
      printf "| %s | %s | %d | %d | %d | %.2f | %.2f | %.2f | %.2f | %.0f%% | %.0f%% | %d / %d | %d / %d |\n",
             n, p, o, s, t, t / o, s / o, o / b, t / b, 100 * ov, 100 * tv, orr, ow, pr, pw }' >> "$table"
done < <("${guest[@]}" "$prog" --list)

if [ -n "$pattern" ]; then
  cat "$table"
  rm -f "$table"
  exit 0
fi

cpu=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')
versions=$(dpkg-query -W -f='${Package} ${Version}; ' libopencv-imgproc406:arm64 libyuv0:arm64)
{
  echo "## aarch64: executed instructions against OpenCV and libyuv"
  echo
  echo "Produced by \`bench/run_arm_icount.sh\` on $(date -u '+%Y-%m-%d %H:%M UTC')."
  echo
  echo "- Source: commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown)."
  echo "- Executed aarch64 instructions per call, counted by the arm-icount qemu plugin."
  echo "  The counts are deterministic; they ignore memory stalls, dual issue and the"
  echo "  different cost of instructions, so read them as a proxy for time on an in-order core."
  echo "- Emulator: $(qemu-aarch64 --version | head -1), default CPU model;"
  echo "  host CPU: ${cpu:-unknown}."
  echo "- Each count: one warm-up call outside the counted region, then 3 calls inside"
  echo "  it, divided by 3. One case and one side per process."
  echo "- Ours: $(aarch64-linux-gnu-g++ --version | head -1), Release (-O3 -DNDEBUG)."
  echo "  NEON is the default path on aarch64; scalar is the same call with \`QEVO_SIMD=scalar\`."
  echo "- Peers: Debian's arm64 builds, single-threaded (\`cv::setNumThreads(1)\`):"
  echo "  ${versions%; }."
  echo "- peer/NEON above 1 means this library executes fewer instructions. Vector share:"
  echo "  Advanced SIMD data-processing and load/store instructions over all counted ones."
  echo "- KB read / written: the distinct 64-byte lines one call loads from and stores to"
  echo "  (\`bench/arm/lines.c\`, a qemu plugin with a memory callback), the traffic of a"
  echo "  call on a frame that is in no cache; a peer's intermediate buffers count as touched."
  echo
  cat "$table"
} > "$table.md"
bash bench/results_section.sh aarch64 "$table.md"
rm -f "$table" "$table.md"
