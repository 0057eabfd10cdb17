// Huffman statistics (T.81 K.2): the symbols the encoders would emit, counted per symbol value
// instead of written. The AC first and refinement counts run the encoders' own symbol sequences
// (huffprog.h) with a counting sink, so runs spanning blocks and the emission rules agree exactly.

#include "huffprog.h"
#include "pjdispatch.h"

KepResult own_kepiGetHuffmanStatisticsOne_JPEG_16s_C1(const Kep16s* pSrc, int* pStatistics) {
    if (!pSrc || !pStatistics) return kepErrNullPtr;
    const int s = ownHuffCategory(*pSrc);
    if (s > 16) return kepErrDataRange;
    pStatistics[s] += 1;
    return kepOk;
}

KepResult own_kepiGetHuffmanStatistics8x8_JPEG_16s_C1(const Kep16s* pSrc, int* pDcStatistics, int* pAcStatistics,
                                                      Kep16s* pLastDC) {
    if (!pSrc || !pDcStatistics || !pAcStatistics || !pLastDC) return kepErrNullPtr;
    const Kep32s diff = static_cast<Kep32s>(pSrc[0]) - *pLastDC;
    *pLastDC = pSrc[0];
    const int sdc = ownHuffCategory(diff);
    if (sdc > 15) return kepErrHuffmanData;
    pDcStatistics[sdc] += 1;
    int run = 0;
    for (int k = 1; k < 64; ++k) {
        const Kep32s v = pSrc[ownZigzagNaturalExt[k]];
        if (v == 0) {
            ++run;
            continue;
        }
        pAcStatistics[0xF0] += run >> 4;
        run &= 15;
        const int s = ownHuffCategory(v);
        if (s > 14) return kepErrHuffmanData;
        pAcStatistics[run * 16 + s] += 1;
        run = 0;
    }
    if (run > 0) pAcStatistics[0x00] += 1;
    return kepOk;
}

KepResult own_kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const Kep16s* pSrc, int* pDcStatistics,
                                                              Kep16s* pLastDC, int Al) {
    if (!pSrc || !pDcStatistics || !pLastDC) return kepErrNullPtr;
    if (ownHuffBadAl(Al)) return kepErrArgRange;
    const Kep32s v = pSrc[0] >> Al;
    const Kep32s diff = v - *pLastDC;
    *pLastDC = static_cast<Kep16s>(v);
    const int s = ownHuffCategory(diff);
    if (s > 11) return kepErrHuffmanData;
    pDcStatistics[s] += 1;
    return kepOk;
}

namespace {

template <KepResult (*Scan)(const OwnHuffCounter&, const Kep16s*, int, int, int, KepiEncodeHuffmanState*)>
KepResult acStatistics(const Kep16s* pSrc, int* pAcStatistics, int Ss, int Se, int Al, KepiEncodeHuffmanState* st,
                       int bFlushState) {
    if (!pAcStatistics || !st) return kepErrNullPtr;
    const OwnHuffCounter counter{pAcStatistics};
    if (bFlushState) {
        ownHuffEmitEobRun(counter, st);  // counting cannot fail
        memset(st, 0, sizeof *st);
        return kepOk;
    }
    if (!pSrc) return kepErrNullPtr;
    if (ownHuffBadBand(Ss, Se, Al)) return kepErrArgRange;
    return Scan(counter, pSrc, Ss, Se, Al, st);
}

}  // namespace

KepResult own_kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Kep16s* pSrc, int* pAcStatistics, int Ss, int Se,
                                                              int Al, KepiEncodeHuffmanState* pEncHuffState,
                                                              int bFlushState) {
    return acStatistics<ownHuffACFirst<OwnHuffCounter>>(pSrc, pAcStatistics, Ss, Se, Al, pEncHuffState, bFlushState);
}

KepResult own_kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Kep16s* pSrc, int* pAcStatistics, int Ss,
                                                               int Se, int Al, KepiEncodeHuffmanState* pEncHuffState,
                                                               int bFlushState) {
    return acStatistics<ownHuffACRefine<OwnHuffCounter>>(pSrc, pAcStatistics, Ss, Se, Al, pEncHuffState,
                                                         bFlushState);
}
