// This library against peer libraries on the same inputs, single-threaded:
//   8-bit resizes vs cv::resize INTER_LINEAR, NV12 vs libyuv::NV12Scale
//   (bilinear), float plane vs cv::resize on CV_32F, suppression vs
//   cv::dnn::NMSBoxes, and the in-place tracker update alone.
// After the usual Google Benchmark output it prints a markdown table with,
// per case, our time, the peer's time and the ratio peer / ours (above 1 means
// we are faster). For the 8-bit resizes it also shows our scalar path
// (QEVO_SIMD=scalar), so the gain of the vector code can be read off.
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

#include "mat_pixel_resize.h"
#include "objTracker.h"
#include "../mute_stdout.h"
#include "peer_table.h"
#include "utils.h"

namespace {

std::vector<unsigned char> random_bytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    for (auto &b : v) b = static_cast<unsigned char>(rng());
    return v;
}

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
    if (path != nullptr)
        setenv("QEVO_SIMD", path, 1);
    else
        unsetenv("QEVO_SIMD");
    for (auto _ : state) {
        run_ours(c, src.data(), dst.data());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    unsetenv("QEVO_SIMD");
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

constexpr int kFlSw = 640, kFlSh = 640, kFlDw = 320, kFlDh = 320;

std::vector<float> random_floats(size_t n) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> d(-1.f, 1.f);
    std::vector<float> v(n);
    for (auto &x : v) x = d(rng);
    return v;
}

void BM_FloatOurs(benchmark::State &state) {
    auto src = random_floats(static_cast<size_t>(kFlSw) * kFlSh);
    std::vector<float> dst(static_cast<size_t>(kFlDw) * kFlDh);
    for (auto _ : state) {
        resize_bilinear_float_c1(src.data(), kFlSw, kFlSh, dst.data(), kFlDw, kFlDh);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void BM_FloatOpenCV(benchmark::State &state) {
    auto src_v = random_floats(static_cast<size_t>(kFlSw) * kFlSh);
    const cv::Mat src(kFlSh, kFlSw, CV_32F, src_v.data());
    cv::Mat dst(kFlDh, kFlDw, CV_32F);
    for (auto _ : state) {
        cv::resize(src, dst, cv::Size(kFlDw, kFlDh), 0, 0, cv::INTER_LINEAR);
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

std::vector<Row> register_all() {
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
    benchmark::RegisterBenchmark("float 640x640 -> 320x320 /ours", BM_FloatOurs);
    benchmark::RegisterBenchmark("float 640x640 -> 320x320 /opencv", BM_FloatOpenCV);
    rows.push_back({"resize_bilinear_float_c1 640x640 -> 320x320", "float 640x640 -> 320x320 /ours",
                    "float 640x640 -> 320x320 /opencv", "", "cv::resize CV_32F INTER_LINEAR"});
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

// Console output as usual, and the CPU time (microseconds) of every run kept;
// with repetitions, the table shows the median of the repetitions.
class Collector : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
            const double us = r.GetAdjustedCPUTime() *
                              benchmark::GetTimeUnitMultiplier(benchmark::kMicrosecond) /
                              benchmark::GetTimeUnitMultiplier(r.time_unit);
            samples[r.run_name.function_name].push_back(us);
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> medians() const {
        std::map<std::string, double> out;
        for (const auto &kv : samples) {
            std::vector<double> v = kv.second;
            std::sort(v.begin(), v.end());
            const size_t n = v.size();
            out[kv.first] = n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
        }
        return out;
    }
    std::map<std::string, std::vector<double>> samples;
};

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
    const std::vector<Row> rows = register_all();
    benchmark::Initialize(&argc, argv);
    Collector collector;
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
    std::printf("\nOpenCV %s, threads %d\n", CV_VERSION, cv::getNumThreads());
    benchmark::Shutdown();
    return 0;
}
