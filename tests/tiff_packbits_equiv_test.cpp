// Equivalence of the PackBits coders: the encoder's byte-by-byte path against its bulk path and
// the export through both slots and the stub (code, position and result, including overruns into
// short buffers at any start position); the decoder through both slots and the stub on hostile
// input (random headers, lengths and positions).

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
    Kep8u src[400];  // srcLen <= 399: room for the byte read past a final replicate header
    Kep8u dst[600];
    Kep32s srcLen, dstLen, pos;
};

void generateUnpack(Rng& rng, UnpackCase& c) {
    // Either a valid code of a random row followed by noise, or noise: headers of every kind.
    for (Kep8u& b : c.src) b = static_cast<Kep8u>(rng.next());
    for (Kep8u& b : c.dst) b = static_cast<Kep8u>(rng.next());
    if (rng.chance(50)) {
        const auto row = tiffrows::synthetic(rng, static_cast<size_t>(rng.range(1, 300)));
        int pos = 0;
        kepiPackBitsRow_TIFF_8u_C1(row.data(), static_cast<int>(row.size()), c.src, &pos, sizeof c.src - 1);
    }
    c.srcLen = static_cast<Kep32s>(rng.range(1, sizeof c.src - 1));
    c.dstLen = static_cast<Kep32s>(rng.range(1, sizeof c.dst));
    c.pos = static_cast<Kep32s>(rng.chance(80) ? 0 : rng.range(-2, c.srcLen + 2));
}

TEST(PackBitsEquivalence, DecoderSlotsAndStub) {
    auto exported = [](std::string name, decltype(&kepiUnpackBitsRow_TIFF_8u_C1) e) {
        return Variant<UnpackCase>{name, [e](UnpackCase& c) { return e(c.src, &c.pos, c.srcLen, c.dst, c.dstLen); }};
    };
    kepcheck::runVariants<UnpackCase>("packbits decode", kepcheck::iterations(4000), generateUnpack,
                                      {exported("slot 0", kepcheck::slot(ownTbl_kepiUnpackBitsRow_TIFF_8u_C1, 0)),
                                       exported("slot 1", kepcheck::slot(ownTbl_kepiUnpackBitsRow_TIFF_8u_C1, 1)),
                                       exported("stub", kepiUnpackBitsRow_TIFF_8u_C1)});
}

}  // namespace
