// SSE4.1 forms of the TensorMat element loops (see tensor_math_paths.h).
#include "imageMat/tensor_math_paths.h"
#include "utils/float_ops_sse41.h"

namespace qevo_simd {

const TensorMathPaths kTensorMathSse41 = {"sse41", divide_by<FloatOpsSse41>, add_to<FloatOpsSse41>,
                                          column_l2_norm<FloatOpsSse41>};

}  // namespace qevo_simd
