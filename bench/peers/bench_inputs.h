// Inputs and path selection shared by the peer benchmarks.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <random>
#include <vector>

// n bytes from a fixed generator: the same seed gives the same bytes.
inline std::vector<unsigned char> random_bytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    for (auto &b : v) b = static_cast<unsigned char>(rng());
    return v;
}

// Sets QEVO_SIMD for the lifetime of the object: nullptr = best available
// path, else a path name such as "scalar".
class ForcePath {
  public:
    explicit ForcePath(const char *path) {
        if (path != nullptr)
            setenv("QEVO_SIMD", path, 1);
        else
            unsetenv("QEVO_SIMD");
    }
    ~ForcePath() { unsetenv("QEVO_SIMD"); }
    ForcePath(const ForcePath &) = delete;
    ForcePath &operator=(const ForcePath &) = delete;
};
