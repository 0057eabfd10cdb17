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
    static constexpr bool kEncode = false;
    const Kep8u* data;
    Kep32s length;
    Kep32s position;
    Kep32u A, C, CT, endReached;
    Kep32u cx[OWN_MQ_CONTEXTS];

    explicit MqDecoder(const OwnMQDecoder* d)
        : data(d->data), length(d->length), position(d->position), A(d->A), C(d->C), CT(d->CT), endReached(d->endReached) {
        ownfast::packContexts(cx, d->I, d->MPS);
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
    // out and another shift is still needed, as the one-bit loop does. n may be 0.
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

    // T.800 DECODE with conditional exchange, as mqDecoderDecode, without a branch on the
    // outcome (high-rate code-blocks renormalise on most decisions, and which sub-interval
    // is taken cannot be predicted): the decision is MPS ^ (lps ^ exchange), the LPS successor
    // is taken exactly when that decision is the LPS, and the state stays when the MPS
    // sub-interval needs no renormalisation (then A keeps bit 15 and no shift follows).
    __attribute__((always_inline)) int code(int k, int) {
        const Kep32u p = cx[k];
        const Kep32u qe = p & 0xFFFF, mps = (p >> 16) & 1;
        const Kep32u a = A - qe;
        const bool lps = (C >> 16) >= a;
        const bool stay = !lps && (a & 0x8000);
        const bool flip = lps != (a < qe);
        const ownfast::MqNext& e = ownfast::kMq.e[p >> 16];
        const Kep32u next = flip ? e.nlps : e.nmps;
        cx[k] = stay ? p : next;
        C -= lps ? a << 16 : 0u;
        A = lps ? qe : a;
        renorm();
        return static_cast<int>(mps ^ static_cast<Kep32u>(flip));
    }
};

}  // namespace

int ownDecodePassMQ(const OwnCBPlane& b, OwnMQDecoder* d, int kind, int bp, int flags) {
    MqDecoder m(d);
    const int corrupt = ownfast::runPass(m, b, kind, bp, flags);
    m.store(d);
    return corrupt;
}
