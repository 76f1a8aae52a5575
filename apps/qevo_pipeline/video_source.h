// Frames of a recorded video, decoded with OpenCV and handed on as NV12,
// the way the board's camera delivers them. Decoding and this one colour
// conversion are the only steps outside the library: from the NV12 frame on,
// only library calls touch the pixels.
#ifndef QEVO_PIPELINE_VIDEO_SOURCE_H
#define QEVO_PIPELINE_VIDEO_SOURCE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

namespace pipeline {

class VideoSource {
  public:
    // Opens `path` and decodes its first frame. Null with a message when the
    // file is missing, cannot be decoded, holds no frame, or its frames are
    // smaller than 16 x 16.
    static std::unique_ptr<VideoSource> open(const std::string &path, std::string &error);

    // Frame size handed on: the decoded size rounded down to even numbers.
    int width() const { return w_; }
    int height() const { return h_; }
    double fps() const { return fps_; }
    // Frames the container announces (0 when it does not say).
    int announced_frames() const { return announced_; }

    // The next frame as decoded (BGR, width() x height()) and as NV12.
    // False at the end of the video, or when decoding stops before the end
    // the container announced (then `stopped_early()` is true).
    bool next(cv::Mat &bgr, std::vector<uint8_t> &nv12);
    int frames_read() const { return read_; }
    bool stopped_early() const { return announced_ > 0 && read_ < announced_ && ended_; }

  private:
    VideoSource() = default;
    cv::VideoCapture cap_;
    cv::Mat first_;  // decoded by open(), handed out by the first next()
    int w_ = 0, h_ = 0, announced_ = 0, read_ = 0;
    double fps_ = 25;
    bool ended_ = false;
};

// BGR (width and height even) to NV12: BT.601 limited range, as OpenCV's
// BGR to I420 conversion computes it, with the U and V planes interleaved.
void bgr_to_nv12(const cv::Mat &bgr, std::vector<uint8_t> &nv12);

}  // namespace pipeline

#endif
