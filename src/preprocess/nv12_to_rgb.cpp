// Semi-planar YUV 4:2:0 to packed RGB or BGR. The scalar row functions of
// yuv_rgb_rows.h are the definition; the vector paths reproduce them.
#include <climits>
#include <cstddef>

#include "preprocess.h"
#include "utils/simd_select.h"
#include "yuv_rgb_rows.h"

namespace qevo_color {

namespace {

// Indexed by qevo::ColorMatrix.
const Coeffs kCoeffs[3] = {
    {9539, 13075, 3209, 6660, 16525, -580},  // BT601_LIMITED
    {8192, 11485, 2819, 5850, 14516, 16},    // BT601_FULL
    {9539, 14686, 1747, 4366, 17305, -580},  // BT709_LIMITED
};

const Paths kPathsScalar = {"scalar",
                            {{packed_rows_scalar<false, false>, packed_rows_scalar<false, true>},
                             {packed_rows_scalar<true, false>, packed_rows_scalar<true, true>}},
                            {planar_rows_scalar<false>, planar_rows_scalar<true>},
                            {float_rows_scalar<false>, float_rows_scalar<true>}};

}  // namespace

bool valid_matrix(qevo::ColorMatrix m) {
    return m == qevo::BT601_LIMITED || m == qevo::BT601_FULL || m == qevo::BT709_LIMITED;
}

const Coeffs &coeffs_of(qevo::ColorMatrix m) { return kCoeffs[static_cast<int>(m)]; }

const Paths &choose_paths() {
    const Paths *chosen = QEVO_SIMD_PICK(kPaths);
    return chosen != nullptr ? *chosen : kPathsScalar;
}

}  // namespace qevo_color

namespace qevo {

int nv12_to_rgb(const unsigned char *y, int y_stride, const unsigned char *uv, int uv_stride,
                int width, int height, unsigned char *dst, int dst_stride, bool bgr, bool nv21,
                ColorMatrix matrix) {
    if (y == nullptr || uv == nullptr || dst == nullptr) return 1;
    if (width < 2 || height < 2 || width % 2 != 0 || height % 2 != 0) return 1;
    if (!qevo_color::valid_matrix(matrix)) return 1;
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
    if (src == nullptr || width < 2 || width > INT_MAX / 3) return 1;
    const unsigned char *uv =
        height > 0 ? src + static_cast<size_t>(width) * static_cast<size_t>(height) : src;
    return nv12_to_rgb(src, width, uv, width, width, height, dst, 3 * width, bgr, nv21, matrix);
}

}  // namespace qevo
