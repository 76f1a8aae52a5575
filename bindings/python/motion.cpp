// MotionTracker (tracker.h): Kalman prediction, global assignment in two
// stages and servo compensation, with its parameters as keywords.
//
// Calls keep the GIL, as the other trackers' do: one update is short.
#include <pybind11/stl.h>

#include <optional>

#include "arrays.h"
#include "module.h"
#include "tracker.h"

namespace qevo_py {

namespace {

constexpr py::ssize_t kColumns = 13;

// (id, x1, y1, x2, y2, score, class, state, hits, misses, age, occlusion,
// det): det is the row of this update's detections that the track took, or
// -1 when it took none.
py::array_t<double> motion_rows(const qevo::MotionTracker &t) {
    py::array_t<double> out({static_cast<py::ssize_t>(t.track_count()), kColumns});
    double *p = out.mutable_data();
    for (int i = 0; i < t.track_count(); ++i) {
        const qevo::TrackInfo &k = t.tracks()[i];
        const QEVO::objinfo &b = k.box;
        const double row[kColumns] = {double(b.trackID),
                                      b.x1,
                                      b.y1,
                                      b.x2,
                                      b.y2,
                                      b.score,
                                      double(b.classNum),
                                      double(k.state),
                                      double(k.hits),
                                      double(k.misses),
                                      double(k.age),
                                      k.occlusion,
                                      k.misses == 0 ? double(b.ID) : -1.0};
        std::copy(row, row + kColumns, p);
        p += kColumns;
    }
    return out;
}

struct PyMotionTracker {
    qevo::MotionTracker tracker;
    int last_result = 0;

    py::array_t<double> update(py::object dets, std::optional<float> az, std::optional<float> pt,
                               double resolution) {
        Boxes boxes = boxes_from(dets, "MotionTracker.update: dets");
        QEVO::SyncInfos sync{};
        if (az.has_value() != pt.has_value())
            value_error("MotionTracker.update: give both az and pt, or neither");
        if (az) {
            sync.fAz = *az;
            sync.fPt = *pt;
        }
        last_result = tracker.update(boxes.rows, az ? &sync : nullptr, resolution);
        return motion_rows(tracker);
    }

    py::object predicted_box(int track_id) const {
        QEVO::objinfo b{};
        if (tracker.predicted_box(track_id, &b) != 0) return py::none();
        return py::make_tuple(b.x1, b.y1, b.x2, b.y2);
    }
};

py::dict params_dict(const qevo::MotionTrackerParams &p) {
    py::dict d;
    d["high_score"] = p.high_score;
    d["low_score"] = p.low_score;
    d["new_track_score"] = p.new_track_score;
    d["match_iou"] = p.match_iou;
    d["low_match_iou"] = p.low_match_iou;
    d["tentative_match_iou"] = p.tentative_match_iou;
    d["confirm_hits"] = p.confirm_hits;
    d["max_lost"] = p.max_lost;
    d["match_classes"] = p.match_classes;
    d["position_noise"] = p.position_noise;
    d["velocity_noise"] = p.velocity_noise;
    d["servo_noise"] = p.servo_noise;
    d["first_id"] = p.first_id;
    return d;
}

}  // namespace

void bind_motion(py::module_ &m) {
    m.attr("TRACK_TENTATIVE") = static_cast<int>(qevo::TRACK_TENTATIVE);
    m.attr("TRACK_CONFIRMED") = static_cast<int>(qevo::TRACK_CONFIRMED);
    m.attr("TRACK_LOST") = static_cast<int>(qevo::TRACK_LOST);

    const qevo::MotionTrackerParams d;
    py::class_<PyMotionTracker>(
        m, "MotionTracker",
        "The motion tracker of tracker.h: a Kalman filter per track, one global assignment\n"
        "per stage (confident detections, then low-score ones for tracks matched in the\n"
        "previous frame, then tentative tracks), confirmation after confirm_hits matches in a\n"
        "row, lost tracks kept max_lost frames, and servo compensation from the frames'\n"
        "angles. Parameters outside their range take their defaults (see params). Tracks\n"
        "read back as rows (id, x1, y1, x2, y2, score, class, state, hits, misses, age,\n"
        "occlusion, det), state TRACK_TENTATIVE, TRACK_CONFIRMED or TRACK_LOST, det the row\n"
        "of this update's detections that the track took (-1: none).")
        .def(py::init([](float high_score, float low_score, float new_track_score, float match_iou,
                         float low_match_iou, float tentative_match_iou, int confirm_hits,
                         int max_lost, bool match_classes, float position_noise,
                         float velocity_noise, float servo_noise, int first_id) {
                 qevo::MotionTrackerParams p;
                 p.high_score = high_score;
                 p.low_score = low_score;
                 p.new_track_score = new_track_score;
                 p.match_iou = match_iou;
                 p.low_match_iou = low_match_iou;
                 p.tentative_match_iou = tentative_match_iou;
                 p.confirm_hits = confirm_hits;
                 p.max_lost = max_lost;
                 p.match_classes = match_classes;
                 p.position_noise = position_noise;
                 p.velocity_noise = velocity_noise;
                 p.servo_noise = servo_noise;
                 p.first_id = first_id;
                 return PyMotionTracker{qevo::MotionTracker(p), 0};
             }),
             py::kw_only(), py::arg("high_score") = d.high_score,
             py::arg("low_score") = d.low_score, py::arg("new_track_score") = d.new_track_score,
             py::arg("match_iou") = d.match_iou, py::arg("low_match_iou") = d.low_match_iou,
             py::arg("tentative_match_iou") = d.tentative_match_iou,
             py::arg("confirm_hits") = d.confirm_hits, py::arg("max_lost") = d.max_lost,
             py::arg("match_classes") = d.match_classes,
             py::arg("position_noise") = d.position_noise,
             py::arg("velocity_noise") = d.velocity_noise, py::arg("servo_noise") = d.servo_noise,
             py::arg("first_id") = d.first_id,
             "An empty tracker with the given parameters (keywords only).")
        .def("update", &PyMotionTracker::update, py::arg("dets"), py::kw_only(),
             py::arg("az") = py::none(), py::arg("pt") = py::none(), py::arg("resolution") = 0.0,
             "One frame: dets as for Tracker.update (the class column matters with\n"
             "match_classes); az, pt the frame's servo angles in degrees (both or neither) and\n"
             "resolution the camera's degrees per pixel (0: no compensation). Invalid boxes\n"
             "(NaN, infinite, empty, inverted, beyond 1e6) are skipped and counted in skipped.\n"
             "Returns tracks().")
        .def(
            "tracks", [](const PyMotionTracker &t) { return motion_rows(t.tracker); },
            "The tracks as an N x 13 float64 array, oldest first.")
        .def("predicted_box", &PyMotionTracker::predicted_box, py::arg("track_id"),
             "(x1, y1, x2, y2) where the motion model expects track track_id in the next\n"
             "frame, in this frame's coordinates; None when no held track has that id.")
        .def(
            "reset", [](PyMotionTracker &t) { t.tracker.reset(); },
            "Drops every track; identifiers start again at first_id.")
        .def_property_readonly(
            "skipped", [](const PyMotionTracker &t) { return t.tracker.skipped(); },
            "Detections skipped as invalid by the last update.")
        .def_property_readonly(
            "last_result", [](const PyMotionTracker &t) { return t.last_result; },
            "Result of the last update: 0, or 2 when a track could not start because the\n"
            "identifiers are used up.")
        .def_property_readonly(
            "frame_count", [](const PyMotionTracker &t) { return t.tracker.frame_count(); },
            "Updates since construction or reset().")
        .def_property_readonly(
            "params", [](const PyMotionTracker &t) { return params_dict(t.tracker.params()); },
            "The parameters in use, as a dict.")
        .def(
            "__len__", [](const PyMotionTracker &t) { return t.tracker.track_count(); },
            "Number of tracks held (tentative, confirmed and lost).");
}

}  // namespace qevo_py
