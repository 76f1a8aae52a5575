// SSE4.1 forms of the colour-conversion rows, 16 pixels per step, with the
// scalar arithmetic of yuv_rgb_rows.h in 16-bit lanes:
//  - chroma bytes minus 128 land in the high byte of a 16-bit lane, so the
//    signed high-half product with a constant is exactly (c * K) >> 8;
//  - a luma byte in the high byte of an unsigned lane gives (Y * CY) >> 8
//    the same way with the unsigned high-half product;
//  - the sums stay within -10000..19000 (no 16-bit overflow), >> 5 is an
//    arithmetic shift and the unsigned saturating narrowing is the clamp.
// The last step of a row of 16 pixels or more overlaps the previous one and
// rewrites the same values; shorter rows use the scalar functions.
#include <smmintrin.h>

#include "yuv_rgb_rows.h"

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
    __m128i r, g, b;  // 16 bytes each
};

inline __m128i narrow(__m128i lo, __m128i hi) {
    return _mm_packus_epi16(_mm_srai_epi16(lo, 5), _mm_srai_epi16(hi, 5));
}

// Pixels x .. x + 15.
template <bool NV21>
inline Rgb convert16(const unsigned char *y, const unsigned char *uv, const Consts &c) {
    const __m128i pairs = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(uv)),
                                        _mm_set1_epi8(static_cast<char>(0x80)));
    const __m128i first = _mm_slli_epi16(pairs, 8);
    const __m128i second = _mm_and_si128(pairs, _mm_set1_epi16(static_cast<short>(0xFF00)));
    const __m128i u = NV21 ? second : first;
    const __m128i v = NV21 ? first : second;
    const __m128i tr = _mm_add_epi16(c.bias, _mm_mulhi_epi16(v, c.crv));
    const __m128i tg =
        _mm_sub_epi16(_mm_sub_epi16(c.bias, _mm_mulhi_epi16(u, c.cgu)), _mm_mulhi_epi16(v, c.cgv));
    const __m128i tb = _mm_add_epi16(c.bias, _mm_mulhi_epi16(u, c.cbu));

    const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i *>(y));
    const __m128i zero = _mm_setzero_si128();
    const __m128i l0 = _mm_mulhi_epu16(_mm_unpacklo_epi8(zero, luma), c.cy);
    const __m128i l1 = _mm_mulhi_epu16(_mm_unpackhi_epi8(zero, luma), c.cy);
    Rgb out;
    out.r = narrow(_mm_add_epi16(l0, _mm_unpacklo_epi16(tr, tr)),
                   _mm_add_epi16(l1, _mm_unpackhi_epi16(tr, tr)));
    out.g = narrow(_mm_add_epi16(l0, _mm_unpacklo_epi16(tg, tg)),
                   _mm_add_epi16(l1, _mm_unpackhi_epi16(tg, tg)));
    out.b = narrow(_mm_add_epi16(l0, _mm_unpacklo_epi16(tb, tb)),
                   _mm_add_epi16(l1, _mm_unpackhi_epi16(tb, tb)));
    return out;
}

// Byte shuffle that places channel `ch` of 16 pixels into 16-byte block
// `block` of their 48 interleaved bytes (zero elsewhere).
inline __m128i interleave_mask(int block, int ch) {
    alignas(16) signed char m[16];
    for (int j = 0; j < 16; ++j) {
        const int i = 16 * block + j;
        m[j] = static_cast<signed char>(i % 3 == ch ? i / 3 : -1);
    }
    return _mm_load_si128(reinterpret_cast<const __m128i *>(m));
}

struct Interleave {
    __m128i m[3][3];  // [block][channel]
    Interleave() {
        for (int b = 0; b < 3; ++b)
            for (int ch = 0; ch < 3; ++ch) m[b][ch] = interleave_mask(b, ch);
    }
    void store(const __m128i c0, const __m128i c1, const __m128i c2, unsigned char *dst) const {
        for (int b = 0; b < 3; ++b) {
            const __m128i v = _mm_or_si128(
                _mm_or_si128(_mm_shuffle_epi8(c0, m[b][0]), _mm_shuffle_epi8(c1, m[b][1])),
                _mm_shuffle_epi8(c2, m[b][2]));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + 16 * b), v);
        }
    }
};

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
void packed_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *dst) {
    const Consts c(k);
    const Interleave il;
    const bool done = for_steps(n, [&](int x) {
        const Rgb p = convert16<NV21>(y + x, uv + x, c);
        il.store(BGR ? p.b : p.r, p.g, BGR ? p.r : p.b, dst + 3 * x);
    });
    if (!done) packed_range<NV21, BGR>(y, uv, 0, n, k, dst);
}

template <bool NV21>
void planar_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *r, unsigned char *g, unsigned char *b) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const Rgb p = convert16<NV21>(y + x, uv + x, c);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(r + x), p.r);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(g + x), p.g);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(b + x), p.b);
    });
    if (!done) planar_range<NV21>(y, uv, 0, n, k, r, g, b);
}

// 16 bytes to 16 floats, (v - mean) * scale.
inline void store_floats(__m128i v, __m128 mean, __m128 scale, float *dst) {
    for (int q = 0; q < 4; ++q) {
        const __m128 f = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(v));
        _mm_storeu_ps(dst + 4 * q, _mm_mul_ps(_mm_sub_ps(f, mean), scale));
        v = _mm_srli_si128(v, 4);
    }
}

template <bool NV21>
void float_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
               const Norm &nm, float *r, float *g, float *b) {
    const Consts c(k);
    const __m128 mr = _mm_set1_ps(nm.mean[0]), mg = _mm_set1_ps(nm.mean[1]),
                 mb = _mm_set1_ps(nm.mean[2]);
    const __m128 sr = _mm_set1_ps(nm.scale[0]), sg = _mm_set1_ps(nm.scale[1]),
                 sb = _mm_set1_ps(nm.scale[2]);
    const bool done = for_steps(n, [&](int x) {
        const Rgb p = convert16<NV21>(y + x, uv + x, c);
        store_floats(p.r, mr, sr, r + x);
        store_floats(p.g, mg, sg, g + x);
        store_floats(p.b, mb, sb, b + x);
    });
    if (!done) float_range<NV21>(y, uv, 0, n, k, nm, r, g, b);
}

}  // namespace

const Paths kPathsSse41 = {"sse41",
                           {{packed_row<false, false>, packed_row<false, true>},
                            {packed_row<true, false>, packed_row<true, true>}},
                           {planar_row<false>, planar_row<true>},
                           {float_row<false>, float_row<true>}};

}  // namespace qevo_color
