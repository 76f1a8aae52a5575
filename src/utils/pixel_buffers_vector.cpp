// Choice of the vector forms of the pixel-buffer helpers, the planar split of
// nhwc2nchw and pad_img built on them.
#include <cstdint>

#include "utils/pixel_buffer_paths.h"
#include "utils/simd_select.h"

namespace qevo_simd {

const PixelBufferPaths *pixel_buffer_paths() { return QEVO_SIMD_PICK(kPixelBuffer); }

namespace {

bool overlap(const unsigned char *a, size_t na, const unsigned char *b, size_t nb) {
    const uintptr_t pa = reinterpret_cast<uintptr_t>(a), pb = reinterpret_cast<uintptr_t>(b);
    return na > 0 && nb > 0 && pa < pb + nb && pb < pa + na;
}

}  // namespace

size_t split_planes(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
                    unsigned char *p2) {
    const PixelBufferPaths *paths = pixel_buffer_paths();
    if (paths == nullptr || overlap(src, 3 * n, p0, n) || overlap(src, 3 * n, p1, n) ||
        overlap(src, 3 * n, p2, n))
        return 0;
    return paths->split3(src, n, p0, p1, p2);
}

bool pad_with_fills(const unsigned char *data, long long imgW, long long imgH, int channels,
                    long long padleft, long long padright, long long padtop, long long padbot,
                    unsigned char *dst, const std::vector<int> &values) {
    const PixelBufferPaths *paths = pixel_buffer_paths();
    if (paths == nullptr || channels < 1 || channels > 4) return false;
    if (values.size() < static_cast<size_t>(channels)) return false;
    const size_t c = static_cast<size_t>(channels);
    const size_t wstride = static_cast<size_t>(imgW) * c;
    const size_t dstW = static_cast<size_t>(imgW + padleft + padright);
    const size_t stride = dstW * c;
    const size_t rows = static_cast<size_t>(imgH + padtop + padbot);
    if (overlap(data, wstride * static_cast<size_t>(imgH), dst, stride * rows)) return false;

    unsigned char pattern[4];
    for (size_t k = 0; k < c; ++k) pattern[k] = static_cast<unsigned char>(values[k]);
    const size_t top = static_cast<size_t>(padtop), h = static_cast<size_t>(imgH);
    const size_t left = static_cast<size_t>(padleft) * c, right = static_cast<size_t>(padright) * c;
    // Whole rows follow each other, so each border is one run of bytes that
    // starts on a pixel.
    paths->fill(dst, 0, 1, top * stride, pattern, channels);
    unsigned char *body = dst + top * stride;
    if (left == 0 && right == 0) {
        if (wstride * h > 0) std::memcpy(body, data, wstride * h);
    } else {
        paths->fill(body, stride, h, left, pattern, channels);
        for (size_t j = 0; wstride > 0 && j < h; ++j)
            std::memcpy(body + j * stride + left, data + j * wstride, wstride);
        paths->fill(body + left + wstride, stride, h, right, pattern, channels);
    }
    paths->fill(body + h * stride, 0, 1, static_cast<size_t>(padbot) * stride, pattern, channels);
    return true;
}

}  // namespace qevo_simd
