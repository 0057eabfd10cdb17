// Guarded placement of the arrays of a DCT test case: each array is copied into a guarded buffer at
// a chosen byte offset for the call and copied back afterwards, and writes outside it are caught.
#ifndef KEP_TEST_DCT_PLACE_H
#define KEP_TEST_DCT_PLACE_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "kepcheck.h"

namespace dcttest {

// Where a variant puts its arrays: at offset 0 (16-byte aligned), at random even offsets, at random
// odd offsets, or anywhere.
enum class Place { Aligned, Even, Odd, Any };

class Offsets {
public:
    Offsets(const std::string& name, Place place)
        : rng_(std::make_shared<kepcheck::Rng>(kepcheck::seed() ^ std::hash<std::string>()(name))), place_(place) {}
    size_t next() const {
        if (place_ == Place::Aligned) return 0;
        const size_t o = static_cast<size_t>(rng_->range(0, 31));
        return place_ == Place::Even ? o & ~size_t{1} : place_ == Place::Odd ? o | 1 : o;
    }

private:
    std::shared_ptr<kepcheck::Rng> rng_;
    Place place_;
};

// An array of the case, placed for one call; the pointer is only handed to the code under test.
template <typename T, size_t N>
class Placed {
public:
    Placed(T (&array)[N], const Offsets& at) : array_(array), g_(N, at.next()) { g_.load(array); }
    ~Placed() {
        EXPECT_TRUE(g_.guardsIntact()) << "write outside a buffer";
        g_.store(array_);
    }
    T* get() { return g_.data(); }
    template <typename U> U* as() { return reinterpret_cast<U*>(g_.bytes()); }

private:
    T (&array_)[N];
    kepcheck::Guarded<T> g_;
};

// A variant whose body places the arrays it needs: body(case, offsets) returns the result code.
template <typename Case>
kepcheck::Variant<Case> placed(const std::string& name, Place place,
                               std::function<KepResult(Case&, const Offsets&)> body) {
    Offsets at(name, place);
    return {name, [at, body](Case& c) { return body(c, at); }};
}

}  // namespace dcttest

#endif  // KEP_TEST_DCT_PLACE_H
