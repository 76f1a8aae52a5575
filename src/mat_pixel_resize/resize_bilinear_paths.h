// Internal to the fixed-point bilinear kernels: the per-row building blocks
// and the table of code paths (scalar, SSE4.1, AVX2, NEON) that provide them.
//
// The scalar row functions below are the definition of every result: a vector
// path must write exactly the 16-bit row values and output bytes they write.
// Everything here has internal linkage on purpose: the vector files are built
// with their own instruction-set flags, and a shared (COMDAT) copy of an inline
// function could otherwise be taken from such a file and run on a CPU that
// lacks those instructions.
#ifndef QEVO_RESIZE_BILINEAR_PATHS_H
#define QEVO_RESIZE_BILINEAR_PATHS_H

#include <cstddef>
#include <cstring>

#include "utils/simd_select.h"

namespace qevo_resize {

// Fills R[dx * N + c] for every output column dx of one row from source row S.
// `src_row_bytes` is the number of readable bytes of S (srcw * N); vector
// paths use it to keep wide loads inside the row. `plan` holds the path's own
// per-call tables (see PlanFn), or is null for a path without them.
using RowFn = void (*)(const unsigned char *S, int src_row_bytes, const int *xofs,
                       const short *ialpha, int w, short *R, const void *plan);
// Fills two row buffers from two source rows in one pass over the tables
// (R0 from S0, R1 from S1); the values are those of two RowFn calls.
using TwoRowFn = void (*)(const unsigned char *S0, const unsigned char *S1, int src_row_bytes,
                          const int *xofs, const short *ialpha, int w, short *R0, short *R1,
                          const void *plan);
// Per-call tables of a path's horizontal pass, worked out once from the column
// tables in the layout the path reads fastest. PlanBytesFn gives the space
// they need for N channels and w output columns; PlanFn fills that space
// (16-byte aligned), which the row functions then receive as `plan`.
using PlanBytesFn = size_t (*)(int N, int w);
using PlanFn = void (*)(int N, const int *xofs, const short *ialpha, int w, int src_row_bytes,
                        void *plan);
// Blends two cached rows of n values into n output bytes.
using BlendFn = void (*)(const short *rows0, const short *rows1, int b0, int b1, int n,
                         unsigned char *Dp);

// Exact 2:1 shrink in both directions (srcw = 2w, srch = 2h). The tables then
// hold the weight 1024 for both taps everywhere, so a row value is
// 64 x (left + right) with nothing truncated, the blend takes back exactly the
// sum of the two pixels of each row, and an output byte is the mean of its
// 2x2 block rounded half up: (a + b + c + d + 2) >> 2.
using HalveFn = void (*)(const unsigned char *src, int srcstride, unsigned char *dst, int w, int h,
                         int stride);

struct Paths {
    const char *name;
    RowFn row[4];  // index N - 1
    BlendFn blend;
    HalveFn halve[4];        // index N - 1; null where the row functions do the job
    TwoRowFn two_rows[4];    // index N - 1; null: two RowFn calls
    PlanBytesFn plan_bytes;  // null: the path has no per-call tables
    PlanFn plan;
};

// Extra 16-bit values after each row buffer, so a vector store of the last
// output pixels may spill scratch lanes without leaving the allocation.
constexpr int kRowSpare = 16;

namespace {

// Horizontal pass for output columns [dx0, dx1): the two neighbouring source
// pixels (exactly 2N bytes) weighted by the column's pair, 32-bit signed, >> 4.
template <int N>
inline void fill_row_range(const unsigned char *S, const int *xofs, const short *ialpha, int dx0,
                           int dx1, short *R) {
    for (int dx = dx0; dx < dx1; ++dx) {
        const int sx = xofs[dx];
        const int a0 = ialpha[2 * dx];
        const int a1 = ialpha[2 * dx + 1];
        for (int c = 0; c < N; ++c) {
            R[dx * N + c] = static_cast<short>((S[sx + c] * a0 + S[sx + N + c] * a1) >> 4);
        }
    }
}

// Vertical blend for values [i0, i1): 32-bit products, arithmetic shifts, and
// +2 to round the final shift to nearest with halves upward.
inline void blend_range(const short *rows0, const short *rows1, int b0, int b1, int i0, int i1,
                        unsigned char *Dp) {
    for (int i = i0; i < i1; ++i) {
        Dp[i] = static_cast<unsigned char>(
            (((b0 * rows0[i]) >> 16) + ((b1 * rows1[i]) >> 16) + 2) >> 2);
    }
}

// 2:1 shrink of values [i0, i1) of one output row; A and B are the two
// source rows.
template <int N>
inline void halve_range(const unsigned char *A, const unsigned char *B, int i0, int i1,
                        unsigned char *Dp) {
    for (int i = i0; i < i1; ++i) {
        const int s = (i / N) * 2 * N + i % N;
        Dp[i] = static_cast<unsigned char>((A[s] + A[s + N] + B[s] + B[s + N] + 2) >> 2);
    }
}

// Number of leading output columns whose source read of `load_bytes` bytes
// from xofs[dx] stays inside a row of `row_bytes` bytes. xofs never
// decreases, so only a short run at the end of the row is excluded.
inline int columns_in_bounds(const int *xofs, int w, int row_bytes, int load_bytes) {
    int k = w;
    while (k > 0 && static_cast<long long>(xofs[k - 1]) + load_bytes > row_bytes) --k;
    return k;
}

inline unsigned load_u16(const unsigned char *p) {
    unsigned short v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline int load_i32(const unsigned char *p) {
    int v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

}  // namespace

// Vector paths; each exists only on its architecture.
QEVO_SIMD_TABLES(Paths, kPaths);

}  // namespace qevo_resize

#endif  // QEVO_RESIZE_BILINEAR_PATHS_H
