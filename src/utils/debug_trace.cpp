// Marker files, frame dumps, the debug log and the two timing functions.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "utils.h"
#include "utils/debug_trace.h"

namespace {

// Creates `dir` and every missing parent, like "mkdir -p". Failures are not
// reported here; they show up when the log file cannot be opened.
void make_directories(const std::string &dir) {
    for (size_t pos = 1; pos <= dir.size(); ++pos) {
        if (pos == dir.size() || dir[pos] == '/') {
            if (dir[pos - 1] == '/') continue;  // repeated separators
            const std::string prefix = dir.substr(0, pos);
            if (mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return;
        }
    }
}

}  // namespace

namespace KIVEX {

int IsFileExist(const char *path) {
    if (path == nullptr) return 0;
    return access(path, F_OK) == 0 ? 1 : 0;
}

FILE *create_debuginfo(const char *logroot) {
    const std::string root = logroot != nullptr ? logroot : "";
    if (!root.empty() && IsFileExist(root.c_str()) == 0) make_directories(root);
    const std::string path = root + "/debug.algo";
    FILE *fp = root.empty() ? nullptr : fopen(path.c_str(), "w");
    if (fp == nullptr) {
        puts("debug log open error");
        return nullptr;
    }
    return fp;
}

int grab_image(QEVO::ImgMat img) {
    if (IsFileExist("./AI_WRITE") == 0) return 0;
    const char *path;
    long long size;
    if (img.inlayout == QEVO::NV12) {
        path = "./img.nv12";
        size = QEVO::yuv420sp_size(img.width, img.height);
    } else {
        // A 32-bit product in the frame's own terms; a size that is negative or
        // does not fit an int writes nothing.
        path = "./img.bin";
        size = static_cast<long long>(img.width) * img.height * img.depth;
        if (size > 0x7fffffffLL) size = 0;
    }
    // A dump file that cannot be created is skipped: nothing is written to,
    // flushed or closed, and the marker is still consumed below.
    FILE *fp = fopen(path, "wb");
    if (fp != nullptr) {
        if (img.data != nullptr) {
            if (size > 0) fwrite(img.data, 1, static_cast<size_t>(size), fp);
        } else {
            QEVO_TRACE("grab xq_video_frame data not support for now");
        }
        fflush(fp);
        fclose(fp);
    }
    const int ret = remove("./AI_WRITE");
    if (ret != 0) QEVO_TRACE("remove AI_WRITE error with ret=%d", ret);
    return ret;
}

float getDtimeSecond(struct timeval starttime, struct timeval endtime) {
    // The microsecond count in 128 bits: any two times, sentinels such as
    // LLONG_MIN included, give the exact difference (below 2^85 in size),
    // rounded once to single precision. Where the count fits 64 bits this is
    // the same value as a 64-bit count converted to float.
    const __int128 usec =
        (static_cast<__int128>(endtime.tv_sec) - starttime.tv_sec) * 1000000 +
        (static_cast<__int128>(endtime.tv_usec) - starttime.tv_usec);
    return static_cast<float>(usec) / 1000000.0f;
}

float getDtimeMiliSecond(struct timeval starttime, struct timeval endtime) {
    return getDtimeSecond(starttime, endtime) * 1000.0f;
}

}  // namespace KIVEX
