// Advanced SIMD (NEON) forms of the pixel-buffer loops (see
// pixel_buffer_paths.h). Splitting uses the de-interleaving structure load,
// 16 pixels per load.
#include <arm_neon.h>

#include "utils/pixel_buffer_paths.h"

namespace qevo_simd {
namespace {

size_t split3(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
              unsigned char *p2) {
    size_t i = 0;
    for (; i + 32 <= n; i += 32, src += 96) {
        const uint8x16x3_t a = vld3q_u8(src), b = vld3q_u8(src + 48);
        vst1q_u8(p0 + i, a.val[0]);
        vst1q_u8(p1 + i, a.val[1]);
        vst1q_u8(p2 + i, a.val[2]);
        vst1q_u8(p0 + i + 16, b.val[0]);
        vst1q_u8(p1 + i + 16, b.val[1]);
        vst1q_u8(p2 + i + 16, b.val[2]);
    }
    for (; i + 16 <= n; i += 16, src += 48) {
        const uint8x16x3_t a = vld3q_u8(src);
        vst1q_u8(p0 + i, a.val[0]);
        vst1q_u8(p1 + i, a.val[1]);
        vst1q_u8(p2 + i, a.val[2]);
    }
    return i;
}

struct BytesNeon {
    using Vec = uint8x16_t;
    static constexpr size_t kBytes = 16;
    static Vec load(const unsigned char *p) { return vld1q_u8(p); }
    static void store(unsigned char *p, Vec v) { vst1q_u8(p, v); }
};

}  // namespace

const PixelBufferPaths kPixelBufferNeon = {"neon", split3, fill_rows<BytesNeon>};

}  // namespace qevo_simd
