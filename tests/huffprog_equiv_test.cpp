// Progressive, statistics and lossless exports through every way of calling them: the
// implementation itself, dispatch slots 0 and 1 and the exported stub must leave identical
// streams, positions, markers, blocks, counts and states on random call sequences, including
// out-of-range scan parameters, buffers that run out and random (corrupt) entropy-coded data.

#include <gtest/gtest.h>

#include "huffprog.h"
#include "huffprog_jpeg.h"
#include "kepcheck.h"
#include "pjdispatch.h"

namespace {

using kepcheck::Rng;
using kepcheck::Variant;

constexpr int kCalls = 8;

// The four ways of calling export `name`.
#define KEP_WAYS(name) \
    { own_##name, ownTbl_##name[0], ownTbl_##name[1], name }
const char* const kWayNames[4] = {"implementation", "slot 0", "slot 1", "stub"};

template <typename Case, typename Fn>
std::vector<Variant<Case>> variants(const Fn (&ways)[4], void (*run)(Case&, Fn)) {
    std::vector<Variant<Case>> v;
    for (int i = 0; i < 4; ++i) {
        const Fn fn = ways[i];
        v.push_back({kWayNames[i], [fn, run](Case& c) {
                         run(c, fn);
                         return kepOk;
                     }});
    }
    return v;
}

hufftest::Table anyTable(Rng& rng) {
    return rng.chance(30) ? hufftest::standardTable(static_cast<int>(rng.range(0, 3)))
                          : hufftest::randomTable(rng, static_cast<int>(rng.range(2, 200)));
}

void sparseBlock(Rng& rng, Kep16s* b) {
    const int density = static_cast<int>(rng.range(0, 70));
    const int magnitude = rng.chance(80) ? 7 : 32767;
    for (int i = 0; i < 64; ++i) b[i] = rng.chance(density) ? static_cast<Kep16s>(rng.range(-magnitude, magnitude)) : 0;
    if (rng.chance(3)) b[rng.range(0, 63)] = -32768;
}

// Scan parameters, now and then out of range.
void scanParams(Rng& rng, Kep32s* Ss, Kep32s* Se, Kep32s* Al) {
    *Ss = static_cast<int>(rng.range(1, 63));
    *Se = static_cast<int>(rng.range(*Ss, 63));
    *Al = static_cast<int>(rng.range(0, 13));
    if (rng.chance(5)) *Ss = static_cast<int>(rng.range(-1, 64));
    if (rng.chance(5)) *Se = static_cast<int>(rng.range(-1, 64));
    if (rng.chance(5)) *Al = static_cast<int>(rng.range(-1, 15));
}

// ---- Progressive encoders and AC statistics ---------------------------------------------------

struct EncCase {
    KepiEncodeHuffmanSpec spec;
    Kep16s blocks[kCalls][64];
    Kep32s flush[kCalls], Ss[kCalls], Se[kCalls], Al[kCalls];
    Kep32s len, pos;
    Kep16s lastDC;
    KepiEncodeHuffmanState st;
    Kep8u dst[2048];
    int stats[257];
    Kep32s result[kCalls], posAfter[kCalls];
};

void generateEnc(Rng& rng, EncCase& c) {
    c.spec = hufftest::encSpec(anyTable(rng));
    for (int i = 0; i < kCalls; ++i) {
        sparseBlock(rng, c.blocks[i]);
        c.flush[i] = rng.chance(10);
        scanParams(rng, &c.Ss[i], &c.Se[i], &c.Al[i]);
    }
    c.pos = static_cast<int>(rng.range(0, 32));
    c.len = rng.chance(70) ? 2048 : c.pos + static_cast<int>(rng.range(1, 60));
    for (Kep8u& b : c.dst) b = static_cast<Kep8u>(rng.range(0, 255));
    c.lastDC = rng.value<Kep16s>();
}

using ACEnc = decltype(&kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1);
void runAC(EncCase& c, ACEnc fn) {
    for (int i = 0; i < kCalls; ++i) {
        c.result[i] = fn(c.blocks[i], c.dst, c.len, &c.pos, c.Ss[i], c.Se[i], c.Al[i], &c.spec, &c.st, c.flush[i]);
        c.posAfter[i] = c.pos;
    }
}
using DCFirstEnc = decltype(&kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1);
void runDCFirst(EncCase& c, DCFirstEnc fn) {
    for (int i = 0; i < kCalls; ++i) {
        c.result[i] = fn(c.blocks[i], c.dst, c.len, &c.pos, &c.lastDC, c.Al[i], &c.spec, &c.st, c.flush[i]);
        c.posAfter[i] = c.pos;
    }
}
using DCRefineEnc = decltype(&kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1);
void runDCRefine(EncCase& c, DCRefineEnc fn) {
    for (int i = 0; i < kCalls; ++i) {
        c.result[i] = fn(c.blocks[i], c.dst, c.len, &c.pos, c.Al[i], &c.st, c.flush[i]);
        c.posAfter[i] = c.pos;
    }
}
using ACStat = decltype(&kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1);
void runACStat(EncCase& c, ACStat fn) {
    for (int i = 0; i < kCalls; ++i) c.result[i] = fn(c.blocks[i], c.stats, c.Ss[i], c.Se[i], c.Al[i], &c.st, c.flush[i]);
}

TEST(HuffProgEquivalence, EncodersAndStatisticsAgreeOnEveryPath) {
    const int n = kepcheck::iterations(300);
    const ACEnc acFirst[4] = KEP_WAYS(kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1);
    const ACEnc acRefine[4] = KEP_WAYS(kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1);
    const DCFirstEnc dcFirst[4] = KEP_WAYS(kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1);
    const DCRefineEnc dcRefine[4] = KEP_WAYS(kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1);
    const ACStat statFirst[4] = KEP_WAYS(kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1);
    const ACStat statRefine[4] = KEP_WAYS(kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1);
    kepcheck::runVariants<EncCase>("AC first", n, generateEnc, variants(acFirst, runAC));
    kepcheck::runVariants<EncCase>("AC refine", n, generateEnc, variants(acRefine, runAC));
    kepcheck::runVariants<EncCase>("DC first", n, generateEnc, variants(dcFirst, runDCFirst));
    kepcheck::runVariants<EncCase>("DC refine", n, generateEnc, variants(dcRefine, runDCRefine));
    kepcheck::runVariants<EncCase>("AC first statistics", n, generateEnc, variants(statFirst, runACStat));
    kepcheck::runVariants<EncCase>("AC refine statistics", n, generateEnc, variants(statRefine, runACStat));
}

// ---- Progressive decoders on random data ------------------------------------------------------

struct DecCase {
    KepiDecodeHuffmanSpec spec;
    Kep8u src[96];
    Kep32s len, pos, marker;
    Kep32s Ss[kCalls], Se[kCalls], Al[kCalls];
    Kep16s block[64], lastDC;
    KepiDecodeHuffmanState st;
    Kep32s result[kCalls], posAfter[kCalls];
};

void generateDec(Rng& rng, DecCase& c) {
    c.spec = hufftest::decSpec(anyTable(rng));
    for (Kep8u& b : c.src) b = static_cast<Kep8u>(rng.chance(10) ? 0xFF : rng.range(0, 255));
    c.len = static_cast<int>(rng.range(rng.chance(5) ? -1 : 1, 96));
    c.pos = static_cast<int>(rng.range(0, 8));
    for (int i = 0; i < kCalls; ++i) scanParams(rng, &c.Ss[i], &c.Se[i], &c.Al[i]);
    sparseBlock(rng, c.block);
    c.lastDC = rng.value<Kep16s>();
    c.st.eobRun = rng.chance(20) ? static_cast<Kep32u>(rng.range(0, 3)) : 0;
}

using ACDec = decltype(&kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1);
void runACDec(DecCase& c, ACDec fn) {
    for (int i = 0; i < kCalls; ++i) {
        c.result[i] = fn(c.src, c.len, &c.pos, c.block, &c.marker, c.Ss[i], c.Se[i], c.Al[i], &c.spec, &c.st);
        c.posAfter[i] = c.pos;
    }
}
using DCFirstDec = decltype(&kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1);
void runDCFirstDec(DecCase& c, DCFirstDec fn) {
    for (int i = 0; i < kCalls; ++i) {
        c.result[i] = fn(c.src, c.len, &c.pos, c.block, &c.lastDC, &c.marker, c.Al[i], &c.spec, &c.st);
        c.posAfter[i] = c.pos;
    }
}
using DCRefineDec = decltype(&kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1);
void runDCRefineDec(DecCase& c, DCRefineDec fn) {
    for (int i = 0; i < kCalls; ++i) {
        c.result[i] = fn(c.src, c.len, &c.pos, c.block, &c.marker, c.Al[i], &c.st);
        c.posAfter[i] = c.pos;
    }
}

TEST(HuffProgEquivalence, DecodersAgreeOnEveryPath) {
    const int n = kepcheck::iterations(500);
    const ACDec acFirst[4] = KEP_WAYS(kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1);
    const ACDec acRefine[4] = KEP_WAYS(kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1);
    const DCFirstDec dcFirst[4] = KEP_WAYS(kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1);
    const DCRefineDec dcRefine[4] = KEP_WAYS(kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1);
    kepcheck::runVariants<DecCase>("AC first decode", n, generateDec, variants(acFirst, runACDec));
    kepcheck::runVariants<DecCase>("AC refine decode", n, generateDec, variants(acRefine, runACDec));
    kepcheck::runVariants<DecCase>("DC first decode", n, generateDec, variants(dcFirst, runDCFirstDec));
    kepcheck::runVariants<DecCase>("DC refine decode", n, generateDec, variants(dcRefine, runDCRefineDec));
}

// ---- Fast kernels against the careful decoders ----------------------------------------------------

// A stream of one scan kind (AC first, AC refinement, DC first, DC refinement) of random blocks
// coded with our encoder, then damaged as the baseline equivalence test damages its streams:
// flipped bytes, markers, 0xFF fill bytes, a stray 0xFF, a source that ends early or right after
// an 0xFF. The careful decoder alone is the reference; the exports (fast kernel first) through
// both slots and the stub must leave identical coefficients, positions, markers, last DC values
// and whole states (bit buffer and count, end-of-band run) after every call.
constexpr int kFastSrc = 900;
enum Kind { kACFirst, kACRefine, kDCFirst, kDCRefine };

struct FastCase {
    KepiDecodeHuffmanSpec spec;
    Kep8u src[kFastSrc];
    Kep32s kind, Ss, Se, Al;
    Kep32s len, pos, marker;
    Kep16s block[64], lastDC;
    KepiDecodeHuffmanState st;
    Kep16s blockAfter[kCalls][64], lastDCAfter[kCalls];
    Kep32s result[kCalls], posAfter[kCalls], markerAfter[kCalls];
    KepiDecodeHuffmanState stAfter[kCalls];
};

// What earlier scans leave of v when this one refines bit Al: the magnitude above bit Al.
Kep16s beforeRefinement(Kep16s v, int Al) {
    const int mag = (v < 0 ? -v : v) >> (Al + 1) << (Al + 1);
    return static_cast<Kep16s>(v < 0 ? -mag : mag);
}

void generateFast(Rng& rng, FastCase& c) {
    c.kind = static_cast<int>(rng.range(0, 3));
    const bool dc = c.kind >= kDCFirst;
    hufftest::Table t;
    if (rng.chance(40)) {
        t = hufftest::standardTable(static_cast<int>(rng.range(0, 1)) + (dc ? 0 : 2));
    } else {
        int stats[257] = {};
        for (int v = 0; v < (dc ? 12 : 256); ++v) stats[v] = static_cast<int>(rng.range(rng.chance(10) ? 0 : 1, 60));
        kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals);
    }
    c.spec = hufftest::decSpec(t);
    const KepiEncodeHuffmanSpec enc = hufftest::encSpec(t);
    c.Ss = static_cast<int>(rng.range(1, rng.chance(50) ? 1 : 63));
    c.Se = static_cast<int>(rng.range(c.Ss, 63));
    c.Al = static_cast<int>(rng.range(0, rng.chance(70) ? 2 : 13));
    Kep16s blocks[kCalls + 4][64];
    KepiEncodeHuffmanState est;
    kepiEncodeHuffmanStateInit_JPEG_8u(&est);
    int len = 0;
    Kep16s lastDC = 0;
    auto encode = [&](const Kep16s* b, int flush) {
        switch (c.kind) {
            case kACFirst:
                return kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(b, c.src, kFastSrc, &len, c.Ss, c.Se, c.Al, &enc, &est, flush);
            case kACRefine:
                return kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(b, c.src, kFastSrc, &len, c.Ss, c.Se, c.Al, &enc, &est, flush);
            case kDCFirst:
                return kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(b, c.src, kFastSrc, &len, &lastDC, c.Al, &enc, &est, flush);
            default:
                return kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(b, c.src, kFastSrc, &len, c.Al, &est, flush);
        }
    };
    for (auto& b : blocks) {
        sparseBlock(rng, b);
        b[0] = static_cast<Kep16s>(rng.range(-2047, 2047));
        if (rng.chance(30)) memset(b, 0, sizeof b);  // end-of-band runs across blocks
        if (encode(b, 0) != kepOk) break;
    }
    encode(nullptr, 1);
    for (int i = len; i < kFastSrc; ++i) c.src[i] = static_cast<Kep8u>(rng.range(0, 255));
    if (len < 8) len = kFastSrc;
    const int edits = rng.chance(40) ? 0 : static_cast<int>(rng.range(1, 3));
    for (int e = 0; e < edits; ++e) {
        const int at = static_cast<int>(rng.range(0, len - 3));
        switch (rng.range(0, 3)) {
            case 0: c.src[at] = static_cast<Kep8u>(rng.range(0, 255)); break;
            case 1: c.src[at] = 0xFF, c.src[at + 1] = static_cast<Kep8u>(rng.range(0xD0, 0xD9)); break;
            case 2: c.src[at] = 0xFF, c.src[at + 1] = 0xFF, c.src[at + 2] = static_cast<Kep8u>(rng.range(0xC0, 0xFE)); break;
            default: c.src[at] = 0xFF; break;
        }
    }
    if (rng.chance(30)) len = static_cast<int>(rng.range(1, len));
    if (rng.chance(10)) c.src[len - 1] = 0xFF;
    c.len = len;
    c.marker = rng.chance(5) ? 0xD1 : 0;
    for (int i = 0; i < 64; ++i) c.block[i] = c.kind == kACRefine ? beforeRefinement(blocks[0][i], c.Al) : 0;
    c.lastDC = rng.value<Kep16s>({0, 2047});
    if (rng.chance(20)) c.st.eobRun = static_cast<Kep32u>(rng.range(1, 3));
    if (rng.chance(30)) {
        c.st.bitCount = static_cast<int>(rng.range(0, 32));
        c.st.bitBuffer = rng.chance(20) ? rng.next() : static_cast<Kep32u>(rng.next());  // sometimes upper bits set
    }
}

struct Decoders {
    ACDec acFirst, acRefine;
    DCFirstDec dcFirst;
    DCRefineDec dcRefine;
};

// The careful decoders alone (no exports given), or the exports.
Variant<FastCase> fastVariant(const char* name, const Decoders* d) {
    return {name, [=](FastCase& c) {
                for (int i = 0; i < kCalls; ++i) {
                    const OwnHuffSrc src = {c.src, c.len, &c.pos, &c.marker};
                    KepResult& r = c.result[i];
                    switch (c.kind) {
                        case kACFirst:
                            r = d ? d->acFirst(c.src, c.len, &c.pos, c.block, &c.marker, c.Ss, c.Se, c.Al, &c.spec, &c.st)
                                  : ownHuffDecodeACFirst_careful(src, c.block, c.Ss, c.Se, c.Al, &c.spec, &c.st);
                            break;
                        case kACRefine:
                            r = d ? d->acRefine(c.src, c.len, &c.pos, c.block, &c.marker, c.Ss, c.Se, c.Al, &c.spec, &c.st)
                                  : ownHuffDecodeACRefine_careful(src, c.block, c.Ss, c.Se, c.Al, &c.spec, &c.st);
                            break;
                        case kDCFirst:
                            r = d ? d->dcFirst(c.src, c.len, &c.pos, c.block, &c.lastDC, &c.marker, c.Al, &c.spec, &c.st)
                                  : ownHuffDecodeDCFirst_careful(src, c.block, &c.lastDC, c.Al, &c.spec, &c.st);
                            break;
                        default:
                            r = d ? d->dcRefine(c.src, c.len, &c.pos, c.block, &c.marker, c.Al, &c.st)
                                  : ownHuffDecodeDCRefine_careful(src, c.block, c.Al, &c.st);
                    }
                    memcpy(c.blockAfter[i], c.block, sizeof c.block);
                    c.lastDCAfter[i] = c.lastDC;
                    c.posAfter[i] = c.pos;
                    c.markerAfter[i] = c.marker;
                    c.stAfter[i] = c.st;
                }
                return kepOk;
            }};
}

bool tryFast(FastCase& c) {
    const OwnHuffSrc src = {c.src, c.len, &c.pos, &c.marker};
    switch (c.kind) {
        case kACFirst: return ownHuffDecodeACFirst_fast(src, c.block, c.Ss, c.Se, c.Al, &c.spec, &c.st);
        case kACRefine: return ownHuffDecodeACRefine_fast(src, c.block, c.Ss, c.Se, c.Al, &c.spec, &c.st);
        case kDCFirst: return ownHuffDecodeDCFirst_fast(src, c.block, &c.lastDC, c.Al, &c.spec, &c.st);
        default: return ownHuffDecodeDCRefine_fast(src, c.block, c.Al, &c.st);
    }
}

TEST(HuffProgEquivalence, FastDecodersFollowCarefulOnDamagedStreams) {
    const ACDec acFirst[4] = KEP_WAYS(kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1);
    const ACDec acRefine[4] = KEP_WAYS(kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1);
    const DCFirstDec dcFirst[4] = KEP_WAYS(kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1);
    const DCRefineDec dcRefine[4] = KEP_WAYS(kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1);
    static Decoders ways[4];
    std::vector<Variant<FastCase>> v = {fastVariant("careful", nullptr)};
    for (int i = 0; i < 4; ++i) {
        ways[i] = {acFirst[i], acRefine[i], dcFirst[i], dcRefine[i]};
        v.push_back(fastVariant(kWayNames[i], &ways[i]));
    }
    kepcheck::runVariants<FastCase>("progressive fast", kepcheck::iterations(2000), generateFast, v);

    // That means something only if the kernels take many calls of every kind and decline in
    // their ways; one that declines must have left the state, the position, the marker, the
    // last DC value and the block alone.
    Rng rng(kepcheck::seed());
    int taken[4] = {}, declined[4] = {};
    const int n = kepcheck::iterations(2000);
    for (int i = 0; i < n; ++i) {
        FastCase c;
        memset(&c, 0, sizeof c);
        generateFast(rng, c);
        const FastCase before = c;
        if (tryFast(c)) {
            ++taken[c.kind];
            continue;
        }
        ++declined[c.kind];
        ASSERT_EQ(before.pos, c.pos) << "case " << i;
        ASSERT_EQ(before.marker, c.marker) << "case " << i;
        ASSERT_EQ(before.lastDC, c.lastDC) << "case " << i;
        ASSERT_EQ(0, memcmp(&before.st, &c.st, sizeof c.st)) << "case " << i;
        ASSERT_EQ(0, memcmp(before.block, c.block, sizeof c.block)) << "case " << i;
    }
    for (int k = 0; k < 4; ++k) {
        EXPECT_GT(taken[k], n / 12) << "kind " << k;
        EXPECT_GT(declined[k], n / 200) << "kind " << k;
    }
}

// Every AC scan of real progressive files, block by block: the fast kernels (careful path where
// they decline) and the careful decoders alone stay in step, state for state, up to the end of each
// scan, and the kernels take nearly every block.
TEST(HuffProgEquivalence, FastACDecodersFollowCarefulOverRealScans) {
    for (int quality : {75, 95}) {
        hufftest::MakeOptions o;
        o.width = 160;
        o.height = 96;
        o.hSamp = o.vSamp = 2;
        o.quality = quality;
        o.seed = static_cast<uint64_t>(quality);
        const progtest::ProgFile f = progtest::readProgressive(progtest::makeProgressiveJpeg(o));
        std::vector<std::vector<Kep16s>> fastCoef, carefulCoef;
        for (const auto& comp : f.comps) fastCoef.emplace_back(comp.coef.size(), 0);
        carefulCoef = fastCoef;
        int blocks = 0, taken = 0;
        for (const progtest::Scan& s : f.scans) {
            if (s.Ss == 0) continue;
            const KepiDecodeHuffmanSpec spec = hufftest::decSpec(s.ac[s.acTable[0]]);
            struct Side {
                KepiDecodeHuffmanState st = {};
                int pos = 0, marker = 0;
            } fast, careful;
            fast.pos = careful.pos = static_cast<int>(s.start);
            const int len = static_cast<int>(f.bytes.size());
            progtest::forEachBlock(f, s, [&](int, int c, int bx, int by, int) {
                const auto& comp = f.comps[static_cast<size_t>(c)];
                const size_t at = (static_cast<size_t>(by) * comp.allocX + bx) * 64;
                Kep16s* bf = &fastCoef[static_cast<size_t>(c)][at];
                Kep16s* bc = &carefulCoef[static_cast<size_t>(c)][at];
                const OwnHuffSrc srcF = {f.bytes.data(), len, &fast.pos, &fast.marker};
                const OwnHuffSrc srcC = {f.bytes.data(), len, &careful.pos, &careful.marker};
                const bool tookF = s.Ah ? ownHuffDecodeACRefine_fast(srcF, bf, s.Ss, s.Se, s.Al, &spec, &fast.st)
                                        : ownHuffDecodeACFirst_fast(srcF, bf, s.Ss, s.Se, s.Al, &spec, &fast.st);
                KepResult rF = kepOk;
                if (!tookF)
                    rF = s.Ah ? ownHuffDecodeACRefine_careful(srcF, bf, s.Ss, s.Se, s.Al, &spec, &fast.st)
                              : ownHuffDecodeACFirst_careful(srcF, bf, s.Ss, s.Se, s.Al, &spec, &fast.st);
                const KepResult rC = s.Ah ? ownHuffDecodeACRefine_careful(srcC, bc, s.Ss, s.Se, s.Al, &spec, &careful.st)
                                          : ownHuffDecodeACFirst_careful(srcC, bc, s.Ss, s.Se, s.Al, &spec, &careful.st);
                ++blocks;
                taken += tookF;
                ASSERT_EQ(kepOk, rC);
                ASSERT_EQ(rC, rF);
                ASSERT_EQ(0, memcmp(&fast, &careful, sizeof fast)) << "q" << quality << " block " << blocks;
                ASSERT_EQ(0, memcmp(bf, bc, 64 * sizeof(Kep16s))) << "q" << quality << " block " << blocks;
            });
        }
        // Only the last blocks of a scan, whose bits reach the marker after it, go the careful way.
        EXPECT_GT(taken, blocks - 8 * static_cast<int>(f.scans.size())) << "q" << quality;
    }
}

// ---- Lossless rows ------------------------------------------------------------------------------

constexpr int kWidth = 40;

struct RowCase {
    Kep16s src[4][kWidth], prev[kWidth], dst[4][kWidth];
    Kep32s width, nComps, predictor, P, Pt;
    KepiEncodeHuffmanSpec espec;
    KepiDecodeHuffmanSpec dspec;
    Kep8u stream[400];
    Kep32s len, pos, marker;
    KepiEncodeHuffmanState est;
    KepiDecodeHuffmanState dst_;
    Kep32s result[6];
};

void generateRow(Rng& rng, RowCase& c) {
    for (auto& row : c.src) rng.fill(row, kWidth, {32767, -32768});
    rng.fill(c.prev, kWidth, {32767, -32768});
    c.width = static_cast<int>(rng.range(rng.chance(5) ? 0 : 1, kWidth));
    c.nComps = static_cast<int>(rng.range(rng.chance(5) ? 0 : 1, 6));
    c.predictor = static_cast<int>(rng.range(0, 8));
    c.P = static_cast<int>(rng.range(1, 17));
    c.Pt = static_cast<int>(rng.range(-1, c.P));
    int stats[257] = {};
    for (int i = 0; i < 17; ++i) stats[i] = static_cast<int>(rng.range(0, 3));
    hufftest::Table t;
    kepiEncodeHuffmanRawTableInit_JPEG_8u(stats, t.bits, t.vals);
    if (t.count()) {
        c.espec = hufftest::encSpec(t);
        c.dspec = hufftest::decSpec(t);
    }
    for (Kep8u& b : c.stream) b = static_cast<Kep8u>(rng.range(0, 255));
    c.len = static_cast<int>(rng.range(1, 400));
}

struct RowFns {
    decltype(&kepiDiffPredFirstRow_JPEG_16s_C1) diffFirst, reconFirst;
    decltype(&kepiDiffPredRow_JPEG_16s_C1) diff, recon;
    decltype(&kepiEncodeHuffmanRow_JPEG_16s1u_P4C1) enc;
    decltype(&kepiDecodeHuffmanRow_JPEG_1u16s_C1P4) dec;
};

void runRow(RowCase& c, RowFns f) {
    c.result[0] = f.diffFirst(c.src[0], c.dst[0], c.width, c.P, c.Pt);
    c.result[1] = f.reconFirst(c.src[1], c.dst[1], c.width, c.P, c.Pt);
    c.result[2] = f.diff(c.src[2], c.prev, c.dst[2], c.width, c.predictor);
    c.result[3] = f.recon(c.src[3], c.prev, c.dst[3], c.width, c.predictor);
    const Kep16s* src[4] = {c.src[0], c.src[1], c.src[2], c.src[3]};
    Kep16s* dst[4] = {c.dst[0], c.dst[1], c.dst[2], c.dst[3]};
    const KepiEncodeHuffmanSpec* et[4] = {&c.espec, &c.espec, &c.espec, &c.espec};
    const KepiDecodeHuffmanSpec* dt[4] = {&c.dspec, &c.dspec, &c.dspec, &c.dspec};
    c.result[4] = f.enc(src, c.width, c.nComps, c.stream, c.len, &c.pos, et, &c.est, 0);
    f.enc(src, c.width, c.nComps, c.stream, c.len, &c.pos, et, &c.est, 1);
    c.marker = 0;
    int rpos = 0;
    c.result[5] = f.dec(c.stream, c.pos > 0 ? c.pos : 1, &rpos, dst, c.width, c.nComps, &c.marker, dt, &c.dst_);
}

TEST(HuffProgEquivalence, LosslessRowsAgreeOnEveryPath) {
    std::vector<Variant<RowCase>> v;
    const RowFns ways[4] = {
        {own_kepiDiffPredFirstRow_JPEG_16s_C1, own_kepiReconstructPredFirstRow_JPEG_16s_C1, own_kepiDiffPredRow_JPEG_16s_C1,
         own_kepiReconstructPredRow_JPEG_16s_C1, own_kepiEncodeHuffmanRow_JPEG_16s1u_P4C1, own_kepiDecodeHuffmanRow_JPEG_1u16s_C1P4},
        {ownTbl_kepiDiffPredFirstRow_JPEG_16s_C1[0], ownTbl_kepiReconstructPredFirstRow_JPEG_16s_C1[0],
         ownTbl_kepiDiffPredRow_JPEG_16s_C1[0], ownTbl_kepiReconstructPredRow_JPEG_16s_C1[0],
         ownTbl_kepiEncodeHuffmanRow_JPEG_16s1u_P4C1[0], ownTbl_kepiDecodeHuffmanRow_JPEG_1u16s_C1P4[0]},
        {ownTbl_kepiDiffPredFirstRow_JPEG_16s_C1[1], ownTbl_kepiReconstructPredFirstRow_JPEG_16s_C1[1],
         ownTbl_kepiDiffPredRow_JPEG_16s_C1[1], ownTbl_kepiReconstructPredRow_JPEG_16s_C1[1],
         ownTbl_kepiEncodeHuffmanRow_JPEG_16s1u_P4C1[1], ownTbl_kepiDecodeHuffmanRow_JPEG_1u16s_C1P4[1]},
        {kepiDiffPredFirstRow_JPEG_16s_C1, kepiReconstructPredFirstRow_JPEG_16s_C1, kepiDiffPredRow_JPEG_16s_C1,
         kepiReconstructPredRow_JPEG_16s_C1, kepiEncodeHuffmanRow_JPEG_16s1u_P4C1, kepiDecodeHuffmanRow_JPEG_1u16s_C1P4}};
    for (int i = 0; i < 4; ++i) {
        const RowFns f = ways[i];
        v.push_back({kWayNames[i], [f](RowCase& c) {
                         runRow(c, f);
                         return kepOk;
                     }});
    }
    kepcheck::runVariants<RowCase>("lossless rows", kepcheck::iterations(500), generateRow, v);
}

}  // namespace
