// Executed aarch64 instructions per call of this library and of a peer
// library doing the same job on the same input, counted under qemu-aarch64
// with the arm-icount plugin (bench/run_arm_icount.sh drives it).
//
//   arm_icount --list                 one line per case: name <TAB> peer
//   arm_icount CASE ours|peer [CALLS] one call outside the counted region to
//                                     warm up (allocations, peer dispatch
//                                     tables), then CALLS calls (default 3)
//                                     inside it; prints "calls=N out_bytes=B"
//
// One case and one side per process, so every count covers exactly one kind
// of call. Our scalar path is the "ours" side run with QEVO_SIMD=scalar.
// A case is one entry of kCases: a name, the peer's name and a set-up function
// that allocates the inputs and returns the two calls; adding a case is adding
// an entry.
#include <libyuv/scale.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "mat_pixel_resize.h"
#include "preprocess.h"
#include "preprocess_cases.h"
#include "roi.h"

namespace {

// The two calls of a case and the number of bytes one call writes.
struct Calls {
    std::function<void()> ours, peer;
    size_t out_bytes;
};

struct Case {
    const char *name;
    const char *peer;
    std::function<Calls()> setup;
};

using Bytes = std::shared_ptr<std::vector<unsigned char>>;
using Floats = std::shared_ptr<std::vector<float>>;

Bytes random_bytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    auto v = std::make_shared<std::vector<unsigned char>>(n);
    for (auto &b : *v) b = static_cast<unsigned char>(rng());
    return v;
}

Floats random_floats(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> d(-1.f, 1.f);
    auto v = std::make_shared<std::vector<float>>(n);
    for (auto &x : *v) x = d(rng);
    return v;
}

// ------------------------------------------------------------- set-ups

using Packed = void (*)(const unsigned char *, int, int, unsigned char *, int, int);

// Interleaved 8-bit image of n channels against cv::resize INTER_LINEAR.
Calls resize_u8(int n, int sw, int sh, int dw, int dh) {
    static const Packed kernels[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                                      resize_bilinear_c4};
    const Packed kernel = kernels[n - 1];
    const Bytes src = random_bytes(static_cast<size_t>(sw) * sh * n, 1);
    const Bytes dst =
        std::make_shared<std::vector<unsigned char>>(static_cast<size_t>(dw) * dh * n);
    const cv::Mat peer_src(sh, sw, CV_8UC(n), src->data());
    const auto peer_dst = std::make_shared<cv::Mat>(dh, dw, CV_8UC(n));
    return {[=] { kernel(src->data(), sw, sh, dst->data(), dw, dh); },
            [=] { cv::resize(peer_src, *peer_dst, peer_dst->size(), 0, 0, cv::INTER_LINEAR); },
            dst->size()};
}

// NV12 frame against libyuv::NV12Scale with bilinear filtering.
Calls resize_nv12(int sw, int sh, int dw, int dh) {
    const Bytes src = random_bytes(static_cast<size_t>(sw) * sh * 3 / 2, 2);
    const Bytes dst =
        std::make_shared<std::vector<unsigned char>>(static_cast<size_t>(dw) * dh * 3 / 2);
    const Bytes peer_dst = std::make_shared<std::vector<unsigned char>>(dst->size());
    return {[=] { resize_bilinear_yuv420sp(src->data(), sw, sh, dst->data(), dw, dh); },
            [=] {
                const uint8_t *y = src->data();
                uint8_t *out = peer_dst->data();
                libyuv::NV12Scale(y, sw, y + static_cast<size_t>(sw) * sh, sw, sw, sh, out, dw,
                                  out + static_cast<size_t>(dw) * dh, dw, dw, dh,
                                  libyuv::kFilterBilinear);
            },
            dst->size()};
}

// One float plane against cv::resize CV_32F INTER_LINEAR.
Calls resize_float(int sw, int sh, int dw, int dh) {
    const Floats src = random_floats(static_cast<size_t>(sw) * sh, 3);
    const Floats dst = std::make_shared<std::vector<float>>(static_cast<size_t>(dw) * dh);
    const cv::Mat peer_src(sh, sw, CV_32F, src->data());
    const auto peer_dst = std::make_shared<cv::Mat>(dh, dw, CV_32F);
    return {[=] { resize_bilinear_float_c1(src->data(), sw, sh, dst->data(), dw, dh); },
            [=] { cv::resize(peer_src, *peer_dst, peer_dst->size(), 0, 0, cv::INTER_LINEAR); },
            dst->size() * sizeof(float)};
}

// NV12 frame to packed RGB (BT.601 limited range on both sides) against
// cv::cvtColor COLOR_YUV2RGB_NV12 or libyuv::NV12ToRGB24.
Calls nv12_rgb(int w, int h, bool libyuv_peer) {
    const Bytes src = random_bytes(static_cast<size_t>(w) * h * 3 / 2, 4);
    const Bytes dst = std::make_shared<std::vector<unsigned char>>(static_cast<size_t>(w) * h * 3);
    const Bytes peer_dst = std::make_shared<std::vector<unsigned char>>(dst->size());
    std::function<void()> peer = [src, peer_dst, w, h] {
        const cv::Mat in(h * 3 / 2, w, CV_8UC1, src->data());
        cv::Mat out(h, w, CV_8UC3, peer_dst->data());
        cv::cvtColor(in, out, cv::COLOR_YUV2RGB_NV12);
    };
    if (libyuv_peer)
        peer = [src, peer_dst, w, h] {
            const uint8_t *y = src->data();
            libyuv::NV12ToRGB24(y, w, y + static_cast<size_t>(w) * h, w, peer_dst->data(), w * 3, w,
                                h);
        };
    return {[src, dst, w, h] { qevo::nv12_to_rgb(src->data(), w, h, dst->data()); }, peer,
            dst->size()};
}

// A network input of preprocess_cases.h against the OpenCV or libyuv chain.
// Each call keeps `src`, the frame the chains read, alive.
Calls network_input(const qevo_bench::InputCase &c, bool libyuv_peer) {
    const Bytes src = random_bytes(static_cast<size_t>(c.sw) * c.sh * 3 / 2, 5);
    const auto ours = std::make_shared<qevo_bench::OursInput>(c, src->data());
    std::function<void()> peer;
    if (libyuv_peer) {
        const auto chain = std::make_shared<qevo_bench::LibyuvChain>(c, src->data());
        peer = [src, chain] { chain->run(); };
    } else {
        const auto chain = std::make_shared<qevo_bench::OpenCvChain>(c, src->data());
        peer = [src, chain] { chain->run(); };
    }
    return {[src, ours] { ours->run(); }, peer, qevo_bench::output_bytes(c)};
}

const char *const kCvLinear = "cv::resize INTER_LINEAR";
const char *const kOpenCvChain = "OpenCV cvtColor, resize, copyMakeBorder, blobFromImage";
const char *const kLibyuvChain = "libyuv NV12Scale, NV12ToRGB24, relayout loop";
const char *const kCvFloat = "cv::resize CV_32F INTER_LINEAR";

const Case kCases[] = {
    {"resize_bilinear_c3 c3 1920x1080 -> 640x360", kCvLinear,
     [] { return resize_u8(3, 1920, 1080, 640, 360); }},
    {"resize_bilinear_c3 c3 640x360 -> 1920x1080", kCvLinear,
     [] { return resize_u8(3, 640, 360, 1920, 1080); }},
    {"resize_bilinear_c1 c1 1920x1080 -> 1280x720", kCvLinear,
     [] { return resize_u8(1, 1920, 1080, 1280, 720); }},
    {"resize_bilinear_c4 c4 1920x1080 -> 960x540", kCvLinear,
     [] { return resize_u8(4, 1920, 1080, 960, 540); }},
    {"resize_bilinear_c4 c4 1920x1080 -> 1280x720", kCvLinear,
     [] { return resize_u8(4, 1920, 1080, 1280, 720); }},
    {"resize_bilinear_c3 c3 1280x720 -> 416x416", kCvLinear,
     [] { return resize_u8(3, 1280, 720, 416, 416); }},
    {"resize_bilinear_yuv420sp NV12 1920x1080 -> 1280x720", "libyuv::NV12Scale bilinear",
     [] { return resize_nv12(1920, 1080, 1280, 720); }},
    {"resize_bilinear_float_c1 640x640 -> 320x320", kCvFloat,
     [] { return resize_float(640, 640, 320, 320); }},
    {"resize_bilinear_float_c1 640x640 -> 416x416", kCvFloat,
     [] { return resize_float(640, 640, 416, 416); }},
    {"nv12_to_rgb 1920x1080 (OpenCV)", "cv::cvtColor COLOR_YUV2RGB_NV12",
     [] { return nv12_rgb(1920, 1080, false); }},
    {"nv12_to_rgb 1920x1080 (libyuv)", "libyuv::NV12ToRGB24",
     [] { return nv12_rgb(1920, 1080, true); }},
    {"nv12_to_tensor 1920x1080 -> 640x640 letterbox f32 CHW (OpenCV)", kOpenCvChain,
     [] { return network_input(qevo_bench::kInputCases[0], false); }},
    {"nv12_to_tensor 1920x1080 -> 640x640 letterbox f32 CHW (libyuv)", kLibyuvChain,
     [] { return network_input(qevo_bench::kInputCases[0], true); }},
    {"nv12_to_tensor 1280x720 -> 416x416 letterbox u8 CHW (OpenCV)", kOpenCvChain,
     [] { return network_input(qevo_bench::kInputCases[1], false); }},
    {"nv12_to_tensor 1280x720 -> 416x416 letterbox u8 CHW (libyuv)", kLibyuvChain,
     [] { return network_input(qevo_bench::kInputCases[1], true); }},
};

int usage() {
    std::fprintf(stderr, "usage: arm_icount --list | arm_icount CASE ours|peer [CALLS]\n");
    return 2;
}

}  // namespace

int main(int argc, char **argv) {
    cv::setNumThreads(1);
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const Case &c : kCases) std::printf("%s\t%s\n", c.name, c.peer);
        return 0;
    }
    if (argc < 3 || argc > 4) return usage();
    const bool peer = std::strcmp(argv[2], "peer") == 0;
    if (!peer && std::strcmp(argv[2], "ours") != 0) return usage();
    const int calls = argc == 4 ? std::atoi(argv[3]) : 3;
    if (calls < 1) return usage();
    for (const Case &c : kCases) {
        if (std::strcmp(c.name, argv[1]) != 0) continue;
        const Calls run = c.setup();
        const std::function<void()> &call = peer ? run.peer : run.ours;
        call();
        armcount_begin();
        for (int i = 0; i < calls; ++i) call();
        armcount_end();
        std::printf("calls=%d out_bytes=%zu\n", calls, run.out_bytes);
        return 0;
    }
    std::fprintf(stderr, "arm_icount: no case named \"%s\"\n", argv[1]);
    return 2;
}
