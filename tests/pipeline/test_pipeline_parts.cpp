// Built-in scene, pictures, summary writer and simulated servo of the
// frame-pipeline program.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "json_writer.h"
#include "metrics.h"
#include "raster.h"
#include "scene.h"
#include "servo_sim.h"
#include "utils.h"
#include "support.h"

using namespace pipeline;

// The built-in scene is reproducible, keeps every box inside the picture, and
// contains the situations a tracker must handle.
TEST(Scene, DeterministicInsideThePictureAndDemanding) {
    const SceneConfig cfg;
    Scene s(cfg), again(cfg);
    for (int f : {1, 137, 300}) {
        std::vector<uint8_t> fa, fb;
        s.render(f, fa);
        again.render(f, fb);
        ASSERT_EQ(fa.size(), static_cast<size_t>(cfg.width) * cfg.height * 3 / 2);
        EXPECT_EQ(fa, fb) << "frame " << f;
        EXPECT_EQ(s.detections(f).size(), again.detections(f).size()) << "frame " << f;
    }
    int duplicates = 0, false_positives = 0, missed = 0, crossings = 0;
    std::map<int, std::pair<int, int>> span;  // id -> first, last frame seen
    for (int f = 1; f <= cfg.frames; ++f) {
        const auto gt = s.ground_truth(f);
        const auto det = s.detections(f);
        for (const MotBox &g : gt) {
            EXPECT_TRUE(g.x1 >= 0 && g.y1 >= 0 && g.x2 <= cfg.width && g.y2 <= cfg.height &&
                        g.x2 - g.x1 >= 4 && g.y2 - g.y1 >= 4)
                << "frame " << f << " object " << g.id;
            auto first = span.emplace(g.id, std::make_pair(f, f));
            EXPECT_TRUE(first.second || first.first->second.second < f) << "id twice in " << f;
            first.first->second.second = f;
            bool found = false;
            for (const MotBox &d : det) found = found || box_iou(g, d) >= 0.5;
            missed += !found;
        }
        for (size_t i = 0; i < gt.size(); ++i)
            for (size_t j = i + 1; j < gt.size(); ++j) crossings += box_iou(gt[i], gt[j]) > 0.2;
        for (size_t i = 0; i < det.size(); ++i) {
            const MotBox &d = det[i];
            EXPECT_TRUE(d.x1 >= 0 && d.x2 <= cfg.width && d.x1 < d.x2 && d.y1 < d.y2 &&
                        d.cls >= 0 && d.cls < s.num_classes())
                << "frame " << f;
            double best = 0;
            for (const MotBox &g : gt) best = std::max(best, box_iou(d, g));
            false_positives += best < 0.1;
            for (size_t j = i + 1; j < det.size(); ++j)
                duplicates += d.cls == det[j].cls && box_iou(d, det[j]) > 0.5;
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
    EXPECT_TRUE(span.size() >= 6 && entering >= 2 && leaving >= 2)
        << span.size() << " objects, " << entering << " entering, " << leaving << " leaving";
    // The servo pans slowly: the azimuth rises by the same small step per frame.
    EXPECT_NEAR(s.servo(2).az - s.servo(1).az, s.servo(300).az - s.servo(299).az, 1e-4);
    EXPECT_GT(s.servo(300).az, s.servo(1).az);
}

TEST(Raster, Nv12ConversionLevelsAndChromaPlacement) {
    // 4 x 4 frame: luma 16 (black) in row 0, 235 (white) in row 1, 128 below;
    // the chroma pair of the top-left 2 x 2 block is strongly red, the
    // others neutral.
    std::vector<uint8_t> f(4 * 4 * 3 / 2, 128);
    std::fill(f.begin(), f.begin() + 4, 16);
    std::fill(f.begin() + 4, f.begin() + 8, 235);
    const RgbImage neutral = nv12_to_rgb(f.data(), 4, 4);
    EXPECT_EQ(neutral.pixels[0], 0);
    EXPECT_EQ(neutral.pixels[3 * 4], 255);  // row 1, column 0
    for (int i = 0; i < 16; ++i) {          // neutral chroma gives grey
        const uint8_t *p = &neutral.pixels[3 * i];
        EXPECT_TRUE(p[0] == p[1] && p[1] == p[2]) << i;
    }
    f[16] = 128;  // U of the top-left pair
    f[17] = 240;  // V
    const RgbImage red = nv12_to_rgb(f.data(), 4, 4);
    for (size_t i = 3 * 8; i < red.pixels.size(); i += 3)  // rows 2 and 3: other blocks
        EXPECT_EQ(red.pixels[i], red.pixels[i + 2]) << "untouched block, pixel " << i / 3;
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
    draw_text(img, -20, 5, "#123", Rgb{9, 9, 9}, 3);  // partly outside: no overrun
    draw_label(img, 6, 0, "FRAME 1", Rgb{0, 0, 0}, 2);
    fill_rect(img, 7, 7, 100, 100, Rgb{4, 4, 4});

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
    ASSERT_TRUE(sheet.width == 3 * 6 + 4 * 1 && sheet.height == 2 * 4 + 3 * 1);
    std::string err;
    ASSERT_TRUE(write_png("sheet.png", sheet, err)) << err;

    // Decode with libpng's own reader.
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, "sheet.png"));
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> px(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, px.data(), 0, nullptr));
    ASSERT_TRUE(int(image.width) == sheet.width && int(image.height) == sheet.height);
    auto pixel = [&](int x, int y) { return &px[3 * (static_cast<size_t>(y) * image.width + x)]; };
    // Tile 4 is second row, second column: origin (1 + 7, 1 + 5).
    // Tile 2 at (15, 1); gap colour at the corner and in the empty sixth cell.
    EXPECT_EQ((std::vector<int>{pixel(8, 6)[0], pixel(13, 9)[2], pixel(15, 1)[0], pixel(0, 0)[0],
                                pixel(15, 6)[0]}),
              (std::vector<int>{160, 200, 80, 32, 32}));

    EXPECT_FALSE(write_png("no_such_dir/x.png", sheet, err));
    EXPECT_NE(err.find("no_such_dir/x.png"), std::string::npos) << err;
    EXPECT_FALSE(write_png("empty.png", RgbImage(), err));

    EXPECT_EQ(scaled(tiles[1], 3, 2).at(1, 1)[0], 40);  // a flat picture stays flat
}

TEST(JsonWriter, NestsEscapesAndWritesNullForNonFinite) {
    JsonWriter j;
    j.begin_object().value("name", "a \"b\"\n\\c\x01").value("n", 3).value("x", 0.25);
    j.value("bad", std::nan("")).value("inf", HUGE_VAL).begin_object("empty").end_object();
    j.begin_array("list").value(nullptr, 1).value(nullptr, true).end_array();
    j.null("none").end_object();
    EXPECT_EQ(j.str(),
              "{\n  \"name\": \"a \\\"b\\\"\\n\\\\c\\u0001\",\n  \"n\": 3,\n  \"x\": 0.25,\n"
              "  \"bad\": null,\n  \"inf\": null,\n  \"empty\": {},\n"
              "  \"list\": [\n    1,\n    true\n  ],\n  \"none\": null\n}\n");
}

// The servo loop as the video run closes it: each frame the target's place in
// the view gives the angles to aim at (servo_calc_Az / servo_calc_Pt), and
// the servo moves toward them at its slew limit. A target walking 3 pixels
// per frame across a 768 x 576 recording settles within a few pixels of the
// view's centre (one frame of lag), the view never steps faster than the
// slew allows, and it stops at the recording's edge while the target goes
// on. Azimuths wrap across 0/360 on the way (centred at 0).
TEST(ServoSim, FollowsATargetWithinTheSlewLimit) {
    ServoConfig cfg;
    cfg.scene_w = 768, cfg.scene_h = 576, cfg.view_w = 460, cfg.view_h = 346;
    cfg.resolution = 0.05, cfg.max_slew = 0.5;
    ServoSim servo(cfg);
    EXPECT_EQ(servo.view_x(), 154);
    EXPECT_EQ(servo.view_y(), 116);  // 115 rounded to even
    EXPECT_FLOAT_EQ(servo.angles().fAz, 0.0f);
    int last_x = servo.view_x(), last_y = servo.view_y();
    bool wrapped = false;
    for (int f = 0; f < 260; ++f) {
        const double x = 150 + 3.0 * f, y = 400 - 1.0 * f;  // the target in the recording
        const QEVO::SyncInfos a = servo.angles();
        wrapped = wrapped || a.fAz > 300;
        const float tx = static_cast<float>(x - servo.view_x());
        const float ty = static_cast<float>(y - servo.view_y());
        if (f > 40 && x < 768 - 230 - 20) {  // settled, and not held by the edge
            EXPECT_NEAR(tx, 230, 5) << f;
            EXPECT_NEAR(ty, 173, 5) << f;
        }
        servo.command(KIVEX::servo_calc_Az(a.fAz, tx, cfg.resolution, 460, 346),
                      KIVEX::servo_calc_Pt(a.fPt, ty, cfg.resolution, 460, 346));
        // 0.5 degrees per frame is 10 pixels; rounding to even adds at most 2.
        EXPECT_LE(std::abs(servo.view_x() - last_x), 12) << f;
        EXPECT_LE(std::abs(servo.view_y() - last_y), 12) << f;
        EXPECT_TRUE(servo.view_x() % 2 == 0 && servo.view_y() % 2 == 0);
        last_x = servo.view_x(), last_y = servo.view_y();
    }
    EXPECT_TRUE(wrapped);                  // it passed below azimuth 0
    EXPECT_EQ(servo.view_x(), 768 - 460);  // held at the right edge
    servo.command(NAN, 0);                 // ignored
    EXPECT_EQ(servo.view_x(), 768 - 460);
}
