#include "people_detector.h"

#include <algorithm>
#include <cmath>

#include "utils.h"

namespace pipeline {

PeopleDetector::PeopleDetector(const DetectorConfig &cfg) : cfg_(cfg) {
    hog_.setSVMDetector(cv::HOGDescriptor::getDefaultPeopleDetector());
}

qevo::TensorParams PeopleDetector::input_params(int view_w, int view_h) const {
    qevo::TensorParams p;
    p.dst_width = std::max(64, static_cast<int>(std::lround(view_w * cfg_.input_scale)) & ~1);
    p.dst_height = std::max(128, static_cast<int>(std::lround(view_h * cfg_.input_scale)) & ~1);
    p.format = qevo::TENSOR_U8_HWC;
    p.fit = qevo::FIT_STRETCH;
    p.bgr = true;
    return p;
}

std::vector<MotBox> PeopleDetector::detect(const unsigned char *input,
                                           const qevo::TensorParams &params,
                                           const qevo::TensorPlacement &where) {
    const cv::Mat image(params.dst_height, params.dst_width, CV_8UC3,
                        const_cast<unsigned char *>(input));
    std::vector<cv::Rect> found;
    std::vector<double> margins;
    hog_.detectMultiScale(image, found, margins, cfg_.margin, cv::Size(8, 8), cv::Size(0, 0),
                          cfg_.pyramid_step, 2.0);
    std::vector<MotBox> out;
    const double sx = static_cast<double>(where.crop_width) / where.width;
    const double sy = static_cast<double>(where.crop_height) / where.height;
    for (size_t i = 0; i < found.size(); ++i) {
        const cv::Rect &r = found[i];
        MotBox b;
        b.x1 = static_cast<float>(where.crop_x + (r.x - where.x) * sx);
        b.y1 = static_cast<float>(where.crop_y + (r.y - where.y) * sy);
        b.x2 = static_cast<float>(where.crop_x + (r.x + r.width - where.x) * sx);
        b.y2 = static_cast<float>(where.crop_y + (r.y + r.height - where.y) * sy);
        b.score = KIVEX::sigmoid(static_cast<float>(i < margins.size() ? margins[i] : 0.0));
        b.cls = 0;
        out.push_back(b);
    }
    return out;
}

}  // namespace pipeline
