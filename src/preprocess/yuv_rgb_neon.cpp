// Advanced SIMD (NEON) form of the colour-conversion rows: 32 pixels per
// step, with the scalar arithmetic of yuv_rgb_rows.h in 16-bit lanes:
//  - structure loads split the chroma pairs into first and second bytes and
//    the luma into even and odd pixels, so lane k of a chroma term meets the
//    luma of its two pixels 2k and 2k + 1 lane to lane;
//  - a byte minus 128 (chroma) or the byte itself (luma), widened with << 7,
//    gives exactly (c * K) >> 8 through the doubling high-half product with
//    a constant K (no saturation: the operand is at most 32640 in magnitude,
//    K below 32768, and both are never -32768);
//  - the sums stay within -10000..19000, and the saturating narrowing shift
//    by 5 is the arithmetic shift followed by the clamp.
// A zip puts the even and odd pixels of each channel back in order.
#include <arm_neon.h>

#include "yuv_rgb_rows.h"

namespace qevo_color {
namespace {

inline int16x8_t centred(uint8x8_t c) {
    return vshll_n_s8(vreinterpret_s8_u8(veor_u8(c, vdup_n_u8(0x80))), 7);
}

inline int16x8_t luma_term(uint8x8_t y, int16x8_t cy) {
    return vqdmulhq_s16(vreinterpretq_s16_u16(vshll_n_u8(y, 7)), cy);
}

// 16 bytes of one channel from luma terms (lanes 0..7, 8..15) and the
// chroma terms of the same pairs.
inline uint8x16_t channel(const int16x8_t l[2], const int16x8_t t[2]) {
    return vcombine_u8(vqshrun_n_s16(vaddq_s16(l[0], t[0]), 5),
                       vqshrun_n_s16(vaddq_s16(l[1], t[1]), 5));
}

inline float32x4_t normalised(uint16x4_t v, float32x4_t mean, float32x4_t scale) {
    return vmulq_f32(vsubq_f32(vcvtq_f32_u32(vmovl_u16(v)), mean), scale);
}

// 32 bytes to 32 floats, (v - mean) * scale.
inline void store_floats(const uint8x16x2_t &v, float32x4_t mean, float32x4_t scale, float *dst) {
    for (int h = 0; h < 2; ++h) {
        const uint16x8_t lo = vmovl_u8(vget_low_u8(v.val[h]));
        const uint16x8_t hi = vmovl_high_u8(v.val[h]);
        float *d = dst + 16 * h;
        vst1q_f32(d, normalised(vget_low_u16(lo), mean, scale));
        vst1q_f32(d + 4, normalised(vget_high_u16(lo), mean, scale));
        vst1q_f32(d + 8, normalised(vget_low_u16(hi), mean, scale));
        vst1q_f32(d + 12, normalised(vget_high_u16(hi), mean, scale));
    }
}

struct Neon {
    static constexpr int kStep = 32;

    struct Consts {
        int16x8_t cy, crv, cgu, cgv, cbu, bias;
        explicit Consts(const Coeffs &k)
            : cy(vdupq_n_s16(static_cast<short>(k.cy))),
              crv(vdupq_n_s16(static_cast<short>(k.crv))),
              cgu(vdupq_n_s16(static_cast<short>(k.cgu))),
              cgv(vdupq_n_s16(static_cast<short>(k.cgv))),
              cbu(vdupq_n_s16(static_cast<short>(k.cbu))),
              bias(vdupq_n_s16(static_cast<short>(k.bias))) {}
    };
    struct NormConsts {
        float32x4_t mean[3], scale[3];
        explicit NormConsts(const Norm &nm) {
            for (int c = 0; c < 3; ++c) {
                mean[c] = vdupq_n_f32(nm.mean[c]);
                scale[c] = vdupq_n_f32(nm.scale[c]);
            }
        }
    };
    struct Chroma {
        int16x8_t r[2], g[2], b[2];  // terms of pairs 0..7 and 8..15, bias included
    };
    struct Rgb {
        uint8x16x2_t r, g, b;  // pixels 0..15 and 16..31, in order
    };

    template <bool NV21>
    static Chroma chroma(const unsigned char *uv, const Consts &c) {
        const uint8x16x2_t pairs = vld2q_u8(uv);
        const uint8x16_t us = pairs.val[NV21 ? 1 : 0], vs = pairs.val[NV21 ? 0 : 1];
        Chroma t;
        for (int h = 0; h < 2; ++h) {
            const int16x8_t u = centred(h == 0 ? vget_low_u8(us) : vget_high_u8(us));
            const int16x8_t v = centred(h == 0 ? vget_low_u8(vs) : vget_high_u8(vs));
            t.r[h] = vaddq_s16(c.bias, vqdmulhq_s16(v, c.crv));
            t.g[h] = vsubq_s16(vsubq_s16(c.bias, vqdmulhq_s16(u, c.cgu)), vqdmulhq_s16(v, c.cgv));
            t.b[h] = vaddq_s16(c.bias, vqdmulhq_s16(u, c.cbu));
        }
        return t;
    }

    static Rgb luma(const unsigned char *y, const Chroma &t, const Consts &c) {
        const uint8x16x2_t px = vld2q_u8(y);  // even, odd pixels
        const int16x8_t le[2] = {luma_term(vget_low_u8(px.val[0]), c.cy),
                                 luma_term(vget_high_u8(px.val[0]), c.cy)};
        const int16x8_t lo[2] = {luma_term(vget_low_u8(px.val[1]), c.cy),
                                 luma_term(vget_high_u8(px.val[1]), c.cy)};
        return Rgb{vzipq_u8(channel(le, t.r), channel(lo, t.r)),
                   vzipq_u8(channel(le, t.g), channel(lo, t.g)),
                   vzipq_u8(channel(le, t.b), channel(lo, t.b))};
    }

    template <bool BGR>
    static void store_packed(const Rgb &p, unsigned char *dst) {
        for (int h = 0; h < 2; ++h) {
            uint8x16x3_t v;
            v.val[0] = BGR ? p.b.val[h] : p.r.val[h];
            v.val[1] = p.g.val[h];
            v.val[2] = BGR ? p.r.val[h] : p.b.val[h];
            vst3q_u8(dst + 48 * h, v);
        }
    }

    static void store_planar(const Rgb &p, unsigned char *r, unsigned char *g, unsigned char *b) {
        for (int h = 0; h < 2; ++h) {
            vst1q_u8(r + 16 * h, p.r.val[h]);
            vst1q_u8(g + 16 * h, p.g.val[h]);
            vst1q_u8(b + 16 * h, p.b.val[h]);
        }
    }

    static void store_float(const Rgb &p, const NormConsts &nc, float *r, float *g, float *b) {
        store_floats(p.r, nc.mean[0], nc.scale[0], r);
        store_floats(p.g, nc.mean[1], nc.scale[1], g);
        store_floats(p.b, nc.mean[2], nc.scale[2], b);
    }
};

}  // namespace

const Paths kPathsNeon = vector_paths<Neon>("neon");

}  // namespace qevo_color
