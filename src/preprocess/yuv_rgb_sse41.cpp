// SSE4.1 form of the colour-conversion rows: 16 pixels per step, with the
// scalar arithmetic of yuv_rgb_rows.h in 16-bit lanes:
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
#include <smmintrin.h>

#include "yuv_rgb_rows.h"
#include "yuv_rgb_x86.h"

namespace qevo_color {
namespace {

inline __m128i load128(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }
inline void store128(void *p, __m128i v) { _mm_storeu_si128(static_cast<__m128i *>(p), v); }
inline __m128i table(const signed char *t) {
    return _mm_load_si128(reinterpret_cast<const __m128i *>(t));
}
inline __m128i in_order(__m128i v) { return _mm_shuffle_epi8(v, table(kShuffles.in_order)); }

inline __m128i narrow(__m128i even, __m128i odd) {
    return _mm_packus_epi16(_mm_srai_epi16(even, 5), _mm_srai_epi16(odd, 5));
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

struct Sse41 {
    static constexpr int kStep = 16;

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
    struct NormConsts {
        __m128 mean[3], scale[3];
        explicit NormConsts(const Norm &nm) {
            for (int c = 0; c < 3; ++c) {
                mean[c] = _mm_set1_ps(nm.mean[c]);
                scale[c] = _mm_set1_ps(nm.scale[c]);
            }
        }
    };
    struct Chroma {
        __m128i r, g, b;  // terms of 8 pairs, bias included
    };
    struct Rgb {
        __m128i r, g, b;  // 16 bytes each: even pixels, then odd pixels
    };

    template <bool NV21>
    static Chroma chroma(const unsigned char *uv, const Consts &c) {
        const __m128i pairs = _mm_xor_si128(load128(uv), _mm_set1_epi8(static_cast<char>(0x80)));
        const __m128i first = _mm_slli_epi16(pairs, 8);
        const __m128i second = _mm_and_si128(pairs, _mm_set1_epi16(static_cast<short>(0xFF00)));
        const __m128i u = NV21 ? second : first;
        const __m128i v = NV21 ? first : second;
        return Chroma{_mm_add_epi16(c.bias, _mm_mulhi_epi16(v, c.crv)),
                      _mm_sub_epi16(_mm_sub_epi16(c.bias, _mm_mulhi_epi16(u, c.cgu)),
                                    _mm_mulhi_epi16(v, c.cgv)),
                      _mm_add_epi16(c.bias, _mm_mulhi_epi16(u, c.cbu))};
    }

    static Rgb luma(const unsigned char *y, const Chroma &t, const Consts &c) {
        const __m128i luma = load128(y);
        const __m128i le = _mm_mulhi_epu16(_mm_slli_epi16(luma, 8), c.cy);
        const __m128i lo =
            _mm_mulhi_epu16(_mm_and_si128(luma, _mm_set1_epi16(static_cast<short>(0xFF00))), c.cy);
        return Rgb{narrow(_mm_add_epi16(le, t.r), _mm_add_epi16(lo, t.r)),
                   narrow(_mm_add_epi16(le, t.g), _mm_add_epi16(lo, t.g)),
                   narrow(_mm_add_epi16(le, t.b), _mm_add_epi16(lo, t.b))};
    }

    // 48 interleaved bytes.
    template <bool BGR>
    static void store_packed(const Rgb &p, unsigned char *dst) {
        const __m128i ch[3] = {BGR ? p.b : p.r, p.g, BGR ? p.r : p.b};
        for (int b = 0; b < 3; ++b) {
            const auto &m = kShuffles.interleave[b];
            store128(dst + 16 * b, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(ch[0], table(m[0])),
                                                             _mm_shuffle_epi8(ch[1], table(m[1]))),
                                                _mm_shuffle_epi8(ch[2], table(m[2]))));
        }
    }

    static void store_planar(const Rgb &p, unsigned char *r, unsigned char *g, unsigned char *b) {
        store128(r, in_order(p.r));
        store128(g, in_order(p.g));
        store128(b, in_order(p.b));
    }

    static void store_float(const Rgb &p, const NormConsts &nc, float *r, float *g, float *b) {
        store_floats(p.r, nc.mean[0], nc.scale[0], r);
        store_floats(p.g, nc.mean[1], nc.scale[1], g);
        store_floats(p.b, nc.mean[2], nc.scale[2], b);
    }
};

}  // namespace

const Paths kPathsSse41 = vector_paths<Sse41>("sse41");

}  // namespace qevo_color
