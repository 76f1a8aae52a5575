/// @file imageMat.h
/// Image and tensor containers.
///
/// TensorMat is a tensor of up to four dimensions that owns or borrows its
/// buffer; concat and its four joins stack tensors along one dimension.
/// ImageMat is an 8-bit image that owns (DeepCopy true, malloc/free) or borrows
/// (DeepCopy false) its pixel buffer, together with the frame's descriptive
/// fields and room for the frame's detection and segmentation results.
#ifndef QEVO_IMAGEMAT_H
#define QEVO_IMAGEMAT_H

#include <cstddef>
#include <vector>

#include "detection_type_api.h"

// ---------------------------------------------------------------------------
// TensorMat
// ---------------------------------------------------------------------------

/// A tensor of up to four dimensions (batch, depth, height, width) that owns
/// (DeepCopy true, malloc/free) or borrows (DeepCopy false) its buffer. Shape
/// arguments are given in the order b, c, h, w. After a successful shaped
/// construction elementNum = w x h x c x b, dataByte = elementNum x element
/// size, wstride = width; batch items follow one another in the buffer.
///
/// Counts are 32-bit signed. A negative dimension, or an element or byte count
/// that does not fit 31 bits, leaves the tensor empty: the shape fields keep
/// the given values, elementNum and dataByte are 0 and data is null (also when
/// borrowing, so no wrapped-around size is ever allocated or trusted). A failed
/// malloc leaves it empty the same way, and nothing is copied into a null
/// buffer. A caller tests `data` for null.
///
/// A tensor cannot be copied (the copy operations are deleted, so one buffer is
/// never released twice); it can be moved, which transfers the buffer and
/// leaves the source empty.
class QEVO_API TensorMat {
  private:
    size_t offset = 0;  ///< extra bytes added after the payload of every allocation

  public:
    int batchsize = 0;     ///< number of batch items
    int width = 0;         ///< width in elements
    int height = 0;        ///< height in elements
    int depth = 0;         ///< depth (channels) in elements
    int elementNum = 0;    ///< batchsize x depth x height x width
    int dataByte = 0;      ///< elementNum x element size
    void *data = nullptr;  ///< the buffer: owned when DeepCopy is true, else borrowed
    QEVO::DATA_LAYOUT layout = QEVO::CHW;             ///< memory order inside one batch item
    QEVO::DATATYPE dataType = QEVO::AI_DT_UNDEFINED;  ///< element type
    int wstride = 0;                                  ///< row stride in elements; carried
    bool DeepCopy = true;                             ///< true: the tensor owns `data`
    float zeroPoint = 0.f;                            ///< carried for the application
    float scaleFactor = 1.f;                          ///< carried for the application

  private:
    /// Wrapping: sets the shape and DeepCopy = Dcopy; Dcopy true allocates and
    /// copies from `pdata` (a null `pdata` leaves the contents undefined),
    /// Dcopy false borrows `pdata`. A type without an element size prints
    /// "datatype error" (plain puts) and leaves the tensor without a buffer.
    void _TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, void *pdata,
                    QEVO::DATATYPE type, bool Dcopy);
    /// Allocation: sets the shape and allocates an uninitialised owned buffer.
    /// A type without an element size prints the debug trace "datatype error\n"
    /// and leaves the tensor without a buffer (dataByte 0).
    void _TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, QEVO::DATATYPE type);
    /// The steps both share: shape, counts, then an owned or borrowed buffer.
    __attribute__((visibility("hidden"))) void init(int b, int c, int h, int w,
                                                    QEVO::DATA_LAYOUT layout, void *pdata,
                                                    QEVO::DATATYPE type, bool Dcopy);

    int resize_nearest_nchw(int newwidth, int newheight);
    int resize_bilinear_nchw(int newwidth, int newheight);
    int resize_nearest_nhwc(int width, int height);
    int resize_bilinear_nhwc(int newwidth, int newheight);

  public:
    /// Empty: no buffer, all counts 0, layout CHW, type AI_DT_UNDEFINED,
    /// DeepCopy true, zeroPoint 0, scaleFactor 1.
    TensorMat();
    /// Wraps (Dcopy false) or copies (Dcopy true) `pdata` as a b x c x h x w tensor.
    TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, void *pdata,
              QEVO::DATATYPE type, bool Dcopy);
    /// Allocates a b x c x h x w tensor (contents not cleared).
    TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, QEVO::DATATYPE type);
    /// Shape lists name the dimensions in the order the layout names them, the
    /// batch first when there are four:
    ///   1: {w}   2: {h, w}
    ///   3: HWC {h, w, c}   CHW {c, h, w}   WHC {w, h, c}          (batch 1)
    ///   4: HWC {b, h, w, c} CHW {b, c, h, w} WHC {b, w, h, c}
    /// A list of length 0 or above 4 prints "shapes error" (plain printf, no
    /// newline); a length of 3 or 4 with another layout prints the debug trace
    /// "Data layout error". Both leave the default, empty tensor.
    TensorMat(std::vector<int> shapes, QEVO::DATA_LAYOUT layout, void *pdata, QEVO::DATATYPE type,
              bool Dcopy);
    /// Allocates a tensor of the shape list (read as above; contents not cleared).
    TensorMat(std::vector<int> shapes, QEVO::DATA_LAYOUT layout, QEVO::DATATYPE type);

    TensorMat(const TensorMat &) = delete;
    TensorMat &operator=(const TensorMat &) = delete;
    /// Takes over `other`'s buffer and fields; `other` is left empty.
    TensorMat(TensorMat &&other) noexcept;
    /// Releases an owned buffer, then takes over `other`'s; `other` is left empty.
    TensorMat &operator=(TensorMat &&other) noexcept;

    /// Releases an owned buffer; a borrowed one is left to its owner.
    ~TensorMat();

    /// Exports the tensor into `dst`. A null dst->data is set to this tensor's
    /// buffer (the record then borrows it and must not outlive it); otherwise
    /// dst->dataByte must be at least dataByte and the payload is copied.
    /// Fills width, height, depth, dataByte, type, layout and elementNum =
    /// width x height x depth (no batch; 0 when that product does not fit an
    /// int, as for a tensor of batch 0 with huge other sizes); timestamp and
    /// cfg are not touched.
    /// Results: 0 success; 2 when the destination is too small (debug trace
    /// "TenMat donot have enough space, [%d]<[%d]", record unchanged); 1 for a
    /// null `dst` (nothing done).
    int toTenMat(QEVO::TenMat *dst);

    /// Resizes the width and height of an AI_FLOAT tensor, every batch item and
    /// channel plane alike: interpo true bilinear (planar layouts; HWC and WHC
    /// are declined silently), false nearest-neighbour anchored at the pixel's
    /// top-left corner (CHW only; other layouts print the debug trace
    /// "resize_nearest_nhwc not support for now"). Another type prints "only
    /// float type support". A tensor without a buffer prints "TensorMat is
    /// empty, should init first". Resizing to the current size returns 0 and
    /// keeps the buffer. Otherwise the result goes into a new buffer that the
    /// tensor then owns (DeepCopy becomes true); the old one is freed only if
    /// the tensor owned it. elementNum, dataByte and wstride follow the new shape.
    /// Results: 0 success; 1 declined, or refused with the tensor unchanged when
    /// a new size is below 1, the current width or height is below 1, the
    /// buffer (dataByte) is smaller than the shape's floats, the new counts do
    /// not fit 31 bits, or the allocation fails.
    int resize(int width, int height, bool interpo);

    /// Divides every element by the Euclidean norm of all elements (all-zero
    /// data becomes NaN). Elements are read as floats whatever dataType says; at
    /// most dataByte / 4 of them, so a short buffer is never overrun. Without a
    /// buffer nothing changes. Returns 0.
    int l2_norm();
    /// Normalises each column of the first height x width floats (one plane,
    /// rows of `width`) to unit Euclidean length (an all-zero column becomes
    /// NaN). Nothing changes without a buffer or when the buffer holds fewer
    /// than height x width floats. Returns 0.
    int des_l2_norm();
    /// Divides every element by the sum of absolute values when that sum is
    /// positive. Same reading rules as l2_norm. Returns 0.
    int l1_norm();
    /// Adds `m` element by element (both read as floats). Results: 0 success;
    /// 1 when batchsize, depth, height or width differ (debug trace "both shape
    /// must be same, [%dx%dx%dx%d] != [%dx%dx%dx%d]"), and 1 with nothing
    /// changed when `m` is null, either tensor has no buffer or either buffer
    /// holds fewer than elementNum floats.
    int add(TensorMat *m);
};

// ---------------------------------------------------------------------------
// Concatenation
// ---------------------------------------------------------------------------

/// @name Concatenation
/// Join a list of tensors into `dstMat`, which the caller has built with the
/// joined shape and its own buffer. Every buffer is read as batch, depth,
/// height, width; along the joined dimension the sources follow one another in
/// list order. Nothing is copied before every check has passed.
/// Results: 0 success, 1 failure with a debug trace:
///   "ConCat error: input vector is empty", "ConCat error: TensorMat attr not
///   matched" (a kept dimension or the type differs), "ConCat error: dstMat is
///   NULL", "ConCat error: dstMat attr not matched" (destination shape or type).
/// Besides those, a join is refused (1, debug trace "ConCat error: TensorMat
/// size error") when the list holds a null pointer, a tensor has a negative
/// dimension or a count beyond 31 bits, a buffer (source or destination) is
/// missing or smaller than its shape requires, or the destination has
/// elements but its dataByte / elementNum is 0 (fewer bytes than elements) or
/// disagrees with the size of its element type; so no buffer is ever overrun,
/// no element is cut apart, and a join that reports success has copied every
/// source. The element size is the destination's dataByte / elementNum (a
/// destination with no elements receives nothing); the batch join copies each
/// source's dataByte bytes. A join that copies nothing (a destination shape
/// with a dimension of 0, or a destination that counts no elements) returns 0
/// at once, however large the other dimensions.
/// @{

/// Dispatches on dim (0 batch, 1 depth, 2 height, 3 width) after checking that
/// every tensor has the first one's elementNum ("elenum should be same", 1).
/// Another dim prints "dim error" (1); a failing join prints "concat error" and
/// its result is returned. An empty list throws std::out_of_range.
QEVO_API int concat(std::vector<TensorMat *> mats, int dim, TensorMat *dstMat);
/// Joins along the batch dimension (each source's dataByte bytes in turn).
QEVO_API int concat_batch(std::vector<TensorMat *> mats, TensorMat *dstMat);
/// Joins along the depth dimension.
QEVO_API int concat_depth(std::vector<TensorMat *> mats, TensorMat *dstMat);
/// Joins along the height dimension.
QEVO_API int concat_height(std::vector<TensorMat *> mats, TensorMat *dstMat);
/// Joins along the width dimension.
QEVO_API int concat_width(std::vector<TensorMat *> mats, TensorMat *dstMat);
/// @}

// ---------------------------------------------------------------------------
// ImageMat
// ---------------------------------------------------------------------------

/// Buffer size: width x height x depth bytes for interleaved formats; for
/// semi-planar frames width x height x 1.5 bytes (double precision, truncated).
/// A semi-planar frame is a luma plane of height rows of width bytes, then
/// height / 2 chroma rows of width bytes each, whatever the parity of width (an
/// odd width leaves the last byte of every chroma row unused): exactly the size
/// above for an even height, and within it for an odd one. crop_yuv and
/// pasteNV12Block use the same rows; only resize_bilinear_yuv420sp packs chroma
/// rows of 2 x (width / 2) bytes, which is the same for even widths.
/// Sizes are computed in 64 bits: a negative dimension or a size above INT_MAX
/// leaves the image without pixels (null data) instead of a wrapped-around
/// allocation, and so does a failed malloc; nothing is ever copied into a null
/// buffer.
///
/// Copies: copying an owning image (DeepCopy true) copies its pixels into a
/// buffer of its own; copying a borrowing image borrows the same buffer. Every
/// other member, the result lists included, is copied member by member. Moves
/// transfer the buffer and leave the source without pixels. Every owned buffer
/// is released exactly once.
class QEVO_API ImageMat {
  public:
    int width = 0;                  ///< width in pixels
    int height = 0;                 ///< height in pixels
    int depth = 0;                  ///< bytes per pixel of interleaved formats
    unsigned char *data = nullptr;  ///< the pixels: owned when DeepCopy is true, else borrowed
    QEVO::DATA_LAYOUT layout = QEVO::HWC;        ///< order of the dimensions in memory
    QEVO::INPUT_LAYOUT inlayout = QEVO::RGB;     ///< pixel format
    int frameID = 0;                             ///< the application's frame number; carried
    bool relayout = false;                       ///< carried for the application
    QEVO::MODE mode = QEVO::IR;                  ///< camera band; carried
    long long timestamp = 0;                     ///< the application's time stamp; carried
    long long cfg = 0;                           ///< address of the frame's SyncInfos, or 0
    bool goDet = true;                           ///< carried for the application
    bool goSeg = false;                          ///< carried for the application
    bool hasSegResult = false;                   ///< carried for the application
    bool hasDetResult = false;                   ///< carried for the application
    std::vector<QEVO::objinfo> DetresultsRects;  ///< detection boxes of the frame
    std::vector<QEVO::objinfo> SegresultsRects;  ///< segmentation boxes of the frame
    bool DeepCopy = true;                        ///< true: the image owns `data`

    /// An empty image: no pixels, 0 x 0 x 0, layout HWC, format RGB, mode IR,
    /// frame 0, goDet true, the other flags false, DeepCopy true.
    ImageMat();

    /// An image of the given fields; frameID and cfg are 0. The buffer size is
    /// the semi-planar size for NV12 only; every other format (NV21 included)
    /// takes w x h x c. Dcopy true: allocates that size and copies it from
    /// `pdata` when `pdata` is not null (a null `pdata` leaves the new pixels
    /// uninitialised). Dcopy false: borrows `pdata`. Prints the debug trace
    /// "[WARNING]no init config param in this function".
    ImageMat(int w, int h, int c, QEVO::DATA_LAYOUT lout, QEVO::INPUT_LAYOUT inlout,
             QEVO::MODE mode, long long timestamp, char *pdata, bool Dcopy);

    /// An image of the record's fields (frameID and cfg included). The size is
    /// semi-planar for NV12 and NV21. Dcopy true and a non-null img.data:
    /// allocates and copies; otherwise borrows img.data.
    ImageMat(QEVO::ImgMat img, bool Dcopy);

    /// A copy: own pixels for an owning `other`, the same borrowed buffer for a
    /// borrowing one (see the class description).
    ImageMat(const ImageMat &other);
    /// Takes over `other`'s buffer and fields; `other` is left without pixels.
    ImageMat(ImageMat &&other) noexcept;
    /// Releases an owned buffer, then copies `other` as the copy constructor does.
    ImageMat &operator=(const ImageMat &other);
    /// Releases an owned buffer, then takes over `other`'s.
    ImageMat &operator=(ImageMat &&other) noexcept;

    /// Releases an owned buffer.
    ~ImageMat();

    /// Resamples the image to dstw x dsth with the fixed-point bilinear kernels
    /// into a new buffer, which the image then owns (DeepCopy becomes true). The
    /// old buffer is freed only if the image owned it; a borrowed buffer is left
    /// to its owner. Kernel by format: RGB/BGR three channels, RGBA/BGRA four,
    /// GRAY one; `depth` is not consulted. Always resamples, also to the same
    /// size.
    /// Results: 0 on success; 1 with the image unchanged when
    ///   - it has no pixels (debug trace "TensorMat is empty, should init first"),
    ///   - it is NV12 or NV21 (debug trace "NV12/NV21 data cannot resize for now"),
    ///   - the format is none of the above,
    ///   - dstw or dsth is below 1, or the source is narrower or lower than
    ///     2 pixels (the kernels need two taps each way),
    ///   - the new size exceeds INT_MAX bytes, or the allocation fails,
    ///   - the image's own buffer (one it allocated or was built around) is
    ///     smaller than width x height x the format's channels.
    int resize(int dstw, int dsth);

    /// A new, owning image holding the rectangle [x1, x2) x [y1, y2) clamped to
    /// the image, with depth, layout, format, mode and timestamp of the source
    /// (frameID and cfg 0). Prints "dst.data %p\n" twice with the new buffer's
    /// address (plain printf). An empty or inverted rectangle, an image without
    /// pixels, a failed allocation, or an image whose own buffer is smaller
    /// than the frame its fields describe (for example an NV21 image built
    /// from fields with depth 1, which has no room for chroma) give a default
    /// image and print nothing.
    /// Interleaved formats copy rows of depth x width bytes (none at all for
    /// depth 0, however many rows). NV12 and NV21 are cropped plane by plane:
    /// the clamped rectangle is first snapped to the 2 x 2 chroma grid (left
    /// and top edges down to even, width and height down to even), then the
    /// luma rows and the matching chroma rows (rows of `width` bytes in the
    /// source, see above; the result's width is even) are copied into a
    /// semi-planar buffer of the cropped size, exactly what crop_yuv gives for
    /// the snapped rectangle; a rectangle that snaps to nothing gives a
    /// default image.
    ImageMat crop(int x1, int y1, int x2, int y2);

  private:
    /// Byte size of the buffer the image allocated or was built around, valid
    /// while `data` still equals `sized_`; used to copy owned pixels.
    size_t bytes_ = 0;
    const unsigned char *sized_ = nullptr;

    __attribute__((visibility("hidden"))) size_t copy_size() const;
    __attribute__((visibility("hidden"))) void release();
};

#endif  // QEVO_IMAGEMAT_H
