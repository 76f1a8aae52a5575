// Suppression of overlapping boxes: nms, nms1, nms_cls and seg_NMS.
//
// All four routines are greedy: a picked box removes the remaining boxes it
// overlaps. Removal never changes how two other boxes compare, so each pass
// is a single filter over the boxes still alive. They are kept in index order
// in compact struct-of-arrays form, and every pass writes the survivors back
// to the front of the same arrays: no per-entry allocation, and the cheapest
// rejection (no horizontal overlap, a different class) is tested first.
#include <algorithm>
#include <cmath>
#include <cstdio>
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

// The corners (and one more value per box) of the boxes still alive, in index
// order, with the index of each in the sorted input.
struct AliveBoxes {
    std::vector<float> x1, y1, x2, y2, extra;
    std::vector<int> cls;
    std::vector<int> idx;

    explicit AliveBoxes(size_t n) : x1(n), y1(n), x2(n), y2(n), extra(n), idx(n) {}

    void load(const std::vector<Box> &boxes, size_t i) {
        x1[i] = boxes[i].x1;
        y1[i] = boxes[i].y1;
        x2[i] = boxes[i].x2;
        y2[i] = boxes[i].y2;
        idx[i] = static_cast<int>(i);
    }
    void move(size_t from, size_t to) {
        x1[to] = x1[from];
        y1[to] = y1[from];
        x2[to] = x2[from];
        y2[to] = y2[from];
        extra[to] = extra[from];
        idx[to] = idx[from];
        if (!cls.empty()) cls[to] = cls[from];
    }
};

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
    // is exactly the index order: the alive arrays stand for it.
    std::printf("vScores size: %d\n", static_cast<int>(num_boxes));

    AliveBoxes alive(num_boxes);
    for (size_t i = 0; i < num_boxes; ++i) {
        alive.load(input, i);
        alive.extra[i] = input[i].area;
    }
    // A box without any intersection has overlap 0 (or NaN for a zero
    // denominator), which exceeds the threshold only when it is negative.
    const bool disjoint_never_suppressed = !(nmsthreshold < 0.0f);

    std::vector<int> picks;
    size_t n = num_boxes;
    while (n > 0) {
        // The last alive entry has the highest score (of equal scores, the
        // highest index). It always leaves in its own pass, so the loop ends
        // after at most num_boxes picks.
        const size_t last = n - 1;
        picks.push_back(alive.idx[last]);
        const float px1 = alive.x1[last], py1 = alive.y1[last];
        const float px2 = alive.x2[last], py2 = alive.y2[last];
        const float parea = alive.extra[last];

        size_t kept = 0;
        for (size_t r = 0; r < last; ++r) {
            float w = fmin2(alive.x2[r], px2) - fmax2(alive.x1[r], px1) + 1.0f;
            if (!(w > 0.0f)) {
                if (disjoint_never_suppressed) {
                    alive.move(r, kept++);
                    continue;
                }
                w = 0.0f;
            }
            float h = fmin2(alive.y2[r], py2) - fmax2(alive.y1[r], py1) + 1.0f;
            if (!(h > 0.0f)) h = 0.0f;
            float overlap = w * h;
            if (type == 1) {
                overlap = overlap / (alive.extra[r] + parea - overlap);
            } else if (type == 2) {
                overlap = overlap / (alive.extra[r] < parea ? alive.extra[r] : parea);
            }
            if (!(overlap > nmsthreshold)) alive.move(r, kept++);
        }
        n = kept;
    }

    std::vector<QEVO::tag_Objinfo> picked(picks.size());
    for (size_t i = 0; i < picks.size(); ++i) picked[i] = input[static_cast<size_t>(picks[i])];
    output = std::move(picked);
}

void nms1(std::vector<QEVO::tag_Objinfo> &input, std::vector<QEVO::tag_Objinfo> &output,
          float nmsthreshold, int /*type*/) {
    std::sort(input.begin(), input.end(), score_descending);
    const size_t box_num = input.size();
    if (box_num == 0) return;

    AliveBoxes alive(box_num);
    for (size_t i = 0; i < box_num; ++i) {
        alive.load(input, i);
        const float h = input[i].y2 - input[i].y1 + 1.0f;
        const float w = input[i].x2 - input[i].x1 + 1.0f;
        alive.extra[i] = h * w;
    }

    std::vector<int> picks;
    size_t n = box_num;
    while (n > 0) {
        // The first alive box is the best one not yet suppressed; it may only
        // suppress boxes after it.
        picks.push_back(alive.idx[0]);
        const float px1 = alive.x1[0], py1 = alive.y1[0];
        const float px2 = alive.x2[0], py2 = alive.y2[0];
        const float area0 = alive.extra[0];

        size_t kept = 0;
        for (size_t r = 1; r < n; ++r) {
            const float inner_w = fmin2(px2, alive.x2[r]) - fmax2(px1, alive.x1[r]) + 1.0f;
            if (inner_w <= 0.0f) {
                alive.move(r, kept++);
                continue;
            }
            const float inner_h = fmin2(py2, alive.y2[r]) - fmax2(py1, alive.y1[r]) + 1.0f;
            if (inner_h <= 0.0f) {
                alive.move(r, kept++);
                continue;
            }
            const float inner_area = inner_h * inner_w;
            const float score = inner_area / (area0 + alive.extra[r] - inner_area);
            if (!(score > nmsthreshold)) alive.move(r, kept++);
        }
        n = kept;
    }

    std::vector<QEVO::tag_Objinfo> kept_boxes(picks.size());
    for (size_t i = 0; i < picks.size(); ++i) kept_boxes[i] = input[static_cast<size_t>(picks[i])];
    output.insert(output.end(), kept_boxes.begin(), kept_boxes.end());
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

    AliveBoxes alive(count);
    alive.cls.resize(count);
    for (size_t i = 0; i < count; ++i) {
        alive.load(boxes, i);
        alive.cls[i] = boxes[i].classNum;
        // Denominator of seg_IOU when this box is the candidate.
        alive.extra[i] = (boxes[i].x2 - boxes[i].x1) * (boxes[i].y2 - boxes[i].y1);
    }

    std::vector<QEVO::tag_Objinfo> kept_boxes;
    size_t n = count;
    while (n > 0) {
        kept_boxes.push_back(boxes[static_cast<size_t>(alive.idx[0])]);
        const float kx1 = alive.x1[0], ky1 = alive.y1[0];
        const float kx2 = alive.x2[0], ky2 = alive.y2[0];
        const int kcls = alive.cls[0];

        size_t kept = 0;
        for (size_t r = 1; r < n; ++r) {
            if (alive.cls[r] != kcls) {
                alive.move(r, kept++);
                continue;
            }
            // seg_IOU(kept box, candidate), step for step.
            const float x1 = fmax2(kx1, alive.x1[r]);
            const float y1 = fmax2(ky1, alive.y1[r]);
            const float x2 = fmin2(kx2, alive.x2[r]);
            const float y2 = fmin2(ky2, alive.y2[r]);
            const float w = fmax2(0.0f, x2 - x1 + 1.0f);
            const float h = fmax2(0.0f, y2 - y1 + 1.0f);
            const float iou = (w * h) / alive.extra[r];
            if (!(iou > thr)) alive.move(r, kept++);
        }
        n = kept;
    }
    boxes.clear();
    result = std::move(kept_boxes);
}

}  // extern "C"

}  // namespace KIVEX
