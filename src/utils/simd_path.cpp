#include "utils/simd_path.h"

#include <cstdlib>
#include <cstring>

namespace qevo_internal {

SimdPath chosen_simd_path() {
    const char *want = std::getenv("QEVO_SIMD");
    if (want != nullptr && std::strcmp(want, "scalar") == 0) return SimdPath::Scalar;
#if defined(__x86_64__) || defined(_M_X64)
    __builtin_cpu_init();
    const bool has_avx2 = __builtin_cpu_supports("avx2");
    const bool has_sse41 = __builtin_cpu_supports("sse4.1");
    if (want != nullptr && std::strcmp(want, "sse41") == 0 && has_sse41) return SimdPath::Sse41;
    if (has_avx2) return SimdPath::Avx2;
    if (has_sse41) return SimdPath::Sse41;
    return SimdPath::Scalar;
#elif defined(__aarch64__)
    return SimdPath::Neon;
#else
    return SimdPath::Scalar;
#endif
}

}  // namespace qevo_internal
