// SSE4.1 forms of the float plane resizes, four output columns per step. The
// taps of a group come from a window of up to four registers of source values:
// one byte shuffle per register, whose mask moves the wanted lanes and zeroes
// the others, and an OR of the results.
// Products and sums are those of the scalar code, lane by lane.
#include <smmintrin.h>

#include "resize_float_paths.h"
#include "utils/float_ops_sse41.h"

namespace qevo_simd {
namespace {

struct TakeSse41 {
    // One 16-byte shuffle mask per register of the window.
    static constexpr size_t kTapBytes = 64;

    static void encode_tap(unsigned char *idx, int k, int pos, int regs) {
        for (int q = 0; q < regs; ++q) {
            for (int b = 0; b < 4; ++b)
                idx[16 * q + 4 * k + b] =
                    static_cast<unsigned char>(pos / 4 == q ? 4 * (pos % 4) + b : 0x80);
        }
    }
    // The four values at the encoded positions of the window of R registers
    // at w.
    template <int R>
    static __m128 take(const float *w, const unsigned char *idx) {
        __m128i v = _mm_shuffle_epi8(_mm_castps_si128(_mm_loadu_ps(w)), mask(idx));
        for (int q = 1; q < R; ++q)
            v = _mm_or_si128(
                v, _mm_shuffle_epi8(_mm_castps_si128(_mm_loadu_ps(w + 4 * q)), mask(idx + 16 * q)));
        return _mm_castsi128_ps(v);
    }

  private:
    static __m128i mask(const unsigned char *p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
};

using OpsSse41 = LookupOps<FloatOpsSse41, TakeSse41>;

}  // namespace

const FloatResizePaths kFloatResizeSse41 = {"sse41", bilinear_planes<OpsSse41>,
                                            nearest_planes<OpsSse41>};

}  // namespace qevo_simd
