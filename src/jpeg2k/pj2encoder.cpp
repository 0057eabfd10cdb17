// JPEG 2000 code-block encoding: the MQ encoder with its three terminations, the raw (bypass)
// writer, and the exported code-block encoder with per-pass rates and distortions for
// post-compression rate-distortion optimisation.

#include <stddef.h>

#include "kepcore.h"
#include "pj2fastpasses.h"
#include "pj2mq.h"
#include "pj2passes.h"
#include "pjdispatch.h"

// ---- MQ encoder (T.800 C.2) ------------------------------------------------------------------

namespace {

void mqEmit(OwnMQEncoder* e, Kep32u byte) {
    if (e->skipFirst) {  // the dummy byte of INITENC
        e->skipFirst = 0;
        return;
    }
    if (e->produced < e->capacity) e->out[e->produced++] = static_cast<Kep8u>(byte);
    else e->overflow = 1;
}

// T.800 BYTEOUT with the carry at bit 27; after a 0xFF only 7 bits are taken, so that a carry
// lands in the stuffed top bit of the next byte.
void mqByteOut(OwnMQEncoder* e) {
    if (e->B != 0xFF && e->C >= 0x8000000) {
        e->B += 1;
        if (e->B == 0xFF) e->C &= 0x7FFFFFF;
    }
    mqEmit(e, e->B);
    if (e->B == 0xFF) {
        e->B = (e->C >> 20) & 0xFF;
        e->C &= 0xFFFFF;
        e->CT = 7;
    } else {
        e->B = (e->C >> 19) & 0xFF;
        e->C &= 0x7FFFF;
        e->CT = 8;
    }
}

void mqRenormE(OwnMQEncoder* e) {
    do {
        e->A <<= 1;
        e->C <<= 1;
        e->CT -= 1;
        if (e->CT == 0) mqByteOut(e);
    } while (!(e->A & 0x8000));
}

// T.800 FLUSH with the low bits shifted in as 1s. The byte formed by the last BYTEOUT (and a
// pending 0xFF) is never emitted.
void mqFlush(OwnMQEncoder* e) {
    Kep32u t = e->C | 0xFFFF;
    if (t >= e->C + e->A) t -= 0x8000;
    e->C = t << e->CT;
    mqByteOut(e);
    e->C = (e->C | 0x7FFF) << e->CT;
    mqByteOut(e);
    if (e->B == 0xFF) {
        e->C |= 0x7FFF;
        return;
    }
    e->C = (e->C | 0x7FFF) << e->CT;
    mqByteOut(e);
}

// Predictable termination (T.800 D.4.2): at least 12 - CT more bits of C are pushed out as they
// are, then the pending byte unless it is 0xFF.
void mqPredictable(OwnMQEncoder* e) {
    int k = 12 - static_cast<int>(e->CT);
    while (k > 0) {
        e->C <<= e->CT;
        mqByteOut(e);
        k -= static_cast<int>(e->CT);
    }
    if (e->B != 0xFF) {
        e->C <<= e->CT;
        mqByteOut(e);
    }
}

// Shortest termination. The code value must lie in [L, U), L = B:C and U = L + A; the decoder
// reads 1-bits after the last byte. With the bytes t[0..] of L from the pending byte on, the
// prefix of n bytes followed by 1-bits is the smallest such value whose bytes end at t[n-1], so
// the shortest termination is the smallest n for which it stays below U. Positions are kept
// 24 bits up so that bytes below bit 0 of C can be placed.
void mqShortest(OwnMQEncoder* e) {
    enum { kUp = 24, kMax = 5 };
    const bool dummy = e->skipFirst != 0;
    const bool afterFF = !dummy && e->produced > 0 && e->out[e->produced - 1] == 0xFF;
    const int s = 27 - static_cast<int>(e->CT);  // bit of C that the pending byte's LSB sits on
    const Kep64u low = (static_cast<Kep64u>(e->B) << (s + kUp)) + (static_cast<Kep64u>(e->C) << kUp);
    const Kep64u high = low + (static_cast<Kep64u>(e->A) << kUp);

    // The bytes of L: BYTEOUTs on a copy whose output goes to t.
    Kep8u t[kMax + 1];
    OwnMQEncoder copy = *e;
    copy.skipFirst = 0;
    copy.out = t;
    copy.capacity = kMax;
    copy.produced = 0;
    copy.overflow = 0;
    for (int k = 0; k < kMax; ++k) {
        copy.C <<= copy.CT;
        mqByteOut(&copy);
    }

    // lsb: position of the least significant bit of the last byte taken into the prefix.
    int lsb = s + (afterFF ? 7 : 8);
    Kep64u prefix = 0;
    int n = 0;
    for (;; ++n) {
        const Kep64u sup = prefix + (1ull << (lsb + kUp));  // prefix followed by 1-bits, rounded up
        // Once lsb <= 0 the prefix reaches below bit 0 of C and the test holds; kMax bytes
        // always get there.
        if ((sup > low && sup <= high) || n == kMax) break;
        lsb -= (n == 0 ? afterFF : t[n - 1] == 0xFF) ? 7 : 8;
        prefix += static_cast<Kep64u>(t[n]) << (lsb + kUp);
    }
    for (int k = 0; k < n; ++k) mqEmit(e, t[k]);
    // The prefix may end with a 0xFF emitted before (when nothing more is needed after it):
    // dropping it changes nothing for the decoder, which reads 1-bits there, and keeps a
    // following segment's first byte from forming a marker with it.
    if (e->produced > 0 && e->out[e->produced - 1] == 0xFF) e->produced -= 1;
}

}  // namespace

void ownMQInitEncoder(OwnMQEncoder* e) {
    e->A = 0x8000;
    e->C = 0;
    e->CT = 12;
    e->B = 0;
    e->skipFirst = 1;
    e->produced = 0;
    e->overflow = 0;
}

void ownMQEncode(OwnMQEncoder* e, int cx, int d) {
    const Kep32u* row = owniEstimator_JPEG2K[e->I[cx]];
    const Kep32u qe = row[OWN_QE];
    e->A -= qe;
    if (d == e->MPS[cx]) {
        if (e->A & 0x8000) {
            e->C += qe;
            return;
        }
        if (e->A < qe) e->A = qe;
        else e->C += qe;
        e->I[cx] = static_cast<Kep32s>(row[OWN_NMPS]);
    } else {
        if (e->A < qe) e->C += qe;
        else e->A = qe;
        if (row[OWN_SWITCH]) e->MPS[cx] = 1 - e->MPS[cx];
        e->I[cx] = static_cast<Kep32s>(row[OWN_NLPS]);
    }
    mqRenormE(e);
}

void ownMQTerminate(OwnMQEncoder* e, int type) {
    if (type == OWN_MQ_TERM_SHORTEST) mqShortest(e);
    else if (type == OWN_MQ_TERM_PREDICTABLE) mqPredictable(e);
    else mqFlush(e);
}

int ownMQPendingBytes(const OwnMQEncoder* e) {
    // The pending byte, then 27 - CT bits of C down to its bit 0, at 7 bits a byte at worst.
    return (e->skipFirst ? 0 : 1) + (27 - static_cast<int>(e->CT) + 6) / 7;
}

// ---- raw writer ------------------------------------------------------------------------------

namespace {
void rawPut(OwnRawWriter* w, Kep32u byte) {
    if (w->produced < w->capacity) w->out[w->produced++] = static_cast<Kep8u>(byte);
    else w->overflow = 1;
    w->lastByte = byte;
    w->acc = 0;
    w->free = byte == 0xFF ? 7 : 8;
}
}  // namespace

void ownRawInitWriter(OwnRawWriter* w) {
    w->acc = 0;
    w->free = 8;
    w->lastByte = 0;
    w->produced = 0;
    w->overflow = 0;
}

void ownRawWriteBit(OwnRawWriter* w, int bit) {
    w->acc = (w->acc << 1) | static_cast<Kep32u>(bit & 1);
    if (--w->free == 0) rawPut(w, w->acc);
}

void ownRawTerminate(OwnRawWriter* w) {
    const int width = w->lastByte == 0xFF ? 7 : 8;
    if (w->free < width) {
        while (w->free > 0) {
            w->acc = (w->acc << 1) | 1u;
            --w->free;
        }
        rawPut(w, w->acc);
    }
    if (w->produced > 0 && w->out[w->produced - 1] == 0xFF) --w->produced;
}

// ---- code-block encoder ----------------------------------------------------------------------

enum { OWN_ENC_MAX_PASSES = 3 * 31 - 2 };  // 31 magnitude bit planes

struct KepiEncodeState_JPEG2K {
    Kep32u id;
    Kep32s maxWidth;
    Kep32s maxHeight;
    OwnMQEncoder mq;
    OwnRawWriter raw;
    Kep8u* out;        // coded bytes of the loaded code-block, all segments end to end
    Kep32s capacity;
    Kep32s total;      // bytes in out
    Kep32s delivered;  // bytes already handed out by StoreBits
    Kep32s nPasses;
    Kep32s nSegments;
    Kep16u* stateBuf;
    Kep32s pitchE;
    Kep32s passSegment[OWN_ENC_MAX_PASSES];  // segment of each pass
    Kep32s passRate[OWN_ENC_MAX_PASSES];     // bytes needed to decode passes 0..k
    Kep32f passDist[OWN_ENC_MAX_PASSES];     // squared-error decrease of pass k
    Kep32s segmentLength[OWN_ENC_MAX_PASSES];
};

namespace {

const Kep32u kEncId = 0x4B324A45;  // "EJ2K" read little-endian

// Squared-error decrease when a magnitude m becomes known down to plane bp (reconstruction at
// the middle of what is still unknown), from knowing it down to plane bp + 1 (wasSignificant)
// or not at all.
__attribute__((always_inline)) inline double distortionDrop(Kep32u m, int bp, bool wasSignificant) {
    const double mid = bp > 0 ? static_cast<double>(1u << (bp - 1)) : 0.0;
    const double after = static_cast<double>(m) - (static_cast<double>((m >> bp) << bp) + mid);
    double before = static_cast<double>(m);
    if (wasSignificant) before -= static_cast<double>((m >> (bp + 1)) << (bp + 1)) + static_cast<double>(1u << bp);
    return before * before - after * after;
}

struct EncBase {
    static constexpr bool kEncode = true;
    double dist = 0;
    void significant(Kep32u m, int bp) { dist += distortionDrop(m, bp, false); }
    void refined(Kep32u m, int bp) { dist += distortionDrop(m, bp, true); }
};

// The same decreases for the fast passes. While every term and every partial sum is an integer
// below 2^53 (magnitudes below 2^planes, at most 2^(53 - 2 * planes) coefficients: each square
// stays below 2^(2 * planes)), the double arithmetic above is exact and equals a sum in 64-bit
// integers, which is several times cheaper and does not chain the additions through a 4-cycle
// floating-point latency. Deeper blocks keep the double form.
struct FastDist {
    static constexpr bool kEncode = true;
    bool exact = false;
    Kep64s sum = 0;
    double dist = 0;
    // The error left when m is known down to plane bp: it is reconstructed at
    // (m >> bp << bp) + 2^(bp-1).
    static Kep64s errorAt(Kep32u m, int bp) { return static_cast<Kep64s>(m & ((1u << bp) - 1)) - (bp > 0 ? 1 << (bp - 1) : 0); }
    __attribute__((always_inline)) void significant(Kep32u m, int bp) {
        if (!exact) {
            dist += distortionDrop(m, bp, false);
            return;
        }
        const Kep64s after = errorAt(m, bp);
        sum += static_cast<Kep64s>(m) * m - after * after;  // before: the whole of m
    }
    __attribute__((always_inline)) void refined(Kep32u m, int bp) {
        if (!exact) {
            dist += distortionDrop(m, bp, true);
            return;
        }
        const Kep64s before = errorAt(m, bp + 1), after = errorAt(m, bp);
        sum += before * before - after * after;
    }
    double total() const { return exact ? static_cast<double>(sum) : dist; }
};

// Whether FastDist may sum in integers for a w x h block of the given number of planes.
bool exactDistortion(int w, int h, int planes) {
    return planes <= 26 && static_cast<Kep64u>(w) * static_cast<Kep64u>(h) <= (1ull << (53 - 2 * planes));
}

struct EncMQ : EncBase {
    static constexpr bool kRaw = false;
    OwnMQEncoder* e;
    explicit EncMQ(OwnMQEncoder* enc) : e(enc) {}
    int code(int cx, int bit) {
        ownMQEncode(e, cx, bit);
        return bit;
    }
    void resetContexts() { ownMQResetContexts(e->I, e->MPS); }
};

struct EncRaw : EncBase {
    static constexpr bool kRaw = true;
    OwnRawWriter* w;
    explicit EncRaw(OwnRawWriter* wr) : w(wr) {}
    int code(int, int bit) {
        ownRawWriteBit(w, bit);
        return bit;
    }
    void resetContexts() {}
};

// The MQ encoder of the segment in locals while a fast pass (pj2fastpasses.h) runs, so that A,
// C and CT live in registers; the same arithmetic as ownMQEncode and its BYTEOUT.
struct FastEncMQ : FastDist {
    static constexpr bool kRaw = false;
    Kep32u B, skipFirst, A, C, CT;
    Kep8u* out;
    Kep32s capacity, produced, overflow;
    Kep32u cx[OWN_MQ_CONTEXTS];

    explicit FastEncMQ(const OwnMQEncoder* e)
        : B(e->B), skipFirst(e->skipFirst), A(e->A), C(e->C), CT(e->CT), out(e->out), capacity(e->capacity),
          produced(e->produced), overflow(e->overflow) {
        ownfast::packContexts(cx, e->I, e->MPS);
    }
    void store(OwnMQEncoder* e) const {
        e->B = B;
        e->skipFirst = skipFirst;
        e->A = A;
        e->C = C;
        e->CT = CT;
        e->produced = produced;
        e->overflow = overflow;
        ownfast::unpackContexts(cx, e->I, e->MPS);
    }
    void resetContexts() { ownfast::resetContexts(cx); }

    __attribute__((always_inline)) void emit(Kep32u byte) {
        if (skipFirst) {
            skipFirst = 0;
            return;
        }
        if (produced < capacity) out[produced++] = static_cast<Kep8u>(byte);
        else overflow = 1;
    }
    // As mqByteOut; inline, so that the record's address never escapes.
    __attribute__((always_inline)) void byteOut() {
        if (B != 0xFF && C >= 0x8000000) {
            B += 1;
            if (B == 0xFF) C &= 0x7FFFFFF;
        }
        emit(B);
        if (B == 0xFF) {
            B = (C >> 20) & 0xFF;
            C &= 0xFFFFF;
            CT = 7;
        } else {
            B = (C >> 19) & 0xFF;
            C &= 0x7FFFF;
            CT = 8;
        }
    }
    // T.800 RENORME in runs: the shifts A needs (possibly none), CT at a time, with a byte-out
    // each time CT reaches 0, as the one-bit loop does.
    __attribute__((always_inline)) void renorm() {
        Kep32u n = static_cast<Kep32u>(__builtin_clz(A)) - 16;
        while (__builtin_expect(n >= CT, 0)) {
            A <<= CT;
            C <<= CT;
            n -= CT;
            byteOut();
        }
        A <<= n;
        C <<= n;
        CT -= n;
    }
    // T.800 CODEMPS / CODELPS, as ownMQEncode, without a branch outside byte-out: the encoder's
    // decisions are known to the pass, whose own branches never wait for A or C, so the MQ
    // arithmetic runs alongside them instead of costing a mispredicted branch whenever an MPS
    // and an LPS or renormalisation alternate. An MPS that leaves bit 15 of A set keeps its
    // context (fast); otherwise the successor is taken. The conditional exchange: C gains Qe and
    // A keeps A - Qe when (MPS) != (A - Qe < Qe), else A becomes Qe; renormalisation shifts by
    // the leading zeros of A, none in the fast case.
    __attribute__((always_inline)) int code(int k, int d) {
        const Kep32u p = cx[k];
        const Kep32u qe = p & 0xFFFF;
        const Kep32u mps = ~(static_cast<Kep32u>(d) ^ (p >> 16)) & 1u;
        A -= qe;
        Kep32u fast = mps & (A >> 15);  // A - Qe is below 0x10000
        Kep32u small = A < qe ? 1u : 0u;
        asm("" : "+r"(fast), "+r"(small));  // opaque: kept as data, not turned into branches
        const ownfast::MqNext& e = ownfast::kMq.e[p >> 16];
        const Kep32u next = mps ? e.nmps : e.nlps;
        cx[k] = fast ? p : next;
        const Kep32u keep = 0u - (mps ^ small);  // all ones: C gains Qe, A stays
        C += qe & keep;
        A = (A & keep) | (qe & ~keep);
        renorm();
        return d;
    }
};

// The raw writer in locals for a fast pass, as ownRawWriteBit.
struct FastEncRaw : FastDist {
    static constexpr bool kRaw = true;
    Kep32u acc;
    Kep32s free;
    Kep32u lastByte;
    Kep8u* out;
    Kep32s capacity, produced, overflow;

    explicit FastEncRaw(const OwnRawWriter* w)
        : acc(w->acc), free(w->free), lastByte(w->lastByte), out(w->out), capacity(w->capacity), produced(w->produced),
          overflow(w->overflow) {}
    void store(OwnRawWriter* w) const {
        w->acc = acc;
        w->free = free;
        w->lastByte = lastByte;
        w->produced = produced;
        w->overflow = overflow;
    }
    void resetContexts() {}
    __attribute__((always_inline)) int code(int, int bit) {
        acc = (acc << 1) | static_cast<Kep32u>(bit & 1);
        if (--free == 0) {
            if (produced < capacity) out[produced++] = static_cast<Kep8u>(acc);
            else overflow = 1;
            lastByte = acc;
            free = acc == 0xFF ? 7 : 8;
            acc = 0;
        }
        return bit;
    }
};

enum { kPassCleanup, kPassSigProp, kPassRefine };

template <class Coder>
double runPass(const OwnCBPlane& b, Coder& c, int kind, int bp, int flags) {
    if (kind == kPassSigProp) significancePropagation(b, c, bp, flags);
    else if (kind == kPassRefine) magnitudeRefinement(b, c, bp, flags);
    else cleanup(b, c, bp, flags);
    return c.dist;
}

KepResult checkEncState(const KepiEncodeState_JPEG2K* s) {
    if (!s) return kepErrNullPtr;
    return s->id == kEncId ? kepOk : kepErrContext;
}

int encPitchE(int width) { return ((width + 2) * 4 + 31) / 32 * 16; }

}  // namespace

KepResult own_kepiEncodeInitAlloc_JPEG2K(KepiEncodeState_JPEG2K** ppState, KepiSize codeBlockMaxSize) {
    if (!ppState) return kepErrNullPtr;
    if (codeBlockMaxSize.width < 1 || codeBlockMaxSize.height < 1) return kepErrSize;
    // State buffer as the decoder's; output room of 16 bytes per coefficient (128 bits, while a
    // coefficient takes at most about 90 coded decisions over 31 bit planes) plus 1 KiB.
    const long long head = (sizeof(KepiEncodeState_JPEG2K) + 63) / 64 * 64;
    const long long pitchBytes = ((static_cast<long long>(codeBlockMaxSize.width) + 2) * 4 + 31) / 32 * 32;
    const long long stateBytes = pitchBytes * ((static_cast<long long>(codeBlockMaxSize.height) + 1) / 2 + 2);
    const long long outBytes = static_cast<long long>(codeBlockMaxSize.width) * codeBlockMaxSize.height * 16 + 1024;
    const long long size = head + stateBytes + outBytes;
    auto* s = size <= 0x7FFFFFFF ? static_cast<KepiEncodeState_JPEG2K*>(kepMalloc(static_cast<int>(size))) : nullptr;
    *ppState = s;
    if (!s) return kepErrMemAlloc;
    memset(s, 0, sizeof *s);
    s->id = kEncId;
    s->maxWidth = codeBlockMaxSize.width;
    s->maxHeight = codeBlockMaxSize.height;
    s->stateBuf = reinterpret_cast<Kep16u*>(reinterpret_cast<Kep8u*>(s) + head);
    s->out = reinterpret_cast<Kep8u*>(s) + head + stateBytes;
    s->capacity = static_cast<Kep32s>(outBytes);
    return kepOk;
}

KepResult own_kepiEncodeFree_JPEG2K(KepiEncodeState_JPEG2K* pState) {
    const KepResult r = checkEncState(pState);
    if (r != kepOk) return r;
    kepFree(pState);
    return kepOk;
}

namespace {

// One pass with the coder record r (OwnMQEncoder or OwnRawWriter): the fast passes with the
// record in locals (Fast), or (kRef) the generic passes with the plain coder calls (Plain).
template <bool kRef, class Plain, class Fast, class Record>
double codePass(const OwnCBPlane& b, Record* r, int kind, int bp, int flags, bool exact) {
    if constexpr (kRef) {
        Plain c(r);
        return runPass(b, c, kind, bp, flags);
    } else {
        Fast c(r);
        c.exact = exact;
        ownfast::runPass(c, b, kind == kPassCleanup ? ownfast::kCleanup : kind == kPassSigProp ? ownfast::kSigProp : ownfast::kRefine,
                         bp, flags);
        c.store(r);
        return c.total();
    }
}

template <bool kRef>
KepResult loadCodeBlock(const Kep32s* pSrc, int srcStep, KepiSize codeBlockSize, KepiEncodeState_JPEG2K* pState, int subband,
                        int magnBits, int mqTermType, int codeStyleFlags, int* pSfBits, int* pNOfPasses, int* pNOfTermPasses) {
    if (!pSrc) return kepErrNullPtr;
    if (srcStep < 1) return kepErrStep;
    const KepResult st = checkEncState(pState);
    if (st != kepOk) return st;
    if (!pSfBits || !pNOfPasses || !pNOfTermPasses) return kepErrNullPtr;
    if (codeBlockSize.width < 1 || codeBlockSize.height < 1) return kepErrSize;
    if (codeBlockSize.width > pState->maxWidth || codeBlockSize.height > pState->maxHeight) return kepErrArgRange;
    if (subband < 0 || subband > 3) return kepErrArgRange;
    if (magnBits < 1 || magnBits > 31) return kepErrArgRange;

    const auto rowOf = [&](int y) {
        return reinterpret_cast<const Kep32u*>(reinterpret_cast<const Kep8u*>(pSrc) + static_cast<ptrdiff_t>(y) * srcStep);
    };
    Kep32u all = 0;
    for (int y = 0; y < codeBlockSize.height; ++y)
        for (int x = 0; x < codeBlockSize.width; ++x) all |= rowOf(y)[x] & 0x7FFFFFFFu;
    if (magnBits < 31 && (all >> magnBits)) return kepErrDataRange;

    KepiEncodeState_JPEG2K* s = pState;
    int planes = 0;  // magnitude bit planes actually coded
    while (planes < 31 && (all >> planes)) ++planes;
    const int nPasses = planes ? 3 * planes - 2 : 0;
    const int rawStart = (codeStyleFlags & OWN_CB_BYPASS) && planes > 4 ? planes - 4 : 0;

    s->pitchE = encPitchE(codeBlockSize.width);
    memset(s->stateBuf, 0, static_cast<size_t>(s->pitchE) * 2 * ((codeBlockSize.height + 1) / 2 + 2));
    // The passes only read the source: the plane's data pointer is not written through.
    const OwnCBPlane b = {const_cast<Kep32s*>(pSrc), srcStep, codeBlockSize.width, codeBlockSize.height, s->stateBuf,
                          s->pitchE, ownZeroCodingLUT(subband)};
    const int passFlags = codeStyleFlags & (OWN_CB_VCAUSAL | OWN_CB_RESET | OWN_CB_SEGSYM);
    const bool exact = exactDistortion(codeBlockSize.width, codeBlockSize.height, planes);
    ownMQResetContexts(s->mq.I, s->mq.MPS);
    s->total = 0;
    s->delivered = 0;
    s->nSegments = 0;
    bool segmentOpen = false, segmentRaw = false, overflow = false;
    int firstOfSegment = 0;

    int pass = 0;
    for (int bp = planes - 1; bp >= 0; --bp) {
        for (int kind = bp == planes - 1 ? kPassCleanup : kPassSigProp;; kind = kind == kPassSigProp ? kPassRefine : kPassCleanup) {
            const bool raw = kind != kPassCleanup && bp < rawStart;
            if (!segmentOpen) {
                segmentOpen = true;
                segmentRaw = raw;
                firstOfSegment = pass;
                if (raw) {
                    s->raw.out = s->out + s->total;
                    s->raw.capacity = s->capacity - s->total;
                    ownRawInitWriter(&s->raw);
                } else {
                    s->mq.out = s->out + s->total;
                    s->mq.capacity = s->capacity - s->total;
                    ownMQInitEncoder(&s->mq);
                }
            }
            double dist;
            if (raw) {
                dist = codePass<kRef, EncRaw, FastEncRaw>(b, &s->raw, kind, bp, passFlags & OWN_CB_VCAUSAL, exact);
            } else {
                dist = codePass<kRef, EncMQ, FastEncMQ>(b, &s->mq, kind, bp, passFlags, exact);
            }
            s->passDist[pass] = static_cast<Kep32f>(dist);
            s->passSegment[pass] = s->nSegments;
            // A segment ends after every pass (TERMALL), after the last pass, at the switch to
            // raw coding (the cleanup of plane rawStart) and at every switch within raw coding.
            const bool last = pass == nPasses - 1;
            const bool ends = (codeStyleFlags & OWN_CB_TERMALL) || last ||
                              (rawStart > 0 && ((kind == kPassCleanup && bp <= rawStart) || (raw && kind == kPassRefine)));
            if (ends) {
                int produced;
                if (segmentRaw) {
                    ownRawTerminate(&s->raw);
                    produced = s->raw.produced;
                    overflow |= s->raw.overflow != 0;
                } else {
                    ownMQTerminate(&s->mq, mqTermType);
                    produced = s->mq.produced;
                    overflow |= s->mq.overflow != 0;
                }
                s->total += produced;
                s->segmentLength[s->nSegments++] = produced;
                s->passRate[pass] = s->total;
                // Estimates of the passes before within this segment cannot exceed its end.
                for (int k = firstOfSegment; k < pass; ++k)
                    if (s->passRate[k] > s->total) s->passRate[k] = s->total;
                segmentOpen = false;
            } else {
                const int pending = segmentRaw ? s->raw.produced + (s->raw.free < (s->raw.lastByte == 0xFF ? 7 : 8) ? 1 : 0)
                                               : s->mq.produced + ownMQPendingBytes(&s->mq);
                int rate = s->total + pending;
                if (pass > 0 && rate < s->passRate[pass - 1]) rate = s->passRate[pass - 1];
                s->passRate[pass] = rate;
            }
            ++pass;
            if (kind == kPassCleanup) break;
        }
    }
    s->nPasses = nPasses;
    if (overflow) {
        s->nPasses = s->nSegments = s->total = 0;
        return kepErrStreamEnd;
    }
    *pSfBits = magnBits - planes;
    *pNOfPasses = nPasses;
    *pNOfTermPasses = s->nSegments;
    return kepOk;
}

}  // namespace

KepResult own_kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, KepiSize codeBlockSize,
                                                     KepiEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                     int mqTermType, int codeStyleFlags, int* pSfBits,
                                                     int* pNOfPasses, int* pNOfTermPasses) {
    return loadCodeBlock<false>(pSrc, srcStep, codeBlockSize, pState, subband, magnBits, mqTermType, codeStyleFlags, pSfBits,
                                pNOfPasses, pNOfTermPasses);
}

KepResult ownpj_EncodeLoadCodeBlockRef_JPEG2K(const Kep32s* pSrc, int srcStep, KepiSize codeBlockSize,
                                              KepiEncodeState_JPEG2K* pState, int subband, int magnBits, int mqTermType,
                                              int codeStyleFlags, int* pSfBits, int* pNOfPasses, int* pNOfTermPasses) {
    return loadCodeBlock<true>(pSrc, srcStep, codeBlockSize, pState, subband, magnBits, mqTermType, codeStyleFlags, pSfBits,
                               pNOfPasses, pNOfTermPasses);
}

KepResult own_kepiEncodeStoreBits_JPEG2K_1u(Kep8u* pDst, int* pDstLen, KepiEncodeState_JPEG2K* pState, int* pIsNotFinish) {
    if (!pDst || !pDstLen) return kepErrNullPtr;
    const KepResult st = checkEncState(pState);
    if (st != kepOk) return st;
    if (!pIsNotFinish) return kepErrNullPtr;
    if (*pDstLen < 1) return kepErrSize;
    const int left = pState->total - pState->delivered;
    const int n = left < *pDstLen ? left : *pDstLen;
    memcpy(pDst, pState->out + pState->delivered, static_cast<size_t>(n));
    pState->delivered += n;
    *pDstLen = n;
    *pIsNotFinish = pState->delivered < pState->total;
    return kepOk;
}

namespace {
// The getters: state checks, the output pointer, then the index against the count of the last Load.
template <typename T>
KepResult entryOf(KepiEncodeState_JPEG2K* s, int index, Kep32s KepiEncodeState_JPEG2K::*count,
                  T (KepiEncodeState_JPEG2K::*table)[OWN_ENC_MAX_PASSES], T* out) {
    const KepResult st = checkEncState(s);
    if (st != kepOk) return st;
    if (!out) return kepErrNullPtr;
    if (index < 0 || index >= s->*count) return kepErrPassIndex;
    *out = (s->*table)[index];
    return kepOk;
}
}  // namespace

KepResult own_kepiEncodeGetTermPassLen_JPEG2K(KepiEncodeState_JPEG2K* pState, int nTermPass, int* pPassLen) {
    return entryOf(pState, nTermPass, &KepiEncodeState_JPEG2K::nSegments, &KepiEncodeState_JPEG2K::segmentLength, pPassLen);
}

KepResult own_kepiEncodeGetRate_JPEG2K(KepiEncodeState_JPEG2K* pState, int nPass, int* pRate) {
    return entryOf(pState, nPass, &KepiEncodeState_JPEG2K::nPasses, &KepiEncodeState_JPEG2K::passRate, pRate);
}

KepResult own_kepiEncodeGetDist_JPEG2K(KepiEncodeState_JPEG2K* pState, int nPass, Kep32f* pDist) {
    return entryOf(pState, nPass, &KepiEncodeState_JPEG2K::nPasses, &KepiEncodeState_JPEG2K::passDist, pDist);
}
