// Colour conversion and nv12_to_tensor: planes and outputs sized exactly as
// documented (strides included), every vector form against the scalar one,
// the same result code on every form, refused calls writing nothing, and a
// reported placement that lies inside the frame and the output.
#include "fuzz_input.h"
#include "preprocess.h"

using namespace qevo_fuzz;

namespace {

// Bytes of `rows` rows `stride` apart whose last row holds `row` bytes; -1
// when that is negative or beyond the fuzzing limit.
long long plane_bytes(int rows, int stride, long long row) {
    if (rows <= 0) return 0;
    if (stride < 0 || row < 0) return -1;
    const long long n = static_cast<long long>(rows - 1) * stride + row;
    return n > kMaxBytes ? -1 : n;
}

// A stride: mostly the row itself plus a little, sometimes anything.
int stride_for(Input &in, long long row) {
    if (in.byte() < 224 && row >= 0 && row < INT_MAX - 16)
        return static_cast<int>(row) + in.in(0, 16);
    return in.size(64);
}

// ColorMatrix has no fixed underlying type, so only 0 .. 3 are values of it
// (3 names no matrix and must be refused); anything else would be undefined
// before the call.
qevo::ColorMatrix matrix(Input &in) { return static_cast<qevo::ColorMatrix>(in.in(0, 3)); }

// Runs `call` on every form into copies of `init` and checks that all forms
// agree (result and bytes) and that a refusal left the buffer alone.
template <typename Buffer, typename Call>
int run(const Buffer &init, Call call) {
    int first = -1;
    const Buffer out = same_in_every_form(init, [&](Buffer &dst) {
        const int r = call(dst);
        if (first == -1) first = r;
        QEVO_FUZZ_CHECK(r == first);
    });
    QEVO_FUZZ_CHECK(first == 0 || first == 1);
    if (first != 0) QEVO_FUZZ_CHECK(same_elements(out, init));
    return first;
}

void fuzz_rgb(Input &in) {
    const int width = in.size(48), height = in.size(48);
    const bool strided = in.flag(), bgr = in.flag(), nv21 = in.flag();
    const qevo::ColorMatrix m = matrix(in);
    const int y_stride = strided ? stride_for(in, width) : width;
    const int uv_stride = strided ? stride_for(in, width) : width;
    const long long row3 = 3LL * width;
    const int dst_stride =
        strided ? stride_for(in, row3) : (row3 > 0 && row3 <= INT_MAX ? static_cast<int>(row3) : 0);
    const long long ny = plane_bytes(height, y_stride, width);
    const long long nuv = plane_bytes(height / 2, uv_stride, width);
    const long long nd = plane_bytes(height, dst_stride, row3);
    // A call the documentation accepts needs its planes in full.
    const bool accepted = width >= 2 && height >= 2 && width % 2 == 0 && height % 2 == 0 &&
                          width <= INT_MAX / 3 && y_stride >= width && uv_stride >= width &&
                          dst_stride >= row3;
    if (accepted && (ny < 0 || nuv < 0 || nd < 0)) return;  // too large to fuzz
    // Sizes the documentation does not cover still get a small buffer: the
    // call must refuse them before touching it.
    const auto size_of = [](long long n) { return static_cast<size_t>(n < 0 ? 16 : n); };
    if (!strided) {
        std::vector<unsigned char> src = in.bytes(size_of(ny < 0 || nuv < 0 ? -1 : ny + nuv));
        const std::vector<unsigned char> init(size_of(nd), 0xA5);
        run(init, [&](std::vector<unsigned char> &dst) {
            return qevo::nv12_to_rgb(buffer(src), width, height, buffer(dst), bgr, nv21, m);
        });
        return;
    }
    std::vector<unsigned char> y = in.bytes(size_of(ny)), uv = in.bytes(size_of(nuv));
    const std::vector<unsigned char> init(size_of(nd), 0xA5);
    run(init, [&](std::vector<unsigned char> &dst) {
        return qevo::nv12_to_rgb(buffer(y), y_stride, buffer(uv), uv_stride, width, height,
                                 buffer(dst), dst_stride, bgr, nv21, m);
    });
}

template <typename T>
void fuzz_tensor_into(Input &in, const qevo::Nv12Frame &f, const qevo::TensorParams &p) {
    const size_t need = qevo::tensor_bytes(p);
    // Exactly the documented size, sometimes one element short.
    size_t bytes = need > static_cast<size_t>(kMaxBytes) ? 64 : need;
    if (bytes >= sizeof(T) && in.byte() < 16) bytes -= sizeof(T);
    const std::vector<T> init(bytes / sizeof(T), static_cast<T>(7));
    const qevo::TensorPlacement none{-1, -1, -1, -1, -1, -1, -1, -1};
    qevo::TensorPlacement pl = none;
    const int r = run(init, [&](std::vector<T> &dst) {
        pl = none;
        return qevo::nv12_to_tensor(f, p, buffer(dst), bytes, &pl);
    });
    if (r != 0) {
        QEVO_FUZZ_CHECK(std::memcmp(&pl, &none, sizeof pl) == 0);
        return;
    }
    QEVO_FUZZ_CHECK(bytes >= need);
    QEVO_FUZZ_CHECK(pl.crop_x >= 0 && pl.crop_y >= 0 && pl.crop_width >= 4 && pl.crop_height >= 4);
    QEVO_FUZZ_CHECK(pl.crop_x + pl.crop_width <= f.width && pl.crop_y + pl.crop_height <= f.height);
    QEVO_FUZZ_CHECK(pl.x >= 0 && pl.y >= 0 && pl.width >= 2 && pl.height >= 2);
    QEVO_FUZZ_CHECK(pl.x + pl.width <= p.dst_width && pl.y + pl.height <= p.dst_height);
}

void fuzz_tensor(Input &in) {
    qevo::Nv12Frame f;
    f.width = in.size(48);
    f.height = in.size(48);
    f.nv21 = in.flag();
    f.y_stride = stride_for(in, f.width);
    f.uv_stride = stride_for(in, f.width);
    const long long ny = plane_bytes(f.height, f.y_stride, f.width);
    const long long nuv = plane_bytes(f.height / 2, f.uv_stride, f.width);
    const bool accepted = f.width >= 4 && f.height >= 4 && f.width % 2 == 0 && f.height % 2 == 0 &&
                          f.y_stride >= f.width && f.uv_stride >= f.width;
    if (accepted && (ny < 0 || nuv < 0)) return;  // too large to fuzz
    std::vector<unsigned char> y = in.bytes(static_cast<size_t>(ny < 0 ? 16 : ny));
    std::vector<unsigned char> uv = in.bytes(static_cast<size_t>(nuv < 0 ? 16 : nuv));
    if (in.byte() >= 8) {  // sometimes a frame without planes
        f.y = buffer(y);
        f.uv = buffer(uv);
    }

    qevo::TensorParams p;
    p.dst_width = in.size(40);
    p.dst_height = in.size(40);
    if (in.flag()) {
        p.crop_x1 = in.any_int(56);
        p.crop_y1 = in.any_int(56);
        p.crop_x2 = in.any_int(56);
        p.crop_y2 = in.any_int(56);
    }
    p.format = static_cast<qevo::TensorFormat>(in.byte() < 240 ? in.in(0, 2) : in.any_int(8));
    p.fit = static_cast<qevo::TensorFit>(in.byte() < 240 ? in.in(0, 1) : in.any_int(8));
    p.matrix = matrix(in);
    for (int c = 0; c < 3; ++c) {
        p.mean[c] = in.any_float(255);
        p.scale[c] = in.any_float(4);
        p.pad[c] = in.byte();
    }
    p.bgr = in.flag();
    if (p.format == qevo::TENSOR_F32_CHW)
        fuzz_tensor_into<float>(in, f, p);
    else
        fuzz_tensor_into<unsigned char>(in, f, p);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    if (in.flag())
        fuzz_rgb(in);
    else
        fuzz_tensor(in);
    return 0;
}
