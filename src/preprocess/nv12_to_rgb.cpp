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
void packed_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *dst) {
    packed_range<NV21, BGR>(y, uv, 0, n, k, dst);
}

template <bool NV21>
void planar_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
                unsigned char *r, unsigned char *g, unsigned char *b) {
    planar_range<NV21>(y, uv, 0, n, k, r, g, b);
}

template <bool NV21>
void float_row(const unsigned char *y, const unsigned char *uv, int n, const Coeffs &k,
               const Norm &nm, float *r, float *g, float *b) {
    float_range<NV21>(y, uv, 0, n, k, nm, r, g, b);
}

const Paths kPathsScalar = {"scalar",
                            {{packed_row<false, false>, packed_row<false, true>},
                             {packed_row<true, false>, packed_row<true, true>}},
                            {planar_row<false>, planar_row<true>},
                            {float_row<false>, float_row<true>}};

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
    const qevo_color::PackedRowFn row = qevo_color::choose_paths().packed[nv21][bgr];
    for (int r = 0; r < height; ++r) {
        row(y + static_cast<size_t>(y_stride) * r, uv + static_cast<size_t>(uv_stride) * (r / 2),
            width, k, dst + static_cast<size_t>(dst_stride) * r);
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
