// The four suppression routines on boxes with NaN, infinite, inverted, huge
// and duplicate corners, scores and areas, any threshold, type and class
// count: they must end, never pick more boxes than they were given, and only
// ever return boxes they were given.
#include <cmath>

#include "fuzz_input.h"
#include "utils.h"

using namespace qevo_fuzz;
using QEVO::objinfo;

namespace {

objinfo any_box(Input &in, const std::vector<objinfo> &earlier) {
    if (!earlier.empty() && in.byte() < 24)
        return earlier[in.byte() % earlier.size()];  // duplicate
    objinfo b{};
    b.x1 = in.any_float(64), b.y1 = in.any_float(64);
    b.x2 = in.byte() < 200 ? b.x1 + static_cast<float>(in.in(0, 40)) : in.any_float(64);
    b.y2 = in.byte() < 200 ? b.y1 + static_cast<float>(in.in(0, 40)) : in.any_float(64);
    b.score = in.any_float(2);
    b.classNum = in.byte() < 230 ? in.in(0, 4) : in.any_int(10);
    b.ID = in.in(0, 1000);
    // The producer's area: mostly consistent with the corners, sometimes not.
    b.area = in.byte() < 200 ? (b.x2 - b.x1 + 1) * (b.y2 - b.y1 + 1) : in.any_float(500);
    return b;
}

bool same_box(const objinfo &a, const objinfo &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Every box of `out` is one of `in`, and no input box is returned more often
// than it was given.
void drawn_from(const std::vector<objinfo> &out, const std::vector<objinfo> &in) {
    QEVO_FUZZ_CHECK(out.size() <= in.size());
    std::vector<bool> used(in.size(), false);
    for (const objinfo &o : out) {
        bool found = false;
        for (size_t i = 0; i < in.size() && !found; ++i) {
            if (!used[i] && same_box(o, in[i])) used[i] = found = true;
        }
        QEVO_FUZZ_CHECK(found);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    std::vector<objinfo> boxes(in.in(0, 48));
    for (size_t i = 0; i < boxes.size(); ++i)
        boxes[i] = any_box(in, std::vector<objinfo>(boxes.begin(), boxes.begin() + i));
    const float thr =
        in.byte() < 200 ? static_cast<float>(in.in(0, 100)) / 100.0f : in.any_float(3);
    const int type = in.in(-1, 4);
    const int clsnum = in.byte() < 220 ? in.in(0, 6) : in.any_int(10);

    std::vector<objinfo> work = boxes, out(in.in(0, 3));
    const std::vector<objinfo> before_out = out;
    KIVEX::nms(work, out, thr, type);
    if (!boxes.empty()) drawn_from(out, boxes);
    if (in.flag()) {  // input and output the same vector
        work = boxes;
        KIVEX::nms(work, work, thr, type);
        if (!boxes.empty()) drawn_from(work, boxes);
    }

    work = boxes, out = before_out;
    KIVEX::nms1(work, out, thr, type);
    QEVO_FUZZ_CHECK(out.size() >= before_out.size());  // appended
    drawn_from(std::vector<objinfo>(out.begin() + before_out.size(), out.end()), boxes);

    work = boxes, out.clear();
    KIVEX::nms_cls(work, out, thr, clsnum);
    drawn_from(out, boxes);
    for (size_t i = 0; i < boxes.size(); ++i) QEVO_FUZZ_CHECK(same_box(work[i], boxes[i]));

    work = boxes, out = before_out;
    KIVEX::seg_NMS(work, thr, out);
    QEVO_FUZZ_CHECK(work.empty());
    drawn_from(out, boxes);
    return 0;
}
