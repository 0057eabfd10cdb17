// Lossless row decoder on arbitrary bytes: one table shared by the components, a width, a
// component count, a predictor and a precision from the input, the stream in a buffer of exactly
// its length. Slot 0 and slot 1 must agree row by row; the decoded differences are rebuilt into
// samples and predicted again, which must give the same differences back.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "huff.h"
#include "huff_fuzz_input.h"
#include "pjdispatch.h"

namespace {

void check(bool ok) {
    if (!ok) __builtin_trap();
}

constexpr int kMaxWidth = 96;

struct Run {
    KepiDecodeHuffmanState st;
    int pos, marker;
    Kep16s rows[4][kMaxWidth];
    KepResult result;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    KepiDecodeHuffmanSpec spec;
    if (!fuzzTakeDecodeSpec(data, size, &spec) || size < 6) return 0;
    const int width = 1 + data[0] % kMaxWidth;
    const int nComps = 1 + data[1] % 6;
    const int predictor = 1 + data[2] % 7;
    const int P = 2 + data[3] % 15;
    const int Pt = data[4] % P;
    data += 5, size -= 5;
    if (size == 0) return 0;
    const int len = static_cast<int>(size);
    std::vector<Kep8u> exact(data, data + size);
    const KepiDecodeHuffmanSpec* tables[4] = {&spec, &spec, &spec, &spec};

    Run runs[2];
    memset(static_cast<void*>(runs), 0, sizeof runs);
    Kep16s prev[kMaxWidth] = {}, cur[kMaxWidth] = {}, again[kMaxWidth] = {};
    for (int row = 0; row < 64; ++row) {
        for (int s = 0; s < 2; ++s) {
            Kep16s* dst[4] = {runs[s].rows[0], runs[s].rows[1], runs[s].rows[2], runs[s].rows[3]};
            runs[s].result = ownTbl_kepiDecodeHuffmanRow_JPEG_1u16s_C1P4[s](exact.data(), len, &runs[s].pos, dst, width,
                                                                          nComps, &runs[s].marker, tables, &runs[s].st);
        }
        check(memcmp(&runs[0], &runs[1], sizeof runs[0]) == 0);
        const KepResult r = runs[0].result;
        check(r == kepOk || r == kepErrStreamEnd || r == kepErrHuffmanData);
        check(runs[0].pos >= 0 && runs[0].pos <= len);

        const Kep16s* diff = runs[0].rows[0];
        if (row == 0) {
            check(kepiReconstructPredFirstRow_JPEG_16s_C1(diff, cur, width, P, Pt) == kepOk);
            check(kepiDiffPredFirstRow_JPEG_16s_C1(cur, again, width, P, Pt) == kepOk);
        } else {
            check(kepiReconstructPredRow_JPEG_16s_C1(diff, prev, cur, width, predictor) == kepOk);
            check(kepiDiffPredRow_JPEG_16s_C1(cur, prev, again, width, predictor) == kepOk);
        }
        check(memcmp(again, diff, static_cast<size_t>(width) * sizeof(Kep16s)) == 0);
        memcpy(prev, cur, sizeof prev);
        if (r != kepOk) break;
    }
    return 0;
}
