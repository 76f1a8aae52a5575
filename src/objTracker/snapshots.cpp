// Target snapshots: the NV12 block paste and the mosaic tile paste.
#include <algorithm>
#include <cstring>

#include "objTracker.h"
#include "objTracker/snapshot_internal.h"

namespace qevo_internal {

size_t mosaic_bytes(QEVO::INPUT_LAYOUT layout, int width, int height) {
    if (width <= 0 || height <= 0) return 0;
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    switch (layout) {
        case QEVO::NV12:
            return pixels * 3 / 2;
        case QEVO::RGB:
            return pixels * 3;
        default:
            return 0;
    }
}

void copy_nv12_block(unsigned char *dest, int destWidth, int destHeight, const unsigned char *src,
                     int srcPitch, int srcRows, int copyW, int copyH, int pasteX, int pasteY) {
    if (dest == nullptr || src == nullptr) return;
    if (destWidth <= 0 || destHeight <= 0 || copyW <= 0 || copyH <= 0) return;
    // Columns of the block that land inside the destination, as source offsets.
    const long long first = pasteX < 0 ? -static_cast<long long>(pasteX) : 0;
    const long long end = std::min<long long>(copyW, static_cast<long long>(destWidth) - pasteX);
    if (end <= first) return;
    const size_t bytes = static_cast<size_t>(end - first);
    const long long dW = destWidth;
    const long long sP = srcPitch;

    for (long long y = 0; y < copyH; ++y) {
        const long long dy = static_cast<long long>(pasteY) + y;
        if (dy < 0 || dy >= destHeight) continue;
        std::memcpy(dest + dy * dW + pasteX + first, src + y * sP + first, bytes);
    }

    unsigned char *dchroma = dest + dW * destHeight;
    const unsigned char *schroma = src + sP * srcRows;
    const long long chromaRows = destHeight / 2;
    const long long rows = copyH / 2;
    for (long long y = 0; y < rows; ++y) {
        const long long dy = static_cast<long long>(pasteY / 2) + y;
        if (dy < 0 || dy >= chromaRows) continue;
        std::memcpy(dchroma + dy * dW + pasteX + first, schroma + y * sP + first, bytes);
    }
}

void paste_tile(unsigned char *mosaic, QEVO::INPUT_LAYOUT layout, int mosaicW, int mosaicH,
                int tileW, int tileH, int tilesPerRow, int tile, const QEVO::ImgMat &patch) {
    if (mosaic == nullptr || patch.data == nullptr || tilesPerRow <= 0 || tile < 0) return;
    const int w = std::min(patch.width, tileW);
    const int h = std::min(patch.height, tileH);
    if (w <= 0 || h <= 0) return;
    const int pasteX = w * (tile % tilesPerRow);
    const int pasteY = h * (tile / tilesPerRow);

    if (layout == QEVO::NV12) {
        if (patch.inlayout == QEVO::GRAY) return;  // holds fewer bytes than an NV12 block
        copy_nv12_block(mosaic, mosaicW, mosaicH, patch.data, patch.width, patch.height, w, h,
                        pasteX, pasteY);
    } else if (layout == QEVO::RGB) {
        if (patch.inlayout != QEVO::RGB) return;
        // Interleaved RGB: the same row copy, three bytes per pixel, clipped
        // to the mosaic.
        if (pasteX >= mosaicW) return;
        const int cols = std::min(w, mosaicW - pasteX);
        const size_t dPitch = static_cast<size_t>(mosaicW) * 3;
        const size_t sPitch = static_cast<size_t>(patch.width) * 3;
        for (int y = 0; y < h && pasteY + y < mosaicH; ++y) {
            std::memcpy(mosaic + (pasteY + y) * dPitch + static_cast<size_t>(pasteX) * 3,
                        patch.data + y * sPitch, static_cast<size_t>(cols) * 3);
        }
    }
}

}  // namespace qevo_internal

void pasteNV12Block(unsigned char *dest, int destWidth, int destHeight, unsigned char *src,
                    int srcWidth, int srcHeight, int pasteX, int pasteY) {
    qevo_internal::copy_nv12_block(dest, destWidth, destHeight, src, srcWidth, srcHeight, srcWidth,
                                   srcHeight, pasteX, pasteY);
}
