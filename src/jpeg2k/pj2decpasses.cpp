// The MQ-coded decoding passes written for speed (pj2fastpasses.h) with the MQ decoder of
// pj2mq.h held in locals.

#include "pj2decpasses.h"

#include "pj2fastpasses.h"

namespace {

static_assert(+OWN_DEC_CLEANUP == +ownfast::kCleanup && +OWN_DEC_REFINE == +ownfast::kRefine &&
                  +OWN_DEC_SIGPROP == +ownfast::kSigProp,
              "pass kinds");

// The decoder record in locals. The passes take it by reference and are inlined into one
// function per pass, so that A, C and CT live in registers.
struct MqDecoder {
    static constexpr bool kEncode = false, kRaw = false;
    const Kep8u* data;
    Kep32s length;
    Kep32s position;
    Kep32u A, C, CT, endReached;
    Kep32u D;  // max(C >> 16, 0x7FFF): the cheap MPS case is exactly A - Qe > D
    Kep32u cx[OWN_MQ_CONTEXTS];

    explicit MqDecoder(const OwnMQDecoder* d)
        : data(d->data), length(d->length), position(d->position), A(d->A), C(d->C), CT(d->CT), endReached(d->endReached) {
        setD();
        ownfast::packContexts(cx, d->I, d->MPS);
    }
    __attribute__((always_inline)) void setD() {
        const Kep32u hi = C >> 16;
        D = hi > 0x7FFFu ? hi : 0x7FFFu;
    }
    void store(OwnMQDecoder* d) const {
        d->position = position;
        d->A = A;
        d->C = C;
        d->CT = CT;
        d->endReached = endReached;
        ownfast::unpackContexts(cx, d->I, d->MPS);
    }
    void resetContexts() { ownfast::resetContexts(cx); }

    // T.800 BYTEIN with the sticky end rule, as ownMQByteIn. Inline: a call would take the
    // record's address and keep its registers in memory.
    __attribute__((always_inline)) void byteIn() {
        if (endReached) {
            CT = 8;
            return;
        }
        const Kep32u b = position < length ? data[position] : 0xFFu;
        const Kep32u b1 = position + 1 < length ? data[position + 1] : 0xFFu;
        if (b < 0xFF) {
            position += 1;
            C += 0xFF00u - (b1 << 8);
            CT = 8;
        } else if (b1 > 0x8F) {
            endReached = 1;
            CT = 8;
        } else {
            position += 1;
            C += 0xFE00u - (b1 << 9);
            CT = 7;
        }
    }

    // T.800 RENORMD in runs: the n shifts that A needs, with a byte-in each time CT has run
    // out and another shift is still needed, as the one-bit loop does.
    __attribute__((always_inline)) void renorm() {
        Kep32u n = static_cast<Kep32u>(__builtin_clz(A)) - 16;
        while (__builtin_expect(n > CT, 0)) {
            A <<= CT;
            C <<= CT;
            n -= CT;
            CT = 0;
            byteIn();
        }
        A <<= n;
        C <<= n;
        CT -= n;
    }

    // T.800 DECODE with conditional exchange, as mqDecoderDecode: one compare for the MPS
    // sub-interval without renormalisation (the code value below A - Qe and A - Qe still at
    // least 0x8000: both at once as A - Qe > D, D refreshed whenever C changes, which is only
    // on the other path); past it the sub-interval and the exchange are selected without
    // branching (on high-rate code-blocks most decisions get there, and which way they go
    // cannot be predicted): the decision is MPS ^ (lps ^ exchange), and the LPS successor is
    // taken exactly when that decision is the LPS.
    __attribute__((always_inline)) int code(int k, int) {
        const Kep32u p = cx[k];
        const Kep32u qe = p & 0xFFFF, mps = (p >> 16) & 1;
        const Kep32u a = A - qe;
        if (a > D) {
            A = a;
            return static_cast<int>(mps);
        }
        Kep32u lps = (C >> 16) >= a ? 1u : 0u;
        Kep32u flip = lps ^ (a < qe ? 1u : 0u);
        // Opaque to the optimiser: told that they are 0 or 1, it duplicates the rest of the
        // pass for each value behind a branch that cannot be predicted.
        asm("" : "+r"(lps), "+r"(flip));
        const ownfast::MqNext& e = ownfast::kMq.e[p >> 16];
        cx[k] = flip ? e.nlps : e.nmps;
        // Masks, not selects: left to itself the compiler branches on lps here.
        const Kep32u lpsMask = 0u - lps;
        C -= (a << 16) & lpsMask;
        A = (qe & lpsMask) | (a & ~lpsMask);
        renorm();
        setD();
        return static_cast<int>(mps ^ static_cast<Kep32u>(flip));
    }
};

// The raw reader in locals, as ownRawReadBit.
struct RawDecoder {
    static constexpr bool kEncode = false, kRaw = true;
    const Kep8u* data;
    Kep32s length, position, bitPos;
    Kep32u lastByte;

    explicit RawDecoder(const OwnRawReader* r)
        : data(r->data), length(r->length), position(r->position), bitPos(r->bitPos), lastByte(r->lastByte) {}
    void store(OwnRawReader* r) const {
        r->position = position;
        r->bitPos = bitPos;
        r->lastByte = lastByte;
    }
    void resetContexts() {}
    __attribute__((always_inline)) int code(int, int) {
        if (bitPos < 0) {
            bitPos = lastByte < 0xFF ? 7 : 6;
            lastByte = static_cast<Kep32u>(position) < static_cast<Kep32u>(length) ? data[position] : 0xFFu;
            position += 1;
        }
        const int bit = static_cast<int>((lastByte >> bitPos) & 1);
        bitPos -= 1;
        return bit;
    }
};

}  // namespace

int ownDecodePassRaw(const OwnCBPlane& b, OwnRawReader* r, int kind, int bp, int flags) {
    RawDecoder c(r);
    ownfast::runPass(c, b, kind, bp, flags & OWN_CB_VCAUSAL);
    c.store(r);
    return 0;
}

int ownDecodePassMQ(const OwnCBPlane& b, OwnMQDecoder* d, int kind, int bp, int flags) {
    MqDecoder m(d);
    const int corrupt = ownfast::runPass(m, b, kind, bp, flags);
    m.store(d);
    return corrupt;
}
