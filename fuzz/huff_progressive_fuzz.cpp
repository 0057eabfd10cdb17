// Progressive block decoders on arbitrary bytes with an arbitrary table. The input gives the
// table lists (BITS and HUFFVAL), a scan selector (kind, Ss, Se, Al, start position) and the
// stream, copied into a buffer of exactly its length so that any read past it is caught. Slot 0,
// slot 1 (fast kernels first) and the careful decoders alone must agree call by call, blocks
// persist from call to call as in a real scan, and every result must be one the decoders document.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "huff.h"
#include "huffprog.h"
#include "huff_fuzz_input.h"
#include "pjdispatch.h"

namespace {

struct Run {
    KepiDecodeHuffmanState st;
    int pos, marker;
    Kep16s lastDC;
    Kep16s blocks[4][64];
    KepResult result;
};

void check(bool ok) {
    if (!ok) __builtin_trap();
}

bool documented(KepResult r) {
    return r == kepOk || r == kepErrStreamEnd || r == kepErrHuffmanData || r == kepErrCoeffIndex;
}

// slot 0 or 1 through the dispatch table; 2 the careful decoders.
KepResult decode(int slot, int kind, const Kep8u* src, int len, Run& r, Kep16s* block, int Ss, int Se, int Al,
                 const KepiDecodeHuffmanSpec* spec) {
    if (slot == 2) {
        const OwnHuffSrc in = {src, len, &r.pos, &r.marker};
        switch (kind) {
            case 0: return ownHuffDecodeDCFirst_careful(in, block, &r.lastDC, Al, spec, &r.st);
            case 1: return ownHuffDecodeDCRefine_careful(in, block, Al, &r.st);
            case 2: return ownHuffDecodeACFirst_careful(in, block, Ss, Se, Al, spec, &r.st);
            default: return ownHuffDecodeACRefine_careful(in, block, Ss, Se, Al, spec, &r.st);
        }
    }
    switch (kind) {
        case 0:
            return ownTbl_kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1[slot](src, len, &r.pos, block, &r.lastDC, &r.marker,
                                                                         Al, spec, &r.st);
        case 1:
            return ownTbl_kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1[slot](src, len, &r.pos, block, &r.marker, Al, &r.st);
        case 2:
            return ownTbl_kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1[slot](src, len, &r.pos, block, &r.marker, Ss, Se, Al,
                                                                         spec, &r.st);
        default:
            return ownTbl_kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1[slot](src, len, &r.pos, block, &r.marker, Ss, Se,
                                                                          Al, spec, &r.st);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    KepiDecodeHuffmanSpec spec;
    if (!fuzzTakeDecodeSpec(data, size, &spec) || size < 4) return 0;
    const int kind = data[0] & 3;
    const int Al = (data[0] >> 2) % 14;
    const int Ss = 1 + data[1] % 63;
    const int Se = Ss + data[2] % (64 - Ss);
    int start = data[3] % 4;
    data += 4, size -= 4;
    if (size == 0) return 0;
    const int len = static_cast<int>(size);
    if (start > len) start = len;
    std::vector<Kep8u> exact(data, data + size);

    Run runs[3];
    memset(static_cast<void*>(runs), 0, sizeof runs);
    for (Run& r : runs) r.pos = start;
    for (int block = 0; block < 512; ++block) {
        for (int s = 0; s < 3; ++s)
            runs[s].result = decode(s, kind, exact.data(), len, runs[s], runs[s].blocks[block & 3], Ss, Se, Al, &spec);
        check(memcmp(&runs[0], &runs[1], sizeof runs[0]) == 0);
        check(memcmp(&runs[0], &runs[2], sizeof runs[0]) == 0);
        check(documented(runs[0].result));
        check(runs[0].pos >= start && runs[0].pos <= len);
        if (runs[0].result == kepErrStreamEnd) break;
        if (runs[0].marker != 0 || runs[0].result != kepOk) {
            if (runs[0].marker == 0 && block % 2) break;
            for (Run& r : runs) {
                r.marker = 0;
                r.lastDC = 0;
                kepiDecodeHuffmanStateInit_JPEG_8u(&r.st);
            }
        }
    }
    return 0;
}
