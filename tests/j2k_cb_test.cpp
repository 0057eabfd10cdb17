// JPEG 2000 code-block coding through the exports: encode-then-decode round trips at every
// truncation point over sizes, subbands, style flags and terminations, agreement with the plain
// T.800 decoder of the tests (on encoded blocks and on arbitrary bytes), the progressive
// decoder's sequencing, flags and checks, and the encoder's segments, rates and distortions.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "j2k_cb_support.h"
#include "j2k_t800_reference.h"
#include "kepcheck.h"
#include "pj2passes.h"
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
            if (kind == 0) {
                ASSERT_EQ(full, d.c[i]) << what << " k=" << k << " coefficient " << i;
            } else {
                ASSERT_TRUE(d.c[i] == full || d.c[i] == part) << what << " k=" << k << " coefficient " << i;
            }
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

// Arbitrary segments (lengths, bytes with markers and 0xFF pairs, pass counts, flags): the
// library and the plain decoder agree, and the library never writes outside the code-block.
// (As for the MQ coder alone, a 0xFF followed by 0x80..0x8F is left out: see j2k_mq_test.)
TEST(J2kCodeBlock, AgreesWithPlainDecoderOnArbitrarySegments) {
    Rng rng(kepcheck::seed() + 2);
    DecState ds({64, 64});
    for (int n = 0; n < kepcheck::iterations(600); ++n) {
        const int w = static_cast<int>(rng.range(1, 64)), h = static_cast<int>(rng.range(1, 64));
        const int flags = styleFlags(static_cast<int>(rng.range(0, 31)));
        const int planes = static_cast<int>(rng.range(0, 31)), subband = static_cast<int>(rng.range(0, 3));
        const int nPasses = static_cast<int>(rng.range(-1, 3 * planes));
        std::vector<int> segLen(static_cast<size_t>(rng.range(0, 12)));
        size_t total = 0;
        for (int& l : segLen) {
            l = static_cast<int>(rng.chance(5) ? rng.range(-3, 0) : rng.range(0, 60));
            total += l > 0 ? static_cast<size_t>(l) : 0;
        }
        std::vector<uint8_t> data(total + 1);
        for (size_t i = 0; i < data.size(); ++i) {
            data[i] = static_cast<uint8_t>(rng.chance(10) ? 0xFF : rng.range(0, 255));
            if (i > 0 && data[i - 1] == 0xFF && data[i] >= 0x80 && data[i] <= 0x8F) data[i] = static_cast<uint8_t>(data[i] - 0x80);
        }
        kepcheck::Guarded<Kep32s> dst(static_cast<size_t>(w) * h, 4);
        std::memset(dst.bytes(), 0x77, static_cast<size_t>(w) * h * 4);
        const KepResult r = kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(data.data(), dst.data(), w * 4, {w, h}, subband, planes, nPasses,
                                                                 segLen.empty() ? &kNoSegment : segLen.data(),
                                                                 static_cast<int>(segLen.size()), flags, nullptr, ds.p);
        ASSERT_TRUE(dst.guardsIntact()) << "case " << n;
        std::vector<uint32_t> ref;
        const bool ok = t800::decode(data.data(), segLen, w, h, subband, planes, nPasses, optionsOf(flags), ref);
        ASSERT_EQ(ok ? kepOk : kepErrCorruptSegment, r) << "case " << n;
        ASSERT_EQ(0, std::memcmp(ref.data(), dst.bytes(), ref.size() * 4)) << "case " << n;
    }
}

// Pass by pass through the progressive interface, one segment per Step (TERMALL), with and
// without bypass: after each Step the counter, the bit plane and the coefficients are as
// expected, and Steps after the last counted pass read nothing.
TEST(J2kProgressive, PassByPassSequencing) {
    Rng rng(kepcheck::seed() + 3);
    EncState es({32, 32});
    for (int n = 0; n < kepcheck::iterations(40); ++n) {
        const int w = static_cast<int>(rng.range(1, 32)), h = static_cast<int>(rng.range(1, 32));
        const int flags = KEP_J2K_CB_TERMALL | (n % 2 ? KEP_J2K_CB_BYPASS : 0) | (n % 3 ? KEP_J2K_CB_PREDTERM : 0);
        const std::vector<Kep32s> c = j2kcb::randomBlock(rng, w, h, 9);
        const j2kcb::Encoded e = j2kcb::encode(es.p, c, w, h, 1, 9, kepMQTermPredictable, flags);
        ASSERT_EQ(kepOk, e.result);
        ASSERT_EQ(e.nPasses, e.nSegments);
        const int planes = 9 - e.sfBits;
        DecState ds({32, 32});
        std::vector<Kep32s> out(c.size());
        ASSERT_EQ(kepOk, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), w * 4, {w, h}, ds.p, 1, planes, flags));
        int bp = -2, left = -2;
        ASSERT_EQ(kepOk, kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(ds.p, &bp));
        EXPECT_EQ(planes - 1, bp);
        size_t off = 0;
        for (int k = 0; k < e.nPasses; ++k) {
            ASSERT_EQ(kepOk, kepiDecodeCBProgrSetPassCounter_JPEG2K(1, ds.p));
            ASSERT_EQ(kepOk, kepiDecodeCBProgrStep_JPEG2K(e.data.data() + off, e.segLen[static_cast<size_t>(k)], ds.p)) << "pass " << k;
            off += static_cast<size_t>(e.segLen[static_cast<size_t>(k)]);
            kepiDecodeCBProgrGetPassCounter_JPEG2K(ds.p, &left);
            kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(ds.p, &bp);
            EXPECT_EQ(0, left);
            int plane, kind;
            passAt(planes, k, &plane, &kind);
            EXPECT_EQ(kind == 0 ? plane - 1 : plane, bp) << "pass " << k;
            for (size_t i = 0; i < c.size(); ++i) {
                const Kep32s full = knownDownTo(c[i], plane), part = knownDownTo(c[i], plane + 1);
                if (kind == 0) {
                    ASSERT_EQ(full, out[i]);
                } else {
                    ASSERT_TRUE(out[i] == full || out[i] == part);
                }
            }
        }
        // No pass left: a Step returns 0 and reads nothing (a one-byte buffer with a huge length).
        const std::vector<Kep32s> done = out;
        ASSERT_EQ(kepOk, kepiDecodeCBProgrSetPassCounter_JPEG2K(5, ds.p));
        const uint8_t one = 0;
        if (planes > 0) {
            EXPECT_EQ(kepOk, kepiDecodeCBProgrStep_JPEG2K(&one, 1 << 30, ds.p));
            EXPECT_EQ(done, out);
        }
        ASSERT_EQ(kepOk, kepiDecodeCBProgrSetPassCounter_JPEG2K(0, ds.p));
        EXPECT_EQ(kepOk, kepiDecodeCBProgrStep_JPEG2K(&one, 1 << 30, ds.p));
    }
}

// The predictable-termination check: encoded with that termination, every segment passes; a
// segment cut by a byte, given an extra byte, or closed by another termination mostly fails.
TEST(J2kProgressive, PredictableTerminationCheck) {
    Rng rng(kepcheck::seed() + 4);
    EncState es({32, 32});
    DecState ds({32, 32});
    int tried = 0, caughtCut = 0, caughtExtra = 0, caughtFlush = 0;
    for (int n = 0; n < kepcheck::iterations(200); ++n) {
        const int w = static_cast<int>(rng.range(4, 32)), h = static_cast<int>(rng.range(4, 32));
        const std::vector<Kep32s> c = j2kcb::randomBlock(rng, w, h, 8);
        const int flags = KEP_J2K_CB_TERMALL | KEP_J2K_CB_PREDTERM | (n % 2 ? KEP_J2K_CB_SEGSYM : 0);
        const j2kcb::Encoded e = j2kcb::encode(es.p, c, w, h, 0, 8, kepMQTermPredictable, flags);
        const j2kcb::Encoded f = j2kcb::encode(es.p, c, w, h, 0, 8, kepMQTermFlush, flags);
        if (e.nPasses == 0) continue;
        std::vector<Kep32s> out(c.size());
        const int planes = 8 - e.sfBits;
        EXPECT_EQ(kepOk, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(e.data.data(), out.data(), w * 4, {w, h}, 0, planes, e.nPasses,
                                                              e.segLen.data(), e.nSegments, flags, nullptr, ds.p));
        for (size_t i = 0; i < c.size(); ++i) ASSERT_EQ(c[i] & 0x7FFFFFFF ? c[i] : 0, out[i]);
        // Damage the first pass's segment (the first cleanup: always MQ, at least a byte long).
        if (e.segLen[0] < 2) continue;
        ++tried;
        std::vector<int> cut = {e.segLen[0] - 1}, extra = {e.segLen[0] + 1};
        std::vector<uint8_t> data = e.data;
        data.insert(data.begin() + e.segLen[0], static_cast<uint8_t>(rng.range(0, 0x7F)));
        caughtCut += kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(data.data(), out.data(), w * 4, {w, h}, 0, planes, 1, cut.data(), 1,
                                                          flags, nullptr, ds.p) == kepErrCorruptSegment;
        caughtExtra += kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(data.data(), out.data(), w * 4, {w, h}, 0, planes, 1, extra.data(), 1,
                                                            flags, nullptr, ds.p) == kepErrCorruptSegment;
        caughtFlush += kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(f.data.data(), out.data(), w * 4, {w, h}, 0, planes, 1,
                                                            f.segLen.data(), 1, flags, nullptr, ds.p) == kepErrCorruptSegment;
    }
    ASSERT_GT(tried, 50);
    EXPECT_GT(caughtCut, tried * 8 / 10);
    EXPECT_GT(caughtExtra, tried / 2);
    EXPECT_GT(caughtFlush, tried / 2);
}

// A wrong segmentation symbol is corrupt data: decoding stops after that cleanup pass, the
// planes before it stay, and the one-shot decoder reports the plane and reconstructs.
TEST(J2kProgressive, CorruptSegmentMidpointAndResidualPlane) {
    Rng rng(kepcheck::seed() + 5);
    EncState es({16, 16});
    DecState ds({16, 16});
    int checked = 0;
    for (int n = 0; n < 60; ++n) {
        const std::vector<Kep32s> c = j2kcb::randomBlock(rng, 16, 16, 10);
        const int flags = KEP_J2K_CB_TERMALL | KEP_J2K_CB_SEGSYM;
        const j2kcb::Encoded e = j2kcb::encode(es.p, c, 16, 16, 2, 10, kepMQTermFlush, flags);
        const int planes = 10 - e.sfBits;
        if (planes < 3) continue;
        // Replace the segment of the second cleanup pass (pass 3, plane planes - 2) by noise.
        std::vector<uint8_t> data = e.data;
        size_t off = 0;
        for (int k = 0; k < 3; ++k) off += static_cast<size_t>(e.segLen[static_cast<size_t>(k)]);
        for (int k = 0; k < e.segLen[3]; ++k) data[off + static_cast<size_t>(k)] = static_cast<uint8_t>(rng.range(0, 0x7F));
        std::vector<Kep32s> plain(c.size()), mid(c.size());
        int bpPlain = -5, bpMid = -5;
        const KepResult r1 = kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(data.data(), plain.data(), 64, {16, 16}, 2, planes, e.nPasses,
                                                                  e.segLen.data(), e.nSegments, flags, &bpPlain, ds.p);
        const KepResult r2 = kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(data.data(), mid.data(), 64, {16, 16}, 2, planes, e.nPasses,
                                                                  e.segLen.data(), e.nSegments, flags | KEP_J2K_CB_MIDPOINT,
                                                                  &bpMid, ds.p);
        ASSERT_EQ(r1, r2);
        if (r1 == kepOk) continue;  // the noise happened to end with 1010
        ASSERT_EQ(kepErrCorruptSegment, r1);
        ++checked;
        // The noise is in the cleanup of plane planes - 2 (afterwards bp is one below); a wrong
        // symbol may show only at a later cleanup.
        EXPECT_LE(bpPlain, planes - 3);
        EXPECT_EQ(bpPlain, bpMid);
        const int bp = bpPlain;
        for (size_t i = 0; i < c.size(); ++i) {
            // The first plane and the passes of the second plane before its cleanup are intact.
            EXPECT_EQ(knownDownTo(c[i], planes - 1), knownDownTo(plain[i], planes - 1));
            EXPECT_EQ(0u, static_cast<Kep32u>(plain[i]) & ((1u << bp) - 1)) << "bits below bp cleared";
            const Kep32u v = static_cast<Kep32u>(plain[i]) & (~0u << bp);
            EXPECT_EQ(v & 0x7FFFFFFFu ? v | (1u << bp) : 0u, static_cast<Kep32u>(mid[i])) << "mid-point of " << i;
        }
    }
    EXPECT_GT(checked, 20);
}

// The coefficient-state and code-block flags of Attach, low bit planes, nSegments = 0.
TEST(J2kProgressive, AttachAndOneShotFlags) {
    DecState ds({8, 8});
    std::vector<Kep32s> blk(64, 0x1234);
    const int seg = 0;
    const uint8_t byte = 0;
    // nSegments = 0: nothing decoded, all zero; KEEPBLOCK keeps the block, KEEPLOWBP its low bits.
    EXPECT_EQ(kepOk, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&byte, blk.data(), 32, {8, 8}, 0, 5, 13, &seg, 0, 0, nullptr, ds.p));
    for (Kep32s v : blk) ASSERT_EQ(0, v);
    std::fill(blk.begin(), blk.end(), 0x1234);
    EXPECT_EQ(kepOk, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&byte, blk.data(), 32, {8, 8}, 0, 5, 13, &seg, 0,
                                                          KEP_J2K_CB_KEEPBLOCK, nullptr, ds.p));
    for (Kep32s v : blk) ASSERT_EQ(0x1230, v) << "bits below plane 4 cleared";
    std::fill(blk.begin(), blk.end(), 0x1234);
    EXPECT_EQ(kepOk, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&byte, blk.data(), 32, {8, 8}, 0, 5, 13, &seg, 0,
                                                          KEP_J2K_CB_KEEPBLOCK | KEP_J2K_CB_KEEPLOWBP, nullptr, ds.p));
    for (Kep32s v : blk) ASSERT_EQ(0x1234, v);

    // KEEPSTATE leaves the coefficient-state buffer (everything past the first 472 bytes lies in
    // it or its slack) as it was; without it Attach clears the buffer.
    std::vector<Kep32s> wide(64 * 8);
    for (int keep : {0, KEP_J2K_CB_KEEPSTATE}) {
        DecState d2({64, 8});
        std::fill(d2.mem.begin() + 8 + 472, d2.mem.end(), 0xAB);
        ASSERT_EQ(kepOk, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(wide.data(), 256, {64, 8}, d2.p, 3, 6, keep));
        const long tail = static_cast<long>(d2.mem.size()) - 480;
        const long untouched = std::count(d2.mem.begin() + 8 + 472, d2.mem.end(), 0xAB);
        // Rows of 288 bytes, 264 of them cleared; at least rows 2 to 5 lie past byte 472.
        if (keep) EXPECT_EQ(tail, untouched);
        else EXPECT_LE(untouched, tail - 4 * 264);
    }
}

TEST(J2kProgressive, ArgumentChecksAndStates) {
    int size = -1;
    EXPECT_EQ(kepErrSize, kepiDecodeCBProgrGetStateSize_JPEG2K({0, 4}, nullptr));  // size before pointer
    EXPECT_EQ(kepErrSize, kepiDecodeGetBufSize_JPEG2K({4, -1}, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrGetStateSize_JPEG2K({4, 4}, nullptr));
    // pitch * ((height + 1) / 2 + 2) + 472, pitch = (width + 2) * 4 rounded up to 32.
    const int expect[][3] = {{1, 1, 32 * 3 + 472}, {6, 1, 32 * 3 + 472}, {7, 2, 64 * 3 + 472}, {64, 64, 288 * 34 + 472},
                             {4, 1024, 32 * 514 + 472}, {1024, 4, 4128 * 4 + 472}};
    for (const auto& e : expect) {
        EXPECT_EQ(kepOk, kepiDecodeCBProgrGetStateSize_JPEG2K({e[0], e[1]}, &size));
        EXPECT_EQ(e[2], size) << e[0] << "x" << e[1];
        EXPECT_EQ(kepOk, kepiDecodeGetBufSize_JPEG2K({e[0], e[1]}, &size));
        EXPECT_EQ(e[2], size);
    }
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrInit_JPEG2K(nullptr));

    KepiDecodeCBProgrState_JPEG2K* st = nullptr;
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrInitAlloc_JPEG2K(nullptr, {0, 0}));
    EXPECT_EQ(kepErrSize, kepiDecodeCBProgrInitAlloc_JPEG2K(&st, {0, 4}));
    EXPECT_EQ(kepErrMemAlloc, kepiDecodeCBProgrInitAlloc_JPEG2K(&st, {0x7FFFFFFF, 0x7FFFFFFF}));
    EXPECT_EQ(nullptr, st);
    ASSERT_EQ(kepOk, kepiDecodeCBProgrInitAlloc_JPEG2K(&st, {16, 16}));
    EXPECT_EQ(0, std::memcmp(st, "PAMC", 4));

    Kep32s blk[16 * 16];
    std::fill(blk, blk + 256, 9);
    const uint8_t b = 0;
    // Not attached yet: -180 (after the pointer and identifier checks).
    EXPECT_EQ(kepErrNoCodeBlock, kepiDecodeCBProgrStep_JPEG2K(&b, 1, st));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrStep_JPEG2K(nullptr, 1, st));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrStep_JPEG2K(&b, 1, nullptr));
    // Attach: pointers, step, size, then the identifier; nothing written on failure.
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(nullptr, 0, {0, 0}, st, 0, 5, 0));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 0, {0, 0}, nullptr, 0, 5, 0));
    EXPECT_EQ(kepErrStep, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 0, {0, 0}, st, 0, 5, 0));
    EXPECT_EQ(kepErrSize, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 64, {16, 0}, st, 0, 5, 0));
    for (Kep32s v : blk) ASSERT_EQ(9, v);
    std::vector<uint8_t> bad(static_cast<size_t>(size), 0);  // identifier not written
    auto* wrong = reinterpret_cast<KepiDecodeCBProgrState_JPEG2K*>(bad.data());
    EXPECT_EQ(kepErrSize, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 64, {0, 16}, wrong, 0, 5, 0));  // size before id
    EXPECT_EQ(kepErrContext, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 64, {16, 16}, wrong, 0, 5, 0));
    int v = 0;
    EXPECT_EQ(kepErrContext, kepiDecodeCBProgrSetPassCounter_JPEG2K(3, wrong));
    EXPECT_EQ(kepErrContext, kepiDecodeCBProgrGetPassCounter_JPEG2K(wrong, &v));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrGetPassCounter_JPEG2K(wrong, nullptr));
    EXPECT_EQ(kepErrContext, kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(wrong, &v));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(nullptr, &v));
    EXPECT_EQ(kepErrContext, kepiDecodeCBProgrStep_JPEG2K(&b, 1, wrong));
    EXPECT_EQ(kepErrContext, kepiDecodeCBProgrFree_JPEG2K(wrong));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCBProgrFree_JPEG2K(nullptr));
    for (uint8_t x : bad) ASSERT_EQ(0, x) << "a failing call wrote into the state";
    for (Kep32s x : blk) ASSERT_EQ(9, x);

    ASSERT_EQ(kepOk, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 64, {16, 16}, st, 0, 5, KEP_J2K_CB_BYPASS));
    EXPECT_EQ(kepOk, kepiDecodeCBProgrGetPassCounter_JPEG2K(st, &v));
    EXPECT_EQ(0, v);
    EXPECT_EQ(kepOk, kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st, &v));
    EXPECT_EQ(4, v);
    for (Kep32s x : blk) ASSERT_EQ(0, x);
    EXPECT_EQ(kepOk, kepiDecodeCBProgrStep_JPEG2K(&b, 1, st));  // counter 0: nothing to do
    EXPECT_EQ(kepOk, kepiDecodeCBProgrSetPassCounter_JPEG2K(7, st));
    EXPECT_EQ(kepOk, kepiDecodeCBProgrGetPassCounter_JPEG2K(st, &v));
    EXPECT_EQ(7, v);
    // Planes above 30 cannot be held: their passes report corrupt data, nothing is written.
    ASSERT_EQ(kepOk, kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, 64, {16, 16}, st, 0, 40, 0));
    kepiDecodeCBProgrSetPassCounter_JPEG2K(100, st);
    EXPECT_EQ(kepErrCorruptSegment, kepiDecodeCBProgrStep_JPEG2K(&b, 1, st));
    for (Kep32s x : blk) ASSERT_EQ(0, x);
    // One-shot checks: pSrc, pState, size, pSegLen, pDst, step.
    const int seg = 1;
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(nullptr, blk, 0, {0, 0}, 0, 5, 1, nullptr, 1, 0, nullptr, st));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&b, blk, 0, {0, 0}, 0, 5, 1, nullptr, 1, 0, nullptr, nullptr));
    EXPECT_EQ(kepErrSize, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&b, nullptr, 0, {0, 4}, 0, 5, 1, nullptr, 1, 0, nullptr, st));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&b, blk, 0, {4, 4}, 0, 5, 1, nullptr, 1, 0, nullptr, st));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&b, nullptr, 0, {4, 4}, 0, 5, 1, &seg, 1, 0, nullptr, st));
    EXPECT_EQ(kepErrStep, kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(&b, blk, 0, {4, 4}, 0, 5, 1, &seg, 1, 0, nullptr, st));
    EXPECT_EQ(kepOk, kepiDecodeCBProgrFree_JPEG2K(st));
}

TEST(J2kEncoder, SegmentsRatesAndDistortions) {
    Rng rng(kepcheck::seed() + 7);
    EncState es({64, 64});
    for (int n = 0; n < kepcheck::iterations(150); ++n) {
        const int w = static_cast<int>(rng.range(1, 64)), h = static_cast<int>(rng.range(1, 64));
        const int flags = styleFlags(n % 32), magnBits = static_cast<int>(rng.range(1, 16));
        const std::vector<Kep32s> c = j2kcb::randomBlock(rng, w, h, magnBits);
        const j2kcb::Encoded e = j2kcb::encode(es.p, c, w, h, n % 4, magnBits, n % 3, flags, static_cast<int>(rng.range(1, 9)));
        ASSERT_EQ(kepOk, e.result);
        // Rates never decrease; at the end of each segment they are the running sum of lengths.
        double sumSq = 0, sumDist = 0;
        for (Kep32s v : c) sumSq += static_cast<double>(v & 0x7FFFFFFF) * static_cast<double>(v & 0x7FFFFFFF);
        for (int p = 0; p < e.nPasses; ++p) {
            if (p > 0) {
                ASSERT_GE(e.rate[static_cast<size_t>(p)], e.rate[static_cast<size_t>(p) - 1]);
            }
            sumDist += e.dist[static_cast<size_t>(p)];
        }
        if (e.nPasses) {
            ASSERT_EQ(static_cast<int>(e.data.size()), e.rate.back());
        }
        // Decoding everything leaves no error: the drops add up to the block's energy.
        EXPECT_NEAR(sumSq, sumDist, sumSq * 1e-5 + 1) << "case " << n;
        // The first pass (a cleanup of the top plane) never increases the error.
        if (e.nPasses) {
            EXPECT_GT(e.dist[0], 0.0f);
        }
        int len = 0;
        EXPECT_EQ(kepErrPassIndex, kepiEncodeGetTermPassLen_JPEG2K(es.p, e.nSegments, &len));
        EXPECT_EQ(kepErrPassIndex, kepiEncodeGetTermPassLen_JPEG2K(es.p, -1, &len));
        EXPECT_EQ(kepErrPassIndex, kepiEncodeGetRate_JPEG2K(es.p, e.nPasses, &len));
        float d = 0;
        EXPECT_EQ(kepErrPassIndex, kepiEncodeGetDist_JPEG2K(es.p, -1, &d));
    }
}

// The fast passes sum the distortion decreases in 64-bit integers while that is exact, else in
// doubles: on both sides of that switch, with magnitudes near the top of the range (the largest
// squares and sums), the per-pass figures equal the generic passes' bit for bit.
TEST(J2kEncoder, DistortionsExactAtTheIntegerSumLimit) {
    Rng rng(kepcheck::seed() + 11);
    struct Shape {
        int w, h, planes;
    };
    for (const Shape sh : {Shape{64, 64, 20}, Shape{64, 64, 21}, Shape{256, 256, 18}, Shape{256, 256, 19}, Shape{1, 1, 26},
                           Shape{1, 3, 26}, Shape{1, 1, 27}}) {
        std::vector<Kep32s> c(static_cast<size_t>(sh.w) * sh.h);
        const Kep32u top = (1u << sh.planes) - 1;
        for (auto& v : c) v = static_cast<Kep32s>((top - static_cast<Kep32u>(rng.range(0, 3)) * (top >> 3)) | (rng.chance(50) ? 0x80000000u : 0u));
        float dist[2][93] = {};
        int np[2] = {};
        for (int k = 0; k < 2; ++k) {
            EncState es({sh.w, sh.h});
            int sf = 0, nt = 0;
            const auto load = k ? ownpj_EncodeLoadCodeBlockRef_JPEG2K : kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R;
            ASSERT_EQ(kepOk, load(c.data(), sh.w * 4, {sh.w, sh.h}, es.p, 3, sh.planes, kepMQTermFlush, 0, &sf, &np[k], &nt));
            for (int p = 0; p < np[k]; ++p) ASSERT_EQ(kepOk, kepiEncodeGetDist_JPEG2K(es.p, p, &dist[k][p]));
        }
        ASSERT_EQ(np[0], np[1]);
        for (int p = 0; p < np[0]; ++p) EXPECT_EQ(dist[1][p], dist[0][p]) << sh.w << "x" << sh.h << ", " << sh.planes << " planes, pass " << p;
    }
}

TEST(J2kEncoder, ArgumentChecksAndStoreBits) {
    KepiEncodeState_JPEG2K* st = nullptr;
    EXPECT_EQ(kepErrNullPtr, kepiEncodeInitAlloc_JPEG2K(nullptr, {4, 4}));
    EXPECT_EQ(kepErrSize, kepiEncodeInitAlloc_JPEG2K(&st, {4, 0}));
    EXPECT_EQ(kepErrMemAlloc, kepiEncodeInitAlloc_JPEG2K(&st, {0x10000, 0x10000}));
    EXPECT_EQ(nullptr, st);
    ASSERT_EQ(kepOk, kepiEncodeInitAlloc_JPEG2K(&st, {8, 8}));
    Kep32s blk[64];
    for (int i = 0; i < 64; ++i) blk[i] = (i * 37) % 200;
    int sf = -1, np = -1, ns = -1;
    std::vector<uint8_t> junk(64, 0);
    auto* wrong = reinterpret_cast<KepiEncodeState_JPEG2K*>(junk.data());
    EXPECT_EQ(kepErrNullPtr, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(nullptr, 0, {0, 0}, nullptr, 9, 0, 0, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kepErrStep, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 0, {0, 0}, nullptr, 9, 0, 0, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {0, 0}, nullptr, 9, 0, 0, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kepErrContext, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {0, 0}, wrong, 9, 0, 0, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {0, 0}, st, 9, 0, 0, 0, &sf, &np, nullptr));
    EXPECT_EQ(kepErrSize, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {0, 8}, st, 9, 0, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(kepErrArgRange, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {9, 8}, st, 0, 8, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(kepErrArgRange, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {8, 8}, st, 4, 8, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(kepErrArgRange, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {8, 8}, st, 0, 32, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(kepErrArgRange, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {8, 8}, st, 0, 0, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(kepErrDataRange, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {8, 8}, st, 0, 7, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(-1, sf);
    EXPECT_EQ(-1, np);
    // Nothing loaded yet: no segment, no pass.
    int len = 0;
    EXPECT_EQ(kepErrPassIndex, kepiEncodeGetTermPassLen_JPEG2K(st, 0, &len));
    ASSERT_EQ(kepOk, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(blk, 32, {8, 8}, st, 0, 10, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(2, sf);  // magnitudes below 200 take 8 planes
    EXPECT_EQ(22, np);
    EXPECT_EQ(1, ns);
    // StoreBits in pieces of one byte gives the same bytes as in one piece.
    int whole = 0;
    ASSERT_EQ(kepOk, kepiEncodeGetTermPassLen_JPEG2K(st, 0, &whole));
    std::vector<uint8_t> a, piece(1);
    int more = 1;
    EXPECT_EQ(kepErrNullPtr, kepiEncodeStoreBits_JPEG2K_1u(nullptr, &len, st, &more));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeStoreBits_JPEG2K_1u(piece.data(), &len, st, nullptr));
    EXPECT_EQ(kepErrContext, kepiEncodeStoreBits_JPEG2K_1u(piece.data(), &len, wrong, &more));
    len = 0;
    EXPECT_EQ(kepErrSize, kepiEncodeStoreBits_JPEG2K_1u(piece.data(), &len, st, &more));
    while (more) {
        len = 1;
        ASSERT_EQ(kepOk, kepiEncodeStoreBits_JPEG2K_1u(piece.data(), &len, st, &more));
        ASSERT_EQ(1, len);
        a.push_back(piece[0]);
    }
    EXPECT_EQ(whole, static_cast<int>(a.size()));
    len = 5;
    EXPECT_EQ(kepOk, kepiEncodeStoreBits_JPEG2K_1u(piece.data(), &len, st, &more));
    EXPECT_EQ(0, len);
    EXPECT_EQ(0, more);
    for (uint8_t x : junk) ASSERT_EQ(0, x);
    // An all-zero block has no pass and no byte.
    const Kep32s zeros[4] = {0, static_cast<Kep32s>(0x80000000u), 0, 0};
    ASSERT_EQ(kepOk, kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(zeros, 8, {2, 2}, st, 0, 5, 0, 0, &sf, &np, &ns));
    EXPECT_EQ(5, sf);
    EXPECT_EQ(0, np);
    EXPECT_EQ(0, ns);
    EXPECT_EQ(kepErrContext, kepiEncodeFree_JPEG2K(wrong));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeFree_JPEG2K(nullptr));
    EXPECT_EQ(kepOk, kepiEncodeFree_JPEG2K(st));
}

// Both dispatch slots and the stubs give identical results (kepcheck harness): the one-shot
// decoder on arbitrary segments, and the encoder's whole output.
struct DecodeCase {
    uint8_t data[256];
    int32_t segLen[6];
    int32_t w, h, subband, planes, nPasses, nSegments, flags, residual, result;
    Kep32s out[24 * 24];
    alignas(8) uint8_t state[4096];  // a state needs an 8-byte boundary
};

TEST(J2kCodeBlock, DispatchSlotsAgree) {
    using Dec = decltype(&kepiDecodeCodeBlock_JPEG2K_1u32s_C1R);
    auto gen = [](Rng& r, DecodeCase& c) {
        for (auto& b : c.data) b = static_cast<uint8_t>(r.chance(10) ? 0xFF : r.range(0, 255));
        c.nSegments = static_cast<int32_t>(r.range(0, 6));
        for (auto& l : c.segLen) l = static_cast<int32_t>(r.range(0, 40));
        c.w = static_cast<int32_t>(r.range(1, 24));
        c.h = static_cast<int32_t>(r.range(1, 24));
        c.subband = static_cast<int32_t>(r.range(0, 3));
        c.planes = static_cast<int32_t>(r.range(0, 12));
        c.nPasses = static_cast<int32_t>(r.range(0, 40));
        c.flags = static_cast<int32_t>(r.next() & 0x1F001F);
    };
    auto variant = [](std::string name, Dec fn) {
        return kepcheck::Variant<DecodeCase>{name, [fn](DecodeCase& c) {
                                                 auto* st = reinterpret_cast<KepiDecodeCBProgrState_JPEG2K*>(c.state);
                                                 c.result = fn(c.data, c.out, c.w * 4, {c.w, c.h}, c.subband, c.planes, c.nPasses,
                                                               c.segLen, c.nSegments, c.flags, &c.residual, st);
                                                 // The state holds pointers into this copy: compare the outputs only.
                                                 std::memset(c.state, 0, sizeof c.state);
                                                 return c.result;
                                             }};
    };
    kepcheck::runVariants<DecodeCase>("j2k decode", kepcheck::iterations(300), gen,
                                      {variant("generic passes", ownpj_DecodeCodeBlockRef_JPEG2K),
                                       variant("slot 0", kepcheck::slot(ownTbl_kepiDecodeCodeBlock_JPEG2K_1u32s_C1R, 0)),
                                       variant("slot 1", kepcheck::slot(ownTbl_kepiDecodeCodeBlock_JPEG2K_1u32s_C1R, 1)),
                                       variant("stub", kepiDecodeCodeBlock_JPEG2K_1u32s_C1R)});
}

// The fast passes against the generic ones, Step by Step through the progressive decoder, with
// the whole state compared after the last Step (MQ registers, contexts, coefficient-state
// buffer) and each Step's result, pass counter and bit plane: encoded blocks, whole or damaged,
// and arbitrary bytes; every style and decoder flag (a kept coefficient-state buffer starts
// from stale bytes); 1xN, Nx1, 64x64, 4x1024, 1024x4 and random sizes; every plane count.
// 1xN, Nx1, 64x64, 4x1024, 1024x4, 3xN, or up to 64x64 at random.
KepiSize extremeOrRandomSize(Rng& r) {
    const int shape = static_cast<int>(r.range(0, 9));
    const int n = static_cast<int>(r.range(1, 64));
    const KepiSize sizes[] = {{1, n}, {n, 1}, {64, 64}, {4, 1024}, {1024, 4}, {3, n}};
    return shape < 6 ? sizes[shape] : KepiSize{n, static_cast<int>(r.range(1, 64))};
}

struct ProgrCase {
    uint8_t data[16384];
    int32_t segLen[16];
    int32_t w, h, subband, planes, nPasses, nSegments, flags;
    int32_t stepResult[16], stepPasses[16], stepPlane[16];
    Kep32s out[4096];
    uint8_t state[17024];
};

TEST(J2kCodeBlock, FastPassesAgreeWithGenericStepByStep) {
    using Step = decltype(&kepiDecodeCBProgrStep_JPEG2K);
    auto gen = [](Rng& r, ProgrCase& c) {
        const KepiSize size = extremeOrRandomSize(r);
        c.w = size.width;
        c.h = size.height;
        c.subband = static_cast<int32_t>(r.range(0, 3));
        const int style = static_cast<int>(r.next() & 0x1F);
        c.flags = style | static_cast<int32_t>(r.next() & 0x1F0000);
        bool encoded = r.chance(60);
        if (encoded) {
            const int magnBits = static_cast<int>(r.chance(20) ? r.range(1, 31) : r.range(1, 12));
            EncState es(size);
            const std::vector<Kep32s> blk = j2kcb::randomBlock(r, c.w, c.h, magnBits);
            const j2kcb::Encoded e = j2kcb::encode(es.p, blk, c.w, c.h, c.subband, magnBits, static_cast<int>(r.range(0, 2)), style);
            encoded = e.result == kepOk && e.data.size() <= sizeof c.data && e.nSegments <= 16;
            if (encoded) {
                std::copy(e.data.begin(), e.data.end(), c.data);
                c.nSegments = e.nSegments;
                std::copy(e.segLen.begin(), e.segLen.end(), c.segLen);
                c.planes = magnBits - e.sfBits;
                c.nPasses = r.chance(80) ? e.nPasses : static_cast<int32_t>(r.range(0, e.nPasses + 2));
                if (r.chance(50) && !e.data.empty())  // damage: flipped bytes, and a segment cut or stretched
                    for (int k = static_cast<int>(r.range(1, 4)); k > 0; --k)
                        c.data[r.range(0, e.data.size() - 1)] ^= static_cast<uint8_t>(r.range(1, 255));
                if (r.chance(30) && c.nSegments > 0) c.segLen[r.range(0, c.nSegments - 1)] += static_cast<int32_t>(r.range(-3, 3));
            }
        }
        if (!encoded) {
            for (auto& b : c.data) b = static_cast<uint8_t>(r.chance(10) ? 0xFF : r.range(0, 255));
            c.planes = static_cast<int32_t>(r.range(0, 33));
            c.nPasses = static_cast<int32_t>(r.range(-1, 3 * 33));
            c.nSegments = static_cast<int32_t>(r.range(0, 16));
            for (auto& l : c.segLen) l = static_cast<int32_t>(r.chance(5) ? r.range(-3, 0) : r.range(0, 1000));
        }
    };
    // Everything the decoder touches lives at fixed addresses, so that the pointers the state
    // keeps are the same in every variant and the whole state compares as bytes.
    auto variant = [](std::string name, Step step) {
        return kepcheck::Variant<ProgrCase>{name, [step](ProgrCase& c) {
                                                alignas(32) static uint8_t src[sizeof c.data];
                                                alignas(32) static Kep32s blk[4096];
                                                alignas(32) static uint8_t mem[sizeof c.state];
                                                std::memcpy(src, c.data, sizeof src);
                                                std::memset(blk, 0x5A, sizeof blk);
                                                std::memset(mem, 0xCD, sizeof mem);
                                                auto* st = reinterpret_cast<KepiDecodeCBProgrState_JPEG2K*>(mem);
                                                kepiDecodeCBProgrInit_JPEG2K(st);
                                                KepResult r = kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(blk, c.w * 4, {c.w, c.h}, st, c.subband,
                                                                                                   c.planes, c.flags);
                                                kepiDecodeCBProgrSetPassCounter_JPEG2K(c.nPasses, st);
                                                size_t off = 0;
                                                for (int i = 0; i < c.nSegments && r == kepOk; ++i) {
                                                    const int len = c.segLen[i];
                                                    const int room = static_cast<int>(sizeof src - off);
                                                    c.stepResult[i] = r = step(src + off, len < room ? len : room, st);
                                                    kepiDecodeCBProgrGetPassCounter_JPEG2K(st, &c.stepPasses[i]);
                                                    kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st, &c.stepPlane[i]);
                                                    off += static_cast<size_t>(len > 0 && len < room ? len : 0);
                                                }
                                                std::memcpy(c.out, blk, sizeof c.out);
                                                std::memcpy(c.state, mem, sizeof c.state);
                                                return r;
                                            }};
    };
    kepcheck::runVariants<ProgrCase>("j2k progressive", kepcheck::iterations(200), gen,
                                     {variant("generic passes", ownpj_DecodeCBProgrStepRef_JPEG2K),
                                      variant("slot 0", kepcheck::slot(ownTbl_kepiDecodeCBProgrStep_JPEG2K, 0)),
                                      variant("slot 1", kepcheck::slot(ownTbl_kepiDecodeCBProgrStep_JPEG2K, 1)),
                                      variant("stub", kepiDecodeCBProgrStep_JPEG2K)});
}

// The encoder's fast passes against the generic ones, and both dispatch slots: the whole output
// (bytes, segment lengths, per-pass rates and distortions) over every style and termination,
// 1xN, Nx1, 64x64, 4x1024, 1024x4 and random sizes, every magnitude depth.
struct EncodeCase {
    Kep32s block[4096];
    int32_t w, h, subband, magnBits, term, flags, sf, np, ns, result, len, more;
    int32_t segLen[93], rate[93];
    float dist[93];
    uint8_t out[20000];
};

TEST(J2kEncoder, FastPassesAndDispatchSlotsAgree) {
    using Load = decltype(&kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R);
    auto gen = [](Rng& r, EncodeCase& c) {
        const KepiSize size = extremeOrRandomSize(r);
        c.w = size.width;
        c.h = size.height;
        c.magnBits = static_cast<int32_t>(r.chance(25) ? r.range(1, 31) : r.range(1, 12));
        const std::vector<Kep32s> b = j2kcb::randomBlock(r, c.w, c.h, c.magnBits);
        std::memcpy(c.block, b.data(), b.size() * 4);
        c.subband = static_cast<int32_t>(r.range(0, 3));
        c.term = static_cast<int32_t>(r.range(0, 2));
        c.flags = static_cast<int32_t>(r.next() & 0x1F);
    };
    auto variant = [](std::string name, Load load, int s) {
        return kepcheck::Variant<EncodeCase>{name, [load, s](EncodeCase& c) {
                                                 KepiEncodeState_JPEG2K* st = nullptr;
                                                 kepcheck::slot(ownTbl_kepiEncodeInitAlloc_JPEG2K, s)(&st, {c.w, c.h});
                                                 c.result = load(c.block, c.w * 4, {c.w, c.h}, st, c.subband, c.magnBits, c.term,
                                                                 c.flags, &c.sf, &c.np, &c.ns);
                                                 for (int k = 0; k < c.ns && k < 93; ++k)
                                                     kepcheck::slot(ownTbl_kepiEncodeGetTermPassLen_JPEG2K, s)(st, k, &c.segLen[k]);
                                                 for (int k = 0; k < c.np && k < 93; ++k) {
                                                     kepcheck::slot(ownTbl_kepiEncodeGetRate_JPEG2K, s)(st, k, &c.rate[k]);
                                                     kepcheck::slot(ownTbl_kepiEncodeGetDist_JPEG2K, s)(st, k, &c.dist[k]);
                                                 }
                                                 c.len = sizeof c.out;
                                                 kepcheck::slot(ownTbl_kepiEncodeStoreBits_JPEG2K_1u, s)(c.out, &c.len, st, &c.more);
                                                 kepcheck::slot(ownTbl_kepiEncodeFree_JPEG2K, s)(st);
                                                 return c.result;
                                             }};
    };
    kepcheck::runVariants<EncodeCase>(
        "j2k encode", kepcheck::iterations(200), gen,
        {variant("generic passes", ownpj_EncodeLoadCodeBlockRef_JPEG2K, 0),
         variant("slot 0", kepcheck::slot(ownTbl_kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R, 0), 0),
         variant("slot 1", kepcheck::slot(ownTbl_kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R, 1), 1),
         variant("stub", kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R, 0)});
}

}  // namespace
