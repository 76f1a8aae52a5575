// Float-plane resize: buffers sized exactly as documented, the vector forms
// against the scalar one, and every output value against a direct per-pixel
// evaluation of the documented mapping with single_bilinear.
#include <cmath>

#include "fuzz_input.h"
#include "mat_pixel_resize.h"

using namespace qevo_fuzz;

namespace {

// Source index pair and position of output `i` of `m` over `n` source samples.
struct Taps {
    int i0, i1;
    float raw;
};
Taps taps(int i, int n, int m) {
    const float raw = static_cast<float>((i + 1) * (static_cast<double>(n) / (m + 1.0)) - 0.5);
    auto clamp = [n](int v) { return v < 0 ? 0 : (v > n - 1 ? n - 1 : v); };
    return Taps{clamp(static_cast<int>(raw)), clamp(static_cast<int>(std::ceil(raw))), raw};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const int srcw = in.size(24), srch = in.size(24), dstw = in.size(40), dsth = in.size(40);
    const bool null_src = in.byte() < 8;
    const bool valid = srcw >= 1 && srch >= 1 && dstw >= 1 && dsth >= 1 && !null_src;
    const long long n_src = product({srcw, srch}, kMaxBytes / 4);
    const long long n_dst = product({dstw, dsth}, kMaxBytes / 4);
    if (valid && (n_src < 0 || n_dst < 0)) return 0;  // too large to fuzz
    std::vector<float> src(valid ? static_cast<size_t>(n_src) : 4);
    for (float &v : src) v = in.any_float(255);
    const std::vector<float> init(valid ? static_cast<size_t>(n_dst) : 4, -7.0f);
    const std::vector<float> out = same_in_every_form(init, [&](std::vector<float> &dst) {
        resize_bilinear_float_c1(null_src ? nullptr : src.data(), srcw, srch, dst.data(), dstw,
                                 dsth);
    });
    if (!valid) {
        QEVO_FUZZ_CHECK(std::memcmp(out.data(), init.data(), init.size() * sizeof(float)) == 0);
        return 0;
    }
    for (int y = 0; y < dsth; ++y) {
        const Taps ty = taps(y, srch, dsth);
        for (int x = 0; x < dstw; ++x) {
            const Taps tx = taps(x, srcw, dstw);
            const float *r0 = &src[static_cast<size_t>(ty.i0) * srcw];
            const float *r1 = &src[static_cast<size_t>(ty.i1) * srcw];
            const float a = single_bilinear(tx.raw, tx.i0, tx.i1, r0[tx.i0], r0[tx.i1]);
            const float b = single_bilinear(tx.raw, tx.i0, tx.i1, r1[tx.i0], r1[tx.i1]);
            const float want = single_bilinear(ty.raw, ty.i0, ty.i1, a, b);
            const float got = out[static_cast<size_t>(y) * dstw + x];
            QEVO_FUZZ_CHECK(std::memcmp(&want, &got, sizeof got) == 0 ||
                            (std::isnan(want) && std::isnan(got)));
        }
    }
    return 0;
}
