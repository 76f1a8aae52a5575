// Advanced SIMD (NEON) forms of the colour-conversion rows, 16 pixels per
// step, with the scalar arithmetic of yuv_rgb_rows.h in 16-bit lanes:
//  - a structure load splits the chroma pairs into first and second bytes;
//    minus 128 and widened with << 7, the doubling high-half product with a
//    constant K is exactly (c * K) >> 8 (it never saturates: |c << 7| is at
//    most 16384 and K below 32768);
//  - the luma byte widened with << 7 gives (Y * CY) >> 8 the same way;
//  - the sums stay within -10000..19000, and the saturating narrowing shift
//    by 5 is the arithmetic shift followed by the clamp.
// The last step of a row of 16 pixels or more overlaps the previous one and
// rewrites the same values; shorter rows use the scalar functions.
#include <arm_neon.h>

#include "yuv_rgb_rows.h"

namespace qevo_color {
namespace {

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

// Chroma bytes minus 128, shifted left by 7.
inline int16x8_t centred(uint8x8_t c) {
    return vshll_n_s8(vreinterpret_s8_u8(veor_u8(c, vdup_n_u8(0x80))), 7);
}

// Luma (8 pixels) plus a chroma term per pair (4 pairs), narrowed.
inline uint8x8_t channel(int16x8_t luma, int16x8_t term_pairs) {
    return vqshrun_n_s16(vaddq_s16(luma, term_pairs), 5);
}

inline uint8x16_t channel16(int16x8_t l0, int16x8_t l1, int16x8_t t) {
    return vcombine_u8(channel(l0, vzip1q_s16(t, t)), channel(l1, vzip2q_s16(t, t)));
}

template <bool NV21>
inline uint8x16x3_t convert16(const unsigned char *y, const unsigned char *uv, const Consts &c) {
    const uint8x8x2_t pairs = vld2_u8(uv);
    const int16x8_t u = centred(pairs.val[NV21 ? 1 : 0]);
    const int16x8_t v = centred(pairs.val[NV21 ? 0 : 1]);
    const int16x8_t tr = vaddq_s16(c.bias, vqdmulhq_s16(v, c.crv));
    const int16x8_t tg =
        vsubq_s16(vsubq_s16(c.bias, vqdmulhq_s16(u, c.cgu)), vqdmulhq_s16(v, c.cgv));
    const int16x8_t tb = vaddq_s16(c.bias, vqdmulhq_s16(u, c.cbu));

    const uint8x16_t luma = vld1q_u8(y);
    const int16x8_t l0 =
        vqdmulhq_s16(vreinterpretq_s16_u16(vshll_n_u8(vget_low_u8(luma), 7)), c.cy);
    const int16x8_t l1 = vqdmulhq_s16(vreinterpretq_s16_u16(vshll_high_n_u8(luma, 7)), c.cy);
    uint8x16x3_t out;
    out.val[0] = channel16(l0, l1, tr);
    out.val[1] = channel16(l0, l1, tg);
    out.val[2] = channel16(l0, l1, tb);
    return out;
}

template <typename Step>
inline bool for_steps(int n, Step step) {
    if (n < 16) return false;
    int x = 0;
    for (; x + 16 <= n; x += 16) step(x);
    if (x < n) step(n - 16);
    return true;
}

template <bool NV21, bool BGR>
void packed_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *dst) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        uint8x16x3_t p = convert16<NV21>(y + x, uv + x, c);
        if (BGR) {
            const uint8x16_t t = p.val[0];
            p.val[0] = p.val[2];
            p.val[2] = t;
        }
        vst3q_u8(dst + 3 * x, p);
    });
    if (!done) packed_range<NV21, BGR>(y, uv, 0, n, k, dst);
}

template <bool NV21>
void planar_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *r, unsigned char *g, unsigned char *b) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const uint8x16x3_t p = convert16<NV21>(y + x, uv + x, c);
        vst1q_u8(r + x, p.val[0]);
        vst1q_u8(g + x, p.val[1]);
        vst1q_u8(b + x, p.val[2]);
    });
    if (!done) planar_range<NV21>(y, uv, 0, n, k, r, g, b);
}

inline float32x4_t normalised(uint16x4_t v, float32x4_t mean, float32x4_t scale) {
    return vmulq_f32(vsubq_f32(vcvtq_f32_u32(vmovl_u16(v)), mean), scale);
}

// 16 bytes to 16 floats, (v - mean) * scale.
inline void store_floats(uint8x16_t v, float32x4_t mean, float32x4_t scale, float *dst) {
    const uint16x8_t lo = vmovl_u8(vget_low_u8(v));
    const uint16x8_t hi = vmovl_high_u8(v);
    vst1q_f32(dst, normalised(vget_low_u16(lo), mean, scale));
    vst1q_f32(dst + 4, normalised(vget_high_u16(lo), mean, scale));
    vst1q_f32(dst + 8, normalised(vget_low_u16(hi), mean, scale));
    vst1q_f32(dst + 12, normalised(vget_high_u16(hi), mean, scale));
}

template <bool NV21>
void float_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
               const Norm &nm, float *r, float *g, float *b) {
    const Consts c(k);
    const float32x4_t mr = vdupq_n_f32(nm.mean[0]), mg = vdupq_n_f32(nm.mean[1]),
                      mb = vdupq_n_f32(nm.mean[2]);
    const float32x4_t sr = vdupq_n_f32(nm.scale[0]), sg = vdupq_n_f32(nm.scale[1]),
                      sb = vdupq_n_f32(nm.scale[2]);
    const bool done = for_steps(n, [&](int x) {
        const uint8x16x3_t p = convert16<NV21>(y + x, uv + x, c);
        store_floats(p.val[0], mr, sr, r + x);
        store_floats(p.val[1], mg, sg, g + x);
        store_floats(p.val[2], mb, sb, b + x);
    });
    if (!done) float_range<NV21>(y, uv, 0, n, k, nm, r, g, b);
}

}  // namespace

const Paths kPathsNeon = {"neon",
                          {{packed_row<false, false>, packed_row<false, true>},
                           {packed_row<true, false>, packed_row<true, true>}},
                          {planar_row<false>, planar_row<true>},
                          {float_row<false>, float_row<true>}};

}  // namespace qevo_color
