// JPEG 2000 code-block coding through the exports: encode-then-decode round trips at every
// truncation point over sizes, subbands, style flags and terminations, agreement with the plain
// T.800 decoder of the tests (on encoded blocks and on arbitrary bytes), the progressive
// decoder's sequencing, flags and checks, and the encoder's segments, rates and distortions.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "j2k_cb_support.h"
#include "j2k_t800_reference.h"
#include "kepcheck.h"
#include "pjdispatch.h"

namespace {

using kepcheck::Rng;

const int kStyleBits[] = {KEP_J2K_CB_VCAUSAL, KEP_J2K_CB_BYPASS, KEP_J2K_CB_TERMALL, KEP_J2K_CB_RESET, KEP_J2K_CB_SEGSYM};

// Flag combination number i (0..31) of the five coding-style bits.
int styleFlags(int i) {
    int f = 0;
    for (int b = 0; b < 5; ++b)
        if (i & (1 << b)) f |= kStyleBits[b];
    return f;
}

t800::Options optionsOf(int flags) {
    t800::Options o;
    o.vcausal = flags & KEP_J2K_CB_VCAUSAL;
    o.bypass = flags & KEP_J2K_CB_BYPASS;
    o.termall = flags & KEP_J2K_CB_TERMALL;
    o.reset = flags & KEP_J2K_CB_RESET;
    o.segsym = flags & KEP_J2K_CB_SEGSYM;
    return o;
}

struct EncState {
    KepiEncodeState_JPEG2K* p = nullptr;
    explicit EncState(KepiSize max = {64, 64}) { EXPECT_EQ(kepOk, kepiEncodeInitAlloc_JPEG2K(&p, max)); }
    ~EncState() { kepiEncodeFree_JPEG2K(p); }
};

struct DecState {
    std::vector<uint8_t> mem;
    KepiDecodeCBProgrState_JPEG2K* p;
    explicit DecState(KepiSize max = {64, 64}) {
        int size = 0;
        EXPECT_EQ(kepOk, kepiDecodeCBProgrGetStateSize_JPEG2K(max, &size));
        mem.assign(static_cast<size_t>(size) + 64, 0xCD);
        // Any address will do; start the state off a 32-byte boundary to exercise the alignment.
        p = reinterpret_cast<KepiDecodeCBProgrState_JPEG2K*>(mem.data() + 8);
        EXPECT_EQ(kepOk, kepiDecodeCBProgrInit_JPEG2K(p));
    }
};

struct Decoded {
    std::vector<Kep32s> c;
    KepResult result;
};

const int kNoSegment = 0;  // a valid pSegLen for nSegments = 0

// Expected coefficients when the magnitude bits at and above `plane` are known.
Kep32s knownDownTo(Kep32s v, int plane) {
    const Kep32u m = static_cast<Kep32u>(v) & 0x7FFFFFFFu & (plane >= 31 ? 0u : ~0u << plane);
    return m ? static_cast<Kep32s>(m | (static_cast<Kep32u>(v) & 0x80000000u)) : 0;
}

int planesOf(const std::vector<Kep32s>& c) {
    Kep32u all = 0;
    for (Kep32s v : c) all |= static_cast<Kep32u>(v) & 0x7FFFFFFFu;
    int p = 0;
    while (p < 31 && (all >> p)) ++p;
    return p;
}

// The plane a pass works on and its kind (0 cleanup, 1 SP, 2 MR), for pass index i.
void passAt(int planes, int i, int* plane, int* kind) {
    if (i == 0) {
        *plane = planes - 1;
        *kind = 0;
        return;
    }
    *plane = planes - 2 - (i - 1) / 3;
    *kind = (i - 1) % 3 == 2 ? 0 : (i - 1) % 3 + 1;
}

// The segments that passes 0 .. k-1 need, by T.800 D.4 grouping: a new segment at every pass
// with TERMALL, and with BYPASS wherever raw and MQ coding alternate.
std::vector<int> segmentsFor(const j2kcb::Encoded& e, int k, int flags, int planes) {
    const int rawFrom = (flags & KEP_J2K_CB_BYPASS) && planes > 4 ? planes - 4 : 0;
    int s = 0;
    bool prevRaw = false;
    for (int i = 0; i < k; ++i) {
        int plane, kind;
        passAt(planes, i, &plane, &kind);
        const bool raw = kind != 0 && plane < rawFrom;
        if (i > 0 && ((flags & KEP_J2K_CB_TERMALL) || raw != prevRaw || (kind == 0 && prevRaw))) ++s;
        prevRaw = raw;
    }
    if (k == 0 || s >= static_cast<int>(e.segLen.size())) {
        EXPECT_TRUE(k == 0) << "fewer segments than the passes need";
        return {};
    }
    return std::vector<int>(e.segLen.begin(), e.segLen.begin() + s + 1);
}

// Round trip of one block at every truncation point: exact after each cleanup pass; after a
// significance propagation or refinement pass each coefficient lies between the two planes and
// the whole block equals the plain decoder's. The rate of each pass, used as the truncation
// length of its segment, decodes the same.
void roundTrip(EncState& es, DecState& ds, const std::vector<Kep32s>& c, int w, int h, int subband, int magnBits,
               int term, int flags, int chunk, bool everyPass, bool withReference = true) {
    const j2kcb::Encoded e = j2kcb::encode(es.p, c, w, h, subband, magnBits, term, flags, chunk);
    ASSERT_EQ(kepOk, e.result);
    const int planes = planesOf(c);
    ASSERT_EQ(magnBits - planes, e.sfBits);
    ASSERT_EQ(planes ? 3 * planes - 2 : 0, e.nPasses);
    long total = 0;
    for (int l : e.segLen) total += l;
    ASSERT_EQ(static_cast<long>(e.data.size()), total);
    ASSERT_EQ(e.nSegments, static_cast<int>(e.segLen.size()));

    const auto check = [&](int k, const Decoded& d, const char* what) {
        ASSERT_EQ(kepOk, d.result) << what << " k=" << k;
        int plane = planes, kind = 0;
        if (k > 0) passAt(planes, k - 1, &plane, &kind);
        for (size_t i = 0; i < c.size(); ++i) {
            const Kep32s full = knownDownTo(c[i], plane), part = knownDownTo(c[i], plane + 1);
            if (kind == 0) ASSERT_EQ(full, d.c[i]) << what << " k=" << k << " coefficient " << i;
            else ASSERT_TRUE(d.c[i] == full || d.c[i] == part) << what << " k=" << k << " coefficient " << i;
        }
    };
    for (int k = everyPass ? 0 : e.nPasses; k <= e.nPasses; ++k) {
        const std::vector<int> segs = segmentsFor(e, k, flags, planes);
        Decoded d;
        d.c.assign(c.size(), 0x5A5A5A5A);
        const uint8_t none = 0;
        d.result = kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(e.data.empty() ? &none : e.data.data(), d.c.data(), w * 4, {w, h},
                                                        subband, planes, k, segs.empty() ? &kNoSegment : segs.data(), static_cast<int>(segs.size()),
                                                        flags, nullptr, ds.p);
        check(k, d, "whole segments");
        if (::testing::Test::HasFatalFailure()) return;
        if (withReference) {
            std::vector<uint32_t> ref;
            ASSERT_TRUE(t800::decode(e.data.data(), segs, w, h, subband, planes, k, optionsOf(flags), ref));
            ASSERT_EQ(0, std::memcmp(ref.data(), d.c.data(), c.size() * 4)) << "plain decoder differs, k=" << k;
        }
        if (k == 0) continue;
        // Truncated at the pass's rate.
        std::vector<int> cut = segs;
        int before = 0;
        for (size_t s = 0; s + 1 < cut.size(); ++s) before += cut[s];
        ASSERT_LE(e.rate[static_cast<size_t>(k) - 1], before + cut.back()) << "rate beyond its segment";
        ASSERT_GE(e.rate[static_cast<size_t>(k) - 1], before);
        cut.back() = e.rate[static_cast<size_t>(k) - 1] - before;
        Decoded t;
        t.c.assign(c.size(), 0);
        t.result = kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(e.data.empty() ? &none : e.data.data(), t.c.data(), w * 4, {w, h},
                                                        subband, planes, k, cut.data(), static_cast<int>(cut.size()), flags,
                                                        nullptr, ds.p);
        ASSERT_EQ(d.c, t.c) << "truncated at the rate of pass " << k - 1;
    }
}

TEST(J2kCodeBlock, RoundTripsEveryStyleAndTerminationAtEveryPass) {
    Rng rng(kepcheck::seed());
    EncState es({64, 64});
    DecState ds({64, 64});
    const int cases = kepcheck::iterations(192);
    for (int n = 0; n < cases; ++n) {
        const int flags = styleFlags(n % 32), term = (n / 32) % 3;
        const int w = static_cast<int>(rng.chance(30) ? rng.range(1, 8) : rng.range(1, 64));
        const int h = static_cast<int>(rng.chance(30) ? rng.range(1, 8) : rng.range(1, 64));
        const int magnBits = static_cast<int>(rng.chance(10) ? rng.range(13, 31) : rng.range(1, 10));
        const int subband = static_cast<int>(rng.range(0, 3));
        const std::vector<Kep32s> c = j2kcb::randomBlock(rng, w, h, magnBits);
        SCOPED_TRACE(::testing::Message() << "case " << n << ": " << w << "x" << h << " subband " << subband << " magnBits "
                                          << magnBits << " flags " << flags << " term " << term);
        roundTrip(es, ds, c, w, h, subband, magnBits, term, flags, static_cast<int>(rng.range(1, 300)), true);
        if (HasFatalFailure()) return;
    }
}

// Every size from 1x1 to 64x64 (the plain decoder checks one in eight), and the long thin
// extremes of 4096 samples.
TEST(J2kCodeBlock, RoundTripsEverySize) {
    Rng rng(kepcheck::seed() + 1);
    EncState es({64, 64});
    DecState ds({64, 64});
    for (int h = 1; h <= 64; ++h) {
        for (int w = 1; w <= 64; ++w) {
            const int magnBits = static_cast<int>(rng.range(1, 4)), flags = styleFlags(static_cast<int>(rng.range(0, 31)));
            const std::vector<Kep32s> c = j2kcb::randomBlock(rng, w, h, magnBits);
            SCOPED_TRACE(::testing::Message() << w << "x" << h << " flags " << flags);
            roundTrip(es, ds, c, w, h, static_cast<int>(rng.range(0, 3)), magnBits, static_cast<int>(rng.range(0, 2)), flags,
                      1 << 16, false, (w + h) % 8 == 0);
            if (HasFatalFailure()) return;
        }
    }
    const KepiSize extremes[] = {{4, 1024}, {1024, 4}, {1, 4096}, {4096, 1}, {1024, 1}, {3, 1024}};
    for (const KepiSize& s : extremes) {
        EncState big(s);
        DecState dbig(s);
        for (int flags : {0, KEP_J2K_CB_BYPASS | KEP_J2K_CB_VCAUSAL, KEP_J2K_CB_TERMALL | KEP_J2K_CB_SEGSYM}) {
            const std::vector<Kep32s> c = j2kcb::randomBlock(rng, s.width, s.height, 9);
            SCOPED_TRACE(::testing::Message() << s.width << "x" << s.height << " flags " << flags);
            roundTrip(big, dbig, c, s.width, s.height, 3, 9, 1, flags, 1000, false);
            if (HasFatalFailure()) return;
        }
    }
}

}  // namespace
