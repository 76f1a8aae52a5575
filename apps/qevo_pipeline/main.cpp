// qevo_pipeline: runs the library's frame path on the built-in scene or on
// the user's recordings and writes tracks, pictures and a summary.
#include <cstdio>
#include <exception>
#include <string>

#include "app.h"
#include "cli.h"

int main(int argc, char **argv) {
    pipeline::Options opt;
    std::string error;
    if (!pipeline::parse_cli(argc, argv, opt, error)) {
        std::fprintf(stderr, "qevo_pipeline: %s\n", error.c_str());
        return 2;
    }
    if (opt.help) {
        std::fputs(pipeline::usage_text().c_str(), stdout);
        return 0;
    }
    try {
        return pipeline::run_program(opt);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "qevo_pipeline: %s\n", e.what());
        return 1;
    }
}
