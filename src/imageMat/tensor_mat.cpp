// TensorMat: construction from shapes or shape lists, destruction, moves and
// export into a TenMat record.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "imageMat.h"
#include "imageMat/tensor_shape.h"
#include "utils/debug_trace.h"

using qevo_internal::byte_count;
using qevo_internal::element_count;

namespace {

struct Shape {
    int b, c, h, w;
};

enum class ShapeResult { ok, bad_length, bad_layout };

// Maps a shape list to b, c, h, w by its length and the layout.
ShapeResult map_shape(const std::vector<int> &s, QEVO::DATA_LAYOUT layout, Shape *out) {
    switch (s.size()) {
        case 1:
            *out = {1, 1, 1, s[0]};
            return ShapeResult::ok;
        case 2:
            *out = {1, 1, s[0], s[1]};
            return ShapeResult::ok;
        case 3:
        case 4: {
            // Three dimensions in the layout's order, after a batch when there are four.
            const size_t o = s.size() - 3;
            const int b = o != 0 ? s[0] : 1;
            if (layout == QEVO::HWC) {
                *out = {b, s[o + 2], s[o], s[o + 1]};
            } else if (layout == QEVO::CHW) {
                *out = {b, s[o], s[o + 1], s[o + 2]};
            } else if (layout == QEVO::WHC) {
                *out = {b, s[o + 2], s[o + 1], s[o]};
            } else {
                return ShapeResult::bad_layout;
            }
            return ShapeResult::ok;
        }
        default:
            return ShapeResult::bad_length;
    }
}

}  // namespace

void TensorMat::init(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, void *pdata,
                     QEVO::DATATYPE type, bool Dcopy) {
    width = w;
    height = h;
    depth = c;
    batchsize = b;
    data = nullptr;
    this->layout = layout;
    dataType = type;
    wstride = width;
    DeepCopy = Dcopy;
    const long long n = element_count(b, c, h, w);
    elementNum = n < 0 ? 0 : static_cast<int>(n);
    const int esize = QEVO::datatype_size(type);
    if (esize == 0) return;
    const long long bytes = byte_count(n, esize);
    if (bytes < 0) {
        elementNum = 0;
        dataByte = 0;
        return;
    }
    if (Dcopy) {
        const size_t total = static_cast<size_t>(bytes) + offset;
        data = std::malloc(total > 0 ? total : 1);
        if (data == nullptr) {
            elementNum = 0;
            dataByte = 0;
            return;
        }
        if (pdata != nullptr) std::memcpy(data, pdata, static_cast<size_t>(bytes));
    } else {
        data = pdata;
    }
    dataByte = static_cast<int>(bytes);
}

// Wrapping reports a type without an element size unconditionally.
void TensorMat::_TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, void *pdata,
                           QEVO::DATATYPE type, bool Dcopy) {
    if (QEVO::datatype_size(type) == 0) puts("datatype error");
    init(b, c, h, w, layout, pdata, type, Dcopy);
}

// Allocation reports it through the debug trace.
void TensorMat::_TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout,
                           QEVO::DATATYPE type) {
    if (QEVO::datatype_size(type) == 0) QEVO_TRACE("datatype error\n");
    init(b, c, h, w, layout, nullptr, type, true);
}

TensorMat::TensorMat() = default;

TensorMat::TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, void *pdata,
                     QEVO::DATATYPE type, bool Dcopy) {
    _TensorMat(b, c, h, w, layout, pdata, type, Dcopy);
}

TensorMat::TensorMat(int b, int c, int h, int w, QEVO::DATA_LAYOUT layout, QEVO::DATATYPE type) {
    _TensorMat(b, c, h, w, layout, type);
}

TensorMat::TensorMat(std::vector<int> shapes, QEVO::DATA_LAYOUT layout, void *pdata,
                     QEVO::DATATYPE type, bool Dcopy) {
    Shape s{};
    switch (map_shape(shapes, layout, &s)) {
        case ShapeResult::bad_length:
            printf("shapes error");
            return;
        case ShapeResult::bad_layout:
            QEVO_TRACE("Data layout error");  // traced from the constructor itself
            return;
        case ShapeResult::ok:
            break;
    }
    _TensorMat(s.b, s.c, s.h, s.w, layout, pdata, type, Dcopy);
}

TensorMat::TensorMat(std::vector<int> shapes, QEVO::DATA_LAYOUT layout, QEVO::DATATYPE type) {
    Shape s{};
    switch (map_shape(shapes, layout, &s)) {
        case ShapeResult::bad_length:
            printf("shapes error");
            return;
        case ShapeResult::bad_layout:
            QEVO_TRACE("Data layout error");  // traced from the constructor itself
            return;
        case ShapeResult::ok:
            break;
    }
    _TensorMat(s.b, s.c, s.h, s.w, layout, type);
}

TensorMat::TensorMat(TensorMat &&other) noexcept
    : offset(other.offset),
      batchsize(other.batchsize),
      width(other.width),
      height(other.height),
      depth(other.depth),
      elementNum(other.elementNum),
      dataByte(other.dataByte),
      data(other.data),
      layout(other.layout),
      dataType(other.dataType),
      wstride(other.wstride),
      DeepCopy(other.DeepCopy),
      zeroPoint(other.zeroPoint),
      scaleFactor(other.scaleFactor) {
    other.data = nullptr;
    other.elementNum = 0;
    other.dataByte = 0;
}

TensorMat &TensorMat::operator=(TensorMat &&other) noexcept {
    if (this == &other) return *this;
    if (data != nullptr && DeepCopy) std::free(data);
    offset = other.offset;
    batchsize = other.batchsize;
    width = other.width;
    height = other.height;
    depth = other.depth;
    elementNum = other.elementNum;
    dataByte = other.dataByte;
    data = other.data;
    layout = other.layout;
    dataType = other.dataType;
    wstride = other.wstride;
    DeepCopy = other.DeepCopy;
    zeroPoint = other.zeroPoint;
    scaleFactor = other.scaleFactor;
    other.data = nullptr;
    other.elementNum = 0;
    other.dataByte = 0;
    return *this;
}

TensorMat::~TensorMat() {
    if (data != nullptr && DeepCopy) std::free(data);
    data = nullptr;
}

int TensorMat::toTenMat(QEVO::TenMat *dst) {
    if (dst == nullptr) return 1;
    if (dst->data == nullptr) {
        dst->data = data;
    } else {
        // A negative byte count widens to a huge unsigned value and never fits.
        const size_t need = static_cast<size_t>(static_cast<long long>(dataByte));
        if (dst->dataByte < need) {
            QEVO_TRACE("TenMat donot have enough space, [%d]<[%d]", static_cast<int>(dst->dataByte),
                       dataByte);
            return 2;
        }
        if (data != nullptr && dataByte > 0 && dst->data != data) {
            std::memcpy(dst->data, data, static_cast<size_t>(dataByte));
        }
    }
    dst->width = width;
    dst->height = height;
    dst->depth = depth;
    dst->dataByte = static_cast<size_t>(static_cast<long long>(dataByte));
    dst->type = dataType;
    dst->layout = layout;
    // width x height x depth can exceed every integer for a tensor without
    // elements (batch 0) or one left empty; such a product is exported as 0.
    long long count = width;
    const bool fits = !__builtin_mul_overflow(count, static_cast<long long>(height), &count) &&
                      !__builtin_mul_overflow(count, static_cast<long long>(depth), &count) &&
                      count >= INT_MIN && count <= INT_MAX;
    dst->elementNum = fits ? static_cast<int>(count) : 0;
    return 0;
}
