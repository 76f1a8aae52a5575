// 8-bit interleaved resize, packed and strided, 1 to 4 channels: buffers sized
// exactly as documented, every vector form byte for byte against the scalar
// one, and the bytes between destination rows never written.
#include "fuzz_input.h"
#include "mat_pixel_resize.h"

using namespace qevo_fuzz;

namespace {

using Strided = void (*)(const unsigned char *, int, int, int, unsigned char *, int, int, int);
using Packed = void (*)(const unsigned char *, int, int, unsigned char *, int, int);
const Strided kStrided[] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                            resize_bilinear_c4};
const Packed kPacked[] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                          resize_bilinear_c4};

// Bytes of `rows` rows of `row` bytes whose starts are `stride` apart: the
// last row needs only its own bytes. -1 when not representable.
long long image_bytes(long long rows, long long row, long long stride) {
    if (rows <= 0 || row <= 0) return 0;
    const long long before = product({rows - 1, stride}, kMaxBytes * 4);
    return before < 0 ? -1 : before + row;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const int n = in.in(1, 4);
    const bool packed = in.flag();
    const int srcw = in.size(48), srch = in.size(48);
    const int w = in.size(80), h = in.size(80);
    int srcstride = packed ? 0 : in.size(8), stride = packed ? 0 : in.size(8);
    // Strides are mostly the row plus a few spare bytes; sometimes short of it.
    const long long srcrow = static_cast<long long>(srcw) * n, row = static_cast<long long>(w) * n;
    if (!packed && in.byte() < 230) {
        if (srcrow >= 0 && srcstride >= 0 && srcrow + srcstride <= INT_MAX)
            srcstride += static_cast<int>(srcrow);
        if (row >= 0 && stride >= 0 && row + stride <= INT_MAX) stride += static_cast<int>(row);
    }
    if (packed) {
        srcstride = srcrow >= 0 && srcrow <= INT_MAX ? static_cast<int>(srcrow) : -1;
        stride = row >= 0 && row <= INT_MAX ? static_cast<int>(row) : -1;
    }
    const bool null_src = in.byte() < 8;
    const bool valid = srcw >= 2 && srch >= 2 && w >= 1 && h >= 1 && srcstride >= srcrow &&
                       stride >= row && !null_src;
    const long long src_bytes = image_bytes(srch, srcrow, srcstride);
    const long long dst_bytes = image_bytes(h, row, stride);
    if (valid &&
        (src_bytes < 0 || dst_bytes < 0 || src_bytes > kMaxBytes || dst_bytes > kMaxBytes)) {
        return 0;  // legitimate but too large to fuzz
    }
    // A refused call gets small buffers: it must touch neither.
    const std::vector<unsigned char> src =
        in.bytes(valid ? static_cast<size_t>(src_bytes) : static_cast<size_t>(in.in(0, 16)));
    const size_t dst_size = valid ? static_cast<size_t>(dst_bytes) : 16;
    const std::vector<unsigned char> init(dst_size, 0xA5);
    const unsigned char *s = null_src ? nullptr : src.data();

    const std::vector<unsigned char> out =
        same_in_every_form(init, [&](std::vector<unsigned char> &dst) {
            if (packed)
                kPacked[n - 1](s, srcw, srch, dst.data(), w, h);
            else
                kStrided[n - 1](s, srcw, srch, srcstride, dst.data(), w, h, stride);
        });
    if (!valid) {
        QEVO_FUZZ_CHECK(out == init);  // refused: nothing written
        return 0;
    }
    for (long long y = 0; y + 1 < h; ++y)
        for (long long x = row; x < stride; ++x)
            QEVO_FUZZ_CHECK(out[static_cast<size_t>(y * stride + x)] == 0xA5);
    return 0;
}
