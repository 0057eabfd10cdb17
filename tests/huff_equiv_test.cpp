// Fast against careful baseline block coding. Each random case is a sequence of calls on one
// stream (blocks, flushes, a destination that runs out, corrupt sources with markers and fill
// bytes); the careful path alone is the reference, and the exports (fast kernel first) through
// both slots and the stub must leave identical bytes, positions, markers, last-DC values and whole
// states after every call. The Direct forms are checked against the stateful ones.

#include <gtest/gtest.h>

#include "huff_jpeg.h"
#include "kepcheck.h"
#include "pjdispatch.h"
#include "pjzigzag.h"

namespace {

using kepcheck::Rng;
using kepcheck::Variant;
using hufftest::Table;

constexpr int kCalls = 6;

// ---- Tables and blocks ----------------------------------------------------------------------

// Lists for the encoder and the decoder of one case: the T.81 example tables, optimal tables of
// random counts (some symbols missing), every symbol present, or codes forced up to 16 bits.
Table pickTable(Rng& rng, bool dc) {
    static const Table standard[4] = {hufftest::standardTable(0), hufftest::standardTable(1), hufftest::standardTable(2),
                                      hufftest::standardTable(3)};
    const int kind = static_cast<int>(rng.range(0, 9));
    if (kind < 3) return standard[dc ? rng.range(0, 1) : rng.range(2, 3)];
    if (kind == 3) return hufftest::randomTable(rng, dc ? 12 : 120);
    int stats[257] = {};
    if (kind < 8) {
        for (int v = 0; v < 256; ++v) stats[v] = static_cast<int>(rng.range(1, 50));
    } else {
        // Counts growing like Fibonacci numbers give lengths past 16 before limiting.
        int a = 1, b = 1;
        for (int v = 0; v < 256; ++v) {
            const int pick = (v * 37 + static_cast<int>(rng.range(0, 3))) & 255;
            stats[pick] = v < 28 ? a : static_cast<int>(rng.range(1, 3));
            if (v < 28) {
                const int n = a + b;
                a = b;
                b = n;
            }
        }
    }
    Table t;
    kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals);
    return t;
}

void randomBlock(Rng& rng, Kep16s* b) {
    const int kind = static_cast<int>(rng.range(0, 9));
    for (int i = 0; i < 64; ++i) b[i] = 0;
    if (kind == 0) {
        rng.fill(b, 64, {-32768, 32767, 1024, -1024});  // dense, extremes
    } else if (kind == 1) {
        b[static_cast<int>(rng.range(0, 1)) ? 63 : 0] = static_cast<Kep16s>(rng.range(-2, 2));  // long runs
        b[rng.range(0, 63)] = rng.value<Kep16s>();
    } else {
        const int density = static_cast<int>(rng.range(1, 60));
        const int magnitude = rng.chance(80) ? 40 : 2047;
        for (int i = 0; i < 64; ++i)
            if (rng.chance(density)) b[i] = static_cast<Kep16s>(rng.range(-magnitude, magnitude));
        b[0] = static_cast<Kep16s>(rng.range(-2047, 2047));
    }
}

// ---- Encoder --------------------------------------------------------------------------------

constexpr int kDstBytes = 1700;

struct EncCase {
    KepiEncodeHuffmanSpec dc, ac;
    Kep16s blocks[kCalls][64];
    Kep32s flush[kCalls];
    Kep32s len, pos;
    Kep16s lastDC;
    KepiEncodeHuffmanState st;
    Kep8u dst[kDstBytes];
    // after every call
    Kep32s result[kCalls], posAfter[kCalls];
    Kep16s lastDCAfter[kCalls];
    KepiEncodeHuffmanState stAfter[kCalls];
};

void generateEnc(Rng& rng, EncCase& c) {
    c.dc = hufftest::encSpec(pickTable(rng, true));
    c.ac = hufftest::encSpec(pickTable(rng, false));
    if (rng.chance(5)) c.ac.entry[rng.chance(50) ? 0x00 : 0xF0] = 0;  // EOB or ZRL missing
    for (int i = 0; i < kCalls; ++i) {
        randomBlock(rng, c.blocks[i]);
        c.flush[i] = rng.chance(8) || (i == kCalls - 1 && rng.chance(50));
    }
    c.pos = static_cast<int>(rng.range(0, 64));
    // Mostly room for everything; often the buffer ends within the sequence, sometimes within
    // the first block or right at an 0xFF.
    const int room = rng.chance(60) ? kDstBytes - c.pos : static_cast<int>(rng.range(1, rng.chance(30) ? 40 : 900));
    c.len = c.pos + room;
    for (Kep8u& b : c.dst) b = static_cast<Kep8u>(rng.range(0, 255));
    c.lastDC = rng.value<Kep16s>({2047, -2048});
    // A state between blocks: 0..7 pending bits left-aligned at bit 23, the last byte above.
    memset(&c.st, 0, sizeof c.st);
    c.st.bitCount = static_cast<int>(rng.range(0, 7));
    const Kep32u pending = static_cast<Kep32u>(rng.range(0, 255)) & (0xFF00u >> c.st.bitCount);
    c.st.bitBuffer = (static_cast<Kep32u>(rng.range(0, 255)) << 24) | (pending << 16);
}

using EncodeFn = decltype(&kepiEncodeHuffman8x8_JPEG_16s1u_C1);

// The careful path behind the same checks.
KepResult carefulEncode(const Kep16s* pSrc, Kep8u* pDst, int len, int* pPos, Kep16s* pLastDC,
                        const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac, KepiEncodeHuffmanState* st,
                        int flush) {
    const OwnHuffDst dst = {pDst, len, pPos};
    if (flush) return ownHuffFlushBaseline(dst, st);
    return ownHuffEncodeBlock_careful(pSrc, dst, pLastDC, dc, ac, st);
}

Variant<EncCase> encVariant(const char* name, EncodeFn fn) {
    return {name, [fn](EncCase& c) {
                for (int i = 0; i < kCalls; ++i) {
                    c.result[i] = fn(c.blocks[i], c.dst, c.len, &c.pos, &c.lastDC, &c.dc, &c.ac, &c.st, c.flush[i]);
                    c.posAfter[i] = c.pos;
                    c.lastDCAfter[i] = c.lastDC;
                    c.stAfter[i] = c.st;
                }
                return kepOk;
            }};
}

TEST(HuffEquivalence, EncoderFastAndCarefulPathsAgree) {
    kepcheck::runVariants<EncCase>("encode 8x8", kepcheck::iterations(2000), generateEnc,
                                   {encVariant("careful", carefulEncode),
                                    encVariant("slot 0", kepcheck::slot(ownTbl_kepiEncodeHuffman8x8_JPEG_16s1u_C1, 0)),
                                    encVariant("slot 1", kepcheck::slot(ownTbl_kepiEncodeHuffman8x8_JPEG_16s1u_C1, 1)),
                                    encVariant("stub", kepiEncodeHuffman8x8_JPEG_16s1u_C1)});
}

// ---- Decoder --------------------------------------------------------------------------------

constexpr int kSrcBytes = 1400;

struct DecCase {
    KepiDecodeHuffmanSpec dc, ac;
    Kep8u src[kSrcBytes];
    Kep32s len, pos, marker;
    Kep16s lastDC;
    KepiDecodeHuffmanState st;
    // after every call
    Kep16s out[kCalls][64];
    Kep32s result[kCalls], posAfter[kCalls], markerAfter[kCalls];
    Kep16s lastDCAfter[kCalls];
    KepiDecodeHuffmanState stAfter[kCalls];
};

// A stream of blocks coded with the same lists, then damaged: flipped bytes, a marker, 0xFF fill
// bytes, a stray 0xFF, a source that ends early or right after an 0xFF.
int makeStream(Rng& rng, const Table& dcT, const Table& acT, Kep8u* out, int cap) {
    KepiEncodeHuffmanSpec dc, ac;
    int len = 0;
    if (kepiEncodeHuffmanSpecInit_JPEG_8u(dcT.bits, dcT.vals, &dc) == kepOk &&
        kepiEncodeHuffmanSpecInit_JPEG_8u(acT.bits, acT.vals, &ac) == kepOk) {
        KepiEncodeHuffmanState st;
        kepiEncodeHuffmanStateInit_JPEG_8u(&st);
        Kep16s lastDC = 0, block[64];
        for (int i = 0; i < kCalls + 2; ++i) {
            randomBlock(rng, block);
            if (kepiEncodeHuffman8x8_JPEG_16s1u_C1(block, out, cap, &len, &lastDC, &dc, &ac, &st, 0) != kepOk) break;
        }
        kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out, cap, &len, nullptr, nullptr, nullptr, &st, 1);
    }
    for (int i = len; i < cap; ++i) out[i] = static_cast<Kep8u>(rng.range(0, 255));
    if (len < 8 || rng.chance(10)) len = cap;  // random bytes
    const int edits = rng.chance(40) ? 0 : static_cast<int>(rng.range(1, 4));
    for (int e = 0; e < edits; ++e) {
        const int at = static_cast<int>(rng.range(0, len - 3));
        switch (rng.range(0, 3)) {
            case 0: out[at] = static_cast<Kep8u>(rng.range(0, 255)); break;
            case 1: out[at] = 0xFF, out[at + 1] = static_cast<Kep8u>(rng.range(0xD0, 0xD9)); break;
            case 2: out[at] = 0xFF, out[at + 1] = 0xFF, out[at + 2] = static_cast<Kep8u>(rng.range(0xC0, 0xFE)); break;
            default: out[at] = 0xFF; break;
        }
    }
    // Stuffed 0xFF bytes of the coded part: often the source ends between one and its zero, or
    // the zero becomes a marker code, so that the fast kernel's byte-wise loads meet both.
    int stuffed[64], nstuffed = 0;
    for (int i = 0; i + 1 < len && nstuffed < 64; ++i)
        if (out[i] == 0xFF && out[i + 1] == 0) stuffed[nstuffed++] = i;
    if (nstuffed && rng.chance(30)) {
        const int at = stuffed[rng.range(0, nstuffed - 1)];
        if (rng.chance(50))
            len = at + 1;
        else
            out[at + 1] = static_cast<Kep8u>(rng.range(0xD0, 0xD7));
    }
    if (rng.chance(30)) len = static_cast<int>(rng.range(0, len));
    if (rng.chance(10) && len > 0) out[len - 1] = 0xFF;
    return len;
}

void generateDec(Rng& rng, DecCase& c) {
    const Table dcT = pickTable(rng, true), acT = pickTable(rng, false);
    c.dc = hufftest::decSpec(dcT);
    c.ac = hufftest::decSpec(acT);
    c.pos = static_cast<int>(rng.range(0, 3));
    c.len = c.pos + makeStream(rng, dcT, acT, c.src + c.pos, kSrcBytes - c.pos);
    c.marker = rng.chance(5) ? 0xD0 : 0;
    c.lastDC = rng.value<Kep16s>();
    memset(&c.st, 0, sizeof c.st);
    if (rng.chance(30)) {
        c.st.bitCount = static_cast<int>(rng.range(0, 32));
        c.st.bitBuffer = static_cast<Kep32u>(rng.next());
    }
}

using DecodeFn = decltype(&kepiDecodeHuffman8x8_JPEG_1u16s_C1);

KepResult carefulDecode(const Kep8u* pSrc, int len, int* pPos, Kep16s* pDst, Kep16s* pLastDC, int* pMarker,
                        const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* st) {
    const OwnHuffSrc src = {pSrc, len, pPos, pMarker};
    return ownHuffDecodeBlock_careful(src, pDst, pLastDC, dc, ac, st);
}

Variant<DecCase> decVariant(const char* name, DecodeFn fn) {
    return {name, [fn](DecCase& c) {
                for (int i = 0; i < kCalls; ++i) {
                    c.result[i] = fn(c.src, c.len, &c.pos, c.out[i], &c.lastDC, &c.marker, &c.dc, &c.ac, &c.st);
                    c.posAfter[i] = c.pos;
                    c.markerAfter[i] = c.marker;
                    c.lastDCAfter[i] = c.lastDC;
                    c.stAfter[i] = c.st;
                }
                return kepOk;
            }};
}

TEST(HuffEquivalence, DecoderFastAndCarefulPathsAgree) {
    kepcheck::runVariants<DecCase>("decode 8x8", kepcheck::iterations(2000), generateDec,
                                   {decVariant("careful", carefulDecode),
                                    decVariant("slot 0", kepcheck::slot(ownTbl_kepiDecodeHuffman8x8_JPEG_1u16s_C1, 0)),
                                    decVariant("slot 1", kepcheck::slot(ownTbl_kepiDecodeHuffman8x8_JPEG_1u16s_C1, 1)),
                                    decVariant("stub", kepiDecodeHuffman8x8_JPEG_1u16s_C1)});
}

// The equivalences above mean something only if the fast kernels take many blocks and also
// decline in their ways. A kernel that declines must not have moved the position, the marker, the
// last DC value or the state.
template <typename Case, typename Fast, typename Same>
void checkFastKernelCoverage(void (*generate)(Rng&, Case&), Fast tryFast, Same untouched) {
    Rng rng(kepcheck::seed());
    int taken = 0, declined = 0;
    const int n = kepcheck::iterations(1000);
    for (int i = 0; i < n; ++i) {
        Case c;
        generate(rng, c);
        const Case before = c;
        if (tryFast(c)) {
            ++taken;
        } else {
            ++declined;
            ASSERT_TRUE(untouched(before, c)) << "case " << i;
        }
    }
    // Many cases have tables without the symbols of extreme values, little room or damaged data.
    EXPECT_GT(taken, n / 5);
    EXPECT_GT(declined, n / 20);
}

TEST(HuffEquivalence, FastKernelsTakeTypicalBlocksAndDeclineTheRest) {
    checkFastKernelCoverage<EncCase>(
        generateEnc,
        [](EncCase& c) {
            const OwnHuffDst dst = {c.dst, c.len, &c.pos};
            return ownHuffEncodeBlock_fast(c.blocks[0], dst, &c.lastDC, &c.dc, &c.ac, &c.st);
        },
        [](const EncCase& a, const EncCase& b) {
            return a.pos == b.pos && a.lastDC == b.lastDC && memcmp(&a.st, &b.st, sizeof a.st) == 0;
        });
    checkFastKernelCoverage<DecCase>(
        generateDec,
        [](DecCase& c) {
            const OwnHuffSrc src = {c.src, c.len, &c.pos, &c.marker};
            return ownHuffDecodeBlock_fast(src, c.out[0], &c.lastDC, &c.dc, &c.ac, &c.st);
        },
        [](const DecCase& a, const DecCase& b) {
            return a.pos == b.pos && a.marker == b.marker && a.lastDC == b.lastDC && memcmp(&a.st, &b.st, sizeof a.st) == 0;
        });
}

// The fast encoder finds an AC value of -32768 (no symbol) for the whole block before it starts,
// but still codes a DC of -32768; and it reads back the last data byte for the state, also when
// the block ends with a stuffed 0xFF.
TEST(HuffEquivalence, FastEncoderEdgesOfTheBlock) {
    struct Run {
        Kep8u dst[600];
        int pos;
        Kep16s lastDC;
        KepiEncodeHuffmanState st;
    };
    Table dc;  // categories 0..16
    dc.bits[4] = 17;
    for (int i = 0; i < 17; ++i) dc.vals[i] = static_cast<Kep8u>(i);
    const KepiEncodeHuffmanSpec dcSpec = hufftest::encSpec(dc), acSpec = hufftest::encSpec(hufftest::standardTable(2));
    // Fast path when it takes the block, careful path alone, then the same results.
    auto both = [&](const Kep16s* b, const KepiEncodeHuffmanState& st0, bool* taken) {
        Run f = {}, c = {};
        f.st = c.st = st0;
        *taken = ownHuffEncodeBlock_fast(b, {f.dst, 600, &f.pos}, &f.lastDC, &dcSpec, &acSpec, &f.st);
        const KepResult r = ownHuffEncodeBlock_careful(b, {c.dst, 600, &c.pos}, &c.lastDC, &dcSpec, &acSpec, &c.st);
        if (*taken) {
            EXPECT_EQ(kepOk, r);
            EXPECT_EQ(0, memcmp(&f, &c, sizeof f));
        } else {
            EXPECT_EQ(0, f.pos);  // declined before touching anything
            EXPECT_EQ(0, f.lastDC);
            EXPECT_EQ(0, memcmp(&f.st, &st0, sizeof st0));
        }
        return c;
    };
    Kep16s b[64] = {};
    b[0] = -32768;
    b[1] = 5;
    bool taken;
    both(b, KepiEncodeHuffmanState{}, &taken);
    EXPECT_TRUE(taken);
    b[kepcheck::Rng(kepcheck::seed()).range(1, 63)] = -32768;
    both(b, KepiEncodeHuffmanState{}, &taken);
    EXPECT_FALSE(taken);

    // Every AC magnitude up to 300 and the largest of the table, beside small ones and a DC of any size: the
    // categories of magnitudes that fit in a byte and of those that do not, the switch between
    // the two at 256 (from the ACs alone), and -32768 only as an AC.
    for (int v = -300; v <= 300; ++v) {
        for (const int dcValue : {3, 2047, -32768}) {
            Kep16s blk[64] = {};
            blk[0] = static_cast<Kep16s>(dcValue);
            blk[ownZigzagNaturalExt[1 + (v & 31)]] = static_cast<Kep16s>(v);
            blk[ownZigzagNaturalExt[40 + (v & 15)]] = static_cast<Kep16s>(v & 7);
            both(blk, KepiEncodeHuffmanState{}, &taken);
            ASSERT_TRUE(taken) << v << " " << dcValue;
        }
    }
    for (const Kep16s v : {Kep16s(1023), Kep16s(-1023), Kep16s(255), Kep16s(-255)}) {
        std::fill(b, b + 64, Kep16s(0));
        b[9] = v;
        both(b, KepiEncodeHuffmanState{}, &taken);
        EXPECT_TRUE(taken);
        b[20] = -32768;
        both(b, KepiEncodeHuffmanState{}, &taken);
        EXPECT_FALSE(taken);
    }

    // Blocks until one ends with a stuffed 0xFF, after a state whose last byte is different.
    Rng rng(kepcheck::seed());
    KepiEncodeHuffmanState st0 = {};
    st0.bitBuffer = 0x12u << 24;
    int endsStuffed = 0;
    for (int n = 0; n < 20000 && endsStuffed < 3; ++n) {
        for (int i = 0; i < 64; ++i) b[i] = static_cast<Kep16s>(rng.chance(30) ? rng.range(-40, 40) : 0);
        const Run c = both(b, st0, &taken);
        ASSERT_TRUE(taken);
        if (c.pos >= 2 && c.dst[c.pos - 1] == 0 && c.dst[c.pos - 2] == 0xFF) {
            ++endsStuffed;
            EXPECT_EQ(0xFFu, static_cast<Kep32u>(c.st.bitBuffer) >> 24);
        }
    }
    EXPECT_EQ(3, endsStuffed);
}

// Real scans block by block: the fast decoder (careful path where it declines) and the careful
// path alone stay in step, state for state, across stuffed 0xFF bytes and up to the end of the scan,
// and the fast decoder takes nearly every block, stuffed bytes included.
TEST(HuffEquivalence, FastDecoderFollowsCarefulOverRealScans) {
    for (int quality : {75, 95, 100}) {
        hufftest::MakeOptions o;
        o.width = 200;
        o.height = 120;
        o.hSamp = 2;
        o.vSamp = quality == 75 ? 2 : 1;
        o.quality = quality;
        o.seed = static_cast<uint64_t>(quality);
        hufftest::JpegFile f = hufftest::readJpeg(hufftest::makeJpeg(o));
        KepiDecodeHuffmanSpec dc[4], ac[4];
        for (int t = 0; t < 4; ++t) {
            if (f.dc[t].count()) dc[t] = hufftest::decSpec(f.dc[t]);
            if (f.ac[t].count()) ac[t] = hufftest::decSpec(f.ac[t]);
        }
        const Kep8u* scan = f.bytes.data() + f.scanStart;
        const int len = static_cast<int>(f.bytes.size() - f.scanStart);
        struct Side {
            KepiDecodeHuffmanState st = {};
            int pos = 0, marker = 0;
            Kep16s lastDC[4] = {};
            Kep16s out[64];
        } fast, careful;
        int blocks = 0, taken = 0, takenAcrossStuffing = 0;
        hufftest::forEachBlock(f, [&](int c, int bx, int by, int) {
            const auto& comp = f.comps[static_cast<size_t>(c)];
            const KepiDecodeHuffmanSpec *d = &dc[comp.dcTable], *a = &ac[comp.acTable];
            const int before = fast.pos;
            const OwnHuffSrc srcF = {scan, len, &fast.pos, &fast.marker}, srcC = {scan, len, &careful.pos, &careful.marker};
            KepResult rF = kepOk;
            if (ownHuffDecodeBlock_fast(srcF, fast.out, &fast.lastDC[c], d, a, &fast.st)) {
                ++taken;
                if (std::memchr(scan + before, 0xFF, static_cast<size_t>(fast.pos - before))) ++takenAcrossStuffing;
            } else {
                rF = ownHuffDecodeBlock_careful(srcF, fast.out, &fast.lastDC[c], d, a, &fast.st);
            }
            const KepResult rC = ownHuffDecodeBlock_careful(srcC, careful.out, &careful.lastDC[c], d, a, &careful.st);
            ++blocks;
            ASSERT_EQ(rC, rF) << "q" << quality << " block " << blocks;
            ASSERT_EQ(kepOk, rC);
            ASSERT_EQ(0, memcmp(&fast, &careful, sizeof fast)) << "q" << quality << " block " << blocks;
            ASSERT_EQ(0, memcmp(careful.out, f.block(c, bx, by), sizeof careful.out));
        });
        EXPECT_GT(taken, blocks - 8) << "q" << quality;
        EXPECT_GT(takenAcrossStuffing, 0) << "q" << quality;
    }
}

// ---- Direct forms ---------------------------------------------------------------------------

// The Direct decoder on a source that ends in a marker equals the stateful decoder given the
// whole buffer: same blocks, results, position, marker, last DC and read-ahead bits.
struct DirectCase {
    KepiDecodeHuffmanSpec dc, ac;
    Kep8u src[kSrcBytes + 2];
    Kep32s pos, marker, bits, count;
    Kep16s lastDC;
    Kep16s out[kCalls][64];
    Kep32s result[kCalls], posAfter[kCalls], markerAfter[kCalls], bitsAfter[kCalls], countAfter[kCalls];
    Kep16s lastDCAfter[kCalls];
};

void generateDirect(Rng& rng, DirectCase& c) {
    DecCase d;
    generateDec(rng, d);
    memcpy(&c.dc, &d.dc, sizeof c.dc);
    memcpy(&c.ac, &d.ac, sizeof c.ac);
    memcpy(c.src, d.src, static_cast<size_t>(d.len));
    c.src[d.len] = 0xFF;  // the marker the Direct decoder's caller guarantees
    c.src[d.len + 1] = 0xD9;
    c.pos = d.pos;
    c.marker = d.marker;
    c.lastDC = d.lastDC;
    c.bits = static_cast<Kep32s>(d.st.bitBuffer);
    c.count = d.st.bitCount;
}

Variant<DirectCase> directVariant(const char* name, bool direct) {
    return {name, [direct](DirectCase& c) {
                KepiDecodeHuffmanState st = {static_cast<Kep32u>(c.bits), c.count, 0, 0, 0};
                int bitsPos = c.pos * 8;
                Kep32u word = static_cast<Kep32u>(c.bits);
                for (int i = 0; i < kCalls; ++i) {
                    if (direct) {
                        c.result[i] = kepiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(c.src, &bitsPos, c.out[i], &c.lastDC, &c.marker,
                                                                            &word, &c.count, &c.dc, &c.ac);
                        c.posAfter[i] = bitsPos / 8;
                        c.bitsAfter[i] = static_cast<Kep32s>(word);
                    } else {
                        c.result[i] = kepiDecodeHuffman8x8_JPEG_1u16s_C1(c.src, kSrcBytes + 2, &c.pos, c.out[i], &c.lastDC,
                                                                     &c.marker, &c.dc, &c.ac, &st);
                        c.posAfter[i] = c.pos;
                        c.bitsAfter[i] = static_cast<Kep32s>(st.bitBuffer);
                        c.count = st.bitCount;
                    }
                    c.countAfter[i] = c.count;
                    c.markerAfter[i] = c.marker;
                    c.lastDCAfter[i] = c.lastDC;
                }
                c.pos = 0;  // the inputs differ in form only
                c.bits = 0;
                return kepOk;
            }};
}

TEST(HuffEquivalence, DirectDecoderEqualsStatefulDecoder) {
    kepcheck::runVariants<DirectCase>("decode direct", kepcheck::iterations(2000), generateDirect,
                                      {directVariant("stateful", false), directVariant("direct", true)});
}

// Bits the Direct encoder writes for the first block of c from bit 0.
int bitsAfterFirst(const EncCase& c) {
    std::vector<Kep8u> big(600, 0);
    int bits = 0;
    Kep16s last = c.lastDC;
    kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(c.blocks[0], big.data(), &bits, &last, &c.dc, &c.ac);
    return bits;
}

// The Direct encoder leaves in the buffer what the stateful encoder has written plus its pending
// bits, left-aligned in the last byte, and counts the position in bits.
TEST(HuffEquivalence, DirectEncoderEqualsStatefulEncoder) {
    Rng rng(kepcheck::seed());
    for (int n = 0; n < kepcheck::iterations(1500); ++n) {
        EncCase c;
        generateEnc(rng, c);
        // Room for any six blocks (518 bytes each at most) in both forms.
        std::vector<Kep8u> stateful(kCalls * 518, 0), direct(kCalls * 518, 0);
        KepiEncodeHuffmanState st;
        kepiEncodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0, bits = 0;
        Kep16s lastA = c.lastDC, lastB = c.lastDC;
        for (int i = 0; i < kCalls; ++i) {
            const KepResult r = kepiEncodeHuffman8x8_JPEG_16s1u_C1(c.blocks[i], stateful.data(), static_cast<int>(stateful.size()),
                                                                   &pos, &lastA, &c.dc, &c.ac, &st, 0);
            ASSERT_NE(kepErrStreamEnd, r);
            ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(c.blocks[i], direct.data(), &bits, &lastB, &c.dc, &c.ac));
            ASSERT_EQ(lastA, lastB);
            // Also after a missing code (-64): both forms keep what was written before it.
            ASSERT_EQ(pos * 8 + st.bitCount, bits) << "case " << n << " call " << i;
            ASSERT_EQ(0, memcmp(stateful.data(), direct.data(), static_cast<size_t>(pos)));
            if (st.bitCount) {
                ASSERT_EQ(static_cast<Kep8u>(st.bitBuffer >> 16), direct[static_cast<size_t>(pos)]);
            }
            if (r != kepOk) break;
        }
        // The caller guarantees room for the block only: into a buffer that ends with the first
        // block's last byte (checked by the sanitizer build), the same bytes.
        int exactBits = 0;
        Kep16s lastC = c.lastDC;
        std::vector<Kep8u> exact((static_cast<size_t>(bitsAfterFirst(c)) + 7) / 8);
        if (!exact.empty()) {
            kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(c.blocks[0], exact.data(), &exactBits, &lastC, &c.dc, &c.ac);
            ASSERT_EQ(0, memcmp(exact.data(), direct.data(), exact.size() - (exactBits & 7 ? 1 : 0)));
        }
    }
}

}  // namespace
