// TensorMat spatial resizing (nearest-neighbour and bilinear, planar float).
#include <cstdlib>

#include "imageMat.h"
#include "imageMat/tensor_shape.h"
#include "mat_pixel_resize.h"
#include "mat_pixel_resize/resize_float_paths.h"
#include "utils/debug_trace.h"
#include "utils/simd_select.h"

using qevo_internal::byte_count;
using qevo_internal::element_count;

namespace {

// Plane geometry checked before a float resize: the number of planes, and the
// float counts of one old and one new plane. False when the request cannot be
// carried out without overrunning or wrapping a count.
struct ResizePlan {
    long long planes = 0;
    size_t old_plane = 0;
    size_t new_plane = 0;
    long long new_count = 0;
    long long new_bytes = 0;
};

bool plan_resize(const TensorMat &t, int newwidth, int newheight, ResizePlan *p) {
    if (newwidth < 1 || newheight < 1 || t.width < 1 || t.height < 1) return false;
    const long long old_count = element_count(t.batchsize, t.depth, t.height, t.width);
    const long long old_bytes = byte_count(old_count, 4);
    if (old_bytes < 0 || t.dataByte < old_bytes) return false;
    p->new_count = element_count(t.batchsize, t.depth, newheight, newwidth);
    p->new_bytes = byte_count(p->new_count, 4);
    if (p->new_bytes < 0) return false;
    p->planes = static_cast<long long>(t.batchsize) * t.depth;
    p->old_plane = static_cast<size_t>(t.height) * static_cast<size_t>(t.width);
    p->new_plane = static_cast<size_t>(newheight) * static_cast<size_t>(newwidth);
    return true;
}

// Bytes to request for a payload plus the tensor's offset; at least one, so an
// empty payload still gets a buffer of its own.
size_t alloc_size(long long payload, size_t offset) {
    const size_t n = static_cast<size_t>(payload) + offset;
    return n > 0 ? n : 1;
}

// Replaces the tensor's buffer by the resized one `out`, which the tensor now
// owns; a borrowed buffer is left to its owner.
void adopt_resized(TensorMat &t, float *out, int newwidth, int newheight, const ResizePlan &plan) {
    if (t.DeepCopy) std::free(t.data);
    t.data = out;
    t.DeepCopy = true;
    t.width = newwidth;
    t.height = newheight;
    t.wstride = newwidth;
    t.elementNum = static_cast<int>(plan.new_count);
    t.dataByte = static_cast<int>(plan.new_bytes);
}

// Nearest source index of output position `i`: i x scale in single precision,
// truncated; clamped to n - 1 (guards float rounding at huge ratios).
inline int nearest_index(int i, float scale, int n) {
    const int s = static_cast<int>(static_cast<float>(i) * scale);
    return s > n - 1 ? n - 1 : s;
}

// Source indices of every output column and row of a nearest resize, worked
// out once per call; both null when they cannot be allocated.
struct NearestTaps {
    qevo_simd::Tap *cols;  // cols[x].i0: source column of output column x
    int *rows;
    NearestTaps(int width, int height, int newwidth, int newheight, float w_scale, float h_scale)
        : cols(static_cast<qevo_simd::Tap *>(
              std::malloc(sizeof(qevo_simd::Tap) * static_cast<size_t>(newwidth)))),
          rows(static_cast<int *>(std::malloc(sizeof(int) * static_cast<size_t>(newheight)))) {
        if (cols == nullptr || rows == nullptr) {
            std::free(cols);
            std::free(rows);
            cols = nullptr;
            rows = nullptr;
            return;
        }
        for (int x = 0; x < newwidth; ++x) {
            const int sx = nearest_index(x, w_scale, width);
            cols[x] = qevo_simd::Tap{sx, sx, 0.f};
        }
        for (int y = 0; y < newheight; ++y) rows[y] = nearest_index(y, h_scale, height);
    }
    ~NearestTaps() {
        std::free(cols);
        std::free(rows);
    }
    NearestTaps(const NearestTaps &) = delete;
    NearestTaps &operator=(const NearestTaps &) = delete;
};

}  // namespace

int TensorMat::resize(int width, int height, bool interpo) {
    if (dataType != QEVO::AI_FLOAT) {
        QEVO_TRACE("only float type support");
        return 1;
    }
    if (interpo) {
        if (layout == QEVO::HWC || layout == QEVO::WHC) return resize_bilinear_nhwc(width, height);
        return resize_bilinear_nchw(width, height);
    }
    if (layout == QEVO::CHW) return resize_nearest_nchw(width, height);
    return resize_nearest_nhwc(width, height);
}

int TensorMat::resize_nearest_nchw(int newwidth, int newheight) {
    if (data == nullptr) {
        QEVO_TRACE("TensorMat is empty, should init first");
        return 1;
    }
    if (newwidth == width && newheight == height) return 0;
    ResizePlan plan;
    if (!plan_resize(*this, newwidth, newheight, &plan)) return 1;
    const float h_scale = static_cast<float>(height) / static_cast<float>(newheight);
    const float w_scale = static_cast<float>(width) / static_cast<float>(newwidth);
    float *out = static_cast<float *>(std::malloc(alloc_size(plan.new_bytes, offset)));
    if (out == nullptr) return 1;
    const float *in = static_cast<const float *>(data);
    // A tensor without planes has nothing to write; its index tables would be
    // sized by the request alone (up to INT_MAX columns).
    if (plan.planes > 0) {
        const NearestTaps taps(width, height, newwidth, newheight, w_scale, h_scale);
        if (taps.cols == nullptr) {
            std::free(out);
            return 1;
        }
        const qevo_simd::FloatResizePaths *paths = qevo_simd::float_resize_paths();
        // The loop is the definition; the vector forms give the same floats.
        if (paths == nullptr || !paths->nearest(in, width, height, out, newwidth, newheight,
                                                plan.planes, taps.cols, taps.rows)) {
            float *o = out;
            for (long long p = 0; p < plan.planes; ++p) {
                for (int y = 0; y < newheight; ++y) {
                    const float *src_row =
                        in + static_cast<size_t>(taps.rows[y]) * static_cast<size_t>(width);
                    float *dst_row = o + static_cast<size_t>(y) * static_cast<size_t>(newwidth);
                    for (int x = 0; x < newwidth; ++x) dst_row[x] = src_row[taps.cols[x].i0];
                }
                in += plan.old_plane;
                o += plan.new_plane;
            }
        }
    }
    adopt_resized(*this, out, newwidth, newheight, plan);
    return 0;
}

int TensorMat::resize_bilinear_nchw(int newwidth, int newheight) {
    if (data == nullptr) {
        QEVO_TRACE("TensorMat is empty, should init first");
        return 1;
    }
    if (newwidth == width && newheight == height) return 0;
    ResizePlan plan;
    if (!plan_resize(*this, newwidth, newheight, &plan)) return 1;
    float *out = static_cast<float *>(std::malloc(alloc_size(plan.new_bytes, offset)));
    if (out == nullptr) return 1;
    // All planes share one set of taps and one vector set-up.
    qevo_simd::resize_bilinear_float_planes(static_cast<const float *>(data), width, height, out,
                                            newwidth, newheight, plan.planes);
    adopt_resized(*this, out, newwidth, newheight, plan);
    return 0;
}

int TensorMat::resize_nearest_nhwc(int width, int height) {
    (void)width;
    (void)height;
    QEVO_TRACE("resize_nearest_nhwc not support for now");
    return 1;
}

int TensorMat::resize_bilinear_nhwc(int newwidth, int newheight) {
    (void)newwidth;
    (void)newheight;
    return 1;
}
