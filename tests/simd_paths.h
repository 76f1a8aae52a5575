// The vector paths a test can force through QEVO_SIMD on this machine.
#ifndef QEVO_TESTS_SIMD_PATHS_H
#define QEVO_TESTS_SIMD_PATHS_H

#include <cstdlib>
#include <ostream>
#include <vector>

namespace qevo_test {

struct SimdPath {
    const char *name;
    bool available;
};
inline void PrintTo(const SimdPath &p, std::ostream *os) { *os << p.name; }

inline std::vector<SimdPath> vector_paths() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    return {{"sse41", __builtin_cpu_supports("sse4.1") != 0},
            {"avx2", __builtin_cpu_supports("avx2") != 0}};
#elif defined(__aarch64__)
    return {{"neon", true}};
#else
    return {};
#endif
}

// Runs f() once with QEVO_SIMD=scalar and once with `path` (the library reads
// the variable at every call).
template <typename F>
void scalar_then(const char *path, F f) {
    setenv("QEVO_SIMD", "scalar", 1);
    f(true);
    setenv("QEVO_SIMD", path, 1);
    f(false);
    unsetenv("QEVO_SIMD");
}

}  // namespace qevo_test

#endif  // QEVO_TESTS_SIMD_PATHS_H
