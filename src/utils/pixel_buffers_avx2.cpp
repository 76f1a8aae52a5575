// AVX2 forms of the pixel-buffer loops (see pixel_buffer_paths.h).
// Splitting takes 32 pixels (96 bytes) per step: each 128-bit half of the
// three registers holds the bytes of 16 pixels (the low halves pixels 0-15,
// the high halves pixels 16-31), so the byte shuffles, which stay within
// halves, leave each plane's 32 bytes in order.
#include <immintrin.h>

#include "utils/pixel_buffer_paths.h"

namespace qevo_simd {
namespace {

// Shuffle mask taking, from register `reg` of three, the bytes of plane
// `plane` of 16 interleaved 3-byte pixels (0x80 zeroes a lane), in both
// halves.
__m256i split_mask(int plane, int reg) {
    alignas(32) unsigned char m[32];
    for (int j = 0; j < 16; ++j) {
        const int at = 3 * j + plane;
        m[j] = m[j + 16] = static_cast<unsigned char>(at / 16 == reg ? at % 16 : 0x80);
    }
    return _mm256_load_si256(reinterpret_cast<const __m256i *>(m));
}

// Bytes 16 x reg .. of pixels 0-15 in the low half, of pixels 16-31 in the
// high half.
__m256i halves(const unsigned char *src, int reg) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i *>(src + 48 + 16 * reg),
                               reinterpret_cast<const __m128i *>(src + 16 * reg));
}

size_t split3(const unsigned char *src, size_t n, unsigned char *p0, unsigned char *p1,
              unsigned char *p2) {
    if (n < 32) return 0;
    __m256i mask[3][3];
    for (int p = 0; p < 3; ++p)
        for (int r = 0; r < 3; ++r) mask[p][r] = split_mask(p, r);
    unsigned char *out[3] = {p0, p1, p2};
    size_t i = 0;
    for (; i + 32 <= n; i += 32, src += 96) {
        const __m256i v[3] = {halves(src, 0), halves(src, 1), halves(src, 2)};
        for (int p = 0; p < 3; ++p) {
            const __m256i plane =
                _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(v[0], mask[p][0]),
                                                _mm256_shuffle_epi8(v[1], mask[p][1])),
                                _mm256_shuffle_epi8(v[2], mask[p][2]));
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out[p] + i), plane);
        }
    }
    return i;
}

struct BytesAvx2 {
    using Vec = __m256i;
    static constexpr size_t kBytes = 32;
    static Vec load(const unsigned char *p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    }
    static void store(unsigned char *p, Vec v) {
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
    }
};

}  // namespace

const PixelBufferPaths kPixelBufferAvx2 = {"avx2", split3, fill_rows<BytesAvx2>};

}  // namespace qevo_simd
