// The application's detector, stood in for by OpenCV's HOG people detector
// (its coefficients are built in, so no model file is needed). It reads the
// network input that qevo::nv12_to_tensor lays out from the camera's view:
// interleaved BGR bytes of the detector's input size, the view stretched to
// it. Boxes come back in view coordinates through the TensorPlacement, with
// the SVM margin turned into a score by KIVEX::sigmoid.
#ifndef QEVO_PIPELINE_PEOPLE_DETECTOR_H
#define QEVO_PIPELINE_PEOPLE_DETECTOR_H

#include <vector>

#include <opencv2/objdetect.hpp>

#include "mot_format.h"
#include "preprocess.h"

namespace pipeline {

struct DetectorConfig {
    double input_scale = 1.25;  // detector input size / view size
    double pyramid_step = 1.1;  // scale step between pyramid levels
    double margin = 0.0;        // SVM margin a window must exceed
};

class PeopleDetector {
  public:
    explicit PeopleDetector(const DetectorConfig &cfg);

    // The layout of the detector's input for a view of w x h: U8_HWC, BGR,
    // stretched to input_scale x the view (even sides).
    qevo::TensorParams input_params(int view_w, int view_h) const;

    // Detects people in `input` (the tensor of input_params) and maps the
    // boxes back into the view with `where`.
    std::vector<MotBox> detect(const unsigned char *input, const qevo::TensorParams &params,
                               const qevo::TensorPlacement &where);

    const DetectorConfig &config() const { return cfg_; }

  private:
    DetectorConfig cfg_;
    cv::HOGDescriptor hog_;
};

}  // namespace pipeline

#endif
