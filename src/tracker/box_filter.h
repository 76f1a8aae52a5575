// Kalman filter of one track's box under a constant-velocity model.
//
// State: the box centre (cx, cy), width w and height h, each with its
// velocity per frame. The model moves each coordinate by its velocity and
// measures the four coordinates directly. Process and measurement noise are
// diagonal, with standard deviations proportional to the box's current width
// (for cx and w) or height (for cy and h):
//   position process noise   position_noise x size
//   velocity process noise   velocity_noise x size
//   measurement noise        position_noise x size
// With diagonal noise and a diagonal start, the eight-dimensional filter
// never couples two coordinates, so it is carried out exactly as four
// independent filters of (position, velocity), each with a 2 x 2 covariance.
// That is the same arithmetic as the full filter, without the zero blocks.
//
// All arithmetic is double precision; sizes below 1 pixel count as 1 in the
// noise, so a collapsing box never makes the covariance singular.
#ifndef QEVO_SRC_TRACKER_BOX_FILTER_H
#define QEVO_SRC_TRACKER_BOX_FILTER_H

namespace qevo_internal {

// One coordinate: position p, velocity v and the covariance
// [[pp, pv], [pv, vv]].
struct AxisState {
    double p, v;
    double pp, pv, vv;
};

enum BoxAxis { kCx = 0, kCy = 1, kW = 2, kH = 3 };

struct BoxState {
    AxisState axis[4];  // cx, cy, w, h
};

class BoxFilter {
  public:
    BoxFilter(double position_noise, double velocity_noise)
        : pos_(position_noise), vel_(velocity_noise) {}

    // A new track at the measured box: velocities 0, position deviation
    // 2 x position_noise x size, velocity deviation 10 x velocity_noise x size.
    BoxState start(double cx, double cy, double w, double h) const;

    // One frame ahead. With keep_size the size velocities are zeroed first
    // (a track without a recent match does not keep growing or shrinking).
    void predict(BoxState &s, bool keep_size) const;

    // Moves the position by a known image shift; its uncertainty grows by
    // `extra_sd` (a standard deviation in pixels) on both centre coordinates.
    static void shift(BoxState &s, double dx, double dy, double extra_sd);

    // Takes the measured box (cx, cy, w, h).
    void correct(BoxState &s, const double z[4]) const;

    // Sets the centre velocity to the given displacement per frame and the
    // velocity uncertainty back to that of a new track.
    void restart_velocity(BoxState &s, double vx, double vy) const;

    // The box of the state as corners.
    static void corners(const BoxState &s, double &x1, double &y1, double &x2, double &y2);

  private:
    // Size that scales the noise of an axis: the width for cx and w, the
    // height for cy and h, at least 1.
    static double scale(const BoxState &s, int axis);

    double pos_, vel_;
};

}  // namespace qevo_internal

#endif
