// Internal to the float plane resizes: the taps and blend that define them,
// and the parts their vector forms (SSE4.1, AVX2, NEON) share.
//
// Bilinear: every output value is blend(ay, H(y0)[x], H(y1)[x]) where
// H(r)[x] = blend(ax, src[r][x0], src[r][x1]) depends only on the source row
// r and the output column x. The vector forms therefore blend each source row
// they need once into a cached row (the taps and weights of the columns are
// worked out once per call) and blend two cached rows vertically, with the
// very operations of the scalar code in the same order: two separately
// rounded products, then their sum; never a fused multiply-add.
//
// Nearest: every output row is a source row sampled at fixed columns; the
// vector forms move the 32-bit patterns unchanged.
//
// The templates and inline functions here have internal linkage on purpose:
// the vector files are built with their own instruction-set flags, and a
// shared (COMDAT) copy of an inline function could otherwise be taken from
// such a file and run on a CPU that lacks those instructions.
#ifndef QEVO_RESIZE_FLOAT_PATHS_H
#define QEVO_RESIZE_FLOAT_PATHS_H

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "utils/simd_select.h"

namespace qevo_simd {

// The two source taps of one output coordinate and the blend distance from
// the first one.
struct Tap {
    int i0;
    int i1;
    float alpha;
};

struct FloatResizePaths {
    const char *name;
    // Bilinear resize of `planes` packed planes one after the other, given
    // the taps of every output column and row. False, with nothing written,
    // when no column window fits (see WindowCols) or working memory cannot be
    // allocated.
    bool (*bilinear)(const float *src, int srcw, int srch, float *dst, int dstw, int dsth,
                     long long planes, const Tap *cols, const Tap *rows);
    // Nearest resize of `planes` packed planes one after the other: output
    // (x, y) = source (cols[x].i0, rows[y]). False, with nothing written, as
    // for bilinear.
    bool (*nearest)(const float *src, int srcw, int srch, float *dst, int dstw, int dsth,
                    long long planes, const Tap *cols, const int *rows);
};

// Null when the scalar code is chosen (see utils/simd_select.h).
const FloatResizePaths *float_resize_paths();

// resize_bilinear_float_c1 of `planes` packed planes one after the other
// (srcw x srch floats in, dstw x dsth out per plane), with the taps and the
// vector form's set-up worked out once for all of them.
void resize_bilinear_float_planes(const float *src, int srcw, int srch, float *dst, int dstw,
                                  int dsth, long long planes);

QEVO_SIMD_TABLES(FloatResizePaths, kFloatResize);

namespace {

// The one-dimensional blend at distance `alpha` from the first tap: two
// separately rounded products, then the sum.
inline float blend(float alpha, float data0, float data1) {
    const float p0 = (1.f - alpha) * data0;
    const float p1 = alpha * data1;
    return p0 + p1;
}

inline int clamp_index(int v, int n) { return v < 0 ? 0 : (v > n - 1 ? n - 1 : v); }

// Taps of output position `idx` for the mapping (idx + 1) x (n / (m + 1)) - 0.5
// with `step` = n / (m + 1): the first tap truncates, the second is the
// ceiling, both clamped to 0 .. n - 1. Since the position is never below
// -0.5, the ceiling is the truncation plus one exactly when the position lies
// above the truncation (a position in (-0.5, 0) truncates and rounds up to 0).
inline Tap tap_of(int idx, double step, int n) {
    const float raw = static_cast<float>((static_cast<double>(idx) + 1.0) * step - 0.5);
    const int t = static_cast<int>(raw);
    const int i0 = clamp_index(t, n);
    const int i1 = clamp_index(raw > static_cast<float>(t) ? t + 1 : t, n);
    return Tap{i0, i1, std::fabs(raw - static_cast<float>(i0))};
}

// The column passes of the vector forms, written once over the operations
// `Ops` of an instruction set.
//
// Output columns go in groups of kLanes (the last group completed with copies
// of the last column, so that whole groups can be blended into a padded row),
// each group in kParts equal parts. Each part reads the taps of its columns
// from a window of source values that starts at its own base and never
// reaches past the end of the row; windows of 1 .. kMaxRegs registers
// (kRegFloats values each) are tried and the smallest that every part fits is
// taken. When none fits (a part spans too many values, as in a shrink by
// more than about 4.6:1, or the row is too short) there is no vector form and
// the scalar code runs. Ops keeps the positions and weights of a group in its
// own layout of kGroupBytes bytes:
//   Vec                                      a vector of kLanes floats
//   encode(gd, k, pos0, pos1, w0, w1, regs)  stores lane k's tap positions
//                                            (relative to its part's base)
//                                            and weights into group data gd,
//                                            for windows of `regs` registers
//   blend<R>(row, base, gd)                  w0 * row[x0] + w1 * row[x1] for
//                                            the group, base = its part bases
//   pick<R>(row, base, gd)                   row[x0] for the group
//   load, store, set1, mul, add              plain vector operations
template <class Ops>
class WindowCols {
  public:
    using Vec = typename Ops::Vec;
    static constexpr int L = Ops::kLanes, P = Ops::kParts;

    WindowCols() = default;
    WindowCols(const WindowCols &) = delete;
    WindowCols &operator=(const WindowCols &) = delete;
    ~WindowCols() { std::free(mem_); }

    // Tables for `count` output columns with taps `cols` over rows of `srcw`
    // values; false when no window fits or they cannot be allocated.
    bool init(const Tap *cols, int count, int srcw) {
        taps_ = cols;
        n_ = count;
        groups_ = (n_ + L - 1) / L;
        const size_t g = static_cast<size_t>(groups_);
        mem_ = std::malloc(g * (Ops::kGroupBytes + P * sizeof(int)));
        if (mem_ == nullptr) return false;
        data_ = static_cast<unsigned char *>(mem_);
        base_ = reinterpret_cast<int *>(data_ + g * Ops::kGroupBytes);
        for (regs_ = 1; regs_ <= Ops::kMaxRegs && !fit(Ops::kRegFloats * regs_, srcw); ++regs_) {
        }
        if (regs_ > Ops::kMaxRegs) return false;
        for (int i = 0; i < groups_; ++i) {
            for (int k = 0; k < L; ++k) {
                const Tap &t = tap(i, k);
                const int b = base_[i * P + k / (L / P)];
                Ops::encode(group(i), k, t.i0 - b, t.i1 - b, 1.f - t.alpha, t.alpha, regs_);
            }
        }
        return true;
    }

    int padded() const { return groups_ * L; }

    // out[x] = blend(ax, row[x0], row[x1]) for all padded() columns. The
    // same stretch of row `next` is prefetched as the pass goes.
    void blend_row(const float *row, float *out, const float *next) const {
        with_window([&](auto r) { blend_with<decltype(r)::value>(row, out, next); });
    }
    // Blends rows a and b and, in the same pass, the output row
    // out[x] = w0 * Ha[x] + w1 * Hb[x] for `count` columns. With `keep` the
    // blended rows also go to oa and ob (padded() columns). Rows na and nb
    // are prefetched as the pass goes.
    void blend_rows(const float *a, const float *b, float w0, float w1, float *out, int count,
                    bool keep, float *oa, float *ob, const float *na, const float *nb) const {
        with_window([&](auto r) {
            if (keep)
                blend_pair_with<decltype(r)::value, true>(a, b, w0, w1, out, count, oa, ob, na, nb);
            else
                blend_pair_with<decltype(r)::value, false>(a, b, w0, w1, out, count, oa, ob, na,
                                                           nb);
        });
    }
    // out[x] = row[x0] for exactly `count` columns.
    void pick_row(const float *row, float *out, int count) const {
        with_window([&](auto r) { pick_with<decltype(r)::value>(row, out, count); });
    }
    // out[i] = w0 * h0[i] + w1 * h1[i]: two rounded products, then the sum.
    static void vertical(const float *h0, const float *h1, float w0, float w1, int count,
                         float *out) {
        const Vec a = Ops::set1(w0), b = Ops::set1(w1);
        int i = 0;
        for (; i + L <= count; i += L)
            Ops::store(out + i,
                       Ops::add(Ops::mul(a, Ops::load(h0 + i)), Ops::mul(b, Ops::load(h1 + i))));
        for (; i < count; ++i) out[i] = w0 * h0[i] + w1 * h1[i];
    }

  private:
    template <int R>
    struct Regs {
        static constexpr int value = R <= Ops::kMaxRegs ? R : Ops::kMaxRegs;
    };

    const Tap &tap(int g, int k) const {
        const int col = g * L + k;
        return taps_[col < n_ ? col : n_ - 1];
    }
    const unsigned char *group(int g) const { return data_ + g * Ops::kGroupBytes; }
    unsigned char *group(int g) { return data_ + g * Ops::kGroupBytes; }

    // Bases of windows of `width` values inside a row of `srcw`; false when
    // the row is shorter or some part spans more.
    bool fit(int width, int srcw) {
        if (srcw < width) return false;
        constexpr int per = L / P;
        for (int i = 0; i < groups_ * P; ++i) {
            const int g = i / P, k0 = (i % P) * per;
            int lo = tap(g, k0).i0, hi = tap(g, k0).i1;
            for (int k = k0 + 1; k < k0 + per; ++k) {
                lo = tap(g, k).i0 < lo ? tap(g, k).i0 : lo;
                hi = tap(g, k).i1 > hi ? tap(g, k).i1 : hi;
            }
            if (lo > srcw - width) lo = srcw - width;
            if (hi - lo >= width) return false;
            base_[i] = lo;
        }
        return true;
    }

    // Calls f with the window size as a type, so each size gets its own loop.
    template <typename F>
    void with_window(F f) const {
        switch (regs_) {
            case 2:
                return f(Regs<2>{});
            case 3:
                return f(Regs<3>{});
            case 4:
                return f(Regs<4>{});
            default:
                return f(Regs<1>{});
        }
    }

    // The loops below keep the tables in locals, so that the compiler need
    // not reload them after every store.
    template <int R>
    void blend_with(const float *row, float *out, const float *next) const {
        const int *base = base_;
        const unsigned char *gd = data_;
        for (int g = 0, n = groups_; g < n; ++g, base += P, gd += Ops::kGroupBytes, out += L) {
            __builtin_prefetch(next + base[0]);
            Ops::store(out, Ops::template blend<R>(row, base, gd));
        }
    }

    template <int R, bool Keep>
    void blend_pair_with(const float *a, const float *b, float w0, float w1, float *out, int count,
                         float *oa, float *ob, const float *na, const float *nb) const {
        const Vec v0 = Ops::set1(w0), v1 = Ops::set1(w1);
        const int *base = base_;
        const unsigned char *gd = data_;
        auto step = [&]() {
            __builtin_prefetch(na + base[0]);
            __builtin_prefetch(nb + base[0]);
            const Vec ha = Ops::template blend<R>(a, base, gd);
            const Vec hb = Ops::template blend<R>(b, base, gd);
            if (Keep) {
                Ops::store(oa, ha);
                Ops::store(ob, hb);
                oa += L;
                ob += L;
            }
            base += P;
            gd += Ops::kGroupBytes;
            return Ops::add(Ops::mul(v0, ha), Ops::mul(v1, hb));
        };
        const int full = count / L;
        for (int g = 0; g < full; ++g, out += L) Ops::store(out, step());
        if (full < groups_) {
            float last[L];
            Ops::store(last, step());
            std::memcpy(out, last, sizeof(float) * static_cast<size_t>(count - full * L));
        }
    }

    template <int R>
    void pick_with(const float *row, float *out, int count) const {
        int g = 0;
        for (; (g + 1) * L <= count; ++g)
            Ops::store(out + g * L, Ops::template pick<R>(row, base_ + g * P, group(g)));
        for (int x = g * L; x < count; ++x) out[x] = row[taps_[x].i0];
    }

    const Tap *taps_ = nullptr;
    int n_ = 0, groups_ = 0, regs_ = 0;
    int *base_ = nullptr;
    unsigned char *data_ = nullptr;
    void *mem_ = nullptr;
};

// Ops for instruction sets whose groups are one part of kLanes columns and
// take each set of taps with one lookup over a window of up to four
// registers (SSE4.1 byte shuffles, NEON table lookups). `Take` provides
//   kTapBytes                  encoded positions of one tap set of a group
//   encode_tap(idx, k, pos, regs), take<R>(window, idx)
// and the group data is: first taps, second taps, then the weights w0 and
// w1 of the lanes.
template <class F, class Take>
struct LookupOps : F {
    using Vec = typename F::Vec;
    static constexpr int kParts = 1, kRegFloats = F::kLanes, kMaxRegs = 4;
    static constexpr size_t kW0 = 2 * Take::kTapBytes, kW1 = kW0 + sizeof(float) * F::kLanes;
    static constexpr size_t kGroupBytes = kW1 + sizeof(float) * F::kLanes;

    static void encode(unsigned char *gd, int k, int pos0, int pos1, float w0, float w1, int regs) {
        Take::encode_tap(gd, k, pos0, regs);
        Take::encode_tap(gd + Take::kTapBytes, k, pos1, regs);
        std::memcpy(gd + kW0 + sizeof(float) * k, &w0, sizeof(float));
        std::memcpy(gd + kW1 + sizeof(float) * k, &w1, sizeof(float));
    }
    template <int R>
    static Vec blend(const float *row, const int *base, const unsigned char *gd) {
        const float *w = row + base[0];
        const Vec p0 = F::mul(weights(gd + kW0), Take::template take<R>(w, gd));
        const Vec p1 = F::mul(weights(gd + kW1), Take::template take<R>(w, gd + Take::kTapBytes));
        return F::add(p0, p1);
    }
    template <int R>
    static Vec pick(const float *row, const int *base, const unsigned char *gd) {
        return Take::template take<R>(row + base[0], gd);
    }

  private:
    static Vec weights(const unsigned char *p) {
        return F::load(reinterpret_cast<const float *>(p));
    }
};

// Bilinear resize of `planes` planes with an instruction set's column passes
// (WindowCols), set up once for all of them. Two cached rows hold
// horizontally blended source rows; since the row taps never decrease, each
// needed source row of a plane is blended once.
template <class Ops>
bool bilinear_planes(const float *src, int srcw, int srch, float *dst, int dstw, int dsth,
                     long long planes, const Tap *cols, const Tap *rows) {
    WindowCols<Ops> c;
    if (!c.init(cols, dstw, srcw)) return false;
    const size_t padded = static_cast<size_t>(c.padded());
    float *cache = static_cast<float *>(std::malloc(2 * padded * sizeof(float)));
    if (cache == nullptr) return false;
    float *slot[2] = {cache, cache + padded};
    const int last_row = rows[dsth - 1].i1;
    const size_t in_plane = static_cast<size_t>(srcw) * static_cast<size_t>(srch);
    const size_t out_plane = static_cast<size_t>(dstw) * static_cast<size_t>(dsth);
    for (long long p = 0; p < planes; ++p, src += in_plane, dst += out_plane) {
        int held[2] = {-1, -1};  // source row in each slot
        auto row_at = [&](int r) {
            return src + static_cast<size_t>(r) * static_cast<size_t>(srcw);
        };
        for (int y = 0; y < dsth; ++y) {
            const Tap &t = rows[y];
            float *out = dst + static_cast<size_t>(y) * static_cast<size_t>(dstw);
            int k0 = held[0] == t.i0 ? 0 : (held[1] == t.i0 ? 1 : -1);
            int k1 = held[0] == t.i1 ? 0 : (held[1] == t.i1 ? 1 : -1);
            if (k0 < 0 && k1 < 0 && t.i0 != t.i1) {
                // Two new rows: blended and used in one pass, and cached only
                // if the next output row needs one of them (whose rows are
                // fetched meanwhile).
                const Tap &next = rows[y + 1 < dsth ? y + 1 : y];
                const bool keep = y + 1 < dsth && next.i0 <= t.i1;
                c.blend_rows(row_at(t.i0), row_at(t.i1), 1.f - t.alpha, t.alpha, out, dstw, keep,
                             slot[0], slot[1], row_at(next.i0), row_at(next.i1));
                held[0] = keep ? t.i0 : -1;
                held[1] = keep ? t.i1 : -1;
                continue;
            }
            if (k0 < 0) {
                // Keep the slot that holds the second tap, else the later row.
                k0 = k1 >= 0 ? 1 - k1 : (held[0] <= held[1] ? 0 : 1);
                c.blend_row(row_at(t.i0), slot[k0], row_at(t.i0 < last_row ? t.i0 + 1 : t.i0));
                held[k0] = t.i0;
                if (t.i1 == t.i0) k1 = k0;
            }
            if (k1 < 0) {
                k1 = 1 - k0;
                c.blend_row(row_at(t.i1), slot[k1], row_at(t.i1 < last_row ? t.i1 + 1 : t.i1));
                held[k1] = t.i1;
            }
            WindowCols<Ops>::vertical(slot[k0], slot[k1], 1.f - t.alpha, t.alpha, dstw, out);
        }
    }
    std::free(cache);
    return true;
}

// Nearest resize of `planes` planes with an instruction set's column passes.
// An output row that samples the same source row as the one before it is a
// copy of that row.
template <class Ops>
bool nearest_planes(const float *src, int srcw, int srch, float *dst, int dstw, int dsth,
                    long long planes, const Tap *cols, const int *rows) {
    WindowCols<Ops> c;
    if (!c.init(cols, dstw, srcw)) return false;
    const size_t in_plane = static_cast<size_t>(srcw) * static_cast<size_t>(srch);
    const size_t row_bytes = static_cast<size_t>(dstw) * sizeof(float);
    for (long long p = 0; p < planes; ++p) {
        const float *in = src + static_cast<size_t>(p) * in_plane;
        for (int y = 0; y < dsth; ++y) {
            float *out = dst + static_cast<size_t>(y) * static_cast<size_t>(dstw);
            if (y > 0 && rows[y] == rows[y - 1])
                std::memcpy(out, out - dstw, row_bytes);
            else
                c.pick_row(in + static_cast<size_t>(rows[y]) * static_cast<size_t>(srcw), out,
                           dstw);
        }
        dst += static_cast<size_t>(dsth) * static_cast<size_t>(dstw);
    }
    return true;
}

}  // namespace

}  // namespace qevo_simd

#endif  // QEVO_RESIZE_FLOAT_PATHS_H
