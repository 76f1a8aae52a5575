// A minimal application built against the installed library.
#include <cstdio>
#include <string>

#include "detection_type_api.h"
#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "objTracker.h"
#include "preprocess.h"
#include "qevo_version.h"
#include "rawReader.h"
#include "tracker.h"
#include "utils.h"

int main() {
    const unsigned char src[8] = {0, 100, 200, 255, 0, 100, 200, 255};
    unsigned char dst[4] = {};
    resize_bilinear_c1(src, 4, 2, dst, 2, 2);
    if (dst[0] != 50 || dst[1] != 228 || dst[2] != 50 || dst[3] != 228) {
        std::printf("unexpected resize result %d %d %d %d\n", dst[0], dst[1], dst[2], dst[3]);
        return 1;
    }
    timeval a{10, 900000}, b{12, 100000};
    if (KIVEX::getDtimeMiliSecond(a, b) != 1200.0f) return 1;
    const unsigned char grey[6] = {128, 128, 128, 128, 128, 128};  // 2x2 NV12
    unsigned char rgb[12] = {};
    if (qevo::nv12_to_rgb(grey, 2, 2, rgb, false, false, qevo::BT601_FULL) != 0 || rgb[0] != 128 ||
        rgb[11] != 128)
        return 1;
    qevo::MotionTracker tracker;
    QEVO::objinfo det{10, 10, 30, 50, 0.95f, 0, -1, -1, 0};
    if (tracker.update(&det, 1) != 0 || tracker.track_count() != 1 ||
        tracker.tracks()[0].box.trackID != 1)
        return 1;
    if (std::string(qevo::version()) != QEVO_VERSION_STRING || QEVO_VERSION_MAJOR < 1) return 1;
    QEVO::ImgMat img;
    if (img.layout != QEVO::HWC || KIVEX::IsFileExist("/") != 1) return 1;
    std::puts("consumer ok");
    return 0;
}
