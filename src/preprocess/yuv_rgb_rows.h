// Internal to the colour conversion: the fixed-point constants, the scalar
// row conversions that define every result, and the table of code paths
// (scalar, SSE4.1, AVX2, NEON) that provide whole rows.
//
// As in the resize kernels, the helpers here have internal linkage on
// purpose: the vector files are built with their own instruction-set flags,
// and a shared (COMDAT) copy of an inline function could otherwise be taken
// from such a file and run on a CPU that lacks those instructions.
#ifndef QEVO_YUV_RGB_ROWS_H
#define QEVO_YUV_RGB_ROWS_H

#include <cstddef>

#include "preprocess.h"
#include "utils/simd_select.h"

namespace qevo_color {

// The constants of one matrix (see preprocess.h): textbook coefficients times
// 8192, rounded; `bias` is -(luma offset x gain x 32) + 16.
struct Coeffs {
    int cy, crv, cgu, cgv, cbu, bias;
};

// Float output of R, G and B (in this order): (v - mean) * scale.
struct Norm {
    float mean[3];
    float scale[3];
};

// Each converts two rows of n pixels (n even) that share one chroma row:
// luma rows `y` and `y + y_next`, chroma pairs `uv` (n / 2 of them), output
// rows at the given pointers and `out_next` elements further.
using PackedRowsFn = void (*)(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv,
                              int n, const Coeffs &k, unsigned char *dst,
                              ptrdiff_t out_next);  // 3 bytes per pixel
using PlanarRowsFn = void (*)(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv,
                              int n, const Coeffs &k, unsigned char *r, unsigned char *g,
                              unsigned char *b, ptrdiff_t out_next);
using FloatRowsFn = void (*)(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv,
                             int n, const Coeffs &k, const Norm &norm, float *r, float *g, float *b,
                             ptrdiff_t out_next);

struct Paths {
    const char *name;
    PackedRowsFn packed[2][2];  // [nv21][bgr]
    PlanarRowsFn planar[2];     // [nv21]
    FloatRowsFn planar_f32[2];  // [nv21]
};

// Whether m is one of the matrices of preprocess.h.
bool valid_matrix(qevo::ColorMatrix m);

// Constants of a valid matrix.
const Coeffs &coeffs_of(qevo::ColorMatrix m);

// The path QEVO_SIMD asks for, or the best this CPU runs (read per call).
const Paths &choose_paths();

namespace {

inline unsigned char shift_clamp(int s) {
    s >>= 5;
    return static_cast<unsigned char>(s < 0 ? 0 : (s > 255 ? 255 : s));
}

// Chroma part of one pair, bias included, shared by its 2 x 2 luma block.
struct Terms {
    int r, g, b;
};

template <bool NV21>
inline Terms chroma_terms(const unsigned char *pair, const Coeffs &k) {
    const int u = (NV21 ? pair[1] : pair[0]) - 128;
    const int v = (NV21 ? pair[0] : pair[1]) - 128;
    return Terms{k.bias + ((v * k.crv) >> 8), k.bias - ((u * k.cgu) >> 8) - ((v * k.cgv) >> 8),
                 k.bias + ((u * k.cbu) >> 8)};
}

inline int luma_term(unsigned char y, const Coeffs &k) { return (y * k.cy) >> 8; }

inline float normalise(unsigned char v, float mean, float scale) {
    const float d = static_cast<float>(v) - mean;
    return d * scale;
}

// The scalar path, two rows as the Paths functions take them: one chroma
// pair (two pixels) at a time, both rows taking the pair's terms worked out
// once; store(row, i, r, g, b) puts pixel i of row 0 or 1. The wrappers below
// differ only in their store; the vector paths use them for rows shorter than
// one vector step.

template <bool NV21, typename Store>
inline void scalar_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                        const Coeffs &k, Store store) {
    for (int x = 0; x < n; x += 2) {
        const Terms t = chroma_terms<NV21>(uv + x, k);
        for (int row = 0; row < 2; ++row) {
            const unsigned char *yr = y + row * y_next;
            for (int i = x; i < x + 2; ++i) {
                const int l = luma_term(yr[i], k);
                store(row, i, shift_clamp(l + t.r), shift_clamp(l + t.g), shift_clamp(l + t.b));
            }
        }
    }
}

template <bool NV21, bool BGR>
void packed_rows_scalar(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                        const Coeffs &k, unsigned char *dst, ptrdiff_t out_next) {
    scalar_rows<NV21>(y, y_next, uv, n, k,
                      [&](int row, int i, unsigned char r, unsigned char g, unsigned char b) {
                          unsigned char *p = dst + row * out_next + 3 * i;
                          p[BGR ? 2 : 0] = r;
                          p[1] = g;
                          p[BGR ? 0 : 2] = b;
                      });
}

template <bool NV21>
void planar_rows_scalar(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                        const Coeffs &k, unsigned char *r, unsigned char *g, unsigned char *b,
                        ptrdiff_t out_next) {
    scalar_rows<NV21>(y, y_next, uv, n, k,
                      [&](int row, int i, unsigned char rv, unsigned char gv, unsigned char bv) {
                          const ptrdiff_t o = row * out_next + i;
                          r[o] = rv;
                          g[o] = gv;
                          b[o] = bv;
                      });
}

template <bool NV21>
void float_rows_scalar(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                       const Coeffs &k, const Norm &nm, float *r, float *g, float *b,
                       ptrdiff_t out_next) {
    scalar_rows<NV21>(y, y_next, uv, n, k,
                      [&](int row, int i, unsigned char rv, unsigned char gv, unsigned char bv) {
                          const ptrdiff_t o = row * out_next + i;
                          r[o] = normalise(rv, nm.mean[0], nm.scale[0]);
                          g[o] = normalise(gv, nm.mean[1], nm.scale[1]);
                          b[o] = normalise(bv, nm.mean[2], nm.scale[2]);
                      });
}

// Runs step(x) for x = 0, STEP, 2 STEP, ... and, when n is not a multiple
// of STEP, once more at n - STEP (overlapping the previous step, which is
// harmless as each step only rewrites its own values). Returns false, having
// done nothing, for rows shorter than one step.
template <int STEP, typename F>
inline bool for_steps(int n, F step) {
    if (n < STEP) return false;
    int x = 0;
    for (; x + STEP <= n; x += STEP) step(x);
    if (x < n) step(n - STEP);
    return true;
}

// The vector paths share the row-pair loop below; each instruction set
// provides a policy V with the arithmetic of one step of V::kStep pixels:
//   V::Consts (from Coeffs), V::NormConsts (from Norm), V::Chroma, V::Rgb;
//   V::chroma<NV21>(uv, consts): the terms of the step's chroma pairs;
//   V::luma(y, chroma, consts): the step's pixels of one row;
//   V::store_packed<BGR>(rgb, dst), V::store_planar(rgb, r, g, b),
//   V::store_float(rgb, norm_consts, r, g, b): the step's output.
// Both rows of a pair take the chroma terms worked out once.

template <class V, bool NV21, typename Store>
inline bool vector_rows(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                        const Coeffs &k, Store store) {
    const typename V::Consts c(k);
    return for_steps<V::kStep>(n, [&](int x) {
        const typename V::Chroma t = V::template chroma<NV21>(uv + x, c);
        for (int row = 0; row < 2; ++row) store(V::luma(y + row * y_next + x, t, c), row, x);
    });
}

template <class V, bool NV21, bool BGR>
void packed_rows_vector(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                        const Coeffs &k, unsigned char *dst, ptrdiff_t out_next) {
    const bool done =
        vector_rows<V, NV21>(y, y_next, uv, n, k, [&](const typename V::Rgb &p, int row, int x) {
            V::template store_packed<BGR>(p, dst + row * out_next + 3 * x);
        });
    if (!done) packed_rows_scalar<NV21, BGR>(y, y_next, uv, n, k, dst, out_next);
}

template <class V, bool NV21>
void planar_rows_vector(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                        const Coeffs &k, unsigned char *r, unsigned char *g, unsigned char *b,
                        ptrdiff_t out_next) {
    const bool done =
        vector_rows<V, NV21>(y, y_next, uv, n, k, [&](const typename V::Rgb &p, int row, int x) {
            const ptrdiff_t o = row * out_next + x;
            V::store_planar(p, r + o, g + o, b + o);
        });
    if (!done) planar_rows_scalar<NV21>(y, y_next, uv, n, k, r, g, b, out_next);
}

template <class V, bool NV21>
void float_rows_vector(const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv, int n,
                       const Coeffs &k, const Norm &nm, float *r, float *g, float *b,
                       ptrdiff_t out_next) {
    const typename V::NormConsts nc(nm);
    const bool done =
        vector_rows<V, NV21>(y, y_next, uv, n, k, [&](const typename V::Rgb &p, int row, int x) {
            const ptrdiff_t o = row * out_next + x;
            V::store_float(p, nc, r + o, g + o, b + o);
        });
    if (!done) float_rows_scalar<NV21>(y, y_next, uv, n, k, nm, r, g, b, out_next);
}

// The table of a vector path (a constant expression, so that building it
// runs no code of that instruction set).
template <class V>
constexpr Paths vector_paths(const char *name) {
    return Paths{name,
                 {{packed_rows_vector<V, false, false>, packed_rows_vector<V, false, true>},
                  {packed_rows_vector<V, true, false>, packed_rows_vector<V, true, true>}},
                 {planar_rows_vector<V, false>, planar_rows_vector<V, true>},
                 {float_rows_vector<V, false>, float_rows_vector<V, true>}};
}

}  // namespace

// Vector paths; each exists only on its architecture.
QEVO_SIMD_TABLES(Paths, kPaths);

}  // namespace qevo_color

#endif  // QEVO_YUV_RGB_ROWS_H
