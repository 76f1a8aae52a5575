/// @file mat_pixel_resize.h
/// Bilinear resize kernels for 8-bit images.
///
/// resize_bilinear_c1 .. resize_bilinear_c4 resize an interleaved image of 1 to
/// 4 bytes per pixel with 11-bit fixed-point weights, half-pixel centre
/// alignment and clamped edges. Strided forms take the byte distance between
/// row starts of the source (`srcstride`) and destination (`stride`); packed
/// forms use width x bytes-per-pixel for both. Bytes of a destination row
/// beyond w x bytes-per-pixel are never written.
///
/// Refused input: the kernel returns without writing anything to `dst` when
///   - `src` or `dst` is null,
///   - the source is narrower or lower than 2 pixels (srcw < 2 or srch < 2),
///   - the target size is not positive (w < 1 or h < 1),
///   - a stride is smaller than one row of its image,
///   - a row or table size does not fit the kernel's integer arithmetic, or
///   - the working storage cannot be allocated.
/// The source and destination must not overlap.
///
/// Vector code: the kernels run in NEON on aarch64 and in AVX2 or SSE4.1 on
/// x86-64 (the best the CPU has, checked at run time), with a scalar form
/// always present. Every form writes exactly the bytes of the scalar one. Each
/// call reads the environment variable QEVO_SIMD to force a form:
///   QEVO_SIMD=scalar | sse41 | avx2 | neon
/// Unset, empty, unknown, or naming a form this CPU cannot run: the best
/// available form is used. Working storage stays per call: the column and row
/// tables plus two row buffers (each with 16 spare values for vector stores).
#ifndef QEVO_MAT_PIXEL_RESIZE_H
#define QEVO_MAT_PIXEL_RESIZE_H

#include "detection_type_api.h"

/// Resizes `src`, srcw x srch pixels of 1 byte (grey) with rows srcstride bytes
/// apart, to `dst`, w x h pixels with rows stride bytes apart.
QEVO_API void resize_bilinear_c1(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);
/// Resizes `src`, srcw x srch pixels of 2 bytes (for example interleaved chroma) with rows
/// srcstride bytes apart, to `dst`, w x h pixels with rows stride bytes apart.
QEVO_API void resize_bilinear_c2(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);
/// Resizes `src`, srcw x srch pixels of 3 bytes (RGB or BGR) with rows srcstride bytes
/// apart, to `dst`, w x h pixels with rows stride bytes apart.
QEVO_API void resize_bilinear_c3(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);
/// Resizes `src`, srcw x srch pixels of 4 bytes (RGBA or BGRA) with rows srcstride bytes
/// apart, to `dst`, w x h pixels with rows stride bytes apart.
QEVO_API void resize_bilinear_c4(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);

/// Resizes `src`, srcw x srch packed pixels of 1 byte, to `dst`, w x h packed
/// pixels.
QEVO_API void resize_bilinear_c1(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);
/// Resizes `src`, srcw x srch packed pixels of 2 bytes, to `dst`, w x h packed
/// pixels.
QEVO_API void resize_bilinear_c2(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);
/// Resizes `src`, srcw x srch packed pixels of 3 bytes, to `dst`, w x h packed
/// pixels.
QEVO_API void resize_bilinear_c3(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);
/// Resizes `src`, srcw x srch packed pixels of 4 bytes, to `dst`, w x h packed
/// pixels.
QEVO_API void resize_bilinear_c4(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);

/// Resizes a semi-planar YUV 4:2:0 frame (luma plane of srcw x srch bytes, then
/// srch / 2 rows of srcw / 2 interleaved chroma pairs starting at byte
/// srcw x srch) to w x h of the same form (chroma at byte w x h): the luma
/// plane with resize_bilinear_c1, the chroma plane as two channels with
/// resize_bilinear_c2 from srcw / 2 x srch / 2 to w / 2 x h / 2 (all halves
/// truncate). The byte order of a chroma pair does not matter (NV12 and NV21).
/// Chroma rows here are packed, 2 x (srcw / 2) bytes (2 x (w / 2) in dst):
/// for an odd width one byte shorter than the rows of width bytes that
/// ImageMat, crop_yuv and pasteNV12Block use (see imageMat.h). For even widths
/// the two layouts are the same; odd-width frames must be repacked between
/// the two.
/// Refused input: nothing at all is written when `src` or `dst` is null, the
/// frame is smaller than 4 x 4 (the chroma plane needs two taps each way), or
/// w or h is below 1. With w or h equal to 1 the chroma plane is empty and
/// only the luma plane is written.
QEVO_API void resize_bilinear_yuv420sp(const unsigned char *src, int srcw, int srch,
                                       unsigned char *dst, int w, int h);

/// One-dimensional blend at `x` between `data0` (tap x0) and `data1`:
/// alpha = |x - x0|, result (1 - alpha) x data0 + alpha x data1, in single
/// precision with two separately rounded products. `x1` is not used.
QEVO_API float single_bilinear(float x, int x0, int x1, float data0, float data1);

/// Resizes one packed plane of srcw x srch floats to dstw x dsth floats by
/// bilinear interpolation. Output (x, y) samples the source at
/// ((x + 1) x (srcw / (dstw + 1)) - 0.5, (y + 1) x (srch / (dsth + 1)) - 0.5),
/// worked out in double precision and rounded to single, with source indices
/// clamped to the plane (so a same-size resize is not a copy). A source of one
/// column or one row is valid. Refused input (nothing written): a null pointer,
/// or any of srcw, srch, dstw, dsth below 1. The vector forms give the scalar
/// form's bits for every result but a NaN: from NaN input a NaN comes out on
/// every form, with a payload that may differ.
QEVO_API void resize_bilinear_float_c1(float *src, int srcw, int srch, float *dst, int dstw,
                                       int dsth);

#endif  // QEVO_MAT_PIXEL_RESIZE_H
