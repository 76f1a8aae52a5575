// Byte shuffles shared by the SSE4.1 and AVX2 colour-conversion rows. Their
// channel registers hold 16 pixels (per 128-bit half) as the 8 even pixels,
// then the 8 odd ones: kShuffles.in_order puts such a register in pixel
// order, and kShuffles.interleave[b][c] places channel c of the 16 pixels
// into 16-byte block b of their 48 interleaved bytes (zero elsewhere).
#ifndef QEVO_YUV_RGB_X86_H
#define QEVO_YUV_RGB_X86_H

namespace qevo_color {
namespace {

struct ShuffleTables {
    alignas(16) signed char in_order[16];
    alignas(16) signed char interleave[3][3][16];
};

// Byte of pixel p (0 .. 15) in a channel register.
constexpr int byte_of(int p) { return p % 2 == 0 ? p / 2 : 8 + p / 2; }

constexpr ShuffleTables make_shuffles() {
    ShuffleTables t{};
    for (int p = 0; p < 16; ++p) t.in_order[p] = static_cast<signed char>(byte_of(p));
    for (int b = 0; b < 3; ++b)
        for (int c = 0; c < 3; ++c)
            for (int j = 0; j < 16; ++j) {
                const int i = 16 * b + j;  // interleaved byte: pixel i / 3, channel i % 3
                t.interleave[b][c][j] = static_cast<signed char>(i % 3 == c ? byte_of(i / 3) : -1);
            }
    return t;
}

constexpr ShuffleTables kShuffles = make_shuffles();

}  // namespace
}  // namespace qevo_color

#endif  // QEVO_YUV_RGB_X86_H
