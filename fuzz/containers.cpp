// ImageMat and TensorMat operation sequences: construction (owning and
// borrowing caller buffers sized exactly as documented), copies, moves,
// resize, crop, norms, add, export and concat. Crops are checked against
// crop_img / crop_yuv and image resizes against the kernels; copies must
// carry every byte.
#include <stdexcept>
#include <utility>

#include "fuzz_input.h"
#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "utils.h"

using namespace qevo_fuzz;
using namespace QEVO;

namespace {

constexpr int kSlots = 3;

// Caller buffers that borrowing objects point into; they outlive the objects.
struct Buffers {
    std::vector<std::vector<unsigned char> > kept;
    unsigned char *keep(std::vector<unsigned char> v) {
        kept.push_back(std::move(v));
        return kept.back().data();
    }
};

bool semi(INPUT_LAYOUT f) { return f == NV12 || f == NV21; }

// Documented byte count of a w x h image: semi-planar or w x h x c; -1 when a
// size is negative or beyond INT_MAX.
long long image_size(int w, int h, int c, bool semi_planar) {
    if (semi_planar) {
        if (w < 0 || h < 0 || c < 0) return -1;  // a negative depth counts too
        const int n = yuv420sp_size(w, h);
        return n;
    }
    return product({w, h, c}, INT_MAX);
}

int channels_of(INPUT_LAYOUT f) {
    switch (f) {
        case RGB:
        case BGR:
            return 3;
        case RGBA:
        case BGRA:
            return 4;
        case GRAY:
            return 1;
        default:
            return 0;
    }
}

// Reads every byte an object claims to hold, so the sanitizer sees any
// buffer shorter than its size.
unsigned sum(const void *p, long long n) {
    unsigned s = 0;
    for (long long i = 0; i < n; ++i) s += static_cast<const unsigned char *>(p)[i];
    return s;
}

struct Image {
    ImageMat m;
    long long held = 0;  // bytes of m.data, as the harness knows them
};

INPUT_LAYOUT any_format(Input &in) {
    return in.pick<INPUT_LAYOUT>({RGB, BGR, RGBA, BGRA, NV12, NV21, GRAY,
                                  static_cast<INPUT_LAYOUT>(0), static_cast<INPUT_LAYOUT>(9)});
}
DATATYPE any_type(Input &in) {
    return in.pick<DATATYPE>({AI_FLOAT, AI_FLOAT, AI_UINT8, AI_INT16, AI_DOUBLE, AI_BF16,
                              AI_DT_UNDEFINED, static_cast<DATATYPE>(99)});
}
DATA_LAYOUT any_layout(Input &in) {
    return in.pick<DATA_LAYOUT>({CHW, CHW, HWC, WHC, static_cast<DATA_LAYOUT>(0)});
}

void image_ops(Input &in, Buffers &bufs, Image *img, int op) {
    Image &a = img[in.byte() % kSlots];
    Image &b = img[in.byte() % kSlots];
    switch (op) {
        case 0: {  // from fields
            const int w = in.size(24), h = in.size(24), c = in.size(4);
            const INPUT_LAYOUT f = any_format(in);
            const bool own = in.flag();
            const long long n = image_size(w, h, c, f == NV12);
            if (n > kMaxBytes) return;
            unsigned char *p = n >= 0 && in.byte() > 20 ? bufs.keep(in.bytes(n)) : nullptr;
            a.m = ImageMat(w, h, c, HWC, f, VIS, 7, reinterpret_cast<char *>(p), own);
            a.held = a.m.data != nullptr ? n : 0;
            if (!own) QEVO_FUZZ_CHECK(a.m.data == (n >= 0 ? p : nullptr));
            break;
        }
        case 1: {  // from a record
            ImgMat rec;
            rec.width = in.size(24), rec.height = in.size(24), rec.depth = in.size(4);
            rec.inlayout = any_format(in);
            const long long n = image_size(rec.width, rec.height, rec.depth, semi(rec.inlayout));
            if (n > kMaxBytes) return;
            rec.data = n >= 0 && in.byte() > 20 ? bufs.keep(in.bytes(n)) : nullptr;
            a.m = ImageMat(rec, in.flag());
            a.held = a.m.data != nullptr ? n : 0;
            break;
        }
        case 2: {  // copy: the pixels travel whole (a borrowing copy shares them)
            Image copy{a.m, a.held};
            QEVO_FUZZ_CHECK((copy.m.data == nullptr) == (a.m.data == nullptr));
            if (a.m.data != nullptr) {
                QEVO_FUZZ_CHECK(std::memcmp(copy.m.data, a.m.data, a.held) == 0);
                QEVO_FUZZ_CHECK(a.m.DeepCopy == (copy.m.data != a.m.data));
            }
            b = copy;
            break;
        }
        case 3:
            if (&a == &b) break;
            b = std::move(a);
            a.held = 0;
            break;
        case 4: {  // resize, against the kernel it names
            const int w = in.size(40), h = in.size(40);
            const int ch = channels_of(a.m.inlayout);
            if (w >= 1 && h >= 1 && product({w, h, 4}, kMaxBytes) < 0) return;
            const std::vector<unsigned char> before(a.m.data, a.m.data + a.held);
            const int sw = a.m.width, sh = a.m.height;
            if (a.m.resize(w, h) != 0) return;
            QEVO_FUZZ_CHECK(ch > 0 && a.m.width == w && a.m.height == h && a.m.DeepCopy);
            QEVO_FUZZ_CHECK(static_cast<long long>(sw) * sh * ch <=
                            static_cast<long long>(before.size()));
            std::vector<unsigned char> want(static_cast<size_t>(w) * h * ch);
            using Kernel = void (*)(const unsigned char *, int, int, unsigned char *, int, int);
            const Kernel kernel = ch == 1   ? Kernel(resize_bilinear_c1)
                                  : ch == 3 ? Kernel(resize_bilinear_c3)
                                            : Kernel(resize_bilinear_c4);
            kernel(before.data(), sw, sh, want.data(), w, h);
            QEVO_FUZZ_CHECK(want.empty() || std::memcmp(want.data(), a.m.data, want.size()) == 0);
            a.held = static_cast<long long>(want.size());
            break;
        }
        case 5: {  // crop, against the raw-buffer crops
            const int x1 = in.any_int(30), y1 = in.any_int(30), x2 = in.any_int(30),
                      y2 = in.any_int(30);
            ImageMat c = a.m.crop(x1, y1, x2, y2);
            if (c.data == nullptr) {
                b.m = std::move(c);
                b.held = 0;
                return;
            }
            const ImageMat &s = a.m;
            long long n;
            std::vector<unsigned char> want;
            if (semi(s.inlayout)) {
                const int sx = (x1 > 0 ? x1 : 0) & ~1, sy = (y1 > 0 ? y1 : 0) & ~1;
                QEVO_FUZZ_CHECK(image_size(s.width, s.height, 1, true) <= a.held);
                n = image_size(c.width, c.height, 1, true);
                want.resize(static_cast<size_t>(c.width) * c.height + (c.height / 2) * c.width);
                KIVEX::crop_yuv(s.data, s.width, s.height, sx, sy, sx + c.width, sy + c.height,
                                want.data());
            } else {
                QEVO_FUZZ_CHECK(image_size(s.width, s.height, s.depth, false) <= a.held);
                n = image_size(c.width, c.height, c.depth, false);
                want.resize(static_cast<size_t>(n));
                KIVEX::crop_img(s.data, s.width, s.height, s.depth, x1, y1, x2, y2, want.data());
            }
            QEVO_FUZZ_CHECK(c.width >= 1 && c.height >= 1 && c.DeepCopy &&
                            c.inlayout == s.inlayout);
            QEVO_FUZZ_CHECK(want.empty() || std::memcmp(want.data(), c.data, want.size()) == 0);
            b.m = std::move(c);
            b.held = n;
            break;
        }
    }
}

void tensor_ops(Input &in, Buffers &bufs, TensorMat *ts, int op) {
    TensorMat &a = ts[in.byte() % kSlots];
    TensorMat &b = ts[in.byte() % kSlots];
    const DATATYPE type = any_type(in);
    const DATA_LAYOUT layout = any_layout(in);
    switch (op) {
        case 0:
        case 1: {  // from sizes: allocated, or wrapping / copying a caller buffer
            const int n = in.size(5), c = in.size(5), h = in.size(8), w = in.size(8);
            const long long bytes = product({n, c, h, w, datatype_size(type)}, INT_MAX);
            if (bytes > kMaxBytes) return;
            if (op == 0) {
                a = TensorMat(n, c, h, w, layout, type);
            } else {
                void *p = bytes >= 0 && in.byte() > 20 ? bufs.keep(in.bytes(bytes)) : nullptr;
                a = TensorMat(n, c, h, w, layout, p, type, in.flag());
            }
            break;
        }
        case 2: {  // from a shape list
            std::vector<int> shape(in.in(0, 5));
            long long count = 1;
            for (int &d : shape) {
                d = in.size(8);
                count = count < 0 ? -1 : product({count, d}, INT_MAX);
            }
            const long long bytes = count < 0 ? -1 : product({count, datatype_size(type)}, INT_MAX);
            if (bytes > kMaxBytes) return;
            if (in.flag()) {
                a = TensorMat(shape, layout, type);
            } else {
                void *p = bytes >= 0 && in.byte() > 20 ? bufs.keep(in.bytes(bytes)) : nullptr;
                a = TensorMat(shape, layout, p, type, in.flag());
            }
            break;
        }
        case 3: {
            const int w = in.size(40), h = in.size(40);
            if (product({a.batchsize, a.depth, w, h, 4}, INT_MAX) > kMaxBytes) return;
            a.resize(w, h, in.flag());
            break;
        }
        case 4: {
            const int which = in.byte() % 3;
            which == 0 ? a.l2_norm() : which == 1 ? a.des_l2_norm() : a.l1_norm();
            break;
        }
        case 5:
            a.add(in.byte() < 20 ? nullptr : &b);
            break;
        case 6: {  // export, into the tensor's own buffer or a copy of given capacity
            TenMat rec{};
            const size_t cap = static_cast<size_t>(in.in(0, 64)) * (in.flag() ? 1 : 64);
            std::vector<unsigned char> room(cap, 0xEE);
            rec.data = in.flag() ? room.data() : nullptr;
            rec.dataByte = cap;
            const bool borrow = rec.data == nullptr;
            const int r = a.toTenMat(in.byte() < 10 ? nullptr : &rec);
            if (r == 0 && borrow) QEVO_FUZZ_CHECK(rec.data == a.data);
            if (r == 0 && !borrow && a.data != nullptr && a.dataByte > 0)
                QEVO_FUZZ_CHECK(std::memcmp(room.data(), a.data, a.dataByte) == 0);
            if (r != 0 && !borrow) QEVO_FUZZ_CHECK(rec.dataByte == cap);
            break;
        }
        case 7:
        case 8: {  // joins: slots (possibly repeated, possibly the destination), null entries
            std::vector<TensorMat *> mats(in.in(0, 4));
            for (TensorMat *&m : mats) m = in.byte() < 16 ? nullptr : &ts[in.byte() % kSlots];
            TensorMat *dst = in.byte() < 16 ? nullptr : &b;
            const int dim = in.in(-1, 4);
            const bool dispatch = op == 7 || dim < 0 || dim > 3;
            try {
                switch (dispatch ? 4 : dim) {
                    case 0:
                        concat_batch(mats, dst);
                        break;
                    case 1:
                        concat_depth(mats, dst);
                        break;
                    case 2:
                        concat_height(mats, dst);
                        break;
                    case 3:
                        concat_width(mats, dst);
                        break;
                    default:
                        concat(mats, dim, dst);
                        break;
                }
            } catch (const std::out_of_range &) {
                QEVO_FUZZ_CHECK(mats.empty() && dispatch);  // documented for concat alone
            }
            break;
        }
        case 9:
            b = std::move(a);
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    Buffers bufs;
    Image img[kSlots];
    TensorMat ts[kSlots];
    for (int step = 0; step < 24 && in.left() > 0; ++step) {
        const uint8_t op = in.byte();
        if (op < 100)
            image_ops(in, bufs, img, op % 6);
        else
            tensor_ops(in, bufs, ts, op % 10);
        for (const Image &i : img) {
            if (i.m.data != nullptr) sum(i.m.data, i.held);
        }
        for (const TensorMat &t : ts) {
            if (t.data == nullptr) continue;
            QEVO_FUZZ_CHECK(t.dataByte >= 0 &&
                            t.elementNum ==
                                product({t.batchsize, t.depth, t.height, t.width}, INT_MAX));
            sum(t.data, t.dataByte);
        }
    }
    return 0;
}
