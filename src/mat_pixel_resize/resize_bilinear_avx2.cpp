// AVX2 forms of the bilinear row functions; the same arithmetic as the SSE4.1
// forms (see resize_bilinear_sse41.cpp) on 256-bit registers. Source pixels
// are fetched with plain loads per pixel pair (faster than the hardware gather
// on the CPUs measured); a load wider than the pair that could read past the
// end of the row is avoided by leaving those last columns to the scalar
// function. Each row function can fill two row buffers from two source rows
// in one pass, sharing the offsets and weights it loads.
#include <immintrin.h>

#include "resize_bilinear_paths.h"

namespace qevo_resize {
namespace {

inline __m256i load256(const void *p) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(p));
}
inline void store256(void *p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }

// Eight bytes from each of four source offsets, in 64-bit lanes 0..3. Plain
// loads: on the CPUs measured they beat the hardware gather.
inline __m256i load4x64(const unsigned char *S, const int *o) {
    const __m128i lo = _mm_castpd_si128(
        _mm_loadh_pd(_mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(S + o[0]))),
                     reinterpret_cast<const double *>(S + o[1])));
    const __m128i hi = _mm_castpd_si128(
        _mm_loadh_pd(_mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(S + o[2]))),
                     reinterpret_cast<const double *>(S + o[3])));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

// Four bytes from each of eight source offsets, in 32-bit lanes 0..7.
inline __m256i load8x32(const unsigned char *S, const int *o) {
    __m128i lo = _mm_cvtsi32_si128(load_i32(S + o[0]));
    lo = _mm_insert_epi32(lo, load_i32(S + o[1]), 1);
    lo = _mm_insert_epi32(lo, load_i32(S + o[2]), 2);
    lo = _mm_insert_epi32(lo, load_i32(S + o[3]), 3);
    __m128i hi = _mm_cvtsi32_si128(load_i32(S + o[4]));
    hi = _mm_insert_epi32(hi, load_i32(S + o[5]), 1);
    hi = _mm_insert_epi32(hi, load_i32(S + o[6]), 2);
    hi = _mm_insert_epi32(hi, load_i32(S + o[7]), 3);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

template <int NR>
void rows_c1(const unsigned char *const *Ss, int src_row_bytes, const int *xofs,
             const short *ialpha, int w, short *const *Rs) {
    // Sixteen output pixels per step. When the eight pixel pairs of each half
    // lie within 16 source bytes (enlarging, or shrinking by less than about
    // 1.8), one 16-byte load per half and a byte shuffle built from the
    // offsets put each pair side by side. Otherwise each pair is loaded on its
    // own as a 32-bit word whose bytes 0 and 1 are the pair.
    const int end4 = columns_in_bounds(xofs, w, src_row_bytes, 4);
    const int end16 = columns_in_bounds(xofs, w, src_row_bytes, 16);
    const __m256i m = _mm256_setr_epi8(0, -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1, 0,
                                       -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1);
    const __m256i right_tap = _mm256_set1_epi16(0x0100);
    const __m256i zero = _mm256_setzero_si256();
    int dx = 0;
    for (; dx + 16 <= end4; dx += 16) {
        const int *o = xofs + dx;
        const __m256i a0 = load256(ialpha + 2 * dx);       // pixels 0..7
        const __m256i a1 = load256(ialpha + 2 * dx + 16);  // pixels 8..15
        if (dx + 16 <= end16 && o[7] - o[0] <= 14 && o[15] - o[8] <= 14) {
            // Offsets relative to each half's load, as 16-bit lanes in order,
            // then byte pairs (offset, offset + 1).
            const __m256i rel0 = _mm256_sub_epi32(load256(o), _mm256_set1_epi32(o[0]));
            const __m256i rel1 = _mm256_sub_epi32(load256(o + 8), _mm256_set1_epi32(o[8]));
            const __m256i rel = _mm256_permute4x64_epi64(_mm256_packs_epi32(rel0, rel1), 0xD8);
            const __m256i mask =
                _mm256_add_epi16(_mm256_add_epi16(rel, _mm256_slli_epi16(rel, 8)), right_tap);
            // lo: pixels 0..3 | 8..11, hi: pixels 4..7 | 12..15.
            const __m256i a_lo = _mm256_permute2x128_si256(a0, a1, 0x20);
            const __m256i a_hi = _mm256_permute2x128_si256(a0, a1, 0x31);
            for (int r = 0; r < NR; ++r) {
                const unsigned char *S = Ss[r];
                const __m256i v = _mm256_inserti128_si256(
                    _mm256_castsi128_si256(
                        _mm_loadu_si128(reinterpret_cast<const __m128i *>(S + o[0]))),
                    _mm_loadu_si128(reinterpret_cast<const __m128i *>(S + o[8])), 1);
                const __m256i pairs = _mm256_shuffle_epi8(v, mask);
                const __m256i lo = _mm256_srai_epi32(
                    _mm256_madd_epi16(_mm256_unpacklo_epi8(pairs, zero), a_lo), 4);
                const __m256i hi = _mm256_srai_epi32(
                    _mm256_madd_epi16(_mm256_unpackhi_epi8(pairs, zero), a_hi), 4);
                store256(Rs[r] + dx, _mm256_packs_epi32(lo, hi));
            }
        } else {
            for (int r = 0; r < NR; ++r) {
                const unsigned char *S = Ss[r];
                const __m256i p0 = _mm256_srai_epi32(
                    _mm256_madd_epi16(_mm256_shuffle_epi8(load8x32(S, o), m), a0), 4);
                const __m256i p1 = _mm256_srai_epi32(
                    _mm256_madd_epi16(_mm256_shuffle_epi8(load8x32(S, o + 8), m), a1), 4);
                store256(Rs[r] + dx, _mm256_permute4x64_epi64(_mm256_packs_epi32(p0, p1), 0xD8));
            }
        }
    }
    for (int r = 0; r < NR; ++r) fill_row_range<1>(Ss[r], xofs, ialpha, dx, w, Rs[r]);
}

template <int NR>
void rows_c2(const unsigned char *const *Ss, int, const int *xofs, const short *ialpha, int w,
             short *const *Rs) {
    // A 32-bit load is exactly the two pixels (4 bytes).
    const __m256i m_lo = _mm256_setr_epi8(0, -1, 2, -1, 1, -1, 3, -1, 4, -1, 6, -1, 5, -1, 7, -1, 0,
                                          -1, 2, -1, 1, -1, 3, -1, 4, -1, 6, -1, 5, -1, 7, -1);
    const __m256i m_hi =
        _mm256_setr_epi8(8, -1, 10, -1, 9, -1, 11, -1, 12, -1, 14, -1, 13, -1, 15, -1, 8, -1, 10,
                         -1, 9, -1, 11, -1, 12, -1, 14, -1, 13, -1, 15, -1);
    int dx = 0;
    for (; dx + 8 <= w; dx += 8) {
        const __m256i a = load256(ialpha + 2 * dx);
        const __m256i a_lo = _mm256_unpacklo_epi32(a, a);
        const __m256i a_hi = _mm256_unpackhi_epi32(a, a);
        for (int r = 0; r < NR; ++r) {
            const __m256i v = load8x32(Ss[r], xofs + dx);
            // Lane halves: pixels 0..3 and 4..7; lo takes 0,1 / 4,5, hi 2,3 / 6,7.
            const __m256i lo =
                _mm256_srai_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(v, m_lo), a_lo), 4);
            const __m256i hi =
                _mm256_srai_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(v, m_hi), a_hi), 4);
            store256(Rs[r] + 2 * dx, _mm256_packs_epi32(lo, hi));
        }
    }
    for (int r = 0; r < NR; ++r) fill_row_range<2>(Ss[r], xofs, ialpha, dx, w, Rs[r]);
}

// Weight pairs of pixels 0..3 spread as [p0 x4 | p2 x4] and [p1 x4 | p3 x4].
inline void spread_pairs(const short *ialpha, __m256i &a02, __m256i &a13) {
    const __m256i a =
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(ialpha)));
    a02 = _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 0, 0, 0, 2, 2, 2, 2));
    a13 = _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(1, 1, 1, 1, 3, 3, 3, 3));
}

template <int NR>
void rows_c3(const unsigned char *const *Ss, int src_row_bytes, const int *xofs,
             const short *ialpha, int w, short *const *Rs) {
    // 8-byte loads cover the 6 bytes of a pixel pair.
    const int end = columns_in_bounds(xofs, w, src_row_bytes, 8);
    const __m256i m0 = _mm256_setr_epi8(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1, 0,
                                        -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1);
    const __m256i m1 =
        _mm256_setr_epi8(8, -1, 11, -1, 9, -1, 12, -1, 10, -1, 13, -1, -1, -1, -1, -1, 8, -1, 11,
                         -1, 9, -1, 12, -1, 10, -1, 13, -1, -1, -1, -1, -1);
    // Drops the scratch lane of each pixel: 3 + 3 values, then 2 spare.
    const __m256i squeeze =
        _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1, 0, 1, 2, 3, 4, 5,
                         8, 9, 10, 11, 12, 13, -1, -1, -1, -1);
    int dx = 0;
    for (; dx + 4 <= end; dx += 4) {
        __m256i a02, a13;
        spread_pairs(ialpha + 2 * dx, a02, a13);
        for (int r = 0; r < NR; ++r) {
            const __m256i v = load4x64(Ss[r], xofs + dx);
            const __m256i r02 =
                _mm256_srai_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(v, m0), a02), 4);
            const __m256i r13 =
                _mm256_srai_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(v, m1), a13), 4);
            const __m256i p = _mm256_shuffle_epi8(_mm256_packs_epi32(r02, r13), squeeze);
            // Pixels 0,1 then 2,3; each store spills two lanes that the next
            // store (or the row buffer's spare values) absorbs.
            short *R = Rs[r];
            _mm_storeu_si128(reinterpret_cast<__m128i *>(R + 3 * dx), _mm256_castsi256_si128(p));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(R + 3 * dx + 6),
                             _mm256_extracti128_si256(p, 1));
        }
    }
    for (int r = 0; r < NR; ++r) fill_row_range<3>(Ss[r], xofs, ialpha, dx, w, Rs[r]);
}

template <int NR>
void rows_c4(const unsigned char *const *Ss, int, const int *xofs, const short *ialpha, int w,
             short *const *Rs) {
    // An 8-byte load is exactly the two pixels.
    const __m256i m = _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15, 0, 4,
                                       1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    const __m256i zero = _mm256_setzero_si256();
    int dx = 0;
    for (; dx + 4 <= w; dx += 4) {
        __m256i a02, a13;
        spread_pairs(ialpha + 2 * dx, a02, a13);
        for (int r = 0; r < NR; ++r) {
            const __m256i v = _mm256_shuffle_epi8(load4x64(Ss[r], xofs + dx), m);
            const __m256i r02 =
                _mm256_srai_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi8(v, zero), a02), 4);
            const __m256i r13 =
                _mm256_srai_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi8(v, zero), a13), 4);
            store256(Rs[r] + 4 * dx, _mm256_packs_epi32(r02, r13));
        }
    }
    for (int r = 0; r < NR; ++r) fill_row_range<4>(Ss[r], xofs, ialpha, dx, w, Rs[r]);
}

inline __m256i blend16x2(const short *r0, const short *r1, __m256i B0, __m256i B1, __m256i two) {
    const __m256i s0 =
        _mm256_add_epi16(_mm256_mulhi_epi16(load256(r0), B0), _mm256_mulhi_epi16(load256(r1), B1));
    const __m256i s1 = _mm256_add_epi16(_mm256_mulhi_epi16(load256(r0 + 16), B0),
                                        _mm256_mulhi_epi16(load256(r1 + 16), B1));
    const __m256i packed = _mm256_packus_epi16(_mm256_srai_epi16(_mm256_add_epi16(s0, two), 2),
                                               _mm256_srai_epi16(_mm256_add_epi16(s1, two), 2));
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

void blend(const short *rows0, const short *rows1, int b0, int b1, int n, unsigned char *Dp) {
    if (n < 32) {
        blend_range(rows0, rows1, b0, b1, 0, n, Dp);
        return;
    }
    const __m256i B0 = _mm256_set1_epi16(static_cast<short>(b0));
    const __m256i B1 = _mm256_set1_epi16(static_cast<short>(b1));
    const __m256i two = _mm256_set1_epi16(2);
    int i = 0;
    for (; i + 32 <= n; i += 32) store256(Dp + i, blend16x2(rows0 + i, rows1 + i, B0, B1, two));
    if (i < n) {
        // Last block overlaps the previous one; it rewrites the same bytes.
        i = n - 32;
        store256(Dp + i, blend16x2(rows0 + i, rows1 + i, B0, B1, two));
    }
}

// Pairs the two taps of each output value as adjacent bytes, for one
// multiply-add of unsigned bytes with ones (sums of two bytes never saturate).
template <int N>
inline __m256i pair_taps(__m256i v) {
    if (N == 2)
        return _mm256_shuffle_epi8(
            v, _mm256_setr_epi8(0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15, 0, 2, 1, 3, 4,
                                6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15));
    if (N == 4)
        return _mm256_shuffle_epi8(
            v, _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15, 0, 4, 1, 5, 2,
                                6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15));
    return v;
}

template <int N>
void halve(const unsigned char *src, int srcstride, unsigned char *dst, int w, int h, int stride) {
    const __m256i ones = _mm256_set1_epi8(1);
    const __m256i two = _mm256_set1_epi16(2);
    const int n = w * N;
    for (int dy = 0; dy < h; ++dy) {
        const unsigned char *A = src + static_cast<size_t>(srcstride) * (2 * dy);
        const unsigned char *B = A + srcstride;
        unsigned char *Dp = dst + static_cast<size_t>(stride) * dy;
        int i = 0;
        for (; i + 32 <= n; i += 32) {
            __m256i s[2];
            for (int k = 0; k < 2; ++k) {
                const __m256i a = pair_taps<N>(load256(A + 2 * i + 32 * k));
                const __m256i b = pair_taps<N>(load256(B + 2 * i + 32 * k));
                s[k] = _mm256_srli_epi16(
                    _mm256_add_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(a, ones),
                                                      _mm256_maddubs_epi16(b, ones)),
                                     two),
                    2);
            }
            store256(Dp + i, _mm256_permute4x64_epi64(_mm256_packus_epi16(s[0], s[1]), 0xD8));
        }
        halve_range<N>(A, B, i, n, Dp);
    }
}

using RowsFn = void (*)(const unsigned char *const *, int, const int *, const short *, int,
                        short *const *);

template <RowsFn F>
void one_row(const unsigned char *S, int src_row_bytes, const int *xofs, const short *ialpha, int w,
             short *R, const void *) {
    F(&S, src_row_bytes, xofs, ialpha, w, &R);
}

template <RowsFn F>
void two_rows(const unsigned char *S0, const unsigned char *S1, int src_row_bytes, const int *xofs,
              const short *ialpha, int w, short *R0, short *R1, const void *) {
    const unsigned char *const Ss[2] = {S0, S1};
    short *const Rs[2] = {R0, R1};
    F(Ss, src_row_bytes, xofs, ialpha, w, Rs);
}

}  // namespace

const Paths kPathsAvx2 = {
    "avx2",
    {one_row<rows_c1<1>>, one_row<rows_c2<1>>, one_row<rows_c3<1>>, one_row<rows_c4<1>>},
    blend,
    {halve<1>, halve<2>, nullptr, halve<4>},
    {two_rows<rows_c1<2>>, two_rows<rows_c2<2>>, two_rows<rows_c3<2>>, two_rows<rows_c4<2>>},
    nullptr,
    nullptr};

}  // namespace qevo_resize
