// Advanced SIMD (NEON) forms of the float plane resizes, four output columns
// per step. The taps of a group come from a window of up to four registers of
// source values through one table lookup (TBL) over the window's bytes.
// Products and sums are those of the scalar
// code, lane by lane (separate multiplies and adds, no fused forms).
#include <arm_neon.h>

#include "resize_float_paths.h"
#include "utils/float_ops_neon.h"

namespace qevo_simd {
namespace {

struct TakeNeon {
    // The byte positions of each lane's value within the window.
    static constexpr size_t kTapBytes = 16;

    static void encode_tap(unsigned char *idx, int k, int pos, int) {
        for (int b = 0; b < 4; ++b) idx[4 * k + b] = static_cast<unsigned char>(4 * pos + b);
    }
    // The four values at the encoded positions of the window of R registers
    // at w.
    template <int R>
    static float32x4_t take(const float *w, const unsigned char *idx) {
        const uint8_t *b = reinterpret_cast<const uint8_t *>(w);
        if (R == 1) return vreinterpretq_f32_u8(vqtbl1q_u8(vld1q_u8(b), vld1q_u8(idx)));
        if (R == 2) return vreinterpretq_f32_u8(vqtbl2q_u8(vld1q_u8_x2(b), vld1q_u8(idx)));
        if (R == 3) return vreinterpretq_f32_u8(vqtbl3q_u8(vld1q_u8_x3(b), vld1q_u8(idx)));
        return vreinterpretq_f32_u8(vqtbl4q_u8(vld1q_u8_x4(b), vld1q_u8(idx)));
    }
};

using OpsNeon = LookupOps<FloatOpsNeon, TakeNeon>;

}  // namespace

const FloatResizePaths kFloatResizeNeon = {"neon", bilinear_planes<OpsNeon>,
                                           nearest_planes<OpsNeon>};

}  // namespace qevo_simd
