// Advanced SIMD (NEON) forms of the bilinear row functions.
//
// Horizontal pass. Each call first works out, once, where every 16-bit row
// value takes its two source bytes from and with which weights, laid out per
// eight values as the vector loop reads them (the plan). Every row value is
// then computed alike, whatever the channel count: the left and right source
// bytes of eight values are picked by a byte lookup (TBL, whose out-of-range
// indices give zero, so the bytes arrive already widened to 16 bits),
// multiplied by the per-value weights a0 and a1 into 32-bit lanes, summed and
// narrowed with >> 4. The bytes come from one of two sources:
//  - windowed: when the source bytes of every 16 consecutive values lie
//    within 16, 32, 48 or 64 bytes of the row (enlarging, and shrinking by
//    up to about 4x), one load of that window per 16 values;
//  - per pixel: otherwise, one 8-byte load per output pixel (which holds both
//    neighbours of up to 4 channels) and a lookup in eight such loads; the
//    last columns, whose 8 bytes would leave the row, follow the scalar rule.
// Everything stays in registers; the only memory traffic is the source, the
// plan and the row buffer.
//
// Vertical blend. (b * row) >> 16 is the high half of the 16x16-bit product;
// SQDMULH gives (2 * b * row) >> 16, and an arithmetic >> 1 of that is the
// same value (floors nest). It never saturates: rows are 0..32655 and weights
// 0..2048. The two halves are summed, and a rounding narrowing shift adds the
// 2 and shifts by 2 (unsigned saturation, which never engages: 2..1022 >> 2).
#include <arm_neon.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "resize_bilinear_paths.h"

namespace qevo_resize {
namespace {

// ---------------------------------------------------------------- the plan

constexpr int kBlock = 16;       // values per windowed step
constexpr int kPixels = 8;       // output pixels per per-pixel step
constexpr int kMaxWindow = 64;   // bytes one lookup can address (four registers)
constexpr uint8_t kZero = 0xFF;  // lookup index that yields 0 (the high byte of a lane)

// Tables of one call, in the plan space. A lookup pair is two index vectors
// for eight values: the left source bytes, then the right ones, each in the
// low byte of a 16-bit lane. A weight chunk holds the same eight values'
// [a0 x 8][a1 x 8].
//  - Windowed: per block of 16 values, the window's start in the row, two
//    lookup pairs (64 bytes, relative to the window) and two weight chunks.
//    The last block starts at value n - 16 and so overlaps its predecessor.
//  - Per pixel: N lookup pairs into the eight 8-byte loads of a step (the
//    same for every step), then one weight chunk per eight values.
struct Plan {
    int window;             // 16, 32, 48, 64: windowed; 0: per pixel
    int n;                  // values per row
    int steps;              // windowed: blocks; per pixel: steps of 8 pixels
    const int *base;        // windowed: start of each block's window in the row
    const uint8_t *index;   // lookup pairs (at least 128 bytes)
    const int16_t *weight;  // weight chunks
};

constexpr size_t round16(size_t v) { return (v + 15) / 16 * 16; }

// Blocks of 16 values in a row of w pixels, and room for at least two (the
// per-pixel form's lookup pairs need 128 bytes).
size_t blocks_of(int N, int w) { return (static_cast<size_t>(w) * N + kBlock - 1) / kBlock; }
size_t room_of(int N, int w) { return std::max<size_t>(blocks_of(N, w), 2); }

size_t plan_bytes(int N, int w) {
    const size_t room = room_of(N, w);
    return round16(sizeof(Plan)) + round16(sizeof(int) * room) + 64 * room + 64 * room;
}

// First value of block b; the last block ends at the last value.
inline int first_value(size_t b, int n) {
    return static_cast<int>(std::min<size_t>(b * kBlock, static_cast<size_t>(n - kBlock)));
}

// Lane `lane` of a lookup pair: left byte `left`, right byte left + N.
inline void put_index(uint8_t *pair, int lane, int left, int N) {
    pair[2 * lane] = static_cast<uint8_t>(left);
    pair[2 * lane + 1] = kZero;
    pair[16 + 2 * lane] = static_cast<uint8_t>(left + N);
    pair[16 + 2 * lane + 1] = kZero;
}

// Lane `lane` of a weight chunk: the weights of output column dx.
inline void put_weights(int16_t *chunk, int lane, const short *ialpha, size_t dx) {
    chunk[lane] = ialpha[2 * dx];
    chunk[8 + lane] = ialpha[2 * dx + 1];
}

// First and last byte of the row that values [v0, v0 + 16) read. Not
// always those of the first and last value: neighbouring output pixels can
// share their source pixels, and then channel 0 of the second one lies left
// of the first one's channel N - 1.
inline void block_span(int N, const int *xofs, int v0, int &lo, int &hi) {
    lo = xofs[v0 / N] + v0 % N;
    hi = lo + N;
    for (int v = v0 + 1; v < v0 + kBlock; ++v) {
        const int left = xofs[v / N] + v % N;
        lo = std::min(lo, left);
        hi = std::max(hi, left + N);
    }
}

void build_plan(int N, const int *xofs, const short *ialpha, int w, int src_row_bytes,
                void *space) {
    const size_t blocks = blocks_of(N, w);
    const size_t room = room_of(N, w);
    unsigned char *p = static_cast<unsigned char *>(space);
    Plan &plan = *reinterpret_cast<Plan *>(p);
    int *base = reinterpret_cast<int *>(p + round16(sizeof(Plan)));
    uint8_t *index = reinterpret_cast<uint8_t *>(base) + round16(sizeof(int) * room);
    int16_t *weight = reinterpret_cast<int16_t *>(index + 64 * room);
    const int n = w * N;
    plan = Plan{0, n, 0, base, index, weight};

    // Windowed when every block's bytes fit one window that fits the row.
    if (n >= kBlock) {
        int widest = 0;
        for (size_t b = 0; b < blocks; ++b) {
            int hi;
            block_span(N, xofs, first_value(b, n), base[b], hi);
            widest = std::max(widest, hi - base[b] + 1);
        }
        const int window = static_cast<int>(round16(widest));
        if (window <= kMaxWindow && window <= src_row_bytes) {
            plan.window = window;
            plan.steps = static_cast<int>(blocks);
            uint8_t *ix = index;
            int16_t *wt = weight;
            for (size_t b = 0; b < blocks; ++b, ix += 64, wt += 32) {
                base[b] = std::min(base[b], src_row_bytes - window);  // stays in the row
                const int v0 = first_value(b, n);
                for (int k = 0; k < kBlock; ++k) {
                    const int v = v0 + k, dx = v / N;
                    put_index(ix + 32 * (k / 8), k % 8, xofs[dx] + v % N - base[b], N);
                    put_weights(wt + 16 * (k / 8), k % 8, ialpha, dx);
                }
            }
            return;
        }
    }
    // Per pixel: pixel k of a step sits at bytes 8k..8k+7 of the lookup table.
    plan.steps = columns_in_bounds(xofs, w, src_row_bytes, 8) / kPixels;
    for (int v = 0; v < kPixels * N; ++v)
        put_index(index + 32 * (v / 8), v % 8, 8 * (v / N) + v % N, N);
    const size_t values = static_cast<size_t>(plan.steps) * kPixels * N;
    for (size_t v = 0; v < values; ++v) put_weights(weight + 16 * (v / 8), v % 8, ialpha, v / N);
}

// ---------------------------------------------------------------- horizontal

// Eight row values: (left * a0 + right * a1) >> 4 in 32-bit lanes.
inline int16x8_t weigh(uint8x16_t left, uint8x16_t right, int16x8_t a0, int16x8_t a1) {
    const int16x8_t l = vreinterpretq_s16_u8(left);
    const int16x8_t r = vreinterpretq_s16_u8(right);
    int32x4_t lo = vmull_s16(vget_low_s16(l), vget_low_s16(a0));
    lo = vmlal_s16(lo, vget_low_s16(r), vget_low_s16(a1));
    int32x4_t hi = vmull_high_s16(l, a0);
    hi = vmlal_high_s16(hi, r, a1);
    return vshrn_high_n_s32(vshrn_n_s32(lo, 4), hi, 4);
}

// The W bytes of a window in 1 to 4 registers, and a byte lookup in them.
template <int W>
inline auto load_window(const unsigned char *p) {
    if constexpr (W == 16) return vld1q_u8(p);
    if constexpr (W == 32) return vld1q_u8_x2(p);
    if constexpr (W == 48) return vld1q_u8_x3(p);
    if constexpr (W == 64) return vld1q_u8_x4(p);
}
inline uint8x16_t lookup(uint8x16_t t, uint8x16_t ix) { return vqtbl1q_u8(t, ix); }
inline uint8x16_t lookup(uint8x16x2_t t, uint8x16_t ix) { return vqtbl2q_u8(t, ix); }
inline uint8x16_t lookup(uint8x16x3_t t, uint8x16_t ix) { return vqtbl3q_u8(t, ix); }
inline uint8x16_t lookup(uint8x16x4_t t, uint8x16_t ix) { return vqtbl4q_u8(t, ix); }

// 16 values of one row from its window; `ix` and `a` are the block's tables.
template <int W>
inline void window_block(const unsigned char *S, const uint8x16x4_t &ix, const int16x8x4_t &a,
                         short *R) {
    const auto win = load_window<W>(S);
    vst1q_s16(R, weigh(lookup(win, ix.val[0]), lookup(win, ix.val[1]), a.val[0], a.val[1]));
    vst1q_s16(R + 8, weigh(lookup(win, ix.val[2]), lookup(win, ix.val[3]), a.val[2], a.val[3]));
}

// One block of NR (1 or 2) rows sharing the tables: the window starts at
// byte `base` of each row, the values go to R0, R1.
template <int W, int NR>
inline void window_blocks(const unsigned char *S0, const unsigned char *S1, int base,
                          const uint8_t *index, const int16_t *weight, short *R0, short *R1) {
    const uint8x16x4_t ix = vld1q_u8_x4(index);
    const int16x8x4_t a = vld1q_s16_x4(weight);
    window_block<W>(S0 + base, ix, a, R0);
    if (NR == 2) window_block<W>(S1 + base, ix, a, R1);
}

// Windowed pass over NR rows; the last block ends at the last value.
template <int W, int NR>
void windowed(const unsigned char *S0, const unsigned char *S1, const Plan &p, short *R0,
              short *R1) {
    const int *base = p.base;
    const uint8_t *index = p.index;
    const int16_t *weight = p.weight;
    const ptrdiff_t back = ptrdiff_t{kBlock} * p.steps - p.n;  // overlap of the last block
    for (const int *last = base + p.steps - 1; base != last;
         ++base, index += 64, weight += 32, R0 += kBlock, R1 += kBlock)
        window_blocks<W, NR>(S0, S1, *base, index, weight, R0, R1);
    window_blocks<W, NR>(S0, S1, *base, index, weight, R0 - back, R1 - back);
}

// Per-pixel pass: eight 8-byte loads per step, N vectors of eight values.
template <int N>
void per_pixel(const unsigned char *S, const int *xofs, const short *ialpha, int w, const Plan &p,
               short *R) {
    const uint8x16x4_t ix0 = vld1q_u8_x4(p.index);
    const uint8x16x4_t ix1 = vld1q_u8_x4(p.index + 64);
    const uint8x16_t ix[8] = {ix0.val[0], ix0.val[1], ix0.val[2], ix0.val[3],
                              ix1.val[0], ix1.val[1], ix1.val[2], ix1.val[3]};
    const int16_t *wt = p.weight;
    const int *o = xofs;
    for (const int *end = xofs + kPixels * p.steps; o != end;
         o += kPixels, wt += 16 * N, R += 8 * N) {
        uint8x16x4_t t;
        t.val[0] = vcombine_u8(vld1_u8(S + o[0]), vld1_u8(S + o[1]));
        t.val[1] = vcombine_u8(vld1_u8(S + o[2]), vld1_u8(S + o[3]));
        t.val[2] = vcombine_u8(vld1_u8(S + o[4]), vld1_u8(S + o[5]));
        t.val[3] = vcombine_u8(vld1_u8(S + o[6]), vld1_u8(S + o[7]));
        for (int j = 0; j < N; ++j)
            vst1q_s16(R + 8 * j, weigh(vqtbl4q_u8(t, ix[2 * j]), vqtbl4q_u8(t, ix[2 * j + 1]),
                                       vld1q_s16(wt + 16 * j), vld1q_s16(wt + 16 * j + 8)));
    }
    const int done = static_cast<int>(o - xofs);
    fill_row_range<N>(S, xofs, ialpha, done, w, R - done * N);
}

// NR (1 or 2) rows in the form the plan chose.
template <int N, int NR>
void rows(const unsigned char *S0, const unsigned char *S1, const int *xofs, const short *ialpha,
          int w, short *R0, short *R1, const void *plan) {
    const Plan &p = *static_cast<const Plan *>(plan);
    switch (p.window) {
        case 16:
            return windowed<16, NR>(S0, S1, p, R0, R1);
        case 32:
            return windowed<32, NR>(S0, S1, p, R0, R1);
        case 48:
            return windowed<48, NR>(S0, S1, p, R0, R1);
        case 64:
            return windowed<64, NR>(S0, S1, p, R0, R1);
        default:
            per_pixel<N>(S0, xofs, ialpha, w, p, R0);
            if (NR == 2) per_pixel<N>(S1, xofs, ialpha, w, p, R1);
    }
}

template <int N>
void row(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R,
         const void *plan) {
    rows<N, 1>(S, S, xofs, ialpha, w, R, R, plan);
}

template <int N>
void two_rows(const unsigned char *S0, const unsigned char *S1, int, const int *xofs,
              const short *ialpha, int w, short *R0, short *R1, const void *plan) {
    rows<N, 2>(S0, S1, xofs, ialpha, w, R0, R1, plan);
}

// ---------------------------------------------------------------- vertical

// Eight output bytes: ((row0 * b0) >> 16) + ((row1 * b1) >> 16), then + 2 and >> 2.
inline int16x8_t blend8(int16x8_t r0, int16x8_t r1, int16x8_t B0, int16x8_t B1) {
    return vsraq_n_s16(vshrq_n_s16(vqdmulhq_s16(r0, B0), 1), vqdmulhq_s16(r1, B1), 1);
}

inline uint8x16_t blend16(const short *r0, const short *r1, int16x8_t B0, int16x8_t B1) {
    const int16x8x2_t a = vld1q_s16_x2(r0);
    const int16x8x2_t b = vld1q_s16_x2(r1);
    return vqrshrun_high_n_s16(vqrshrun_n_s16(blend8(a.val[0], b.val[0], B0, B1), 2),
                               blend8(a.val[1], b.val[1], B0, B1), 2);
}

void blend(const short *rows0, const short *rows1, int b0, int b1, int n, unsigned char *Dp) {
    if (n < 16) {
        blend_range(rows0, rows1, b0, b1, 0, n, Dp);
        return;
    }
    const int16x8_t B0 = vdupq_n_s16(static_cast<short>(b0));
    const int16x8_t B1 = vdupq_n_s16(static_cast<short>(b1));
    int i = 0;
    for (; i + 32 <= n; i += 32) {
        const int16x8x4_t a = vld1q_s16_x4(rows0 + i);
        const int16x8x4_t b = vld1q_s16_x4(rows1 + i);
        vst1q_u8(Dp + i, vqrshrun_high_n_s16(vqrshrun_n_s16(blend8(a.val[0], b.val[0], B0, B1), 2),
                                             blend8(a.val[1], b.val[1], B0, B1), 2));
        vst1q_u8(Dp + i + 16,
                 vqrshrun_high_n_s16(vqrshrun_n_s16(blend8(a.val[2], b.val[2], B0, B1), 2),
                                     blend8(a.val[3], b.val[3], B0, B1), 2));
    }
    if (i + 16 <= n) {
        vst1q_u8(Dp + i, blend16(rows0 + i, rows1 + i, B0, B1));
        i += 16;
    }
    if (i < n) {
        // Last block overlaps the previous one; it rewrites the same bytes.
        i = n - 16;
        vst1q_u8(Dp + i, blend16(rows0 + i, rows1 + i, B0, B1));
    }
}

// ---------------------------------------------------------------- exact 2:1

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
                          {row<1>, row<2>, row<3>, row<4>},
                          blend,
                          {halve<1>, halve<2>, nullptr, halve<4>},
                          {two_rows<1>, two_rows<2>, two_rows<3>, two_rows<4>},
                          plan_bytes,
                          build_plan};

}  // namespace qevo_resize
