// The frame path as a camera feeds it: every case of the frame path against
// the peer a user would otherwise call, cold and warm, next to the memory
// floor measured in the same run.
//
//   cold: a set of inputs and outputs per call, rotating over at least 16
//         sets and at least four times the last-level cache, so that no byte
//         a call reads or writes is in a cache when it starts (as a frame
//         written by DMA); every set is touched once before timing, so no
//         page is faulted in while timed;
//   warm: the same call on one set, over and over.
// Time per call: the mean over the 48 calls of a run, then the median over
// the repetitions (wall time, one thread).
//
// The floor of a case is the bytes it must read (only the source rows and
// planes the output needs, whole cache lines) divided by this machine's
// streaming read rate, plus the bytes it writes divided by its
// non-temporal write rate, both measured here on 256 MB buffers.
#include <benchmark/benchmark.h>
#include <immintrin.h>
#include <libyuv/convert_argb.h>
#include <libyuv/scale.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "collector.h"
#include "imageMat.h"
#include "mat_pixel_resize.h"
#include "preprocess.h"
#include "preprocess_cases.h"
#include "utils.h"

namespace {

using Call = std::function<void(size_t set)>;

// A case: our call and the peer's on buffer set `set`, and the bytes the
// operation must move.
struct Calls {
    Call ours, peer;
};
struct Case {
    std::string name, peer_name;
    size_t set_bytes;    // inputs and outputs of one set
    double read_bytes;   // what the operation must read
    double write_bytes;  // what it writes
    std::function<Calls(size_t sets)> make;
};

constexpr size_t kLine = 64;

size_t last_level_cache() {
    const long l3 = sysconf(_SC_LEVEL3_CACHE_SIZE);
    return l3 > 0 ? static_cast<size_t>(l3) : 32u << 20;
}

size_t cold_sets(size_t set_bytes) {
    const size_t need = 4 * last_level_cache();
    return std::max<size_t>(16, (need + set_bytes - 1) / set_bytes);
}

// `sets` buffers of n bytes each, every byte written (pages faulted in):
// a fast generator, seeded per buffer. Shared, so that the calls of a case
// (copied into std::function) keep them alive.
std::shared_ptr<std::vector<std::vector<unsigned char>>> buffers(size_t sets, size_t n,
                                                                 unsigned seed) {
    auto out = std::make_shared<std::vector<std::vector<unsigned char>>>(sets);
    uint64_t x = 0x9E3779B97F4A7C15ull * (seed + 1);
    for (auto &b : *out) {
        b.resize(n);
        for (size_t i = 0; i + 8 <= n; i += 8) {
            x ^= x << 13, x ^= x >> 7, x ^= x << 17;
            std::memcpy(b.data() + i, &x, 8);
        }
    }
    return out;
}

std::shared_ptr<std::vector<std::vector<float>>> float_buffers(size_t sets, size_t n,
                                                               unsigned seed) {
    auto out = std::make_shared<std::vector<std::vector<float>>>(sets);
    uint32_t x = 2463534242u + seed;
    for (auto &b : *out) {
        b.resize(n);
        for (float &v : b) {
            x ^= x << 13, x ^= x >> 17, x ^= x << 5;
            v = static_cast<float>(x >> 8) / 16777216.0f - 0.5f;
        }
    }
    return out;
}

// Cache lines of the source rows a bilinear resize reads: rows sy and sy + 1
// of every output row, whole.
double resize_rows_bytes(int sh, int dh, double row_bytes) {
    std::vector<char> used(static_cast<size_t>(sh), 0);
    const double scale = static_cast<double>(sh) / dh;
    for (int d = 0; d < dh; ++d) {
        int s = static_cast<int>(std::floor((d + 0.5) * scale - 0.5));
        s = std::max(0, std::min(sh - 2, s));
        used[s] = used[s + 1] = 1;
    }
    double rows = 0;
    for (char u : used) rows += u;
    return rows * std::ceil(row_bytes / kLine) * kLine;
}

using Packed = void (*)(const unsigned char *, int, int, unsigned char *, int, int);

Case resize_case(int n, int sw, int sh, int dw, int dh) {
    static const Packed kernels[4] = {resize_bilinear_c1, resize_bilinear_c2, resize_bilinear_c3,
                                      resize_bilinear_c4};
    char name[96];
    std::snprintf(name, sizeof name, "resize_bilinear_c%d %dx%d -> %dx%d", n, sw, sh, dw, dh);
    const size_t in = static_cast<size_t>(sw) * sh * n, out = static_cast<size_t>(dw) * dh * n;
    return {name,
            "cv::resize INTER_LINEAR",
            in + out,
            resize_rows_bytes(sh, dh, sw * n),
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 1);
                auto dst = buffers(sets, out, 2);
                const Packed k = kernels[n - 1];
                return Calls{
                    [=](size_t i) { k((*src)[i].data(), sw, sh, (*dst)[i].data(), dw, dh); },
                    [=](size_t i) {
                        const cv::Mat s(sh, sw, CV_8UC(n), (*src)[i].data());
                        cv::Mat d(dh, dw, CV_8UC(n), (*dst)[i].data());
                        cv::resize(s, d, d.size(), 0, 0, cv::INTER_LINEAR);
                    }};
            }};
}

Case nv12_resize_case(int sw, int sh, int dw, int dh) {
    char name[96];
    std::snprintf(name, sizeof name, "resize_bilinear_yuv420sp NV12 %dx%d -> %dx%d", sw, sh, dw,
                  dh);
    const size_t in = static_cast<size_t>(sw) * sh * 3 / 2,
                 out = static_cast<size_t>(dw) * dh * 3 / 2;
    return {name,
            "libyuv::NV12Scale bilinear",
            in + out,
            resize_rows_bytes(sh, dh, sw) + resize_rows_bytes(sh / 2, dh / 2, sw),
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 3);
                auto dst = buffers(sets, out, 4);
                return Calls{[=](size_t i) {
                                 resize_bilinear_yuv420sp((*src)[i].data(), sw, sh,
                                                          (*dst)[i].data(), dw, dh);
                             },
                             [=](size_t i) {
                                 const uint8_t *sy = (*src)[i].data();
                                 uint8_t *dy = (*dst)[i].data();
                                 libyuv::NV12Scale(sy, sw, sy + sw * sh, sw, sw, sh, dy, dw,
                                                   dy + dw * dh, dw, dw, dh,
                                                   libyuv::kFilterBilinear);
                             }};
            }};
}

Case rgb_case(int w, int h) {
    char name[64];
    std::snprintf(name, sizeof name, "nv12_to_rgb %dx%d", w, h);
    const size_t in = static_cast<size_t>(w) * h * 3 / 2, out = static_cast<size_t>(w) * h * 3;
    return {name,
            "libyuv::NV12ToRGB24",
            in + out,
            static_cast<double>(in),
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 5);
                auto dst = buffers(sets, out, 6);
                return Calls{
                    [=](size_t i) { qevo::nv12_to_rgb((*src)[i].data(), w, h, (*dst)[i].data()); },
                    [=](size_t i) {
                        const uint8_t *sy = (*src)[i].data();
                        libyuv::NV12ToRGB24(sy, w, sy + w * h, w, (*dst)[i].data(), w * 3, w, h);
                    }};
            }};
}

Case tensor_case(const qevo_bench::InputCase &c) {
    const size_t in = static_cast<size_t>(c.sw) * c.sh * 3 / 2;
    const size_t out = qevo_bench::output_bytes(c);
    const int th = qevo_bench::content_height(c);
    return {std::string("nv12_to_tensor ") + c.name,
            "libyuv NV12Scale + NV12ToRGB24 + layout",
            in + out,
            resize_rows_bytes(c.sh, th, c.sw) + resize_rows_bytes(c.sh / 2, th / 2, c.sw),
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 7);
                auto dst = buffers(sets, out + 16, 8);
                auto ours = std::make_shared<qevo_bench::OursInput>(c, (*src)[0].data());
                auto chain = std::make_shared<qevo_bench::LibyuvChain>(c, (*src)[0].data());
                return Calls{[=](size_t i) {
                                 qevo::Nv12Frame f = ours->frame;
                                 f.y = (*src)[i].data();
                                 f.uv = f.y + static_cast<size_t>(c.sw) * c.sh;
                                 void *d = (*dst)[i].data();
                                 size_t room = (*dst)[i].size();
                                 std::align(16, out, d, room);
                                 qevo::nv12_to_tensor(f, ours->params, d, out);
                             },
                             [=](size_t i) {
                                 chain->src = (*src)[i].data();
                                 chain->run();
                             }};
            }};
}

Case crop_case() {
    const int sw = 1920, sh = 1080, x = 320, y = 180, w = 1280, h = 720;
    const size_t in = static_cast<size_t>(sw) * sh * 3, out = static_cast<size_t>(w) * h * 3;
    return {"crop_img 1920x1080x3 -> 1280x720",
            "ROI copyTo",
            in + out,
            static_cast<double>(h) * std::ceil(w * 3.0 / kLine + 1) * kLine,
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 9);
                auto dst = buffers(sets, out, 10);
                return Calls{[=](size_t i) {
                                 KIVEX::crop_img((*src)[i].data(), sw, sh, 3, x, y, x + w, y + h,
                                                 (*dst)[i].data());
                             },
                             [=](size_t i) {
                                 const cv::Mat s(sh, sw, CV_8UC3, (*src)[i].data());
                                 cv::Mat d(h, w, CV_8UC3, (*dst)[i].data());
                                 s(cv::Rect(x, y, w, h)).copyTo(d);
                             }};
            }};
}

Case crop_yuv_case() {
    const int sw = 1920, sh = 1080, x = 320, y = 180, w = 1280, h = 720;
    const size_t in = static_cast<size_t>(sw) * sh * 3 / 2,
                 out = static_cast<size_t>(w) * h * 3 / 2;
    return {"crop_yuv NV12 1920x1080 -> 1280x720",
            "ROI copyTo of both planes",
            in + out,
            1.5 * h * std::ceil(w / double(kLine) + 1) * kLine,
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 11);
                auto dst = buffers(sets, out, 12);
                return Calls{[=](size_t i) {
                                 KIVEX::crop_yuv((*src)[i].data(), sw, sh, x, y, x + w, y + h,
                                                 (*dst)[i].data());
                             },
                             [=](size_t i) {
                                 unsigned char *s = (*src)[i].data(), *d = (*dst)[i].data();
                                 const cv::Mat sy(sh, sw, CV_8UC1, s),
                                     suv(sh / 2, sw, CV_8UC1, s + sw * sh);
                                 cv::Mat dy(h, w, CV_8UC1, d), duv(h / 2, w, CV_8UC1, d + w * h);
                                 sy(cv::Rect(x, y, w, h)).copyTo(dy);
                                 suv(cv::Rect(x, y / 2, w, h / 2)).copyTo(duv);
                             }};
            }};
}

Case pad_case() {
    const int w = 640, h = 360, top = 140, bot = 140;
    const size_t in = static_cast<size_t>(w) * h * 3,
                 out = static_cast<size_t>(w) * (h + top + bot) * 3;
    return {"pad_img 640x360x3 -> 640x640",
            "cv::copyMakeBorder",
            in + out,
            static_cast<double>(in),
            static_cast<double>(out),
            [=](size_t sets) {
                auto src = buffers(sets, in, 13);
                auto dst = buffers(sets, out, 14);
                const std::vector<int> values = {114, 114, 114};
                return Calls{[=](size_t i) {
                                 QEVO::ImgMat img;
                                 img.data = (*src)[i].data();
                                 img.width = w, img.height = h, img.depth = 3;
                                 KIVEX::pad_img(img, 0, 0, top, bot, (*dst)[i].data(), values);
                             },
                             [=](size_t i) {
                                 const cv::Mat s(h, w, CV_8UC3, (*src)[i].data());
                                 cv::Mat d(h + top + bot, w, CV_8UC3, (*dst)[i].data());
                                 cv::copyMakeBorder(s, d, top, bot, 0, 0, cv::BORDER_CONSTANT,
                                                    cv::Scalar(114, 114, 114));
                             }};
            }};
}

Case planes_case() {
    const int w = 640, h = 640;
    const size_t n = static_cast<size_t>(w) * h * 3;
    return {"nhwc2nchw 640x640x3, rbswap",
            "cv::split",
            2 * n,
            static_cast<double>(n),
            static_cast<double>(n),
            [=](size_t sets) {
                auto src = buffers(sets, n, 15);
                auto dst = buffers(sets, n, 16);
                return Calls{
                    [=](size_t i) {
                        KIVEX::nhwc2nchw(reinterpret_cast<char *>((*src)[i].data()),
                                         reinterpret_cast<char *>((*dst)[i].data()), w, h, 3, true);
                    },
                    [=](size_t i) {
                        const cv::Mat s(h, w, CV_8UC3, (*src)[i].data());
                        unsigned char *d = (*dst)[i].data();
                        const size_t plane = static_cast<size_t>(w) * h;
                        cv::Mat p[3] = {cv::Mat(h, w, CV_8U, d + 2 * plane),
                                        cv::Mat(h, w, CV_8U, d + plane), cv::Mat(h, w, CV_8U, d)};
                        cv::split(s, p);
                    }};
            }};
}

Case float_case(int sw, int sh, int dw, int dh) {
    char name[96];
    std::snprintf(name, sizeof name, "resize_bilinear_float_c1 %dx%d -> %dx%d", sw, sh, dw, dh);
    const size_t in = static_cast<size_t>(sw) * sh, out = static_cast<size_t>(dw) * dh;
    return {name,
            "cv::resize CV_32F INTER_LINEAR",
            4 * (in + out),
            resize_rows_bytes(sh, dh, 4.0 * sw),
            4.0 * out,
            [=](size_t sets) {
                auto src = float_buffers(sets, in, 17);
                auto dst = float_buffers(sets, out, 18);
                return Calls{[=](size_t i) {
                                 resize_bilinear_float_c1((*src)[i].data(), sw, sh,
                                                          (*dst)[i].data(), dw, dh);
                             },
                             [=](size_t i) {
                                 const cv::Mat s(sh, sw, CV_32F, (*src)[i].data());
                                 cv::Mat d(dh, dw, CV_32F, (*dst)[i].data());
                                 cv::resize(s, d, d.size(), 0, 0, cv::INTER_LINEAR);
                             }};
            }};
}

// A network input's planes resized: the tensor borrows the source and
// allocates its result, as TensorMat::resize does.
Case tensor_resize_case() {
    const int c = 3, s = 640, d = 320;
    const size_t in = static_cast<size_t>(c) * s * s, out = static_cast<size_t>(c) * d * d;
    return {"TensorMat::resize bilinear 1x3x640x640 -> 320x320",
            "cv::resize CV_32F per plane",
            4 * (in + out),
            c * resize_rows_bytes(s, d, 4.0 * s),
            4.0 * out,
            [=](size_t sets) {
                auto src = float_buffers(sets, in, 19);
                auto dst = float_buffers(sets, out, 20);
                return Calls{
                    [=](size_t i) {
                        TensorMat t(1, c, s, s, QEVO::CHW, (*src)[i].data(), QEVO::AI_FLOAT, false);
                        t.resize(d, d, true);
                        benchmark::DoNotOptimize(t.data);
                    },
                    [=](size_t i) {
                        for (int p = 0; p < c; ++p) {
                            const cv::Mat a(s, s, CV_32F,
                                            (*src)[i].data() + static_cast<size_t>(p) * s * s);
                            cv::Mat b(d, d, CV_32F,
                                      (*dst)[i].data() + static_cast<size_t>(p) * d * d);
                            cv::resize(a, b, b.size(), 0, 0, cv::INTER_LINEAR);
                        }
                    }};
            }};
}

// Two network inputs joined along the depth: 1x3x640x640 floats each into
// 1x6x640x640, against two block copies.
Case concat_case() {
    const int s = 640;
    const size_t one = static_cast<size_t>(3) * s * s;
    return {"concat_depth 2 x 1x3x640x640 -> 1x6x640x640",
            "memcpy of both blocks",
            4 * 4 * one,
            4.0 * 2 * one,
            4.0 * 2 * one,
            [=](size_t sets) {
                auto a = float_buffers(sets, one, 21);
                auto b = float_buffers(sets, one, 22);
                auto dst = float_buffers(sets, 2 * one, 23);
                return Calls{
                    [=](size_t i) {
                        TensorMat ta(1, 3, s, s, QEVO::CHW, (*a)[i].data(), QEVO::AI_FLOAT, false);
                        TensorMat tb(1, 3, s, s, QEVO::CHW, (*b)[i].data(), QEVO::AI_FLOAT, false);
                        TensorMat out(1, 6, s, s, QEVO::CHW, (*dst)[i].data(), QEVO::AI_FLOAT,
                                      false);
                        concat_depth({&ta, &tb}, &out);
                    },
                    [=](size_t i) {
                        std::memcpy((*dst)[i].data(), (*a)[i].data(), 4 * one);
                        std::memcpy((*dst)[i].data() + one, (*b)[i].data(), 4 * one);
                    }};
            }};
}

std::vector<Case> all_cases() {
    std::vector<Case> cases = {resize_case(3, 1920, 1080, 640, 360),
                               resize_case(3, 640, 360, 1920, 1080),
                               resize_case(1, 1920, 1080, 1280, 720),
                               resize_case(4, 1920, 1080, 960, 540),
                               resize_case(3, 1280, 720, 416, 416),
                               nv12_resize_case(1920, 1080, 1280, 720),
                               rgb_case(1920, 1080)};
    for (const auto &c : qevo_bench::kInputCases) cases.push_back(tensor_case(c));
    for (Case c :
         {crop_case(), crop_yuv_case(), pad_case(), planes_case(), float_case(640, 640, 320, 320),
          float_case(640, 640, 1280, 1280), tensor_resize_case(), concat_case()})
        cases.push_back(c);
    return cases;
}

// ---------------------------------------------------------------- timing

// Runs `call` on sets 0, 1, 2 ... (cold) or on set 0 (warm), one call per
// iteration; the time of each call is its own.
void BM_Case(benchmark::State &state, const Case *c, bool peer, bool cold) {
    const size_t sets = cold ? cold_sets(c->set_bytes) : 1;
    const Calls calls = c->make(sets);
    const Call &call = peer ? calls.peer : calls.ours;
    for (size_t i = 0; i < std::min<size_t>(sets, 2); ++i) call(i);  // code and tables warm
    size_t next = cold ? 2 % sets : 0;
    for (auto _ : state) {
        call(next);
        benchmark::ClobberMemory();
        if (cold) next = (next + 1) % sets;
    }
    state.counters["sets"] = static_cast<double>(sets);
}

constexpr size_t kFloorBytes = 256u << 20;

// Streaming read: 32-byte loads summed, so that nothing is skipped. (Only
// these two rate probes use AVX2; the peers' chains are built for the
// baseline, as the rest of the benchmarks.)
__attribute__((target("avx2"))) void BM_ReadRate(benchmark::State &state) {
    auto buf = buffers(1, kFloorBytes, 30);
    const __m256i *p = reinterpret_cast<const __m256i *>((*buf)[0].data());
    for (auto _ : state) {
        __m256i s0 = _mm256_setzero_si256(), s1 = s0, s2 = s0, s3 = s0;
        for (size_t i = 0; i + 4 <= kFloorBytes / 32; i += 4) {
            s0 = _mm256_add_epi64(s0, _mm256_loadu_si256(p + i));
            s1 = _mm256_add_epi64(s1, _mm256_loadu_si256(p + i + 1));
            s2 = _mm256_add_epi64(s2, _mm256_loadu_si256(p + i + 2));
            s3 = _mm256_add_epi64(s3, _mm256_loadu_si256(p + i + 3));
        }
        __m256i s = _mm256_add_epi64(_mm256_add_epi64(s0, s1), _mm256_add_epi64(s2, s3));
        benchmark::DoNotOptimize(s);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFloorBytes);
}

// Streaming write with non-temporal stores (no read for ownership).
__attribute__((target("avx2"))) void BM_WriteRate(benchmark::State &state) {
    auto buf = buffers(1, kFloorBytes + 32, 31);
    __m256i *p = reinterpret_cast<__m256i *>((reinterpret_cast<uintptr_t>((*buf)[0].data()) + 31) &
                                             ~uintptr_t(31));
    const __m256i v = _mm256_set1_epi8(7);
    for (auto _ : state) {
        for (size_t i = 0; i < kFloorBytes / 32; ++i) _mm256_stream_si256(p + i, v);
        _mm_sfence();
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFloorBytes);
}

}  // namespace

int main(int argc, char **argv) {
    cv::setNumThreads(1);
    static const std::vector<Case> cases = all_cases();
    benchmark::RegisterBenchmark("floor/read", BM_ReadRate)->Iterations(8)->UseRealTime();
    benchmark::RegisterBenchmark("floor/write-nt", BM_WriteRate)->Iterations(8)->UseRealTime();
    for (const Case &c : cases)
        for (bool peer : {false, true})
            for (bool cold : {true, false})
                benchmark::RegisterBenchmark(
                    (c.name + (peer ? " /peer" : " /ours") + (cold ? " cold" : " warm")).c_str(),
                    BM_Case, &c, peer, cold)
                    ->Iterations(48)
                    ->Unit(benchmark::kMicrosecond)
                    ->UseRealTime();
    benchmark::Initialize(&argc, argv);
    qevo_bench::Collector collector(/*real_time=*/true);
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::fflush(stdout);

    const auto t = collector.medians();
    if (!t.count("floor/read") || !t.count("floor/write-nt")) return 0;
    const double read_gbs = kFloorBytes / (t.at("floor/read") * 1e3);  // bytes per ns = GB/s
    const double write_gbs = kFloorBytes / (t.at("floor/write-nt") * 1e3);
    std::printf("\nstreaming rates: read %.1f GB/s, non-temporal write %.1f GB/s\n", read_gbs,
                write_gbs);
    std::printf(
        "\n| case | peer | ours cold (us) | peer cold (us) | cold ratio | ours warm (us) | "
        "peer warm (us) | warm ratio | floor (us) | ours cold / floor |\n");
    std::printf("|---|---|---:|---:|---:|---:|---:|---:|---:|---:|\n");
    for (const Case &c : cases) {
        const std::string oc = c.name + " /ours cold", pc = c.name + " /peer cold",
                          ow = c.name + " /ours warm", pw = c.name + " /peer warm";
        if (!t.count(oc) || !t.count(pc) || !t.count(ow) || !t.count(pw)) continue;
        const double floor_us = (c.read_bytes / read_gbs + c.write_bytes / write_gbs) / 1e3;
        std::printf("| %s | %s | %.1f | %.1f | %.2f | %.1f | %.1f | %.2f | %.1f | %.2f |\n",
                    c.name.c_str(), c.peer_name.c_str(), t.at(oc), t.at(pc), t.at(pc) / t.at(oc),
                    t.at(ow), t.at(pw), t.at(pw) / t.at(ow), floor_us, t.at(oc) / floor_us);
    }
    benchmark::Shutdown();
    return 0;
}
