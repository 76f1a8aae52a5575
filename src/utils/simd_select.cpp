#include "utils/simd_select.h"

#include <cstdlib>
#include <cstring>

namespace qevo_simd {

Isa chosen_isa() {
    const char *want = std::getenv("QEVO_SIMD");
    if (want != nullptr && std::strcmp(want, "scalar") == 0) return Isa::scalar;
#if defined(__x86_64__) || defined(_M_X64)
    __builtin_cpu_init();
    const bool has_sse41 = __builtin_cpu_supports("sse4.1");
    if (want != nullptr && std::strcmp(want, "sse41") == 0 && has_sse41) return Isa::sse41;
    if (__builtin_cpu_supports("avx2")) return Isa::avx2;
    return has_sse41 ? Isa::sse41 : Isa::scalar;
#elif defined(__aarch64__)
    return Isa::neon;
#else
    return Isa::scalar;
#endif
}

}  // namespace qevo_simd
