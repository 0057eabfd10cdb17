// Image cases for the colour and resampling equivalence tests: up to four source and four
// destination planes of random bytes, a random region and steps, run through each variant at a
// random misalignment inside guarded buffers.
#ifndef COLOUR_HARNESS_H
#define COLOUR_HARNESS_H

#include <functional>
#include <memory>
#include <string>

#include "kepcheck.h"

namespace colourcheck {

constexpr int kPlaneBytes = 6144;

struct ImageCase {
    Kep32s width, height, srcStep, dstStep, srcOffset, dstOffset;
    Kep8u src[4][kPlaneBytes];
    Kep8u dst[4][kPlaneBytes];
};

// Runs a conversion on plane pointers (already offset for borders where needed).
using Call = std::function<KepResult(const Kep8u* const* src, Kep8u* const* dst, int srcStep, int dstStep, KepiSize roi)>;

// Shape of a family member: planes used and bytes per pixel on each side, plus a border of
// `border` rows and samples before the source (the whole-plane up-samplers read around it).
struct Shape {
    int srcPlanes, dstPlanes, srcBpp, dstBpp, border;
};

// Random region: widths around the vector group and chunk sizes, up to what fits the planes.
inline void generate(kepcheck::Rng& rng, ImageCase& c, const Shape& s, int maxWidth = 600) {
    static const std::vector<int64_t> widths = {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 32, 33, 255, 256, 257, 511, 513};
    int w = static_cast<int>(rng.chance(40) ? rng.pick(widths) : rng.range(1, 80));
    if (rng.chance(15)) w = static_cast<int>(rng.range(1, maxWidth));
    if (w > maxWidth) w = maxWidth;
    const int bpp = s.srcBpp > s.dstBpp ? s.srcBpp : s.dstBpp;
    c.width = w;
    c.srcStep = w * s.srcBpp + 2 * s.border + static_cast<int>(rng.range(0, 9));
    c.dstStep = w * s.dstBpp + static_cast<int>(rng.range(0, 9));
    const int step = (c.srcStep > c.dstStep ? c.srcStep : c.dstStep) + bpp;
    const int maxRows = kPlaneBytes / step - 2 * s.border;
    c.height = static_cast<int>(rng.range(1, maxRows < 7 ? maxRows : 7));
    c.srcOffset = static_cast<int>(rng.range(0, 15));
    c.dstOffset = static_cast<int>(rng.range(0, 15));
    // Only the bytes a call can reach are random (the rest stay zero): rows plus borders.
    const size_t used = static_cast<size_t>(step) * (c.height + 2 * s.border + 2);
    const size_t n = used < kPlaneBytes ? used : kPlaneBytes;
    for (int i = 0; i < s.srcPlanes; ++i) rng.fill(c.src[i], n, {128, 16, 235, 240});
    for (int i = 0; i < s.dstPlanes; ++i) rng.fill(c.dst[i], n);
}

// Runs call on copies of the case's planes placed at the case's offsets inside guarded buffers;
// nothing outside the planes may change and the sources must come back unchanged.
inline KepResult placed(ImageCase& c, const Shape& s, const Call& call) {
    std::unique_ptr<kepcheck::Guarded<Kep8u>> src[4], dst[4];
    const Kep8u* sp[4] = {};
    Kep8u* dp[4] = {};
    for (int i = 0; i < s.srcPlanes; ++i) {
        src[i] = std::make_unique<kepcheck::Guarded<Kep8u>>(kPlaneBytes, c.srcOffset);
        src[i]->load(c.src[i]);
        sp[i] = src[i]->data() + s.border * (c.srcStep + 1);
    }
    for (int i = 0; i < s.dstPlanes; ++i) {
        dst[i] = std::make_unique<kepcheck::Guarded<Kep8u>>(kPlaneBytes, c.dstOffset);
        dst[i]->load(c.dst[i]);
        dp[i] = dst[i]->data();
    }
    const KepResult r = call(sp, dp, c.srcStep, c.dstStep, KepiSize{c.width, c.height});
    for (int i = 0; i < s.srcPlanes; ++i) {
        EXPECT_TRUE(src[i]->guardsIntact());
        EXPECT_EQ(0, std::memcmp(src[i]->bytes(), c.src[i], kPlaneBytes)) << "source plane " << i << " modified";
    }
    for (int i = 0; i < s.dstPlanes; ++i) {
        EXPECT_TRUE(dst[i]->guardsIntact()) << "write outside destination plane " << i;
        dst[i]->store(c.dst[i]);
    }
    return r;
}

// Variants of one member: the reference (plain C kernels), the same driver on the SSSE3 kernels,
// and the export through slot 0, slot 1 and its stub.
inline void runMember(const std::string& name, const Shape& s, const Call& reference, const Call& simd,
                      const Call& slot0, const Call& slot1, const Call& stub, int cases, int maxWidth = 600) {
    auto v = [&](const char* n, const Call& call) {
        return kepcheck::Variant<ImageCase>{n, [s, call](ImageCase& c) { return placed(c, s, call); }};
    };
    kepcheck::runVariants<ImageCase>(
        name.c_str(), cases, [s, maxWidth](kepcheck::Rng& r, ImageCase& c) { generate(r, c, s, maxWidth); },
        {v("c", reference), v("ssse3", simd), v("slot 0", slot0), v("slot 1", slot1), v("stub", stub)});
}

}  // namespace colourcheck

#endif  // COLOUR_HARNESS_H
