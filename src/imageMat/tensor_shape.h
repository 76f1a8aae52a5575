// Shape arithmetic shared by the tensor sources (internal).
#ifndef QEVO_SRC_IMAGEMAT_TENSOR_SHAPE_H
#define QEVO_SRC_IMAGEMAT_TENSOR_SHAPE_H

#include <climits>

namespace qevo_internal {

// b x c x h x w in 64 bits, or -1 when a dimension is negative or the product
// exceeds INT_MAX.
inline long long element_count(long long b, long long c, long long h, long long w) {
    if (b < 0 || c < 0 || h < 0 || w < 0) return -1;
    long long n = 1;
    for (long long d : {w, h, c, b}) {
        if (d != 0 && n > INT_MAX / d) return -1;
        n *= d;
    }
    return n;
}

// n elements of `esize` bytes, or -1 when n is negative or the product
// exceeds INT_MAX.
inline long long byte_count(long long n, long long esize) {
    if (n < 0 || esize < 0) return -1;
    if (esize != 0 && n > INT_MAX / esize) return -1;
    return n * esize;
}

}  // namespace qevo_internal

#endif  // QEVO_SRC_IMAGEMAT_TENSOR_SHAPE_H
