#include "servo_sim.h"

#include <algorithm>
#include <cmath>

namespace pipeline {

int ServoSim::corner(double offset_px, int room) const {
    // Centred corner plus the offset, to the nearest even pixel inside 0 .. room.
    const double x = room / 2.0 + offset_px;
    long even = std::lround(x / 2.0) * 2;
    even = std::max(0L, std::min(static_cast<long>(room - room % 2), even));
    return static_cast<int>(even);
}

int ServoSim::view_x() const { return corner(pan_ / cfg_.resolution, cfg_.scene_w - cfg_.view_w); }

int ServoSim::view_y() const {
    return corner(-tilt_ / cfg_.resolution, cfg_.scene_h - cfg_.view_h);
}

QEVO::SyncInfos ServoSim::angles() const {
    QEVO::SyncInfos s{};
    const double dx = view_x() - (cfg_.scene_w - cfg_.view_w) / 2.0;
    const double dy = view_y() - (cfg_.scene_h - cfg_.view_h) / 2.0;
    double az = std::fmod(cfg_.az_centre + dx * cfg_.resolution, 360.0);
    if (az < 0) az += 360.0;
    s.fAz = static_cast<float>(az);
    s.fPt = static_cast<float>(cfg_.pt_centre - dy * cfg_.resolution);
    return s;
}

void ServoSim::command(double az, double pt) {
    if (!std::isfinite(az) || !std::isfinite(pt)) return;
    const QEVO::SyncInfos now = angles();
    double daz = std::fmod(az - now.fAz, 360.0);
    if (daz > 180.0) daz -= 360.0;
    if (daz < -180.0) daz += 360.0;
    const double dpt = pt - now.fPt;
    // The wanted position, from the reported one; the step from the true one.
    const double want_pan = (view_x() - (cfg_.scene_w - cfg_.view_w) / 2.0) * cfg_.resolution + daz;
    const double want_tilt =
        -(view_y() - (cfg_.scene_h - cfg_.view_h) / 2.0) * cfg_.resolution + dpt;
    const double s = cfg_.max_slew;
    pan_ += std::max(-s, std::min(s, want_pan - pan_));
    tilt_ += std::max(-s, std::min(s, want_tilt - tilt_));
    const double max_pan = (cfg_.scene_w - cfg_.view_w) / 2.0 * cfg_.resolution;
    const double max_tilt = (cfg_.scene_h - cfg_.view_h) / 2.0 * cfg_.resolution;
    pan_ = std::max(-max_pan, std::min(max_pan, pan_));
    tilt_ = std::max(-max_tilt, std::min(max_tilt, tilt_));
}

}  // namespace pipeline
