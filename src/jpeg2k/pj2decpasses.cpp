// The MQ-coded decoding passes written for speed (pj2fastpasses.h) with the MQ decoder of
// pj2mq.h held in locals.

#include "pj2decpasses.h"

#include "pj2fastpasses.h"

namespace {

using ownfast::kMq;
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

    // T.800 RENORMD in runs: the shifts that A needs, taken CT at a time with a byte-in
    // whenever CT runs out before the next shift, as the one-bit loop does.
    __attribute__((always_inline)) void renorm() {
        Kep32u n = static_cast<Kep32u>(__builtin_clz(A)) - 16;
        for (;;) {
            if (CT == 0) byteIn();
            const Kep32u s = n < CT ? n : CT;
            A <<= s;
            C <<= s;
            CT -= s;
            n -= s;
            if (!n) return;
        }
    }

    // T.800 DECODE with conditional exchange, as mqDecoderDecode.
    __attribute__((always_inline)) int code(int k, int) {
        Kep32u& ctx = cx[k];
        const ownfast::MqEntry& e = kMq.e[ctx];
        const Kep32u qe = e.qe;
        const Kep32u a = A - qe;
        int bit;
        if ((C >> 16) < a) {
            if (__builtin_expect((a & 0x8000) != 0, 1)) {
                A = a;
                return static_cast<int>(e.mps);
            }
            A = a;
            if (a < qe) {
                bit = static_cast<int>(e.mps ^ 1);
                ctx = e.nlps;
            } else {
                bit = static_cast<int>(e.mps);
                ctx = e.nmps;
            }
        } else {
            C -= a << 16;
            if (a < qe) {
                bit = static_cast<int>(e.mps);
                ctx = e.nmps;
            } else {
                bit = static_cast<int>(e.mps ^ 1);
                ctx = e.nlps;
            }
            A = qe;
        }
        renorm();
        return bit;
    }
};

}  // namespace

int ownDecodePassMQ(const OwnCBPlane& b, OwnMQDecoder* d, int kind, int bp, int flags) {
    MqDecoder m(d);
    const int corrupt = ownfast::runPass(m, b, kind, bp, flags);
    m.store(d);
    return corrupt;
}
