// Once the tracker has seen its largest frame it does not allocate. This
// program counts allocations by replacing operator new and delete, so the
// memory checker, which replaces them in turn, passes it over
// (scripts/memcheck.sh).
// GCC takes free() of memory from the replaced operator new for a mismatch.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <vector>

#include "tracker.h"

static std::atomic<long> g_allocations{0};
void *operator new(std::size_t n) {
    ++g_allocations;
    if (void *p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }

namespace {

QEVO::objinfo det(float x1, float y1, float w, float h, float score) {
    QEVO::objinfo d{};
    d.x1 = x1, d.y1 = y1, d.x2 = x1 + w, d.y2 = y1 + h, d.score = score;
    return d;
}

}  // namespace

// Once the tracker has seen its largest frame it does not allocate: the
// same crowded sequence, run again after reset(), makes no allocation.
TEST(MotionTracker, NoAllocationOnceWarm) {
    qevo::MotionTracker t;
    std::vector<std::vector<QEVO::objinfo>> frames(60);
    unsigned seed = 7;
    auto rnd = [&seed] { return (seed = seed * 1103515245u + 12345u) >> 16 & 0x7fff; };
    for (size_t f = 0; f < frames.size(); ++f) {
        for (int k = 0; k < 120; ++k) {
            if (rnd() % 10 == 0) continue;  // missed now and then
            const float x = static_cast<float>(k % 20) * 90 + static_cast<float>(f) * 2;
            const float y = static_cast<float>(k / 20) * 150 + static_cast<float>(rnd() % 5);
            frames[f].push_back(det(x, y, 40, 100, rnd() % 3 ? 0.95f : 0.4f));
        }
    }
    for (int pass = 0; pass < 2; ++pass) {
        const long before = g_allocations.load();
        for (const auto &d : frames) {
            ASSERT_EQ(t.update(d), 0);
        }
        // The first pass sizes the storage (and shows that the count works).
        const long made = g_allocations.load() - before;
        if (pass == 0) {
            EXPECT_GT(made, 0);
        } else {
            EXPECT_EQ(made, 0);
        }
        t.reset();
    }
    EXPECT_EQ(t.reserve(-1, 5), 1);
    EXPECT_EQ(t.reserve(10, 10), 0);
}
