#include "video_source.h"

#include <sys/stat.h>

#include <cmath>
#include <opencv2/imgproc.hpp>

namespace pipeline {

std::unique_ptr<VideoSource> VideoSource::open(const std::string &path, std::string &error) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        error = "cannot open video '" + path + "': no such file";
        return nullptr;
    }
    std::unique_ptr<VideoSource> v(new VideoSource);
    if (!v->cap_.open(path, cv::CAP_FFMPEG) && !v->cap_.open(path)) {
        error = "cannot decode video '" + path + "'";
        return nullptr;
    }
    if (!v->cap_.read(v->first_) || v->first_.empty()) {
        error = "video '" + path + "' holds no frame that can be decoded";
        return nullptr;
    }
    if (v->first_.cols < 16 || v->first_.rows < 16) {
        error = "video '" + path + "' has frames smaller than 16x16";
        return nullptr;
    }
    v->w_ = v->first_.cols & ~1;
    v->h_ = v->first_.rows & ~1;
    const double fps = v->cap_.get(cv::CAP_PROP_FPS);
    if (std::isfinite(fps) && fps >= 1 && fps <= 240) v->fps_ = fps;
    const double n = v->cap_.get(cv::CAP_PROP_FRAME_COUNT);
    if (std::isfinite(n) && n >= 1 && n < 1e8) v->announced_ = static_cast<int>(n);
    return v;
}

bool VideoSource::next(cv::Mat &bgr, std::vector<uint8_t> &nv12) {
    cv::Mat frame;
    if (!first_.empty()) {
        frame = first_;
        first_.release();
    } else if (ended_ || !cap_.read(frame) || frame.empty()) {
        ended_ = true;
        return false;
    }
    if (frame.cols < w_ || frame.rows < h_ || frame.type() != CV_8UC3) {
        ended_ = true;  // a frame unlike the first: the stream is broken
        return false;
    }
    bgr = frame(cv::Rect(0, 0, w_, h_));
    bgr_to_nv12(bgr, nv12);
    ++read_;
    return true;
}

void bgr_to_nv12(const cv::Mat &bgr, std::vector<uint8_t> &nv12) {
    const int w = bgr.cols, h = bgr.rows;
    cv::Mat i420;
    cv::cvtColor(bgr, i420, cv::COLOR_BGR2YUV_I420);  // Y plane, U plane, V plane
    nv12.resize(static_cast<size_t>(w) * h * 3 / 2);
    const uint8_t *src = i420.ptr<uint8_t>();
    std::copy(src, src + static_cast<size_t>(w) * h, nv12.begin());
    const uint8_t *u = src + static_cast<size_t>(w) * h;
    const uint8_t *v = u + static_cast<size_t>(w / 2) * (h / 2);
    uint8_t *uv = nv12.data() + static_cast<size_t>(w) * h;
    for (size_t i = 0, n = static_cast<size_t>(w / 2) * (h / 2); i < n; ++i) {
        uv[2 * i] = u[i];
        uv[2 * i + 1] = v[i];
    }
}

}  // namespace pipeline
