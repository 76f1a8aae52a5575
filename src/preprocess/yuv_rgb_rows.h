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

// The range functions convert pixels x0 .. x1 - 1 of one row, x0 and x1
// even, one chroma pair (two pixels) at a time.

template <bool NV21, bool BGR>
inline void packed_range(const unsigned char *y, const unsigned char *uv, int x0, int x1,
                         const Coeffs &k, unsigned char *dst) {
    for (int x = x0; x < x1; x += 2) {
        const Terms t = chroma_terms<NV21>(uv + x, k);
        for (int i = x; i < x + 2; ++i) {
            const int l = luma_term(y[i], k);
            unsigned char *p = dst + 3 * i;
            p[BGR ? 2 : 0] = shift_clamp(l + t.r);
            p[1] = shift_clamp(l + t.g);
            p[BGR ? 0 : 2] = shift_clamp(l + t.b);
        }
    }
}

template <bool NV21>
inline void planar_range(const unsigned char *y, const unsigned char *uv, int x0, int x1,
                         const Coeffs &k, unsigned char *r, unsigned char *g, unsigned char *b) {
    for (int x = x0; x < x1; x += 2) {
        const Terms t = chroma_terms<NV21>(uv + x, k);
        for (int i = x; i < x + 2; ++i) {
            const int l = luma_term(y[i], k);
            r[i] = shift_clamp(l + t.r);
            g[i] = shift_clamp(l + t.g);
            b[i] = shift_clamp(l + t.b);
        }
    }
}

inline float normalise(unsigned char v, float mean, float scale) {
    const float d = static_cast<float>(v) - mean;
    return d * scale;
}

template <bool NV21>
inline void float_range(const unsigned char *y, const unsigned char *uv, int x0, int x1,
                        const Coeffs &k, const Norm &nm, float *r, float *g, float *b) {
    for (int x = x0; x < x1; x += 2) {
        const Terms t = chroma_terms<NV21>(uv + x, k);
        for (int i = x; i < x + 2; ++i) {
            const int l = luma_term(y[i], k);
            r[i] = normalise(shift_clamp(l + t.r), nm.mean[0], nm.scale[0]);
            g[i] = normalise(shift_clamp(l + t.g), nm.mean[1], nm.scale[1]);
            b[i] = normalise(shift_clamp(l + t.b), nm.mean[2], nm.scale[2]);
        }
    }
}

}  // namespace

// Vector paths; each exists only on its architecture.
#if defined(__x86_64__) || defined(_M_X64)
extern const Paths kPathsSse41;
extern const Paths kPathsAvx2;
#endif
#if defined(__aarch64__)
extern const Paths kPathsNeon;
#endif

}  // namespace qevo_color

#endif  // QEVO_YUV_RGB_ROWS_H
