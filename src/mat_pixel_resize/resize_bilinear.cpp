// Fixed-point bilinear resize of interleaved 8-bit images (1 to 4 channels).
//
// This scalar code is the definition of the kernels' results: 11-bit weights
// worked out once per call into column and row tables, each source row
// interpolated horizontally into a 16-bit row buffer, two such buffers cached
// from one output row to the next, and a vertical blend rounded with +2.
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "mat_pixel_resize.h"
#include "resize_bilinear_paths.h"

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

bool name_is(const char *value, const char *name) { return std::strcmp(value, name) == 0; }

// Best path the CPU runs, or the one QEVO_SIMD names when the CPU has it.
const Paths &choose_paths() {
    const char *want = std::getenv("QEVO_SIMD");
    if (want != nullptr && name_is(want, "scalar")) return kPathsScalar;
#if defined(__x86_64__) || defined(_M_X64)
    __builtin_cpu_init();
    const bool has_avx2 = __builtin_cpu_supports("avx2");
    const bool has_sse41 = __builtin_cpu_supports("sse4.1");
    if (want != nullptr && name_is(want, "sse41") && has_sse41) return kPathsSse41;
    if (has_avx2) return kPathsAvx2;
    if (has_sse41) return kPathsSse41;
    return kPathsScalar;
#elif defined(__aarch64__)
    return kPathsNeon;
#else
    return kPathsScalar;
#endif
}

template <int N>
void resize_bilinear(const unsigned char *src, int srcw, int srch, int srcstride,
                     unsigned char *dst, int w, int h, int stride) {
    if (src == nullptr || dst == nullptr) return;
    if (srcw < 2 || srch < 2 || w < 1 || h < 1) return;
    const long long row_src = static_cast<long long>(srcw) * N;
    const long long row_dst = static_cast<long long>(w) * N;
    if (row_src > INT_MAX || row_dst > INT_MAX - 8) return;
    if (srcstride < row_src || stride < row_dst) return;
    if (2LL * w + 2LL * h > INT_MAX / 2) return;

    const Paths &paths = choose_paths();
    // The path's own column tables follow the four tables in the same block.
    const size_t tables_bytes = sizeof(int) * (2 * static_cast<size_t>(w) + 2 * h);
    const size_t plan_offset = (tables_bytes + 15) / 16 * 16;
    const size_t plan_bytes = paths.plan_bytes != nullptr ? paths.plan_bytes(N, w) : 0;
    int *buf = static_cast<int *>(std::malloc(plan_offset + plan_bytes));
    const size_t row_len = static_cast<size_t>(row_dst) + kRowSpare;
    short *rows0 = static_cast<short *>(std::malloc(sizeof(short) * row_len));
    short *rows1 = static_cast<short *>(std::malloc(sizeof(short) * row_len));
    if (buf == nullptr || rows0 == nullptr || rows1 == nullptr) {
        std::free(buf);
        std::free(rows0);
        std::free(rows1);
        return;
    }
    int *xofs = buf;
    int *yofs = buf + w;
    short *ialpha = reinterpret_cast<short *>(buf + w + h);
    short *ibeta = reinterpret_cast<short *>(buf + w + h + w);

    axis_table(srcw, w, N, xofs, ialpha);
    axis_table(srch, h, 1, yofs, ibeta);

    const RowFn fill_row = paths.row[N - 1];
    const TwoRowFn fill_two_rows = paths.two_rows[N - 1];
    const BlendFn blend_rows = paths.blend;
    const int row_bytes = static_cast<int>(row_src);

    if (paths.halve[N - 1] != nullptr && is_half(xofs, ialpha, w, N) &&
        is_half(yofs, ibeta, h, 1)) {
        paths.halve[N - 1](src, srcstride, dst, w, h, stride);
        std::free(buf);
        std::free(rows0);
        std::free(rows1);
        return;
    }
    void *plan = nullptr;
    if (paths.plan != nullptr) {
        plan = reinterpret_cast<unsigned char *>(buf) + plan_offset;
        paths.plan(N, xofs, ialpha, w, row_bytes, plan);
    }

    int prev_sy1 = -2;
    const int n = static_cast<int>(row_dst);
    for (int dy = 0; dy < h; ++dy) {
        const int sy = yofs[dy];
        if (sy == prev_sy1) {
            // both rows already cached
        } else if (sy == prev_sy1 + 1) {
            short *t = rows0;
            rows0 = rows1;
            rows1 = t;
            fill_row(src + static_cast<size_t>(srcstride) * (sy + 1), row_bytes, xofs, ialpha, w,
                     rows1, plan);
        } else {
            const unsigned char *S0 = src + static_cast<size_t>(srcstride) * sy;
            const unsigned char *S1 = S0 + srcstride;
            if (fill_two_rows != nullptr) {
                fill_two_rows(S0, S1, row_bytes, xofs, ialpha, w, rows0, rows1, plan);
            } else {
                fill_row(S0, row_bytes, xofs, ialpha, w, rows0, plan);
                fill_row(S1, row_bytes, xofs, ialpha, w, rows1, plan);
            }
        }
        prev_sy1 = sy;
        blend_rows(rows0, rows1, ibeta[2 * dy], ibeta[2 * dy + 1], n,
                   dst + static_cast<size_t>(stride) * dy);
    }

    std::free(buf);
    std::free(rows0);
    std::free(rows1);
}

}  // namespace

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
