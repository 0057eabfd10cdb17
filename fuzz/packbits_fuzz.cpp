// libFuzzer target for PackBits row coding. The input gives the decoder's source bytes, source
// length, start position and row length, and the slot to run; the source is copied into a heap
// buffer of exactly srcLen + 1 bytes, the one byte past the length that a final replicate header
// may read, so that AddressSanitizer reports any read further out, and the row into one of exactly
// dstLen bytes. The decoder (bulk and exact fast paths far from the ends, careful path near them)
// must agree with the other slot, and with the byte-by-byte reference on the result, the position
// and the bytes produced. Whatever decodes is then re-encoded through both slots and through the
// bulk and byte-by-byte paths (which must agree), into an exact-size and a short buffer, and
// decoded back.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "packbits.h"
#include "pjdispatch.h"

namespace {

[[noreturn]] void fail(const char* what) {
    __builtin_printf("packbits_fuzz: %s\n", what);
    abort();
}

struct Heap {
    explicit Heap(size_t n) : p(static_cast<uint8_t*>(malloc(n ? n : 1))) {}
    ~Heap() { free(p); }
    uint8_t* p;
};

void roundTrip(const uint8_t* row, int len, int slot) {
    const int worst = len + len / 128 + 2;
    Heap a(static_cast<size_t>(worst)), b(static_cast<size_t>(worst));
    int pa = 0, pb = 0;
    const KepResult ra = ownTbl_kepiPackBitsRow_TIFF_8u_C1[slot](row, len, a.p, &pa, worst);
    const KepResult rb = ownPackBitsRow(row, len, b.p, &pb, worst, false);
    if (ra != kepOk || rb != kepOk) fail("encoding into a worst-case buffer failed");
    if (pa != pb || memcmp(a.p, b.p, static_cast<size_t>(pa)) != 0) fail("bulk and byte-by-byte code differ");
    // Exactly the coded size fits; one byte less overruns at a run boundary.
    Heap exact(static_cast<size_t>(pa));
    int pe = 0;
    if (ownTbl_kepiPackBitsRow_TIFF_8u_C1[1 - slot](row, len, exact.p, &pe, pa) != kepOk || pe != pa) fail("exact buffer");
    if (pa > 1) {
        Heap shortBuf(static_cast<size_t>(pa - 1));
        int ps = 0;
        if (ownPackBitsRow(row, len, shortBuf.p, &ps, pa - 1, true) != kepErrPackBitsOverrun || ps > pa - 1) fail("short buffer");
    }
    Heap back(static_cast<size_t>(len));
    int in = 0;
    // The code never ends in a lone replicate header, so the exact source length is enough.
    if (ownTbl_kepiUnpackBitsRow_TIFF_8u_C1[slot](a.p, &in, pa, back.p, len) != kepOk || in != pa) fail("decoding our code");
    if (memcmp(back.p, row, static_cast<size_t>(len)) != 0) fail("round trip changed the row");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 6) return 0;
    const int slot = data[0] & 1;
    const int dstLen = 1 + ((data[1] | (data[2] << 8)) & 0x1FFF);
    const int startPos = static_cast<int8_t>(data[3]);  // mostly small, sometimes negative
    // The source is the rest of the input repeated 1..16 times, so that short inputs reach the
    // decoder's fast paths (they need up to 146 source bytes ahead and 144 bytes of row left).
    const int repeat = 1 + (data[4] & 15);
    data += 5;
    size -= 5;
    const int srcLen = static_cast<int>(size) * repeat;

    Heap src(static_cast<size_t>(srcLen) + 1), dst(static_cast<size_t>(dstLen));
    for (int k = 0; k < repeat; ++k) memcpy(src.p + k * size, data, size);
    src.p[srcLen] = 0x5A;
    memset(dst.p, 0xEE, static_cast<size_t>(dstLen));

    int pos = startPos;
    const KepResult r = ownTbl_kepiUnpackBitsRow_TIFF_8u_C1[slot](src.p, &pos, srcLen, dst.p, dstLen);
    if (r != kepOk && r != kepErrPackBitsOverrun) fail("unexpected result");
    if (r == kepOk && (pos < 1 || pos > srcLen + 1)) fail("position out of range after success");
    // The other slot: same result, position and row.
    Heap dst2(static_cast<size_t>(dstLen));
    memset(dst2.p, 0xEE, static_cast<size_t>(dstLen));
    int pos2 = startPos;
    if (ownTbl_kepiUnpackBitsRow_TIFF_8u_C1[1 - slot](src.p, &pos2, srcLen, dst2.p, dstLen) != r || pos2 != pos ||
        memcmp(dst.p, dst2.p, static_cast<size_t>(dstLen)) != 0)
        fail("slots differ");
    // The byte-by-byte reference: same result and position, and the same bytes produced. It runs
    // on two rows that differ in every byte; the bytes it produced are those on which they agree.
    // After a failure the fast decoder may have left pieces of earlier runs behind them.
    Heap dst3(static_cast<size_t>(dstLen));
    memset(dst2.p, 0x00, static_cast<size_t>(dstLen));
    memset(dst3.p, 0xFF, static_cast<size_t>(dstLen));
    pos2 = startPos;
    int pos3 = startPos;
    if (ownUnpackBitsRow_c(src.p, &pos2, srcLen, dst2.p, dstLen) != r || pos2 != pos ||
        ownUnpackBitsRow_c(src.p, &pos3, srcLen, dst3.p, dstLen) != r || pos3 != pos)
        fail("fast decoder and reference differ in result or position");
    int produced = 0;
    while (produced < dstLen && dst2.p[produced] == dst3.p[produced]) ++produced;
    if ((r == kepOk && produced != dstLen) || memcmp(dst.p, dst2.p, static_cast<size_t>(produced)) != 0)
        fail("fast decoder and reference differ in the row");

    // The source itself as a row, and the decoded row when there is one.
    if (srcLen > 0) roundTrip(src.p, srcLen, slot);
    if (r == kepOk) roundTrip(dst.p, dstLen, 1 - slot);
    return 0;
}
