// AVX2 forms of the TensorMat element loops (see tensor_math_paths.h).
#include "imageMat/tensor_math_paths.h"
#include "utils/float_ops_avx2.h"

namespace qevo_simd {

const TensorMathPaths kTensorMathAvx2 = {"avx2", divide_by<FloatOpsAvx2>, add_to<FloatOpsAvx2>,
                                         column_l2_norm<FloatOpsAvx2>};

}  // namespace qevo_simd
