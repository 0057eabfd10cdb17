// The MQ arithmetic coder of ITU-T T.800 Annex C and the raw (bypass) bit coder of the lazy
// coding style: records, the probability-estimation table and the initial context tables.
// Internal to the code-block decoder (pj2decoder.cpp) and encoder (pj2encoder.cpp).
#ifndef KEP_PJ2MQ_H
#define KEP_PJ2MQ_H

#include "owndefs.h"

enum { OWN_MQ_CONTEXTS = 19 };

// The rows of T.800 Table C.2 as an initialiser list, also expanded at compile time by the
// decoder's packed context tables (pj2decpasses.cpp).
#define OWN_MQ_ESTIMATOR_ROWS \
    {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0}, \
    {0x0521, 5, 29, 0},  {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0}, \
    {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0}, {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, \
    {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1}, {0x5401, 16, 14, 0}, \
    {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0}, \
    {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, \
    {0x1C01, 25, 22, 0}, {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, \
    {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0}, {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, \
    {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0}, {0x02A1, 36, 33, 0}, \
    {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0}, \
    {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, \
    {0x0005, 45, 42, 0}, {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},

// T.800 Table C.2, one row per state: Qe, next state after an MPS renormalisation, next state
// after an LPS renormalisation, and 1 when an LPS in this state flips the MPS sense. State 46 is
// the non-adapting uniform state.
extern "C" KEP_HIDDEN const Kep32u owniEstimator_JPEG2K[47][4];
// Initial state numbers and MPS senses of the 19 contexts (T.800 Table D.7): context 0 uniform,
// 1 run-length, 2 the significance context with no significant neighbour, 3..18 state 0.
extern "C" KEP_HIDDEN const Kep32s owniInitialCtxIndexes_JPEG2K[OWN_MQ_CONTEXTS];
extern "C" KEP_HIDDEN const Kep32s owniInitialMPS_JPEG2K[OWN_MQ_CONTEXTS];

enum { OWN_QE = 0, OWN_NMPS = 1, OWN_NLPS = 2, OWN_SWITCH = 3 };

// ---- decoder ---------------------------------------------------------------------------------

// C is held complemented: a byte B enters it as 0xFF - B, so that a missing byte (a marker or the
// end of the segment) is fed by adding nothing, which is the same as feeding 0xFF.
struct OwnMQDecoder {
    const Kep8u* data;
    Kep32s length;
    Kep32s position;  // index of the byte most recently taken into C
    Kep32u A;
    Kep32u C;
    Kep32u CT;
    Kep32s I[OWN_MQ_CONTEXTS];
    Kep32s MPS[OWN_MQ_CONTEXTS];
    Kep32u endReached;  // sticky for the rest of the segment once a marker or the end was met
};

struct OwnRawReader {
    const Kep8u* data;
    Kep32s length;
    Kep32s position;  // index of the next byte to load
    Kep32s bitPos;    // next bit of lastByte to deliver; -1: load a byte first
    Kep32u lastByte;
};

static inline void ownMQResetContexts(Kep32s* I, Kep32s* MPS) {
    memcpy(I, owniInitialCtxIndexes_JPEG2K, sizeof owniInitialCtxIndexes_JPEG2K);
    memcpy(MPS, owniInitialMPS_JPEG2K, sizeof owniInitialMPS_JPEG2K);
}

// A byte at an index at or past the end reads as 0xFF.
static inline Kep32u ownMQByteAt(const OwnMQDecoder* d, Kep32s i) { return i < d->length ? d->data[i] : 0xFFu; }

// T.800 BYTEIN with the sticky end rule: a 0xFF followed by a byte above 0x8F, or the end of the
// segment, ends the data; from then on nothing is added (0xFF bytes are fed).
static inline void ownMQByteIn(OwnMQDecoder* d) {
    if (d->endReached) {
        d->CT = 8;
        return;
    }
    const Kep32u b = ownMQByteAt(d, d->position);
    const Kep32u b1 = ownMQByteAt(d, d->position + 1);
    if (b < 0xFF) {
        d->position += 1;
        d->C += 0xFF00u - (b1 << 8);
        d->CT = 8;
    } else if (b1 > 0x8F) {
        d->endReached = 1;
        d->CT = 8;
    } else {
        d->position += 1;
        d->C += 0xFE00u - (b1 << 9);
        d->CT = 7;
    }
}

// T.800 INITDEC on data[0 .. length-1]; the contexts are left alone. A null data pointer is only
// passed with length 0.
static inline void ownMQInitDecoder(OwnMQDecoder* d, const Kep8u* data, Kep32s length) {
    d->data = data;
    d->length = length < 0 ? 0 : length;
    d->position = 0;
    d->endReached = 0;
    d->A = 0x8000;
    d->C = d->length >= 1 ? (0xFFu - data[0]) << 16 : 0;
    const Kep32u b = ownMQByteAt(d, 0), b1 = ownMQByteAt(d, 1);
    if (d->length >= 1 && b < 0xFF) {
        d->position = 1;
        d->C += 0xFF00u - (b1 << 8);
        d->CT = 8;
    } else if (d->length >= 2 && b1 <= 0x8F) {
        d->position = 1;
        d->C += 0xFE00u - (b1 << 9);
        d->CT = 7;
    } else {
        d->endReached = 1;
        d->CT = 8;
    }
    d->C <<= 7;
    d->CT -= 7;
}

// T.800 RENORMD.
static inline void ownMQRenormD(OwnMQDecoder* d) {
    do {
        if (d->CT == 0) ownMQByteIn(d);
        d->A <<= 1;
        d->C <<= 1;
        d->CT -= 1;
    } while (!(d->A & 0x8000));
}

// T.800 DECODE with conditional exchange: one decision in context cx (0..18).
__attribute__((always_inline)) static inline int mqDecoderDecode(OwnMQDecoder* d, int cx) {
    const Kep32u* row = owniEstimator_JPEG2K[d->I[cx]];
    const Kep32u qe = row[OWN_QE];
    const Kep32u a = d->A - qe;
    int bit;
    if ((d->C >> 16) < a) {
        if (a & 0x8000) {
            d->A = a;
            return d->MPS[cx];
        }
        if (a < qe) {
            bit = 1 - d->MPS[cx];
            d->I[cx] = static_cast<Kep32s>(row[OWN_NLPS]);
            if (row[OWN_SWITCH]) d->MPS[cx] = bit;
        } else {
            bit = d->MPS[cx];
            d->I[cx] = static_cast<Kep32s>(row[OWN_NMPS]);
        }
        d->A = a;
    } else {
        d->C -= a << 16;
        if (a < qe) {
            bit = d->MPS[cx];
            d->I[cx] = static_cast<Kep32s>(row[OWN_NMPS]);
        } else {
            bit = 1 - d->MPS[cx];
            d->I[cx] = static_cast<Kep32s>(row[OWN_NLPS]);
            if (row[OWN_SWITCH]) d->MPS[cx] = bit;
        }
        d->A = qe;
    }
    ownMQRenormD(d);
    return bit;
}

static inline void ownRawInitReader(OwnRawReader* r, const Kep8u* data, Kep32s length) {
    r->data = data;
    r->length = length < 0 ? 0 : length;
    r->position = 0;
    r->lastByte = 0;
    r->bitPos = -1;
}

// One raw bit: a byte after a 0xFF contributes its 7 low bits; past the end 1-bits are read.
static inline int ownRawReadBit(OwnRawReader* r) {
    if (r->bitPos < 0) {
        r->bitPos = r->lastByte < 0xFF ? 7 : 6;
        r->lastByte = static_cast<Kep32u>(r->position) < static_cast<Kep32u>(r->length) ? r->data[r->position] : 0xFFu;
        r->position += 1;
    }
    const int bit = static_cast<int>((r->lastByte >> r->bitPos) & 1);
    r->bitPos -= 1;
    return bit;
}

// ---- encoder ---------------------------------------------------------------------------------

// Terminations (the public constants kepMQTerm... have the same values); any other value
// behaves as a flush.
enum { OWN_MQ_TERM_FLUSH = 0, OWN_MQ_TERM_SHORTEST = 1, OWN_MQ_TERM_PREDICTABLE = 2 };

// The encoder writes straight into an output area of the code-block encoder's state: `out` with
// room for `capacity` bytes, `produced` of them written. The first byte that BYTEOUT emits in a
// segment is the dummy of INITENC and is dropped (skipFirst); `overflow` records a byte that did
// not fit.
struct OwnMQEncoder {
    Kep32u B;
    Kep32u skipFirst;
    Kep32u A;
    Kep32u C;
    Kep32u CT;
    Kep32s I[OWN_MQ_CONTEXTS];
    Kep32s MPS[OWN_MQ_CONTEXTS];
    Kep8u* out;
    Kep32s capacity;
    Kep32s produced;
    Kep32s overflow;
};

// T.800 INITENC for a new segment; the contexts are kept.
KEP_HIDDEN void ownMQInitEncoder(OwnMQEncoder* e);
// T.800 CODEMPS / CODELPS of decision d (0 or 1) in context cx.
KEP_HIDDEN void ownMQEncode(OwnMQEncoder* e, int cx, int d);
// Ends the segment with termination `type`; the bytes are in out afterwards.
KEP_HIDDEN void ownMQTerminate(OwnMQEncoder* e, int type);
// Number of bytes a decoder needs, beyond those already emitted, to decode every decision coded
// so far whatever follows: the pending byte plus enough bytes to cover the low end of C.
KEP_HIDDEN int ownMQPendingBytes(const OwnMQEncoder* e);

// Raw writer: bits from the most significant end; a byte after a 0xFF carries 7 bits (its top
// bit 0). Same output area rules as the MQ encoder, without a dummy byte.
struct OwnRawWriter {
    Kep32u acc;       // bits of the byte being formed
    Kep32s free;      // bits still free in it
    Kep32u lastByte;  // previous complete byte
    Kep8u* out;
    Kep32s capacity;
    Kep32s produced;
    Kep32s overflow;
};

KEP_HIDDEN void ownRawInitWriter(OwnRawWriter* w);
KEP_HIDDEN void ownRawWriteBit(OwnRawWriter* w, int bit);
// Pads the partial byte with 1-bits and drops a final 0xFF byte: the reader takes 1-bits past
// the end, so neither changes what it reads.
KEP_HIDDEN void ownRawTerminate(OwnRawWriter* w);

#endif  // KEP_PJ2MQ_H
