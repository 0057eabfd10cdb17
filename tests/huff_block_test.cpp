// Bit-stream states, the bit writer and reader, and baseline block coding through the exports:
// exact bits of small cases, stuffing, flush, the end of the buffer, markers, corrupt runs and the
// argument checks.

#include <gtest/gtest.h>

#include "huff_jpeg.h"
#include "pjzigzag.h"

namespace {

using hufftest::Table;

// Packs (code, length) pairs MSB first, pads with 1-bits and stuffs 0xFF bytes.
std::vector<Kep8u> pack(std::initializer_list<std::pair<Kep32u, int>> codes) {
    std::vector<Kep8u> out;
    Kep64u acc = 0;
    int n = 0;
    auto emit = [&]() {
        const Kep8u b = static_cast<Kep8u>(acc >> (n - 8));
        out.push_back(b);
        if (b == 0xFF) out.push_back(0);
        n -= 8;
    };
    for (const auto& c : codes) {
        acc = (acc << c.second) | c.first;
        n += c.second;
        while (n >= 8) emit();
    }
    if (n) {
        acc = (acc << (8 - n)) | ((1u << (8 - n)) - 1);
        n = 8;
        emit();
    }
    return out;
}

// Tiny tables whose codes the tests spell out. DC: symbols 0 -> 00, 1 -> 01. AC: 0x00 (EOB) -> 00,
// 0xF0 (ZRL) -> 01, 0xE1 -> 10.
Table tinyDc() {
    Table t;
    t.bits[1] = 2;
    t.vals[0] = 0;
    t.vals[1] = 1;
    return t;
}
Table tinyAc() {
    Table t;
    t.bits[1] = 3;
    t.vals[0] = 0x00;
    t.vals[1] = 0xF0;
    t.vals[2] = 0xE1;
    return t;
}

struct Encoder {
    KepiEncodeHuffmanSpec dc, ac;
    KepiEncodeHuffmanState st;
    std::vector<Kep8u> buf;
    int pos = 0;
    Kep16s lastDC = 0;
    Encoder(const Table& d, const Table& a, int len) : dc(hufftest::encSpec(d)), ac(hufftest::encSpec(a)), buf(static_cast<size_t>(len), 0xEE) {
        kepiEncodeHuffmanStateInit_JPEG_8u(&st);
    }
    KepResult block(const Kep16s* b) {
        return kepiEncodeHuffman8x8_JPEG_16s1u_C1(b, buf.data(), static_cast<int>(buf.size()), &pos, &lastDC, &dc, &ac, &st, 0);
    }
    KepResult flush() {
        return kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, buf.data(), static_cast<int>(buf.size()), &pos, nullptr, nullptr,
                                                  nullptr, &st, 1);
    }
    std::vector<Kep8u> written() const { return {buf.begin(), buf.begin() + pos}; }
};

struct Decoder {
    KepiDecodeHuffmanSpec dc, ac;
    KepiDecodeHuffmanState st = {};
    std::vector<Kep8u> src;
    int len, pos = 0, marker = 0;
    Kep16s lastDC = 0;
    Kep16s out[64];
    Decoder(const Table& d, const Table& a, std::vector<Kep8u> bytes)
        : dc(hufftest::decSpec(d)), ac(hufftest::decSpec(a)), src(std::move(bytes)), len(static_cast<int>(src.size())) {}
    KepResult block() {
        return kepiDecodeHuffman8x8_JPEG_1u16s_C1(src.data(), len, &pos, out, &lastDC, &marker, &dc, &ac, &st);
    }
};

TEST(HuffState, SizesInitAndAllocation) {
    int e = 0, d = 0;
    EXPECT_EQ(kepOk, kepiEncodeHuffmanStateGetBufSize_JPEG_8u(&e));
    EXPECT_EQ(kepOk, kepiDecodeHuffmanStateGetBufSize_JPEG_8u(&d));
    EXPECT_EQ(1048, e);
    EXPECT_EQ(24, d);
    KepiEncodeHuffmanState es;
    KepiDecodeHuffmanState ds;
    memset(&es, 0x5A, sizeof es);
    memset(&ds, 0x5A, sizeof ds);
    EXPECT_EQ(kepOk, kepiEncodeHuffmanStateInit_JPEG_8u(&es));
    EXPECT_EQ(kepOk, kepiDecodeHuffmanStateInit_JPEG_8u(&ds));
    const KepiEncodeHuffmanState ez = {};
    const KepiDecodeHuffmanState dz = {};
    EXPECT_EQ(0, memcmp(&es, &ez, sizeof es));
    EXPECT_EQ(0, memcmp(&ds, &dz, sizeof ds));
    KepiEncodeHuffmanState* pe = nullptr;
    KepiDecodeHuffmanState* pd = nullptr;
    ASSERT_EQ(kepOk, kepiEncodeHuffmanStateInitAlloc_JPEG_8u(&pe));
    ASSERT_EQ(kepOk, kepiDecodeHuffmanStateInitAlloc_JPEG_8u(&pd));
    EXPECT_EQ(0, memcmp(pe, &ez, sizeof ez));
    EXPECT_EQ(0, memcmp(pd, &dz, sizeof dz));
    EXPECT_EQ(kepOk, kepiEncodeHuffmanStateFree_JPEG_8u(pe));
    EXPECT_EQ(kepOk, kepiDecodeHuffmanStateFree_JPEG_8u(pd));
    for (auto r : {kepiEncodeHuffmanStateGetBufSize_JPEG_8u(nullptr), kepiDecodeHuffmanStateGetBufSize_JPEG_8u(nullptr),
                   kepiEncodeHuffmanStateInit_JPEG_8u(nullptr), kepiDecodeHuffmanStateInit_JPEG_8u(nullptr),
                   kepiEncodeHuffmanStateInitAlloc_JPEG_8u(nullptr), kepiDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr),
                   kepiEncodeHuffmanStateFree_JPEG_8u(nullptr), kepiDecodeHuffmanStateFree_JPEG_8u(nullptr)})
        EXPECT_EQ(kepErrNullPtr, r);
}

// ---- Encoder --------------------------------------------------------------------------------

TEST(HuffEncode, ExactBitsOfSmallBlocks) {
    Kep16s zero[64] = {};
    {
        // DC category 0 (00) then EOB (1010) with the T.81 example tables, padded: 00101011.
        Encoder e(hufftest::standardTable(0), hufftest::standardTable(2), 16);
        ASSERT_EQ(kepOk, e.block(zero));
        EXPECT_EQ(0, e.pos);
        EXPECT_EQ(6, e.st.bitCount);
        ASSERT_EQ(kepOk, e.flush());
        EXPECT_EQ(std::vector<Kep8u>({0x2B}), e.written());
        const KepiEncodeHuffmanState z = {};
        EXPECT_EQ(0, memcmp(&e.st, &z, sizeof z));
    }
    for (int sign : {1, -1}) {
        // Only position 63: three ZRL, then 0xE1 and its extra bit, no EOB.
        Encoder e(tinyDc(), tinyAc(), 16);
        Kep16s b[64] = {};
        b[63] = static_cast<Kep16s>(sign);
        ASSERT_EQ(kepOk, e.block(b));
        ASSERT_EQ(kepOk, e.flush());
        EXPECT_EQ(pack({{0, 2}, {1, 2}, {1, 2}, {1, 2}, {2, 2}, {sign > 0 ? 1u : 0u, 1}}), e.written());
    }
    for (int diff : {1, -1}) {
        // DC difference +-1: category 1 with extra bit 1 / 0; then EOB.
        Encoder e(tinyDc(), tinyAc(), 16);
        e.lastDC = 100;
        Kep16s b[64] = {};
        b[0] = static_cast<Kep16s>(100 + diff);
        ASSERT_EQ(kepOk, e.block(b));
        EXPECT_EQ(100 + diff, e.lastDC);
        ASSERT_EQ(kepOk, e.flush());
        EXPECT_EQ(pack({{1, 2}, {diff > 0 ? 1u : 0u, 1}, {0, 2}}), e.written());
    }
}

TEST(HuffEncode, StuffingAndTheEndOfTheBuffer) {
    // Eight 1-bits from the writer make a data byte 0xFF, followed by a stuffed zero.
    KepiEncodeHuffmanState st = {};
    Kep8u buf[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    int pos = 0;
    ASSERT_EQ(kepOk, ownHuffWriteBits(0xFF, 8, {buf, 4, &pos}, &st));
    EXPECT_EQ(2, pos);
    EXPECT_EQ(0xFF, buf[0]);
    EXPECT_EQ(0x00, buf[1]);

    // One byte of room: the 0xFF is stored, -62, position past it, the state as before the call.
    st = {};
    st.bitCount = 3;
    st.bitBuffer = 0xE0u << 16;
    const KepiEncodeHuffmanState before = st;
    pos = 2;
    EXPECT_EQ(kepErrStreamEnd, ownHuffWriteBits(0x1F, 5, {buf, 3, &pos}, &st));
    EXPECT_EQ(3, pos);
    EXPECT_EQ(0xFF, buf[2]);
    EXPECT_EQ(0xEE, buf[3]);
    EXPECT_EQ(0, memcmp(&before, &st, sizeof st));
    // No room at all: nothing stored.
    EXPECT_EQ(kepErrStreamEnd, ownHuffWriteBits(0x1F, 5, {buf, 3, &pos}, &st));
    EXPECT_EQ(3, pos);
    // Length 0 (a symbol without a code) writes nothing.
    pos = 0;
    EXPECT_EQ(kepErrHuffmanTable, ownHuffWriteBits(0, 0, {buf, 4, &pos}, &st));
    EXPECT_EQ(0, pos);

    // A block that does not fit: the bytes written stay, the position is at the end.
    Kep16s dense[64];
    for (int i = 0; i < 64; ++i) dense[i] = static_cast<Kep16s>(i % 2 ? 300 : -300);
    Encoder e(hufftest::standardTable(0), hufftest::standardTable(2), 20);
    EXPECT_EQ(kepErrStreamEnd, e.block(dense));
    EXPECT_EQ(20, e.pos);
    EXPECT_EQ(dense[0], e.lastDC);

    // A negative position is no room: nothing is stored before the buffer.
    Encoder neg(hufftest::standardTable(0), hufftest::standardTable(2), 600);
    neg.pos = -3;
    EXPECT_EQ(kepErrStreamEnd, neg.block(dense));
    EXPECT_EQ(-3, neg.pos);
}

TEST(HuffEncode, FlushPadsWithOnesAndResetsTheState) {
    for (int pending = 0; pending <= 7; ++pending) {
        KepiEncodeHuffmanState st = {};
        st.bitCount = pending;
        st.bitBuffer = 0xAB000000u;  // last byte written: no effect on the flush
        st.corrBits[5] = 1;
        st.eobRun = 3;
        Kep8u buf[2] = {0xEE, 0xEE};
        int pos = 0;
        ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, buf, 2, &pos, nullptr, nullptr, nullptr, &st, 1));
        EXPECT_EQ(pending ? 1 : 0, pos);
        if (pending) {
            EXPECT_EQ(0xFF >> pending, buf[0]) << pending;  // zero pending bits, then 1s
        }
        const KepiEncodeHuffmanState z = {};
        EXPECT_EQ(0, memcmp(&st, &z, sizeof z));
    }
    // Flushing into a full buffer fails but still resets the state.
    KepiEncodeHuffmanState st = {};
    st.bitCount = 4;
    Kep8u buf[1] = {0xEE};
    int pos = 1;
    EXPECT_EQ(kepErrStreamEnd, kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, buf, 1, &pos, nullptr, nullptr, nullptr, &st, 1));
    EXPECT_EQ(0, st.bitCount);
    EXPECT_EQ(0xEE, buf[0]);
}

TEST(HuffEncode, MissingSymbolAndSixteenBitDifferences) {
    // The tiny AC table has no category 2 symbol: -64 after the DC went out and *pLastDC moved.
    Encoder e(tinyDc(), tinyAc(), 16);
    Kep16s b[64] = {};
    b[1] = 3;
    EXPECT_EQ(kepErrHuffmanTable, e.block(b));
    EXPECT_EQ(2, e.st.bitCount);  // the DC code 00

    // DC difference 32767 - (-32768) = 65535: category 16 and 16 extra bits, in 32-bit arithmetic.
    Table dc;
    dc.bits[4] = 17;  // 17 codes of 5 bits, symbols 0..16
    for (int i = 0; i < 17; ++i) dc.vals[i] = static_cast<Kep8u>(i);
    Encoder big(dc, hufftest::standardTable(2), 64);
    big.lastDC = -32768;
    b[1] = 0;
    b[0] = 32767;
    ASSERT_EQ(kepOk, big.block(b));
    ASSERT_EQ(kepOk, big.flush());
    EXPECT_EQ(pack({{16, 5}, {0xFFFF, 16}, {0xA, 4}}), big.written());
}

// Each row breaks the arguments from one check on: the earlier failing check decides.
TEST(HuffEncode, ArgumentChecksInOrder) {
    Kep16s b[64] = {}, last = 0;
    Kep8u buf[8] = {};
    int pos = 0;
    const KepiEncodeHuffmanSpec s = hufftest::encSpec(hufftest::standardTable(0));
    KepiEncodeHuffmanState st = {};
    const struct {
        const Kep16s* src;
        Kep8u* dst;
        int len;
        int* pos;
        Kep16s* last;
        const KepiEncodeHuffmanSpec *dc, *ac;
        KepiEncodeHuffmanState* st;
        int flush;
        KepResult expect;
    } rows[] = {
        {b, nullptr, 0, &pos, &last, &s, &s, &st, 0, kepErrNullPtr},
        {b, buf, 0, nullptr, &last, &s, &s, &st, 0, kepErrSize},
        {b, buf, 8, nullptr, &last, &s, &s, &st, 0, kepErrNullPtr},
        {nullptr, buf, 8, &pos, &last, &s, &s, nullptr, 1, kepErrNullPtr},
        {nullptr, buf, 8, &pos, nullptr, nullptr, nullptr, &st, 1, kepOk},  // flushing needs no block
        {nullptr, buf, 8, &pos, &last, &s, &s, &st, 0, kepErrNullPtr},
        {b, buf, 8, &pos, nullptr, &s, &s, &st, 0, kepErrNullPtr},
        {b, buf, 8, &pos, &last, nullptr, &s, &st, 0, kepErrNullPtr},
        {b, buf, 8, &pos, &last, &s, nullptr, &st, 0, kepErrNullPtr},
    };
    for (const auto& r : rows)
        EXPECT_EQ(r.expect, kepiEncodeHuffman8x8_JPEG_16s1u_C1(r.src, r.dst, r.len, r.pos, r.last, r.dc, r.ac, r.st, r.flush));
    EXPECT_EQ(0, pos);
    EXPECT_EQ(0, st.bitCount);
    int bits = 0;
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(nullptr, buf, &bits, &last, &s, &s));
    EXPECT_EQ(kepErrNullPtr, kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(b, buf, &bits, &last, &s, nullptr));
    EXPECT_EQ(0, bits);
}

TEST(HuffEncode, DirectFormResumesInsideAByte) {
    // Three bits 101 already in byte 1; a zero block (00 1010 with the example tables) follows
    // them: 101 00101 | 0 -> 0xA5, then 0x00 left-aligned in byte 2.
    Kep8u buf[8] = {0x11, 0xBF, 0xEE, 0xEE};
    int bits = 11;
    Kep16s last = 0, b[64] = {};
    const KepiEncodeHuffmanSpec dc = hufftest::encSpec(hufftest::standardTable(0)), ac = hufftest::encSpec(hufftest::standardTable(2));
    ASSERT_EQ(kepOk, kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(b, buf, &bits, &last, &dc, &ac));
    EXPECT_EQ(17, bits);
    EXPECT_EQ(0x11, buf[0]);
    EXPECT_EQ(0xA5, buf[1]);
    EXPECT_EQ(0x00, buf[2]);
    EXPECT_EQ(0xEE, buf[3]);
}

// ---- Decoder --------------------------------------------------------------------------------

TEST(HuffDecode, MarkersFillBytesAndTheEndOfTheSource) {
    const Table dc = hufftest::standardTable(0), ac = hufftest::standardTable(2);
    {
        // A zero block, fill byte, EOI: the marker is reported with the position after it, and a
        // further block fails with -63 without reading.
        Decoder d(dc, ac, {0x2B, 0xFF, 0xFF, 0xD9, 0x12});
        ASSERT_EQ(kepOk, d.block());
        EXPECT_EQ(0xD9, d.marker);
        EXPECT_EQ(4, d.pos);
        EXPECT_EQ(1u, d.st.blockPos);
        EXPECT_EQ(kepErrHuffmanData, d.block());
        EXPECT_EQ(4, d.pos);
    }
    {
        // A negative position reads nothing.
        Decoder d(dc, ac, {0x2B, 0x2B, 0x2B, 0x2B});
        d.pos = -2;
        EXPECT_EQ(kepErrStreamEnd, d.block());
        EXPECT_EQ(-2, d.pos);
    }
    {
        // A source ending in 0xFF: -62 although the block's 6 bits were read, position past it.
        Decoder d(dc, ac, {0x2B, 0xFF});
        EXPECT_EQ(kepErrStreamEnd, d.block());
        EXPECT_EQ(2, d.pos);
    }
    {
        // Four zero blocks in three bytes, twice. With the whole source read ahead, later calls
        // with a length of 0 decode from the held bits until they run out.
        Decoder d(dc, ac, {0x28, 0xA2, 0x8A, 0x28, 0xA2, 0x8A});
        ASSERT_EQ(kepOk, d.block());
        EXPECT_EQ(4, d.pos);
        d.len = 0;
        for (int i = 0; i < 4; ++i) ASSERT_EQ(kepOk, d.block()) << i;
        EXPECT_EQ(kepErrStreamEnd, d.block());  // 2 bits left: the DC code fits, the EOB does not
        EXPECT_EQ(4, d.pos);
    }
    {
        // A stuffed 0xFF data byte is one byte of data; 0xFF 0x00 at the very end is complete.
        // DC category 11 (111111110) with extra bits 11111111111 and then EOB.
        const std::vector<Kep8u> s = pack({{0x1FE, 9}, {0x7FF, 11}, {0xA, 4}});
        Decoder d(dc, ac, s);
        ASSERT_EQ(kepOk, d.block());
        EXPECT_EQ(2047, d.out[0]);
        EXPECT_EQ(static_cast<int>(s.size()), d.pos);
    }
}

TEST(HuffDecode, CorruptRunsPastPosition63) {
    // DC: one 1-bit code for category 0. AC 3-bit codes: 0xF0, 0xF1, 0x71, 0xB1, 0x00.
    Table dc, ac;
    dc.bits[0] = 1;
    ac.bits[2] = 5;
    const Kep8u syms[5] = {0xF0, 0xF1, 0x71, 0xB1, 0x00};
    memcpy(ac.vals, syms, 5);
    const std::pair<Kep32u, int> dc0 = {0, 1}, zrl = {0, 3}, f1 = {1, 3}, r7 = {2, 3}, r11 = {3, 3};
    struct Run {
        std::vector<Kep8u> stream;
        int natural;  // where the last value lands, -1 for -2
        Kep32u blockPos;
    };
    const Run runs[] = {
        // three ZRL reach position 49; 0xF1 lands on 64 -> natural 63
        {pack({dc0, zrl, zrl, zrl, f1, {1, 1}}), 63, 65},
        // ... 0x71 stores at 56; 0xF1 then lands on 72 -> natural 1
        {pack({dc0, zrl, zrl, zrl, r7, {1, 1}, f1, {1, 1}}), 1, 73},
        // ... 0xB1 stores at 60; 0xF1 then lands on 76: -2
        {pack({dc0, zrl, zrl, zrl, r11, {1, 1}, f1, {1, 1}}), -1, 77},
    };
    for (const Run& r : runs) {
        Decoder d(dc, ac, r.stream);
        const KepResult res = d.block();
        EXPECT_EQ(r.natural < 0 ? kepErrCoeffIndex : kepOk, res);
        EXPECT_EQ(r.blockPos, d.st.blockPos);
        if (r.natural >= 0) {
            EXPECT_EQ(1, d.out[r.natural]);
        }
        EXPECT_EQ(0, d.out[0]);
    }
}

// The DC sum wraps to 16 bits: 32767 + 1; blockPos 1 for a DC-only block.
TEST(HuffDecode, DcWrapsToSixteenBits) {
    Decoder w(tinyDc(), tinyAc(), pack({{1, 2}, {1, 1}, {0, 2}}));
    w.lastDC = 32767;
    ASSERT_EQ(kepOk, w.block());
    EXPECT_EQ(-32768, w.out[0]);
    EXPECT_EQ(-32768, w.lastDC);
    EXPECT_EQ(1u, w.st.blockPos);
}

TEST(HuffDecode, ArgumentChecksInOrder) {
    const KepiDecodeHuffmanSpec s = hufftest::decSpec(hufftest::standardTable(0));
    const KepiDecodeHuffmanSpec a = hufftest::decSpec(hufftest::standardTable(2));
    KepiDecodeHuffmanState st = {};
    Kep8u src[4] = {0x2B, 0xFF, 0xD9, 0};
    Kep16s out[64], last = 0;
    int pos = 0, marker = 0;
    auto call = [&](const Kep8u* p, int len, int* pp, Kep16s* o, Kep16s* l, int* m, const KepiDecodeHuffmanSpec* dc,
                    const KepiDecodeHuffmanSpec* ac, KepiDecodeHuffmanState* state) {
        return kepiDecodeHuffman8x8_JPEG_1u16s_C1(p, len, pp, o, l, m, dc, ac, state);
    };
    EXPECT_EQ(kepErrNullPtr, call(nullptr, -1, &pos, out, &last, &marker, &s, &s, &st));
    EXPECT_EQ(kepErrArgRange, call(src, -1, nullptr, out, &last, &marker, &s, &s, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, nullptr, out, &last, &marker, &s, &s, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, &pos, nullptr, &last, &marker, &s, &s, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, &pos, out, nullptr, &marker, &s, &s, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, &pos, out, &last, nullptr, &s, &s, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, &pos, out, &last, &marker, nullptr, &s, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, &pos, out, &last, &marker, &s, nullptr, &st));
    EXPECT_EQ(kepErrNullPtr, call(src, 3, &pos, out, &last, &marker, &s, &s, nullptr));
    EXPECT_EQ(0, pos);
    // A length of 0 is accepted: with nothing held, the first bits needed fail with -62.
    EXPECT_EQ(kepErrStreamEnd, call(src, 0, &pos, out, &last, &marker, &s, &s, &st));

    int bitsPos = 0, count = 0;
    Kep32u word = 0;
    auto direct = [&](int* bp, int* m, Kep32u* w, int* c) {
        return kepiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src, bp, out, &last, m, w, c, &s, &a);
    };
    int negative = -8, tooMany = 33, minus = -1;
    EXPECT_EQ(kepErrNullPtr, direct(nullptr, &marker, &word, &count));
    EXPECT_EQ(kepErrArgRange, direct(&negative, nullptr, &word, &count));
    EXPECT_EQ(kepErrNullPtr, direct(&bitsPos, nullptr, &word, &count));
    EXPECT_EQ(kepErrNullPtr, direct(&bitsPos, &marker, nullptr, &count));
    EXPECT_EQ(kepErrNullPtr, direct(&bitsPos, &marker, &word, nullptr));
    EXPECT_EQ(kepErrArgRange, direct(&bitsPos, &marker, &word, &tooMany));
    EXPECT_EQ(kepErrArgRange, direct(&bitsPos, &marker, &word, &minus));
    EXPECT_EQ(kepErrNullPtr, kepiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src, &bitsPos, out, &last, &marker, &word, &count,
                                                                      &s, nullptr));
    EXPECT_EQ(0, bitsPos);
    // A whole call: the block, then the marker, position after it in bits.
    ASSERT_EQ(kepOk, direct(&bitsPos, &marker, &word, &count));
    EXPECT_EQ(0xD9, marker);
    EXPECT_EQ(24, bitsPos);
    EXPECT_EQ(2, count);
}

}  // namespace
