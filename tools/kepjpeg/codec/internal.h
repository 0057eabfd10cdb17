// Shared pieces of the codec: the T.81 Annex K tables, the zigzag order, a small thread pool loop.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace kepjpeg {
namespace detail {

// Natural (row-major) index of zigzag position k (T.81 Figure A.6).
extern const int kNaturalOrder[64];
// T.81 Tables K.1 and K.2 in zigzag order.
extern const std::uint8_t kStdLumaQuant[64];
extern const std::uint8_t kStdChromaQuant[64];
// T.81 Table K.3 to K.6: BITS and HUFFVAL of the typical DC and AC tables.
extern const std::uint8_t kDcLumaBits[16], kDcLumaVals[12];
extern const std::uint8_t kDcChromaBits[16], kDcChromaVals[12];
extern const std::uint8_t kAcLumaBits[16], kAcLumaVals[162];
extern const std::uint8_t kAcChromaBits[16], kAcChromaVals[162];

// Runs f(i) for i in 0..n-1 on up to `threads` threads (the calling thread included); items are
// handed out in order, one at a time.
template <class F>
void parallelFor(int n, int threads, F&& f) {
    threads = std::max(1, std::min(threads, n));
    if (threads == 1) {
        for (int i = 0; i < n; ++i) f(i);
        return;
    }
    std::atomic<int> next{0};
    auto worker = [&]() {
        for (int i; (i = next.fetch_add(1)) < n;) f(i);
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t) pool.emplace_back(worker);
    worker();
    for (auto& t : pool) t.join();
}

inline int ceilDiv(int a, int b) { return (a + b - 1) / b; }

}  // namespace detail
}  // namespace kepjpeg
