/// @file preprocess.h
/// From a camera frame to a network input: colour conversion of semi-planar
/// YUV 4:2:0 frames (NV12, NV21) to RGB or BGR, and nv12_to_tensor, which goes
/// from such a frame to a network input tensor in one call.
///
/// Colour conversion arithmetic (the same in nv12_to_rgb and nv12_to_tensor,
/// in every vector form): with Y, U, V the bytes of a pixel (each chroma pair
/// serves its 2 x 2 block of luma pixels, with no interpolation), u = U - 128,
/// v = V - 128, ">>" an arithmetic shift (rounding toward minus infinity) and
/// clamp() limiting to 0..255:
///   y' = ((Y * CY) >> 8) + BIAS
///   R  = clamp((y' + ((v * CRV) >> 8)) >> 5)
///   G  = clamp((y' - ((u * CGU) >> 8) - ((v * CGV) >> 8)) >> 5)
///   B  = clamp((y' + ((u * CBU) >> 8)) >> 5)
/// Each constant is its textbook coefficient times 8192 rounded to nearest
/// (so every term carries 5 fraction bits); BIAS is minus the luma offset
/// (16 x 1.164383 in limited range, 0 in full range) times 32, rounded, plus
/// 16, which rounds the final shift to nearest:
///   matrix          CY    CRV    CGU   CGV    CBU    BIAS
///   BT601_LIMITED   9539  13075  3209  6660   16525  -580
///   BT601_FULL      8192  11485  2819  5850   14516    16
///   BT709_LIMITED   9539  14686  1747  4366   17305  -580
/// Every output byte lies within 1 of the textbook value rounded to nearest
/// and clamped (checked for all 2^24 (Y, U, V) triples), where the textbook
/// values are
///   BT601_LIMITED: R = 1.164383(Y-16) + 1.596027(V-128)
///                  G = 1.164383(Y-16) - 0.391762(U-128) - 0.812968(V-128)
///                  B = 1.164383(Y-16) + 2.017232(U-128)
///   BT601_FULL:    R = Y + 1.402(V-128), G = Y - 0.344136(U-128) - 0.714136(V-128),
///                  B = Y + 1.772(U-128)
///   BT709_LIMITED: R = 1.164383(Y-16) + 1.792741(V-128)
///                  G = 1.164383(Y-16) - 0.213249(U-128) - 0.532909(V-128)
///                  B = 1.164383(Y-16) + 2.112402(U-128)
///
/// Vector code: SSE4.1 and AVX2 on x86-64, NEON on aarch64, chosen at run time
/// and forced with QEVO_SIMD=scalar|sse41|avx2|neon exactly as for the resize
/// kernels (mat_pixel_resize.h). Every form gives the bytes and floats of the
/// scalar code.
#ifndef QEVO_PREPROCESS_H
#define QEVO_PREPROCESS_H

#include <cstddef>

#include "detection_type_api.h"

namespace qevo {

/// YUV to RGB conversion matrix (the constants are in the file description).
enum ColorMatrix {
    BT601_LIMITED = 0,  ///< BT.601, limited range (luma 16 .. 235)
    BT601_FULL = 1,     ///< BT.601, full range (luma 0 .. 255)
    BT709_LIMITED = 2,  ///< BT.709, limited range
};

/// Packed semi-planar frame: width x height luma bytes, then height/2 rows of
/// width/2 interleaved chroma pairs (U,V for NV12; V,U when nv21 is true).
/// dst: width x height pixels of 3 bytes, R,G,B (B,G,R when bgr is true), packed.
/// Returns 0. Returns 1 and writes nothing for a null pointer, a width or
/// height that is odd or below 2, a matrix outside the enumeration, or an
/// output row (3 x width bytes) beyond the int range.
QEVO_API int nv12_to_rgb(const unsigned char *src, int width, int height, unsigned char *dst,
                         bool bgr = false, bool nv21 = false, ColorMatrix matrix = BT601_LIMITED);

/// The same with separate plane pointers and row strides in bytes: luma rows
/// `y_stride` apart, chroma rows (width/2 pairs, so width bytes) `uv_stride`
/// apart, output rows `dst_stride` apart. Only width x 3 bytes of each output
/// row are written. Returns 1 and writes nothing for the refusals above and
/// for a stride shorter than its row (y_stride or uv_stride below width,
/// dst_stride below 3 x width).
QEVO_API int nv12_to_rgb(const unsigned char *y, int y_stride, const unsigned char *uv,
                         int uv_stride, int width, int height, unsigned char *dst, int dst_stride,
                         bool bgr = false, bool nv21 = false, ColorMatrix matrix = BT601_LIMITED);

// ---------------------------------------------------------------------------
// nv12_to_tensor and its records (the definition is at nv12_to_tensor)
// ---------------------------------------------------------------------------

/// Layout and element type of the output. This enumeration and TensorFit are
/// stored as int: any int in these fields is a valid value, and one that is
/// not an enumerator is refused.
enum TensorFormat : int {
    TENSOR_U8_CHW = 0,   ///< 3 planes of dst_width x dst_height bytes
    TENSOR_U8_HWC = 1,   ///< dst_height rows of dst_width pixels of 3 bytes
    TENSOR_F32_CHW = 2,  ///< 3 planes of dst_width x dst_height floats
};

/// How the picture fills the output.
enum TensorFit : int {
    FIT_LETTERBOX = 0,  ///< keep the aspect ratio, centre, pad the border
    FIT_STRETCH = 1,    ///< fill the output (up to a pad row or column, above)
};

/// A semi-planar 4:2:0 frame in memory. Width and height are even and at
/// least 4; luma rows are y_stride bytes apart, chroma rows (width/2 pairs,
/// so width bytes) uv_stride bytes apart. For a packed frame, uv = y +
/// width x height and both strides are width.
struct Nv12Frame {
    const unsigned char *y = nullptr;   ///< first luma byte
    const unsigned char *uv = nullptr;  ///< first chroma byte
    int y_stride = 0;                   ///< bytes between luma row starts
    int uv_stride = 0;                  ///< bytes between chroma row starts
    int width = 0;                      ///< width in pixels
    int height = 0;                     ///< height in pixels
    bool nv21 = false;                  ///< chroma pairs are V,U instead of U,V
};

/// What to make of the frame. The defaults give letterboxed uint8 RGB planes
/// with a grey border, BT.601 limited range, from the whole frame; only the
/// output size must be set.
struct TensorParams {
    int dst_width = 0;                    ///< output width in pixels, at least 2 (so is the height)
    int dst_height = 0;                   ///< output height (dst_width is the width)
    int crop_x1 = 0;                      ///< source rectangle, corner (x1, y1) included,
    int crop_y1 = 0;                      ///< (x2, y2) excluded; all four 0 = whole frame
    int crop_x2 = 0;                      ///< right edge of the source rectangle (excluded)
    int crop_y2 = 0;                      ///< bottom edge of the source rectangle (excluded)
    TensorFormat format = TENSOR_U8_CHW;  ///< layout and element type of the output
    TensorFit fit = FIT_LETTERBOX;        ///< letterbox or stretch
    ColorMatrix matrix = BT601_LIMITED;   ///< YUV to RGB conversion matrix
    float mean[3] = {0.f, 0.f, 0.f};      ///< F32_CHW only: (v - mean[c]) * scale[c]
    float scale[3] = {1.f, 1.f, 1.f};     ///< F32_CHW only: factor per channel (see mean)
    unsigned char pad[3] = {114, 114, 114};  ///< border byte per channel, before normalising
    bool bgr = false;                        ///< channel order B,G,R instead of R,G,B
};

/// Where the picture went: the source rectangle actually used (after
/// clamping and widening to even edges) and the content rectangle inside the
/// output; everything outside the content is border.
struct TensorPlacement {
    int crop_x = 0;       ///< left edge of the source rectangle used, in frame pixels
    int crop_y = 0;       ///< top edge of the source rectangle used
    int crop_width = 0;   ///< width of the source rectangle used
    int crop_height = 0;  ///< height of the source rectangle used
    int x = 0;            ///< left edge of the content in the output
    int y = 0;            ///< top edge of the content in the output
    int width = 0;        ///< width of the content in the output
    int height = 0;       ///< height of the content in the output
};

/// Number of bytes the output of `params` takes: dst_width x dst_height x 3,
/// times 4 for F32_CHW; 0 when the size or format is invalid (or the count
/// does not fit a size_t).
QEVO_API size_t tensor_bytes(const TensorParams &params);

/// nv12_to_tensor: a semi-planar frame (optionally a rectangle of it) to a
/// network input of dst_width x dst_height pixels, stretched or letterboxed,
/// RGB or BGR, as uint8 planes, uint8 interleaved pixels, or normalised float
/// planes.
///
/// Definition. The result is exactly that of these steps of the library:
///   1. crop: crop_yuv of the source rectangle (skipped for the whole frame);
///   2. resize: resize_bilinear_yuv420sp to the content size;
///   3. colour: nv12_to_rgb (with bgr, nv21 and matrix);
///   4. pad: pad_img to dst_width x dst_height, the content placed at (x, y)
///      of the TensorPlacement and the border filled with `pad`;
///   5. layout: U8_HWC is that padded image; U8_CHW splits it into three
///      planes (nhwc2nchw without exchange); F32_CHW stores plane c as
///      (v - mean[c]) * scale[c] in single precision (a subtraction, then a
///      multiplication, each rounded).
/// Channel c means the c-th channel of the output: R,G,B, or B,G,R with bgr;
/// pad, mean and scale are indexed the same way. The call does this in one
/// pass over the output rows with no intermediate frame; its working storage
/// (a few rows and the resize tables) is allocated once per call.
///
/// Rounding to what the semi-planar steps accept:
///   - The source rectangle [crop_x1, crop_x2) x [crop_y1, crop_y2) is first
///     clamped to the frame, then widened to even edges: crop_x1 and crop_y1
///     down to the even value at or below, crop_x2 and crop_y2 up to the even
///     value at or above (the frame size is even, so it stays inside). Chroma
///     pairs then line up with the luma. All four 0 means the whole frame.
///   - Content size, stretched: dst_width x dst_height, each rounded down to
///     even (an odd size leaves one pad column or row on the right or bottom).
///   - Content size, letterboxed (cw x ch the widened source rectangle):
///     when cw x dst_height >= ch x dst_width the width limits, and the
///     content is dst_width wide and ch x dst_width / cw high; otherwise it is
///     dst_height high and cw x dst_height / ch wide. The computed side is
///     rounded to nearest (halves up), then both sides are rounded down to
///     even and kept at least 2.
///   - Placement: x = (dst_width - content width) / 2 and
///     y = (dst_height - content height) / 2, both rounded down; the rest of
///     the border goes to the right and the bottom.
/// When the source rectangle and the content have the same size the resize
/// is the identity and is skipped.
///
/// Mapping a detection back: source x = crop_x + (out_x - x) * crop_width /
/// width, likewise for y, with the fields of TensorPlacement.
///
/// Converts `frame` as `params` says into `dst` (dst_bytes bytes available)
/// and, when `placement` is not null, reports where the picture went.
/// Returns 0.
/// Returns 1, writing nothing to dst or placement, when: a pointer (frame.y,
/// frame.uv, dst) is null; a float output is not aligned for floats; the
/// frame size is odd or below 4; a frame stride is below the width;
/// dst_width or dst_height is below 2; format, fit or matrix is outside its
/// enumeration; dst_bytes is below tensor_bytes(params); the source rectangle
/// (not all 0) is empty after clamping or narrower or lower than 4 pixels
/// after widening; a size does not fit the integer arithmetic; or the working
/// storage cannot be allocated. The output must not overlap the frame.
QEVO_API int nv12_to_tensor(const Nv12Frame &frame, const TensorParams &params, void *dst,
                            size_t dst_bytes, TensorPlacement *placement = nullptr);

}  // namespace qevo

#endif  // QEVO_PREPROCESS_H
