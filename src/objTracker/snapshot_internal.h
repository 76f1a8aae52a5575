// Mosaic helpers of the track record (not exported).
#ifndef QEVO_SRC_OBJTRACKER_SNAPSHOT_INTERNAL_H
#define QEVO_SRC_OBJTRACKER_SNAPSHOT_INTERNAL_H

#include <cstddef>

#include "detection_type_api.h"

namespace qevo_internal {

// Byte size of a mosaic of width x height pixels in `layout`: NV12 ->
// width x height x 3 / 2, RGB -> width x height x 3, anything else -> 0 (no
// mosaic).
size_t mosaic_bytes(QEVO::INPUT_LAYOUT layout, int width, int height);

// Copies the NV12 block src (row pitch srcPitch bytes, srcRows luma rows,
// chroma plane right after them) restricted to its top-left copyW x copyH
// pixels into the NV12 image dest at (pasteX, pasteY), clipped to dest.
void copy_nv12_block(unsigned char *dest, int destWidth, int destHeight, const unsigned char *src,
                     int srcPitch, int srcRows, int copyW, int copyH, int pasteX, int pasteY);

// Pastes `patch` into tile `tile` (row-major, tilesPerRow tiles per row) of a
// mosaic of mosaicW x mosaicH pixels in `layout`, at (patch width x column,
// patch height x row), the patch first cut to tileW x tileH. Writes nothing
// when the mosaic or the patch data is null, or when the patch's layout does
// not fit the mosaic's (see OBJTRACK::add).
void paste_tile(unsigned char *mosaic, QEVO::INPUT_LAYOUT layout, int mosaicW, int mosaicH,
                int tileW, int tileH, int tilesPerRow, int tile, const QEVO::ImgMat &patch);

}  // namespace qevo_internal

#endif  // QEVO_SRC_OBJTRACKER_SNAPSHOT_INTERNAL_H
