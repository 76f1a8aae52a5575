// AVX2 forms of the pixel-buffer loops (see pixel_buffer_paths.h). The split
// takes 32 pixels (96 bytes) per step: the low 128-bit halves of its three
// registers hold pixels 0-15, the high halves pixels 16-31, so the byte
// shuffles, which stay within halves, leave each plane's 32 bytes in order.
#include <immintrin.h>

#include "utils/pixel_buffer_paths.h"

namespace qevo_simd {
namespace {

struct BytesAvx2 {
    using Vec = __m256i;
    static constexpr size_t kBytes = 32, kPixels = 32;
    static Vec load(const unsigned char *p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    }
    static void store(unsigned char *p, Vec v) {
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
    }
    static Vec mask(const unsigned char *m) {
        return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(m)));
    }
    static Vec load3(const unsigned char *src, int reg) {
        return _mm256_loadu2_m128i(reinterpret_cast<const __m128i *>(src + 48 + 16 * reg),
                                   reinterpret_cast<const __m128i *>(src + 16 * reg));
    }
    static Vec shuffle(Vec v, Vec m) { return _mm256_shuffle_epi8(v, m); }
    static Vec bit_or(Vec a, Vec b) { return _mm256_or_si256(a, b); }
};

}  // namespace

const PixelBufferPaths kPixelBufferAvx2 = {"avx2", split3_shuffled<BytesAvx2>,
                                           fill_rows<BytesAvx2>};

}  // namespace qevo_simd
