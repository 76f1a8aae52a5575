// ImageMat: construction, copies, resize and crop of an 8-bit image.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "utils/debug_trace.h"

namespace {

bool is_semi_planar(QEVO::INPUT_LAYOUT f) { return f == QEVO::NV12 || f == QEVO::NV21; }

// Byte count of a w x h image: semi-planar (w x h x 1.5 in double precision,
// truncated) or w x h x c. -1 for a negative dimension or a count above
// INT_MAX.
long long image_bytes(int w, int h, int c, bool semi_planar) {
    if (w < 0 || h < 0 || c < 0) return -1;
    long long n;
    if (semi_planar) {
        const double d = static_cast<double>(w) * h * 1.5;
        if (d > static_cast<double>(INT_MAX)) return -1;
        n = static_cast<long long>(d);
    } else {
        n = static_cast<long long>(w) * h;
        if (c != 0 && n > INT_MAX / c) return -1;
        n *= c;
    }
    return n > INT_MAX ? -1 : n;
}

// malloc of `n` bytes (at least one, so a zero-byte image still has a unique
// buffer), null on failure.
unsigned char *alloc_bytes(long long n) {
    return static_cast<unsigned char *>(std::malloc(n > 0 ? static_cast<size_t>(n) : 1));
}

}  // namespace

ImageMat::ImageMat() = default;

ImageMat::ImageMat(int w, int h, int c, QEVO::DATA_LAYOUT lout, QEVO::INPUT_LAYOUT inlout,
                   QEVO::MODE mode, long long timestamp, char *pdata, bool Dcopy) {
    width = w;
    height = h;
    depth = c;
    data = nullptr;
    layout = lout;
    inlayout = inlout;
    this->mode = mode;
    this->timestamp = timestamp;
    DeepCopy = Dcopy;
    const long long size = image_bytes(w, h, c, inlout == QEVO::NV12);
    if (size >= 0) {
        if (Dcopy) {
            data = alloc_bytes(size);
            if (data != nullptr && pdata != nullptr) std::memcpy(data, pdata, size);
        } else {
            data = reinterpret_cast<unsigned char *>(pdata);
        }
        if (data != nullptr) {
            bytes_ = static_cast<size_t>(size);
            sized_ = data;
        }
    }
    QEVO_TRACE("[WARNING]no init config param in this function");
}

ImageMat::ImageMat(QEVO::ImgMat img, bool Dcopy) {
    width = img.width;
    height = img.height;
    depth = img.depth;
    layout = img.layout;
    inlayout = img.inlayout;
    frameID = img.frameID;
    mode = img.mode;
    timestamp = img.timestamp;
    cfg = img.cfg;
    DeepCopy = Dcopy;
    const long long size = image_bytes(width, height, depth, is_semi_planar(inlayout));
    if (size < 0) return;
    if (Dcopy && img.data != nullptr) {
        data = alloc_bytes(size);
        if (data != nullptr) std::memcpy(data, img.data, size);
    } else {
        data = img.data;
    }
    if (data != nullptr) {
        bytes_ = static_cast<size_t>(size);
        sized_ = data;
    }
}

size_t ImageMat::copy_size() const {
    if (data != nullptr && data == sized_) return bytes_;
    // The buffer was put in place from outside: trust the fields.
    const long long n = image_bytes(width, height, depth, is_semi_planar(inlayout));
    return n < 0 ? 0 : static_cast<size_t>(n);
}

ImageMat::ImageMat(const ImageMat &other)
    : width(other.width),
      height(other.height),
      depth(other.depth),
      data(nullptr),
      layout(other.layout),
      inlayout(other.inlayout),
      frameID(other.frameID),
      relayout(other.relayout),
      mode(other.mode),
      timestamp(other.timestamp),
      cfg(other.cfg),
      goDet(other.goDet),
      goSeg(other.goSeg),
      hasSegResult(other.hasSegResult),
      hasDetResult(other.hasDetResult),
      DetresultsRects(other.DetresultsRects),
      SegresultsRects(other.SegresultsRects),
      DeepCopy(other.DeepCopy) {
    if (other.data == nullptr) return;
    const size_t n = other.copy_size();
    if (other.DeepCopy) {
        data = alloc_bytes(static_cast<long long>(n));
        if (data != nullptr) std::memcpy(data, other.data, n);
    } else {
        data = other.data;
    }
    if (data != nullptr) {
        bytes_ = n;
        sized_ = data;
    }
}

// A move is a default (empty) object that takes over everything by the move
// assignment below.
ImageMat::ImageMat(ImageMat &&other) noexcept : ImageMat() { *this = std::move(other); }

ImageMat &ImageMat::operator=(const ImageMat &other) {
    if (this != &other) {
        ImageMat copy(other);
        *this = std::move(copy);
    }
    return *this;
}

ImageMat &ImageMat::operator=(ImageMat &&other) noexcept {
    if (this == &other) return *this;
    release();
    width = other.width;
    height = other.height;
    depth = other.depth;
    data = other.data;
    layout = other.layout;
    inlayout = other.inlayout;
    frameID = other.frameID;
    relayout = other.relayout;
    mode = other.mode;
    timestamp = other.timestamp;
    cfg = other.cfg;
    goDet = other.goDet;
    goSeg = other.goSeg;
    hasSegResult = other.hasSegResult;
    hasDetResult = other.hasDetResult;
    DetresultsRects = std::move(other.DetresultsRects);
    SegresultsRects = std::move(other.SegresultsRects);
    DeepCopy = other.DeepCopy;
    bytes_ = other.bytes_;
    sized_ = other.sized_;
    other.data = nullptr;
    other.bytes_ = 0;
    other.sized_ = nullptr;
    return *this;
}

void ImageMat::release() {
    if (data != nullptr && DeepCopy) std::free(data);
    data = nullptr;
    bytes_ = 0;
    sized_ = nullptr;
}

ImageMat::~ImageMat() { release(); }

int ImageMat::resize(int dstw, int dsth) {
    if (data == nullptr) {
        QEVO_TRACE("TensorMat is empty, should init first");
        return 1;
    }
    int channels;
    switch (inlayout) {
        case QEVO::RGB:
        case QEVO::BGR:
            channels = 3;
            break;
        case QEVO::RGBA:
        case QEVO::BGRA:
            channels = 4;
            break;
        case QEVO::GRAY:
            channels = 1;
            break;
        case QEVO::NV12:
        case QEVO::NV21:
            QEVO_TRACE("NV12/NV21 data cannot resize for now");
            return 1;
        default:
            return 1;
    }
    if (dstw < 1 || dsth < 1 || width < 2 || height < 2) return 1;
    // A buffer of known size that is too small for the format is not read.
    const long long need = image_bytes(width, height, channels, false);
    if (need < 0 || (data == sized_ && bytes_ < static_cast<size_t>(need))) return 1;
    const long long size = image_bytes(dstw, dsth, channels, false);
    if (size < 0) return 1;
    unsigned char *out = alloc_bytes(size);
    if (out == nullptr) return 1;
    switch (channels) {
        case 1:
            resize_bilinear_c1(data, width, height, out, dstw, dsth);
            break;
        case 3:
            resize_bilinear_c3(data, width, height, out, dstw, dsth);
            break;
        default:
            resize_bilinear_c4(data, width, height, out, dstw, dsth);
            break;
    }
    release();
    data = out;
    DeepCopy = true;
    bytes_ = static_cast<size_t>(size);
    sized_ = out;
    width = dstw;
    height = dsth;
    return 0;
}

ImageMat ImageMat::crop(int x1, int y1, int x2, int y2) {
    int cropx1 = x1 > 0 ? x1 : 0;
    int cropy1 = y1 > 0 ? y1 : 0;
    const int cropx2 = x2 < width ? x2 : width;
    const int cropy2 = y2 < height ? y2 : height;
    const bool semi = is_semi_planar(inlayout);
    if (semi) {
        cropx1 &= ~1;
        cropy1 &= ~1;
    }
    long long cropw = static_cast<long long>(cropx2) - cropx1;
    long long croph = static_cast<long long>(cropy2) - cropy1;
    if (semi) {
        cropw &= ~1LL;
        croph &= ~1LL;
    }
    if (cropw <= 0 || croph <= 0 || data == nullptr) return ImageMat();
    // A buffer of known size must hold the whole frame the copy walks over
    // (an NV21 image built from fields with depth 1 has no chroma plane).
    const long long need = image_bytes(width, height, depth, semi);
    if (need < 0 || (data == sized_ && bytes_ < static_cast<size_t>(need))) return ImageMat();

    const int w = static_cast<int>(cropw);
    const int h = static_cast<int>(croph);
    // Semi-planar results are sized as semi-planar frames whatever the byte
    // order of the chroma pairs.
    ImageMat dst(w, h, depth, layout, semi ? QEVO::NV12 : inlayout, mode, timestamp, nullptr, true);
    dst.inlayout = inlayout;
    if (dst.data == nullptr) return ImageMat();
    printf("dst.data %p\n", static_cast<void *>(dst.data));

    // Copies `rows` rows of `row` bytes, `stride` bytes apart, one after the other.
    auto copy_rows = [](unsigned char *out, const unsigned char *src, size_t row, size_t stride,
                        int rows) {
        for (int r = 0; r < rows; ++r, out += row, src += stride) std::memcpy(out, src, row);
    };
    if (semi) {
        // Luma rows, then chroma rows, both `width` bytes apart (an odd width
        // leaves one unused byte at the end of each chroma row); the crop
        // origin is even, so chroma starts at pair cropx1 / 2 of row cropy1 / 2.
        const size_t stride = static_cast<size_t>(width);
        copy_rows(dst.data, data + stride * cropy1 + cropx1, w, stride, h);
        copy_rows(dst.data + static_cast<size_t>(w) * h,
                  data + stride * (static_cast<size_t>(height) + cropy1 / 2) + cropx1, w, stride,
                  h / 2);
    } else {
        const size_t row = static_cast<size_t>(depth) * w;
        const size_t stride = static_cast<size_t>(width) * depth;
        // A depth of 0 has no bytes to copy, however many rows it spans.
        if (row > 0)
            copy_rows(dst.data, data + stride * cropy1 + static_cast<size_t>(depth) * cropx1, row,
                      stride, h);
    }
    printf("dst.data %p\n", static_cast<void *>(dst.data));
    return dst;
}
