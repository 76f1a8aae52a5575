#include "scene.h"

#include <algorithm>
#include <cmath>

namespace pipeline {

uint64_t Rng::next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

double Rng::uniform() { return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0); }

double Rng::uniform(double lo, double hi) { return lo + (hi - lo) * uniform(); }

namespace {
// Sizes by class, as fractions of the picture height: person, car, bike.
const float kClassW[3] = {0.07f, 0.24f, 0.10f};
const float kClassH[3] = {0.18f, 0.12f, 0.10f};
}  // namespace

Scene::Scene(const SceneConfig &cfg) : cfg_(cfg) {
    auto add = [this](int id, int cls, uint8_t y, uint8_t u, uint8_t v,
                      std::vector<Waypoint> path) {
        targets_.push_back(Target{id, cls, kClassW[cls], kClassH[cls], y, u, v, std::move(path)});
    };
    // Walks right, stops, walks on; crosses target 2.
    add(1, 0, 200, 90, 170,
        {{1, 0.10f, 0.62f}, {140, 0.45f, 0.62f}, {190, 0.45f, 0.62f}, {300, 0.80f, 0.60f}});
    // Walks left through target 1 and leaves the scene early.
    add(2, 0, 60, 170, 100, {{1, 0.85f, 0.60f}, {220, 0.15f, 0.63f}});
    // Car driving across and out of the right edge.
    add(3, 1, 180, 160, 160, {{30, -0.10f, 0.35f}, {200, 1.10f, 0.38f}});
    // Parked car.
    add(4, 1, 40, 120, 150, {{1, 0.70f, 0.82f}, {300, 0.70f, 0.82f}});
    // Bike entering from the top, turning left and down.
    add(5, 2, 230, 60, 110, {{80, 0.50f, -0.08f}, {180, 0.50f, 0.45f}, {300, 0.20f, 0.90f}});
    // Walks a little, waits, then disappears into a doorway.
    add(6, 0, 150, 200, 80,
        {{1, 0.30f, 0.25f}, {60, 0.35f, 0.27f}, {90, 0.35f, 0.27f}, {120, 0.36f, 0.27f}});
    // Enters from the right.
    add(7, 0, 110, 100, 200, {{150, 1.08f, 0.52f}, {300, 0.55f, 0.48f}});
    // Bike leaving at the right edge.
    add(8, 2, 90, 200, 190, {{1, 0.90f, 0.18f}, {100, 1.12f, 0.14f}});
}

ServoState Scene::servo(int frame) const {
    ServoState s;
    s.az = static_cast<float>(30.0 + 0.012 * (frame - 1));
    s.pt = static_cast<float>(5.0 + 0.4 * std::sin(2.0 * M_PI * (frame - 1) / 300.0));
    return s;
}

float Scene::pan_pixels(int frame) const {
    return static_cast<float>((servo(frame).az - servo(1).az) / resolution());
}

bool Scene::target_box(const Target &t, int frame, MotBox &box) const {
    if (frame < t.path.front().frame || frame > t.path.back().frame) return false;
    float cx = t.path.front().x, cy = t.path.front().y;
    for (size_t i = 1; i < t.path.size(); ++i) {
        const Waypoint &a = t.path[i - 1], &b = t.path[i];
        if (frame <= b.frame) {
            const float s = b.frame == a.frame ? 1.0f
                                               : static_cast<float>(frame - a.frame) /
                                                     static_cast<float>(b.frame - a.frame);
            cx = a.x + (b.x - a.x) * s;
            cy = a.y + (b.y - a.y) * s;
            break;
        }
    }
    const float W = static_cast<float>(cfg_.width), H = static_cast<float>(cfg_.height);
    const float tilt = static_cast<float>((servo(frame).pt - servo(1).pt) / resolution());
    const float px = cx * W - pan_pixels(frame), py = cy * H + tilt;
    const float w = t.w * H, h = t.h * H;
    box.id = t.id;
    box.cls = t.cls;
    box.score = 1.0f;
    box.x1 = std::round(px - w * 0.5f);
    box.y1 = std::round(py - h * 0.5f);
    box.x2 = box.x1 + std::round(w);
    box.y2 = box.y1 + std::round(h);
    return true;
}

void Scene::render(int frame, std::vector<uint8_t> &nv12) const {
    const int W = cfg_.width, H = cfg_.height;
    nv12.assign(static_cast<size_t>(W) * H + static_cast<size_t>(H / 2) * (W / 2) * 2, 0);
    // Background: a separable texture that moves with the pan.
    const int pan = static_cast<int>(std::lround(pan_pixels(frame)));
    std::vector<int> col(W), row(H);
    for (int x = 0; x < W; ++x) {
        const double xw = x + pan;
        col[x] = static_cast<int>(25.0 * std::sin(xw * 0.021) + 12.0 * std::sin(xw * 0.097));
    }
    for (int y = 0; y < H; ++y)
        row[y] = static_cast<int>(70.0 + 60.0 * y / H + 10.0 * std::cos(y * 0.05));
    for (int y = 0; y < H; ++y) {
        uint8_t *p = nv12.data() + static_cast<size_t>(y) * W;
        for (int x = 0; x < W; ++x)
            p[x] = static_cast<uint8_t>(std::clamp(row[y] + col[x], 16, 235));
    }
    uint8_t *uv = nv12.data() + static_cast<size_t>(W) * H;
    for (int y = 0; y < H / 2; ++y)
        for (int x = 0; x < W / 2; ++x) {
            const bool sky = 2 * y < static_cast<int>(0.4 * H);
            uv[static_cast<size_t>(y) * W + 2 * x] = sky ? 140 : 112;
            uv[static_cast<size_t>(y) * W + 2 * x + 1] = sky ? 118 : 134;
        }
    // Targets, far (small bottom edge) to near.
    std::vector<std::pair<MotBox, const Target *>> vis;
    for (const Target &t : targets_) {
        MotBox b;
        if (target_box(t, frame, b)) vis.push_back({b, &t});
    }
    std::stable_sort(vis.begin(), vis.end(),
                     [](const auto &a, const auto &b) { return a.first.y2 < b.first.y2; });
    for (const auto &[b, t] : vis) {
        const int x1 = std::max(0, static_cast<int>(b.x1)),
                  y1 = std::max(0, static_cast<int>(b.y1));
        const int x2 = std::min(W, static_cast<int>(b.x2)),
                  y2 = std::min(H, static_cast<int>(b.y2));
        const int bh = static_cast<int>(b.y2 - b.y1);
        for (int y = y1; y < y2; ++y) {
            const int ry = y - static_cast<int>(b.y1);
            const bool band = ry > bh / 5 && ry < bh / 5 + std::max(2, bh / 10);
            for (int x = x1; x < x2; ++x) {
                const int shade = ((x - static_cast<int>(b.x1)) / 6 + ry / 6) % 2 ? 12 : -12;
                nv12[static_cast<size_t>(y) * W + x] =
                    static_cast<uint8_t>(std::clamp(t->y + (band ? -70 : shade), 16, 235));
            }
        }
        for (int y = y1 / 2; y < std::min(H / 2, (y2 + 1) / 2); ++y)
            for (int x = x1 / 2; x < std::min(W / 2, (x2 + 1) / 2); ++x) {
                uv[static_cast<size_t>(y) * W + 2 * x] = t->u;
                uv[static_cast<size_t>(y) * W + 2 * x + 1] = t->v;
            }
    }
}

std::vector<MotBox> Scene::ground_truth(int frame) const {
    std::vector<MotBox> out;
    const float W = static_cast<float>(cfg_.width), H = static_cast<float>(cfg_.height);
    for (const Target &t : targets_) {
        MotBox b;
        if (!target_box(t, frame, b)) continue;
        const float area = (b.x2 - b.x1) * (b.y2 - b.y1);
        MotBox c = b;
        c.x1 = std::max(0.0f, b.x1);
        c.y1 = std::max(0.0f, b.y1);
        c.x2 = std::min(W, b.x2);
        c.y2 = std::min(H, b.y2);
        if (c.x2 - c.x1 < 4 || c.y2 - c.y1 < 4) continue;
        if ((c.x2 - c.x1) * (c.y2 - c.y1) < 0.2f * area) continue;
        out.push_back(c);
    }
    return out;
}

std::vector<MotBox> Scene::detections(int frame) const {
    const std::vector<MotBox> gt = ground_truth(frame);
    Rng rng(cfg_.seed * 1000003ull + static_cast<uint64_t>(frame));
    std::vector<MotBox> out;
    const float W = static_cast<float>(cfg_.width), H = static_cast<float>(cfg_.height);
    auto clip = [&](MotBox &b) {
        b.x1 = std::clamp(b.x1, 0.0f, W - 1);
        b.y1 = std::clamp(b.y1, 0.0f, H - 1);
        b.x2 = std::clamp(b.x2, b.x1 + 1, W);
        b.y2 = std::clamp(b.y2, b.y1 + 1, H);
    };
    auto jitter = [&](const MotBox &g, double amount) {
        MotBox d = g;
        const double w = g.x2 - g.x1, h = g.y2 - g.y1;
        d.x1 = static_cast<float>(g.x1 + rng.uniform(-amount, amount) * w);
        d.x2 = static_cast<float>(g.x2 + rng.uniform(-amount, amount) * w);
        d.y1 = static_cast<float>(g.y1 + rng.uniform(-amount, amount) * h);
        d.y2 = static_cast<float>(g.y2 + rng.uniform(-amount, amount) * h);
        d.id = -1;
        clip(d);
        return d;
    };
    for (size_t i = 0; i < gt.size(); ++i) {
        // Fraction of this box covered by boxes nearer to the camera.
        const MotBox &g = gt[i];
        double covered = 0;
        for (size_t j = 0; j < gt.size(); ++j) {
            if (j == i || gt[j].y2 <= g.y2) continue;
            const double iw = std::min(g.x2, gt[j].x2) - std::max(g.x1, gt[j].x1);
            const double ih = std::min(g.y2, gt[j].y2) - std::max(g.y1, gt[j].y1);
            if (iw > 0 && ih > 0) covered += iw * ih;
        }
        covered /= (static_cast<double>(g.x2) - g.x1) * (static_cast<double>(g.y2) - g.y1);
        const double miss = covered > 0.5 ? 0.7 : 0.04;
        const double u_miss = rng.uniform();
        MotBox d = jitter(g, 0.04);
        d.score = static_cast<float>(rng.uniform(0.55, 0.95));
        const bool dup = rng.chance(0.35);
        MotBox d2 = jitter(g, 0.08);
        d2.score = d.score * static_cast<float>(rng.uniform(0.6, 0.95));
        if (u_miss < miss) continue;
        out.push_back(d);
        if (dup) out.push_back(d2);
    }
    const int fps = (rng.chance(0.3) ? 1 : 0) + (rng.chance(0.08) ? 1 : 0);
    for (int k = 0; k < fps; ++k) {
        MotBox f;
        f.cls = static_cast<int>(rng.next() % 3);
        const float w = kClassW[f.cls] * H * static_cast<float>(rng.uniform(0.6, 1.2));
        const float h = kClassH[f.cls] * H * static_cast<float>(rng.uniform(0.6, 1.2));
        f.x1 = static_cast<float>(rng.uniform(0, W - w));
        f.y1 = static_cast<float>(rng.uniform(0, H - h));
        f.x2 = f.x1 + w;
        f.y2 = f.y1 + h;
        f.score = static_cast<float>(rng.uniform(0.3, 0.6));
        f.id = -1;
        clip(f);
        out.push_back(f);
    }
    return out;
}

}  // namespace pipeline
