// SSE4.1 forms of the pixel-buffer loops (see pixel_buffer_paths.h).
// Splitting takes 16 pixels (48 bytes, three registers) per step: for each
// plane, one byte shuffle per register moves the plane's bytes of that
// register into place and zeroes the other lanes, and two ORs join them.
#include <smmintrin.h>

#include "utils/pixel_buffer_paths.h"

namespace qevo_simd {
namespace {

// Shuffle mask taking, from register `reg` of three, the bytes of plane
// `plane` of 16 interleaved 3-byte pixels (0x80 zeroes a lane).
__m128i split_mask(int plane, int reg) {
    alignas(16) unsigned char m[16];
    for (int j = 0; j < 16; ++j) {
        const int at = 3 * j + plane;
        m[j] = static_cast<unsigned char>(at / 16 == reg ? at % 16 : 0x80);
    }
    return _mm_load_si128(reinterpret_cast<const __m128i *>(m));
}

size_t split3(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
              unsigned char *p2) {
    if (n < 16) return 0;
    __m128i mask[3][3];
    for (int p = 0; p < 3; ++p)
        for (int r = 0; r < 3; ++r) mask[p][r] = split_mask(p, r);
    unsigned char *out[3] = {p0, p1, p2};
    size_t i = 0;
    for (; i + 16 <= n; i += 16, src += 48) {
        const __m128i v[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i *>(src)),
                              _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + 16)),
                              _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + 32))};
        for (int p = 0; p < 3; ++p) {
            const __m128i plane = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(v[0], mask[p][0]),
                                                            _mm_shuffle_epi8(v[1], mask[p][1])),
                                               _mm_shuffle_epi8(v[2], mask[p][2]));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out[p] + i), plane);
        }
    }
    return i;
}

struct BytesSse41 {
    using Vec = __m128i;
    static constexpr size_t kBytes = 16;
    static Vec load(const unsigned char *p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
    static void store(unsigned char *p, Vec v) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v);
    }
};

}  // namespace

const PixelBufferPaths kPixelBufferSse41 = {"sse41", split3, fill_rows<BytesSse41>};

}  // namespace qevo_simd
