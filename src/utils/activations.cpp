// Score activations and box squaring.
#include <climits>
#include <cmath>
#include <vector>

#include "utils.h"

namespace {

// Truncates toward zero, saturating outside the int range (NaN gives 0).
int truncate_to_int(float v) {
    if (!(v == v)) return 0;
    if (v >= 2147483648.0f) return INT_MAX;
    if (v <= -2147483648.0f) return INT_MIN;
    return static_cast<int>(v);
}

}  // namespace

namespace KIVEX {

extern "C" {

float sigmoid(float x) { return 1.0f / (std::exp(-x) + 1.0f); }

std::vector<float> softmax(std::vector<float> scores) {
    std::vector<float> newScores;
    newScores.reserve(scores.size());
    float total = 0.0f;
    for (const float s : scores) {
        const float ss = std::exp(s);
        total += ss;
        newScores.push_back(ss);
    }
    for (float &v : newScores) v = v / total;
    return newScores;
}

void makeRect(int &x1, int &y1, int &x2, int &y2, int srcW, int srcH) {
    // 64-bit intermediates: identical to int arithmetic wherever that does
    // not overflow.
    const long long ix1 = x1, iy1 = y1, ix2 = x2, iy2 = y2;
    const long long width = ix2 - ix1;
    const long long height = iy2 - iy1;
    const long long max_side = width < height ? height : width;
    const long long cx = static_cast<long long>(static_cast<double>(ix1 + ix2) * 0.5);
    const long long cy = static_cast<long long>(static_cast<double>(iy1 + iy2) * 0.5);

    const float half = static_cast<float>(max_side) * 0.5f;
    const float fcx = static_cast<float>(cx);
    const float fcy = static_cast<float>(cy);
    const float right = static_cast<float>(static_cast<long long>(srcW) - 1);
    const float bottom = static_cast<float>(static_cast<long long>(srcH) - 1);

    const float nx1 = fcx - half;
    const float ny1 = fcy - half;
    const float nx2 = fcx + half;
    const float ny2 = fcy + half;
    x1 = truncate_to_int(0.0f < nx1 ? nx1 : 0.0f);
    y1 = truncate_to_int(0.0f < ny1 ? ny1 : 0.0f);
    x2 = truncate_to_int(nx2 < right ? nx2 : right);
    y2 = truncate_to_int(ny2 < bottom ? ny2 : bottom);
}

}  // extern "C"

}  // namespace KIVEX
