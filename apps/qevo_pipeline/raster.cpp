#include "raster.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>

#include "mat_pixel_resize.h"

namespace pipeline {

RgbImage::RgbImage(int w, int h, Rgb fill) : width(w), height(h) {
    pixels.resize(static_cast<size_t>(w) * h * 3);
    for (size_t i = 0; i < pixels.size(); i += 3) {
        pixels[i] = fill.r;
        pixels[i + 1] = fill.g;
        pixels[i + 2] = fill.b;
    }
}

namespace {

uint8_t clamp8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

struct Glyph {
    char c;
    uint8_t rows[7];
};

const Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'#', {0x0A, 0x0A, 0x1F, 0x0A, 0x1F, 0x0A, 0x0A}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {'/', {0x01, 0x01, 0x02, 0x04, 0x08, 0x10, 0x10}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
};

const uint8_t *glyph(char c) {
    for (const Glyph &g : kFont)
        if (g.c == c) return g.rows;
    return nullptr;
}

}  // namespace

RgbImage nv12_to_rgb(const uint8_t *nv12, int width, int height) {
    RgbImage out(width, height);
    const int cw = width / 2, ch = height / 2;
    const uint8_t *uv = nv12 + static_cast<size_t>(width) * height;
    for (int y = 0; y < height; ++y) {
        const int cy = ch > 0 ? std::min(y / 2, ch - 1) : -1;
        for (int x = 0; x < width; ++x) {
            int u = 128, v = 128;
            if (cy >= 0 && cw > 0) {
                const int cx = std::min(x / 2, cw - 1);
                const uint8_t *p = uv + static_cast<size_t>(cy) * width + 2 * cx;
                u = p[0];
                v = p[1];
            }
            const int c = 298 * (nv12[static_cast<size_t>(y) * width + x] - 16);
            const int d = u - 128, e = v - 128;
            uint8_t *o = out.at(x, y);
            o[0] = clamp8((c + 409 * e + 128) >> 8);
            o[1] = clamp8((c - 100 * d - 208 * e + 128) >> 8);
            o[2] = clamp8((c + 516 * d + 128) >> 8);
        }
    }
    return out;
}

void fill_rect(RgbImage &img, int x1, int y1, int x2, int y2, Rgb color) {
    x1 = std::max(x1, 0);
    y1 = std::max(y1, 0);
    x2 = std::min(x2, img.width - 1);
    y2 = std::min(y2, img.height - 1);
    for (int y = y1; y <= y2; ++y)
        for (int x = x1; x <= x2; ++x) {
            uint8_t *p = img.at(x, y);
            p[0] = color.r;
            p[1] = color.g;
            p[2] = color.b;
        }
}

void draw_box(RgbImage &img, int x1, int y1, int x2, int y2, Rgb color, int thickness) {
    if (x2 < x1 || y2 < y1) return;
    for (int t = 0; t < thickness; ++t) {
        const int a = x1 + t, b = y1 + t, c = x2 - t, d = y2 - t;
        if (c < a || d < b) break;
        fill_rect(img, a, b, c, b, color);
        fill_rect(img, a, d, c, d, color);
        fill_rect(img, a, b, a, d, color);
        fill_rect(img, c, b, c, d, color);
    }
}

int text_width(const std::string &text, int scale) {
    return text.empty() ? 0 : static_cast<int>(text.size()) * 6 * scale - scale;
}

int draw_text(RgbImage &img, int x, int y, const std::string &text, Rgb color, int scale) {
    int cx = x;
    for (char c : text) {
        const uint8_t *rows = glyph(c);
        if (rows != nullptr)
            for (int r = 0; r < 7; ++r)
                for (int col = 0; col < 5; ++col)
                    if (rows[r] & (0x10 >> col))
                        fill_rect(img, cx + col * scale, y + r * scale,
                                  cx + col * scale + scale - 1, y + r * scale + scale - 1, color);
        cx += 6 * scale;
    }
    return text_width(text, scale);
}

void draw_label(RgbImage &img, int x, int y, const std::string &text, Rgb background, int scale) {
    const int w = text_width(text, scale) + 2 * scale;
    const int h = 7 * scale + 2 * scale;
    int top = y - h >= 0 ? y - h : y;
    fill_rect(img, x, top, x + w - 1, top + h - 1, background);
    const int luma = (background.r * 77 + background.g * 150 + background.b * 29) >> 8;
    const Rgb ink = luma > 110 ? Rgb{0, 0, 0} : Rgb{255, 255, 255};
    draw_text(img, x + scale, top + scale, text, ink, scale);
}

RgbImage scaled(const RgbImage &src, int w, int h) {
    RgbImage out(w, h);
    if (src.width >= 2 && src.height >= 2 && w >= 1 && h >= 1)
        resize_bilinear_c3(src.pixels.data(), src.width, src.height, out.pixels.data(), w, h);
    return out;
}

RgbImage contact_sheet(const std::vector<RgbImage> &tiles, int columns, int tile_w, int tile_h,
                       int gap) {
    const int n = static_cast<int>(tiles.size());
    columns = std::max(1, std::min(columns, std::max(n, 1)));
    const int rows = std::max(1, (n + columns - 1) / columns);
    RgbImage sheet(columns * tile_w + (columns + 1) * gap, rows * tile_h + (rows + 1) * gap,
                   Rgb{32, 32, 32});
    for (int i = 0; i < n; ++i) {
        RgbImage t = (tiles[i].width == tile_w && tiles[i].height == tile_h)
                         ? tiles[i]
                         : scaled(tiles[i], tile_w, tile_h);
        const int ox = gap + (i % columns) * (tile_w + gap);
        const int oy = gap + (i / columns) * (tile_h + gap);
        for (int y = 0; y < tile_h; ++y)
            std::copy(t.at(0, y), t.at(0, y) + static_cast<size_t>(tile_w) * 3,
                      sheet.at(ox, oy + y));
    }
    return sheet;
}

namespace {
struct PngFile {
    FILE *fp = nullptr;
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngFile() {
        if (png != nullptr) png_destroy_write_struct(&png, info != nullptr ? &info : nullptr);
        if (fp != nullptr) std::fclose(fp);
    }
};
}  // namespace

bool write_png(const std::string &path, const RgbImage &img, std::string &error) {
    if (img.width <= 0 || img.height <= 0) {
        error = path + ": empty picture";
        return false;
    }
    PngFile f;
    f.fp = std::fopen(path.c_str(), "wb");
    if (f.fp == nullptr) {
        error = path + ": cannot create file";
        return false;
    }
    f.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (f.png == nullptr) {
        error = path + ": out of memory";
        return false;
    }
    f.info = png_create_info_struct(f.png);
    if (f.info == nullptr) {
        error = path + ": out of memory";
        return false;
    }
    std::vector<png_bytep> rows(img.height);
    for (int y = 0; y < img.height; ++y)
        rows[y] = const_cast<png_bytep>(img.pixels.data() + static_cast<size_t>(y) * img.width * 3);
    if (setjmp(png_jmpbuf(f.png))) {
        error = path + ": PNG write failed";
        return false;
    }
    png_init_io(f.png, f.fp);
    png_set_compression_level(f.png, 3);
    png_set_IHDR(f.png, f.info, img.width, img.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(f.png, f.info);
    png_write_image(f.png, rows.data());
    png_write_end(f.png, nullptr);
    if (std::fflush(f.fp) != 0 || std::ferror(f.fp)) {
        error = path + ": write error";
        return false;
    }
    return true;
}

}  // namespace pipeline
