// Deliberately plain float bilinear resample used as the expectation in tests.
#ifndef QEVO_TESTS_RESIZE_REFERENCE_H
#define QEVO_TESTS_RESIZE_REFERENCE_H

#include <algorithm>
#include <cmath>
#include <vector>

namespace qevo_test {

// Resamples one sw x sh plane to dw x dh: output (x, y) samples the source at
// (x + 1) * (sw / (dw + 1)) - 0.5 and (y + 1) * (sh / (dh + 1)) - 0.5 (double,
// then float), with taps trunc and ceil clamped to the plane and blends
// (1 - a) * v0 + a * v1 in float, horizontal first.
inline std::vector<float> reference_bilinear(const std::vector<float> &src, int sw, int sh, int dw,
                                             int dh) {
    auto lerp = [](float pos, int i0, float v0, float v1) {
        float a = pos - static_cast<float>(i0);
        if (a < 0) a = -a;
        const float p = (1.f - a) * v0;
        const float q = a * v1;
        return p + q;
    };
    auto tap = [](float pos, int n, bool up) {
        const int i = up ? static_cast<int>(std::ceil(pos)) : static_cast<int>(std::trunc(pos));
        return std::min(std::max(i, 0), n - 1);
    };
    std::vector<float> out(static_cast<size_t>(dw) * dh);
    for (int y = 0; y < dh; ++y) {
        const float py = static_cast<float>((y + 1) * (static_cast<double>(sh) / (dh + 1)) - 0.5);
        const int y0 = tap(py, sh, false), y1 = tap(py, sh, true);
        for (int x = 0; x < dw; ++x) {
            const float px =
                static_cast<float>((x + 1) * (static_cast<double>(sw) / (dw + 1)) - 0.5);
            const int x0 = tap(px, sw, false), x1 = tap(px, sw, true);
            const float top = lerp(px, x0, src[y0 * sw + x0], src[y0 * sw + x1]);
            const float bot = lerp(px, x0, src[y1 * sw + x0], src[y1 * sw + x1]);
            out[y * dw + x] = lerp(py, y0, top, bot);
        }
    }
    return out;
}

}  // namespace qevo_test

#endif  // QEVO_TESTS_RESIZE_REFERENCE_H
