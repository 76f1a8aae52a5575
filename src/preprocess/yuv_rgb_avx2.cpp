// AVX2 forms of the colour-conversion rows: the arithmetic and the even/odd
// arrangement of the SSE4.1 forms (see yuv_rgb_sse41.cpp) on 32 pixels of
// two rows per step. Each 128-bit half of a register holds 16 consecutive
// pixels and their 8 chroma pairs, and the narrowing and byte shuffles work
// within halves, so each half is the SSE4.1 step; only the interleaved store
// exchanges halves. Rows shorter than 32 pixels use the scalar functions;
// the last step of a longer row overlaps the previous one and rewrites the
// same values.
#include <immintrin.h>

#include "yuv_rgb_rows.h"
#include "yuv_rgb_x86.h"

namespace qevo_color {
namespace {

inline __m256i load256(const void *p) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(p));
}
inline void store256(void *p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }

struct Consts {
    __m256i cy, crv, cgu, cgv, cbu, bias;
    explicit Consts(const Coeffs &k)
        : cy(_mm256_set1_epi16(static_cast<short>(k.cy))),
          crv(_mm256_set1_epi16(static_cast<short>(k.crv))),
          cgu(_mm256_set1_epi16(static_cast<short>(k.cgu))),
          cgv(_mm256_set1_epi16(static_cast<short>(k.cgv))),
          cbu(_mm256_set1_epi16(static_cast<short>(k.cbu))),
          bias(_mm256_set1_epi16(static_cast<short>(k.bias))) {}
};

struct Rgb {
    __m256i r, g, b;  // per half: 8 even pixels, then 8 odd pixels
};

inline __m256i narrow(__m256i even, __m256i odd) {
    return _mm256_packus_epi16(_mm256_srai_epi16(even, 5), _mm256_srai_epi16(odd, 5));
}

// Chroma terms (bias included) of 16 pairs, one per 16-bit lane.
struct Chroma {
    __m256i r, g, b;
};

template <bool NV21>
inline Chroma chroma16(const unsigned char *uv, const Consts &c) {
    const __m256i pairs = _mm256_xor_si256(load256(uv), _mm256_set1_epi8(static_cast<char>(0x80)));
    const __m256i first = _mm256_slli_epi16(pairs, 8);
    const __m256i second = _mm256_and_si256(pairs, _mm256_set1_epi16(static_cast<short>(0xFF00)));
    const __m256i u = NV21 ? second : first;
    const __m256i v = NV21 ? first : second;
    return Chroma{_mm256_add_epi16(c.bias, _mm256_mulhi_epi16(v, c.crv)),
                  _mm256_sub_epi16(_mm256_sub_epi16(c.bias, _mm256_mulhi_epi16(u, c.cgu)),
                                   _mm256_mulhi_epi16(v, c.cgv)),
                  _mm256_add_epi16(c.bias, _mm256_mulhi_epi16(u, c.cbu))};
}

// 32 pixels of luma with the terms of their 16 pairs.
inline Rgb luma32(const unsigned char *y, const Chroma &t, const Consts &c) {
    const __m256i luma = load256(y);
    const __m256i le = _mm256_mulhi_epu16(_mm256_slli_epi16(luma, 8), c.cy);
    const __m256i lo = _mm256_mulhi_epu16(
        _mm256_and_si256(luma, _mm256_set1_epi16(static_cast<short>(0xFF00))), c.cy);
    return Rgb{narrow(_mm256_add_epi16(le, t.r), _mm256_add_epi16(lo, t.r)),
               narrow(_mm256_add_epi16(le, t.g), _mm256_add_epi16(lo, t.g)),
               narrow(_mm256_add_epi16(le, t.b), _mm256_add_epi16(lo, t.b))};
}

inline __m256i table(const signed char *t) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(t)));
}

// Stores 32 pixels as 96 interleaved bytes, channels c0, c1, c2. Block b of
// the low half is bytes 16b .. 16b + 15, of the high half 48 + 16b ...
inline void store_interleaved(__m256i c0, __m256i c1, __m256i c2, unsigned char *dst) {
    __m256i v[3];
    for (int b = 0; b < 3; ++b) {
        const auto &m = kShuffles.interleave[b];
        v[b] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(c0, table(m[0])),
                                               _mm256_shuffle_epi8(c1, table(m[1]))),
                               _mm256_shuffle_epi8(c2, table(m[2])));
    }
    store256(dst, _mm256_permute2x128_si256(v[0], v[1], 0x20));
    store256(dst + 32, _mm256_permute2x128_si256(v[2], v[0], 0x30));
    store256(dst + 64, _mm256_permute2x128_si256(v[1], v[2], 0x31));
}

inline __m256i in_order(__m256i v) { return _mm256_shuffle_epi8(v, table(kShuffles.in_order)); }

template <typename Step>
inline bool for_steps(int n, Step step) {
    if (n < 32) return false;
    int x = 0;
    for (; x + 32 <= n; x += 32) step(x);
    if (x < n) step(n - 32);
    return true;
}

template <bool NV21, bool BGR>
void packed_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                 const Coeffs &k, unsigned char *dst, ptrdiff_t out_next) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const Chroma t = chroma16<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) {
            const Rgb p = luma32(y + row * y_next + x, t, c);
            store_interleaved(BGR ? p.b : p.r, p.g, BGR ? p.r : p.b, dst + row * out_next + 3 * x);
        }
    });
    if (done) return;
    for (int row = 0; row < 2; ++row)
        packed_range<NV21, BGR>(y + row * y_next, uv, 0, n, k, dst + row * out_next);
}

template <bool NV21>
void planar_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                 const Coeffs &k, unsigned char *r, unsigned char *g, unsigned char *b,
                 ptrdiff_t out_next) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const Chroma t = chroma16<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) {
            const Rgb p = luma32(y + row * y_next + x, t, c);
            const ptrdiff_t o = row * out_next + x;
            store256(r + o, in_order(p.r));
            store256(g + o, in_order(p.g));
            store256(b + o, in_order(p.b));
        }
    });
    if (done) return;
    for (int row = 0; row < 2; ++row) {
        const ptrdiff_t o = row * out_next;
        planar_range<NV21>(y + row * y_next, uv, 0, n, k, r + o, g + o, b + o);
    }
}

// 32 bytes to 32 floats in pixel order, (v - mean) * scale.
inline void store_floats(__m256i v, __m256 mean, __m256 scale, float *dst) {
    v = in_order(v);
    const __m128i halves[2] = {_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)};
    for (int h = 0; h < 2; ++h) {
        for (int q = 0; q < 2; ++q) {
            const __m128i bytes = q == 0 ? halves[h] : _mm_srli_si128(halves[h], 8);
            const __m256 f = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes));
            _mm256_storeu_ps(dst + 16 * h + 8 * q, _mm256_mul_ps(_mm256_sub_ps(f, mean), scale));
        }
    }
}

template <bool NV21>
void float_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                const Coeffs &k, const Norm &nm, float *r, float *g, float *b, ptrdiff_t out_next) {
    const Consts c(k);
    const __m256 mr = _mm256_set1_ps(nm.mean[0]), mg = _mm256_set1_ps(nm.mean[1]),
                 mb = _mm256_set1_ps(nm.mean[2]);
    const __m256 sr = _mm256_set1_ps(nm.scale[0]), sg = _mm256_set1_ps(nm.scale[1]),
                 sb = _mm256_set1_ps(nm.scale[2]);
    const bool done = for_steps(n, [&](int x) {
        const Chroma t = chroma16<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) {
            const Rgb p = luma32(y + row * y_next + x, t, c);
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

const Paths kPathsAvx2 = {"avx2",
                          {{packed_rows<false, false>, packed_rows<false, true>},
                           {packed_rows<true, false>, packed_rows<true, true>}},
                          {planar_rows<false>, planar_rows<true>},
                          {float_rows<false>, float_rows<true>}};

}  // namespace qevo_color
