// Byte copies for the tensor joins (internal).
#ifndef QEVO_SRC_IMAGEMAT_COPY_BYTES_H
#define QEVO_SRC_IMAGEMAT_COPY_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qevo_internal {

// Copies n bytes as memmove does. A join along the width of narrow tensors
// copies short blocks by the thousand; up to 32 bytes they are moved here
// with two overlapping fixed-size loads and stores each (vector moves on
// x86-64 and aarch64) instead of a library call. All loads come before the
// stores, so overlapping buffers give memmove's bytes too.
inline void copy_bytes(unsigned char *dst, const unsigned char *src, size_t n) {
    if (n > 32) {
        std::memmove(dst, src, n);
    } else if (n >= 16) {
        unsigned char head[16], tail[16];
        std::memcpy(head, src, 16);
        std::memcpy(tail, src + n - 16, 16);
        std::memcpy(dst, head, 16);
        std::memcpy(dst + n - 16, tail, 16);
    } else if (n >= 8) {
        uint64_t head, tail;
        std::memcpy(&head, src, 8);
        std::memcpy(&tail, src + n - 8, 8);
        std::memcpy(dst, &head, 8);
        std::memcpy(dst + n - 8, &tail, 8);
    } else if (n >= 4) {
        uint32_t head, tail;
        std::memcpy(&head, src, 4);
        std::memcpy(&tail, src + n - 4, 4);
        std::memcpy(dst, &head, 4);
        std::memcpy(dst + n - 4, &tail, 4);
    } else if (n > 0) {
        const unsigned char first = src[0], middle = src[n / 2], last = src[n - 1];
        dst[0] = first;
        dst[n / 2] = middle;
        dst[n - 1] = last;
    }
}

}  // namespace qevo_internal

#endif  // QEVO_SRC_IMAGEMAT_COPY_BYTES_H
