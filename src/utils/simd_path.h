// Choice of the vector code path, shared by every module with vector kernels.
//
// The environment variable QEVO_SIMD, read at every call, forces a path:
//   QEVO_SIMD=scalar | sse41 | avx2 | neon
// Unset, empty, unknown, or naming a path this CPU cannot run: the best path
// the CPU runs (AVX2, then SSE4.1, then scalar on x86-64; NEON on aarch64).
#ifndef QEVO_SRC_UTILS_SIMD_PATH_H
#define QEVO_SRC_UTILS_SIMD_PATH_H

namespace qevo_internal {

enum class SimdPath { Scalar, Sse41, Avx2, Neon };

SimdPath chosen_simd_path();

}  // namespace qevo_internal

#endif  // QEVO_SRC_UTILS_SIMD_PATH_H
