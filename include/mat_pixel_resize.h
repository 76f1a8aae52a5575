// Bilinear resize kernels for 8-bit images.
//
// resize_bilinear_c1 .. resize_bilinear_c4 resize an interleaved image of 1 to
// 4 bytes per pixel with 11-bit fixed-point weights, half-pixel centre
// alignment and clamped edges. Strided forms take the byte distance between
// row starts of the source (`srcstride`) and destination (`stride`); packed
// forms use width x bytes-per-pixel for both. Bytes of a destination row
// beyond w x bytes-per-pixel are never written.
//
// Refused input: the kernel returns without writing anything to `dst` when
//   - `src` or `dst` is null,
//   - the source is narrower or lower than 2 pixels (srcw < 2 or srch < 2),
//   - the target size is not positive (w < 1 or h < 1),
//   - a stride is smaller than one row of its image,
//   - a row or table size does not fit the kernel's integer arithmetic, or
//   - the working storage cannot be allocated.
// The source and destination must not overlap.
#ifndef QEVO_MAT_PIXEL_RESIZE_H
#define QEVO_MAT_PIXEL_RESIZE_H

#include "detection_type_api.h"

QEVO_API void resize_bilinear_c1(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);
QEVO_API void resize_bilinear_c2(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);
QEVO_API void resize_bilinear_c3(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);
QEVO_API void resize_bilinear_c4(const unsigned char *src, int srcw, int srch, int srcstride,
                                 unsigned char *dst, int w, int h, int stride);

QEVO_API void resize_bilinear_c1(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);
QEVO_API void resize_bilinear_c2(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);
QEVO_API void resize_bilinear_c3(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);
QEVO_API void resize_bilinear_c4(const unsigned char *src, int srcw, int srch, unsigned char *dst,
                                 int w, int h);

#endif  // QEVO_MAT_PIXEL_RESIZE_H
