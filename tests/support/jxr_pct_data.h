// Planes for the photo core transform tests and benchmarks: a plane of T with a row step in bytes.
#ifndef JXR_PCT_DATA_H
#define JXR_PCT_DATA_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "keptypes.h"

namespace pctdata {

template <typename T>
struct Plane {
    int width, height;
    Kep32u step;  // bytes
    std::vector<uint8_t> bytes;

    Plane(int w, int h, Kep32u stepBytes) : width(w), height(h), step(stepBytes), bytes(static_cast<size_t>(stepBytes) * h + 16) {}
    T* data() { return reinterpret_cast<T*>(bytes.data()); }
    T get(int x, int y) const {
        T v;
        std::memcpy(&v, bytes.data() + static_cast<size_t>(y) * step + x * sizeof(T), sizeof v);
        return v;
    }
    void set(int x, int y, T v) { std::memcpy(bytes.data() + static_cast<size_t>(y) * step + x * sizeof(T), &v, sizeof v); }
    template <typename F>
    void fill(F f) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) set(x, y, static_cast<T>(f(x, y)));
    }
};

}  // namespace pctdata

#endif  // JXR_PCT_DATA_H
