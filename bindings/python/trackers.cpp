// The two trackers (Tracker over the in-place update_objtracker, matching by
// IoU; SnapshotTracker over the shared-pointer one, matching by centre
// distance, with patches and servo angles) and filter_objtrackers.
//
// Tracker calls keep the GIL: a tracker's tracks are plain C++ state that two
// threads must not change at once, and one update is short.
#include <pybind11/stl.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arrays.h"
#include "module.h"
#include "objTracker.h"

namespace qevo_py {

namespace {

constexpr int kMosaicSide = 256;  // mosaic of 4 x 4 tiles of 64 x 64 pixels

// One track as (id, x1, y1, x2, y2, score, class, state): state is what
// toObjInfo returns (0 established, 1 stale, 2 young). An established track
// gives toObjInfo's box (the predicted box after a miss); the others, which
// toObjInfo does not fill, give the track's current box, score and class.
void track_row(OBJTRACK &t, double *row) {
    QEVO::objinfo det{};
    det.x1 = t._x1;
    det.y1 = t._y1;
    det.x2 = t._x2;
    det.y2 = t._y2;
    det.score = t._score;
    det.classNum = t._cls;
    const int state = t.toObjInfo(det);
    const double values[] = {double(t._trackID),   det.x1,       det.y1, det.x2, det.y2, det.score,
                             double(det.classNum), double(state)};
    std::copy(std::begin(values), std::end(values), row);
}

template <typename Deref, typename List>
py::array_t<double> track_rows(List &tracks, Deref deref) {
    py::array_t<double> out({static_cast<py::ssize_t>(tracks.size()), py::ssize_t{8}});
    double *p = out.mutable_data();
    for (auto &t : tracks) {
        track_row(deref(t), p);
        p += 8;
    }
    return out;
}

OBJTRACK &self(OBJTRACK &t) { return t; }
OBJTRACK &pointee(const std::shared_ptr<OBJTRACK> &t) { return *t; }

// Python-style index (negative counts from the end) into a list of n.
size_t list_index(py::ssize_t i, size_t n) {
    const py::ssize_t size = static_cast<py::ssize_t>(n);
    if (i < -size || i >= size) throw py::index_error("track index out of range");
    return static_cast<size_t>(i < 0 ? i + size : i);
}

struct Tracker {
    float threshold;
    std::vector<OBJTRACK> tracks;

    py::array_t<double> rows() { return track_rows(tracks, self); }

    py::array_t<double> update(py::object dets) {
        Boxes boxes = boxes_from(dets, "Tracker.update: dets");
        update_objtracker(std::move(boxes.rows), tracks, threshold);
        return rows();
    }
};

struct SnapshotTracker {
    float threshold;
    QEVO::INPUT_LAYOUT layout;
    std::vector<std::shared_ptr<OBJTRACK>> tracks;

    py::array_t<double> rows() { return track_rows(tracks, pointee); }

    // The patch of one detection in the tracker's layout (None: no pixels).
    QEVO::ImgMat patch(py::handle obj, const std::string &what, std::vector<Image> &keep) const {
        QEVO::ImgMat rec;
        rec.inlayout = layout;
        if (obj.is_none()) return rec;
        if (layout == QEVO::NV12) {
            keep.push_back(nv12_frame(obj, what));
            rec.depth = 1;
        } else {
            keep.push_back(uint8_image(obj, what, 3));
            if (keep.back().channels != 3 || !keep.back().has_channel_axis)
                value_error(what + " must have shape (h, w, 3), got " + describe(obj));
            rec.depth = 3;
        }
        rec.data = keep.back().data;
        rec.width = keep.back().width;
        rec.height = keep.back().height;
        return rec;
    }

    py::array_t<double> update(py::object dets, py::object patches, std::optional<float> az,
                               std::optional<float> pt) {
        Boxes boxes = boxes_from(dets, "SnapshotTracker.update: dets");
        std::vector<Image> keep;  // the patch arrays stay referenced during the call
        // Without patches every detection gets an empty one in the tracker's
        // layout, so every mosaic has that layout.
        std::vector<QEVO::ImgMat> blocks(boxes.rows.size(), patch(py::none(), "", keep));
        if (!patches.is_none()) {
            blocks.clear();
            if (!py::isinstance<py::sequence>(patches) || py::isinstance<py::str>(patches))
                type_error("SnapshotTracker.update: patches must be a list of arrays, got " +
                           describe(patches));
            auto seq = py::reinterpret_borrow<py::sequence>(patches);
            if (seq.size() != boxes.rows.size())
                value_error("SnapshotTracker.update: patches needs one entry per detection (" +
                            std::to_string(boxes.rows.size()) + "), got " +
                            std::to_string(seq.size()));
            keep.reserve(seq.size());
            for (size_t i = 0; i < seq.size(); ++i)
                blocks.push_back(patch(
                    seq[i], "SnapshotTracker.update: patches[" + std::to_string(i) + "]", keep));
        }
        QEVO::SyncInfos sync{};
        QEVO::ImgMat frame;
        frame.inlayout = layout;
        if (az || pt) {
            sync.fAz = az.value_or(0.0f);
            sync.fPt = pt.value_or(0.0f);
            frame.cfg = static_cast<long long>(reinterpret_cast<std::intptr_t>(&sync));
        }
        std::vector<std::shared_ptr<OBJTRACK>> next;
        update_objtracker(std::move(boxes.rows), tracks, next, std::move(blocks), threshold,
                          &frame);
        tracks = std::move(next);
        return rows();
    }

    py::object snapshot(py::ssize_t i) const {
        const OBJTRACK &t = *tracks[list_index(i, tracks.size())];
        if (t.m_imgBuffer == nullptr) return py::none();
        std::vector<py::ssize_t> shape = {kMosaicSide, kMosaicSide, 3};
        if (layout == QEVO::NV12) shape = {kMosaicSide / 2 * 3, kMosaicSide};
        auto out = new_uint8(shape);
        std::memcpy(out.mutable_data(), t.m_imgBuffer, static_cast<size_t>(out.size()));
        return std::move(out);
    }

    py::array_t<float> servo_history(py::ssize_t i) const {
        const OBJTRACK &t = *tracks[list_index(i, tracks.size())];
        py::array_t<float> out({static_cast<py::ssize_t>(t.m_org_fAZ_PTs.size()), py::ssize_t{2}});
        float *p = out.mutable_data();
        for (const auto &a : t.m_org_fAZ_PTs) {
            *p++ = a.first;
            *p++ = a.second;
        }
        return out;
    }
};

QEVO::INPUT_LAYOUT layout_named(const std::string &name) {
    if (name == "nv12") return QEVO::NV12;
    if (name == "rgb") return QEVO::RGB;
    value_error("SnapshotTracker: layout must be 'nv12' or 'rgb', got '" + name + "'");
}

}  // namespace

void bind_trackers(py::module_ &m) {
    m.attr("TRACK_ESTABLISHED") = 0;
    m.attr("TRACK_STALE") = 1;
    m.attr("TRACK_YOUNG") = 2;

    py::class_<Tracker>(m, "Tracker",
                        "Tracker over the in-place update_objtracker: each track, in list order,\n"
                        "takes its free detection of best IoU above iou_threshold. Tracks read\n"
                        "back as rows (id, x1, y1, x2, y2, score, class, state), state 0\n"
                        "established, 1 stale, 2 young. The C++ call prints progress lines on\n"
                        "standard output.")
        .def(py::init([](float iou_threshold) {
                 return Tracker{iou_threshold, {}};
             }),
             py::arg("iou_threshold") = 0.3f,
             "An empty tracker matching by IoU above iou_threshold.")
        .def_readonly("threshold", &Tracker::threshold, "The IoU threshold of matching.")
        .def("update", &Tracker::update, py::arg("dets"),
             "One frame: dets is an N x 6 float32 array (or list of rows); returns tracks().")
        .def("tracks", &Tracker::rows, "The tracks as an N x 8 float64 array, in list order.")
        .def(
            "__len__", [](const Tracker &t) { return t.tracks.size(); }, "Number of tracks.");

    py::class_<SnapshotTracker>(
        m, "SnapshotTracker",
        "Tracker over the shared-pointer update_objtracker: matching by centre distance\n"
        "(at most distance_threshold x sqrt(area of the track's last box)); every track\n"
        "keeps a 256 x 256 mosaic of its 16 latest patches (layout 'nv12' or 'rgb') and\n"
        "the servo angles of its frames.")
        .def(py::init([](float distance_threshold, const std::string &layout) {
                 return SnapshotTracker{distance_threshold, layout_named(layout), {}};
             }),
             py::arg("distance_threshold") = 0.5f, py::arg("layout") = "nv12",
             "An empty tracker; layout ('nv12' or 'rgb') is the layout of its patches.")
        .def_readonly("threshold", &SnapshotTracker::threshold,
                      "The distance threshold of matching.")
        .def("update", &SnapshotTracker::update, py::arg("dets"), py::arg("patches") = py::none(),
             py::arg("az") = py::none(), py::arg("pt") = py::none(),
             "One frame: dets as for Tracker.update; patches one per detection (NV12\n"
             "(h * 3 / 2) x w or RGB h x w x 3 uint8, at most 64 x 64 is pasted, or None);\n"
             "az, pt the frame's servo angles (None for both: no servo record). Returns\n"
             "tracks().")
        .def("tracks", &SnapshotTracker::rows,
             "The tracks as an N x 8 float64 array, in list order.")
        .def("snapshot", &SnapshotTracker::snapshot, py::arg("index"),
             "Copy of track `index`'s mosaic: 384 x 256 (NV12) or 256 x 256 x 3 (RGB), or\n"
             "None for a track without one.")
        .def("servo_history", &SnapshotTracker::servo_history, py::arg("index"),
             "Track `index`'s servo angles (az, pt), one row per frame with angles.")
        .def(
            "__len__", [](const SnapshotTracker &t) { return t.tracks.size(); },
            "Number of tracks.");

    m.def(
        "filter_objtrackers",
        [](Tracker &tracker, float sigma) {
            std::vector<OBJTRACK> kept;
            const int code = filter_objtrackers(tracker.tracks, kept, sigma);
            return py::make_tuple(code, track_rows(kept, self));
        },
        py::arg("tracker"), py::arg("sigma"),
        "The outlier filter over a Tracker's tracks: returns (code, rows), code 0 or 2\n"
        "(no established track), rows the tracks that pass; the tracker is not changed.");
}

}  // namespace qevo_py
