// Image and tensor containers.
//
// ImageMat is an 8-bit image that owns (DeepCopy true, malloc/free) or borrows
// (DeepCopy false) its pixel buffer, together with the frame's descriptive
// fields and room for the frame's detection and segmentation results.
#ifndef QEVO_IMAGEMAT_H
#define QEVO_IMAGEMAT_H

#include <cstddef>
#include <vector>

#include "detection_type_api.h"

// ---------------------------------------------------------------------------
// ImageMat
// ---------------------------------------------------------------------------
//
// Buffer size: width x height x depth bytes for interleaved formats; for
// semi-planar frames width x height x 1.5 bytes (double precision, truncated).
// Sizes are computed in 64 bits: a negative dimension or a size above INT_MAX
// leaves the image without pixels (null data) instead of a wrapped-around
// allocation, and so does a failed malloc; nothing is ever copied into a null
// buffer.
//
// Copies: copying an owning image (DeepCopy true) copies its pixels into a
// buffer of its own; copying a borrowing image borrows the same buffer. Every
// other member, the result lists included, is copied member by member. Moves
// transfer the buffer and leave the source without pixels. Every owned buffer
// is released exactly once.
class QEVO_API ImageMat {
  public:
    int width = 0;
    int height = 0;
    int depth = 0;
    unsigned char *data = nullptr;
    QEVO::DATA_LAYOUT layout = QEVO::HWC;
    QEVO::INPUT_LAYOUT inlayout = QEVO::RGB;
    int frameID = 0;
    bool relayout = false;
    QEVO::MODE mode = QEVO::IR;
    long long timestamp = 0;
    long long cfg = 0;  // address of the frame's SyncInfos, or 0
    bool goDet = true;
    bool goSeg = false;
    bool hasSegResult = false;
    bool hasDetResult = false;
    std::vector<QEVO::objinfo> DetresultsRects;
    std::vector<QEVO::objinfo> SegresultsRects;
    bool DeepCopy = true;  // true: the image owns `data`

    // An empty image: no pixels, 0 x 0 x 0, layout HWC, format RGB, mode IR,
    // frame 0, goDet true, the other flags false, DeepCopy true.
    ImageMat();

    // An image of the given fields; frameID and cfg are 0. The buffer size is
    // the semi-planar size for NV12 only; every other format (NV21 included)
    // takes w x h x c. Dcopy true: allocates that size and copies it from
    // `pdata` when `pdata` is not null (a null `pdata` leaves the new pixels
    // uninitialised). Dcopy false: borrows `pdata`. Prints the debug trace
    // "[WARNING]no init config param in this function".
    ImageMat(int w, int h, int c, QEVO::DATA_LAYOUT lout, QEVO::INPUT_LAYOUT inlout,
             QEVO::MODE mode, long long timestamp, char *pdata, bool Dcopy);

    // An image of the record's fields (frameID and cfg included). The size is
    // semi-planar for NV12 and NV21. Dcopy true and a non-null img.data:
    // allocates and copies; otherwise borrows img.data.
    ImageMat(QEVO::ImgMat img, bool Dcopy);

    ImageMat(const ImageMat &other);
    ImageMat(ImageMat &&other) noexcept;
    ImageMat &operator=(const ImageMat &other);
    ImageMat &operator=(ImageMat &&other) noexcept;

    // Releases an owned buffer.
    ~ImageMat();

    // Resamples the image to dstw x dsth with the fixed-point bilinear kernels
    // into a new buffer, which the image then owns (DeepCopy becomes true). The
    // old buffer is freed only if the image owned it; a borrowed buffer is left
    // to its owner. Kernel by format: RGB/BGR three channels, RGBA/BGRA four,
    // GRAY one; `depth` is not consulted. Always resamples, also to the same
    // size.
    // Results: 0 on success; 1 with the image unchanged when
    //   - it has no pixels (debug trace "TensorMat is empty, should init first"),
    //   - it is NV12 or NV21 (debug trace "NV12/NV21 data cannot resize for now"),
    //   - the format is none of the above,
    //   - dstw or dsth is below 1, or the source is narrower or lower than
    //     2 pixels (the kernels need two taps each way),
    //   - the new size exceeds INT_MAX bytes, or the allocation fails.
    int resize(int dstw, int dsth);

    // A new, owning image holding the rectangle [x1, x2) x [y1, y2) clamped to
    // the image, with depth, layout, format, mode and timestamp of the source
    // (frameID and cfg 0). Prints "dst.data %p\n" twice with the new buffer's
    // address (plain printf). An empty or inverted rectangle, an image without
    // pixels or a failed allocation give a default image and print nothing.
    // Interleaved formats copy rows of depth x width bytes. NV12 and NV21 are
    // cropped plane by plane: the clamped rectangle is first snapped to the
    // 2 x 2 chroma grid (left and top edges down to even, width and height
    // down to even), then the luma rows and the matching chroma rows are
    // copied into a semi-planar buffer of the cropped size; a rectangle that
    // snaps to nothing gives a default image.
    ImageMat crop(int x1, int y1, int x2, int y2);

  private:
    // Byte size of the buffer the image allocated or was built around, valid
    // while `data` still equals `sized_`; used to copy owned pixels.
    size_t bytes_ = 0;
    const unsigned char *sized_ = nullptr;

    __attribute__((visibility("hidden"))) size_t copy_size() const;
    __attribute__((visibility("hidden"))) void release();
};

#endif  // QEVO_IMAGEMAT_H
