// The network-input cases measured against the peers, shared by the x86
// peer benchmark and the aarch64 instruction-count benchmark: our call, and
// the chains a user of each peer writes for the same job.
//   - OpenCV: cvtColor NV12 -> RGB on the whole frame, resize to the content
//     size, copyMakeBorder to the input size, dnn::blobFromImage (scale and
//     mean for floats);
//   - libyuv: NV12Scale (bilinear) to the content size, NV12ToRGB24, and a
//     plain loop that pads and lays out the planes (and normalises floats).
// All buffers are allocated when a chain is made; a run only computes.
#ifndef QEVO_BENCH_PEERS_PREPROCESS_CASES_H
#define QEVO_BENCH_PEERS_PREPROCESS_CASES_H

#include <libyuv/convert_argb.h>
#include <libyuv/scale.h>

#include <cstddef>
#include <opencv2/core.hpp>
#include <opencv2/dnn/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "preprocess.h"

namespace qevo_bench {

// An NV12 source of sw x sh to a letterboxed input of dw x dh, planar, uint8
// or normalised floats (the source is wider than the input in every case).
struct InputCase {
    const char *name;
    int sw, sh, dw, dh;
    bool f32;
};

inline const InputCase kInputCases[] = {
    {"1920x1080 -> 640x640 letterbox f32 CHW", 1920, 1080, 640, 640, true},
    {"1280x720 -> 416x416 letterbox u8 CHW", 1280, 720, 416, 416, false},
};

constexpr unsigned char kPad = 114;
constexpr float kMean[3] = {123.675f, 116.28f, 103.53f};
constexpr float kScale = 1.f / 58.f;  // one factor, as blobFromImage takes

inline int content_height(const InputCase &c) { return (c.sh * c.dw + c.sw / 2) / c.sw / 2 * 2; }

inline size_t output_bytes(const InputCase &c) {
    return static_cast<size_t>(c.dw) * c.dh * 3 * (c.f32 ? sizeof(float) : 1);
}

// Our call on a packed frame `src`.
struct OursInput {
    qevo::Nv12Frame frame;
    qevo::TensorParams params;
    std::vector<float> out;  // floats, so that either format fits aligned

    OursInput(const InputCase &c, const unsigned char *src) : out(output_bytes(c) / 4 + 1) {
        frame.y = src;
        frame.uv = src + static_cast<size_t>(c.sw) * c.sh;
        frame.y_stride = frame.uv_stride = c.sw;
        frame.width = c.sw;
        frame.height = c.sh;
        params.dst_width = c.dw;
        params.dst_height = c.dh;
        params.format = c.f32 ? qevo::TENSOR_F32_CHW : qevo::TENSOR_U8_CHW;
        for (int ch = 0; ch < 3; ++ch) {
            params.pad[ch] = kPad;
            params.mean[ch] = kMean[ch];
            params.scale[ch] = kScale;
        }
    }
    int run() { return qevo::nv12_to_tensor(frame, params, out.data(), out.size() * 4); }
};

struct OpenCvChain {
    InputCase c;
    cv::Mat nv12, rgb, small, boxed, blob;

    OpenCvChain(const InputCase &ic, unsigned char *src)
        : c(ic), nv12(ic.sh * 3 / 2, ic.sw, CV_8UC1, src) {}
    void run() {
        const int th = content_height(c), top = (c.dh - th) / 2;
        cv::cvtColor(nv12, rgb, cv::COLOR_YUV2RGB_NV12);
        cv::resize(rgb, small, cv::Size(c.dw, th), 0, 0, cv::INTER_LINEAR);
        cv::copyMakeBorder(small, boxed, top, c.dh - th - top, 0, 0, cv::BORDER_CONSTANT,
                           cv::Scalar(kPad, kPad, kPad));
        cv::dnn::blobFromImage(boxed, blob, c.f32 ? kScale : 1.0, cv::Size(),
                               c.f32 ? cv::Scalar(kMean[0], kMean[1], kMean[2]) : cv::Scalar(),
                               false, false, c.f32 ? CV_32F : CV_8U);
    }
};

struct LibyuvChain {
    InputCase c;
    const unsigned char *src;
    std::vector<unsigned char> small, bgr, u8;
    std::vector<float> f32;

    LibyuvChain(const InputCase &ic, const unsigned char *s)
        : c(ic),
          src(s),
          small(static_cast<size_t>(ic.dw) * content_height(ic) * 3 / 2),
          bgr(static_cast<size_t>(ic.dw) * content_height(ic) * 3),
          u8(ic.f32 ? 0 : static_cast<size_t>(ic.dw) * ic.dh * 3),
          f32(ic.f32 ? static_cast<size_t>(ic.dw) * ic.dh * 3 : 0) {}

    void run() {
        const int th = content_height(c);
        unsigned char *sy = small.data(), *suv = sy + static_cast<size_t>(c.dw) * th;
        libyuv::NV12Scale(src, c.sw, src + static_cast<size_t>(c.sw) * c.sh, c.sw, c.sw, c.sh, sy,
                          c.dw, suv, c.dw, c.dw, th, libyuv::kFilterBilinear);
        libyuv::NV12ToRGB24(sy, c.dw, suv, c.dw, bgr.data(), c.dw * 3, c.dw, th);
        if (c.f32)
            relayout(f32.data(), [](unsigned char v, int ch) {
                return (static_cast<float>(v) - kMean[ch]) * kScale;
            });
        else
            relayout(u8.data(), [](unsigned char v, int) { return v; });
    }

    // Border rows, then the content rows (libyuv's RGB24 is B, G, R in
    // memory) split into R, G, B planes.
    template <typename T, typename Conv>
    void relayout(T *dst, Conv conv) const {
        const int th = content_height(c), top = (c.dh - th) / 2;
        const size_t plane = static_cast<size_t>(c.dw) * c.dh;
        for (int ch = 0; ch < 3; ++ch) {
            T *p = dst + plane * ch;
            const T pad = conv(kPad, ch);
            for (int y = 0; y < c.dh; ++y) {
                T *row = p + static_cast<size_t>(y) * c.dw;
                if (y < top || y >= top + th) {
                    for (int x = 0; x < c.dw; ++x) row[x] = pad;
                    continue;
                }
                const unsigned char *s =
                    bgr.data() + static_cast<size_t>(y - top) * c.dw * 3 + (2 - ch);
                for (int x = 0; x < c.dw; ++x) row[x] = conv(s[3 * x], ch);
            }
        }
    }
};

}  // namespace qevo_bench

#endif
