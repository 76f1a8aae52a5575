// Plain single-precision vector operations of Advanced SIMD (four lanes),
// shared by the NEON files; separate multiplies and adds, never the fused
// forms. Internal linkage, see resize_float_paths.h.
#ifndef QEVO_SRC_UTILS_FLOAT_OPS_NEON_H
#define QEVO_SRC_UTILS_FLOAT_OPS_NEON_H

#include <arm_neon.h>

namespace qevo_simd {
namespace {

struct FloatOpsNeon {
    using Vec = float32x4_t;
    static constexpr int kLanes = 4;
    static Vec load(const float *p) { return vld1q_f32(p); }
    static void store(float *p, Vec v) { vst1q_f32(p, v); }
    static Vec set1(float v) { return vdupq_n_f32(v); }
    static Vec mul(Vec a, Vec b) { return vmulq_f32(a, b); }
    static Vec add(Vec a, Vec b) { return vaddq_f32(a, b); }
    static Vec div(Vec a, Vec b) { return vdivq_f32(a, b); }
    static Vec sqrt(Vec a) { return vsqrtq_f32(a); }
};

}  // namespace
}  // namespace qevo_simd

#endif  // QEVO_SRC_UTILS_FLOAT_OPS_NEON_H
