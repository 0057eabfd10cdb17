// Huffman specs, bit-stream states and the shared pieces of the JPEG entropy coders: the bit
// writer with 0xFF stuffing, the bit reader with marker handling, symbol decoding, and the
// whole-block baseline kernels. The baseline, progressive and lossless coders all build on these.
#ifndef KEP_HUFF_H
#define KEP_HUFF_H

#include <stddef.h>

#include "kepcore.h"
#include "owndefs.h"

// ---- Layouts of the opaque public types -----------------------------------------------------

// Encoder table: entry[symbol] = code | (length << 16); length 0 means the symbol has no code.
struct KepiEncodeHuffmanSpec {
    Kep32u entry[256];
};

// Decoder table (ITU-T T.81 F.2.2.3 with an 8-bit lookahead).
struct KepiDecodeHuffmanSpec {
    Kep16u huffval[256];    // HUFFVAL in list order
    Kep32u lookahead[256];  // next 8 bits -> symbol | (length << 16), 0 when the code is longer
    Kep16u mincode[18];     // [1..16] first code of each length
    Kep16u maxcode[18];     // [1..16] last code of each length, 0xFFFF for none; [17] = 0xFFFF
    Kep16u valptr[18];      // [1..16] index in huffval of the first symbol of each length
};

struct KepiEncodeHuffmanState {
    Kep64u bitBuffer;     // baseline: pending bits left-aligned at bit 23 of the low 32 bits
    Kep32s bitCount;      // number of pending bits
    Kep32u eobRun;        // progressive AC: pending end-of-band run
    Kep32u corrBitCount;  // progressive AC refinement: buffered correction bits
    Kep8u corrBits[1024];
};

struct KepiDecodeHuffmanState {
    Kep64u bitBuffer;  // bits read ahead, right-aligned, in the low 32 bits (upper half stays 0)
    Kep32s bitCount;   // valid bits in bitBuffer: the next bit is bit bitCount - 1
    Kep32u eobRun;     // progressive AC: remaining end-of-band run
    Kep32u blockPos;   // 1 + zigzag position of the last coefficient of the last block decoded
    Kep32u reserved;   // the last 4 of the 24 bytes: zeroed by Init and never written otherwise, a
                       // member rather than padding so that a state's bytes are all defined
};

static_assert(sizeof(KepiEncodeHuffmanSpec) == KEPI_ENCODE_HUFFMAN_SPEC_SIZE, "encoder spec size");
static_assert(sizeof(KepiDecodeHuffmanSpec) == KEPI_DECODE_HUFFMAN_SPEC_SIZE, "decoder spec size");
static_assert(sizeof(KepiEncodeHuffmanState) == KEPI_ENCODE_HUFFMAN_STATE_SIZE, "encoder state size");
static_assert(sizeof(KepiDecodeHuffmanState) == KEPI_DECODE_HUFFMAN_STATE_SIZE, "decoder state size");
static_assert(offsetof(KepiDecodeHuffmanSpec, lookahead) == 512, "decoder spec layout");
static_assert(offsetof(KepiDecodeHuffmanSpec, mincode) == 1536, "decoder spec layout");
static_assert(offsetof(KepiDecodeHuffmanSpec, maxcode) == 1572, "decoder spec layout");
static_assert(offsetof(KepiDecodeHuffmanSpec, valptr) == 1608, "decoder spec layout");
static_assert(offsetof(KepiEncodeHuffmanState, bitCount) == 8 && offsetof(KepiEncodeHuffmanState, eobRun) == 12 &&
                  offsetof(KepiEncodeHuffmanState, corrBitCount) == 16 && offsetof(KepiEncodeHuffmanState, corrBits) == 20,
              "encoder state layout");
static_assert(offsetof(KepiDecodeHuffmanState, bitCount) == 8 && offsetof(KepiDecodeHuffmanState, eobRun) == 12 &&
                  offsetof(KepiDecodeHuffmanState, blockPos) == 16,
              "decoder state layout");

// ---- Lifetime of specs and states ------------------------------------------------------------

template <typename T>
static inline KepResult ownHuffGetSize(int* pSize) {
    if (!pSize) return kepErrNullPtr;
    *pSize = static_cast<int>(sizeof(T));
    return kepOk;
}
// kepMalloc'ed and zeroed, or null when the allocation fails.
template <typename T>
static inline T* ownHuffAllocZeroed() {
    T* p = static_cast<T*>(kepMalloc(static_cast<int>(sizeof(T))));
    if (p) memset(p, 0, sizeof(T));
    return p;
}
template <typename T>
static inline KepResult ownHuffInitAlloc(T** pp) {
    if (!pp) return kepErrNullPtr;
    T* p = ownHuffAllocZeroed<T>();
    if (!p) return kepErrNullPtr;
    *pp = p;
    return kepOk;
}
static inline KepResult ownHuffFree(void* p) {
    if (!p) return kepErrNullPtr;
    kepFree(p);
    return kepOk;
}

// ---- Magnitude categories (T.81 Table F.1) --------------------------------------------------

// ownHuffCsize[v]: number of bits of v, 0..8, for v in 0..255.
extern KEP_HIDDEN const Kep8u ownHuffCsize[256];

// Category of a value whose magnitude is below 2^16 (0 for 0).
static inline int ownHuffCategory(Kep32s v) {
    const Kep32u a = static_cast<Kep32u>(v < 0 ? -v : v);
    return a < 256 ? ownHuffCsize[a] : ownHuffCsize[(a >> 8) & 0xFF] + 8;
}

// Extra bits of v in category s: v, or v - 1 when negative, truncated to s bits.
static inline Kep32u ownHuffExtraBits(Kep32s v, int s) {
    const Kep32u e = static_cast<Kep32u>(v < 0 ? v - 1 : v);
    return s == 0 ? 0 : e & (0xFFFFFFFFu >> (32 - s));
}

// EXTEND of T.81 Figure F.12 for n bits v (n 1..16).
static inline Kep32s ownHuffExtend(Kep32u v, int n) {
    return v < (1u << (n - 1)) ? static_cast<Kep32s>(v) + 1 - (1 << n) : static_cast<Kep32s>(v);
}

// ---- Encoding -------------------------------------------------------------------------------

// Where an encoder writes: buffer, whole length, and the caller's byte position.
struct OwnHuffDst {
    Kep8u* p;
    int len;
    int* pos;
};

// Appends the low `length` (1..16) bits of value, emitting whole bytes with 0xFF 0x00 stuffing.
// length 0 (a symbol without a code) gives kepErrHuffmanTable and writes nothing. On
// kepErrStreamEnd the bytes stored stay and the position is past them, but bitBuffer/bitCount
// keep their values from before the call.
KEP_HIDDEN KepResult ownHuffWriteBits(Kep32u value, int length, const OwnHuffDst& dst, KepiEncodeHuffmanState* st);
// Writes the code of `symbol` (kepErrHuffmanTable when it has none or is above 255).
KEP_HIDDEN KepResult ownHuffWriteSymbol(const KepiEncodeHuffmanSpec* spec, int symbol, const OwnHuffDst& dst,
                                        KepiEncodeHuffmanState* st);
// Flush of the baseline and lossless coders: the pending bits completed with 1-bits go out, then
// the whole state is zeroed whatever the write returned; the write's result is returned.
KEP_HIDDEN KepResult ownHuffFlushBaseline(const OwnHuffDst& dst, KepiEncodeHuffmanState* st);

// Careful (bit writer per symbol) baseline block encoder: DC difference, AC runs, ZRL, EOB.
KEP_HIDDEN KepResult ownHuffEncodeBlock_careful(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                                                const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                                                KepiEncodeHuffmanState* st);

// Fast whole-block encoder with the pending bits in a 64-bit register. Returns true when it coded
// the block; false when it declines (less than kOwnHuffFastEncodeRoom bytes of room, a symbol
// without a code, or an AC value of -32768), in which case the state, the position and *pLastDC
// are untouched and any bytes it stored at and after the position are exactly those the careful
// path stores there again.
KEP_HIDDEN bool ownHuffEncodeBlock_fast(const Kep16s* pSrc, const OwnHuffDst& dst, Kep16s* pLastDC,
                                        const KepiEncodeHuffmanSpec* dc, const KepiEncodeHuffmanSpec* ac,
                                        KepiEncodeHuffmanState* st);

// Codes one block: the fast kernel, or the careful path where it declines. roomKnown false (the
// Direct form) when the buffer may end right after the block: nothing past the last byte
// written is then read or written.
KEP_HIDDEN KepResult ownHuffEncodeBlock(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos,
                                        Kep16s* pLastDC, const KepiEncodeHuffmanSpec* dc,
                                        const KepiEncodeHuffmanSpec* ac, KepiEncodeHuffmanState* st, bool roomKnown);

// Worst case of one block: 7 pending bits + DC (16 + 16) + 63 * (16 + 16) + EOB 16 = 2071 bits,
// at most 258 whole bytes, each possibly followed by a stuffed zero.
constexpr int kOwnHuffFastEncodeRoom = 2 * (2071 / 8);

// ---- Decoding -------------------------------------------------------------------------------

// Where a decoder reads: buffer, whole length, the caller's byte position and marker.
struct OwnHuffSrc {
    const Kep8u* p;
    int len;
    int* pos;
    int* marker;
};

// Reads bytes into bitBuffer until it holds at least 25 bits, un-stuffing 0xFF 0x00, skipping
// 0xFF fill bytes and stopping at a marker (stored in *marker, position past its two bytes).
// Returns kepErrStreamEnd when the source ends while `need` (0..16) bits are still missing or
// right after a 0xFF, kepErrHuffmanData when a marker has been met and `need` bits are missing.
KEP_HIDDEN KepResult ownHuffFill(const OwnHuffSrc& src, int need, KepiDecodeHuffmanState* st);
// Decodes one Huffman symbol (8-bit lookahead, then code by code up to 16 bits).
KEP_HIDDEN KepResult ownHuffDecodeSymbol(const OwnHuffSrc& src, const KepiDecodeHuffmanSpec* spec,
                                         KepiDecodeHuffmanState* st, int* pSymbol);
// Reads n (1..16) bits and applies EXTEND.
KEP_HIDDEN KepResult ownHuffReceiveExtend(const OwnHuffSrc& src, int n, KepiDecodeHuffmanState* st, Kep32s* pValue);

// Matches a code of `length` bits (9..16 after a lookahead miss, or 1..16 bit by bit) against the
// spec: true and the symbol when it is the code of a symbol of that length. maxcode 0xFFFF alone
// means "no code of this length"; an index into huffval outside the table (only possible for
// tables that overflow their code space) is no match either.
static inline bool ownHuffMatch(const KepiDecodeHuffmanSpec* spec, int length, Kep32u code, int* pSymbol) {
    const Kep32u maxcode = spec->maxcode[length];
    if (maxcode == 0xFFFF || code > maxcode) return false;
    const Kep32s index = static_cast<Kep32s>(spec->valptr[length]) + static_cast<Kep32s>(code) - spec->mincode[length];
    if (index < 0 || index > 255) return false;
    *pSymbol = spec->huffval[index];
    return true;
}

// Careful baseline block decoder; writes blockPos on every path.
KEP_HIDDEN KepResult ownHuffDecodeBlock_careful(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC,
                                                const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                                                KepiDecodeHuffmanState* st);

// Fast whole-block decoder for a source of known length: a 64-bit register loaded eight bytes at
// a time, with the careful path's fill schedule counted rather than performed, so that states and
// positions come out identical. Returns true when it decoded the block (state, position,
// *pLastDC, blockPos and pDst written); false when it declines (a marker already met or within
// the bytes the careful path would read, the end of the source, a 0xFF fill byte, bad data, a run
// past 63): then only pDst may have been written, which the careful path rewrites entirely.
KEP_HIDDEN bool ownHuffDecodeBlock_fast(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC,
                                        const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                                        KepiDecodeHuffmanState* st);
// The same for a source without a known length (the Direct form): it performs the careful path's
// fills byte by byte and so never reads a byte the careful path would not read.
KEP_HIDDEN bool ownHuffDecodeBlock_schedule(const OwnHuffSrc& src, Kep16s* pDst, Kep16s* pLastDC,
                                            const KepiDecodeHuffmanSpec* dc, const KepiDecodeHuffmanSpec* ac,
                                            KepiDecodeHuffmanState* st);

#endif  // KEP_HUFF_H
