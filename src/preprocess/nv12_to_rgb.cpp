// Semi-planar YUV 4:2:0 to packed RGB or BGR. The scalar row functions of
// yuv_rgb_rows.h are the definition; the vector paths reproduce them.
#include <climits>
#include <cstddef>

#include "preprocess.h"
#include "utils/simd_path.h"
#include "yuv_rgb_rows.h"

namespace qevo_color {

namespace {

// Indexed by qevo::ColorMatrix.
const Coeffs kCoeffs[3] = {
    {9539, 13075, 3209, 6660, 16525, -580},  // BT601_LIMITED
    {8192, 11485, 2819, 5850, 14516, 16},    // BT601_FULL
    {9539, 14686, 1747, 4366, 17305, -580},  // BT709_LIMITED
};

template <bool NV21, bool BGR>
void packed_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                 const Coeffs &k, unsigned char *dst, ptrdiff_t out_next) {
    for (int row = 0; row < 2; ++row)
        packed_range<NV21, BGR>(y + row * y_next, uv, 0, n, k, dst + row * out_next);
}

template <bool NV21>
void planar_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                 const Coeffs &k, unsigned char *r, unsigned char *g, unsigned char *b,
                 ptrdiff_t out_next) {
    for (int row = 0; row < 2; ++row) {
        const ptrdiff_t o = row * out_next;
        planar_range<NV21>(y + row * y_next, uv, 0, n, k, r + o, g + o, b + o);
    }
}

template <bool NV21>
void float_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                const Coeffs &k, const Norm &nm, float *r, float *g, float *b, ptrdiff_t out_next) {
    for (int row = 0; row < 2; ++row) {
        const ptrdiff_t o = row * out_next;
        float_range<NV21>(y + row * y_next, uv, 0, n, k, nm, r + o, g + o, b + o);
    }
}

const Paths kPathsScalar = {"scalar",
                            {{packed_rows<false, false>, packed_rows<false, true>},
                             {packed_rows<true, false>, packed_rows<true, true>}},
                            {planar_rows<false>, planar_rows<true>},
                            {float_rows<false>, float_rows<true>}};

}  // namespace

const Coeffs &coeffs_of(qevo::ColorMatrix m) { return kCoeffs[static_cast<int>(m)]; }

const Paths &choose_paths() {
    switch (qevo_internal::chosen_simd_path()) {
#if defined(__x86_64__) || defined(_M_X64)
        case qevo_internal::SimdPath::Avx2:
            return kPathsAvx2;
        case qevo_internal::SimdPath::Sse41:
            return kPathsSse41;
#elif defined(__aarch64__)
        case qevo_internal::SimdPath::Neon:
            return kPathsNeon;
#endif
        default:
            return kPathsScalar;
    }
}

}  // namespace qevo_color

namespace qevo {

int nv12_to_rgb(const unsigned char *y, int y_stride, const unsigned char *uv, int uv_stride,
                int width, int height, unsigned char *dst, int dst_stride, bool bgr, bool nv21,
                ColorMatrix matrix) {
    if (y == nullptr || uv == nullptr || dst == nullptr) return 1;
    if (width < 2 || height < 2 || width % 2 != 0 || height % 2 != 0) return 1;
    if (matrix != BT601_LIMITED && matrix != BT601_FULL && matrix != BT709_LIMITED) return 1;
    if (y_stride < width || uv_stride < width || dst_stride < 3LL * width) return 1;

    const qevo_color::Coeffs &k = qevo_color::coeffs_of(matrix);
    const qevo_color::PackedRowsFn rows = qevo_color::choose_paths().packed[nv21][bgr];
    for (int r = 0; r < height; r += 2) {
        rows(y + static_cast<size_t>(y_stride) * r, y_stride,
             uv + static_cast<size_t>(uv_stride) * (r / 2), width, k,
             dst + static_cast<size_t>(dst_stride) * r, dst_stride);
    }
    return 0;
}

int nv12_to_rgb(const unsigned char *src, int width, int height, unsigned char *dst, bool bgr,
                bool nv21, ColorMatrix matrix) {
    if (src == nullptr || width > INT_MAX / 3) return 1;
    const unsigned char *uv = width > 0 && height > 0
                                  ? src + static_cast<size_t>(width) * static_cast<size_t>(height)
                                  : src;
    return nv12_to_rgb(src, width, uv, width, width, height, dst, 3 * width, bgr, nv21, matrix);
}

}  // namespace qevo
