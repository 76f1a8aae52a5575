// SSE4.1 forms of the float plane resizes, four output columns per step. The
// taps of a group come from a window of up to four registers of source values:
// one byte shuffle per register, whose mask moves the wanted lanes and zeroes
// the others, and an OR of the results; lane by lane when no window fits.
// Products and sums are those of the scalar code, lane by lane.
#include <smmintrin.h>

#include <cstring>

#include "resize_float_paths.h"
#include "utils/float_ops_sse41.h"

namespace qevo_simd {
namespace {

struct OpsSse41 : FloatOpsSse41 {
    static constexpr int kParts = 1, kRegFloats = 4, kMaxRegs = 4;
    // First taps at 0, second at 64: one 16-byte shuffle mask per register of
    // the window, or four absolute positions. Weights w0 at 128, w1 at 144.
    static constexpr size_t kGroupBytes = 160;

    static void encode(unsigned char *gd, int k, int pos0, int pos1, float w0, float w1, int regs) {
        encode_tap(gd, k, pos0, regs);
        encode_tap(gd + 64, k, pos1, regs);
        std::memcpy(gd + 128 + 4 * k, &w0, 4);
        std::memcpy(gd + 144 + 4 * k, &w1, 4);
    }
    template <int R>
    static __m128 blend(const float *row, const int *base, const unsigned char *gd) {
        const float *w = row + base[0];
        const __m128 p0 = _mm_mul_ps(weights(gd + 128), take<R>(w, gd));
        const __m128 p1 = _mm_mul_ps(weights(gd + 144), take<R>(w, gd + 64));
        return _mm_add_ps(p0, p1);
    }
    template <int R>
    static __m128 pick(const float *row, const int *base, const unsigned char *gd) {
        return take<R>(row + base[0], gd);
    }

  private:
    static void encode_tap(unsigned char *idx, int k, int pos, int regs) {
        if (regs == 0) {
            std::memcpy(idx + 4 * k, &pos, sizeof pos);
            return;
        }
        for (int q = 0; q < regs; ++q) {
            for (int b = 0; b < 4; ++b)
                idx[16 * q + 4 * k + b] =
                    static_cast<unsigned char>(pos / 4 == q ? 4 * (pos % 4) + b : 0x80);
        }
    }
    static __m128i mask(const unsigned char *p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
    static __m128 weights(const unsigned char *p) {
        return _mm_loadu_ps(reinterpret_cast<const float *>(p));
    }
    // The four values at the encoded positions of the window at w (the row,
    // absolute positions, for R = 0).
    template <int R>
    static __m128 take(const float *w, const unsigned char *idx) {
        if (R == 0) {
            int i[4];
            std::memcpy(i, idx, sizeof i);
            return _mm_setr_ps(w[i[0]], w[i[1]], w[i[2]], w[i[3]]);
        }
        __m128i v = _mm_shuffle_epi8(_mm_castps_si128(_mm_loadu_ps(w)), mask(idx));
        for (int q = 1; q < R; ++q)
            v = _mm_or_si128(
                v, _mm_shuffle_epi8(_mm_castps_si128(_mm_loadu_ps(w + 4 * q)), mask(idx + 16 * q)));
        return _mm_castsi128_ps(v);
    }
};

}  // namespace

const FloatResizePaths kFloatResizeSse41 = {"sse41", bilinear_plane<OpsSse41>,
                                            nearest_planes<OpsSse41>};

}  // namespace qevo_simd
