// JPEG 2000 code-block decoding: the progressive code-block decoder, fed one codeword segment
// at a time, and the one-shot decoder built on it. The MQ decoder and raw reader are in pj2mq.h,
// the coding passes in pj2passes.h.

#include <stddef.h>

#include "kepcore.h"
#include "pj2decpasses.h"
#include "pj2mq.h"
#include "pj2passes.h"
#include "pjdispatch.h"

// The state: this header, then the coefficient-state buffer at the first multiple of 32 bytes
// after it.
struct KepiDecodeCBProgrState_JPEG2K {
    Kep32u id;
    Kep32s* pDst;
    Kep32s width;
    Kep32s height;
    Kep32s dstStep;
    Kep32s bitPlane;  // plane of the next cleanup pass
    // Byte offsets of the neighbour words of a state word: up, down, and the four diagonals.
    Kep32s offUp, offDown, offUpLeft, offUpRight, offDownLeft, offDownRight;
    const Kep32u* lut;
    OwnMQDecoder mq;
    OwnRawReader raw;
    Kep32u* stateBuf;
    Kep32s pitch;  // bytes per row of the state buffer
    Kep32s flags;
    Kep32s nextKind;
    Kep32s passCounter;
    Kep32s rawStart;
    Kep32s error;
    Kep32s attached;
};

namespace {

const Kep32u kStateId = 0x434D4150;  // "PAMC" read little-endian
const int kHeaderSlack = 472;        // header plus 32 bytes of alignment slack
static_assert(sizeof(KepiDecodeCBProgrState_JPEG2K) + 32 <= kHeaderSlack, "state header too large");

// Kinds of the next pass.
enum { kCleanup = 0, kRefine = 1, kSigProp = 2, kCleanupAfterRaw = 3, kRefineRaw = 4, kSigPropRaw = 5 };

int statePitch(int width) { return ((width + 2) * 4 + 31) / 32 * 32; }

// The pass works on a copy of the decoder record, written back afterwards: a local the compiler
// can keep in registers, which the stores into the state buffer cannot alias.
struct MQCoder {
    static constexpr bool kEncode = false, kRaw = false;
    OwnMQDecoder d;
    __attribute__((always_inline)) int code(int cx, int) { return mqDecoderDecode(&d, cx); }
    void resetContexts() { ownMQResetContexts(d.I, d.MPS); }
};

struct RawCoder {
    static constexpr bool kEncode = false, kRaw = true;
    OwnRawReader* r;
    int code(int, int) { return ownRawReadBit(r); }
    void resetContexts() {}
};

OwnCBPlane planeOf(KepiDecodeCBProgrState_JPEG2K* s) {
    return {s->pDst, s->dstStep, s->width, s->height, reinterpret_cast<Kep16u*>(s->stateBuf), s->pitch / 2, s->lut};
}

// The check of a segment closed by the predictable termination (T.800 D.4.2). That termination
// emits the code register down to a depth fixed by CT and nothing after, so a decoder that has
// decoded the segment's last decision in step with the encoder (a) has taken every byte of the
// segment into C, and (b) finds the code value within 2^(16 - CT) of the top of its interval
// (2^8 when CT is 0): below the emitted bits it sees only the 1-bits it supplies itself past the
// end, and C, held complemented, measures the distance from the top. A segment cut short, an
// extra byte, or decoding out of step breaks (a) or, with high probability, (b).
int predictableTerminationFails(const OwnMQDecoder* d) {
    if (d->position < d->length) return 1;
    const Kep32u depth = d->CT ? 16 - d->CT : 8;
    return d->A - (d->C >> 16) > (1u << depth);
}

static_assert(+kCleanup == +OWN_DEC_CLEANUP && +kRefine == +OWN_DEC_REFINE && +kSigProp == +OWN_DEC_SIGPROP, "pass kinds");

// An MQ-coded pass (and below a raw one): the fast passes of pj2decpasses.cpp, or (kRef) the
// generic ones.
template <bool kRef>
int mqPass(KepiDecodeCBProgrState_JPEG2K* s, int kind, int bp, int flags) {
    if (bp > 30) return 1;  // magnitude bits above plane 30 cannot be held in a coefficient
    const OwnCBPlane b = planeOf(s);
    int r;
    if constexpr (kRef) {
        MQCoder c{s->mq};
        if (kind == kSigProp) r = significancePropagation(b, c, bp, flags & (OWN_CB_VCAUSAL | OWN_CB_RESET));
        else if (kind == kRefine) r = magnitudeRefinement(b, c, bp, flags & (OWN_CB_VCAUSAL | OWN_CB_RESET));
        else r = cleanup(b, c, bp, flags & (OWN_CB_VCAUSAL | OWN_CB_RESET | OWN_CB_SEGSYM));
        s->mq = c.d;
    } else {
        r = ownDecodePassMQ(b, &s->mq, kind, bp, flags & (OWN_CB_VCAUSAL | OWN_CB_RESET | (kind == kCleanup ? OWN_CB_SEGSYM : 0)));
    }
    if (flags & OWN_CB_PREDTERM) r |= predictableTerminationFails(&s->mq);
    return r;
}

template <bool kRef>
int rawPass(KepiDecodeCBProgrState_JPEG2K* s, int kind, int bp, int flags) {
    if (bp > 30) return 1;
    const OwnCBPlane b = planeOf(s);
    if constexpr (kRef) {
        RawCoder c{&s->raw};
        if (kind == kSigPropRaw) return significancePropagation(b, c, bp, flags & OWN_CB_VCAUSAL);
        return magnitudeRefinement(b, c, bp, flags & OWN_CB_VCAUSAL);
    } else {
        return ownDecodePassRaw(b, &s->raw, kind == kSigPropRaw ? kSigProp : kRefine, bp, flags);
    }
}

// One segment under the style that terminates every pass: exactly one pass.
template <bool kRef>
int stepOnePass(KepiDecodeCBProgrState_JPEG2K* s, const Kep8u* src, int len) {
    const int bp = s->bitPlane, flags = s->flags;
    const int kind = s->nextKind >= 1 && s->nextKind <= 5 ? s->nextKind : kCleanup;
    int r;
    s->passCounter -= 1;
    switch (kind) {
    case kRefine:
    case kSigProp:
        ownMQInitDecoder(&s->mq, src, len);
        r = mqPass<kRef>(s, kind, bp, flags);
        s->nextKind = kind == kRefine ? kCleanup : kRefine;
        break;
    case kRefineRaw:
    case kSigPropRaw:
        ownRawInitReader(&s->raw, src, len);
        r = rawPass<kRef>(s, kind, bp, flags);
        s->nextKind = kind == kRefineRaw ? kCleanupAfterRaw : kRefineRaw;
        break;
    default:  // cleanup
        ownMQInitDecoder(&s->mq, src, len);
        r = mqPass<kRef>(s, kCleanup, bp, flags);
        s->nextKind = kind == kCleanupAfterRaw || bp - 1 < s->rawStart ? kSigPropRaw : kSigProp;
        s->bitPlane = bp - 1;
        break;
    }
    return r;
}

// One segment carrying a run of passes (T.800 D.4.1): up to the next segment boundary or the
// end of the counted passes, stopping after a pass that found corrupt data.
template <bool kRef>
int stepRun(KepiDecodeCBProgrState_JPEG2K* s, const Kep8u* src, int len) {
    const int flags = s->flags & ~OWN_CB_PREDTERM;
    const int pred = s->flags & OWN_CB_PREDTERM;
    if (s->nextKind == kSigPropRaw) {
        ownRawInitReader(&s->raw, src, len);
        s->passCounter -= 1;
        if (rawPass<kRef>(s, kSigPropRaw, s->bitPlane, flags)) return 1;
        if (s->passCounter < 1) return 0;
        s->passCounter -= 1;
        const int r = rawPass<kRef>(s, kRefineRaw, s->bitPlane, flags);
        s->nextKind = kCleanupAfterRaw;
        return r;
    }
    ownMQInitDecoder(&s->mq, src, len);
    if (s->nextKind == kCleanupAfterRaw) {
        s->passCounter -= 1;
        const int r = mqPass<kRef>(s, kCleanup, s->bitPlane, flags | pred);
        if (s->passCounter > 0) {
            s->bitPlane -= 1;
            s->nextKind = kSigPropRaw;
        }
        return r;
    }
    for (;;) {
        s->passCounter -= 1;
        int r = mqPass<kRef>(s, kCleanup, s->bitPlane, flags | (s->bitPlane == s->rawStart ? pred : 0));
        if (s->passCounter < 1) return r;
        const int old = s->bitPlane;
        s->bitPlane -= 1;
        if (old <= s->rawStart) {
            s->nextKind = kSigPropRaw;
            return r;
        }
        if (r) return r;
        s->passCounter -= 1;
        if (mqPass<kRef>(s, kSigProp, s->bitPlane, flags)) return 1;
        if (s->passCounter < 1) return 0;
        s->passCounter -= 1;
        if (mqPass<kRef>(s, kRefine, s->bitPlane, flags)) return 1;
        if (s->passCounter < 1) return 0;
    }
}

KepResult checkState(const KepiDecodeCBProgrState_JPEG2K* s) {
    if (!s) return kepErrNullPtr;
    return s->id == kStateId ? kepOk : kepErrContext;
}

// pitch * ((height + 1) / 2 + 2) + 472 for sizes of at least 1, or -1 when an int cannot hold it.
long long stateSize(KepiSize size) {
    const long long pitch = (static_cast<long long>(size.width) * 4 + 8 + 31) / 32 * 32;
    const long long rows = (static_cast<long long>(size.height) + 1) / 2 + 2;
    if (pitch > (0x7FFFFFFFLL - kHeaderSlack) / rows) return -1;
    return pitch * rows + kHeaderSlack;
}

}  // namespace

KepResult own_kepiDecodeCBProgrGetStateSize_JPEG2K(KepiSize codeBlockMaxSize, int* pStateSize) {
    if (codeBlockMaxSize.width < 1 || codeBlockMaxSize.height < 1) return kepErrSize;
    if (!pStateSize) return kepErrNullPtr;
    const long long size = stateSize(codeBlockMaxSize);
    if (size < 0) return kepErrSize;  // beyond what an int can tell
    *pStateSize = static_cast<int>(size);
    return kepOk;
}

KepResult own_kepiDecodeGetBufSize_JPEG2K(KepiSize codeBlockMaxSize, int* pSize) {
    return own_kepiDecodeCBProgrGetStateSize_JPEG2K(codeBlockMaxSize, pSize);
}

KepResult own_kepiDecodeCBProgrInit_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState) {
    if (!pState) return kepErrNullPtr;
    pState->id = kStateId;
    const uintptr_t after = reinterpret_cast<uintptr_t>(pState) + sizeof *pState;
    pState->stateBuf = reinterpret_cast<Kep32u*>((after + 31) & ~static_cast<uintptr_t>(31));
    pState->attached = 0;
    return kepOk;
}

KepResult own_kepiDecodeCBProgrInitAlloc_JPEG2K(KepiDecodeCBProgrState_JPEG2K** ppState, KepiSize codeBlockMaxSize) {
    if (!ppState) return kepErrNullPtr;
    if (codeBlockMaxSize.width < 1 || codeBlockMaxSize.height < 1) return kepErrSize;
    const long long size = stateSize(codeBlockMaxSize);
    auto* s = size < 0 ? nullptr : static_cast<KepiDecodeCBProgrState_JPEG2K*>(kepMalloc(static_cast<int>(size)));
    *ppState = s;
    if (!s) return kepErrMemAlloc;
    return own_kepiDecodeCBProgrInit_JPEG2K(s);
}

KepResult own_kepiDecodeCBProgrFree_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState) {
    const KepResult r = checkState(pState);
    if (r != kepOk) return r;
    kepFree(pState);
    return kepOk;
}

KepResult own_kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(Kep32s* pDst, int dstStep, KepiSize codeBlockSize,
                                                     KepiDecodeCBProgrState_JPEG2K* pState, int subband,
                                                     int magnBits, int codeStyleFlags) {
    if (!pState || !pDst) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;
    if (codeBlockSize.width < 1 || codeBlockSize.height < 1) return kepErrSize;
    if (pState->id != kStateId) return kepErrContext;

    KepiDecodeCBProgrState_JPEG2K* s = pState;
    s->flags = codeStyleFlags;
    s->pDst = pDst;
    s->dstStep = dstStep;
    s->width = codeBlockSize.width;
    s->height = codeBlockSize.height;
    if (!(codeStyleFlags & OWN_CB_KEEPBLOCK))
        for (int y = 0; y < s->height; ++y)
            memset(reinterpret_cast<Kep8u*>(pDst) + static_cast<ptrdiff_t>(y) * dstStep, 0, static_cast<size_t>(s->width) * 4);
    s->pitch = statePitch(s->width);
    if (!(codeStyleFlags & OWN_CB_KEEPSTATE))
        for (int r = 0; r < (s->height + 1) / 2 + 2; ++r)
            memset(reinterpret_cast<Kep8u*>(s->stateBuf) + static_cast<ptrdiff_t>(r) * s->pitch, 0, static_cast<size_t>(s->width + 2) * 4);
    ownMQResetContexts(s->mq.I, s->mq.MPS);
    s->offUp = -s->pitch;
    s->offDown = s->pitch;
    s->offUpLeft = -s->pitch - 4;
    s->offUpRight = -s->pitch + 4;
    s->offDownLeft = s->pitch - 4;
    s->offDownRight = s->pitch + 4;
    s->lut = ownZeroCodingLUT(subband);
    // Plane numbers in 64 bits: any int magnBits is accepted.
    const long long rawStart = static_cast<long long>(magnBits) - 4;
    s->rawStart = (codeStyleFlags & OWN_CB_BYPASS) && rawStart > 0 ? static_cast<Kep32s>(rawStart) : 0;
    s->bitPlane = magnBits < 0 ? -1 : magnBits - 1;
    s->passCounter = 0;
    s->nextKind = kCleanup;
    s->error = 0;
    s->attached = 1;
    return kepOk;
}

KepResult own_kepiDecodeCBProgrSetPassCounter_JPEG2K(int nPasses, KepiDecodeCBProgrState_JPEG2K* pState) {
    const KepResult r = checkState(pState);
    if (r != kepOk) return r;
    pState->passCounter = nPasses;
    return kepOk;
}

KepResult own_kepiDecodeCBProgrGetPassCounter_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState, int* pNPasses) {
    if (!pState || !pNPasses) return kepErrNullPtr;
    if (pState->id != kStateId) return kepErrContext;
    *pNPasses = pState->passCounter;
    return kepOk;
}

KepResult own_kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState, int* pBitPlane) {
    if (!pState || !pBitPlane) return kepErrNullPtr;
    if (pState->id != kStateId) return kepErrContext;
    *pBitPlane = pState->bitPlane;
    return kepOk;
}

namespace {

template <bool kRef>
KepResult decodeStep(const Kep8u* pSrc, int srcLen, KepiDecodeCBProgrState_JPEG2K* pState) {
    if (!pSrc || !pState) return kepErrNullPtr;
    if (pState->id != kStateId) return kepErrContext;
    if (!pState->attached) return kepErrNoCodeBlock;
    if (pState->passCounter < 1 || pState->bitPlane < 0) return kepOk;
    const int corrupt =
        (pState->flags & OWN_CB_TERMALL) ? stepOnePass<kRef>(pState, pSrc, srcLen) : stepRun<kRef>(pState, pSrc, srcLen);
    if (!corrupt) return kepOk;
    pState->error = 1;
    return kepErrCorruptSegment;
}

template <bool kRef>
KepResult decodeCodeBlock(const Kep8u* pSrc, Kep32s* pDst, int dstStep, KepiSize codeBlockSize, int subband, int magnBits,
                          int nPasses, const int* pSegLen, int nSegments, int codeStyleFlags, int* pNOfResidualBp,
                          KepiDecodeCBProgrState_JPEG2K* pState) {
    if (!pSrc || !pState) return kepErrNullPtr;
    if (codeBlockSize.width < 1 || codeBlockSize.height < 1) return kepErrSize;
    if (!pSegLen || !pDst) return kepErrNullPtr;
    if (dstStep < 1) return kepErrStep;

    own_kepiDecodeCBProgrInit_JPEG2K(pState);
    own_kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(pDst, dstStep, codeBlockSize, pState, subband, magnBits, codeStyleFlags);
    own_kepiDecodeCBProgrSetPassCounter_JPEG2K(nPasses, pState);
    KepResult result = kepOk;
    for (int i = 0; i < nSegments; ++i) {
        result = decodeStep<kRef>(pSrc, pSegLen[i], pState);
        if (result != kepOk) break;
        if (pSegLen[i] > 0) pSrc += pSegLen[i];  // a negative length reads nothing and skips nothing
    }
    const int bp = pState->bitPlane;
    const auto forEach = [&](auto fn) {
        for (int y = 0; y < codeBlockSize.height; ++y) {
            Kep32u* row = reinterpret_cast<Kep32u*>(reinterpret_cast<Kep8u*>(pDst) + static_cast<ptrdiff_t>(y) * dstStep);
            for (int x = 0; x < codeBlockSize.width; ++x) row[x] = fn(row[x]);
        }
    };
    // Masks of the planes at and above bp (shifts in 64 bits: bp may exceed 31).
    const Kep32u keep = bp >= 0 ? static_cast<Kep32u>(~0ull << (bp < 63 ? bp : 63)) : ~0u;
    if (result == kepErrCorruptSegment) {
        if (pNOfResidualBp) *pNOfResidualBp = bp;
        if ((codeStyleFlags & OWN_CB_MIDPOINT) && bp >= 0) {
            const Kep32u half = bp < 31 ? 1u << bp : 0u;
            forEach([=](Kep32u c) {
                const Kep32u v = c & keep;
                return (v & 0x7FFFFFFFu) ? (v | half) : 0u;
            });
        }
    }
    if (!(codeStyleFlags & OWN_CB_KEEPLOWBP) && bp >= 1) forEach([=](Kep32u c) { return c & keep; });
    return result;
}

}  // namespace

KepResult own_kepiDecodeCBProgrStep_JPEG2K(const Kep8u* pSrc, int srcLen, KepiDecodeCBProgrState_JPEG2K* pState) {
    return decodeStep<false>(pSrc, srcLen, pState);
}

KepResult own_kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(const Kep8u* pSrc, Kep32s* pDst, int dstStep, KepiSize codeBlockSize,
                                                   int subband, int magnBits, int nPasses, const int* pSegLen,
                                                   int nSegments, int codeStyleFlags, int* pNOfResidualBp,
                                                   KepiDecodeCBProgrState_JPEG2K* pState) {
    return decodeCodeBlock<false>(pSrc, pDst, dstStep, codeBlockSize, subband, magnBits, nPasses, pSegLen, nSegments,
                                  codeStyleFlags, pNOfResidualBp, pState);
}

KepResult ownpj_DecodeCBProgrStepRef_JPEG2K(const Kep8u* pSrc, int srcLen, KepiDecodeCBProgrState_JPEG2K* pState) {
    return decodeStep<true>(pSrc, srcLen, pState);
}

KepResult ownpj_DecodeCodeBlockRef_JPEG2K(const Kep8u* pSrc, Kep32s* pDst, int dstStep, KepiSize codeBlockSize, int subband,
                                          int magnBits, int nPasses, const int* pSegLen, int nSegments, int codeStyleFlags,
                                          int* pNOfResidualBp, KepiDecodeCBProgrState_JPEG2K* pState) {
    return decodeCodeBlock<true>(pSrc, pDst, dstStep, codeBlockSize, subband, magnBits, nPasses, pSegLen, nSegments,
                                 codeStyleFlags, pNOfResidualBp, pState);
}
