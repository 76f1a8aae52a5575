// Internal to the TensorMat norms and addition: the element loops their
// vector forms (SSE4.1, AVX2, NEON) take over, written once over an
// instruction set's float operations (utils/float_ops_*.h).
//
// Every lane does the scalar operation of its element: a division by the
// same divisor, an addition, or, for the column norms, a column's own running
// sum of squares kept in row order with the square rounded before it is added,
// and a correctly rounded square root. Running several columns side by side
// reorders nothing within a column, so the floats are those of the scalar
// loops. The sums over the whole tensor (l1_norm, l2_norm) stay scalar: each
// addition waits for the one before it.
//
// The templates and inline functions here have internal linkage on purpose,
// see mat_pixel_resize/resize_float_paths.h.
#ifndef QEVO_SRC_IMAGEMAT_TENSOR_MATH_PATHS_H
#define QEVO_SRC_IMAGEMAT_TENSOR_MATH_PATHS_H

#include <cstddef>
#include <cstdint>

#include "utils/simd_select.h"

namespace qevo_simd {

// Each function does a leading part of the work and returns its size; the
// scalar loop of the caller does the rest.
struct TensorMathPaths {
    const char *name;
    // d[i] = d[i] / by for the first i of n.
    int (*divide)(float *d, int n, float by);
    // a[i] = a[i] + b[i] for the first i of n, in index order as far as
    // overlapping buffers can tell.
    int (*add)(float *a, const float *b, int n);
    // Normalises the first columns of a height x width matrix (rows packed),
    // each by the square root of its sum of squares.
    int (*column_l2)(float *d, int width, int height);
};

// Null when the scalar code is chosen (see utils/simd_select.h).
const TensorMathPaths *tensor_math_paths();

QEVO_SIMD_TABLES(TensorMathPaths, kTensorMath);

namespace {

template <class Ops>
int divide_by(float *d, int n, float by) {
    constexpr int L = Ops::kLanes;
    const typename Ops::Vec v = Ops::set1(by);
    int i = 0;
    for (; i + L <= n; i += L) Ops::store(d + i, Ops::div(Ops::load(d + i), v));
    return i;
}

// When b starts less than a vector before a, an element added in index order
// reads a sum already stored by the same step; those calls stay scalar.
template <class Ops>
int add_to(float *a, const float *b, int n) {
    constexpr int L = Ops::kLanes;
    const uintptr_t pa = reinterpret_cast<uintptr_t>(a), pb = reinterpret_cast<uintptr_t>(b);
    if (pb < pa && pa - pb < L * sizeof(float)) return 0;
    int i = 0;
    for (; i + L <= n; i += L) Ops::store(a + i, Ops::add(Ops::load(a + i), Ops::load(b + i)));
    return i;
}

// Columns [c, c + K x L) of the matrix: K vectors of running sums go down
// the rows once, then the columns are divided by the square roots.
template <class Ops, int K>
void column_strip(float *d, size_t width, int height, size_t c) {
    constexpr int L = Ops::kLanes;
    typename Ops::Vec s[K];
    for (int k = 0; k < K; ++k) s[k] = Ops::set1(0.f);
    const float *p = d + c;
    for (int j = 0; j < height; ++j, p += width) {
        for (int k = 0; k < K; ++k) {
            const typename Ops::Vec v = Ops::load(p + k * L);
            s[k] = Ops::add(s[k], Ops::mul(v, v));
        }
    }
    for (int k = 0; k < K; ++k) s[k] = Ops::sqrt(s[k]);
    float *q = d + c;
    for (int j = 0; j < height; ++j, q += width) {
        for (int k = 0; k < K; ++k) Ops::store(q + k * L, Ops::div(Ops::load(q + k * L), s[k]));
    }
}

// Strips of four vectors of columns (so that each row read uses whole cache
// lines), then single vectors; the last columns are left to the caller.
template <class Ops>
int column_l2_norm(float *d, int width, int height) {
    constexpr int L = Ops::kLanes;
    const size_t w = static_cast<size_t>(width);
    size_t c = 0;
    for (; c + 4 * L <= w; c += 4 * L) column_strip<Ops, 4>(d, w, height, c);
    for (; c + L <= w; c += L) column_strip<Ops, 1>(d, w, height, c);
    return static_cast<int>(c);
}

}  // namespace

}  // namespace qevo_simd

#endif  // QEVO_SRC_IMAGEMAT_TENSOR_MATH_PATHS_H
