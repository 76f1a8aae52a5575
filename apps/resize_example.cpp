// Example: resize a generated RGB frame with the fixed-point bilinear kernels.
//
//   resize_example [src_width src_height dst_width dst_height]
//
// Builds a colour-gradient test frame, resizes it packed and into a padded
// (strided) destination, and prints the sizes, a checksum of the result and
// the time taken.
#include <sys/time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "mat_pixel_resize.h"
#include "utils.h"

namespace {

// FNV-1a over the bytes.
uint64_t checksum(const unsigned char *p, size_t n) {
    uint64_t h = 1469598103934665603ULL;
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ULL;
    return h;
}

int arg(int argc, char **argv, int i, int fallback) {
    return i < argc ? std::atoi(argv[i]) : fallback;
}

}  // namespace

int main(int argc, char **argv) {
    const int sw = arg(argc, argv, 1, 1920), sh = arg(argc, argv, 2, 1080);
    const int w = arg(argc, argv, 3, 640), h = arg(argc, argv, 4, 360);
    if (sw < 2 || sh < 2 || w < 1 || h < 1 || sw > 16384 || sh > 16384 || w > 16384 || h > 16384) {
        std::fprintf(stderr, "sizes must be 2..16384 (source) and 1..16384 (target)\n");
        return 2;
    }

    // Red grows to the right, green downwards, blue along the diagonal.
    std::vector<unsigned char> src(static_cast<size_t>(sw) * sh * 3);
    for (int y = 0; y < sh; ++y)
        for (int x = 0; x < sw; ++x) {
            unsigned char *px = &src[(static_cast<size_t>(y) * sw + x) * 3];
            px[0] = static_cast<unsigned char>(255 * x / (sw - 1));
            px[1] = static_cast<unsigned char>(255 * y / (sh - 1));
            px[2] = static_cast<unsigned char>((x + y) & 0xff);
        }

    std::vector<unsigned char> dst(static_cast<size_t>(w) * h * 3);
    timeval t0, t1;
    gettimeofday(&t0, nullptr);
    resize_bilinear_c3(src.data(), sw, sh, dst.data(), w, h);
    gettimeofday(&t1, nullptr);

    // The same resize into rows padded to the next multiple of 64 bytes.
    const int stride = (w * 3 / 64 + 1) * 64;
    std::vector<unsigned char> padded(static_cast<size_t>(stride) * h, 0);
    resize_bilinear_c3(src.data(), sw, sh, sw * 3, padded.data(), w, h, stride);
    bool same = true;
    for (int y = 0; y < h && same; ++y)
        for (int i = 0; i < w * 3; ++i)
            if (padded[static_cast<size_t>(y) * stride + i] !=
                dst[static_cast<size_t>(y) * w * 3 + i]) {
                same = false;
                break;
            }

    const unsigned char *first = &dst[0];
    const unsigned char *last = &dst[dst.size() - 3];
    std::printf("source      %dx%d RGB, %zu bytes, checksum %016llx\n", sw, sh, src.size(),
                static_cast<unsigned long long>(checksum(src.data(), src.size())));
    std::printf("resized to  %dx%d RGB, %zu bytes, checksum %016llx\n", w, h, dst.size(),
                static_cast<unsigned long long>(checksum(dst.data(), dst.size())));
    std::printf("corners     first (%d,%d,%d) last (%d,%d,%d)\n", first[0], first[1], first[2],
                last[0], last[1], last[2]);
    std::printf("strided     row stride %d bytes: %s\n", stride,
                same ? "identical to packed" : "DIFFERS from packed");
    std::printf("time        %.3f ms\n", KIVEX::getDtimeMiliSecond(t0, t1));
    return same ? 0 : 1;
}
