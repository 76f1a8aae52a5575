// Helpers shared by the fuzz targets: decoding the input into arguments,
// running a call under every instruction-set form, and failing loudly.
#ifndef QEVO_FUZZ_FUZZ_INPUT_H
#define QEVO_FUZZ_FUZZ_INPUT_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cmath>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

namespace qevo_fuzz {

// Reads the fuzzer's bytes front to back; once they run out every value is 0.
class Input {
  public:
    Input(const uint8_t *data, size_t size) : p_(data), n_(size) {}

    size_t left() const { return n_; }

    uint8_t byte() {
        if (n_ == 0) return 0;
        --n_;
        return *p_++;
    }
    uint32_t u32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
        return v;
    }
    bool flag() { return byte() & 1; }
    // lo .. hi (inclusive; hi - lo below 2^32).
    int in(int lo, int hi) {
        const unsigned long long span =
            static_cast<unsigned long long>(hi - static_cast<long long>(lo)) + 1;
        return static_cast<int>(lo + static_cast<long long>(u32() % span));
    }
    template <typename T>
    T pick(std::initializer_list<T> values) {
        return values.begin()[byte() % values.size()];
    }
    // A size or coordinate: mostly 0 .. small, sometimes a value outside every
    // documented range (negative, huge, or large enough that products with
    // other sizes overflow 32 bits).
    int size(int small) {
        if (byte() < 224) return in(0, small);
        return pick<int>({-1, -2, INT_MIN, INT_MAX, INT_MAX - 1, 1 << 16, 46341, -65536});
    }
    // Any int: mostly small, sometimes extreme.
    int any_int(int small) {
        if (byte() < 200) return in(-small, small);
        return pick<int>({INT_MIN, INT_MAX, INT_MIN + 1, INT_MAX - 1, 1 << 20, -(1 << 20)});
    }
    // A float: mostly small whole or half values, sometimes raw bits (NaN,
    // infinities, denormals, huge values).
    float any_float(int small) {
        const uint8_t kind = byte();
        if (kind < 160) return static_cast<float>(in(-small, small));
        if (kind < 200) return static_cast<float>(in(-2 * small, 2 * small)) * 0.5f;
        if (kind < 230) return static_cast<float>(in(0, 1000)) / 1000.0f;
        const uint32_t bits = u32();
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }
    // `n` bytes of payload (zeros once the input runs out).
    std::vector<unsigned char> bytes(size_t n) {
        std::vector<unsigned char> v(n, 0);
        const size_t take = n < n_ ? n : n_;
        if (take > 0) std::memcpy(v.data(), p_, take);
        p_ += take;
        n_ -= take;
        return v;
    }

  private:
    const uint8_t *p_;
    size_t n_;
};

// Stops the run with a message: libFuzzer reports it as a crash and keeps
// the input, the replay program fails its test.
[[noreturn]] inline void fail(const char *what) {
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::fflush(stderr);
    std::abort();
}
#define QEVO_FUZZ_CHECK(cond)                                    \
    do {                                                         \
        if (!(cond)) ::qevo_fuzz::fail(#cond " (" __FILE__ ")"); \
    } while (0)

// The vector forms each call may take besides the scalar definition; a form
// the CPU lacks falls back to the best available one.
inline std::vector<const char *> vector_forms() {
#if defined(__x86_64__)
    return {"sse41", "avx2"};
#elif defined(__aarch64__)
    return {"neon"};
#else
    return {};
#endif
}

// Elements that every form must agree on: the same bits, except that two
// floats that are both NaN agree whatever their payloads (which of two NaN
// operands an addition passes on is the hardware's choice for the operand
// order the compiler picked, not a result the code defines).
template <typename T>
bool same_elements(const std::vector<T> &a, const std::vector<T> &b) {
    if (a.size() != b.size()) return false;
    if (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0) return true;
    if constexpr (std::is_floating_point_v<T>) {
        for (size_t i = 0; i < a.size(); ++i)
            if (std::memcmp(&a[i], &b[i], sizeof(T)) != 0 && !(std::isnan(a[i]) && std::isnan(b[i])))
                return false;
        return true;
    }
    return false;
}

// Runs `call(out)` once with QEVO_SIMD=scalar into `ref` and once per vector
// form into a fresh copy of `init`; any difference (same_elements) is a
// failure. Returns the scalar result.
template <typename Buffer, typename F>
Buffer same_in_every_form(const Buffer &init, F call) {
    setenv("QEVO_SIMD", "scalar", 1);
    Buffer ref = init;
    call(ref);
    for (const char *form : vector_forms()) {
        setenv("QEVO_SIMD", form, 1);
        Buffer out = init;
        call(out);
        if (!same_elements(ref, out)) {
            const size_t bytes = std::min(out.size(), ref.size()) * sizeof(ref[0]);
            const unsigned char *a = reinterpret_cast<const unsigned char *>(ref.data());
            const unsigned char *b = reinterpret_cast<const unsigned char *>(out.data());
            size_t at = 0;
            while (at < bytes && a[at] == b[at]) ++at;
            std::fprintf(stderr, "QEVO_SIMD=%s differs from scalar at byte %zu of %zu:", form,
                         at, bytes);
            for (size_t i = at - at % sizeof(ref[0]); i < bytes && i < at + 8; ++i)
                std::fprintf(stderr, " %02x/%02x", a[i], b[i]);
            std::fprintf(stderr, " (scalar/vector)\n");
            fail("vector form differs from the scalar form");
        }
    }
    unsetenv("QEVO_SIMD");
    return ref;
}

// The buffer's bytes; for an empty buffer a valid pointer to a heap block of
// no bytes (a caller's empty buffer need not be null, and any byte written
// through it is an overrun the sanitizer reports).
template <typename T>
T *buffer(std::vector<T> &v) {
    static T *const none = new T[0];
    return v.empty() ? none : v.data();
}

// Product of sizes in 64 bits: -1 when a factor is negative, else 0 when a
// factor is 0, else -1 when the product exceeds `limit`.
inline long long product(std::initializer_list<long long> factors, long long limit) {
    for (long long f : factors) {
        if (f < 0) return -1;
    }
    for (long long f : factors) {
        if (f == 0) return 0;
    }
    long long n = 1;
    for (long long f : factors) {
        if (n > limit / f) return -1;
        n *= f;
    }
    return n;
}

// The library prints plain lines (progress, refusals); they would only slow
// the runs down. libFuzzer reports on standard error.
inline void mute_stdout() {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::fclose(stdout);
}

// Every target starts with standard output muted; one that needs more set-up
// defines QEVO_FUZZ_OWN_INITIALIZE and its own LLVMFuzzerInitialize.
#ifndef QEVO_FUZZ_OWN_INITIALIZE
extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    mute_stdout();
    return 0;
}
#endif

// Calls beyond this many bytes of caller buffers are legitimate but too slow
// to fuzz; the targets skip them (over-large sizes that the library must
// refuse are still passed).
constexpr long long kMaxBytes = 1 << 20;

}  // namespace qevo_fuzz

#endif  // QEVO_FUZZ_FUZZ_INPUT_H
