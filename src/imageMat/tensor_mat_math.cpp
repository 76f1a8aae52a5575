// TensorMat norms and element-wise addition on single-precision data.
#include <cmath>

#include "imageMat.h"
#include "imageMat/tensor_math_paths.h"
#include "utils/debug_trace.h"
#include "utils/simd_select.h"

namespace qevo_simd {

const TensorMathPaths *tensor_math_paths() { return QEVO_SIMD_PICK(kTensorMath); }

}  // namespace qevo_simd

namespace {

// Number of floats the norms may touch: elementNum, but never more than the
// buffer holds.
int float_span(const TensorMat &t) {
    if (t.data == nullptr || t.elementNum <= 0 || t.dataByte <= 0) return 0;
    const int held = t.dataByte / 4;
    return t.elementNum < held ? t.elementNum : held;
}

// The loops below are the definition; a vector form of the chosen instruction
// set does a leading part of a pass with the same floats.
using qevo_simd::tensor_math_paths;

}  // namespace

int TensorMat::l2_norm() {
    const int n = float_span(*this);
    float *d = static_cast<float *>(data);
    float squareSum = 0.f;
    for (int i = 0; i < n; ++i) {
        const float sq = d[i] * d[i];
        squareSum = squareSum + sq;
    }
    const float sqrtSum = std::sqrt(squareSum);
    const auto *paths = tensor_math_paths();
    for (int i = paths ? paths->divide(d, n, sqrtSum) : 0; i < n; ++i) d[i] = d[i] / sqrtSum;
    return 0;
}

int TensorMat::des_l2_norm() {
    if (data == nullptr || width <= 0 || height <= 0) return 0;
    const long long plane = static_cast<long long>(width) * height;
    if (dataByte <= 0 || plane > dataByte / 4) return 0;
    float *d = static_cast<float *>(data);
    const auto *paths = tensor_math_paths();
    for (int i = paths ? paths->column_l2(d, width, height) : 0; i < width; ++i) {
        float squareSum = 0.f;
        for (int j = 0; j < height; ++j) {
            const float v = d[static_cast<long long>(j) * width + i];
            const float sq = v * v;
            squareSum = squareSum + sq;
        }
        const float sqrtSum = std::sqrt(squareSum);
        for (int j = 0; j < height; ++j) {
            float &v = d[static_cast<long long>(j) * width + i];
            v = v / sqrtSum;
        }
    }
    return 0;
}

int TensorMat::l1_norm() {
    const int n = float_span(*this);
    float *d = static_cast<float *>(data);
    float absoluteSum = 0.f;
    for (int i = 0; i < n; ++i) absoluteSum = absoluteSum + std::fabs(d[i]);
    if (absoluteSum > 0.f) {
        const auto *paths = tensor_math_paths();
        for (int i = paths ? paths->divide(d, n, absoluteSum) : 0; i < n; ++i)
            d[i] = d[i] / absoluteSum;
    }
    return 0;
}

int TensorMat::add(TensorMat *m) {
    if (m == nullptr) return 1;
    if (batchsize != m->batchsize || depth != m->depth || width != m->width ||
        height != m->height) {
        QEVO_TRACE("both shape must be same, [%dx%dx%dx%d] != [%dx%dx%dx%d]", batchsize, depth,
                   height, width, m->batchsize, m->depth, m->height, m->width);
        return 1;
    }
    if (data == nullptr || m->data == nullptr) return 1;
    const int n = elementNum;
    if (n < 0 || n > dataByte / 4 || n > m->dataByte / 4) return 1;
    float *a = static_cast<float *>(data);
    const float *b = static_cast<const float *>(m->data);
    const auto *paths = tensor_math_paths();
    for (int i = paths ? paths->add(a, b, n) : 0; i < n; ++i) a[i] = a[i] + b[i];
    return 0;
}
