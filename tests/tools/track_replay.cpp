// Replays a recorded sequence (tests/data/make_servo_sequence.py describes
// the format) through MotionTracker and prints everything it reports, floats
// as their bit patterns, so that two builds can be compared byte for byte:
//
//   track_replay SEQUENCE > tracks.txt
//
// Per frame: "F frame result skipped count", then per track "T id state
// hits misses age" with the bits of x1 y1 x2 y2 score occlusion, then the
// bits of its predicted box.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tracker.h"

namespace {

uint32_t bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: track_replay SEQUENCE\n");
        return 2;
    }
    std::ifstream in(argv[1]);
    if (!in) {
        std::fprintf(stderr, "track_replay: cannot open %s\n", argv[1]);
        return 1;
    }
    double res = 0;
    std::map<int, QEVO::SyncInfos> sync;
    std::map<int, std::vector<QEVO::objinfo>> dets;
    int last = 0;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream f(line);
        char kind = 0;
        f >> kind;
        int frame = 0;
        if (kind == 'R') {
            f >> res;
        } else if (kind == 'S') {
            QEVO::SyncInfos s{};
            f >> frame >> s.fAz >> s.fPt;
            sync[frame] = s;
        } else if (kind == 'D') {
            QEVO::objinfo d{};
            f >> frame >> d.x1 >> d.y1 >> d.x2 >> d.y2 >> d.score >> d.classNum;
            d.ID = static_cast<int>(dets[frame].size());
            dets[frame].push_back(d);
        }
        if (!f) {
            std::fprintf(stderr, "track_replay: bad line '%s'\n", line.c_str());
            return 1;
        }
        last = std::max(last, frame);
    }
    qevo::MotionTracker tracker;
    for (int frame = 1; frame <= last; ++frame) {
        auto s = sync.find(frame);
        const std::vector<QEVO::objinfo> &d = dets[frame];
        const int r = tracker.update(d, s == sync.end() ? nullptr : &s->second, res);
        std::printf("F %d %d %d %d\n", frame, r, tracker.skipped(), tracker.track_count());
        for (int i = 0; i < tracker.track_count(); ++i) {
            const qevo::TrackInfo &t = tracker.tracks()[i];
            QEVO::objinfo p{};
            tracker.predicted_box(t.box.trackID, &p);
            std::printf("T %d %d %d %d %d %d %08" PRIx32 " %08" PRIx32 " %08" PRIx32 " %08" PRIx32
                        " %08" PRIx32 " %08" PRIx32 " %08" PRIx32 " %08" PRIx32 " %08" PRIx32
                        " %08" PRIx32 "\n",
                        t.box.trackID, t.state, t.hits, t.misses, t.age, t.box.ID, bits(t.box.x1),
                        bits(t.box.y1), bits(t.box.x2), bits(t.box.y2), bits(t.box.score),
                        bits(t.occlusion), bits(p.x1), bits(p.y1), bits(p.x2), bits(p.y2));
        }
    }
    return 0;
}
