// RGB pictures for the program's outputs: conversion from NV12, boxes, a
// small bitmap font, thumbnails and PNG files.
#ifndef QEVO_PIPELINE_RASTER_H
#define QEVO_PIPELINE_RASTER_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace pipeline {

struct Rgb {
    uint8_t r = 0, g = 0, b = 0;
};

// Packed 8-bit RGB picture, rows of width x 3 bytes.
struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
    RgbImage() = default;
    RgbImage(int w, int h, Rgb fill = Rgb{});
    uint8_t *at(int x, int y) { return pixels.data() + (static_cast<size_t>(y) * width + x) * 3; }
};

// NV12 (luma plane, then interleaved U,V at half resolution) to RGB with the
// ITU-R BT.601 studio-range matrix in integer arithmetic. Odd widths and
// heights use the chroma of the truncated half size (edge pairs repeated).
RgbImage nv12_to_rgb(const uint8_t *nv12, int width, int height);

// Outline of the box (x1, y1) .. (x2, y2) (right and bottom inclusive),
// `thickness` pixels inward; clipped to the picture.
void draw_box(RgbImage &img, int x1, int y1, int x2, int y2, Rgb color, int thickness);

// Filled rectangle, clipped.
void fill_rect(RgbImage &img, int x1, int y1, int x2, int y2, Rgb color);

// Text in a 5 x 7 font (digits, space, # : . / - and the capitals
// A C D E F I K M R S T; other characters are blank), each font pixel
// drawn as scale x scale. Returns the drawn width in pixels.
int draw_text(RgbImage &img, int x, int y, const std::string &text, Rgb color, int scale);
int text_width(const std::string &text, int scale);

// Label with a filled background at the top-left of a box (above it when
// there is room).
void draw_label(RgbImage &img, int x, int y, const std::string &text, Rgb background, int scale);

// Scales the picture to w x h with the library's 3-channel bilinear kernel.
RgbImage scaled(const RgbImage &src, int w, int h);

// Grid of equally sized tiles (all scaled to tile_w x tile_h), `columns` per
// row, separated by `gap` pixels of dark grey.
RgbImage contact_sheet(const std::vector<RgbImage> &tiles, int columns, int tile_w, int tile_h,
                       int gap);

// Writes an 8-bit RGB PNG. Returns false with a message in `error`.
bool write_png(const std::string &path, const RgbImage &img, std::string &error);

}  // namespace pipeline

#endif
