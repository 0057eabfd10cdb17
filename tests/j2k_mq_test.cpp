// The MQ coder of the code-block coders: the published test sequence, round trips through the
// three terminations, the end-of-segment rules, and agreement with the plain T.800 decoder of
// the tests on arbitrary bytes; the raw (bypass) reader and writer.

#include <gtest/gtest.h>

#include <vector>

#include "j2k_t800_reference.h"
#include "kepcheck_data.h"
#include "pj2mq.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Encodes decisions (bit, context) into a fresh segment with all contexts from the initial
// tables, or, with state0, every context in state 0 with MPS 0 (as the published sequence is).
Bytes encode(const std::vector<int>& bits, const std::vector<int>& ctx, int term, bool state0 = false) {
    Bytes out(bits.size() * 2 + 64);
    OwnMQEncoder e;
    ownMQResetContexts(e.I, e.MPS);
    if (state0)
        for (int& i : e.I) i = 0;
    e.out = out.data();
    e.capacity = static_cast<Kep32s>(out.size());
    ownMQInitEncoder(&e);
    for (size_t i = 0; i < bits.size(); ++i) ownMQEncode(&e, ctx[i], bits[i]);
    ownMQTerminate(&e, term);
    EXPECT_EQ(0, e.overflow);
    out.resize(static_cast<size_t>(e.produced));
    return out;
}

std::vector<int> decodeLib(const Bytes& seg, const std::vector<int>& ctx, bool state0 = false) {
    OwnMQDecoder d;
    ownMQResetContexts(d.I, d.MPS);
    if (state0)
        for (int& i : d.I) i = 0;
    ownMQInitDecoder(&d, seg.data(), static_cast<Kep32s>(seg.size()));
    std::vector<int> bits;
    for (int c : ctx) bits.push_back(mqDecoderDecode(&d, c));
    return bits;
}

std::vector<int> decodeRef(const Bytes& seg, const std::vector<int>& ctx, bool state0 = false) {
    // The library's context k is a T.800 label; map its initial states onto the reference's
    // contexts 0..18 directly (uniform 46, run 3, first significance 4, the rest 0).
    t800::Contexts cx;
    for (int k = 0; k < t800::kLabels; ++k) cx.I[k] = cx.mps[k] = 0;
    if (!state0) {
        cx.I[0] = 46;
        cx.I[1] = 3;
        cx.I[2] = 4;
    }
    t800::MQ d(seg.data(), static_cast<int>(seg.size()));
    std::vector<int> bits;
    for (int c : ctx) bits.push_back(d.decode(cx, c));
    return bits;
}

// ITU-T T.88 H.2 / T.800 test sequence: 256 decisions in one context, and their coded bytes.
const Bytes kTestInput = {0x00, 0x02, 0x00, 0x51, 0x00, 0x00, 0x00, 0xC0, 0x03, 0x52, 0x87, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA,
                          0x82, 0xC0, 0x20, 0x00, 0xFC, 0xD7, 0x9E, 0xF6, 0xBF, 0x7F, 0xED, 0x90, 0x4F, 0x46, 0xA3, 0xBF};
const Bytes kTestCoded = {0x84, 0xC7, 0x3B, 0xFC, 0xE1, 0xA1, 0x43, 0x04, 0x02, 0x20, 0x00, 0x00, 0x41, 0x0D, 0xBB,
                          0x86, 0xF4, 0x31, 0x7F, 0xFF, 0x88, 0xFF, 0x37, 0x47, 0x1A, 0xDB, 0x6A, 0xDF, 0xFF, 0xAC};

TEST(J2kMQ, PublishedTestSequence) {
    std::vector<int> bits, ctx(256, 0);
    for (uint8_t b : kTestInput)
        for (int k = 7; k >= 0; --k) bits.push_back((b >> k) & 1);
    // The published bytes end with 0xFF 0xAC: the 0xFF that the flush leaves pending (it is not
    // emitted: a decoder reads 1-bits there anyway) and the marker byte that follows it there.
    const Bytes coded = encode(bits, ctx, OWN_MQ_TERM_FLUSH, true);
    EXPECT_EQ(Bytes(kTestCoded.begin(), kTestCoded.end() - 2), coded);
    for (const Bytes& seg : {kTestCoded, coded}) {
        EXPECT_EQ(bits, decodeLib(seg, ctx, true));
        EXPECT_EQ(bits, decodeRef(seg, ctx, true));
    }
}

}  // namespace

namespace {

struct Stream {
    std::vector<int> bits, ctx;
};

// Decisions over all 19 contexts with per-context skews, so that the coder visits long MPS runs
// (small Qe, many renormalisations per LPS) as well as balanced stretches.
Stream randomStream(kepcheck::Rng& rng, int n) {
    Stream s;
    int skew[19];
    for (int& k : skew) k = static_cast<int>(rng.range(0, 100));
    const int contexts = static_cast<int>(rng.range(1, 19));
    for (int i = 0; i < n; ++i) {
        const int c = static_cast<int>(rng.range(0, contexts - 1));
        s.ctx.push_back(c);
        s.bits.push_back(rng.chance(skew[c]) ? 1 : 0);
    }
    return s;
}

TEST(J2kMQ, RandomStreamsRoundTripThroughEachTermination) {
    kepcheck::Rng rng(kepcheck::seed());
    const int cases = kepcheck::iterations(1500);
    int sawStuffing = 0;
    long shorter = 0;
    for (int n = 0; n < cases; ++n) {
        const Stream s = randomStream(rng, static_cast<int>(rng.range(0, n % 10 == 0 ? 5000 : 200)));
        const Bytes flush = encode(s.bits, s.ctx, OWN_MQ_TERM_FLUSH);
        const Bytes shortest = encode(s.bits, s.ctx, OWN_MQ_TERM_SHORTEST);
        const Bytes predictable = encode(s.bits, s.ctx, OWN_MQ_TERM_PREDICTABLE);
        EXPECT_EQ(flush, encode(s.bits, s.ctx, 7)) << "unknown terminations flush";
        ASSERT_LE(shortest.size(), flush.size()) << "case " << n;
        const Bytes* segs[] = {&flush, &shortest, &predictable};
        for (int t = 0; t < 3; ++t) {
            const Bytes* seg = segs[t];
            ASSERT_EQ(s.bits, decodeLib(*seg, s.ctx)) << "case " << n << " termination " << t;
            ASSERT_EQ(s.bits, decodeRef(*seg, s.ctx)) << "case " << n;
            // No terminated segment ends with 0xFF, and no 0xFF is followed by a byte above 0x8F.
            if (!seg->empty()) {
                ASSERT_NE(0xFF, seg->back()) << "termination " << t;
            }
            for (size_t i = 0; i + 1 < seg->size(); ++i) {
                ASSERT_FALSE((*seg)[i] == 0xFF && (*seg)[i + 1] > 0x8F);
                sawStuffing += (*seg)[i] == 0xFF;
            }
        }
        // The shortest termination is minimal: one byte less no longer decodes (unless empty).
        if (!shortest.empty()) {
            const Bytes cut(shortest.begin(), shortest.end() - 1);
            EXPECT_NE(s.bits, decodeLib(cut, s.ctx)) << "case " << n << ": shortest is not the shortest";
        }
        shorter += static_cast<long>(flush.size() - shortest.size());
    }
    EXPECT_GT(sawStuffing, 10) << "the streams should exercise 0xFF bytes and stuffed bytes";
    EXPECT_GT(shorter, 0) << "the shortest termination should save bytes over the flush";
}

// Arbitrary bytes, truncated segments and markers: the library's decoder (complemented C, sticky
// end flag) and the plain T.800 decoder of the tests give the same decisions. One kind of byte
// string is left out: a 0xFF followed by 0x80..0x8F carries into the 0xFF byte, and at the start
// of a segment (or wherever the value then leaves the coder's interval) such a string is no code
// string at all; the two register conventions wrap differently on it.
Bytes randomSegment(kepcheck::Rng& rng, int maxLen) {
    Bytes seg(static_cast<size_t>(rng.range(0, maxLen)));
    for (size_t i = 0; i < seg.size(); ++i) {
        seg[i] = static_cast<uint8_t>(rng.chance(20) ? 0xFF : (rng.chance(20) ? rng.range(0x80, 0x9F) : rng.range(0, 255)));
        if (i > 0 && seg[i - 1] == 0xFF && seg[i] >= 0x80 && seg[i] <= 0x8F) seg[i] = static_cast<uint8_t>(seg[i] - 0x80);
    }
    return seg;
}

TEST(J2kMQ, AgreesWithPlainDecoderOnArbitraryBytes) {
    kepcheck::Rng rng(kepcheck::seed() + 1);
    for (int n = 0; n < kepcheck::iterations(3000); ++n) {
        const Bytes seg = randomSegment(rng, 40);
        std::vector<int> ctx(static_cast<size_t>(rng.range(1, 600)));
        for (int& c : ctx) c = static_cast<int>(rng.range(0, 18));
        ASSERT_EQ(decodeRef(seg, ctx), decodeLib(seg, ctx)) << "case " << n << ::testing::PrintToString(seg);
    }
}

TEST(J2kMQ, EndOfSegmentRules) {
    kepcheck::Rng rng(kepcheck::seed() + 2);
    std::vector<int> ctx(400);
    for (int& c : ctx) c = static_cast<int>(rng.range(0, 18));
    // Length 0 decodes as all 0xFF; so does a segment that starts with a marker.
    const Bytes ones(60, 0xFF);
    EXPECT_EQ(decodeLib(ones, ctx), decodeLib(Bytes{}, ctx));
    EXPECT_EQ(decodeLib(ones, ctx), decodeLib(Bytes{0xFF, 0x90, 0x12, 0x34}, ctx));
    // A single 0xFF at the end is a marker too.
    EXPECT_EQ(decodeLib(Bytes{0x12, 0xFF, 0xFF, 0xFF}, ctx), decodeLib(Bytes{0x12, 0xFF}, ctx));
    for (int n = 0; n < 200; ++n) {
        Bytes head(static_cast<size_t>(rng.range(0, 12)));
        for (auto& b : head) b = static_cast<uint8_t>(rng.range(0, 0xFE));
        // Whatever follows a marker inside the segment is never used.
        Bytes a = head, b = head;
        a.push_back(0xFF);
        b.push_back(0xFF);
        a.push_back(static_cast<uint8_t>(rng.range(0x90, 0xFF)));
        b.push_back(static_cast<uint8_t>(rng.range(0x90, 0xFF)));
        for (int k = 0; k < 8; ++k) a.push_back(static_cast<uint8_t>(rng.range(0, 255)));
        EXPECT_EQ(decodeLib(head, ctx), decodeLib(a, ctx));
        EXPECT_EQ(decodeLib(head, ctx), decodeLib(b, ctx));
        // 0xFF 0x8F is a stuffed pair, not a marker: the bits after it are used.
        Bytes s1 = head, s2 = head;
        s1.insert(s1.end(), {0xFF, 0x8F, 0x00, 0x00});
        s2.insert(s2.end(), {0xFF, 0x8F, 0x7F, 0xFF});
        EXPECT_NE(decodeLib(s1, ctx), decodeLib(s2, ctx));
    }
}

// Raw reading (T.800 D.6): 8 bits a byte, 7 after a 0xFF (its stuffed top bit skipped), 1-bits
// past the end.
TEST(J2kRaw, ReaderBitOrderStuffingAndEnd) {
    const uint8_t data[] = {0xA5, 0xFF, 0x2B, 0x80};
    OwnRawReader r;
    ownRawInitReader(&r, data, 4);
    std::vector<int> got;
    for (int i = 0; i < 8 + 8 + 7 + 8 + 5; ++i) got.push_back(ownRawReadBit(&r));
    const std::vector<int> expect = {1, 0, 1, 0, 0, 1, 0, 1,  1, 1, 1, 1, 1, 1, 1, 1,  0, 1, 0, 1, 0, 1, 1,
                                     1, 0, 0, 0, 0, 0, 0, 0,  1, 1, 1, 1, 1};
    EXPECT_EQ(expect, got);
    ownRawInitReader(&r, data, 0);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(1, ownRawReadBit(&r));
}

TEST(J2kRaw, WriterRoundTripsAndNeverEndsWithFF) {
    kepcheck::Rng rng(kepcheck::seed() + 3);
    for (int n = 0; n < kepcheck::iterations(2000); ++n) {
        std::vector<int> bits(static_cast<size_t>(rng.range(0, 300)));
        const int ones = static_cast<int>(rng.range(0, 100));
        for (int& b : bits) b = rng.chance(ones) ? 1 : 0;
        Bytes out(bits.size() / 7 + 4);
        OwnRawWriter w;
        w.out = out.data();
        w.capacity = static_cast<Kep32s>(out.size());
        ownRawInitWriter(&w);
        for (int b : bits) ownRawWriteBit(&w, b);
        ownRawTerminate(&w);
        ASSERT_EQ(0, w.overflow);
        out.resize(static_cast<size_t>(w.produced));
        if (!out.empty()) {
            ASSERT_NE(0xFF, out.back());
        }
        for (size_t i = 0; i + 1 < out.size(); ++i) {
            if (out[i] == 0xFF) {
                ASSERT_LT(out[i + 1], 0x80);
            }
        }
        OwnRawReader r;
        ownRawInitReader(&r, out.data(), static_cast<Kep32s>(out.size()));
        t800::Raw ref(out.data(), static_cast<int>(out.size()));
        for (size_t i = 0; i < bits.size(); ++i) {
            ASSERT_EQ(bits[i], ownRawReadBit(&r)) << "case " << n << " bit " << i;
            ASSERT_EQ(bits[i], ref.bit());
        }
    }
}

}  // namespace
