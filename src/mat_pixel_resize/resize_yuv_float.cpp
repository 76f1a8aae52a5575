// Semi-planar YUV 4:2:0 resize built on the fixed-point kernels, and the
// single-precision bilinear resize of one float plane.
#include <cmath>
#include <cstddef>

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

float single_bilinear(float x, int x0, int x1, float data0, float data1) {
    (void)x1;
    const float alpha = std::fabs(x - static_cast<float>(x0));
    const float p0 = (1.f - alpha) * data0;
    const float p1 = alpha * data1;
    return p0 + p1;
}

namespace {

inline int clamp_index(int v, int n) { return v < 0 ? 0 : (v > n - 1 ? n - 1 : v); }

}  // namespace

void resize_bilinear_float_c1(float *src, int srcw, int srch, float *dst, int dstw, int dsth) {
    if (src == nullptr || dst == nullptr) return;
    if (srcw < 1 || srch < 1 || dstw < 1 || dsth < 1) return;
    const double step_x = static_cast<double>(srcw) / (static_cast<double>(dstw) + 1.0);
    const double step_y = static_cast<double>(srch) / (static_cast<double>(dsth) + 1.0);
    for (int y = 0; y < dsth; ++y) {
        const float rawj = static_cast<float>((static_cast<double>(y) + 1.0) * step_y - 0.5);
        const int y0 = clamp_index(static_cast<int>(rawj), srch);
        const int y1 = clamp_index(static_cast<int>(std::ceil(rawj)), srch);
        const float *row0 = src + static_cast<size_t>(y0) * static_cast<size_t>(srcw);
        const float *row1 = src + static_cast<size_t>(y1) * static_cast<size_t>(srcw);
        float *out = dst + static_cast<size_t>(y) * static_cast<size_t>(dstw);
        for (int x = 0; x < dstw; ++x) {
            const float rawi = static_cast<float>((static_cast<double>(x) + 1.0) * step_x - 0.5);
            const int x0 = clamp_index(static_cast<int>(rawi), srcw);
            const int x1 = clamp_index(static_cast<int>(std::ceil(rawi)), srcw);
            const float r0 = single_bilinear(rawi, x0, x1, row0[x0], row0[x1]);
            const float r1 = single_bilinear(rawi, x0, x1, row1[x0], row1[x1]);
            out[x] = single_bilinear(rawj, y0, y1, r0, r1);
        }
    }
}
