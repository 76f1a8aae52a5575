// AVX2 forms of the float plane resizes, eight output columns per step in two
// quads. Each quad takes its taps from its own window of eight source values
// with one lane-crossing permute (or of sixteen with two permutes and a
// blend): the first quad puts its four first taps in the low half and its
// four second taps in the high half, the second quad the other way round. One
// multiply per quad by the weights in the same order gives all products; a
// blend then collects the eight first-tap products and a 128-bit lane
// exchange the eight second-tap products, in column order, and one add sums
// them. Products and sums are those of the scalar code, lane by lane, in the
// same order.
#include <immintrin.h>

#include <climits>
#include <cstring>

#include "resize_float_paths.h"
#include "utils/float_ops_avx2.h"

namespace qevo_simd {
namespace {

struct OpsAvx2 : FloatOpsAvx2 {
    static constexpr int kParts = 2, kRegFloats = 8, kMaxRegs = 2;
    // With a window: per quad q, positions at 32q and weights at 64 + 32q,
    // both in lane order (first taps, second taps) for q = 0 and (second
    // taps, first taps) for q = 1; with two registers bit 31 of a position
    // selects the second.
    static constexpr size_t kGroupBytes = 128;

    static void encode(unsigned char *gd, int k, int pos0, int pos1, float w0, float w1, int regs) {
        const int q = k / 4, j = k % 4;
        const size_t at0 = 32 * q + 16 * q + 4 * j, at1 = 32 * q + 16 * (1 - q) + 4 * j;
        const int p0 = regs == 2 ? in_pair(pos0) : pos0, p1 = regs == 2 ? in_pair(pos1) : pos1;
        std::memcpy(gd + at0, &p0, 4);
        std::memcpy(gd + at1, &p1, 4);
        std::memcpy(gd + 64 + at0, &w0, 4);
        std::memcpy(gd + 64 + at1, &w1, 4);
    }
    template <int R>
    static __m256 blend(const float *row, const int *base, const unsigned char *gd) {
        const __m256 p = _mm256_mul_ps(weights(gd + 64), quad<R>(row + base[0], gd));
        const __m256 q = _mm256_mul_ps(weights(gd + 96), quad<R>(row + base[1], gd + 32));
        return _mm256_add_ps(_mm256_blend_ps(p, q, 0xf0), _mm256_permute2f128_ps(p, q, 0x21));
    }
    template <int R>
    static __m256 pick(const float *row, const int *base, const unsigned char *gd) {
        return _mm256_blend_ps(quad<R>(row + base[0], gd), quad<R>(row + base[1], gd + 32), 0xf0);
    }

  private:
    // A position in a window of two registers: its place in its register,
    // and bit 31 set for the second one (the permute looks at bits 0-2 only).
    static int in_pair(int pos) { return (pos & 7) | (pos >= 8 ? INT_MIN : 0); }
    static __m256i index(const unsigned char *p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    }
    static __m256 weights(const unsigned char *p) {
        return _mm256_loadu_ps(reinterpret_cast<const float *>(p));
    }
    // A quad's taps from the window of R registers at w, in the order of its
    // positions.
    template <int R>
    static __m256 quad(const float *w, const unsigned char *idx) {
        const __m256i i = index(idx);
        const __m256 lo = _mm256_permutevar8x32_ps(_mm256_loadu_ps(w), i);
        if (R == 1) return lo;
        const __m256 hi = _mm256_permutevar8x32_ps(_mm256_loadu_ps(w + 8), i);
        return _mm256_blendv_ps(lo, hi, _mm256_castsi256_ps(i));
    }
};

}  // namespace

const FloatResizePaths kFloatResizeAvx2 = {"avx2", bilinear_planes<OpsAvx2>,
                                           nearest_planes<OpsAvx2>};

}  // namespace qevo_simd
