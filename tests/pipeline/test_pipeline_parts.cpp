// Built-in scene, pictures and summary writer of the frame-pipeline program.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "json_writer.h"
#include "metrics.h"
#include "raster.h"
#include "scene.h"
#include "support.h"

using namespace pipeline;

TEST(Scene, IsDeterministicAndKeepsBoxesInsideThePicture) {
    SceneConfig cfg;
    cfg.width = 640;
    cfg.height = 360;
    Scene a(cfg), b(cfg);
    for (int f : {1, 50, 137, 300}) {
        std::vector<uint8_t> fa, fb;
        a.render(f, fa);
        b.render(f, fb);
        ASSERT_EQ(fa.size(), 640u * 360u * 3u / 2u);
        EXPECT_EQ(fa, fb) << "frame " << f;
        const auto da = a.detections(f), db = b.detections(f);
        ASSERT_EQ(da.size(), db.size());
        for (size_t i = 0; i < da.size(); ++i) {
            EXPECT_EQ(da[i].x1, db[i].x1);
            EXPECT_EQ(da[i].score, db[i].score);
        }
    }
    for (int f = 1; f <= cfg.frames; ++f) {
        std::set<int> ids;
        for (const MotBox &g : a.ground_truth(f)) {
            EXPECT_TRUE(ids.insert(g.id).second) << "id twice in frame " << f;
            EXPECT_GE(g.x1, 0);
            EXPECT_GE(g.y1, 0);
            EXPECT_LE(g.x2, 640);
            EXPECT_LE(g.y2, 360);
            EXPECT_GE(g.x2 - g.x1, 4);
            EXPECT_GE(g.y2 - g.y1, 4);
        }
        for (const MotBox &d : a.detections(f)) {
            EXPECT_GE(d.x1, 0);
            EXPECT_LE(d.x2, 640);
            EXPECT_LT(d.x1, d.x2);
            EXPECT_LT(d.y1, d.y2);
            EXPECT_GE(d.cls, 0);
            EXPECT_LT(d.cls, a.num_classes());
        }
    }
}

TEST(Scene, HasTheSituationsATrackerMustHandle) {
    SceneConfig cfg;
    Scene s(cfg);
    int duplicates = 0, false_positives = 0, missed = 0, crossings = 0;
    std::map<int, std::pair<int, int>> span;  // id -> first, last frame seen
    for (int f = 1; f <= cfg.frames; ++f) {
        const auto gt = s.ground_truth(f);
        const auto det = s.detections(f);
        for (const MotBox &g : gt) {
            auto it = span.find(g.id);
            if (it == span.end())
                span[g.id] = {f, f};
            else
                it->second.second = f;
            bool found = false;
            for (const MotBox &d : det) found = found || box_iou(g, d) >= 0.5;
            missed += !found;
        }
        for (size_t i = 0; i < gt.size(); ++i)
            for (size_t j = i + 1; j < gt.size(); ++j) crossings += box_iou(gt[i], gt[j]) > 0.2;
        for (size_t i = 0; i < det.size(); ++i) {
            double best = 0;
            for (const MotBox &g : gt) best = std::max(best, box_iou(det[i], g));
            false_positives += best < 0.1;
            for (size_t j = i + 1; j < det.size(); ++j)
                duplicates += det[i].cls == det[j].cls && box_iou(det[i], det[j]) > 0.5;
        }
    }
    EXPECT_GT(duplicates, 50) << "suppression must matter";
    EXPECT_GT(false_positives, 20);
    EXPECT_GT(missed, 10);
    EXPECT_GT(crossings, 5);
    int entering = 0, leaving = 0;
    for (const auto &kv : span) {
        entering += kv.second.first > 1;
        leaving += kv.second.second < cfg.frames;
    }
    EXPECT_GE(span.size(), 6u);
    EXPECT_GE(entering, 2);
    EXPECT_GE(leaving, 2);
    // The servo pans slowly: the azimuth rises by the same small step per frame.
    EXPECT_NEAR(s.servo(2).az - s.servo(1).az, s.servo(300).az - s.servo(299).az, 1e-4);
    EXPECT_GT(s.servo(300).az, s.servo(1).az);
}

TEST(Raster, Nv12ConversionLevelsAndChromaPlacement) {
    // 4 x 4 frame: luma 16 (black) in row 0, 235 (white) in row 1, 128 below;
    // the chroma pair of the top-left 2 x 2 block is strongly red, the
    // others neutral.
    std::vector<uint8_t> f(4 * 4 * 3 / 2, 128);
    for (int x = 0; x < 4; ++x) {
        f[x] = 16;
        f[4 + x] = 235;
    }
    const RgbImage neutral = nv12_to_rgb(f.data(), 4, 4);
    EXPECT_EQ(neutral.pixels[0], 0);
    EXPECT_EQ(neutral.pixels[3 * 4], 255);  // row 1, column 0
    for (int i = 0; i < 16; ++i) {
        const uint8_t *p = &neutral.pixels[3 * i];
        EXPECT_EQ(p[0], p[1]) << i;  // neutral chroma gives grey
        EXPECT_EQ(p[1], p[2]) << i;
    }
    f[16] = 128;  // U of the top-left pair
    f[17] = 240;  // V
    const RgbImage red = nv12_to_rgb(f.data(), 4, 4);
    for (int y = 2; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const size_t i = 3 * (4 * y + x);
            EXPECT_EQ(red.pixels[i], red.pixels[i + 2]) << "untouched block " << x << "," << y;
        }
    const size_t i = 3 * (4 * 1 + 1);  // inside the top-left block, luma 235
    EXPECT_GT(red.pixels[i], red.pixels[i + 1]);
    EXPECT_EQ(red.pixels[3 * (4 * 1 + 2)], red.pixels[3 * (4 * 1 + 2) + 2]) << "next block grey";
}

TEST(Raster, BoxesAndTextAreClippedToThePicture) {
    RgbImage img(8, 8, Rgb{1, 2, 3});
    const std::vector<uint8_t> before = img.pixels;
    // Every edge of this 2-pixel-thick outline lies outside the picture.
    draw_box(img, -5, -5, 10, 10, Rgb{255, 0, 0}, 2);
    EXPECT_EQ(img.pixels, before);
    draw_text(img, -20, 5, "#123", Rgb{9, 9, 9}, 3);
    draw_label(img, 6, 0, "FRAME 1", Rgb{0, 0, 0}, 2);
    fill_rect(img, 7, 7, 100, 100, Rgb{4, 4, 4});
    EXPECT_EQ(img.pixels.size(), before.size());

    RgbImage box(8, 8);
    draw_box(box, 1, 1, 5, 4, Rgb{9, 9, 9}, 1);
    int lit = 0;
    for (size_t i = 0; i < box.pixels.size(); i += 3) lit += box.pixels[i] == 9;
    EXPECT_EQ(lit, 2 * 5 + 2 * 4 - 4);  // outline of a 5 x 4 rectangle
    EXPECT_EQ(box.at(3, 2)[0], 0);      // inside stays
    EXPECT_EQ(text_width("#1", 2), 2 * 6 * 2 - 2);
}

TEST(Raster, PngAndContactSheetReadBack) {
    qevo_test::ScratchDir dir;
    std::vector<RgbImage> tiles;
    for (int k = 0; k < 5; ++k) tiles.emplace_back(6, 4, Rgb{static_cast<uint8_t>(40 * k), 7, 200});
    const RgbImage sheet = contact_sheet(tiles, 3, 6, 4, 1);
    ASSERT_EQ(sheet.width, 3 * 6 + 4 * 1);
    ASSERT_EQ(sheet.height, 2 * 4 + 3 * 1);
    std::string err;
    ASSERT_TRUE(write_png("sheet.png", sheet, err)) << err;

    // Decode with libpng's own reader.
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, "sheet.png"));
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> px(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, px.data(), 0, nullptr));
    ASSERT_EQ(static_cast<int>(image.width), sheet.width);
    ASSERT_EQ(static_cast<int>(image.height), sheet.height);
    auto pixel = [&](int x, int y) { return &px[3 * (static_cast<size_t>(y) * image.width + x)]; };
    // Tile 4 is second row, second column: origin (1 + 7, 1 + 5).
    EXPECT_EQ(pixel(8, 6)[0], 160);
    EXPECT_EQ(pixel(8 + 5, 6 + 3)[2], 200);
    EXPECT_EQ(pixel(0, 0)[0], 32);          // gap colour
    EXPECT_EQ(pixel(1 + 14, 6)[0], 32);     // empty sixth cell
    EXPECT_EQ(pixel(1 + 7 + 7, 1)[0], 80);  // tile 2

    EXPECT_FALSE(write_png("no_such_dir/x.png", sheet, err));
    EXPECT_NE(err.find("no_such_dir/x.png"), std::string::npos);
    EXPECT_FALSE(write_png("empty.png", RgbImage(), err));

    RgbImage half = scaled(tiles[1], 3, 2);
    EXPECT_EQ(half.at(1, 1)[0], 40);  // a flat picture stays flat
}

TEST(JsonWriter, NestsEscapesAndWritesNullForNonFinite) {
    JsonWriter j;
    j.begin_object()
        .value("name", "a \"b\"\n\\c\x01")
        .value("n", 3)
        .value("x", 0.25)
        .value("bad", std::nan(""))
        .value("inf", HUGE_VAL)
        .begin_object("empty")
        .end_object()
        .begin_array("list")
        .value(nullptr, 1)
        .value(nullptr, true)
        .end_array()
        .null("none")
        .end_object();
    EXPECT_EQ(j.str(),
              "{\n"
              "  \"name\": \"a \\\"b\\\"\\n\\\\c\\u0001\",\n"
              "  \"n\": 3,\n"
              "  \"x\": 0.25,\n"
              "  \"bad\": null,\n"
              "  \"inf\": null,\n"
              "  \"empty\": {},\n"
              "  \"list\": [\n"
              "    1,\n"
              "    true\n"
              "  ],\n"
              "  \"none\": null\n"
              "}\n");
}
