// Advanced SIMD (NEON) forms of the float plane resizes, four output columns
// per step. The taps of a group come from a window of up to four registers of
// source values through one table lookup (TBL) over the window's bytes, or
// lane by lane when no window fits. Products and sums are those of the scalar
// code, lane by lane (separate multiplies and adds, no fused forms).
#include <arm_neon.h>

#include <cstring>

#include "resize_float_paths.h"
#include "utils/float_ops_neon.h"

namespace qevo_simd {
namespace {

struct TakeNeon {
    // The byte positions of each lane's value within the window, or four
    // absolute positions.
    static constexpr size_t kTapBytes = 16;

    static void encode_tap(unsigned char *idx, int k, int pos, int regs) {
        if (regs == 0) {
            std::memcpy(idx + 4 * k, &pos, sizeof pos);
            return;
        }
        for (int b = 0; b < 4; ++b) idx[4 * k + b] = static_cast<unsigned char>(4 * pos + b);
    }
    // The four values at the encoded positions of the window at w (the row,
    // absolute positions, for R = 0).
    template <int R>
    static float32x4_t take(const float *w, const unsigned char *idx) {
        const uint8_t *b = reinterpret_cast<const uint8_t *>(w);
        if (R == 1) return vreinterpretq_f32_u8(vqtbl1q_u8(vld1q_u8(b), vld1q_u8(idx)));
        if (R == 2) return vreinterpretq_f32_u8(vqtbl2q_u8(vld1q_u8_x2(b), vld1q_u8(idx)));
        if (R == 3) return vreinterpretq_f32_u8(vqtbl3q_u8(vld1q_u8_x3(b), vld1q_u8(idx)));
        if (R == 4) return vreinterpretq_f32_u8(vqtbl4q_u8(vld1q_u8_x4(b), vld1q_u8(idx)));
        int i[4];
        std::memcpy(i, idx, sizeof i);
        float32x4_t v = vdupq_n_f32(w[i[0]]);
        v = vsetq_lane_f32(w[i[1]], v, 1);
        v = vsetq_lane_f32(w[i[2]], v, 2);
        return vsetq_lane_f32(w[i[3]], v, 3);
    }
};

using OpsNeon = LookupOps<FloatOpsNeon, TakeNeon>;

}  // namespace

const FloatResizePaths kFloatResizeNeon = {"neon", bilinear_plane<OpsNeon>,
                                           nearest_planes<OpsNeon>};

}  // namespace qevo_simd
