// Plain single-precision vector operations of SSE (four lanes), shared by the
// SSE4.1 files. Include only from files built with SSE4.1 enabled; internal
// linkage, see resize_float_paths.h.
#ifndef QEVO_SRC_UTILS_FLOAT_OPS_SSE41_H
#define QEVO_SRC_UTILS_FLOAT_OPS_SSE41_H

#include <smmintrin.h>

namespace qevo_simd {
namespace {

struct FloatOpsSse41 {
    using Vec = __m128;
    static constexpr int kLanes = 4;
    static Vec load(const float *p) { return _mm_loadu_ps(p); }
    static void store(float *p, Vec v) { _mm_storeu_ps(p, v); }
    static Vec set1(float v) { return _mm_set1_ps(v); }
    static Vec mul(Vec a, Vec b) { return _mm_mul_ps(a, b); }
    static Vec add(Vec a, Vec b) { return _mm_add_ps(a, b); }
    static Vec div(Vec a, Vec b) { return _mm_div_ps(a, b); }
    static Vec sqrt(Vec a) { return _mm_sqrt_ps(a); }
};

}  // namespace
}  // namespace qevo_simd

#endif  // QEVO_SRC_UTILS_FLOAT_OPS_SSE41_H
