// Internal to the pixel-buffer helpers: the loops their vector forms (SSE4.1,
// AVX2, NEON) take over. They move bytes unchanged, so any order of moving
// them gives the bytes of the scalar loops as long as source and destination
// do not overlap; the callers keep overlapping buffers on the scalar code.
//
// The templates and inline functions here have internal linkage on purpose,
// see mat_pixel_resize/resize_float_paths.h.
#ifndef QEVO_SRC_UTILS_PIXEL_BUFFER_PATHS_H
#define QEVO_SRC_UTILS_PIXEL_BUFFER_PATHS_H

#include <cstddef>
#include <cstring>
#include <vector>

#include "utils/simd_select.h"

namespace qevo_simd {

struct PixelBufferPaths {
    const char *name;
    // Byte 0 of each 3-byte pixel into p0[i], byte 1 into p1[i], byte 2 into
    // p2[i], for the first pixels of n; returns how many.
    size_t (*split3)(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
                     unsigned char *p2);
    // Fills `rows` rows of `width` bytes, row r at dst + r x stride, each
    // with the `period` bytes of `pattern` (1 to 4) repeated from its start.
    void (*fill)(unsigned char *dst, size_t stride, size_t rows, size_t width,
                 const unsigned char *pattern, int period);
};

// Null when the scalar code is chosen (see utils/simd_select.h).
const PixelBufferPaths *pixel_buffer_paths();

// The split of nhwc2nchw by the chosen vector form for the first pixels of n
// (see PixelBufferPaths::split3); returns how many, 0 when there is none or
// the source overlaps a plane.
size_t split_planes(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
                    unsigned char *p2);

// pad_img with the chosen vector fills: the border above and below as one
// block each, the image rows copied between left and right borders. False,
// with nothing written, when there is no vector form or the scalar code must
// run: fewer values than channels (it raises the exception at the right
// byte), more than four channels, or the image overlapping the destination.
bool pad_with_fills(const unsigned char *data, long long imgW, long long imgH, int channels,
                    long long padleft, long long padright, long long padtop, long long padbot,
                    unsigned char *dst, const std::vector<int> &values);

QEVO_SIMD_TABLES(PixelBufferPaths, kPixelBuffer);

namespace {

// Pattern fill over an instruction set's byte vectors `Ops` (Vec, kBytes,
// load, store): a period of 1, 2 or 4 bytes repeats within one vector, a
// period of 3 within three, so rows are written with plain vector stores of
// those registers and end with a copy of the block's first bytes.
template <class Ops>
void fill_rows(unsigned char *dst, size_t stride, size_t rows, size_t width,
               const unsigned char *pattern, int period) {
    constexpr size_t V = Ops::kBytes;
    const size_t regs = period == 3 ? 3 : 1;
    unsigned char block[3 * V];
    for (size_t i = 0; i < 3 * V; ++i) block[i] = pattern[i % static_cast<size_t>(period)];
    const typename Ops::Vec v0 = Ops::load(block), v1 = Ops::load(block + V),
                            v2 = Ops::load(block + 2 * V);
    for (size_t r = 0; r < rows; ++r) {
        unsigned char *p = dst + r * stride;
        size_t left = width;
        if (regs == 3) {
            for (; left >= 3 * V; left -= 3 * V, p += 3 * V) {
                Ops::store(p, v0);
                Ops::store(p + V, v1);
                Ops::store(p + 2 * V, v2);
            }
        } else {
            for (; left >= V; left -= V, p += V) Ops::store(p, v0);
        }
        std::memcpy(p, block, left);
    }
}

// Splitting by byte shuffles over `Ops` (Vec, kPixels, mask, load3, shuffle,
// bit_or, store): each step takes kPixels pixels from three registers whose
// 16-byte halves each hold the bytes of 16 pixels (load3). For each plane one
// shuffle per register moves the plane's bytes of that register into place and
// zeroes the other lanes (mask index 0x80), and two ORs join them.
template <class Ops>
size_t split3_shuffled(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
                       unsigned char *p2) {
    constexpr size_t P = Ops::kPixels;
    if (n < P) return 0;
    typename Ops::Vec mask[3][3];
    for (int p = 0; p < 3; ++p) {
        for (int r = 0; r < 3; ++r) {
            unsigned char m[16];
            for (int j = 0; j < 16; ++j) {
                const int at = 3 * j + p;
                m[j] = static_cast<unsigned char>(at / 16 == r ? at % 16 : 0x80);
            }
            mask[p][r] = Ops::mask(m);
        }
    }
    unsigned char *out[3] = {p0, p1, p2};
    size_t i = 0;
    for (; i + P <= n; i += P, src += 3 * P) {
        const typename Ops::Vec v[3] = {Ops::load3(src, 0), Ops::load3(src, 1), Ops::load3(src, 2)};
        for (int p = 0; p < 3; ++p) {
            Ops::store(out[p] + i, Ops::bit_or(Ops::bit_or(Ops::shuffle(v[0], mask[p][0]),
                                                           Ops::shuffle(v[1], mask[p][1])),
                                               Ops::shuffle(v[2], mask[p][2])));
        }
    }
    return i;
}

}  // namespace

}  // namespace qevo_simd

#endif  // QEVO_SRC_UTILS_PIXEL_BUFFER_PATHS_H
