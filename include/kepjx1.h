/*
 * kepjx1.h - libkepjx1.so.8.2: image-codec compute primitives for JPEG, JPEG 2000, JPEG XR
 * and TIFF.
 *
 * Conventions shared by every primitive:
 * - Every primitive returns a KepResult: kepOk, a negative error or a positive warning.
 * - Arguments are checked in argument order: pointers (-8) each as it is reached, a plane's step
 *   right after its pointer (< 1: -14), then sizes (< 1: -6), then scalar ranges (-5). The first
 *   failing check decides, and nothing is written when a check fails.
 * - The caller owns every buffer and state; the library keeps no global state besides the code
 *   path chosen when it is loaded. Calls on distinct buffers and states may run concurrently.
 * - 8x8 coefficient blocks and working quantization tables are 64 values in natural row-major
 *   order (entry 8*v + u); only raw DQT tables are in zigzag order (ITU-T T.81 Figure A.6).
 *
 * Compiles as C99 and as C++.
 */
#ifndef KEPJX1_H
#define KEPJX1_H

#include "keptypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Library frame -------------------------------------------------------------------------- */

/* The constant version record of the code path chosen at load time ("x1" or "x2"). */
KEPAPI const KepLibraryVersion* kepjGetLibVersion(void);

/* ---- JPEG quantization (ITU-T T.81 A.3.4, Annex K.1) ---------------------------------------- */

/* Rescales a raw 8-bit quantizer table (64 bytes, zigzag order) in place by an encoder quality
 * factor: scale = quality < 50 ? 5000 / quality : 200 - 2 * quality; each byte becomes
 * (raw * scale + 50) / 100 clamped to 1..255. Quality 50 keeps the table; 100 and above give
 * all ones. Errors: null table (-8); quality < 1 (-5). */
KEPAPI KepResult kepiQuantFwdRawTableInit_JPEG_8u(Kep8u* pQuantRawTable, int qualityFactor);

/* Builds a forward (quantizing) table of 64 reciprocals, natural order, from a raw table in zigzag
 * order: entry = round(32768 / Q); Q = 1 gives 32768, Q = 0 gives 65535 and the warning
 * kepWarnDivByZero (6) with the whole table written. Errors: null pointer (-8). */
KEPAPI KepResult kepiQuantFwdTableInit_JPEG_8u16u(const Kep8u* pQuantRawTable, Kep16u* pQuantFwdTable);

/* Builds an inverse (dequantizing) table of 64 quantizers, natural order, from a raw table in
 * zigzag order (widened, not scaled). Errors: null pointer (-8). */
KEPAPI KepResult kepiQuantInvTableInit_JPEG_8u16u(const Kep8u* pQuantRawTable, Kep16u* pQuantInvTable);

/* Quantizes one block in place with a forward table: x / Q rounded to nearest, halves up, for
 * x in -4096..4095 (t = (Kep16s)(8x); h = (t * (f >> 1)) >> 16; (h + 1) >> 1, so wider inputs
 * wrap). When either pointer is at an odd address the block is instead computed as
 * p = x * f, (p + 16383 + ((p >> 15) & 1)) >> 15 saturated, which may differ by one.
 * Errors: null pointer (-8). */
KEPAPI KepResult kepiQuantFwd8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantFwdTable);

/* Dequantizes one block in place with an inverse table: the low 16 bits of x * Q (wrapping).
 * When either pointer is at an odd address the product is saturated instead.
 * Errors: null pointer (-8). */
KEPAPI KepResult kepiQuantInv8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantInvTable);

/* ---- JPEG forward and inverse 8x8 DCT with quantization (ITU-T T.81 A.3.3) ------------------ */

/* ---- JPEG Huffman specs, bit-stream states, baseline block coding (ITU-T T.81 Annex C, F.1.2, F.2.2) ---- */

/* Huffman table specs. A table is given as the two lists of a DHT segment: pListBits, 16 counts
 * of codes of lengths 1..16, and pListVals, the symbols in order of increasing code length (as
 * many bytes as the counts add up to). Codes are assigned as in T.81 Annex C.
 * Errors, in order: null pListBits, pListVals, then the table structure or the pointer to it
 * (-8); more than 256 codes (-64). The encoder table also rejects (-64) a list that uses the
 * all-ones code of any length or asks for more codes of a length than fit; the decoder table only
 * rejects a code of 8 bits or less whose lookahead entries would pass the end of its 256-entry
 * table. A rejected list leaves the table structure unwritten. */
KEPAPI KepResult kepiEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);  /* 1024; null: -8 */
/* Encoder spec: code and length per symbol; symbols not in the list have no code (length 0)
 * and fail when written (-64). A symbol listed twice keeps its last code. */
KEPAPI KepResult kepiEncodeHuffmanSpecInit_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                   KepiEncodeHuffmanSpec* pEncHuffSpec);
/* As Init, in 1024 bytes from kepMalloc. A failed allocation gives -8 and stores nothing. The
 * pointer is stored before the table is built: on -64 the caller still frees the (zeroed) spec. */
KEPAPI KepResult kepiEncodeHuffmanSpecInitAlloc_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                        KepiEncodeHuffmanSpec** ppEncHuffSpec);
KEPAPI KepResult kepiEncodeHuffmanSpecFree_JPEG_8u(KepiEncodeHuffmanSpec* pEncHuffSpec);  /* null: -8 */
KEPAPI KepResult kepiDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);  /* 1644; null: -8 */
/* Decoder spec: HUFFVAL, an 8-bit lookahead table and the MINCODE/MAXCODE/VALPTR lists of T.81
 * F.2.2.3. A 16-bit code 0xFFFF cannot be told from "no code of this length" and never decodes. */
KEPAPI KepResult kepiDecodeHuffmanSpecInit_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                   KepiDecodeHuffmanSpec* pDecHuffSpec);
/* As Init, in 1644 bytes from kepMalloc; failures as for the encoder spec. */
KEPAPI KepResult kepiDecodeHuffmanSpecInitAlloc_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                        KepiDecodeHuffmanSpec** ppDecHuffSpec);
KEPAPI KepResult kepiDecodeHuffmanSpecFree_JPEG_8u(KepiDecodeHuffmanSpec* pDecHuffSpec);  /* null: -8 */

/* Optimal BITS (16 bytes) and HUFFVAL (up to 256 bytes) for 257 symbol counts, by T.81 K.2:
 * count 256 is replaced by 1 (the reserved all-ones code point, removed at the end); the two
 * smallest nonzero counts are merged, ties going to the larger symbol, counts above 10^9 never
 * chosen (sums are formed in 64 bits); code lengths are limited to 16 by Figure K.3; HUFFVAL
 * lists symbols by their unlimited length, then by value. All counts zero give empty lists.
 * Errors: null pStatistics, pListBits, pListVals (-8); a code length above 32, or lengths that
 * cannot be limited to 16 (only with counts above 10^9 or negative) (-64), nothing written. */
KEPAPI KepResult kepiEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[257], Kep8u* pListBits,
                                                       Kep8u* pListVals);

/* Bit-stream states. Encoder (1048 bytes): pending bits, end-of-band run and correction bits;
 * decoder (24 bytes): bits read ahead, end-of-band run and blockPos, the number of zigzag
 * positions the last block decoded reached (1 + position of its last coefficient; 64 for a block
 * without end-of-block; written also when decoding fails). Init zeroes the state. InitAlloc
 * allocates with kepMalloc and zeroes; a null argument or a failed allocation gives -8.
 * Every other function: null pointer (-8). */
KEPAPI KepResult kepiEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
KEPAPI KepResult kepiEncodeHuffmanStateInit_JPEG_8u(KepiEncodeHuffmanState* pEncHuffState);
KEPAPI KepResult kepiEncodeHuffmanStateInitAlloc_JPEG_8u(KepiEncodeHuffmanState** ppEncHuffState);
KEPAPI KepResult kepiEncodeHuffmanStateFree_JPEG_8u(KepiEncodeHuffmanState* pEncHuffState);
KEPAPI KepResult kepiDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
KEPAPI KepResult kepiDecodeHuffmanStateInit_JPEG_8u(KepiDecodeHuffmanState* pDecHuffState);
KEPAPI KepResult kepiDecodeHuffmanStateInitAlloc_JPEG_8u(KepiDecodeHuffmanState** ppDecHuffState);
KEPAPI KepResult kepiDecodeHuffmanStateFree_JPEG_8u(KepiDecodeHuffmanState* pDecHuffState);

/* Codes one 8x8 block (64 coefficients, natural order) of a sequential scan (T.81 F.1.2): the DC
 * difference pSrc[0] - *pLastDC (32-bit; *pLastDC = pSrc[0] before anything is written) as its
 * category symbol and extra bits, then the AC coefficients in zigzag order as run/category
 * symbols with extra bits, ZRL (0xF0) for each 16 zeros before a value, EOB (0x00) when the block
 * ends in zeros. Extra bits of v: v, or v - 1 when negative, in as many bits as the category.
 * Bytes go to pDst[*pDstCurrPos] onward (dstLenBytes is the whole buffer length) with 0xFF 0x00
 * stuffing; *pDstCurrPos advances past every byte written; bits that do not fill a byte wait in
 * the state. bFlushState != 0 instead completes the pending byte with 1-bits, writes it and
 * zeroes the state (nothing written when no bits are pending); pSrc and the tables are then not
 * used. Errors, in order: null pDst (-8); dstLenBytes < 1 (-6); null pDstCurrPos or state (-8);
 * [flush]; null pSrc, pLastDC, pDcTable, pAcTable (-8). While coding: a symbol without a code
 * (-64; an AC value of -32768 has category 16 and run/category symbol r*16+16, which is above 255
 * for r = 15), the buffer full, also between 0xFF and its stuffed 0x00 (-62). On these the bytes
 * written stay, the position is past them and the state holds the bits of the writes that
 * completed: the segment cannot be continued. A negative *pDstCurrPos is treated as no room. */
KEPAPI KepResult kepiEncodeHuffman8x8_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                    int* pDstCurrPos, Kep16s* pLastDC,
                                                    const KepiEncodeHuffmanSpec* pDcTable,
                                                    const KepiEncodeHuffmanSpec* pAcTable,
                                                    KepiEncodeHuffmanState* pEncHuffState, int bFlushState);

/* Decodes one block (T.81 F.2.2): all 64 outputs zeroed, the DC difference (low 4 bits of its
 * symbol) added to *pLastDC with 16-bit wrap and stored in pDst[0], then AC run/size symbols placed
 * in zigzag order until EOB or position 63. Bytes are read from pSrc[*pSrcCurrPos] onward, never
 * at or past srcLenBytes nor at a negative position; *pSrcCurrPos advances past every byte
 * consumed (stuffed zeros, 0xFF fill bytes and a marker's two bytes included). At a marker the reader sets *pMarker to its second
 * byte and reads nothing more while *pMarker != 0; bits already read ahead are still decoded.
 * *pMarker must be 0 at the start of a segment; the state is Init'ed at every scan and restart.
 * Errors, in order: null pSrc (-8); srcLenBytes < 0 (-5; 0 is accepted and decodes from bits
 * held in the state); null pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, state (-8).
 * While decoding: the source ends while bits are needed, or right after a 0xFF (-62); bits needed
 * after a marker, or no code of up to 16 bits matches (-63); a run moves past position 63 (-2:
 * positions 64..71 store at natural index 63 and 72..75 at index 1, later ones fail). On these the
 * coefficients decoded so far stay in pDst and blockPos is written. */
KEPAPI KepResult kepiDecodeHuffman8x8_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                    Kep16s* pDst, Kep16s* pLastDC, int* pMarker,
                                                    const KepiDecodeHuffmanSpec* pDcTable,
                                                    const KepiDecodeHuffmanSpec* pAcTable,
                                                    KepiDecodeHuffmanState* pDecHuffState);

/* Codes one block as kepiEncodeHuffman8x8_JPEG_16s1u_C1 does, without state or length: the
 * position is *pDstBitsLen in bits. Coding resumes in byte *pDstBitsLen >> 3, whose high
 * (*pDstBitsLen & 7) bits are kept, and *pDstBitsLen advances by the bits written plus 8 for
 * every stuffed zero byte. The last, partial byte is stored left-aligned with its low bits zero;
 * to end a segment the caller ORs 1-bits into them and, if the byte becomes 0xFF, appends 0x00.
 * The caller guarantees room (518 bytes cover any block). A symbol without a code ends the block
 * where it occurs (what was written before stays). Errors: null pointer, in argument order (-8);
 * otherwise always kepOk. */
KEPAPI KepResult kepiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int* pDstBitsLen,
                                                           Kep16s* pLastDC, const KepiEncodeHuffmanSpec* pDcTable,
                                                           const KepiEncodeHuffmanSpec* pAcTable);

/* Decodes one block as kepiDecodeHuffman8x8_JPEG_1u16s_C1 does, with the reader's state held by
 * the caller: *pSrcBitsLen is 8 times the index of the next byte to read (the low 3 bits are
 * ignored and come back 0), *pPrefetchedBits the bits read ahead (right-aligned; the next bit is
 * bit *pNumValidPrefetchedBits - 1) and *pNumValidPrefetchedBits their number (0..32). To decode
 * a scan: start with the position of its first byte, 0 bits, *pMarker = 0 and *pLastDC = 0, and
 * pass all four back unchanged from block to block; at a restart marker clear *pMarker, the bits
 * and *pLastDC. The source has no length: the caller guarantees that the data is followed by a
 * marker (0xFF and a byte other than 0x00 and 0xFF, e.g. 0xFF 0xD9 appended); the reader never
 * reads past that marker's second byte. blockPos is not reported. Errors, in order: null pSrc,
 * pSrcBitsLen (-8); *pSrcBitsLen < 0 (-5); null pDst, pLastDC, pMarker, pPrefetchedBits,
 * pNumValidPrefetchedBits (-8); *pNumValidPrefetchedBits < 0 or > 32 (-5); null pDcTable,
 * pAcTable (-8); while decoding as the other decoder (-63, -2; -62 cannot occur). */
KEPAPI KepResult kepiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Kep8u* pSrc, int* pSrcBitsLen, Kep16s* pDst,
                                                           Kep16s* pLastDC, int* pMarker, Kep32u* pPrefetchedBits,
                                                           int* pNumValidPrefetchedBits,
                                                           const KepiDecodeHuffmanSpec* pDcTable,
                                                           const KepiDecodeHuffmanSpec* pAcTable);

/* ---- JPEG progressive Huffman coding, statistics, lossless coding (ITU-T T.81 G.1, K.2, Annex H) ---- */

/* ---- JPEG colour conversion, down- and up-sampling, MCU conversions ------------------------- */

/* ---- JPEG 2000 component transforms and wavelets (ITU-T T.800 Annex F, G) ------------------- */

/* ---- JPEG 2000 code-block coding (ITU-T T.800 Annex C, D) ----------------------------------- */

/* ---- JPEG XR photo core transform (ITU-T T.832) --------------------------------------------- */

/* ---- TIFF PackBits and row split and join --------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* KEPJX1_H */
