// AVX2 form of the colour-conversion rows: the arithmetic and the even/odd
// arrangement of the SSE4.1 form (see yuv_rgb_sse41.cpp) on 32 pixels per
// step. Each 128-bit half of a register holds 16 consecutive pixels and
// their 8 chroma pairs, and the narrowing and byte shuffles work within
// halves, so each half is the SSE4.1 step; only the interleaved store
// exchanges halves.
#include <immintrin.h>

#include "yuv_rgb_rows.h"
#include "yuv_rgb_x86.h"

namespace qevo_color {
namespace {

inline __m256i load256(const void *p) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(p));
}
inline void store256(void *p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }
inline __m256i table(const signed char *t) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(t)));
}
inline __m256i in_order(__m256i v) { return _mm256_shuffle_epi8(v, table(kShuffles.in_order)); }

inline __m256i narrow(__m256i even, __m256i odd) {
    return _mm256_packus_epi16(_mm256_srai_epi16(even, 5), _mm256_srai_epi16(odd, 5));
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

struct Avx2 {
    static constexpr int kStep = 32;

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
    struct NormConsts {
        __m256 mean[3], scale[3];
        explicit NormConsts(const Norm &nm) {
            for (int c = 0; c < 3; ++c) {
                mean[c] = _mm256_set1_ps(nm.mean[c]);
                scale[c] = _mm256_set1_ps(nm.scale[c]);
            }
        }
    };
    struct Chroma {
        __m256i r, g, b;  // terms of 16 pairs, bias included
    };
    struct Rgb {
        __m256i r, g, b;  // per half: 8 even pixels, then 8 odd pixels
    };

    template <bool NV21>
    static Chroma chroma(const unsigned char *uv, const Consts &c) {
        const __m256i pairs =
            _mm256_xor_si256(load256(uv), _mm256_set1_epi8(static_cast<char>(0x80)));
        const __m256i first = _mm256_slli_epi16(pairs, 8);
        const __m256i second =
            _mm256_and_si256(pairs, _mm256_set1_epi16(static_cast<short>(0xFF00)));
        const __m256i u = NV21 ? second : first;
        const __m256i v = NV21 ? first : second;
        return Chroma{_mm256_add_epi16(c.bias, _mm256_mulhi_epi16(v, c.crv)),
                      _mm256_sub_epi16(_mm256_sub_epi16(c.bias, _mm256_mulhi_epi16(u, c.cgu)),
                                       _mm256_mulhi_epi16(v, c.cgv)),
                      _mm256_add_epi16(c.bias, _mm256_mulhi_epi16(u, c.cbu))};
    }

    static Rgb luma(const unsigned char *y, const Chroma &t, const Consts &c) {
        const __m256i luma = load256(y);
        const __m256i le = _mm256_mulhi_epu16(_mm256_slli_epi16(luma, 8), c.cy);
        const __m256i lo = _mm256_mulhi_epu16(
            _mm256_and_si256(luma, _mm256_set1_epi16(static_cast<short>(0xFF00))), c.cy);
        return Rgb{narrow(_mm256_add_epi16(le, t.r), _mm256_add_epi16(lo, t.r)),
                   narrow(_mm256_add_epi16(le, t.g), _mm256_add_epi16(lo, t.g)),
                   narrow(_mm256_add_epi16(le, t.b), _mm256_add_epi16(lo, t.b))};
    }

    // 96 interleaved bytes: block b of the low half is bytes 16b .. 16b + 15,
    // of the high half 48 + 16b ...
    template <bool BGR>
    static void store_packed(const Rgb &p, unsigned char *dst) {
        const __m256i ch[3] = {BGR ? p.b : p.r, p.g, BGR ? p.r : p.b};
        __m256i v[3];
        for (int b = 0; b < 3; ++b) {
            const auto &m = kShuffles.interleave[b];
            v[b] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(ch[0], table(m[0])),
                                                   _mm256_shuffle_epi8(ch[1], table(m[1]))),
                                   _mm256_shuffle_epi8(ch[2], table(m[2])));
        }
        store256(dst, _mm256_permute2x128_si256(v[0], v[1], 0x20));
        store256(dst + 32, _mm256_permute2x128_si256(v[2], v[0], 0x30));
        store256(dst + 64, _mm256_permute2x128_si256(v[1], v[2], 0x31));
    }

    static void store_planar(const Rgb &p, unsigned char *r, unsigned char *g, unsigned char *b) {
        store256(r, in_order(p.r));
        store256(g, in_order(p.g));
        store256(b, in_order(p.b));
    }

    static void store_float(const Rgb &p, const NormConsts &nc, float *r, float *g, float *b) {
        store_floats(p.r, nc.mean[0], nc.scale[0], r);
        store_floats(p.g, nc.mean[1], nc.scale[1], g);
        store_floats(p.b, nc.mean[2], nc.scale[2], b);
    }
};

}  // namespace

const Paths kPathsAvx2 = vector_paths<Avx2>("avx2");

}  // namespace qevo_color
