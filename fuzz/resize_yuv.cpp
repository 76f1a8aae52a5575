// Semi-planar YUV 4:2:0 resize: buffers sized exactly as documented (packed
// chroma rows of 2 x (width / 2) bytes), every vector form byte for byte
// against the scalar one, refused calls writing nothing.
#include "fuzz_input.h"
#include "mat_pixel_resize.h"

using namespace qevo_fuzz;

namespace {

// Luma plus packed chroma of a w x h frame; -1 beyond the fuzzing limit.
long long frame_bytes(int w, int h) {
    if (w <= 0 || h <= 0) return 0;
    const long long luma = product({w, h}, kMaxBytes);
    if (luma < 0) return -1;
    return luma + 2LL * (w / 2) * (h / 2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const int srcw = in.size(64), srch = in.size(64);
    const int w = in.size(96), h = in.size(96);
    const bool null_src = in.byte() < 8;
    const bool valid = srcw >= 4 && srch >= 4 && w >= 1 && h >= 1 && !null_src;
    const long long src_bytes = frame_bytes(srcw, srch), dst_bytes = frame_bytes(w, h);
    if (valid && (src_bytes < 0 || dst_bytes < 0)) return 0;  // too large to fuzz
    const std::vector<unsigned char> src =
        in.bytes(valid ? static_cast<size_t>(src_bytes) : static_cast<size_t>(in.in(0, 16)));
    const std::vector<unsigned char> init(valid ? static_cast<size_t>(dst_bytes) : 16, 0x5A);
    const std::vector<unsigned char> out =
        same_in_every_form(init, [&](std::vector<unsigned char> &dst) {
            resize_bilinear_yuv420sp(null_src ? nullptr : src.data(), srcw, srch, dst.data(), w, h);
        });
    if (!valid) QEVO_FUZZ_CHECK(out == init);
    return 0;
}
