// Joining tensors along the batch, depth, height or width dimension.
#include <cstring>
#include <vector>

#include "imageMat.h"
#include "imageMat/copy_bytes.h"
#include "imageMat/tensor_shape.h"
#include "utils/debug_trace.h"

using qevo_internal::byte_count;
using qevo_internal::element_count;

namespace {

enum Dim { kBatch = 0, kDepth = 1, kHeight = 2, kWidth = 3 };

int extent(const TensorMat *t, int dim) {
    switch (dim) {
        case kBatch:
            return t->batchsize;
        case kDepth:
            return t->depth;
        case kHeight:
            return t->height;
        default:
            return t->width;
    }
}

// The four dimensions of `t` with dimension `dim` replaced by `value`.
void shape_with(const TensorMat *t, int dim, long long value, long long out[4]) {
    out[0] = t->batchsize;
    out[1] = t->depth;
    out[2] = t->height;
    out[3] = t->width;
    out[dim] = value;
}

enum class Check { ok, empty, attr, null_dst, dst_attr, size };

// Every check of a join, in order; nothing is copied unless this passes.
// On success *esize is the element size the copy uses and *count the joined
// tensor's element count.
Check check_join(const std::vector<TensorMat *> &mats, int dim, const TensorMat *dst,
                 long long *esize, long long *count) {
    if (mats.empty()) return Check::empty;
    for (const TensorMat *t : mats) {
        if (t == nullptr) return Check::size;
    }
    const TensorMat *ref = mats.front();
    long long sum = 0;
    for (const TensorMat *t : mats) {
        for (int d = kBatch; d <= kWidth; ++d) {
            if (d != dim && extent(t, d) != extent(ref, d)) return Check::attr;
        }
        if (t->dataType != ref->dataType) return Check::attr;
        sum += extent(t, dim);
    }
    if (dst == nullptr) return Check::null_dst;
    long long want[4];
    shape_with(ref, dim, sum, want);
    if (dst->batchsize != want[0] || dst->depth != want[1] || dst->height != want[2] ||
        dst->width != want[3] || dst->dataType != ref->dataType) {
        return Check::dst_attr;
    }

    // Sizes: every count must be representable and every buffer must hold
    // what its shape says, so the copy below stays inside all of them.
    const long long dst_count = element_count(want[0], want[1], want[2], want[3]);
    if (dst_count < 0) return Check::size;
    long long es = 0;
    if (dim != kBatch && dst->elementNum > 0) es = dst->dataByte / dst->elementNum;
    if (es < 0) return Check::size;
    // A destination whose byte count disagrees with its element type would
    // make the copy cut elements apart; one whose byte count is below its
    // element count (element size 0) would copy nothing at all.
    const int type_size = QEVO::datatype_size(dst->dataType);
    if (dim != kBatch && dst->elementNum > 0 && (es == 0 || (type_size != 0 && es != type_size)))
        return Check::size;
    long long need_dst = 0;
    for (const TensorMat *t : mats) {
        const long long n = element_count(t->batchsize, t->depth, t->height, t->width);
        if (n < 0) return Check::size;
        const long long bytes = dim == kBatch ? t->dataByte : byte_count(n, es);
        if (bytes < 0) return Check::size;
        if (bytes > 0 && (t->data == nullptr || t->dataByte < bytes)) return Check::size;
        need_dst += bytes;
    }
    if (need_dst > 0 && (dst->data == nullptr || dst->dataByte < need_dst)) return Check::size;
    *esize = es;
    *count = dst_count;
    return Check::ok;
}

// Reports a failed check with its trace; returns the routine's result.
#define QEVO_CONCAT_REPORT(result)                                      \
    do {                                                                \
        switch (result) {                                               \
            case Check::ok:                                             \
                break;                                                  \
            case Check::empty:                                          \
                QEVO_TRACE("ConCat error: input vector is empty");      \
                return 1;                                               \
            case Check::attr:                                           \
                QEVO_TRACE("ConCat error: TensorMat attr not matched"); \
                return 1;                                               \
            case Check::null_dst:                                       \
                QEVO_TRACE("ConCat error: dstMat is NULL");             \
                return 1;                                               \
            case Check::dst_attr:                                       \
                QEVO_TRACE("ConCat error: dstMat attr not matched");    \
                return 1;                                               \
            case Check::size:                                           \
                QEVO_TRACE("ConCat error: TensorMat size error");       \
                return 1;                                               \
        }                                                               \
    } while (0)

// Copies the sources into the destination along `dim` (depth, height or
// width): for each group of the dimensions before `dim`, one block per
// source in list order, the block of source n being its extent along `dim`
// times `inner` (the product of the dimensions after it) elements of `esize`
// bytes; `count` is the joined tensor's element count. A join that copies no
// byte returns at once, before any group count is formed: the joined tensor
// has no elements (then no source has any,
// every extent being at least 0 once the checks pass), or the element size
// is 0 (a destination that counts no elements receives nothing, whatever its
// shape). The group count, a product of the other dimensions that may be
// huge, is then never walked.
void copy_blocks(const std::vector<TensorMat *> &mats, int dim, long long esize, long long count,
                 TensorMat *dst) {
    if (esize == 0 || count <= 0) return;
    // With at least one element every dimension is positive and the whole
    // count fits, so neither product overflows.
    const long long b = dst->batchsize, d = dst->depth, h = dst->height, w = dst->width;
    const long long outer = dim == kDepth ? b : dim == kHeight ? b * d : b * d * h;
    const long long inner = dim == kDepth ? h * w : dim == kHeight ? w : 1;
    // Each source's block has the same size in every group.
    std::vector<size_t> blocks(mats.size());
    for (size_t n = 0; n < mats.size(); ++n)
        blocks[n] = static_cast<size_t>(extent(mats[n], dim) * inner * esize);
    unsigned char *out = static_cast<unsigned char *>(dst->data);
    for (long long g = 0; g < outer; ++g) {
        for (size_t n = 0; n < mats.size(); ++n) {
            const size_t block = blocks[n];
            if (block == 0) continue;
            const unsigned char *src =
                static_cast<const unsigned char *>(mats[n]->data) + g * block;
            qevo_internal::copy_bytes(out, src, block);
            out += block;
        }
    }
}

}  // namespace

int concat_batch(std::vector<TensorMat *> mats, TensorMat *dstMat) {
    long long esize = 0, count = 0;
    QEVO_CONCAT_REPORT(check_join(mats, kBatch, dstMat, &esize, &count));
    unsigned char *out = static_cast<unsigned char *>(dstMat->data);
    for (const TensorMat *t : mats) {
        if (t->dataByte <= 0) continue;
        std::memmove(out, t->data, static_cast<size_t>(t->dataByte));
        out += t->dataByte;
    }
    return 0;
}

int concat_depth(std::vector<TensorMat *> mats, TensorMat *dstMat) {
    long long esize = 0, count = 0;
    QEVO_CONCAT_REPORT(check_join(mats, kDepth, dstMat, &esize, &count));
    copy_blocks(mats, kDepth, esize, count, dstMat);
    return 0;
}

int concat_height(std::vector<TensorMat *> mats, TensorMat *dstMat) {
    long long esize = 0, count = 0;
    QEVO_CONCAT_REPORT(check_join(mats, kHeight, dstMat, &esize, &count));
    copy_blocks(mats, kHeight, esize, count, dstMat);
    return 0;
}

int concat_width(std::vector<TensorMat *> mats, TensorMat *dstMat) {
    long long esize = 0, count = 0;
    QEVO_CONCAT_REPORT(check_join(mats, kWidth, dstMat, &esize, &count));
    copy_blocks(mats, kWidth, esize, count, dstMat);
    return 0;
}

int concat(std::vector<TensorMat *> mats, int dim, TensorMat *dstMat) {
    const int first = mats.at(0) != nullptr ? mats.at(0)->elementNum : 0;
    for (const TensorMat *t : mats) {
        if (t == nullptr) {
            QEVO_TRACE("ConCat error: TensorMat size error");
            return 1;
        }
        if (t->elementNum != first) {
            QEVO_TRACE("elenum should be same");
            return 1;
        }
    }
    int ret;
    switch (dim) {
        case kBatch:
            ret = concat_batch(mats, dstMat);
            break;
        case kDepth:
            ret = concat_depth(mats, dstMat);
            break;
        case kHeight:
            ret = concat_height(mats, dstMat);
            break;
        case kWidth:
            ret = concat_width(mats, dstMat);
            break;
        default:
            QEVO_TRACE("dim error");
            return 1;
    }
    if (ret != 0) {
        QEVO_TRACE("concat error");
        return ret;
    }
    return 0;
}
