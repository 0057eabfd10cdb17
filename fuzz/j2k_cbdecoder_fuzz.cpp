// libFuzzer target for the JPEG 2000 code-block decoder: arbitrary segments, lengths, pass
// counts, style flags and sizes up to 64x64 (and thin blocks of up to 4096 samples). Every
// segment and the code-block live in heap blocks of exactly their size, and the state in one of
// exactly GetStateSize bytes, so that AddressSanitizer sees any access outside them. The
// one-shot decoder runs through both dispatch slots (identical results required); the
// progressive interface is driven segment by segment with changing pass counts.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "pjdispatch.h"

namespace {

struct Reader {
    const uint8_t* p;
    size_t n;
    uint32_t take(int bytes) {
        uint32_t v = 0;
        for (int i = 0; i < bytes; ++i) {
            v = (v << 8) | (n ? *p : 0);
            if (n) {
                ++p;
                --n;
            }
        }
        return v;
    }
};

const KepiSize kThin[] = {{4, 1024}, {1024, 4}, {1, 4096}, {4096, 1}, {2, 2048}, {3, 1365}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reader in{data, size};
    const uint32_t shape = in.take(2);
    KepiSize cb;
    if (shape & 0x8000) cb = kThin[(shape >> 8) % 6];
    else cb = {static_cast<int>(shape % 64) + 1, static_cast<int>((shape >> 6) % 64) + 1};
    const int subband = static_cast<int>(in.take(1) & 7) - 2;  // includes out-of-range codes
    const int magnBits = static_cast<int>(in.take(1) % 36);
    const int nPasses = static_cast<int>(in.take(1)) - 8;
    const int flags = static_cast<int>(in.take(4));
    int nSegments = static_cast<int>(in.take(1) % 12);
    std::vector<int> segLen(static_cast<size_t>(nSegments) + 1, 0);
    size_t total = 0;
    for (int i = 0; i < nSegments; ++i) segLen[static_cast<size_t>(i)] = static_cast<int>(in.take(1)) - 4;  // some negative
    // The data follow the header: cut the lengths to what the input holds.
    for (int i = 0; i < nSegments; ++i) {
        int& l = segLen[static_cast<size_t>(i)];
        if (l > 0 && total + static_cast<size_t>(l) > in.n) l = static_cast<int>(in.n - total);
        if (l > 0) total += static_cast<size_t>(l);
    }
    // The one-shot decoder takes the segments end to end: one exact block for all of them.
    uint8_t* all = static_cast<uint8_t*>(std::malloc(total ? total : 1));
    if (total) std::memcpy(all, in.p, total);

    int stateSize = 0;
    if (kepiDecodeCBProgrGetStateSize_JPEG2K(cb, &stateSize) != kepOk) __builtin_trap();
    const size_t samples = static_cast<size_t>(cb.width) * cb.height;
    Kep32s* out[2];
    KepiDecodeCBProgrState_JPEG2K* st[2];
    KepResult r[2];
    int residual[2] = {-99, -99};
    for (int s = 0; s < 2; ++s) {
        // The same contents in both: the flags that keep the block or the coefficient states
        // let the decoder read what is there.
        out[s] = static_cast<Kep32s*>(std::malloc(samples * 4));
        st[s] = static_cast<KepiDecodeCBProgrState_JPEG2K*>(std::malloc(static_cast<size_t>(stateSize)));
        std::memset(out[s], 0x5A, samples * 4);
        std::memset(st[s], 0xA5, static_cast<size_t>(stateSize));
        r[s] = ownTbl_kepiDecodeCodeBlock_JPEG2K_1u32s_C1R[s](all, out[s], cb.width * 4, cb, subband, magnBits, nPasses,
                                                             segLen.data(), nSegments, flags, &residual[s], st[s]);
    }
    if (r[0] != r[1] || residual[0] != residual[1] || std::memcmp(out[0], out[1], samples * 4) != 0) __builtin_trap();

    // Progressive: each segment in its own exact block; the pass counter set before every Step.
    KepiDecodeCBProgrState_JPEG2K* ps = st[1];
    if (kepiDecodeCBProgrInit_JPEG2K(ps) != kepOk) __builtin_trap();
    const int slot = flags & 1;
    if (ownTbl_kepiDecodeCBProgrAttach_JPEG2K_32s_C1R[slot](out[1], cb.width * 4, cb, ps, subband, magnBits, flags) != kepOk)
        __builtin_trap();
    size_t off = 0;
    for (int i = 0; i < nSegments; ++i) {
        const int l = segLen[static_cast<size_t>(i)];
        const size_t bytes = l > 0 ? static_cast<size_t>(l) : 0;
        uint8_t* seg = static_cast<uint8_t*>(std::malloc(bytes ? bytes : 1));
        if (bytes) std::memcpy(seg, all + off, bytes);
        off += bytes;
        ownTbl_kepiDecodeCBProgrSetPassCounter_JPEG2K[slot](i == 0 ? nPasses : nPasses / (i + 1), ps);
        const KepResult step = ownTbl_kepiDecodeCBProgrStep_JPEG2K[slot](seg, l, ps);
        if (step != kepOk && step != kepErrCorruptSegment) __builtin_trap();
        int v;
        ownTbl_kepiDecodeCBProgrGetPassCounter_JPEG2K[slot](ps, &v);
        ownTbl_kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K[slot](ps, &v);
        std::free(seg);
    }
    for (int s = 0; s < 2; ++s) {
        std::free(out[s]);
        std::free(st[s]);
    }
    std::free(all);
    return 0;
}
