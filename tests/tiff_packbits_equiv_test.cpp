// Equivalence of the PackBits coders: the encoder's byte-by-byte path against its bulk path and
// the export through both slots and the stub (code, position and result, including overruns into
// short buffers at any start position); the decoder's byte-by-byte reference against its fast
// paths, both slots and the stub on hostile input (random headers, lengths and positions) and on
// valid code that ends near the source or row length (result, position, the bytes produced, and
// every byte of the row after a success).

#include <gtest/gtest.h>

#include "kepcheck.h"
#include "packbits.h"
#include "pjdispatch.h"
#include "tiff_rows.h"

namespace {

using kepcheck::Rng;
using kepcheck::Variant;

struct PackCase {
    Kep8u src[700];
    Kep8u dst[800];
    Kep32s srcLen, dstLen, pos;
    KepResult result;
};

void generatePack(Rng& rng, PackCase& c) {
    const auto row = tiffrows::synthetic(rng, sizeof c.src);
    std::memcpy(c.src, row.data(), sizeof c.src);
    for (Kep8u& b : c.dst) b = static_cast<Kep8u>(rng.next());
    c.srcLen = static_cast<Kep32s>(rng.range(1, sizeof c.src));
    c.dstLen = static_cast<Kep32s>(rng.chance(60) ? sizeof c.dst : rng.range(1, sizeof c.dst));
    c.pos = static_cast<Kep32s>(rng.chance(80) ? rng.range(0, 40) : rng.range(-3, c.dstLen + 3));
}

TEST(PackBitsEquivalence, EncoderPathsSlotsAndStub) {
    auto internal = [](const char* name, bool wide) {
        return Variant<PackCase>{name, [wide](PackCase& c) {
                                     c.result = ownPackBitsRow(c.src, c.srcLen, c.dst, &c.pos, c.dstLen, wide);
                                     return c.result;
                                 }};
    };
    auto exported = [](std::string name, decltype(&kepiPackBitsRow_TIFF_8u_C1) e) {
        return Variant<PackCase>{name, [e](PackCase& c) {
                                     c.result = e(c.src, c.srcLen, c.dst, &c.pos, c.dstLen);
                                     return c.result;
                                 }};
    };
    kepcheck::runVariants<PackCase>("packbits encode", kepcheck::iterations(4000), generatePack,
                                    {internal("byte by byte", false), internal("bulk", true),
                                     exported("slot 0", kepcheck::slot(ownTbl_kepiPackBitsRow_TIFF_8u_C1, 0)),
                                     exported("slot 1", kepcheck::slot(ownTbl_kepiPackBitsRow_TIFF_8u_C1, 1)),
                                     exported("stub", kepiPackBitsRow_TIFF_8u_C1)});
}

struct UnpackCase {
    Kep8u src[800];  // srcLen <= 799: room for the byte read past a final replicate header
    Kep8u dst[700];
    Kep32s srcLen, dstLen, pos;
};

// Valid code of a random row, with no-op headers (-128) slipped in before some runs, ending close
// to the source length, the row length or both: the decoder's fast loop hands over to the
// careful one at every distance from the ends, in the middle of long and short runs of both
// kinds, and sometimes the source ends just behind a replicate header (the byte past the length
// is then read).
void generateNearEnd(Rng& rng, UnpackCase& c) {
    const auto row = tiffrows::synthetic(rng, static_cast<size_t>(rng.range(140, sizeof c.dst)));
    Kep8u code[sizeof c.src];
    int len = 0;
    kepiPackBitsRow_TIFF_8u_C1(row.data(), static_cast<int>(row.size()), code, &len, sizeof code - 100);
    int out = 0, lastReplicate = -1;
    for (int p = 0; p < len && out < static_cast<int>(sizeof c.src) - 130;) {
        if (rng.chance(4)) c.src[out++] = 0x80;
        const int n = static_cast<int8_t>(code[p]);
        const int size = n >= 0 ? n + 2 : 2;
        if (n < 0) lastReplicate = out;
        std::memcpy(c.src + out, code + p, static_cast<size_t>(size));
        out += size;
        p += size;
    }
    const int cut = rng.chance(20) && lastReplicate >= 0 ? lastReplicate + 1 : out - static_cast<int>(rng.range(0, 24));
    c.srcLen = cut < 1 ? 1 : cut;
    const int dstLen = static_cast<int>(row.size()) + static_cast<int>(rng.range(-24, 24));
    c.dstLen = dstLen < 1 ? 1 : dstLen > static_cast<int>(sizeof c.dst) ? static_cast<int>(sizeof c.dst) : dstLen;
    c.pos = 0;
}

void generateUnpack(Rng& rng, UnpackCase& c) {
    // Either a valid code of a random row followed by noise, or noise: headers of every kind.
    for (Kep8u& b : c.src) b = static_cast<Kep8u>(rng.next());
    for (Kep8u& b : c.dst) b = static_cast<Kep8u>(rng.next());
    if (rng.chance(40)) return generateNearEnd(rng, c);
    if (rng.chance(50)) {
        const auto row = tiffrows::synthetic(rng, static_cast<size_t>(rng.range(1, 600)));
        int pos = 0;
        kepiPackBitsRow_TIFF_8u_C1(row.data(), static_cast<int>(row.size()), c.src, &pos, sizeof c.src - 1);
    }
    c.srcLen = static_cast<Kep32s>(rng.range(1, sizeof c.src - 1));
    c.dstLen = static_cast<Kep32s>(rng.range(1, sizeof c.dst));
    c.pos = static_cast<Kep32s>(rng.chance(80) ? 0 : rng.range(-2, c.srcLen + 2));
}

// The number of row bytes the reference produces on a case: it runs on two copies whose rows
// differ in every byte, and the bytes it produced are the ones on which the copies then agree.
int producedByReference(const UnpackCase& c) {
    UnpackCase a = c, b = c;
    std::memset(a.dst, 0x00, sizeof a.dst);
    std::memset(b.dst, 0xFF, sizeof b.dst);
    ownUnpackBitsRow_c(a.src, &a.pos, a.srcLen, a.dst, a.dstLen);
    ownUnpackBitsRow_c(b.src, &b.pos, b.srcLen, b.dst, b.dstLen);
    int n = 0;
    while (n < c.dstLen && a.dst[n] == b.dst[n]) ++n;
    return n;
}

TEST(PackBitsEquivalence, DecoderReferenceFastPathSlotsAndStub) {
    // When a call fails, the fast path may have left pieces of earlier runs in the row past the
    // bytes produced, where the reference leaves the row alone: those bytes are put back before
    // the comparison. Everything else, including every byte past the row, must match.
    auto compared = [](std::string name, std::function<KepResult(UnpackCase&)> f) {
        return Variant<UnpackCase>{name, [f](UnpackCase& c) {
                                       const UnpackCase before = c;
                                       const KepResult r = f(c);
                                       if (r != kepOk) {
                                           const int n = producedByReference(before);
                                           std::memcpy(c.dst + n, before.dst + n, static_cast<size_t>(c.dstLen - n));
                                       }
                                       return r;
                                   }};
    };
    auto internal = [&](const char* name, decltype(&ownUnpackBitsRow_c) f) {
        return compared(name, [f](UnpackCase& c) { return f(c.src, &c.pos, c.srcLen, c.dst, c.dstLen); });
    };
    auto exported = [&](std::string name, decltype(&kepiUnpackBitsRow_TIFF_8u_C1) e) {
        return compared(name, [e](UnpackCase& c) { return e(c.src, &c.pos, c.srcLen, c.dst, c.dstLen); });
    };
    kepcheck::runVariants<UnpackCase>("packbits decode", kepcheck::iterations(6000), generateUnpack,
                                      {internal("reference", ownUnpackBitsRow_c), internal("ssse3", ownUnpackBitsRow_ssse3),
                                       exported("slot 0", kepcheck::slot(ownTbl_kepiUnpackBitsRow_TIFF_8u_C1, 0)),
                                       exported("slot 1", kepcheck::slot(ownTbl_kepiUnpackBitsRow_TIFF_8u_C1, 1)),
                                       exported("stub", kepiUnpackBitsRow_TIFF_8u_C1)});
}

}  // namespace
