// Baseline block decoder on arbitrary bytes with arbitrary tables. The input gives the DC and AC
// lists (BITS and HUFFVAL), a start position and the stream; the stream is copied into a buffer of
// exactly its length so that any read past it is caught. Slot 0 and slot 1 (fast kernel first),
// the careful path alone, and the Direct form on the same bytes followed by a marker must agree
// call by call; every result must be one the decoder documents.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "huff.h"
#include "pjdispatch.h"

namespace {

struct Run {
    KepiDecodeHuffmanState st;
    int pos, marker;
    Kep16s lastDC;
    Kep16s out[64];
    KepResult result;
};

void check(bool ok) {
    if (!ok) __builtin_trap();
}

bool documented(KepResult r) {
    return r == kepOk || r == kepErrStreamEnd || r == kepErrHuffmanData || r == kepErrCoeffIndex;
}

// Takes a BITS list and its HUFFVAL from the input; false when there are not enough bytes.
bool takeTable(const uint8_t*& data, size_t& size, Kep8u bits[16], Kep8u vals[256]) {
    if (size < 16) return false;
    int count = 0;
    for (int i = 0; i < 16; ++i) count += bits[i] = data[i];
    data += 16, size -= 16;
    if (count > 256) count = 256;  // the table is then rejected by the decoder table init
    if (size < static_cast<size_t>(count)) return false;
    memset(vals, 0, 256);
    memcpy(vals, data, static_cast<size_t>(count));
    data += count, size -= static_cast<size_t>(count);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Kep8u dcBits[16], dcVals[256], acBits[16], acVals[256];
    if (!takeTable(data, size, dcBits, dcVals) || !takeTable(data, size, acBits, acVals) || size < 1) return 0;
    KepiDecodeHuffmanSpec dc, ac;
    if (kepiDecodeHuffmanSpecInit_JPEG_8u(dcBits, dcVals, &dc) != kepOk) return 0;
    if (kepiDecodeHuffmanSpecInit_JPEG_8u(acBits, acVals, &ac) != kepOk) return 0;
    int start = data[0] % 4;
    ++data, --size;

    const int len = static_cast<int>(size);
    if (start > len) start = len;
    std::vector<Kep8u> exact(data, data + size);
    std::vector<Kep8u> marked(data, data + size);
    marked.push_back(0xFF);
    marked.push_back(0xD9);
    const Kep8u* src = exact.empty() ? marked.data() : exact.data();  // a valid pointer for length 0

    Run runs[3];
    memset(static_cast<void*>(runs), 0, sizeof runs);  // states are compared as bytes, padding included
    for (Run& r : runs) r.pos = start;
    int directBits = start * 8, directCount = 0, directMarker = 0;
    Kep32u directWord = 0;
    Kep16s directDC = 0, directOut[64];

    for (int block = 0; block < 256; ++block) {
        runs[0].result = ownTbl_kepiDecodeHuffman8x8_JPEG_1u16s_C1[0](src, len, &runs[0].pos, runs[0].out, &runs[0].lastDC,
                                                                   &runs[0].marker, &dc, &ac, &runs[0].st);
        runs[1].result = ownTbl_kepiDecodeHuffman8x8_JPEG_1u16s_C1[1](src, len, &runs[1].pos, runs[1].out, &runs[1].lastDC,
                                                                   &runs[1].marker, &dc, &ac, &runs[1].st);
        const OwnHuffSrc careful = {src, len, &runs[2].pos, &runs[2].marker};
        runs[2].result = ownHuffDecodeBlock_careful(careful, runs[2].out, &runs[2].lastDC, &dc, &ac, &runs[2].st);
        for (int i = 1; i < 3; ++i) {
            check(runs[i].result == runs[0].result && runs[i].pos == runs[0].pos && runs[i].marker == runs[0].marker &&
                  runs[i].lastDC == runs[0].lastDC && memcmp(runs[i].out, runs[0].out, sizeof runs[0].out) == 0 &&
                  memcmp(&runs[i].st, &runs[0].st, sizeof runs[0].st) == 0);
        }
        check(documented(runs[0].result));
        check(runs[0].pos >= start && runs[0].pos <= len);

        // The Direct form on the same bytes and a marker after them: the same as long as the
        // stateful decoder has not reached the end of its source (where the Direct form reads on
        // into the marker).
        const KepResult d = kepiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(marked.data(), &directBits, directOut, &directDC,
                                                                      &directMarker, &directWord, &directCount, &dc, &ac);
        check(documented(d) && d != kepErrStreamEnd);
        check(directBits / 8 <= len + 2);
        if (runs[0].pos < len) {
            check(d == runs[0].result && directBits == runs[0].pos * 8 && directDC == runs[0].lastDC &&
                  memcmp(directOut, runs[0].out, sizeof directOut) == 0);
        }

        if (runs[0].result == kepErrStreamEnd) break;
        if (runs[0].marker != 0 || runs[0].result != kepOk) {
            // Restart: the caller clears the marker and the state and goes on after it.
            if (runs[0].marker == 0 && runs[0].result != kepOk && block % 2) break;
            for (Run& r : runs) {
                r.marker = 0;
                r.lastDC = 0;
                kepiDecodeHuffmanStateInit_JPEG_8u(&r.st);
            }
            directMarker = 0;
            directDC = 0;
            directWord = 0;
            directCount = 0;
            directBits = runs[0].pos * 8;
        }
    }
    return 0;
}
