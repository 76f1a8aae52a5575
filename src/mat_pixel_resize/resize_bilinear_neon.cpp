// Advanced SIMD (NEON) forms of the bilinear row functions. Eight output
// pixels per step: structure lane loads fetch exactly the 2N bytes of each
// pixel pair and de-interleave them into per-channel vectors; each channel is
// then S_left * a0 + S_right * a1 in 32-bit lanes, >> 4 and narrowed, and an
// interleaving store writes the N channels back. The vertical blend takes the
// high half of each 32-bit product ((b * row) >> 16), adds the two halves and
// 2, and narrows with >> 2 and unsigned saturation, which never engages.
#include <arm_neon.h>

#include "resize_bilinear_paths.h"

namespace qevo_resize {
namespace {

inline int16x8_t weigh(uint8x8_t left, uint8x8_t right, int16x8_t a0, int16x8_t a1) {
    const int16x8_t l = vreinterpretq_s16_u16(vmovl_u8(left));
    const int16x8_t r = vreinterpretq_s16_u16(vmovl_u8(right));
    int32x4_t lo = vmull_s16(vget_low_s16(l), vget_low_s16(a0));
    lo = vmlal_s16(lo, vget_low_s16(r), vget_low_s16(a1));
    int32x4_t hi = vmull_high_s16(l, a0);
    hi = vmlal_high_s16(hi, r, a1);
    return vcombine_s16(vshrn_n_s32(lo, 4), vshrn_n_s32(hi, 4));
}

#define QEVO_EIGHT_LANES(OP) OP(0) OP(1) OP(2) OP(3) OP(4) OP(5) OP(6) OP(7)

void row_c1(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R) {
    int dx = 0;
    for (; dx + 8 <= w; dx += 8) {
        const int *o = xofs + dx;
        uint8x8x2_t p = {{vdup_n_u8(0), vdup_n_u8(0)}};
#define LOAD(k) p = vld2_lane_u8(S + o[k], p, k);
        QEVO_EIGHT_LANES(LOAD)
#undef LOAD
        const int16x8x2_t a = vld2q_s16(ialpha + 2 * dx);
        vst1q_s16(R + dx, weigh(p.val[0], p.val[1], a.val[0], a.val[1]));
    }
    fill_row_range<1>(S, xofs, ialpha, dx, w, R);
}

void row_c2(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R) {
    int dx = 0;
    for (; dx + 8 <= w; dx += 8) {
        const int *o = xofs + dx;
        uint8x8x4_t p = {{vdup_n_u8(0), vdup_n_u8(0), vdup_n_u8(0), vdup_n_u8(0)}};
#define LOAD(k) p = vld4_lane_u8(S + o[k], p, k);
        QEVO_EIGHT_LANES(LOAD)
#undef LOAD
        const int16x8x2_t a = vld2q_s16(ialpha + 2 * dx);
        int16x8x2_t out;
        out.val[0] = weigh(p.val[0], p.val[2], a.val[0], a.val[1]);
        out.val[1] = weigh(p.val[1], p.val[3], a.val[0], a.val[1]);
        vst2q_s16(R + 2 * dx, out);
    }
    fill_row_range<2>(S, xofs, ialpha, dx, w, R);
}

void row_c3(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R) {
    int dx = 0;
    for (; dx + 8 <= w; dx += 8) {
        const int *o = xofs + dx;
        uint8x8x3_t l = {{vdup_n_u8(0), vdup_n_u8(0), vdup_n_u8(0)}};
        uint8x8x3_t r = l;
#define LOAD(k)                       \
    l = vld3_lane_u8(S + o[k], l, k); \
    r = vld3_lane_u8(S + o[k] + 3, r, k);
        QEVO_EIGHT_LANES(LOAD)
#undef LOAD
        const int16x8x2_t a = vld2q_s16(ialpha + 2 * dx);
        int16x8x3_t out;
        for (int c = 0; c < 3; ++c) out.val[c] = weigh(l.val[c], r.val[c], a.val[0], a.val[1]);
        vst3q_s16(R + 3 * dx, out);
    }
    fill_row_range<3>(S, xofs, ialpha, dx, w, R);
}

void row_c4(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R) {
    int dx = 0;
    for (; dx + 8 <= w; dx += 8) {
        const int *o = xofs + dx;
        uint8x8x4_t l = {{vdup_n_u8(0), vdup_n_u8(0), vdup_n_u8(0), vdup_n_u8(0)}};
        uint8x8x4_t r = l;
#define LOAD(k)                       \
    l = vld4_lane_u8(S + o[k], l, k); \
    r = vld4_lane_u8(S + o[k] + 4, r, k);
        QEVO_EIGHT_LANES(LOAD)
#undef LOAD
        const int16x8x2_t a = vld2q_s16(ialpha + 2 * dx);
        int16x8x4_t out;
        for (int c = 0; c < 4; ++c) out.val[c] = weigh(l.val[c], r.val[c], a.val[0], a.val[1]);
        vst4q_s16(R + 4 * dx, out);
    }
    fill_row_range<4>(S, xofs, ialpha, dx, w, R);
}

#undef QEVO_EIGHT_LANES

inline int16x8_t high_product(int16x8_t row, int16x8_t b) {
    return vcombine_s16(vshrn_n_s32(vmull_s16(vget_low_s16(row), vget_low_s16(b)), 16),
                        vshrn_n_s32(vmull_high_s16(row, b), 16));
}

inline uint8x16_t blend16(const short *r0, const short *r1, int16x8_t B0, int16x8_t B1,
                          int16x8_t two) {
    const int16x8_t s0 =
        vaddq_s16(vaddq_s16(high_product(vld1q_s16(r0), B0), high_product(vld1q_s16(r1), B1)), two);
    const int16x8_t s1 = vaddq_s16(
        vaddq_s16(high_product(vld1q_s16(r0 + 8), B0), high_product(vld1q_s16(r1 + 8), B1)), two);
    return vcombine_u8(vqshrun_n_s16(s0, 2), vqshrun_n_s16(s1, 2));
}

void blend(const short *rows0, const short *rows1, int b0, int b1, int n, unsigned char *Dp) {
    if (n < 16) {
        blend_range(rows0, rows1, b0, b1, 0, n, Dp);
        return;
    }
    const int16x8_t B0 = vdupq_n_s16(static_cast<short>(b0));
    const int16x8_t B1 = vdupq_n_s16(static_cast<short>(b1));
    const int16x8_t two = vdupq_n_s16(2);
    int i = 0;
    for (; i + 16 <= n; i += 16) vst1q_u8(Dp + i, blend16(rows0 + i, rows1 + i, B0, B1, two));
    if (i < n) {
        // Last block overlaps the previous one; it rewrites the same bytes.
        i = n - 16;
        vst1q_u8(Dp + i, blend16(rows0 + i, rows1 + i, B0, B1, two));
    }
}

// 32 source bytes split into the left (val[0]) and right (val[1]) pixel of
// each output pixel, 16 bytes each, channels in order.
template <int N>
inline uint8x16x2_t split_pairs(const unsigned char *p) {
    if (N == 2) {
        const uint16x8x2_t t = vld2q_u16(reinterpret_cast<const uint16_t *>(p));
        return {{vreinterpretq_u8_u16(t.val[0]), vreinterpretq_u8_u16(t.val[1])}};
    }
    if (N == 4) {
        const uint32x4x2_t t = vld2q_u32(reinterpret_cast<const uint32_t *>(p));
        return {{vreinterpretq_u8_u32(t.val[0]), vreinterpretq_u8_u32(t.val[1])}};
    }
    return vld2q_u8(p);
}

// Exact 2:1 shrink: (a + b + c + d + 2) >> 2 per output byte; the rounding
// narrowing shift adds the 2.
template <int N>
void halve(const unsigned char *src, int srcstride, unsigned char *dst, int w, int h, int stride) {
    const int n = w * N;
    for (int dy = 0; dy < h; ++dy) {
        const unsigned char *A = src + static_cast<size_t>(srcstride) * (2 * dy);
        const unsigned char *B = A + srcstride;
        unsigned char *Dp = dst + static_cast<size_t>(stride) * dy;
        int i = 0;
        for (; i + 16 <= n; i += 16) {
            const uint8x16x2_t a = split_pairs<N>(A + 2 * i);
            const uint8x16x2_t b = split_pairs<N>(B + 2 * i);
            const uint16x8_t lo = vaddq_u16(vaddl_u8(vget_low_u8(a.val[0]), vget_low_u8(a.val[1])),
                                            vaddl_u8(vget_low_u8(b.val[0]), vget_low_u8(b.val[1])));
            const uint16x8_t hi =
                vaddq_u16(vaddl_high_u8(a.val[0], a.val[1]), vaddl_high_u8(b.val[0], b.val[1]));
            vst1q_u8(Dp + i, vcombine_u8(vrshrn_n_u16(lo, 2), vrshrn_n_u16(hi, 2)));
        }
        halve_range<N>(A, B, i, n, Dp);
    }
}

}  // namespace

const Paths kPathsNeon = {"neon",
                          {row_c1, row_c2, row_c3, row_c4},
                          blend,
                          {halve<1>, halve<2>, nullptr, halve<4>},
                          {nullptr, nullptr, nullptr, nullptr}};

}  // namespace qevo_resize
