// Raw pixel-buffer helpers and activations: crop_img, crop_yuv, pad_img and
// nhwc2nchw with caller buffers sized exactly as documented (each also under
// every instruction-set form against the scalar one), and get_color,
// makeRect, sigmoid and softmax on any values.
#include <cmath>
#include <stdexcept>

#include "fuzz_input.h"
#include "utils.h"

using namespace qevo_fuzz;

namespace {

// The crop size the caller works out by the documented clamping rules.
struct Clamped {
    long long w, h;
};
Clamped clamp(int srcw, int srch, int x1, int y1, int x2, int y2) {
    const long long cx1 = x1 < 0 ? 0 : x1, cy1 = y1 < 0 ? 0 : y1;
    const long long cx2 = x2 < srcw ? x2 : srcw, cy2 = y2 < srch ? y2 : srch;
    const long long w = cx2 - cx1, h = cy2 - cy1;
    return (w <= 0 || h <= 0) ? Clamped{0, 0} : Clamped{w, h};
}

using Bytes = std::vector<unsigned char>;

void crops(Input &in, bool yuv) {
    const int srcw = in.size(40), srch = in.size(40), c = yuv ? 1 : in.size(4);
    const int x1 = in.any_int(48), y1 = in.any_int(48), x2 = in.any_int(48), y2 = in.any_int(48);
    if (srcw < 0 || srch < 0 || c < 0) return;  // no buffer describes such a source
    // crop_yuv: srcw x srch luma bytes, then srch / 2 rows of srcw chroma bytes.
    const long long src_bytes =
        yuv ? product({srcw, srch + srch / 2LL}, kMaxBytes) : product({srcw, srch, c}, kMaxBytes);
    if (src_bytes < 0) return;
    const Clamped r = clamp(srcw, srch, x1, y1, x2, y2);
    const long long dst_bytes = yuv ? r.w * r.h + (r.h / 2) * r.w : r.w * r.h * c;
    Bytes src = in.bytes(static_cast<size_t>(src_bytes));
    const Bytes init(static_cast<size_t>(dst_bytes), 0x3C);
    const Bytes out = same_in_every_form(init, [&](Bytes &dst) {
        unsigned char *s = buffer(src);
        if (yuv)
            KIVEX::crop_yuv(s, srcw, srch, x1, y1, x2, y2, buffer(dst));
        else
            KIVEX::crop_img(s, srcw, srch, c, x1, y1, x2, y2, buffer(dst));
    });
    if (yuv || r.w == 0 || c == 0) return;
    // An interleaved crop is the rectangle, row by row.
    const long long cx1 = x1 < 0 ? 0 : x1, cy1 = y1 < 0 ? 0 : y1;
    for (long long y = 0; y < r.h; ++y)
        QEVO_FUZZ_CHECK(std::memcmp(&out[static_cast<size_t>(y * r.w * c)],
                                    &src[static_cast<size_t>(((cy1 + y) * srcw + cx1) * c)],
                                    static_cast<size_t>(r.w * c)) == 0);
}

void pad(Input &in) {
    QEVO::ImgMat img;
    img.width = in.size(16), img.height = in.size(16), img.depth = in.size(4);
    int p[4];
    for (int &v : p) v = in.byte() < 240 ? in.in(0, 6) : in.any_int(3);
    std::vector<int> values(in.in(0, 5));
    for (int &v : values) v = in.any_int(300);
    const long long src_bytes = product({img.width, img.height, img.depth}, kMaxBytes);
    const long long dst_bytes =
        product({static_cast<long long>(img.width) + p[0] + p[1],
                 static_cast<long long>(img.height) + p[2] + p[3], img.depth},
                kMaxBytes);
    const bool valid =
        src_bytes >= 0 && dst_bytes >= 0 && p[0] >= 0 && p[1] >= 0 && p[2] >= 0 && p[3] >= 0;
    if (!valid && (img.width >= 0 && img.height >= 0 && img.depth >= 0 && p[0] >= 0 && p[1] >= 0 &&
                   p[2] >= 0 && p[3] >= 0))
        return;  // legitimate but too large
    Bytes src = in.bytes(valid ? static_cast<size_t>(src_bytes) : 8);
    img.data = in.byte() < 8 ? nullptr : buffer(src);
    const Bytes init(valid ? static_cast<size_t>(dst_bytes) : 8, 0x77);
    const bool short_values = static_cast<int>(values.size()) < img.depth;
    const Bytes out = same_in_every_form(init, [&](Bytes &dst) {
        try {
            QEVO_FUZZ_CHECK(KIVEX::pad_img(img, p[0], p[1], p[2], p[3], buffer(dst), values) == 0);
        } catch (const std::out_of_range &) {
            QEVO_FUZZ_CHECK(short_values);  // the documented exception, and only then
        }
    });
    if (!valid || (img.data == nullptr && src_bytes > 0)) QEVO_FUZZ_CHECK(out == init);
}

void planes(Input &in) {
    const int w = in.size(24), h = in.size(24), depth = in.pick<int>({3, 3, 3, 1, 4, 0, -3});
    const bool swap = in.flag();
    const long long src_bytes = product({w, h, depth}, kMaxBytes);
    const long long dst_bytes = product({w, h, 3}, kMaxBytes);
    const bool valid = depth == 3 && src_bytes >= 0 && dst_bytes >= 0;
    if (depth == 3 && !valid && w >= 0 && h >= 0) return;  // too large
    Bytes src = in.bytes(valid ? static_cast<size_t>(src_bytes) : 8);
    const Bytes init(valid ? static_cast<size_t>(dst_bytes) : 8, 0x11);
    int ret = -1;
    const Bytes out = same_in_every_form(init, [&](Bytes &dst) {
        ret = KIVEX::nhwc2nchw(reinterpret_cast<char *>(buffer(src)),
                               reinterpret_cast<char *>(buffer(dst)), w, h, depth, swap);
    });
    if (depth != 3) QEVO_FUZZ_CHECK(ret == 1);
    if (!valid) {
        QEVO_FUZZ_CHECK(out == init);
        return;
    }
    const size_t plane = static_cast<size_t>(w) * h;
    for (size_t i = 0; i < plane; ++i)
        for (size_t k = 0; k < 3; ++k)
            QEVO_FUZZ_CHECK(out[(swap ? 2 - k : k) * plane + i] == src[3 * i + k]);
}

void scalars(Input &in) {
    const int cls = in.any_int(40);
    const std::vector<int> color = KIVEX::get_color(cls);
    QEVO_FUZZ_CHECK(color.size() == 3);
    for (int v : color) QEVO_FUZZ_CHECK(v >= 0 && v <= 254 && (cls > -1 || v == 0));

    int x1 = in.any_int(600), y1 = in.any_int(600), x2 = in.any_int(600), y2 = in.any_int(600);
    const int W = in.any_int(800), H = in.any_int(800);
    KIVEX::makeRect(x1, y1, x2, y2, W, H);
    QEVO_FUZZ_CHECK(x1 >= 0 && y1 >= 0);
    if (W >= 1 && W <= (1 << 24)) QEVO_FUZZ_CHECK(x2 <= W - 1);
    if (H >= 1 && H <= (1 << 24)) QEVO_FUZZ_CHECK(y2 <= H - 1);

    const float x = in.any_float(100);
    const float s = KIVEX::sigmoid(x);
    QEVO_FUZZ_CHECK(std::isnan(x) ? std::isnan(s) : (s >= 0.0f && s <= 1.0f));
    std::vector<float> scores(in.in(0, 12));
    for (float &v : scores) v = in.any_float(100);
    QEVO_FUZZ_CHECK(KIVEX::softmax(scores).size() == scores.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    for (int step = 0; step < 8 && in.left() > 0; ++step) {
        switch (in.byte() % 5) {
            case 0:
                crops(in, false);
                break;
            case 1:
                crops(in, true);
                break;
            case 2:
                pad(in);
                break;
            case 3:
                planes(in);
                break;
            default:
                scalars(in);
                break;
        }
    }
    return 0;
}
