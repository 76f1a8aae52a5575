// Semi-planar YUV 4:2:0 resize built on the fixed-point kernels, and the
// single-precision bilinear resize of one float plane.
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "mat_pixel_resize.h"

void resize_bilinear_yuv420sp(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                              int w, int h) {
    if (src == nullptr || dst == nullptr) return;
    if (srcw < 4 || srch < 4 || w < 1 || h < 1) return;
    resize_bilinear_c1(src, srcw, srch, dst, w, h);
    const int cw = w / 2;
    const int ch = h / 2;
    if (cw < 1 || ch < 1) return;
    const unsigned char *src_uv = src + static_cast<size_t>(srcw) * static_cast<size_t>(srch);
    unsigned char *dst_uv = dst + static_cast<size_t>(w) * static_cast<size_t>(h);
    resize_bilinear_c2(src_uv, srcw / 2, srch / 2, dst_uv, cw, ch);
}

namespace {

// The one-dimensional blend of single_bilinear with the distance `alpha` from
// the left tap already taken: two separately rounded products, then the sum.
inline float blend(float alpha, float data0, float data1) {
    const float p0 = (1.f - alpha) * data0;
    const float p1 = alpha * data1;
    return p0 + p1;
}

inline int clamp_index(int v, int n) { return v < 0 ? 0 : (v > n - 1 ? n - 1 : v); }

// The two source taps of output position `idx` and the blend distance, for
// the mapping (idx + 1) x (n / (m + 1)) - 0.5 with `step` = n / (m + 1).
struct Tap {
    int i0;
    int i1;
    float alpha;
};

inline Tap tap_of(int idx, double step, int n) {
    const float raw = static_cast<float>((static_cast<double>(idx) + 1.0) * step - 0.5);
    const int i0 = clamp_index(static_cast<int>(raw), n);
    const int i1 = clamp_index(static_cast<int>(std::ceil(raw)), n);
    return Tap{i0, i1, std::fabs(raw - static_cast<float>(i0))};
}

}  // namespace

float single_bilinear(float x, int x0, int x1, float data0, float data1) {
    (void)x1;
    return blend(std::fabs(x - static_cast<float>(x0)), data0, data1);
}

// The column taps depend on the output column only, so they are worked out
// once per call (the values are exactly those of a per-pixel computation); if
// that small table cannot be allocated they are recomputed per pixel.
void resize_bilinear_float_c1(float *src, int srcw, int srch, float *dst, int dstw, int dsth) {
    if (src == nullptr || dst == nullptr) return;
    if (srcw < 1 || srch < 1 || dstw < 1 || dsth < 1) return;
    const double step_x = static_cast<double>(srcw) / (static_cast<double>(dstw) + 1.0);
    const double step_y = static_cast<double>(srch) / (static_cast<double>(dsth) + 1.0);
    Tap *cols = static_cast<Tap *>(std::malloc(sizeof(Tap) * static_cast<size_t>(dstw)));
    if (cols != nullptr) {
        for (int x = 0; x < dstw; ++x) cols[x] = tap_of(x, step_x, srcw);
    }
    for (int y = 0; y < dsth; ++y) {
        const Tap ty = tap_of(y, step_y, srch);
        const float *row0 = src + static_cast<size_t>(ty.i0) * static_cast<size_t>(srcw);
        const float *row1 = src + static_cast<size_t>(ty.i1) * static_cast<size_t>(srcw);
        float *out = dst + static_cast<size_t>(y) * static_cast<size_t>(dstw);
        for (int x = 0; x < dstw; ++x) {
            const Tap tx = cols != nullptr ? cols[x] : tap_of(x, step_x, srcw);
            const float r0 = blend(tx.alpha, row0[tx.i0], row0[tx.i1]);
            const float r1 = blend(tx.alpha, row1[tx.i0], row1[tx.i1]);
            out[x] = blend(ty.alpha, r0, r1);
        }
    }
    std::free(cols);
}
