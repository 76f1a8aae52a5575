// Plain single-precision vector operations of AVX2 (eight lanes), shared by
// the AVX2 files. Include only from files built with AVX2 enabled; internal
// linkage, see resize_float_paths.h.
#ifndef QEVO_SRC_UTILS_FLOAT_OPS_AVX2_H
#define QEVO_SRC_UTILS_FLOAT_OPS_AVX2_H

#include <immintrin.h>

namespace qevo_simd {
namespace {

struct FloatOpsAvx2 {
    using Vec = __m256;
    static constexpr int kLanes = 8;
    static Vec load(const float *p) { return _mm256_loadu_ps(p); }
    static void store(float *p, Vec v) { _mm256_storeu_ps(p, v); }
    static Vec set1(float v) { return _mm256_set1_ps(v); }
    static Vec mul(Vec a, Vec b) { return _mm256_mul_ps(a, b); }
    static Vec add(Vec a, Vec b) { return _mm256_add_ps(a, b); }
    static Vec div(Vec a, Vec b) { return _mm256_div_ps(a, b); }
    static Vec sqrt(Vec a) { return _mm256_sqrt_ps(a); }
};

}  // namespace
}  // namespace qevo_simd

#endif  // QEVO_SRC_UTILS_FLOAT_OPS_AVX2_H
