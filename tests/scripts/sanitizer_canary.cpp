// Deliberately faulty test cases. Built only in the sanitizer build, where
// each must make its program fail with the sanitizer's report; that proves a
// report in a real test fails that test instead of scrolling past.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {
volatile int sink;
}

TEST(Canary, HeapOverflow) {
    char *p = static_cast<char *>(std::malloc(16));
    volatile size_t n = 17;
    std::memset(p, 0, n);
    sink = p[0];
    std::free(p);
}

TEST(Canary, SignedOverflow) {
    volatile int big = INT_MAX;
    sink = big + 1;
}

TEST(Canary, Leak) {
    void *volatile p = std::malloc(64);
    p = nullptr;
    sink = p == nullptr;
}
