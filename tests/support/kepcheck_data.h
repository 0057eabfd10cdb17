// Random inputs and guarded buffers for the kernel tests and benchmarks (no test framework here,
// so that the benchmarks share the generators).
#ifndef KEPCHECK_DATA_H
#define KEPCHECK_DATA_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <vector>

namespace kepcheck {

// xoshiro256** seeded by splitmix64: fast, reproducible, and good enough for test inputs.
class Rng {
public:
    explicit Rng(uint64_t seed) {
        for (auto& w : s_) {
            seed += 0x9E3779B97F4A7C15ULL;
            uint64_t z = seed;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
            w = z ^ (z >> 31);
        }
    }
    uint64_t next() {
        const uint64_t r = rotl(s_[1] * 5, 7) * 9, t = s_[1] << 17;
        s_[2] ^= s_[0]; s_[3] ^= s_[1]; s_[1] ^= s_[2]; s_[0] ^= s_[3]; s_[2] ^= t; s_[3] = rotl(s_[3], 45);
        return r;
    }
    // Uniform in [lo, hi].
    int64_t range(int64_t lo, int64_t hi) { return lo + static_cast<int64_t>(next() % static_cast<uint64_t>(hi - lo + 1)); }
    bool chance(int percent) { return range(0, 99) < percent; }
    template <typename T> const T& pick(const std::vector<T>& v) { return v[static_cast<size_t>(range(0, static_cast<int64_t>(v.size()) - 1))]; }

    // A value of an integer element type: a quarter from a list of edge values (the type's limits,
    // 0, +-1 and the given boundaries with their neighbours), a quarter small, half uniform.
    template <typename T>
    T value(std::initializer_list<int64_t> boundaries = {}) {
        const int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
        const int kind = static_cast<int>(range(0, 3));
        if (kind == 0) {
            std::vector<int64_t> edges = {lo, lo + 1, hi - 1, hi, 0, 1};
            if (lo < 0) edges.push_back(-1);
            for (int64_t b : boundaries)
                for (int64_t d = -1; d <= 1; ++d)
                    if (b + d >= lo && b + d <= hi) edges.push_back(b + d);
            return static_cast<T>(pick(edges));
        }
        if (kind == 1) return static_cast<T>(range(lo < 0 ? -64 : 0, hi < 64 ? hi : 64));
        return static_cast<T>(range(lo, hi));
    }
    template <typename T>
    void fill(T* p, size_t n, std::initializer_list<int64_t> boundaries = {}) {
        for (size_t i = 0; i < n; ++i) p[i] = value<T>(boundaries);
    }

private:
    static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
    uint64_t s_[4];
};

// The seed of a test run: KEPCHECK_SEED from the environment when set (to replay a failure),
// otherwise fixed, so that runs are reproducible. Printed on failure through the trace.
inline uint64_t seed() {
    const char* s = std::getenv("KEPCHECK_SEED");
    return s ? std::strtoull(s, nullptr, 0) : 0x6B65706A78310001ULL;
}

// Number of random cases per family; KEPCHECK_ITERATIONS scales long soak runs.
inline int iterations(int normal) {
    const char* s = std::getenv("KEPCHECK_ITERATIONS");
    return s ? std::atoi(s) : normal;
}

// A buffer of n elements of T that starts `offset` bytes past a 64-byte boundary, with guard
// bytes before and after it: a kernel that writes outside its buffer is caught.
template <typename T>
class Guarded {
public:
    static constexpr size_t kGuard = 64;
    static constexpr uint8_t kPattern = 0xA5;

    Guarded(size_t n, size_t offset) : n_(n), offset_(offset) {
        const size_t bytes = kGuard + offset + n * sizeof(T) + kGuard;
        raw_ = static_cast<uint8_t*>(std::aligned_alloc(64, (bytes + 63) / 64 * 64));
        std::memset(raw_, kPattern, bytes);
    }
    ~Guarded() { std::free(raw_); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    // Misaligned element pointers are only formed as addresses; callers copy through bytes().
    T* data() { return reinterpret_cast<T*>(raw_ + kGuard + offset_); }
    uint8_t* bytes() { return raw_ + kGuard + offset_; }
    size_t size() const { return n_; }
    void load(const T* src) { std::memcpy(bytes(), src, n_ * sizeof(T)); }
    void store(T* dst) { std::memcpy(dst, bytes(), n_ * sizeof(T)); }

    bool guardsIntact() const {
        const uint8_t* after = raw_ + kGuard + offset_ + n_ * sizeof(T);
        for (size_t i = 0; i < kGuard + offset_; ++i)
            if (raw_[i] != kPattern) return false;
        for (size_t i = 0; i < kGuard; ++i)
            if (after[i] != kPattern) return false;
        return true;
    }

private:
    size_t n_, offset_;
    uint8_t* raw_;
};

}  // namespace kepcheck

#endif  // KEPCHECK_DATA_H
