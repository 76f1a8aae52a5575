// nv12_to_tensor: crop, semi-planar resize, colour conversion, pad and
// relayout in one pass over the output rows. Each content row is made by the
// resize kernels' own row machinery (the luma plane with one channel, the
// chroma plane with two, as resize_bilinear_yuv420sp does), converted by the
// colour-conversion rows straight into its place in the output, and the
// border around it is filled; nothing larger than a row is ever held.
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mat_pixel_resize/resize_rows.h"
#include "preprocess.h"
#include "yuv_rgb_rows.h"

namespace {

using qevo::Nv12Frame;
using qevo::TensorParams;
using qevo::TensorPlacement;

bool valid_format(qevo::TensorFormat f) {
    return f == qevo::TENSOR_U8_CHW || f == qevo::TENSOR_U8_HWC || f == qevo::TENSOR_F32_CHW;
}
bool valid_fit(qevo::TensorFit f) { return f == qevo::FIT_LETTERBOX || f == qevo::FIT_STRETCH; }

long long round_down_even(long long v) { return v - (v & 1); }
long long round_up_even(long long v) { return v + (v & 1); }

// The source rectangle, content size and placement of one call (see the
// rounding rules in preprocess.h); false for a rectangle the call refuses.
bool plan(const Nv12Frame &f, const TensorParams &p, TensorPlacement &pl) {
    long long x1 = 0, y1 = 0, x2 = f.width, y2 = f.height;
    if (p.crop_x1 != 0 || p.crop_y1 != 0 || p.crop_x2 != 0 || p.crop_y2 != 0) {
        x1 = round_down_even(p.crop_x1 < 0 ? 0 : p.crop_x1);
        y1 = round_down_even(p.crop_y1 < 0 ? 0 : p.crop_y1);
        x2 = round_up_even(p.crop_x2 > f.width ? f.width : p.crop_x2);
        y2 = round_up_even(p.crop_y2 > f.height ? f.height : p.crop_y2);
    }
    const long long cw = x2 - x1, ch = y2 - y1;
    if (cw < 4 || ch < 4) return false;

    const long long W = p.dst_width, H = p.dst_height;
    long long tw = W, th = H;
    if (p.fit == qevo::FIT_LETTERBOX) {
        // Every factor is below 2^31, so these products fit 64 bits unsigned.
        using u64 = unsigned long long;
        const u64 w = static_cast<u64>(cw), h = static_cast<u64>(ch);
        if (w * static_cast<u64>(H) >= h * static_cast<u64>(W))
            th = static_cast<long long>((2 * h * static_cast<u64>(W) + w) / (2 * w));
        else
            tw = static_cast<long long>((2 * w * static_cast<u64>(H) + h) / (2 * h));
    }
    tw = round_down_even(tw);
    th = round_down_even(th);
    if (tw < 2) tw = 2;
    if (th < 2) th = 2;

    pl.crop_x = static_cast<int>(x1);
    pl.crop_y = static_cast<int>(y1);
    pl.crop_width = static_cast<int>(cw);
    pl.crop_height = static_cast<int>(ch);
    pl.width = static_cast<int>(tw);
    pl.height = static_cast<int>(th);
    pl.x = static_cast<int>((W - tw) / 2);
    pl.y = static_cast<int>((H - th) / 2);
    return true;
}

// Writes the output rows, each either all border or border, content, border.
class Writer {
  public:
    // Bytes of the border pattern rows the writer needs (see `pattern`).
    static size_t pattern_bytes(const TensorParams &p) {
        const size_t W = static_cast<size_t>(p.dst_width);
        if (p.format == qevo::TENSOR_F32_CHW) return 3 * W * sizeof(float);
        return p.format == qevo::TENSOR_U8_HWC ? 3 * W : 0;
    }

    // `pattern`: pattern_bytes(p) bytes, aligned for floats, that the writer
    // fills with one output row of border (per plane for F32_CHW) and copies
    // from; the U8_CHW border is set byte by byte.
    Writer(const TensorParams &p, const TensorPlacement &pl, void *dst, bool nv21, void *pattern)
        : p_(p), pl_(pl), plane_(static_cast<size_t>(p.dst_width) * p.dst_height) {
        const qevo_color::Paths &paths = qevo_color::choose_paths();
        k_ = &qevo_color::coeffs_of(p.matrix);
        packed_ = paths.packed[nv21][p.bgr];
        planar_ = paths.planar[nv21];
        float_ = paths.planar_f32[nv21];
        // The kernels produce R, G, B; with bgr, R goes to channel 2.
        r_ = p.bgr ? 2 : 0;
        b_ = p.bgr ? 0 : 2;
        float pad_f[3];
        for (int c = 0; c < 3; ++c) {
            pad_f[c] = qevo_color::normalise(p.pad[c], p.mean[c], p.scale[c]);
            const int from = c == 0 ? r_ : (c == 2 ? b_ : 1);
            norm_.mean[c] = p.mean[from];
            norm_.scale[c] = p.scale[from];
        }
        u8_ = static_cast<unsigned char *>(dst);
        f32_ = static_cast<float *>(dst);
        pad_u8_ = static_cast<unsigned char *>(pattern);
        pad_f32_ = static_cast<float *>(pattern);
        const int W = p.dst_width;
        if (p.format == qevo::TENSOR_U8_HWC)
            for (int x = 0; x < W; ++x) std::memcpy(pad_u8_ + 3 * x, p.pad, 3);
        if (p.format == qevo::TENSOR_F32_CHW)
            for (int c = 0; c < 3; ++c)
                for (int x = 0; x < W; ++x) pad_f32_[c * W + x] = pad_f[c];
    }

    void border_row(int oy) { border(oy, 0, p_.dst_width); }

    // Output rows oy and oy + 1: content from luma rows y and y + y_next and
    // their shared chroma row uv, with the border around it.
    void content_rows(int oy, const unsigned char *y, ptrdiff_t y_next, const unsigned char *uv) {
        const int W = p_.dst_width, x0 = pl_.x, x1 = pl_.x + pl_.width;
        for (int row = oy; row < oy + 2; ++row) {
            border(row, 0, x0);
            border(row, x1, W);
        }
        const size_t at = static_cast<size_t>(oy) * W + x0;
        switch (p_.format) {
            case qevo::TENSOR_U8_HWC:
                packed_(y, y_next, uv, pl_.width, *k_, u8_ + 3 * at, 3 * static_cast<ptrdiff_t>(W));
                break;
            case qevo::TENSOR_U8_CHW:
                planar_(y, y_next, uv, pl_.width, *k_, u8_ + plane_ * r_ + at, u8_ + plane_ + at,
                        u8_ + plane_ * b_ + at, W);
                break;
            default:
                float_(y, y_next, uv, pl_.width, *k_, norm_, f32_ + plane_ * r_ + at,
                       f32_ + plane_ + at, f32_ + plane_ * b_ + at, W);
                break;
        }
    }

  private:
    // Border pixels x0 .. x1 - 1 of output row oy.
    void border(int oy, int x0, int x1) {
        if (x1 <= x0) return;
        const size_t n = static_cast<size_t>(x1 - x0);
        const size_t at = static_cast<size_t>(oy) * p_.dst_width + x0;
        switch (p_.format) {
            case qevo::TENSOR_U8_HWC:
                std::memcpy(u8_ + 3 * at, pad_u8_, 3 * n);
                break;
            case qevo::TENSOR_U8_CHW:
                for (int c = 0; c < 3; ++c) std::memset(u8_ + plane_ * c + at, p_.pad[c], n);
                break;
            default:
                for (int c = 0; c < 3; ++c)
                    std::memcpy(f32_ + plane_ * c + at, pad_f32_ + c * p_.dst_width,
                                n * sizeof(float));
                break;
        }
    }

    const TensorParams &p_;
    const TensorPlacement &pl_;
    const size_t plane_;
    const qevo_color::Coeffs *k_;
    qevo_color::PackedRowsFn packed_;
    qevo_color::PlanarRowsFn planar_;
    qevo_color::FloatRowsFn float_;
    qevo_color::Norm norm_;
    int r_, b_;
    unsigned char *u8_, *pad_u8_;
    float *f32_, *pad_f32_;
};

}  // namespace

namespace qevo {

size_t tensor_bytes(const TensorParams &p) {
    if (p.dst_width < 2 || p.dst_height < 2 || !valid_format(p.format)) return 0;
    const size_t elem = p.format == TENSOR_F32_CHW ? sizeof(float) : 1;
    const size_t w = static_cast<size_t>(p.dst_width), h = static_cast<size_t>(p.dst_height);
    if (w > SIZE_MAX / h / 3 / elem) return 0;
    return w * h * 3 * elem;
}

int nv12_to_tensor(const Nv12Frame &frame, const TensorParams &params, void *dst, size_t dst_bytes,
                   TensorPlacement *placement) {
    const Nv12Frame &f = frame;
    const TensorParams &p = params;
    if (f.y == nullptr || f.uv == nullptr || dst == nullptr) return 1;
    if (f.width < 4 || f.height < 4 || f.width % 2 != 0 || f.height % 2 != 0) return 1;
    if (f.y_stride < f.width || f.uv_stride < f.width) return 1;
    if (!valid_fit(p.fit) || !qevo_color::valid_matrix(p.matrix)) return 1;
    const size_t need = tensor_bytes(p);
    if (need == 0 || dst_bytes < need || p.dst_width > INT_MAX / 3) return 1;
    if (p.format == TENSOR_F32_CHW && reinterpret_cast<uintptr_t>(dst) % alignof(float) != 0)
        return 1;
    TensorPlacement pl;
    if (!plan(f, p, pl)) return 1;

    // The source rectangle as the resize sees it: luma at (crop_x, crop_y),
    // chroma pairs from byte crop_x of chroma row crop_y / 2 (both even).
    const unsigned char *src_y =
        f.y + static_cast<size_t>(f.y_stride) * pl.crop_y + static_cast<size_t>(pl.crop_x);
    const unsigned char *src_uv =
        f.uv + static_cast<size_t>(f.uv_stride) * (pl.crop_y / 2) + static_cast<size_t>(pl.crop_x);
    const bool identity = pl.crop_width == pl.width && pl.crop_height == pl.height;

    // Working storage: the border pattern, then (when resizing) two luma rows
    // and their chroma row.
    qevo_resize::RowResizer luma, chroma;
    if (!identity &&
        (!luma.init(1, src_y, pl.crop_width, pl.crop_height, f.y_stride, pl.width, pl.height) ||
         !chroma.init(2, src_uv, pl.crop_width / 2, pl.crop_height / 2, f.uv_stride, pl.width / 2,
                      pl.height / 2)))
        return 1;
    const size_t pattern = Writer::pattern_bytes(p);
    unsigned char *work = static_cast<unsigned char *>(  // + 1: never a request of 0 bytes
        std::malloc(pattern + (identity ? 0 : 3 * static_cast<size_t>(pl.width)) + 1));
    if (work == nullptr) return 1;
    unsigned char *rows = work + pattern;

    // Content rows go in pairs sharing a chroma row: the content starts at
    // row pl.y and its height is even.
    Writer out(p, pl, dst, f.nv21, work);
    for (int oy = 0; oy < p.dst_height;) {
        const int r = oy - pl.y;
        if (r < 0 || r >= pl.height) {
            out.border_row(oy++);
            continue;
        }
        if (identity) {
            out.content_rows(oy, src_y + static_cast<size_t>(f.y_stride) * r, f.y_stride,
                             src_uv + static_cast<size_t>(f.uv_stride) * (r / 2));
        } else {
            luma.row(r, rows);
            luma.row(r + 1, rows + pl.width);
            chroma.row(r / 2, rows + 2 * pl.width);
            out.content_rows(oy, rows, pl.width, rows + 2 * pl.width);
        }
        oy += 2;
    }
    std::free(work);
    if (placement != nullptr) *placement = pl;
    return 0;
}

}  // namespace qevo
