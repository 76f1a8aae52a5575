// Crops, pads and planar re-layout of raw pixel buffers, and class colours.
#include <cstdio>
#include <cstring>
#include <vector>

#include "utils.h"
#include "utils/pixel_buffer_paths.h"

namespace {

// The crop rectangle after clamping to a w x h image; empty when either side
// is not positive.
struct CropRect {
    long long x1, y1, w, h;
    bool empty() const { return w <= 0 || h <= 0; }
};

CropRect clamp_crop(int srcw, int srch, int x1, int y1, int x2, int y2) {
    const long long cx1 = x1 < 0 ? 0 : x1;
    const long long cx2 = x2 < srcw ? x2 : srcw;
    const long long cy1 = y1 < 0 ? 0 : y1;
    const long long cy2 = y2 < srch ? y2 : srch;
    return CropRect{cx1, cy1, cx2 - cx1, cy2 - cy1};
}

// Writes `npix` border pixels of `channels` bytes: the first one channel by
// channel from values.at(k) (so a missing entry throws right there, after the
// channels before it), the others as copies of the first.
void fill_border(unsigned char *p, long long npix, int channels, const std::vector<int> &values) {
    if (npix <= 0 || channels <= 0) return;
    for (int k = 0; k < channels; ++k) p[k] = static_cast<unsigned char>(values.at(k));
    const size_t pix = static_cast<size_t>(channels);
    size_t done = pix;
    const size_t total = static_cast<size_t>(npix) * pix;
    while (done < total) {  // doubling copy of the pattern
        const size_t chunk = done < total - done ? done : total - done;
        std::memcpy(p + done, p, chunk);
        done += chunk;
    }
}

}  // namespace

namespace KIVEX {

extern "C" {

void crop_img(unsigned char *src, int srcw, int srch, int srcc, int x1, int y1, int x2, int y2,
              unsigned char *dst) {
    const CropRect r = clamp_crop(srcw, srch, x1, y1, x2, y2);
    if (r.empty() || srcc <= 0 || src == nullptr || dst == nullptr) return;
    const size_t row_bytes = static_cast<size_t>(r.w) * static_cast<size_t>(srcc);
    const size_t src_stride = static_cast<size_t>(srcw) * static_cast<size_t>(srcc);
    const unsigned char *srcp = src + static_cast<size_t>(r.y1) * src_stride +
                                static_cast<size_t>(r.x1) * static_cast<size_t>(srcc);
    unsigned char *dstp = dst;
    for (long long i = 0; i < r.h; ++i) {
        std::memcpy(dstp, srcp, row_bytes);
        dstp += row_bytes;
        srcp += src_stride;
    }
}

void crop_yuv(unsigned char *srcYUV, int srcw, int srch, int x1, int y1, int x2, int y2,
              unsigned char *dstYUV) {
    const CropRect r = clamp_crop(srcw, srch, x1, y1, x2, y2);
    if (r.empty() || srcYUV == nullptr || dstYUV == nullptr) return;
    const long long srcWstride = srcw;
    const unsigned char *pY1 = srcYUV + r.y1 * srcWstride + r.x1;
    const unsigned char *pUV = srcYUV + static_cast<long long>(srch) * srcWstride;
    const long long dstWstride = r.w;
    unsigned char *pTarY = dstYUV;
    unsigned char *pTarUV = dstYUV + r.w * r.h;
    const size_t row = static_cast<size_t>(dstWstride);
    for (long long i = 0; i < r.h; ++i) {
        std::memcpy(pTarY + i * dstWstride, pY1 + i * srcWstride, row);
    }
    // With an odd top edge in a frame of odd height the last chroma row would
    // run past the chroma plane (srch / 2 rows of srcw bytes): only the part
    // inside the plane is copied, the rest of that destination row is left
    // as it was.
    const long long uvStart = (r.y1 * srcWstride) / 2 + r.x1;  // byte offsets in the plane
    const long long uvSize = static_cast<long long>(srch / 2) * srcWstride;
    for (long long i = 0; i < r.h / 2; ++i) {
        const long long from = uvStart + i * srcWstride;
        const long long n = from + dstWstride <= uvSize ? dstWstride : uvSize - from;
        if (n > 0) std::memcpy(pTarUV + i * dstWstride, pUV + from, static_cast<size_t>(n));
    }
}

int pad_img(QEVO::ImgMat img, int padleft, int padright, int padtop, int padbot, unsigned char *dst,
            std::vector<int> values) {
    if (padleft < 0 || padright < 0 || padtop < 0 || padbot < 0) return 0;
    const long long imgW = img.width, imgH = img.height, imgC = img.depth;
    if (imgW < 0 || imgH < 0 || imgC < 0 || dst == nullptr) return 0;
    const unsigned char *data = img.data;
    const long long wstride = imgW * imgC;
    if (data == nullptr && wstride > 0 && imgH > 0) return 0;

    const long long dstW = imgW + padleft + padright;
    const long long dstH = imgH + padtop + padbot;
    const long long dstwstride = dstW * imgC;
    const int channels = img.depth;
    if (dstwstride == 0) return 0;  // no byte to write, however many rows
    // The loops below are the definition; the vector fills write the same bytes.
    if (qevo_simd::pad_with_fills(data, imgW, imgH, channels, padleft, padright, padtop, padbot,
                                  dst, values))
        return 0;

    for (long long j = 0; j < padtop; ++j)
        fill_border(dst + j * dstwstride, dstW, channels, values);
    for (long long j = padtop; j < padtop + imgH; ++j) {
        unsigned char *row = dst + j * dstwstride;
        fill_border(row, padleft, channels, values);
        if (wstride > 0) {
            std::memcpy(row + padleft * imgC, data + (j - padtop) * wstride,
                        static_cast<size_t>(wstride));
        }
        fill_border(row + (padleft + imgW) * imgC, padright, channels, values);
    }
    for (long long j = padtop + imgH; j < dstH; ++j) {
        fill_border(dst + j * dstwstride, dstW, channels, values);
    }
    return 0;
}

int nhwc2nchw(char *src, char *dst, int width, int height, int depth, bool rbswap) {
    if (depth != 3) {
        std::puts("function only support for channels=3");
        return 1;
    }
    if (width <= 0 || height <= 0) return 0;
    if (src == nullptr || dst == nullptr) return 1;
    const size_t mapsize = static_cast<size_t>(width) * static_cast<size_t>(height);
    char *r = rbswap ? dst + 2 * mapsize : dst;
    char *g = dst + mapsize;
    char *b = rbswap ? dst : dst + 2 * mapsize;
    // Rows are packed, so the image is one run of width x height pixels; a
    // vector form may move the first ones.
    size_t i = qevo_simd::split_planes(reinterpret_cast<const unsigned char *>(src), mapsize,
                                       reinterpret_cast<unsigned char *>(r),
                                       reinterpret_cast<unsigned char *>(g),
                                       reinterpret_cast<unsigned char *>(b));
    for (const char *s = src + 3 * i; i < mapsize; ++i, s += 3) {
        r[i] = s[0];
        g[i] = s[1];
        b[i] = s[2];
    }
    return 0;
}

std::vector<int> get_color(int cls) {
    // Entry k receives 200 for every i in 0 .. n - 1 with i mod 3 == k, that
    // is floor((n + 2 - k) / 3) times; 64-bit so that no int overflows.
    const long long n = static_cast<long long>(cls) + 1;
    std::vector<int> clr(3, 0);
    if (n <= 0) return clr;
    for (int k = 0; k < 3; ++k) clr[k] = static_cast<int>((200LL * ((n + 2 - k) / 3)) % 255);
    return clr;
}

}  // extern "C"

}  // namespace KIVEX
