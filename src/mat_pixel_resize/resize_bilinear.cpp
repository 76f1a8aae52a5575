// Fixed-point bilinear resize of interleaved 8-bit images (1 to 4 channels).
//
// This scalar code is the definition of the kernels' results: 11-bit weights
// worked out once per call into column and row tables, each source row
// interpolated horizontally into a 16-bit row buffer, two such buffers cached
// from one output row to the next, and a vertical blend rounded with +2.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "mat_pixel_resize.h"
#include "resize_bilinear_paths.h"
#include "resize_rows.h"
#include "utils/prefetch.h"
#include "utils/simd_select.h"

using namespace qevo_resize;

namespace {

constexpr int INTER_RESIZE_COEF_BITS = 11;
constexpr int INTER_RESIZE_COEF_SCALE = 1 << INTER_RESIZE_COEF_BITS;

// Rounds half away from zero in single precision and clamps to 16 bits.
inline short weight_to_short(float v) {
    const float r = v >= 0.f ? v + 0.5f : v - 0.5f;
    const int i = static_cast<int>(r);
    return static_cast<short>(i < SHRT_MIN ? SHRT_MIN : (i > SHRT_MAX ? SHRT_MAX : i));
}

// One axis of the tables: source index of the left/upper tap and its weight
// pair, for `dst_len` outputs over a source of `src_len` (>= 2) samples.
void axis_table(int src_len, int dst_len, int step, int *ofs, short *weights) {
    const double scale = static_cast<double>(src_len) / dst_len;
    for (int d = 0; d < dst_len; ++d) {
        float f = static_cast<float>((d + 0.5) * scale - 0.5);
        int s = static_cast<int>(std::floor(f));
        f -= static_cast<float>(s);
        if (s < 0) {
            s = 0;
            f = 0.f;
        }
        if (s >= src_len - 1) {
            s = src_len - 2;
            f = 1.f;
        }
        ofs[d] = s * step;
        weights[2 * d] = weight_to_short((1.f - f) * INTER_RESIZE_COEF_SCALE);
        weights[2 * d + 1] = weight_to_short(f * INTER_RESIZE_COEF_SCALE);
    }
}

template <int N>
void fill_row_scalar(const unsigned char *S, int, const int *xofs, const short *ialpha, int w,
                     short *R, const void *) {
    fill_row_range<N>(S, xofs, ialpha, 0, w, R);
}

void blend_rows_scalar(const short *rows0, const short *rows1, int b0, int b1, int n,
                       unsigned char *Dp) {
    blend_range(rows0, rows1, b0, b1, 0, n, Dp);
}

const Paths kPathsScalar = {
    "scalar",
    {fill_row_scalar<1>, fill_row_scalar<2>, fill_row_scalar<3>, fill_row_scalar<4>},
    blend_rows_scalar,
    {nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr},
    nullptr,
    nullptr};

// True when output d reads samples 2d and 2d + 1 with the weights 1024, 1024.
bool is_half(const int *ofs, const short *weights, int len, int step) {
    for (int d = 0; d < len; ++d) {
        if (ofs[d] != 2 * d * step || weights[2 * d] != 1024 || weights[2 * d + 1] != 1024)
            return false;
    }
    return true;
}

const Paths &choose_paths() {
    const Paths *chosen = QEVO_SIMD_PICK(kPaths);
    return chosen != nullptr ? *chosen : kPathsScalar;
}

template <int N>
void resize_bilinear(const unsigned char *src, int srcw, int srch, int srcstride,
                     unsigned char *dst, int w, int h, int stride) {
    if (dst == nullptr || stride < static_cast<long long>(w) * N) return;
    RowResizer rows;
    if (!rows.init(N, src, srcw, srch, srcstride, w, h)) return;
    if (rows.halve_all(dst, stride)) return;
    for (int dy = 0; dy < h; ++dy) rows.row(dy, dst + static_cast<size_t>(stride) * dy);
}

}  // namespace

namespace qevo_resize {

RowResizer::~RowResizer() { release(); }

void RowResizer::release() {
    std::free(buf_);
    std::free(rows0_);
    std::free(rows1_);
    buf_ = nullptr;
    rows0_ = rows1_ = nullptr;
}

bool RowResizer::init(int n, const unsigned char *src, int srcw, int srch, int srcstride, int w,
                      int h) {
    release();
    if (src == nullptr || n < 1 || n > 4) return false;
    if (srcw < 2 || srch < 2 || w < 1 || h < 1) return false;
    const long long row_src = static_cast<long long>(srcw) * n;
    const long long row_dst = static_cast<long long>(w) * n;
    if (row_src > INT_MAX || row_dst > INT_MAX - 8) return false;
    if (srcstride < row_src) return false;
    if (2LL * w + 2LL * h > INT_MAX / 2) return false;

    paths_ = &choose_paths();
    // The path's own column tables follow the four tables in the same block.
    const size_t tables_bytes = sizeof(int) * (2 * static_cast<size_t>(w) + 2 * h);
    const size_t plan_offset = (tables_bytes + 15) / 16 * 16;
    const size_t plan_bytes = paths_->plan_bytes != nullptr ? paths_->plan_bytes(n, w) : 0;
    buf_ = static_cast<int *>(std::malloc(plan_offset + plan_bytes));
    const size_t row_len = static_cast<size_t>(row_dst) + kRowSpare;
    rows0_ = static_cast<short *>(std::malloc(sizeof(short) * row_len));
    rows1_ = static_cast<short *>(std::malloc(sizeof(short) * row_len));
    if (buf_ == nullptr || rows0_ == nullptr || rows1_ == nullptr) {
        release();
        return false;
    }
    xofs_ = buf_;
    yofs_ = buf_ + w;
    ialpha_ = reinterpret_cast<short *>(buf_ + w + h);
    ibeta_ = reinterpret_cast<short *>(buf_ + w + h + w);
    axis_table(srcw, w, n, xofs_, ialpha_);
    axis_table(srch, h, 1, yofs_, ibeta_);
    // The path's column plan is worked out at the first row: a whole-image
    // 2:1 shrink (halve_all) never needs it.
    plan_ =
        paths_->plan != nullptr ? reinterpret_cast<unsigned char *>(buf_) + plan_offset : nullptr;
    planned_ = false;

    src_ = src;
    n_ = n;
    srcw_ = srcw;
    srcstride_ = srcstride;
    w_ = w;
    h_ = h;
    prev_sy1_ = -2;
    // Prefetching the next output row's source rows is worth its cost (about
    // a cycle per cache line, paid also when the rows are already cached)
    // when the output has at least two rows for every three source rows;
    // below that the rows fetched per output row outweigh the work on them.
    // Measured on x86-64: 1080 to 720 rows 30 % faster from memory and about
    // 3 % slower from the caches; a 3:1 shrink 40 % faster from memory but
    // 15 % slower from the caches, so it goes without.
    prefetch_ = 3LL * h >= 2LL * srch;
    prefetched_ = -1;
    return true;
}

bool RowResizer::halve_all(unsigned char *dst, int stride) const {
    const HalveFn halve = paths_->halve[n_ - 1];
    if (halve == nullptr || !is_half(xofs_, ialpha_, w_, n_) || !is_half(yofs_, ibeta_, h_, 1))
        return false;
    halve(src_, srcstride_, dst, w_, h_, stride);
    return true;
}

void RowResizer::row(int dy, unsigned char *out) {
    const int row_bytes = srcw_ * n_;
    // The rows up to those the next output row needs are requested now, in
    // order and each once, so that they arrive while this row is computed.
    if (prefetch_ && dy + 1 < h_) {
        for (int r = std::max(prefetched_ + 1, yofs_[dy]); r <= yofs_[dy + 1] + 1; ++r)
            qevo_internal::prefetch_bytes(src_ + static_cast<size_t>(srcstride_) * r,
                                          static_cast<size_t>(row_bytes));
        prefetched_ = std::max(prefetched_, yofs_[dy + 1] + 1);
    }
    if (!planned_) {
        if (plan_ != nullptr) paths_->plan(n_, xofs_, ialpha_, w_, row_bytes, plan_);
        planned_ = true;
    }
    const int sy = yofs_[dy];
    if (sy == prev_sy1_) {
        // both rows already cached
    } else if (sy == prev_sy1_ + 1) {
        short *t = rows0_;
        rows0_ = rows1_;
        rows1_ = t;
        paths_->row[n_ - 1](src_ + static_cast<size_t>(srcstride_) * (sy + 1), row_bytes, xofs_,
                            ialpha_, w_, rows1_, plan_);
    } else {
        const unsigned char *S0 = src_ + static_cast<size_t>(srcstride_) * sy;
        const unsigned char *S1 = S0 + srcstride_;
        const TwoRowFn fill_two_rows = paths_->two_rows[n_ - 1];
        if (fill_two_rows != nullptr) {
            fill_two_rows(S0, S1, row_bytes, xofs_, ialpha_, w_, rows0_, rows1_, plan_);
        } else {
            paths_->row[n_ - 1](S0, row_bytes, xofs_, ialpha_, w_, rows0_, plan_);
            paths_->row[n_ - 1](S1, row_bytes, xofs_, ialpha_, w_, rows1_, plan_);
        }
    }
    prev_sy1_ = sy;
    paths_->blend(rows0_, rows1_, ibeta_[2 * dy], ibeta_[2 * dy + 1], w_ * n_, out);
}

}  // namespace qevo_resize

void resize_bilinear_c1(const unsigned char *src, int srcw, int srch, int srcstride,
                        unsigned char *dst, int w, int h, int stride) {
    resize_bilinear<1>(src, srcw, srch, srcstride, dst, w, h, stride);
}
void resize_bilinear_c2(const unsigned char *src, int srcw, int srch, int srcstride,
                        unsigned char *dst, int w, int h, int stride) {
    resize_bilinear<2>(src, srcw, srch, srcstride, dst, w, h, stride);
}
void resize_bilinear_c3(const unsigned char *src, int srcw, int srch, int srcstride,
                        unsigned char *dst, int w, int h, int stride) {
    resize_bilinear<3>(src, srcw, srch, srcstride, dst, w, h, stride);
}
void resize_bilinear_c4(const unsigned char *src, int srcw, int srch, int srcstride,
                        unsigned char *dst, int w, int h, int stride) {
    resize_bilinear<4>(src, srcw, srch, srcstride, dst, w, h, stride);
}

// Packed forms: rows follow each other with no padding. Sizes that would
// overflow the stride are refused by the strided kernel's own checks.
namespace {
int packed_stride(int width, int n) {
    const long long s = static_cast<long long>(width) * n;
    return s > INT_MAX ? -1 : static_cast<int>(s);
}
}  // namespace

void resize_bilinear_c1(const unsigned char *src, int srcw, int srch, unsigned char *dst, int w,
                        int h) {
    resize_bilinear_c1(src, srcw, srch, packed_stride(srcw, 1), dst, w, h, packed_stride(w, 1));
}
void resize_bilinear_c2(const unsigned char *src, int srcw, int srch, unsigned char *dst, int w,
                        int h) {
    resize_bilinear_c2(src, srcw, srch, packed_stride(srcw, 2), dst, w, h, packed_stride(w, 2));
}
void resize_bilinear_c3(const unsigned char *src, int srcw, int srch, unsigned char *dst, int w,
                        int h) {
    resize_bilinear_c3(src, srcw, srch, packed_stride(srcw, 3), dst, w, h, packed_stride(w, 3));
}
void resize_bilinear_c4(const unsigned char *src, int srcw, int srch, unsigned char *dst, int w,
                        int h) {
    resize_bilinear_c4(src, srcw, srch, packed_stride(srcw, 4), dst, w, h, packed_stride(w, 4));
}
