// A simulated pan/tilt servo that carries the camera's view over a
// recording: the view is a window of each recorded frame, and the servo's
// angles place it, under the library's linear model (a fixed resolution in
// degrees per pixel, azimuth growing to the right, pitch growing upwards).
//
// With the view centred the servo points at (az_centre, pt_centre); the
// view's top-left corner is then ((scene_w - view_w) / 2, (scene_h -
// view_h) / 2), and an azimuth a degrees further right moves it a /
// resolution pixels right. The servo moves at most max_slew degrees per
// frame on each axis and never takes the view outside the recording. Its
// position is continuous; the view's corner is that position rounded to even
// pixels (NV12 crops keep chroma pairs whole), and the angles the servo
// reports for a frame are those of the corner actually used, as an encoder
// reads the true pointing direction. Azimuths are reported in [0, 360).
#ifndef QEVO_PIPELINE_SERVO_SIM_H
#define QEVO_PIPELINE_SERVO_SIM_H

#include "detection_type_api.h"

namespace pipeline {

struct ServoConfig {
    int scene_w = 0, scene_h = 0;  // recording size
    int view_w = 0, view_h = 0;    // view size, even, at most the recording's
    double resolution = 0.05;      // degrees per pixel
    double max_slew = 0.5;         // degrees per frame on each axis
    double az_centre = 0.0, pt_centre = 0.0;
};

class ServoSim {
  public:
    explicit ServoSim(const ServoConfig &cfg) : cfg_(cfg) {}

    // The view's top-left corner in the recording for the current position.
    int view_x() const;
    int view_y() const;
    // The angles reported with the current frame (fAz, fPt; other fields 0).
    QEVO::SyncInfos angles() const;

    // Moves toward the angles (degrees; the azimuth difference is taken the
    // short way round), by at most max_slew per axis, then keeps the view
    // inside the recording. Non-finite commands are ignored.
    void command(double az, double pt);

    const ServoConfig &config() const { return cfg_; }

  private:
    int corner(double offset_px, int room) const;

    ServoConfig cfg_;
    double pan_ = 0.0, tilt_ = 0.0;  // degrees right of and above the centred position
};

}  // namespace pipeline

#endif
