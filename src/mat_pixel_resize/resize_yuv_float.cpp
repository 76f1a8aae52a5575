// Semi-planar YUV 4:2:0 resize built on the fixed-point kernels, and the
// single-precision bilinear resize of one float plane.
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "mat_pixel_resize.h"
#include "resize_float_paths.h"
#include "utils/simd_select.h"

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

using qevo_simd::blend;
using qevo_simd::Tap;
using qevo_simd::tap_of;

namespace qevo_simd {

const FloatResizePaths *float_resize_paths() { return QEVO_SIMD_PICK(kFloatResize); }

}  // namespace qevo_simd

namespace {

// The vector form of the chosen instruction set over all planes, given the
// column taps and the row step; false when there is none or it could not run
// (nothing written then).
bool resize_float_vector(const float *src, int srcw, int srch, float *dst, int dstw, int dsth,
                         long long planes, const Tap *cols, double step_y) {
    const qevo_simd::FloatResizePaths *paths = qevo_simd::float_resize_paths();
    if (paths == nullptr) return false;
    Tap *rows = static_cast<Tap *>(std::malloc(sizeof(Tap) * static_cast<size_t>(dsth)));
    if (rows == nullptr) return false;
    for (int y = 0; y < dsth; ++y) rows[y] = tap_of(y, step_y, srch);
    const bool done = paths->bilinear(src, srcw, srch, dst, dstw, dsth, planes, cols, rows);
    std::free(rows);
    return done;
}

// The definition, one plane; col_tap(x) gives the taps of output column x.
template <class ColTap>
void bilinear_plane_scalar(const float *src, int srcw, int srch, float *dst, int dstw, int dsth,
                           double step_y, ColTap col_tap) {
    for (int y = 0; y < dsth; ++y) {
        const Tap ty = tap_of(y, step_y, srch);
        const float *row0 = src + static_cast<size_t>(ty.i0) * static_cast<size_t>(srcw);
        const float *row1 = src + static_cast<size_t>(ty.i1) * static_cast<size_t>(srcw);
        float *out = dst + static_cast<size_t>(y) * static_cast<size_t>(dstw);
        for (int x = 0; x < dstw; ++x) {
            const Tap tx = col_tap(x);
            const float r0 = blend(tx.alpha, row0[tx.i0], row0[tx.i1]);
            const float r1 = blend(tx.alpha, row1[tx.i0], row1[tx.i1]);
            out[x] = blend(ty.alpha, r0, r1);
        }
    }
}

}  // namespace

float single_bilinear(float x, int x0, int x1, float data0, float data1) {
    (void)x1;
    return blend(std::fabs(x - static_cast<float>(x0)), data0, data1);
}

void resize_bilinear_float_c1(float *src, int srcw, int srch, float *dst, int dstw, int dsth) {
    if (src == nullptr || dst == nullptr) return;
    qevo_simd::resize_bilinear_float_planes(src, srcw, srch, dst, dstw, dsth, 1);
}

// The column taps depend on the output column only, so they are worked out
// once per call (the values are exactly those of a per-pixel computation); if
// that small table cannot be allocated they are recomputed per pixel.
// bilinear_plane_scalar is the definition; the vector forms give the same
// floats.
void qevo_simd::resize_bilinear_float_planes(const float *src, int srcw, int srch, float *dst,
                                             int dstw, int dsth, long long planes) {
    if (src == nullptr || dst == nullptr || planes < 1) return;
    if (srcw < 1 || srch < 1 || dstw < 1 || dsth < 1) return;
    const double step_x = static_cast<double>(srcw) / (static_cast<double>(dstw) + 1.0);
    const double step_y = static_cast<double>(srch) / (static_cast<double>(dsth) + 1.0);
    Tap *cols = static_cast<Tap *>(std::malloc(sizeof(Tap) * static_cast<size_t>(dstw)));
    if (cols != nullptr) {
        for (int x = 0; x < dstw; ++x) cols[x] = tap_of(x, step_x, srcw);
        if (resize_float_vector(src, srcw, srch, dst, dstw, dsth, planes, cols, step_y)) {
            std::free(cols);
            return;
        }
    }
    const size_t in_plane = static_cast<size_t>(srcw) * static_cast<size_t>(srch);
    const size_t out_plane = static_cast<size_t>(dstw) * static_cast<size_t>(dsth);
    for (long long p = 0; p < planes; ++p) {
        const float *in = src + p * in_plane;
        float *out = dst + p * out_plane;
        if (cols != nullptr)
            bilinear_plane_scalar(in, srcw, srch, out, dstw, dsth, step_y,
                                  [cols](int x) { return cols[x]; });
        else
            bilinear_plane_scalar(in, srcw, srch, out, dstw, dsth, step_y,
                                  [step_x, srcw](int x) { return tap_of(x, step_x, srcw); });
    }
    std::free(cols);
}
