// Suppression of overlapping boxes: nms, nms1, nms_cls and seg_NMS.
//
// All four routines are greedy: a picked box removes the remaining boxes it
// overlaps, and removal never changes how two other boxes compare. Only boxes
// that intersect the picked one can be removed (for a negative threshold in
// nms and seg_NMS every box can, see below), so the boxes are bucketed in a
// uniform grid and each pick tests only the live boxes of the cells it
// covers. The test itself is the routine's own rule evaluated step for step,
// so the results are those of comparing every pair.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "utils.h"

namespace {

using Box = QEVO::tag_Objinfo;

// Orders that agree with < and > on numbers and stay strict weak orders with
// NaN (which std::sort needs): a NaN key counts as lower than every number.
bool score_ascending(const Box &a, const Box &b) {
    if (std::isnan(a.score)) return !std::isnan(b.score);
    return a.score < b.score;
}

bool score_descending(const Box &a, const Box &b) {
    if (std::isnan(b.score)) return !std::isnan(a.score);
    return a.score > b.score;
}

bool area_descending(const Box &a, const Box &b) {
    if (std::isnan(b.area)) return !std::isnan(a.area);
    return a.area > b.area;
}

// max(a, b) is b only when a < b; min(a, b) is b only when b < a.
inline float fmax2(float a, float b) { return a < b ? b : a; }
inline float fmin2(float a, float b) { return b < a ? b : a; }

// v when v > 0, else +0 (NaN included); without a branch, as the sign of an
// intersection size is as good as random.
inline float positive_or_zero(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    bits &= 0u - static_cast<uint32_t>(v > 0.0f);
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// One box as the suppression loops read it: its corners, one more value (the
// area the routine divides by) and its class, with its index in the sorted
// input. Cells hold copies of these, so a cell is scanned front to back.
struct Item {
    float x1, y1, x2, y2;
    float extra;
    int cls;
    uint32_t idx;
};

std::vector<Item> items_of(const std::vector<Box> &boxes) {
    std::vector<Item> items(boxes.size());
    for (size_t i = 0; i < boxes.size(); ++i) {
        const Box &b = boxes[i];
        items[i] = Item{b.x1, b.y1, b.x2, b.y2, 0.0f, b.classNum, static_cast<uint32_t>(i)};
    }
    return items;
}

// The live boxes, bucketed by position. Every box is entered in each cell
// that its rectangle, widened by a margin, touches. Two boxes whose
// intersection (in inclusive pixels, with the rounding of single precision)
// is not empty then always share a cell. When the corners do not allow that
// guarantee (NaN, infinities, coordinates beyond 2^20, where a pixel is no
// longer much larger than the rounding), or when any two boxes may have to be
// compared, all boxes go into one cell and each pick tests every live box.
class BoxGrid {
  public:
    BoxGrid(const std::vector<Item> &items, bool spatial) : alive_(items.size(), 1) {
        const size_t n = items.size();
        range_.resize(n);
        if (!(spatial && n >= kMinBoxesForGrid && set_up_cells(items))) {
            cols_ = 1;
            offset_.assign(1, 0);
            count_.assign(1, static_cast<uint32_t>(n));
            entries_ = items;
            for (size_t i = 0; i < n; ++i) range_[i] = CellRange{0, 0, 0, 0};
        }
    }

    bool alive(size_t i) const { return alive_[i] != 0; }

    // Calls `suppress(item)` for the live boxes that may intersect box `p`
    // (every live box without the grid; `p` itself and boxes entered in
    // several of its cells may be asked more than once, so `suppress` must
    // not have side effects), removes those for which it returns true, and
    // finally removes `p` itself.
    template <class Suppress>
    void remove_around(size_t p, Suppress suppress) {
        const CellRange &q = range_[p];
        for (int cy = q.y0; cy <= q.y1; ++cy) {
            for (int cx = q.x0; cx <= q.x1; ++cx) {
                const size_t cell = static_cast<size_t>(cy) * cols_ + static_cast<size_t>(cx);
                Item *first = entries_.data() + offset_[cell];
                const uint32_t count = count_[cell];
                uint32_t kept = 0;
                // Written without branches on the outcome, which is as good
                // as random; dead entries are dropped from the cell.
                for (uint32_t k = 0; k < count; ++k) {
                    const Item e = first[k];
                    const bool stays = alive_[e.idx] & !suppress(e);
                    alive_[e.idx] = stays;
                    first[kept] = e;
                    kept += stays;
                }
                count_[cell] = kept;
            }
        }
        alive_[p] = 0;
    }

  private:
    struct CellRange {
        int x0, x1, y0, y1;
    };
    static constexpr size_t kMinBoxesForGrid = 48;
    static constexpr float kMaxCoordinate = 1048576.0f;  // 2^20
    static constexpr double kMargin = 2.0;               // pixels, beyond the +1 of the sizes

    bool set_up_cells(const std::vector<Item> &items) {
        const size_t n = items.size();
        double min_x = 0, min_y = 0, max_x = 0, max_y = 0, extent = 0;
        for (size_t i = 0; i < n; ++i) {
            const float v[4] = {items[i].x1, items[i].y1, items[i].x2, items[i].y2};
            for (float f : v) {
                if (!(std::fabs(f) <= kMaxCoordinate)) return false;  // NaN or too large
            }
            const double lo_x = std::min(v[0], v[2]) - kMargin,
                         hi_x = std::max(v[0], v[2]) + kMargin;
            const double lo_y = std::min(v[1], v[3]) - kMargin,
                         hi_y = std::max(v[1], v[3]) + kMargin;
            if (i == 0 || lo_x < min_x) min_x = lo_x;
            if (i == 0 || lo_y < min_y) min_y = lo_y;
            if (i == 0 || hi_x > max_x) max_x = hi_x;
            if (i == 0 || hi_y > max_y) max_y = hi_y;
            extent += (hi_x - lo_x) + (hi_y - lo_y);
        }
        // Cells about the size of an average box; fewer when that would
        // make too many cells or enter boxes in too many of them.
        double side = std::max(1.0, extent / (2.0 * static_cast<double>(n)));
        const double span_x = max_x - min_x, span_y = max_y - min_y;
        for (;;) {
            const double cols = std::floor(span_x / side) + 1, rows = std::floor(span_y / side) + 1;
            if (cols * rows <= 4.0 * static_cast<double>(n)) {
                cols_ = static_cast<size_t>(cols);
                rows_ = static_cast<size_t>(rows);
                size_t total = 0;
                for (size_t i = 0; i < n; ++i) {
                    range_[i] = cell_range(items[i], min_x, min_y, side);
                    total += static_cast<size_t>(range_[i].x1 - range_[i].x0 + 1) *
                             static_cast<size_t>(range_[i].y1 - range_[i].y0 + 1);
                }
                if (total <= 16 * n) break;
            }
            side *= 2.0;
        }
        if (cols_ * rows_ == 1) return false;

        const size_t cells = cols_ * rows_;
        count_.assign(cells, 0);
        for (size_t i = 0; i < n; ++i) {
            const CellRange &r = range_[i];
            for (int cy = r.y0; cy <= r.y1; ++cy)
                for (int cx = r.x0; cx <= r.x1; ++cx)
                    ++count_[static_cast<size_t>(cy) * cols_ + cx];
        }
        offset_.assign(cells, 0);
        uint32_t total = 0;
        for (size_t cell = 0; cell < cells; ++cell) {
            offset_[cell] = total;
            total += count_[cell];
        }
        entries_.resize(total);
        std::vector<uint32_t> fill(offset_);
        for (size_t i = 0; i < n; ++i) {
            const CellRange &r = range_[i];
            for (int cy = r.y0; cy <= r.y1; ++cy)
                for (int cx = r.x0; cx <= r.x1; ++cx)
                    entries_[fill[static_cast<size_t>(cy) * cols_ + cx]++] = items[i];
        }
        return true;
    }

    // Cells touched by box `b` widened by the margin. The mapping from a
    // coordinate to its cell is monotonic, so overlapping widened boxes
    // always share a cell.
    CellRange cell_range(const Item &b, double min_x, double min_y, double side) const {
        const double lo_x = std::min(b.x1, b.x2) - kMargin, hi_x = std::max(b.x1, b.x2) + kMargin;
        const double lo_y = std::min(b.y1, b.y2) - kMargin, hi_y = std::max(b.y1, b.y2) + kMargin;
        return CellRange{cell_of(lo_x, min_x, side, cols_), cell_of(hi_x, min_x, side, cols_),
                         cell_of(lo_y, min_y, side, rows_), cell_of(hi_y, min_y, side, rows_)};
    }

    static int cell_of(double v, double origin, double side, size_t cells) {
        const double k = std::floor((v - origin) / side);
        if (k < 0) return 0;
        if (k >= static_cast<double>(cells)) return static_cast<int>(cells) - 1;
        return static_cast<int>(k);
    }

    std::vector<unsigned char> alive_;
    std::vector<CellRange> range_;
    size_t cols_ = 1, rows_ = 1;
    std::vector<uint32_t> offset_, count_;
    std::vector<Item> entries_;
};

// The passes of nms for one overlap rule (`Type` 1: over the union of the
// area fields, 2: over the smaller area field, 0: the intersection itself).
// The picked entry leaves in its own pass even when its overlap with itself
// does not exceed the threshold, so there are at most as many passes as boxes.
template <int Type>
void nms_passes(const std::vector<Item> &items, float nmsthreshold, BoxGrid &grid,
                std::vector<size_t> &picks) {
    for (size_t last = items.size(); last-- > 0;) {
        if (!grid.alive(last)) continue;
        picks.push_back(last);
        const Item p = items[last];
        grid.remove_around(last, [p, nmsthreshold](const Item &e) {
            float w = fmin2(e.x2, p.x2) - fmax2(e.x1, p.x1) + 1.0f;
            w = positive_or_zero(w);
            float h = fmin2(e.y2, p.y2) - fmax2(e.y1, p.y1) + 1.0f;
            h = positive_or_zero(h);
            float overlap = w * h;
            if (Type == 1) {
                overlap = overlap / (e.extra + p.extra - overlap);
            } else if (Type == 2) {
                overlap = overlap / (e.extra < p.extra ? e.extra : p.extra);
            }
            return overlap > nmsthreshold;
        });
    }
}

}  // namespace

namespace KIVEX {

bool SortAreaScore(QEVO::tag_Objinfo box1, QEVO::tag_Objinfo box2) { return box1.area > box2.area; }

extern "C" {

void nms(std::vector<QEVO::tag_Objinfo> &input, std::vector<QEVO::tag_Objinfo> &output,
         float nmsthreshold, int type) {
    if (input.empty()) return;
    std::sort(input.begin(), input.end(), score_ascending);
    const size_t num_boxes = input.size();
    std::printf("box num: %d\n", static_cast<int>(num_boxes));
    // The score map holds one entry per box, and after the sort its key order
    // is exactly the index order, so the highest live index is its last entry.
    std::printf("vScores size: %d\n", static_cast<int>(num_boxes));

    std::vector<Item> items = items_of(input);
    for (size_t i = 0; i < num_boxes; ++i) items[i].extra = input[i].area;
    // Without any intersection the overlap is 0 (or NaN for a zero
    // denominator), which exceeds only a negative threshold.
    BoxGrid grid(items, !(nmsthreshold < 0.0f));

    std::vector<size_t> picks;
    if (type == 1) {
        nms_passes<1>(items, nmsthreshold, grid, picks);
    } else if (type == 2) {
        nms_passes<2>(items, nmsthreshold, grid, picks);
    } else {
        nms_passes<0>(items, nmsthreshold, grid, picks);
    }

    std::vector<QEVO::tag_Objinfo> picked(picks.size());
    for (size_t i = 0; i < picks.size(); ++i) picked[i] = input[picks[i]];
    output = std::move(picked);
}

void nms1(std::vector<QEVO::tag_Objinfo> &input, std::vector<QEVO::tag_Objinfo> &output,
          float nmsthreshold, int /*type*/) {
    std::sort(input.begin(), input.end(), score_descending);
    const size_t box_num = input.size();
    if (box_num == 0) return;

    std::vector<Item> items = items_of(input);
    for (Item &b : items) {
        const float h = b.y2 - b.y1 + 1.0f;
        const float w = b.x2 - b.x1 + 1.0f;
        b.extra = h * w;
    }
    // A pair without a positive intersection is never merged.
    BoxGrid grid(items, true);

    std::vector<QEVO::tag_Objinfo> kept;
    for (size_t i = 0; i < box_num; ++i) {
        if (!grid.alive(i)) continue;
        kept.push_back(input[i]);
        const Item p = items[i];
        // Every live box other than i comes after it.
        grid.remove_around(i, [p, nmsthreshold](const Item &j) {
            // Boxes with inner_w or inner_h <= 0 do not overlap; the ratio
            // is computed regardless (it has no effect then).
            const float inner_w = fmin2(p.x2, j.x2) - fmax2(p.x1, j.x1) + 1.0f;
            const float inner_h = fmin2(p.y2, j.y2) - fmax2(p.y1, j.y1) + 1.0f;
            const float inner_area = inner_h * inner_w;
            const float score = inner_area / (p.extra + j.extra - inner_area);
            return !(inner_w <= 0.0f) & !(inner_h <= 0.0f) & (score > nmsthreshold);
        });
    }
    output.insert(output.end(), kept.begin(), kept.end());
}

void nms_cls(std::vector<QEVO::tag_Objinfo> &inputs, std::vector<QEVO::tag_Objinfo> &outputs,
             float nmsThresh, int clsnum) {
    if (clsnum <= 0) return;
    // Positions of the boxes of classes 0 .. clsnum - 1, grouped by class,
    // each group in input order; empty classes are skipped rather than
    // scanned for.
    std::vector<size_t> order;
    order.reserve(inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i) {
        if (inputs[i].classNum >= 0 && inputs[i].classNum < clsnum) order.push_back(i);
    }
    std::stable_sort(order.begin(), order.end(), [&inputs](size_t a, size_t b) {
        return inputs[a].classNum < inputs[b].classNum;
    });

    std::vector<QEVO::tag_Objinfo> survivors;
    std::vector<QEVO::tag_Objinfo> inboxes;
    for (size_t begin = 0; begin < order.size();) {
        const int cls = inputs[order[begin]].classNum;
        size_t end = begin;
        inboxes.clear();
        while (end < order.size() && inputs[order[end]].classNum == cls) {
            inboxes.push_back(inputs[order[end]]);
            ++end;
        }
        nms1(inboxes, survivors, nmsThresh, 1);
        begin = end;
    }
    outputs.insert(outputs.end(), survivors.begin(), survivors.end());
}

void seg_NMS(std::vector<QEVO::tag_Objinfo> &boxes, float thr,
             std::vector<QEVO::tag_Objinfo> &result) {
    result.clear();
    std::sort(boxes.begin(), boxes.end(), area_descending);
    const size_t count = boxes.size();
    if (count == 0) return;

    std::vector<Item> items = items_of(boxes);
    // The denominator of seg_IOU when the box is the candidate.
    for (Item &b : items) b.extra = (b.x2 - b.x1) * (b.y2 - b.y1);
    // Without any intersection seg_IOU is 0 (or NaN), which exceeds only a
    // negative threshold.
    BoxGrid grid(items, !(thr < 0.0f));

    std::vector<QEVO::tag_Objinfo> kept;
    for (size_t k = 0; k < count; ++k) {
        if (!grid.alive(k)) continue;
        kept.push_back(boxes[k]);
        const Item kb = items[k];
        grid.remove_around(k, [kb, thr](const Item &r) {
            // seg_IOU(kept box, candidate), step for step.
            const float x1 = fmax2(kb.x1, r.x1);
            const float y1 = fmax2(kb.y1, r.y1);
            const float x2 = fmin2(kb.x2, r.x2);
            const float y2 = fmin2(kb.y2, r.y2);
            const float w = positive_or_zero(x2 - x1 + 1.0f);
            const float h = positive_or_zero(y2 - y1 + 1.0f);
            return (r.cls == kb.cls) & ((w * h) / r.extra > thr);
        });
    }
    boxes.clear();
    result = std::move(kept);
}

}  // extern "C"

}  // namespace KIVEX
