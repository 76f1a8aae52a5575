// SSE4.1 forms of the pixel-buffer loops (see pixel_buffer_paths.h): the
// split takes 16 pixels (48 bytes, three registers) per step.
#include <smmintrin.h>

#include "utils/pixel_buffer_paths.h"

namespace qevo_simd {
namespace {

struct BytesSse41 {
    using Vec = __m128i;
    static constexpr size_t kBytes = 16, kPixels = 16;
    static Vec load(const unsigned char *p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
    static void store(unsigned char *p, Vec v) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v);
    }
    static Vec mask(const unsigned char *m) { return load(m); }
    static Vec load3(const unsigned char *src, int reg) { return load(src + 16 * reg); }
    static Vec shuffle(Vec v, Vec m) { return _mm_shuffle_epi8(v, m); }
    static Vec bit_or(Vec a, Vec b) { return _mm_or_si128(a, b); }
};

}  // namespace

const PixelBufferPaths kPixelBufferSse41 = {"sse41", split3_shuffled<BytesSse41>,
                                            fill_rows<BytesSse41>};

}  // namespace qevo_simd
