// PackBits row coding: the documented byte vectors, the encoder's run rules on random rows, the
// overrun results and positions, the decoder's kept one-byte read past a final replicate header,
// the argument checks, and strips of many rows through one buffer, decoded by us and by libtiff's
// PackBits codec, and libtiff's strips decoded by us.

#include <gtest/gtest.h>

#include <vector>

#include "kepcheck.h"
#include "kepjx1.h"
#include "tiff_mem.h"
#include "tiff_rows.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kepcheck::Rng;

// Encodes a whole row into a buffer of the worst-case size.
Bytes pack(const Bytes& row) {
    Bytes out(row.size() + row.size() / 128 + 2);
    int pos = 0;
    EXPECT_EQ(kepOk, kepiPackBitsRow_TIFF_8u_C1(row.data(), static_cast<int>(row.size()), out.data(), &pos, static_cast<int>(out.size())));
    out.resize(static_cast<size_t>(pos));
    return out;
}

// Decodes one row of `length` bytes from the start of `coded`.
Bytes unpack(const Bytes& coded, size_t length) {
    Bytes row(length, 0xEE);
    int pos = 0;
    EXPECT_EQ(kepOk, kepiUnpackBitsRow_TIFF_8u_C1(coded.data(), &pos, static_cast<int>(coded.size()), row.data(), static_cast<int>(length)));
    return row;
}

TEST(PackBitsEncode, DocumentedVectors) {
    Bytes lit(130), litCode = {0x7F};  // 128 literal bytes, then 2
    for (size_t i = 0; i < lit.size(); ++i) lit[i] = static_cast<uint8_t>(i);
    litCode.insert(litCode.end(), lit.begin(), lit.begin() + 128);
    litCode.insert(litCode.end(), {0x01, 128, 129});
    const std::pair<Bytes, Bytes> cases[] = {
        {{0x41, 0x41, 0x41, 0x42}, {0xFE, 0x41, 0x00, 0x42}},
        {{0x41, 0x41, 0x42}, {0xFF, 0x41, 0x00, 0x42}},              // a pair starts a replicate run
        {{0x41, 0x42, 0x42, 0x43}, {0x03, 0x41, 0x42, 0x42, 0x43}},  // a pair inside a literal stays
        {{0x41, 0x42, 0x42, 0x42}, {0x00, 0x41, 0xFE, 0x42}},        // three equal end the literal
        {{0x41}, {0x00, 0x41}},
        {{0x41, 0x42, 0x42}, {0x02, 0x41, 0x42, 0x42}},              // a final pair has no third byte
        {Bytes(200, 0x07), {0x81, 0x07, 0xB9, 0x07}},                // 128 + 72
        {Bytes(129, 0x07), {0x81, 0x07, 0x00, 0x07}},                // 128 + a single byte
        {lit, litCode},
    };
    for (const auto& c : cases) EXPECT_EQ(c.second, pack(c.first)) << "row of " << c.first.size();
}

// Runs of a coded row as (literal, length) pairs; fails on a malformed code.
struct CodedRun { bool literal; int length; uint8_t first; };
std::vector<CodedRun> runsOf(const Bytes& code) {
    std::vector<CodedRun> runs;
    for (size_t i = 0; i < code.size();) {
        const int n = static_cast<int8_t>(code[i]);
        EXPECT_NE(-128, n) << "the encoder never writes -128";
        if (n >= 0) {
            runs.push_back({true, n + 1, code[i + 1]});
            i += static_cast<size_t>(n) + 2;
        } else {
            runs.push_back({false, 1 - n, code[i + 1]});
            i += 2;
        }
    }
    return runs;
}

// The encoder's rules, checked on the code of random rows: a literal run holds no three equal
// bytes and no equal pair at its start; a literal shorter than 128 that does not end the row is
// followed by a replicate run of at least three; a replicate run shorter than 128 is followed by
// a different byte. And the code decodes to the row.
TEST(PackBitsEncode, RunRulesOnRandomRows) {
    Rng rng(kepcheck::seed());
    for (int n = 0; n < kepcheck::iterations(300); ++n) {
        const Bytes row = tiffrows::synthetic(rng, static_cast<size_t>(rng.range(1, 3000)));
        const Bytes code = pack(row);
        const std::vector<CodedRun> runs = runsOf(code);
        size_t at = 0;
        for (size_t r = 0; r < runs.size(); ++r) {
            const CodedRun& run = runs[r];
            const size_t end = at + static_cast<size_t>(run.length);
            ASSERT_LE(end, row.size());
            if (run.literal) {
                if (run.length >= 2) {
                    ASSERT_NE(row[at], row[at + 1]) << "literal starting with a pair at " << at;
                }
                for (size_t j = at; j + 2 < end; ++j) ASSERT_FALSE(row[j] == row[j + 1] && row[j] == row[j + 2]) << "triple in a literal at " << j;
                if (run.length < 128 && end < row.size()) {
                    ASSERT_LT(r + 1, runs.size());
                    ASSERT_FALSE(runs[r + 1].literal);
                    ASSERT_GE(runs[r + 1].length, 3);
                }
            } else {
                for (size_t j = at; j < end; ++j) ASSERT_EQ(run.first, row[j]);
                if (run.length < 128 && end < row.size()) {
                    ASSERT_NE(run.first, row[end]) << "replicate run stopped early at " << at;
                }
            }
            at = end;
        }
        ASSERT_EQ(row.size(), at);
        ASSERT_EQ(row, unpack(code, row.size()));
    }
}

TEST(PackBitsEncode, OverrunKeepsThePositionAtARunBoundary) {
    // 41 41 41 | 42 43 44 | 45 x5: FE 41, 02 42 43 44, FC 45 = 8 bytes.
    const Bytes row = {0x41, 0x41, 0x41, 0x42, 0x43, 0x44, 0x45, 0x45, 0x45, 0x45, 0x45};
    const int boundary[9] = {0, 0, 2, 2, 2, 2, 6, 6, 8};  // position reached with room 0..8
    for (int room = 1; room <= 8; ++room) {
        Bytes out(16, 0xCC);
        int pos = 0;
        const KepResult r = kepiPackBitsRow_TIFF_8u_C1(row.data(), static_cast<int>(row.size()), out.data(), &pos, room);
        EXPECT_EQ(room == 8 ? kepOk : kepErrPackBitsOverrun, r) << "room " << room;
        EXPECT_EQ(boundary[room], pos) << "room " << room;
        for (int i = pos; i < 16; ++i) ASSERT_EQ(0xCC, out[static_cast<size_t>(i)]) << "failing run written, room " << room;
    }
    // The position counts from the start of the buffer; a position past the length, or negative,
    // has no room.
    Bytes out(8, 0xCC);
    for (int start : {7, 8, 9, -1}) {
        int pos = start;
        EXPECT_EQ(kepErrPackBitsOverrun, kepiPackBitsRow_TIFF_8u_C1(row.data(), 3, out.data(), &pos, 8)) << start;
        EXPECT_EQ(start, pos);
    }
    int pos = 6;
    EXPECT_EQ(kepOk, kepiPackBitsRow_TIFF_8u_C1(row.data(), 2, out.data(), &pos, 8));
    EXPECT_EQ(8, pos);
    EXPECT_EQ(Bytes({0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xFF, 0x41}), out);
}

// Decoding: source bytes (the first srcLen of them, or all), start position and row length, and
// the result, the position after the call and the bytes produced (the whole row on success).
TEST(PackBitsDecode, ResultsPositionsAndRows) {
    struct Case { Bytes src; int srcLen, start, dstLen; KepResult want; int pos; Bytes produced; };
    const KepResult over = kepErrPackBitsOverrun;
    const Case cases[] = {
        {{0x80, 0x00, 0x41}, -1, 0, 1, kepOk, 3, {0x41}},                    // -128 is skipped
        {{0xFE, 0x09, 0x00, 0x55, 0xFF}, -1, 0, 3, kepOk, 2, {9, 9, 9}},     // stops once the row is complete
        {{0x02, 1, 2, 3, 0xFE, 3}, -1, 0, 6, kepOk, 6, {1, 2, 3, 3, 3, 3}},
        {{0x80, 0x80, 0xFF, 3}, -1, 0, 2, kepOk, 4, {3, 3}},
        {{0x00, 0x11, 0xFE, 0x5A}, 3, 0, 4, kepOk, 4, {0x11, 0x5A, 0x5A, 0x5A}},  // a final replicate header reads
        {{0x00, 0x11, 0x00, 0x5A}, 3, 0, 2, over, 3, {0x11}},                    // its byte past the length
        {{0x02, 1, 2}, -1, 0, 3, over, 1, {}},                // literal of 3 with 2 source bytes
        {{0x00, 7, 0x01, 1}, -1, 0, 3, over, 3, {7}},         // second literal short
        {{0x01, 1, 2, 0xFE, 5}, -1, 0, 4, over, 4, {1, 2}},   // replicate of 3 into 2 bytes left
        {{0x03, 1, 2, 3, 4}, -1, 0, 3, over, 1, {}},          // literal longer than the row
        {{0x00, 7, 0x80}, -1, 0, 2, over, 3, {7}},            // source ends before the row
        {{0x00, 7}, -1, 2, 1, over, 2, {}},                   // starting at the end,
        {{0x00, 7}, -1, 5, 1, over, 5, {}},                   // past it
        {{0x00, 7}, -1, -1, 1, over, -1, {}},                 // or before the buffer
    };
    for (const Case& c : cases) {
        Bytes row(static_cast<size_t>(c.dstLen), 0xEE);
        int pos = c.start;
        const int srcLen = c.srcLen < 0 ? static_cast<int>(c.src.size()) : c.srcLen;
        EXPECT_EQ(c.want, kepiUnpackBitsRow_TIFF_8u_C1(c.src.data(), &pos, srcLen, row.data(), c.dstLen));
        EXPECT_EQ(c.pos, pos);
        // After a failure only the bytes produced are defined.
        if (c.want != kepOk) row.resize(c.produced.size());
        EXPECT_EQ(c.produced, row);
    }
}

TEST(PackBitsChecks, PointersThenLengthsAndNothingWritten) {
    const Bytes src = {0x41, 0x41};
    Bytes dst(4, 0xCC);
    int pos = 1;
    const auto* s = src.data();
    auto* d = dst.data();
    const KepResult pack[] = {kepiPackBitsRow_TIFF_8u_C1(nullptr, 0, d, &pos, 0),  // -8 before -6
                              kepiPackBitsRow_TIFF_8u_C1(s, 2, nullptr, &pos, 4), kepiPackBitsRow_TIFF_8u_C1(s, 2, d, nullptr, 4),
                              kepiPackBitsRow_TIFF_8u_C1(s, 0, d, &pos, 4), kepiPackBitsRow_TIFF_8u_C1(s, 2, d, &pos, -3)};
    const KepResult unpack[] = {kepiUnpackBitsRow_TIFF_8u_C1(nullptr, &pos, 0, d, 0), kepiUnpackBitsRow_TIFF_8u_C1(s, nullptr, 2, d, 4),
                                kepiUnpackBitsRow_TIFF_8u_C1(s, &pos, 2, nullptr, 4), kepiUnpackBitsRow_TIFF_8u_C1(s, &pos, 0, d, 4),
                                kepiUnpackBitsRow_TIFF_8u_C1(s, &pos, 2, d, 0)};
    const KepResult want[] = {kepErrNullPtr, kepErrNullPtr, kepErrNullPtr, kepErrSize, kepErrSize};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(want[i], pack[i]) << i;
        EXPECT_EQ(want[i], unpack[i]) << i;
    }
    EXPECT_EQ(1, pos);
    EXPECT_EQ(Bytes(4, 0xCC), dst);
}

// Rows packed one after another into one strip buffer through the caller's position decode row by
// row through ours (the position at each row's end) and, stored raw in a PackBits TIFF, through
// libtiff; strips libtiff encodes decode row by row through ours.
TEST(PackBitsInterop, LibtiffDecodesOurStripsAndWeDecodeLibtiffs) {
    Rng rng(kepcheck::seed() + 3);
    for (int n = 0; n < kepcheck::iterations(20); ++n) {
        const int width = static_cast<int>(rng.range(1, 1500)), rows = static_cast<int>(rng.range(1, 12));
        Bytes pixels;
        for (int r = 0; r < rows; ++r) {
            const Bytes row = rng.chance(50) ? tiffrows::photographic(rng, static_cast<size_t>(width), r)
                                             : tiffrows::synthetic(rng, static_cast<size_t>(width));
            pixels.insert(pixels.end(), row.begin(), row.end());
        }

        Bytes strip(pixels.size() * 2 + 16);
        int pos = 0;
        std::vector<int> ends;
        for (int r = 0; r < rows; ++r) {
            ASSERT_EQ(kepOk, kepiPackBitsRow_TIFF_8u_C1(pixels.data() + static_cast<size_t>(r) * width, width, strip.data(), &pos,
                                                        static_cast<int>(strip.size())));
            ends.push_back(pos);
        }
        strip.resize(static_cast<size_t>(pos));
        Bytes back(pixels.size());
        int in = 0;
        for (int r = 0; r < rows; ++r) {
            ASSERT_EQ(kepOk, kepiUnpackBitsRow_TIFF_8u_C1(strip.data(), &in, pos, back.data() + static_cast<size_t>(r) * width, width));
            ASSERT_EQ(ends[static_cast<size_t>(r)], in) << "row " << r;
        }
        ASSERT_EQ(pixels, back) << "our decoding of our strip, case " << n;
        tiffmem::File ours;
        ASSERT_TRUE(tiffmem::write(ours, width, rows, nullptr, &strip));
        ASSERT_EQ(pixels, tiffmem::read(ours, false)) << "libtiff decoding our strip, case " << n;

        tiffmem::File theirs;
        ASSERT_TRUE(tiffmem::write(theirs, width, rows, pixels.data(), nullptr));
        const Bytes coded = tiffmem::read(theirs, true);
        ASSERT_FALSE(coded.empty());
        Bytes decoded(pixels.size());
        in = 0;
        for (int r = 0; r < rows; ++r)
            ASSERT_EQ(kepOk, kepiUnpackBitsRow_TIFF_8u_C1(coded.data(), &in, static_cast<int>(coded.size()),
                                                          decoded.data() + static_cast<size_t>(r) * width, width));
        EXPECT_EQ(static_cast<int>(coded.size()), in);
        ASSERT_EQ(pixels, decoded) << "our decoding of libtiff's strip, case " << n;
    }
}

}  // namespace
