// One fixed-point bilinear resize (the arithmetic of resize_bilinear_c1 ..
// resize_bilinear_c4) produced output row by output row, for code that uses
// each row as soon as it exists instead of holding the whole image.
#ifndef QEVO_RESIZE_ROWS_H
#define QEVO_RESIZE_ROWS_H

namespace qevo_resize {

struct Paths;

class RowResizer {
  public:
    RowResizer() = default;
    ~RowResizer();
    RowResizer(const RowResizer &) = delete;
    RowResizer &operator=(const RowResizer &) = delete;

    // Prepares the resize of an srcw x srch image of n (1 to 4) bytes per
    // pixel, rows `srcstride` bytes apart, to w x h: the column and row tables
    // and the two cached row buffers, allocated here once. Returns false, with
    // nothing held, for input the kernels refuse (null source, source below
    // 2 x 2, target below 1 x 1, stride shorter than a row, sizes beyond the
    // integer arithmetic) or when memory is short. The vector path is chosen
    // here (QEVO_SIMD) and kept for every row, with its own column tables.
    bool init(int n, const unsigned char *src, int srcw, int srch, int srcstride, int w, int h);

    // Writes output row dy (w x n bytes) to `out`. Successive calls must not
    // decrease dy; each source row is then interpolated horizontally at most
    // once over all calls.
    void row(int dy, unsigned char *out);

    // When the resize is an exact 2:1 shrink both ways and the path has a fast
    // form for it, writes the whole image (rows `stride` bytes apart) with
    // that form and returns true; otherwise writes nothing and returns false.
    bool halve_all(unsigned char *dst, int stride) const;

  private:
    void release();

    const Paths *paths_ = nullptr;
    const unsigned char *src_ = nullptr;
    int n_ = 0, srcw_ = 0, srcstride_ = 0, w_ = 0, h_ = 0;
    int *buf_ = nullptr;    // xofs, yofs, ialpha, ibeta, then the path's plan
    void *plan_ = nullptr;  // the path's per-call column tables, or null
    bool planned_ = false;  // plan_ filled (at the first row)
    int *xofs_ = nullptr, *yofs_ = nullptr;
    short *ialpha_ = nullptr, *ibeta_ = nullptr;
    short *rows0_ = nullptr, *rows1_ = nullptr;
    int prev_sy1_ = -2;
    bool prefetch_ = false;  // prefetch the next output row's source rows
    int prefetched_ = -1;    // last source row prefetched
};

}  // namespace qevo_resize

#endif  // QEVO_RESIZE_ROWS_H
