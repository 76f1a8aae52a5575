// AVX2 forms of the colour-conversion rows: the arithmetic of the SSE4.1
// forms (see yuv_rgb_sse41.cpp) on 32 pixels per step. Each 128-bit half of
// a register holds 16 consecutive pixels and their 8 chroma pairs, so the
// unpacking and narrowing, which work within halves, keep the pixel order;
// only the interleaved store exchanges halves. Rows shorter than 32 pixels
// use the scalar functions; the last step of a longer row overlaps the
// previous one and rewrites the same values.
#include <immintrin.h>

#include "yuv_rgb_rows.h"

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
    __m256i r, g, b;  // 32 bytes each, pixel order
};

inline __m256i narrow(__m256i lo, __m256i hi) {
    return _mm256_packus_epi16(_mm256_srai_epi16(lo, 5), _mm256_srai_epi16(hi, 5));
}

template <bool NV21>
inline Rgb convert32(const unsigned char *y, const unsigned char *uv, const Consts &c) {
    const __m256i pairs = _mm256_xor_si256(load256(uv), _mm256_set1_epi8(static_cast<char>(0x80)));
    const __m256i first = _mm256_slli_epi16(pairs, 8);
    const __m256i second = _mm256_and_si256(pairs, _mm256_set1_epi16(static_cast<short>(0xFF00)));
    const __m256i u = NV21 ? second : first;
    const __m256i v = NV21 ? first : second;
    const __m256i tr = _mm256_add_epi16(c.bias, _mm256_mulhi_epi16(v, c.crv));
    const __m256i tg = _mm256_sub_epi16(_mm256_sub_epi16(c.bias, _mm256_mulhi_epi16(u, c.cgu)),
                                        _mm256_mulhi_epi16(v, c.cgv));
    const __m256i tb = _mm256_add_epi16(c.bias, _mm256_mulhi_epi16(u, c.cbu));

    const __m256i luma = load256(y);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i l0 = _mm256_mulhi_epu16(_mm256_unpacklo_epi8(zero, luma), c.cy);
    const __m256i l1 = _mm256_mulhi_epu16(_mm256_unpackhi_epi8(zero, luma), c.cy);
    Rgb out;
    out.r = narrow(_mm256_add_epi16(l0, _mm256_unpacklo_epi16(tr, tr)),
                   _mm256_add_epi16(l1, _mm256_unpackhi_epi16(tr, tr)));
    out.g = narrow(_mm256_add_epi16(l0, _mm256_unpacklo_epi16(tg, tg)),
                   _mm256_add_epi16(l1, _mm256_unpackhi_epi16(tg, tg)));
    out.b = narrow(_mm256_add_epi16(l0, _mm256_unpacklo_epi16(tb, tb)),
                   _mm256_add_epi16(l1, _mm256_unpackhi_epi16(tb, tb)));
    return out;
}

// Byte shuffle placing channel `ch` of 16 pixels into 16-byte block `block`
// of their 48 interleaved bytes, the same in both halves.
inline __m256i interleave_mask(int block, int ch) {
    alignas(16) signed char m[16];
    for (int j = 0; j < 16; ++j) {
        const int i = 16 * block + j;
        m[j] = static_cast<signed char>(i % 3 == ch ? i / 3 : -1);
    }
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(m)));
}

struct Interleave {
    __m256i m[3][3];  // [block][channel]
    Interleave() {
        for (int b = 0; b < 3; ++b)
            for (int ch = 0; ch < 3; ++ch) m[b][ch] = interleave_mask(b, ch);
    }
    // 96 bytes: block b of the low half is bytes 16b.., of the high half 48 + 16b..
    void store(__m256i c0, __m256i c1, __m256i c2, unsigned char *dst) const {
        __m256i v[3];
        for (int b = 0; b < 3; ++b)
            v[b] = _mm256_or_si256(
                _mm256_or_si256(_mm256_shuffle_epi8(c0, m[b][0]), _mm256_shuffle_epi8(c1, m[b][1])),
                _mm256_shuffle_epi8(c2, m[b][2]));
        store256(dst, _mm256_permute2x128_si256(v[0], v[1], 0x20));
        store256(dst + 32, _mm256_permute2x128_si256(v[2], v[0], 0x30));
        store256(dst + 64, _mm256_permute2x128_si256(v[1], v[2], 0x31));
    }
};

template <typename Step>
inline bool for_steps(int n, Step step) {
    if (n < 32) return false;
    int x = 0;
    for (; x + 32 <= n; x += 32) step(x);
    if (x < n) step(n - 32);
    return true;
}

template <bool NV21, bool BGR>
void packed_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *dst) {
    const Consts c(k);
    const Interleave il;
    const bool done = for_steps(n, [&](int x) {
        const Rgb p = convert32<NV21>(y + x, uv + x, c);
        il.store(BGR ? p.b : p.r, p.g, BGR ? p.r : p.b, dst + 3 * x);
    });
    if (!done) packed_range<NV21, BGR>(y, uv, 0, n, k, dst);
}

template <bool NV21>
void planar_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *r, unsigned char *g, unsigned char *b) {
    const Consts c(k);
    const bool done = for_steps(n, [&](int x) {
        const Rgb p = convert32<NV21>(y + x, uv + x, c);
        store256(r + x, p.r);
        store256(g + x, p.g);
        store256(b + x, p.b);
    });
    if (!done) planar_range<NV21>(y, uv, 0, n, k, r, g, b);
}

// 32 bytes to 32 floats, (v - mean) * scale.
inline void store_floats(__m256i v, __m256 mean, __m256 scale, float *dst) {
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
void float_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
               const Norm &nm, float *r, float *g, float *b) {
    const Consts c(k);
    const __m256 mr = _mm256_set1_ps(nm.mean[0]), mg = _mm256_set1_ps(nm.mean[1]),
                 mb = _mm256_set1_ps(nm.mean[2]);
    const __m256 sr = _mm256_set1_ps(nm.scale[0]), sg = _mm256_set1_ps(nm.scale[1]),
                 sb = _mm256_set1_ps(nm.scale[2]);
    const bool done = for_steps(n, [&](int x) {
        const Rgb p = convert32<NV21>(y + x, uv + x, c);
        store_floats(p.r, mr, sr, r + x);
        store_floats(p.g, mg, sg, g + x);
        store_floats(p.b, mb, sb, b + x);
    });
    if (!done) float_range<NV21>(y, uv, 0, n, k, nm, r, g, b);
}

}  // namespace

const Paths kPathsAvx2 = {"avx2",
                          {{packed_row<false, false>, packed_row<false, true>},
                           {packed_row<true, false>, packed_row<true, true>}},
                          {planar_row<false>, planar_row<true>},
                          {float_row<false>, float_row<true>}};

}  // namespace qevo_color
