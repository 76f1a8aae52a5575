#include "tracker/box_filter.h"

namespace qevo_internal {

double BoxFilter::scale(const BoxState &s, int axis) {
    const double size = (axis == kCx || axis == kW) ? s.axis[kW].p : s.axis[kH].p;
    return size > 1.0 ? size : 1.0;
}

BoxState BoxFilter::start(double cx, double cy, double w, double h) const {
    BoxState s;
    const double z[4] = {cx, cy, w, h};
    for (int a = 0; a < 4; ++a) {
        s.axis[a].p = z[a];
        s.axis[a].v = 0.0;
    }
    for (int a = 0; a < 4; ++a) {
        const double k = scale(s, a);
        const double sp = 2.0 * pos_ * k;
        const double sv = 10.0 * vel_ * k;
        AxisState &x = s.axis[a];
        x.pp = sp * sp;
        x.pv = 0.0;
        x.vv = sv * sv;
    }
    return s;
}

void BoxFilter::predict(BoxState &s, bool keep_size) const {
    if (keep_size) {
        s.axis[kW].v = 0.0;
        s.axis[kH].v = 0.0;
    }
    // The noise follows the size before the step, as the covariance does.
    double qp[4], qv[4];
    for (int a = 0; a < 4; ++a) {
        const double k = scale(s, a);
        const double sp = pos_ * k;
        const double sv = vel_ * k;
        qp[a] = sp * sp;
        qv[a] = sv * sv;
    }
    for (int a = 0; a < 4; ++a) {
        AxisState &x = s.axis[a];
        x.p = x.p + x.v;
        // F P F^T + Q with F = [[1, 1], [0, 1]].
        x.pp = ((x.pp + x.pv) + (x.pv + x.vv)) + qp[a];
        x.pv = x.pv + x.vv;
        x.vv = x.vv + qv[a];
    }
}

void BoxFilter::shift(BoxState &s, double dx, double dy, double extra_sd) {
    s.axis[kCx].p = s.axis[kCx].p + dx;
    s.axis[kCy].p = s.axis[kCy].p + dy;
    if (extra_sd > 0.0) {
        const double var = extra_sd * extra_sd;
        s.axis[kCx].pp = s.axis[kCx].pp + var;
        s.axis[kCy].pp = s.axis[kCy].pp + var;
    }
}

void BoxFilter::correct(BoxState &s, const double z[4]) const {
    double r[4];
    for (int a = 0; a < 4; ++a) {
        const double sr = pos_ * scale(s, a);
        r[a] = sr * sr;
    }
    for (int a = 0; a < 4; ++a) {
        AxisState &x = s.axis[a];
        const double innovation = z[a] - x.p;
        const double S = x.pp + r[a];
        const double kp = x.pp / S;
        const double kv = x.pv / S;
        x.p = x.p + kp * innovation;
        x.v = x.v + kv * innovation;
        // (I - K H) P, written out; vv first, as it reads the old pv.
        x.vv = x.vv - kv * x.pv;
        x.pv = (1.0 - kp) * x.pv;
        x.pp = (1.0 - kp) * x.pp;
    }
}

void BoxFilter::restart_velocity(BoxState &s, double vx, double vy) const {
    s.axis[kCx].v = vx;
    s.axis[kCy].v = vy;
    for (int a = kCx; a <= kCy; ++a) {
        const double sv = 10.0 * vel_ * scale(s, a);
        s.axis[a].pv = 0.0;
        s.axis[a].vv = sv * sv;
    }
}

void BoxFilter::corners(const BoxState &s, double &x1, double &y1, double &x2, double &y2) {
    const double hw = s.axis[kW].p * 0.5, hh = s.axis[kH].p * 0.5;
    x1 = s.axis[kCx].p - hw;
    x2 = s.axis[kCx].p + hw;
    y1 = s.axis[kCy].p - hh;
    y2 = s.axis[kCy].p + hh;
}

}  // namespace qevo_internal
