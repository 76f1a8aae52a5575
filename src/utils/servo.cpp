// Conversions between image coordinates and servo angles under a linear
// model: dResolution degrees per pixel on both axes, the image centre on the
// servo's axis, azimuth growing to the right, pitch growing upwards.
#include "utils.h"

namespace {

// Wraps an azimuth once: above 360 -> minus 360, then below 0 -> plus 360.
float wrap_azimuth(float a) {
    if (a > 360.0f) a -= 360.0f;
    if (a < 0.0f) a += 360.0f;
    return a;
}

// Wraps a pitch once: above 180 -> minus 360, then below -180 -> plus 360.
float wrap_pitch(float p) {
    if (p > 180.0f) p -= 360.0f;
    if (p < -180.0f) p += 360.0f;
    return p;
}

// Resolutions at or below this count as absent in conversions to pixels.
constexpr double kMinResolution = 1e-7;

}  // namespace

namespace KIVEX {

float servo_calc_Az(float fAz, float fObjX, double dResolution, int nW, int /*nH*/) {
    const float d = fObjX - static_cast<float>(nW / 2);
    const float az = static_cast<float>(static_cast<double>(d) * dResolution + fAz);
    return wrap_azimuth(az);
}

float servo_calc_Pt(float fPt, float fObjY, double dResolution, int /*nW*/, int nH) {
    const float d = static_cast<float>(nH / 2) - fObjY;
    const float pt = static_cast<float>(static_cast<double>(d) * dResolution + fPt);
    return wrap_pitch(pt);
}

float servo_calc_ImgX(float fAz, float fObjAz, double dResolution, int nW, int /*nH*/) {
    fObjAz = wrap_azimuth(fObjAz);
    if (!(dResolution > kMinResolution)) return 0.0f;
    const float diff = fObjAz - fAz;
    return static_cast<float>(static_cast<double>(diff) / dResolution + (nW / 2));
}

float servo_calc_ImgY(float fPt, float fObjPt, double dResolution, int /*nW*/, int nH) {
    fObjPt = wrap_pitch(fObjPt);
    if (!(dResolution > kMinResolution)) return 0.0f;
    const float diff = fObjPt - fPt;
    return static_cast<float>((nH / 2) - static_cast<double>(diff) / dResolution);
}

}  // namespace KIVEX
