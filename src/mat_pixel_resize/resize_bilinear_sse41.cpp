// SSE4.1 forms of the bilinear row functions. Each writes exactly the values
// of the scalar functions in resize_bilinear_paths.h:
//  - horizontal: the two source pixels are widened to 16 bits and interleaved
//    so that one 16x16->32-bit multiply-add per channel forms
//    S[sx + c] * a0 + S[sx + N + c] * a1, then >> 4 and a narrowing that never
//    saturates (values stay in 0..32655);
//  - vertical: the high half of a signed 16x16 product is exactly
//    (b * row) >> 16, the sum plus 2 fits 16 bits (2..1022), and >> 2 leaves
//    0..255, so the unsigned saturating narrowing never engages.
#include <smmintrin.h>

#include "resize_bilinear_paths.h"

namespace qevo_resize {
namespace {

void row_c1(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R,
            const void *) {
    int dx = 0;
    const __m128i zero = _mm_setzero_si128();
    for (; dx + 8 <= w; dx += 8) {
        const int *o = xofs + dx;
        __m128i v = _mm_cvtsi32_si128(static_cast<int>(load_u16(S + o[0])));
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[1])), 1);
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[2])), 2);
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[3])), 3);
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[4])), 4);
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[5])), 5);
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[6])), 6);
        v = _mm_insert_epi16(v, static_cast<int>(load_u16(S + o[7])), 7);
        const __m128i a_lo = _mm_loadu_si128(reinterpret_cast<const __m128i *>(ialpha + 2 * dx));
        const __m128i a_hi =
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(ialpha + 2 * dx + 8));
        const __m128i lo = _mm_srai_epi32(_mm_madd_epi16(_mm_cvtepu8_epi16(v), a_lo), 4);
        const __m128i hi = _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi8(v, zero), a_hi), 4);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(R + dx), _mm_packs_epi32(lo, hi));
    }
    fill_row_range<1>(S, xofs, ialpha, dx, w, R);
}

void row_c2(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R,
            const void *) {
    // (left c, right c) pairs of pixels 0,1 and of pixels 2,3.
    const __m128i m_lo = _mm_setr_epi8(0, -1, 2, -1, 1, -1, 3, -1, 4, -1, 6, -1, 5, -1, 7, -1);
    const __m128i m_hi =
        _mm_setr_epi8(8, -1, 10, -1, 9, -1, 11, -1, 12, -1, 14, -1, 13, -1, 15, -1);
    int dx = 0;
    for (; dx + 4 <= w; dx += 4) {
        const int *o = xofs + dx;
        const __m128i v = _mm_setr_epi32(load_i32(S + o[0]), load_i32(S + o[1]), load_i32(S + o[2]),
                                         load_i32(S + o[3]));
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(ialpha + 2 * dx));
        const __m128i lo =
            _mm_srai_epi32(_mm_madd_epi16(_mm_shuffle_epi8(v, m_lo), _mm_unpacklo_epi32(a, a)), 4);
        const __m128i hi =
            _mm_srai_epi32(_mm_madd_epi16(_mm_shuffle_epi8(v, m_hi), _mm_unpackhi_epi32(a, a)), 4);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(R + 2 * dx), _mm_packs_epi32(lo, hi));
    }
    fill_row_range<2>(S, xofs, ialpha, dx, w, R);
}

void row_c3(const unsigned char *S, int src_row_bytes, const int *xofs, const short *ialpha, int w,
            short *R, const void *) {
    // 8-byte loads cover the 6 bytes needed; the columns whose load would
    // leave the row are done by the scalar function.
    const int end = columns_in_bounds(xofs, w, src_row_bytes, 8);
    const __m128i m0 = _mm_setr_epi8(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1);
    const __m128i m1 = _mm_setr_epi8(8, -1, 11, -1, 9, -1, 12, -1, 10, -1, 13, -1, -1, -1, -1, -1);
    int dx = 0;
    for (; dx + 2 <= end; dx += 2) {
        const __m128i v = _mm_unpacklo_epi64(
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(S + xofs[dx])),
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(S + xofs[dx + 1])));
        const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(ialpha + 2 * dx));
        const __m128i r0 =
            _mm_srai_epi32(_mm_madd_epi16(_mm_shuffle_epi8(v, m0), _mm_shuffle_epi32(a, 0x00)), 4);
        const __m128i r1 =
            _mm_srai_epi32(_mm_madd_epi16(_mm_shuffle_epi8(v, m1), _mm_shuffle_epi32(a, 0x55)), 4);
        const __m128i p = _mm_packs_epi32(r0, r1);
        // Four lanes per pixel; the scratch fourth lane of the first pixel is
        // overwritten by the second, that of the second by the next step.
        _mm_storel_epi64(reinterpret_cast<__m128i *>(R + 3 * dx), p);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(R + 3 * dx + 3), _mm_unpackhi_epi64(p, p));
    }
    fill_row_range<3>(S, xofs, ialpha, dx, w, R);
}

void row_c4(const unsigned char *S, int, const int *xofs, const short *ialpha, int w, short *R,
            const void *) {
    const __m128i m = _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    const __m128i zero = _mm_setzero_si128();
    int dx = 0;
    for (; dx + 2 <= w; dx += 2) {
        __m128i v = _mm_unpacklo_epi64(
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(S + xofs[dx])),
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(S + xofs[dx + 1])));
        v = _mm_shuffle_epi8(v, m);
        const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(ialpha + 2 * dx));
        const __m128i lo =
            _mm_srai_epi32(_mm_madd_epi16(_mm_cvtepu8_epi16(v), _mm_shuffle_epi32(a, 0x00)), 4);
        const __m128i hi = _mm_srai_epi32(
            _mm_madd_epi16(_mm_unpackhi_epi8(v, zero), _mm_shuffle_epi32(a, 0x55)), 4);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(R + 4 * dx), _mm_packs_epi32(lo, hi));
    }
    fill_row_range<4>(S, xofs, ialpha, dx, w, R);
}

inline __m128i blend8x2(const short *r0, const short *r1, __m128i B0, __m128i B1, __m128i two) {
    const __m128i s0 =
        _mm_add_epi16(_mm_mulhi_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(r0)), B0),
                      _mm_mulhi_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(r1)), B1));
    const __m128i s1 = _mm_add_epi16(
        _mm_mulhi_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(r0 + 8)), B0),
        _mm_mulhi_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(r1 + 8)), B1));
    return _mm_packus_epi16(_mm_srai_epi16(_mm_add_epi16(s0, two), 2),
                            _mm_srai_epi16(_mm_add_epi16(s1, two), 2));
}

void blend(const short *rows0, const short *rows1, int b0, int b1, int n, unsigned char *Dp) {
    if (n < 16) {
        blend_range(rows0, rows1, b0, b1, 0, n, Dp);
        return;
    }
    const __m128i B0 = _mm_set1_epi16(static_cast<short>(b0));
    const __m128i B1 = _mm_set1_epi16(static_cast<short>(b1));
    const __m128i two = _mm_set1_epi16(2);
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(Dp + i),
                         blend8x2(rows0 + i, rows1 + i, B0, B1, two));
    }
    if (i < n) {
        // Last block overlaps the previous one; it rewrites the same bytes.
        i = n - 16;
        _mm_storeu_si128(reinterpret_cast<__m128i *>(Dp + i),
                         blend8x2(rows0 + i, rows1 + i, B0, B1, two));
    }
}

// Pairs the two taps of each output value as adjacent bytes, for one
// multiply-add of unsigned bytes with ones.
template <int N>
inline __m128i pair_taps(__m128i v) {
    if (N == 2)
        return _mm_shuffle_epi8(
            v, _mm_setr_epi8(0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15));
    if (N == 4)
        return _mm_shuffle_epi8(
            v, _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15));
    return v;
}

template <int N>
void halve(const unsigned char *src, int srcstride, unsigned char *dst, int w, int h, int stride) {
    const __m128i ones = _mm_set1_epi8(1);
    const __m128i two = _mm_set1_epi16(2);
    const int n = w * N;
    for (int dy = 0; dy < h; ++dy) {
        const unsigned char *A = src + static_cast<size_t>(srcstride) * (2 * dy);
        const unsigned char *B = A + srcstride;
        unsigned char *Dp = dst + static_cast<size_t>(stride) * dy;
        int i = 0;
        for (; i + 16 <= n; i += 16) {
            __m128i s[2];
            for (int k = 0; k < 2; ++k) {
                const __m128i a = pair_taps<N>(
                    _mm_loadu_si128(reinterpret_cast<const __m128i *>(A + 2 * i + 16 * k)));
                const __m128i b = pair_taps<N>(
                    _mm_loadu_si128(reinterpret_cast<const __m128i *>(B + 2 * i + 16 * k)));
                s[k] = _mm_srli_epi16(
                    _mm_add_epi16(
                        _mm_add_epi16(_mm_maddubs_epi16(a, ones), _mm_maddubs_epi16(b, ones)), two),
                    2);
            }
            _mm_storeu_si128(reinterpret_cast<__m128i *>(Dp + i), _mm_packus_epi16(s[0], s[1]));
        }
        halve_range<N>(A, B, i, n, Dp);
    }
}

}  // namespace

const Paths kPathsSse41 = {"sse41",
                           {row_c1, row_c2, row_c3, row_c4},
                           blend,
                           {halve<1>, halve<2>, nullptr, halve<4>},
                           {nullptr, nullptr, nullptr, nullptr},
                           nullptr,
                           nullptr};

}  // namespace qevo_resize
