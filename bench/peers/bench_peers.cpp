// This library against peer libraries on the same inputs, single-threaded:
//   8-bit resizes vs cv::resize INTER_LINEAR, NV12 vs libyuv::NV12Scale
//   (bilinear), float plane and TensorMat resizes vs cv::resize on CV_32F,
//   nhwc2nchw vs cv::split, crop_img vs an ROI copyTo, pad_img vs
//   cv::copyMakeBorder, the norms and add vs cv::normalize and cv::add,
//   suppression vs cv::dnn::NMSBoxes, and the in-place tracker update alone.
// After the usual Google Benchmark output it prints a markdown table with,
// per case, our time, the peer's time and the ratio peer / ours (above 1 means
// we are faster), and our scalar path (QEVO_SIMD=scalar) where there is a
// vector one, so the gain of the vector code can be read off. A second table
// gives the norms and add in nanoseconds per element next to the floor of a
// sum kept in index order: one dependent single-precision addition per element.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <libyuv/scale.h>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/dnn/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "objTracker.h"
#include "../mute_stdout.h"
#include "bench_inputs.h"
#include "collector.h"
#include "peer_table.h"
#include "utils.h"

namespace {

// ---------------------------------------------------------------- 8-bit resize

struct ResizeCase {
    const char *name;
    int n, sw, sh, dw, dh;
};

const ResizeCase kResizeCases[] = {
    {"c3 1920x1080 -> 640x360", 3, 1920, 1080, 640, 360},
    {"c3 640x360 -> 1920x1080", 3, 640, 360, 1920, 1080},
    {"c1 1920x1080 -> 1280x720", 1, 1920, 1080, 1280, 720},
    {"c4 1920x1080 -> 960x540", 4, 1920, 1080, 960, 540},
    {"c3 1280x720 -> 416x416", 3, 1280, 720, 416, 416},
};

void run_ours(const ResizeCase &c, const unsigned char *src, unsigned char *dst) {
    switch (c.n) {
        case 1:
            resize_bilinear_c1(src, c.sw, c.sh, dst, c.dw, c.dh);
            break;
        case 2:
            resize_bilinear_c2(src, c.sw, c.sh, dst, c.dw, c.dh);
            break;
        case 3:
            resize_bilinear_c3(src, c.sw, c.sh, dst, c.dw, c.dh);
            break;
        default:
            resize_bilinear_c4(src, c.sw, c.sh, dst, c.dw, c.dh);
            break;
    }
}

// path: nullptr = best available, else a QEVO_SIMD value.
void BM_ResizeOurs(benchmark::State &state, ResizeCase c, const char *path) {
    const auto src = random_bytes(static_cast<size_t>(c.sw) * c.sh * c.n, 1);
    std::vector<unsigned char> dst(static_cast<size_t>(c.dw) * c.dh * c.n);
    ForcePath force(path);
    for (auto _ : state) {
        run_ours(c, src.data(), dst.data());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_ResizeOpenCV(benchmark::State &state, ResizeCase c) {
    auto src_bytes = random_bytes(static_cast<size_t>(c.sw) * c.sh * c.n, 1);
    const cv::Mat src(c.sh, c.sw, CV_8UC(c.n), src_bytes.data());
    cv::Mat dst(c.dh, c.dw, CV_8UC(c.n));
    for (auto _ : state) {
        cv::resize(src, dst, cv::Size(c.dw, c.dh), 0, 0, cv::INTER_LINEAR);
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- NV12

constexpr int kNvSw = 1920, kNvSh = 1080, kNvDw = 1280, kNvDh = 720;

void BM_Nv12Ours(benchmark::State &state) {
    const auto src = random_bytes(static_cast<size_t>(kNvSw) * kNvSh * 3 / 2, 2);
    std::vector<unsigned char> dst(static_cast<size_t>(kNvDw) * kNvDh * 3 / 2);
    for (auto _ : state) {
        resize_bilinear_yuv420sp(src.data(), kNvSw, kNvSh, dst.data(), kNvDw, kNvDh);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_Nv12Libyuv(benchmark::State &state) {
    const auto src = random_bytes(static_cast<size_t>(kNvSw) * kNvSh * 3 / 2, 2);
    std::vector<unsigned char> dst(static_cast<size_t>(kNvDw) * kNvDh * 3 / 2);
    const uint8_t *sy = src.data();
    const uint8_t *suv = sy + kNvSw * kNvSh;
    uint8_t *dy = dst.data();
    uint8_t *duv = dy + kNvDw * kNvDh;
    for (auto _ : state) {
        libyuv::NV12Scale(sy, kNvSw, suv, kNvSw, kNvSw, kNvSh, dy, kNvDw, duv, kNvDw, kNvDw, kNvDh,
                          libyuv::kFilterBilinear);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- float plane

std::vector<float> random_floats(size_t n) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> d(-1.f, 1.f);
    std::vector<float> v(n);
    for (auto &x : v) x = d(rng);
    return v;
}

struct PlaneCase {
    int sw, sh, dw, dh;
};

void BM_FloatOurs(benchmark::State &state, PlaneCase c, const char *path) {
    auto src = random_floats(static_cast<size_t>(c.sw) * c.sh);
    std::vector<float> dst(static_cast<size_t>(c.dw) * c.dh);
    ForcePath force(path);
    for (auto _ : state) {
        resize_bilinear_float_c1(src.data(), c.sw, c.sh, dst.data(), c.dw, c.dh);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_FloatOpenCV(benchmark::State &state, PlaneCase c) {
    auto src_v = random_floats(static_cast<size_t>(c.sw) * c.sh);
    const cv::Mat src(c.sh, c.sw, CV_32F, src_v.data());
    cv::Mat dst(c.dh, c.dw, CV_32F);
    for (auto _ : state) {
        cv::resize(src, dst, cv::Size(c.dw, c.dh), 0, 0, cv::INTER_LINEAR);
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- tensors

constexpr int kTenC = 3, kTenS = 640, kTenD = 320;

// The tensor borrows the source planes, so each call allocates only the
// resized buffer it hands over (part of TensorMat::resize), as a network
// input would be made.
void BM_TensorResizeOurs(benchmark::State &state, const char *path) {
    auto src = random_floats(static_cast<size_t>(kTenC) * kTenS * kTenS);
    ForcePath force(path);
    for (auto _ : state) {
        TensorMat t(1, kTenC, kTenS, kTenS, QEVO::CHW, src.data(), QEVO::AI_FLOAT, false);
        t.resize(kTenD, kTenD, true);
        benchmark::DoNotOptimize(t.data);
        benchmark::ClobberMemory();
    }
}

void BM_TensorResizeOpenCV(benchmark::State &state) {
    auto src = random_floats(static_cast<size_t>(kTenC) * kTenS * kTenS);
    std::vector<float> dst(static_cast<size_t>(kTenC) * kTenD * kTenD);
    for (auto _ : state) {
        for (int c = 0; c < kTenC; ++c) {
            const cv::Mat s(kTenS, kTenS, CV_32F,
                            src.data() + static_cast<size_t>(c) * kTenS * kTenS);
            cv::Mat d(kTenD, kTenD, CV_32F, dst.data() + static_cast<size_t>(c) * kTenD * kTenD);
            cv::resize(s, d, cv::Size(kTenD, kTenD), 0, 0, cv::INTER_LINEAR);
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

// Normalisations of a 3x640x640 tensor in place (each call divides values
// that the previous call normalised, so they stay finite and normal).
enum class Norm { L2, L1, DesL2, Add };

void BM_NormOurs(benchmark::State &state, Norm which, const char *path) {
    auto v = random_floats(static_cast<size_t>(kTenC) * kTenS * kTenS);
    auto w = random_floats(v.size());
    const int planes = which == Norm::DesL2 ? 1 : kTenC;
    TensorMat t(1, planes, kTenS, kTenS, QEVO::CHW, v.data(), QEVO::AI_FLOAT, false);
    TensorMat u(1, planes, kTenS, kTenS, QEVO::CHW, w.data(), QEVO::AI_FLOAT, false);
    ForcePath force(path);
    for (auto _ : state) {
        switch (which) {
            case Norm::L2:
                t.l2_norm();
                break;
            case Norm::L1:
                t.l1_norm();
                break;
            case Norm::DesL2:
                t.des_l2_norm();
                break;
            case Norm::Add:
                t.add(&u);
                break;
        }
        benchmark::DoNotOptimize(t.data);
        benchmark::ClobberMemory();
    }
    state.counters["elements"] = static_cast<double>(t.elementNum);
}

void BM_NormOpenCV(benchmark::State &state, Norm which) {
    auto v = random_floats(static_cast<size_t>(kTenC) * kTenS * kTenS);
    auto w = random_floats(v.size());
    cv::Mat m(kTenC * kTenS, kTenS, CV_32F, v.data());
    const cv::Mat n(kTenC * kTenS, kTenS, CV_32F, w.data());
    for (auto _ : state) {
        if (which == Norm::L2)
            cv::normalize(m, m, 1.0, 0.0, cv::NORM_L2);
        else if (which == Norm::L1)
            cv::normalize(m, m, 1.0, 0.0, cv::NORM_L1);
        else
            cv::add(m, n, m);
        benchmark::DoNotOptimize(m.data);
        benchmark::ClobberMemory();
    }
}

// The floor of a sum kept in index order: one single-precision addition per
// element, each waiting for the previous one (the addend is loaded, so the
// compiler cannot fold the chain).
void BM_AddChain(benchmark::State &state) {
    const auto v = random_floats(static_cast<size_t>(kTenC) * kTenS * kTenS);
    for (auto _ : state) {
        float s = 0.f;
        for (float x : v) s = s + x;
        benchmark::DoNotOptimize(s);
    }
    state.counters["elements"] = static_cast<double>(v.size());
}

// ---------------------------------------------------------------- pixel buffers

constexpr int kPixW = 640, kPixH = 640;

void BM_PlanesOurs(benchmark::State &state, const char *path) {
    auto src = random_bytes(static_cast<size_t>(kPixW) * kPixH * 3, 6);
    std::vector<char> dst(src.size());
    ForcePath force(path);
    for (auto _ : state) {
        KIVEX::nhwc2nchw(reinterpret_cast<char *>(src.data()), dst.data(), kPixW, kPixH, 3, true);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

// Same destinations as ours with rbswap: channel 0 into the last plane.
void BM_PlanesOpenCV(benchmark::State &state) {
    auto src_v = random_bytes(static_cast<size_t>(kPixW) * kPixH * 3, 6);
    const cv::Mat src(kPixH, kPixW, CV_8UC3, src_v.data());
    std::vector<unsigned char> dst(src_v.size());
    const size_t plane = static_cast<size_t>(kPixW) * kPixH;
    cv::Mat planes[3] = {cv::Mat(kPixH, kPixW, CV_8U, dst.data() + 2 * plane),
                         cv::Mat(kPixH, kPixW, CV_8U, dst.data() + plane),
                         cv::Mat(kPixH, kPixW, CV_8U, dst.data())};
    for (auto _ : state) {
        cv::split(src, planes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

constexpr int kCropSw = 1920, kCropSh = 1080, kCropX = 320, kCropY = 180, kCropW = 1280,
              kCropH = 720;

void BM_CropOurs(benchmark::State &state, const char *path) {
    auto src = random_bytes(static_cast<size_t>(kCropSw) * kCropSh * 3, 7);
    std::vector<unsigned char> dst(static_cast<size_t>(kCropW) * kCropH * 3);
    ForcePath force(path);
    for (auto _ : state) {
        KIVEX::crop_img(src.data(), kCropSw, kCropSh, 3, kCropX, kCropY, kCropX + kCropW,
                        kCropY + kCropH, dst.data());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_CropOpenCV(benchmark::State &state) {
    auto src_v = random_bytes(static_cast<size_t>(kCropSw) * kCropSh * 3, 7);
    const cv::Mat src(kCropSh, kCropSw, CV_8UC3, src_v.data());
    std::vector<unsigned char> dst_v(static_cast<size_t>(kCropW) * kCropH * 3);
    cv::Mat dst(kCropH, kCropW, CV_8UC3, dst_v.data());
    for (auto _ : state) {
        src(cv::Rect(kCropX, kCropY, kCropW, kCropH)).copyTo(dst);
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
}

constexpr int kPadW = 640, kPadH = 360, kPadTop = 140, kPadBot = 140;

void BM_PadOurs(benchmark::State &state, const char *path) {
    auto src = random_bytes(static_cast<size_t>(kPadW) * kPadH * 3, 8);
    std::vector<unsigned char> dst(static_cast<size_t>(kPadW) * (kPadH + kPadTop + kPadBot) * 3);
    QEVO::ImgMat img{};
    img.data = src.data();
    img.width = kPadW;
    img.height = kPadH;
    img.depth = 3;
    const std::vector<int> values = {114, 114, 114};
    ForcePath force(path);
    for (auto _ : state) {
        KIVEX::pad_img(img, 0, 0, kPadTop, kPadBot, dst.data(), values);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_PadOpenCV(benchmark::State &state) {
    auto src_v = random_bytes(static_cast<size_t>(kPadW) * kPadH * 3, 8);
    const cv::Mat src(kPadH, kPadW, CV_8UC3, src_v.data());
    std::vector<unsigned char> dst_v(static_cast<size_t>(kPadW) * (kPadH + kPadTop + kPadBot) * 3);
    cv::Mat dst(kPadH + kPadTop + kPadBot, kPadW, CV_8UC3, dst_v.data());
    for (auto _ : state) {
        cv::copyMakeBorder(src, dst, kPadTop, kPadBot, 0, 0, cv::BORDER_CONSTANT,
                           cv::Scalar(114, 114, 114));
        benchmark::DoNotOptimize(dst.data);
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- suppression

constexpr int kBoxes = 5000;
constexpr float kNmsThr = 0.5f;

// Boxes of 20..200 pixels inside a 1920x1080 frame, one class, scores in
// (0, 1). `area` counts inclusive pixels, as the suppression routines do.
std::vector<QEVO::objinfo> random_boxes() {
    std::mt19937 rng(4);
    std::uniform_real_distribution<float> pos(0.f, 1700.f), posy(0.f, 860.f), size(20.f, 200.f),
        score(0.01f, 0.99f);
    std::vector<QEVO::objinfo> boxes(kBoxes);
    for (auto &b : boxes) {
        b.x1 = std::floor(pos(rng));
        b.y1 = std::floor(posy(rng));
        b.x2 = b.x1 + std::floor(size(rng));
        b.y2 = b.y1 + std::floor(size(rng));
        b.score = score(rng);
        b.classNum = 0;
        b.ID = 0;
        b.trackID = -1;
        b.area = (b.x2 - b.x1 + 1) * (b.y2 - b.y1 + 1);
    }
    return boxes;
}

enum class Nms { Nms, Nms1, Seg };

void BM_NmsOurs(benchmark::State &state, Nms which) {
    const auto boxes = random_boxes();
    std::vector<QEVO::objinfo> in, out;
    MuteStdout mute;
    for (auto _ : state) {
        state.PauseTiming();
        in = boxes;
        out.clear();
        state.ResumeTiming();
        switch (which) {
            case Nms::Nms:
                KIVEX::nms(in, out, kNmsThr, 1);
                break;
            case Nms::Nms1:
                KIVEX::nms1(in, out, kNmsThr, 1);
                break;
            case Nms::Seg:
                KIVEX::seg_NMS(in, kNmsThr, out);
                break;
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["kept"] = static_cast<double>(out.size());
}

void BM_NmsOpenCV(benchmark::State &state) {
    const auto boxes = random_boxes();
    std::vector<cv::Rect> rects;
    std::vector<float> scores;
    for (const auto &b : boxes) {
        rects.emplace_back(static_cast<int>(b.x1), static_cast<int>(b.y1),
                           static_cast<int>(b.x2 - b.x1 + 1), static_cast<int>(b.y2 - b.y1 + 1));
        scores.push_back(b.score);
    }
    std::vector<int> keep;
    for (auto _ : state) {
        cv::dnn::NMSBoxes(rects, scores, 0.f, kNmsThr, keep);
        benchmark::DoNotOptimize(keep.data());
    }
    state.counters["kept"] = static_cast<double>(keep.size());
}

// ---------------------------------------------------------------- tracker

constexpr int kObjects = 100, kFrames = 64;

// 100 objects on a grid, each detection jittered by up to 3 pixels per frame.
std::vector<std::vector<QEVO::objinfo>> tracker_frames() {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> jitter(-3.f, 3.f), score(0.5f, 0.95f);
    std::vector<std::vector<QEVO::objinfo>> frames(kFrames);
    for (auto &f : frames) {
        for (int i = 0; i < kObjects; ++i) {
            QEVO::objinfo d{};
            const float x = 20.f + (i % 10) * 180.f, y = 20.f + (i / 10) * 100.f;
            d.x1 = x + jitter(rng);
            d.y1 = y + jitter(rng);
            d.x2 = d.x1 + 60.f;
            d.y2 = d.y1 + 60.f;
            d.score = score(rng);
            d.classNum = i % 3;
            d.trackID = -1;
            d.area = 60.f * 60.f;
            f.push_back(d);
        }
    }
    return frames;
}

void BM_Tracker(benchmark::State &state) {
    const auto frames = tracker_frames();
    std::vector<OBJTRACK> tracks;
    MuteStdout mute;
    // Warm up to the steady state of about 100 established tracks.
    for (int i = 0; i < kFrames; ++i) update_objtracker(frames[i], tracks, 0.3f);
    size_t frame = 0;
    for (auto _ : state) {
        update_objtracker(frames[frame], tracks, 0.3f);
        frame = (frame + 1) % kFrames;
        benchmark::DoNotOptimize(tracks.data());
    }
    state.counters["tracks"] = static_cast<double>(tracks.size());
}

// ---------------------------------------------------------------- table

using Row = PeerRow;

// Operations also shown per element, next to the floor of one dependent
// single-precision addition per element.
struct PerElement {
    std::string name, ours, scalar;  // benchmark names
    double elements;
};

const char kFloorBench[] = "dependent float additions 3x640x640";
constexpr double kFloorElements = double(kTenC) * kTenS * kTenS;

std::vector<Row> register_all(std::vector<PerElement> &per_element) {
    std::vector<Row> rows;
    for (const ResizeCase &c : kResizeCases) {
        const std::string base = std::string("resize ") + c.name;
        benchmark::RegisterBenchmark((base + " /ours").c_str(), BM_ResizeOurs, c, nullptr);
        benchmark::RegisterBenchmark((base + " /ours-scalar").c_str(), BM_ResizeOurs, c, "scalar");
        benchmark::RegisterBenchmark((base + " /opencv").c_str(), BM_ResizeOpenCV, c);
        rows.push_back({std::string("resize_bilinear_c") + std::to_string(c.n) + " " + c.name,
                        base + " /ours", base + " /opencv", base + " /ours-scalar",
                        "cv::resize INTER_LINEAR"});
    }
    benchmark::RegisterBenchmark("nv12 1920x1080 -> 1280x720 /ours", BM_Nv12Ours);
    benchmark::RegisterBenchmark("nv12 1920x1080 -> 1280x720 /libyuv", BM_Nv12Libyuv);
    rows.push_back({"resize_bilinear_yuv420sp NV12 1920x1080 -> 1280x720",
                    "nv12 1920x1080 -> 1280x720 /ours", "nv12 1920x1080 -> 1280x720 /libyuv", "",
                    "libyuv::NV12Scale bilinear"});
    for (const PlaneCase &c : {PlaneCase{640, 640, 320, 320}, PlaneCase{640, 640, 1280, 1280}}) {
        const std::string size = std::to_string(c.sw) + "x" + std::to_string(c.sh) + " -> " +
                                 std::to_string(c.dw) + "x" + std::to_string(c.dh);
        const std::string base = "float " + size;
        benchmark::RegisterBenchmark((base + " /ours").c_str(), BM_FloatOurs, c, nullptr);
        benchmark::RegisterBenchmark((base + " /ours-scalar").c_str(), BM_FloatOurs, c, "scalar");
        benchmark::RegisterBenchmark((base + " /opencv").c_str(), BM_FloatOpenCV, c);
        rows.push_back({"resize_bilinear_float_c1 " + size, base + " /ours", base + " /opencv",
                        base + " /ours-scalar", "cv::resize CV_32F INTER_LINEAR"});
    }
    // One operation each: our call (best path and scalar path) against a peer.
    struct Op {
        const char *bench, *row, *peer_name;
        void (*ours)(benchmark::State &, const char *);
        void (*peer)(benchmark::State &);
    };
    const Op ops[] = {
        {"tensor resize 1x3x640x640 -> 320x320",
         "TensorMat::resize bilinear 1x3x640x640 -> 320x320", "cv::resize CV_32F per plane",
         BM_TensorResizeOurs, BM_TensorResizeOpenCV},
        {"nhwc2nchw 640x640 rbswap", "nhwc2nchw 640x640x3, rbswap", "cv::split", BM_PlanesOurs,
         BM_PlanesOpenCV},
        {"crop_img 1920x1080x3 -> 1280x720", "crop_img 1920x1080x3 -> 1280x720", "ROI copyTo",
         BM_CropOurs, BM_CropOpenCV},
        {"pad_img 640x360x3 -> 640x640", "pad_img 640x360x3 -> 640x640 (constant border)",
         "cv::copyMakeBorder", BM_PadOurs, BM_PadOpenCV},
    };
    for (const Op &op : ops) {
        const std::string base = op.bench;
        benchmark::RegisterBenchmark((base + " /ours").c_str(), op.ours, nullptr);
        benchmark::RegisterBenchmark((base + " /ours-scalar").c_str(), op.ours, "scalar");
        benchmark::RegisterBenchmark((base + " /peer").c_str(), op.peer);
        rows.push_back(
            {op.row, base + " /ours", base + " /peer", base + " /ours-scalar", op.peer_name});
    }
    const struct {
        Norm which;
        const char *name, *peer_name;
    } norms[] = {{Norm::L2, "l2_norm 3x640x640", "cv::normalize NORM_L2"},
                 {Norm::L1, "l1_norm 3x640x640", "cv::normalize NORM_L1"},
                 {Norm::DesL2, "des_l2_norm 640x640", ""},
                 {Norm::Add, "add 3x640x640", "cv::add"}};
    for (const auto &n : norms) {
        const std::string base = n.name;
        benchmark::RegisterBenchmark((base + " /ours").c_str(), BM_NormOurs, n.which, nullptr);
        benchmark::RegisterBenchmark((base + " /ours-scalar").c_str(), BM_NormOurs, n.which,
                                     "scalar");
        std::string peer;
        if (*n.peer_name != '\0') {
            peer = base + " /peer";
            benchmark::RegisterBenchmark(peer.c_str(), BM_NormOpenCV, n.which);
        }
        rows.push_back({base, base + " /ours", peer, base + " /ours-scalar",
                        *n.peer_name ? n.peer_name : "(none)"});
        per_element.push_back({base, base + " /ours", base + " /ours-scalar",
                               n.which == Norm::DesL2 ? double(kTenS) * kTenS : kFloorElements});
    }
    benchmark::RegisterBenchmark(kFloorBench, BM_AddChain);
    benchmark::RegisterBenchmark("nms 5000 /opencv", BM_NmsOpenCV);
    benchmark::RegisterBenchmark("nms 5000 /nms1", BM_NmsOurs, Nms::Nms1);
    benchmark::RegisterBenchmark("nms 5000 /nms", BM_NmsOurs, Nms::Nms);
    benchmark::RegisterBenchmark("nms 5000 /seg_NMS", BM_NmsOurs, Nms::Seg);
    for (const char *f : {"nms1", "nms", "seg_NMS"}) {
        rows.push_back({std::string(f) + " 5000 boxes", std::string("nms 5000 /") + f,
                        "nms 5000 /opencv", "", "cv::dnn::NMSBoxes"});
    }
    benchmark::RegisterBenchmark("tracker 100x100 /ours", BM_Tracker);
    rows.push_back({"update_objtracker (in place) 100 tracks x 100 detections",
                    "tracker 100x100 /ours", "", "", "(none)"});
    for (const Row &r : register_preprocess_peers()) rows.push_back(r);
    return rows;
}

std::string fmt_us(const std::map<std::string, double> &t, const std::string &name) {
    auto it = t.find(name);
    if (name.empty() || it == t.end()) return "-";
    char s[32];
    std::snprintf(s, sizeof s, "%.1f", it->second);
    return s;
}

}  // namespace

int main(int argc, char **argv) {
    cv::setNumThreads(1);
    std::vector<PerElement> per_element;
    const std::vector<Row> rows = register_all(per_element);
    benchmark::Initialize(&argc, argv);
    qevo_bench::Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::fflush(stdout);

    const std::map<std::string, double> times = collector.medians();
    std::printf(
        "\n| case | ours (us) | peer | peer (us) | ratio peer/ours | ours, scalar path (us) |\n");
    std::printf("|---|---:|---|---:|---:|---:|\n");
    for (const Row &r : rows) {
        const auto &t = times;
        std::string ratio = "-";
        if (t.count(r.ours) && !r.peer.empty() && t.count(r.peer)) {
            char s[32];
            std::snprintf(s, sizeof s, "%.2f", t.at(r.peer) / t.at(r.ours));
            ratio = s;
        }
        std::printf("| %s | %s | %s | %s | %s | %s |\n", r.name.c_str(), fmt_us(t, r.ours).c_str(),
                    r.peer_name.c_str(), fmt_us(t, r.peer).c_str(), ratio.c_str(),
                    fmt_us(t, r.scalar).c_str());
    }
    if (times.count(kFloorBench)) {
        const double floor_ns = times.at(kFloorBench) * 1000.0 / kFloorElements;
        std::printf(
            "\n| per element | ours (ns) | ours, scalar path (ns) | floor: one dependent "
            "float addition (ns) | ours / floor |\n");
        std::printf("|---|---:|---:|---:|---:|\n");
        for (const PerElement &p : per_element) {
            if (!times.count(p.ours) || !times.count(p.scalar)) continue;
            const double ours = times.at(p.ours) * 1000.0 / p.elements;
            const double scalar = times.at(p.scalar) * 1000.0 / p.elements;
            std::printf("| %s | %.3f | %.3f | %.3f | %.2f |\n", p.name.c_str(), ours, scalar,
                        floor_ns, ours / floor_ns);
        }
    }
    std::printf("\nOpenCV %s, threads %d\n", CV_VERSION, cv::getNumThreads());
    benchmark::Shutdown();
    return 0;
}
