// Byte copies for the tensor joins (internal).
#ifndef QEVO_SRC_IMAGEMAT_COPY_BYTES_H
#define QEVO_SRC_IMAGEMAT_COPY_BYTES_H

#include <cstddef>
#include <cstring>

namespace qevo_internal {

// Copies the first and the last N bytes of n (N <= n <= 2N): loads, then stores.
template <size_t N>
inline void copy_ends(unsigned char *dst, const unsigned char *src, size_t n) {
    unsigned char head[N], tail[N];
    std::memcpy(head, src, N);
    std::memcpy(tail, src + n - N, N);
    std::memcpy(dst, head, N);
    std::memcpy(dst + n - N, tail, N);
}

// Copies n bytes as memmove does. A join along the width of narrow tensors
// copies short blocks by the thousand; up to 32 bytes they are moved here
// with two overlapping fixed-size loads and stores each (vector moves on
// x86-64 and aarch64) instead of a library call. All loads come before the
// stores, so overlapping buffers give memmove's bytes too.
inline void copy_bytes(unsigned char *dst, const unsigned char *src, size_t n) {
    if (n > 32) {
        std::memmove(dst, src, n);
    } else if (n >= 16) {
        copy_ends<16>(dst, src, n);
    } else if (n >= 8) {
        copy_ends<8>(dst, src, n);
    } else if (n >= 4) {
        copy_ends<4>(dst, src, n);
    } else if (n > 0) {
        const unsigned char first = src[0], middle = src[n / 2], last = src[n - 1];
        dst[0] = first;
        dst[n / 2] = middle;
        dst[n - 1] = last;
    }
}

}  // namespace qevo_internal

#endif  // QEVO_SRC_IMAGEMAT_COPY_BYTES_H
