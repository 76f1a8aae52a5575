// SSE4.1 forms of the colour-conversion rows: 16 pixels of two rows per
// step, with the scalar arithmetic of yuv_rgb_rows.h in 16-bit lanes and the
// chroma terms worked out once for both rows:
//  - 16-bit lane k holds chroma pair k, and the luma of its two pixels 2k
//    and 2k + 1 in two further registers (even and odd pixels), so a chroma
//    term meets its luma lane to lane, with no duplication;
//  - chroma bytes minus 128 land in the high byte of a 16-bit lane, so the
//    signed high-half product with a constant is exactly (c * K) >> 8;
//  - a luma byte in the high byte of an unsigned lane gives (Y * CY) >> 8
//    the same way with the unsigned high-half product;
//  - the sums stay within -10000..19000 (no 16-bit overflow), >> 5 is an
//    arithmetic shift and the unsigned saturating narrowing is the clamp.
// A channel's 16 bytes come out as the 8 even pixels, then the 8 odd ones;
// the interleaving shuffles read them from there, the planar stores put them
// back in order first.
// The last step of a row of 16 pixels or more overlaps the previous one and
// rewrites the same values; shorter rows use the scalar functions.
#include <smmintrin.h>

#include "yuv_rgb_rows.h"
#include "yuv_rgb_x86.h"

namespace qevo_color {
namespace {

struct Consts {
    __m128i cy, crv, cgu, cgv, cbu, bias;
    explicit Consts(const Coeffs &k)
        : cy(_mm_set1_epi16(static_cast<short>(k.cy))),
          crv(_mm_set1_epi16(static_cast<short>(k.crv))),
          cgu(_mm_set1_epi16(static_cast<short>(k.cgu))),
          cgv(_mm_set1_epi16(static_cast<short>(k.cgv))),
          cbu(_mm_set1_epi16(static_cast<short>(k.cbu))),
          bias(_mm_set1_epi16(static_cast<short>(k.bias))) {}
};

struct Rgb {
    __m128i r, g, b;  // 16 bytes each: even pixels, then odd pixels
};

inline __m128i narrow(__m128i even, __m128i odd) {
    return _mm_packus_epi16(_mm_srai_epi16(even, 5), _mm_srai_epi16(odd, 5));
}

// Chroma terms (bias included) of 8 pairs, one per 16-bit lane.
struct Chroma {
    __m128i r, g, b;
};

template <bool NV21>
inline Chroma chroma8(const unsigned char *uv, const Consts &c) {
    const __m128i pairs = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(uv)),
                                        _mm_set1_epi8(static_cast<char>(0x80)));
    const __m128i first = _mm_slli_epi16(pairs, 8);
    const __m128i second = _mm_and_si128(pairs, _mm_set1_epi16(static_cast<short>(0xFF00)));
    const __m128i u = NV21 ? second : first;
    const __m128i v = NV21 ? first : second;
    return Chroma{
        _mm_add_epi16(c.bias, _mm_mulhi_epi16(v, c.crv)),
        _mm_sub_epi16(_mm_sub_epi16(c.bias, _mm_mulhi_epi16(u, c.cgu)), _mm_mulhi_epi16(v, c.cgv)),
        _mm_add_epi16(c.bias, _mm_mulhi_epi16(u, c.cbu))};
}

// 16 pixels of luma with the terms of their 8 pairs.
inline Rgb luma16(const unsigned char *y, const Chroma &t, const Consts &c) {
    const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i *>(y));
    const __m128i le = _mm_mulhi_epu16(_mm_slli_epi16(luma, 8), c.cy);
    const __m128i lo =
        _mm_mulhi_epu16(_mm_and_si128(luma, _mm_set1_epi16(static_cast<short>(0xFF00))), c.cy);
    return Rgb{narrow(_mm_add_epi16(le, t.r), _mm_add_epi16(lo, t.r)),
               narrow(_mm_add_epi16(le, t.g), _mm_add_epi16(lo, t.g)),
               narrow(_mm_add_epi16(le, t.b), _mm_add_epi16(lo, t.b))};
}

inline __m128i table(const signed char *t) {
    return _mm_load_si128(reinterpret_cast<const __m128i *>(t));
}

// Stores 16 pixels as 48 interleaved bytes, channels c0, c1, c2.
inline void store_interleaved(__m128i c0, __m128i c1, __m128i c2, unsigned char *dst) {
    for (int b = 0; b < 3; ++b) {
        const auto &m = kShuffles.interleave[b];
        const __m128i v = _mm_or_si128(
            _mm_or_si128(_mm_shuffle_epi8(c0, table(m[0])), _mm_shuffle_epi8(c1, table(m[1]))),
            _mm_shuffle_epi8(c2, table(m[2])));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + 16 * b), v);
    }
}

inline __m128i in_order(__m128i v) { return _mm_shuffle_epi8(v, table(kShuffles.in_order)); }

// Runs `step(x)` for x = 0, 16, ... and a last step at n - 16 that overlaps;
// false when the row is shorter than one step.
template <typename Step>
inline bool for_steps(int n, Step step) {
    if (n < 16) return false;
    int x = 0;
    for (; x + 16 <= n; x += 16) step(x);
    if (x < n) step(n - 16);
    return true;
}

template <bool NV21, bool BGR>
void packed_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                 const Coeffs &k, unsigned char *dst, ptrdiff_t out_next) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const Chroma t = chroma8<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) {
            const Rgb p = luma16(y + row * y_next + x, t, c);
            store_interleaved(BGR ? p.b : p.r, p.g, BGR ? p.r : p.b, dst + row * out_next + 3 * x);
        }
    });
    if (done) return;
    for (int row = 0; row < 2; ++row)
        packed_range<NV21, BGR>(y + row * y_next, uv, 0, n, k, dst + row * out_next);
}

inline void store(unsigned char *p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(p), in_order(v));
}

template <bool NV21>
void planar_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                 const Coeffs &k, unsigned char *r, unsigned char *g, unsigned char *b,
                 ptrdiff_t out_next) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const Chroma t = chroma8<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) {
            const Rgb p = luma16(y + row * y_next + x, t, c);
            const ptrdiff_t o = row * out_next + x;
            store(r + o, p.r);
            store(g + o, p.g);
            store(b + o, p.b);
        }
    });
    if (done) return;
    for (int row = 0; row < 2; ++row) {
        const ptrdiff_t o = row * out_next;
        planar_range<NV21>(y + row * y_next, uv, 0, n, k, r + o, g + o, b + o);
    }
}

// 16 bytes to 16 floats in pixel order, (v - mean) * scale.
inline void store_floats(__m128i v, __m128 mean, __m128 scale, float *dst) {
    v = in_order(v);
    for (int q = 0; q < 4; ++q) {
        const __m128 f = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(v));
        _mm_storeu_ps(dst + 4 * q, _mm_mul_ps(_mm_sub_ps(f, mean), scale));
        v = _mm_srli_si128(v, 4);
    }
}

template <bool NV21>
void float_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                const Coeffs &k, const Norm &nm, float *r, float *g, float *b, ptrdiff_t out_next) {
    const Consts c(k);
    const __m128 mr = _mm_set1_ps(nm.mean[0]), mg = _mm_set1_ps(nm.mean[1]),
                 mb = _mm_set1_ps(nm.mean[2]);
    const __m128 sr = _mm_set1_ps(nm.scale[0]), sg = _mm_set1_ps(nm.scale[1]),
                 sb = _mm_set1_ps(nm.scale[2]);
    const bool done = for_steps(n, [&](int x) {
        const Chroma t = chroma8<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) {
            const Rgb p = luma16(y + row * y_next + x, t, c);
            const ptrdiff_t o = row * out_next + x;
            store_floats(p.r, mr, sr, r + o);
            store_floats(p.g, mg, sg, g + o);
            store_floats(p.b, mb, sb, b + o);
        }
    });
    if (done) return;
    for (int row = 0; row < 2; ++row) {
        const ptrdiff_t o = row * out_next;
        float_range<NV21>(y + row * y_next, uv, 0, n, k, nm, r + o, g + o, b + o);
    }
}

}  // namespace

const Paths kPathsSse41 = {"sse41",
                           {{packed_rows<false, false>, packed_rows<false, true>},
                            {packed_rows<true, false>, packed_rows<true, true>}},
                           {planar_rows<false>, planar_rows<true>},
                           {float_rows<false>, float_rows<true>}};

}  // namespace qevo_color
