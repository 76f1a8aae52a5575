// Choice of the instruction set that the vector forms of the frame-path
// operations use (float and tensor resizes, norms and addition, pixel-buffer
// re-layout and fills).
//
// Every operation has a scalar definition; a vector form writes exactly the
// same bytes. The best form the CPU runs is taken unless the environment
// variable QEVO_SIMD names another one: "scalar", "sse41", "avx2" (x86-64) or
// "neon" (aarch64). A name the CPU cannot run, or an unknown one, means the
// best available form. The variable is read at every call, so a caller picks
// the table once per operation and passes it down.
#ifndef QEVO_SRC_UTILS_SIMD_SELECT_H
#define QEVO_SRC_UTILS_SIMD_SELECT_H

namespace qevo_simd {

enum class Isa { scalar, sse41, avx2, neon };

Isa chosen_isa();

// The table of the chosen instruction set, from those this architecture has;
// null selects the scalar code.
#if defined(__x86_64__) || defined(_M_X64)
template <typename T>
const T *pick(const T *sse41, const T *avx2) {
    const Isa isa = chosen_isa();
    return isa == Isa::avx2 ? avx2 : isa == Isa::sse41 ? sse41 : nullptr;
}
#elif defined(__aarch64__)
template <typename T>
const T *pick(const T *neon) {
    return chosen_isa() == Isa::neon ? neon : nullptr;
}
#endif

}  // namespace qevo_simd

// A family of vector forms is one table per instruction set, named by a
// prefix and the set: kFooSse41 and kFooAvx2 on x86-64, kFooNeon on aarch64.
// QEVO_SIMD_TABLES(Type, kFoo) declares those of this architecture, and
// QEVO_SIMD_PICK(kFoo) is the chosen one (null for the scalar code).
#if defined(__x86_64__) || defined(_M_X64)
#define QEVO_SIMD_TABLES(Type, prefix) extern const Type prefix##Sse41, prefix##Avx2
#define QEVO_SIMD_PICK(prefix) ::qevo_simd::pick(&prefix##Sse41, &prefix##Avx2)
#elif defined(__aarch64__)
#define QEVO_SIMD_TABLES(Type, prefix) extern const Type prefix##Neon
#define QEVO_SIMD_PICK(prefix) ::qevo_simd::pick(&prefix##Neon)
#else
#define QEVO_SIMD_TABLES(Type, prefix) static_assert(true, "no vector forms")
#define QEVO_SIMD_PICK(prefix) nullptr
#endif

#endif  // QEVO_SRC_UTILS_SIMD_SELECT_H
