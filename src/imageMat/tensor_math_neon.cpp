// Advanced SIMD (NEON) forms of the TensorMat element loops (see tensor_math_paths.h).
#include "imageMat/tensor_math_paths.h"
#include "utils/float_ops_neon.h"

namespace qevo_simd {

const TensorMathPaths kTensorMathNeon = {"neon", divide_by<FloatOpsNeon>, add_to<FloatOpsNeon>,
                                         column_l2_norm<FloatOpsNeon>};

}  // namespace qevo_simd
