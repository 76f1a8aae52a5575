// qevo_virtual_pan: the view of a camera that pans and tilts over a
// MOTChallenge sequence (virtual_pan.h).
//
//   qevo_virtual_pan IN OUT [--view F] [--speed PX] [--resolution D]
//                    [--azimuth A] [--pitch P] [--unshifted]
//
// IN is a sequence folder (with seqinfo.ini) or a folder of them; OUT gets
// the same layout.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "virtual_pan.h"

int main(int argc, char **argv) {
    namespace fs = std::filesystem;
    pipeline::PanConfig cfg;
    std::string in, out;
    CLI::App app{
        "Writes what a camera on a pan/tilt servo sees of a MOTChallenge sequence: a window\n"
        "of each frame moving along a smooth servo trajectory, the boxes moved into it and\n"
        "kept when at least half visible, and the servo angles per frame (servo.txt).",
        "qevo_virtual_pan"};
    app.add_option("IN", in, "sequence folder (SEQ/seqinfo.ini) or a folder of them")->required();
    app.add_option("OUT", out, "output folder")->required();
    app.add_option("--view", cfg.view, "view side as a fraction of the frame side")
        ->check(CLI::Range(0.05, 1.0))
        ->capture_default_str();
    app.add_option("--speed", cfg.speed, "fastest horizontal step, pixels per frame")
        ->check(CLI::Range(0.0, 10000.0))
        ->capture_default_str();
    app.add_option("--resolution", cfg.resolution, "degrees per pixel")
        ->check(CLI::Range(1e-6, 10.0))
        ->capture_default_str();
    app.add_option("--azimuth", cfg.azimuth0, "azimuth at offset 0, degrees")
        ->check(CLI::Range(-360.0, 720.0))
        ->capture_default_str();
    app.add_option("--pitch", cfg.pitch0, "pitch at offset 0, degrees")
        ->check(CLI::Range(-90.0, 90.0))
        ->capture_default_str();
    app.add_flag("--unshifted", cfg.unshifted,
                 "the same rows in the frame's coordinates, no servo file (the yardstick)");
    CLI11_PARSE(app, argc, argv);

    std::vector<std::pair<std::string, std::string>> jobs;
    std::error_code ec;
    if (fs::exists(fs::path(in) / "seqinfo.ini")) {
        jobs.emplace_back(in, out);
    } else {
        for (fs::directory_iterator it(in, ec), end; !ec && it != end; it.increment(ec))
            if (it->is_directory() && fs::exists(it->path() / "seqinfo.ini"))
                jobs.emplace_back(it->path().string(), out + "/" + it->path().filename().string());
        std::sort(jobs.begin(), jobs.end());
    }
    if (jobs.empty()) {
        std::fprintf(stderr, "qevo_virtual_pan: no sequence (seqinfo.ini) in '%s'\n", in.c_str());
        return 1;
    }
    for (const auto &job : jobs) {
        std::string error;
        if (!pipeline::virtual_pan(job.first, job.second, cfg, error)) {
            std::fprintf(stderr, "qevo_virtual_pan: %s\n", error.c_str());
            return 1;
        }
        std::printf("%s -> %s\n", job.first.c_str(), job.second.c_str());
    }
    return 0;
}
