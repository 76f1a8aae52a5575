// Choice of the vector code path, shared by every module with vector kernels.
//
// The environment variable QEVO_SIMD, read at every call, forces a path:
//   QEVO_SIMD=scalar | sse41 | avx2 | neon
// Unset, empty, unknown, or naming a path this CPU cannot run: the best path
// the CPU runs (AVX2, then SSE4.1, then scalar on x86-64; NEON on aarch64).
#ifndef QEVO_SRC_UTILS_SIMD_PATH_H
#define QEVO_SRC_UTILS_SIMD_PATH_H

#include <type_traits>

namespace qevo_internal {

enum class SimdPath { Scalar, Sse41, Avx2, Neon };

SimdPath chosen_simd_path();

// A module's table of code paths for the chosen path: `scalar`, or the vector
// table for that path when the module has one (a null pointer: it has none).
// (The pointers take the type from `scalar`, so a null pointer is accepted.)
template <typename Table>
const Table &chosen_table(const Table &scalar, const std::common_type_t<Table> *sse41,
                          const std::common_type_t<Table> *avx2,
                          const std::common_type_t<Table> *neon) {
    const Table *t = nullptr;
    switch (chosen_simd_path()) {
        case SimdPath::Sse41:
            t = sse41;
            break;
        case SimdPath::Avx2:
            t = avx2;
            break;
        case SimdPath::Neon:
            t = neon;
            break;
        default:
            break;
    }
    return t != nullptr ? *t : scalar;
}

}  // namespace qevo_internal

// A module with vector code names its tables of code paths kPathsScalar,
// kPathsSse41, kPathsAvx2 and kPathsNeon. QEVO_DECLARE_VECTOR_TABLES(Table)
// declares those that exist on the architecture being built, and
// QEVO_VECTOR_TABLES gives them (null for the others) as the last three
// arguments of chosen_table.
#if defined(__x86_64__) || defined(_M_X64)
#define QEVO_DECLARE_VECTOR_TABLES(Table) \
    extern const Table kPathsSse41;       \
    extern const Table kPathsAvx2
#define QEVO_VECTOR_TABLES &kPathsSse41, &kPathsAvx2, nullptr
#elif defined(__aarch64__)
#define QEVO_DECLARE_VECTOR_TABLES(Table) extern const Table kPathsNeon
#define QEVO_VECTOR_TABLES nullptr, nullptr, &kPathsNeon
#else
#define QEVO_DECLARE_VECTOR_TABLES(Table) static_assert(true, "")
#define QEVO_VECTOR_TABLES nullptr, nullptr, nullptr
#endif

#endif  // QEVO_SRC_UTILS_SIMD_PATH_H
