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

/* Forward side. Blocks are 64 Kep16s in natural order (entry 8*v + u), contiguous. The integer
 * forward DCT has the T.81 normalisation (a constant level-shifted block v gives DC 8v and zero
 * AC) and is within one unit of the exact transform for level-shifted 8-bit input. It is a
 * scaled fixed-point transform: a column pass in 16-bit arithmetic (additions saturate, shifts
 * wrap, multiplications keep the high half of the product, outputs 1, 2 and 6 get their low bit
 * set), then a row pass of 32-bit sums of 16x16-bit products with per-row weights,
 * (sum + 2^19) >> 20 saturated to 16 bits. Inputs that saturate the column pass give the
 * saturated result; they are far outside the range of level-shifted samples.
 * Quantization with a forward table f made by kepiQuantFwdTableInit_JPEG_8u16u: p = x * f,
 * x' = (p + 16383 + ((p >> 15) & 1)) >> 15 saturated to 16 bits, i.e. x / Q rounded to nearest
 * with ties to even. This differs from kepiQuantFwd8x8_JPEG_16s_C1I, which rounds halves up, so a
 * separate DCT and quantization may differ from the fused call by one.
 * The functions read and write at any address with identical results, and read their whole input
 * before writing, so the source and destination block may be the same. Values and the step's
 * relation to the row length are not checked. */

/* dst = src - 128 over the region; rows advance by their own steps (bytes).
 * Errors in order: pSrc null (-8); srcStep < 1 (-14); pDst null (-8); dstStep < 1 (-14);
 * width or height < 1 (-6). */
KEPAPI KepResult kepiSub128_JPEG_8u16s_C1R(const Kep8u* pSrc, int srcStep, Kep16s* pDst, int dstStep, KepiSize roiSize);

/* Integer forward DCT of a block, then quantization (see above). Errors: a null pointer (-8). */
KEPAPI KepResult kepiDCTQuantFwd8x8_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pQuantFwdTable);

/* The same in place. Errors: a null pointer (-8). */
KEPAPI KepResult kepiDCTQuantFwd8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantFwdTable);

/* Level shift (s - 128) of an 8x8 region of 8-bit samples, integer forward DCT, quantization.
 * Errors in order: pSrc or pDst null (-8); srcStep < 1 (-14); table null (-8). */
KEPAPI KepResult kepiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Kep8u* pSrc, int srcStep, Kep16s* pDst,
                                                      const Kep16u* pQuantFwdTable);

/* 12-bit samples: each sample of the 8x8 region is read as a signed 16-bit value (values above
 * 32767 are negative), minus 2048.0, transformed by a single-precision separable DCT with the
 * T.81 normalisation (scaled factorisation and post-scale), multiplied by its table entry (a
 * quantizer Q is given as 1/Q; the table is the caller's), clamped to -32768..32767 (a NaN gives
 * -32768) and rounded to nearest, ties to even.
 * Errors in order: pSrc or pDst null (-8); srcStep < 1 (-14); table null (-8). */
KEPAPI KepResult kepiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Kep16u* pSrc, int srcStep, Kep16s* pDst,
                                                       const Kep32f* pQuantFwdTable);

/* Inverse side. Dequantization with a table of quantizers (kepiQuantInvTableInit_JPEG_8u16u)
 * keeps the low 16 bits of x * Q (it wraps). The integer inverse DCT, within one unit of the
 * T.81 inverse DCT, is a row pass of 32-bit sums of 16x16-bit products with per-row weights and
 * per-row rounding constants, >> 11 saturated to 16 bits, then a column pass in saturating 16-bit
 * arithmetic ending in >> 6 (its rounding comes from the row constants: row 0's reaches every
 * output through the DC as half a unit). The LS forms add 128 and clamp to 0..255, writing rows at dstStep bytes.
 * The caller chooses the shortcut forms; the block is not inspected. Nothing is allocated; any
 * address works with identical results.
 * Errors of every LS form, in order: pSrc or pDst null (-8); dstStep < 1 (-14); table null (-8). */

/* Dequantization and integer inverse DCT to 64 Kep16s, not level-shifted, not clamped. When any of
 * the three pointers is at an odd address, the products are saturated instead of wrapped.
 * Errors: a null pointer (-8). */
KEPAPI KepResult kepiDCTQuantInv8x8_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, const Kep16u* pQuantInvTable);

/* The same in place (the products always wrap). Errors: a null pointer (-8). */
KEPAPI KepResult kepiDCTQuantInv8x8_JPEG_16s_C1I(Kep16s* pSrcDst, const Kep16u* pQuantInvTable);

/* Dequantization, integer inverse DCT, + 128, clamped to 0..255: an 8x8 block of samples. */
KEPAPI KepResult kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Kep16s* pSrc, Kep8u* pDst, int dstStep,
                                                      const Kep16u* pQuantInvTable);

/* 12-bit samples: each coefficient times its Kep32f table entry (the caller's), a single-precision
 * separable inverse DCT with the T.81 normalisation (scaled factorisation with pre-scale), + 2048.0,
 * truncated toward zero (not rounded) and clamped to 0..4095 (a NaN gives 0); rows at dstStep bytes. */
KEPAPI KepResult kepiDCTQuantInv8x8LS_JPEG_16s16u_C1R(const Kep16s* pSrc, Kep16u* pDst, int dstStep,
                                                       const Kep32f* pQuantInvTable);

/* DC only: v = (DC * table[0]) >> 3 of the 32-bit product (floor, not round, and not wrapped to
 * 16 bits first), + 128, taken as a signed 16-bit value and clamped to 0..255; all 64 samples are
 * set to v. It may differ by one from the full transform of a DC-only block, which rounds. */
KEPAPI KepResult kepiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const Kep16s* pSrc, Kep8u* pDst, int dstStep,
                                                          const Kep16u* pQuantInvTable);

/* Shortcuts of kepiDCTQuantInv8x8LS_JPEG_16s8u_C1R for blocks whose nonzero coefficients lie in the
 * top-left 2x2 or 4x4 corner: only those coefficients are read, and the result is exactly that of
 * the full form on the block with the others set to zero. */
KEPAPI KepResult kepiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const Kep16s* pSrc, Kep8u* pDst, int dstStep,
                                                          const Kep16u* pQuantInvTable);
KEPAPI KepResult kepiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const Kep16s* pSrc, Kep8u* pDst, int dstStep,
                                                          const Kep16u* pQuantInvTable);

/* Reduced-size decoding: a 2x2 or 4x4 block of samples from the top-left 2x2 or 4x4 dequantized
 * (wrapping) coefficients S(v, u), by the n-point inverse DCT with the T.81 normalisation,
 * s(y, x) = 1/4 sum C(u) C(v) S(v, u) cos((2x + 1) u pi / 2n) cos((2y + 1) v pi / 2n), so that a
 * sample is the mean of the 8/n x 8/n full-size samples it stands for; + 128, clamped to 0..255.
 * 2x2: s = (S00 +- S01 +- S10 +- S11 + 4) >> 3, exact. 4x4: rows then columns with the weights
 * (1/2) C(k) cos(...) at 13 fraction bits, the row sums rounded to 2 fraction bits
 * ((sum + 1024) >> 11), the column sums to integers ((sum + 16384) >> 15); within one unit of the
 * exact 4-point transform. n rows of n samples are written. */
KEPAPI KepResult kepiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const Kep16s* pSrc, Kep8u* pDst, int dstStep,
                                                           const Kep16u* pQuantInvTable);
KEPAPI KepResult kepiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const Kep16s* pSrc, Kep8u* pDst, int dstStep,
                                                           const Kep16u* pQuantInvTable);

/* dst = src + 128 clamped to 0..255 over the region; rows advance by their own steps (bytes).
 * Errors in order: pSrc null (-8); srcStep < 1 (-14); pDst null (-8); dstStep < 1 (-14);
 * width or height < 1 (-6). */
KEPAPI KepResult kepiAdd128_JPEG_16s8u_C1R(const Kep16s* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);

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
 * decoder (24 bytes): bits read ahead (64-bit, byte offset 0), bit count (signed 32-bit, offset
 * 8), end-of-band run (unsigned 32-bit, offset 12) and blockPos (unsigned 32-bit, offset 16), the
 * number of zigzag positions the last block decoded reached (1 + position of its last
 * coefficient; 64 for a block without end-of-block; written also when decoding fails). No
 * function reads blockPos back: a caller reads it at offset 16 to pick a reduced inverse
 * transform for the block. Init zeroes the state. InitAlloc
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

/* Progressive block coding (T.81 G.1.2, Huffman). Blocks are 64 coefficients in natural order,
 * walked in zigzag order; the stream arguments work as for kepiEncodeHuffman8x8_JPEG_16s1u_C1 and
 * kepiDecodeHuffman8x8_JPEG_1u16s_C1 (positions advance past every byte written or consumed, a
 * marker stops the reader, -62 ends a segment). Al is the point transform 0..13; Ss..Se the
 * spectral band of an AC scan, 1 <= Ss <= Se <= 63. A negative Al is rejected like Al > 13.
 *
 * Encoders. Errors, in order: null pDst (-8); dstLenBytes < 1 (-6); null pDstCurrPos, state, and
 * for the AC encoders pAcTable (-8); [flush: bFlushState != 0 flushes and returns, pSrc and the
 * scan arguments unused]; null pSrc, for DC first pLastDC (-8); Al, Ss, Se out of range (-5); for
 * DC first null pDcTable (-8). While coding: a symbol without a code (-64), the buffer full (-62).
 * The DC encoders keep their pending bits as the baseline encoder does and flush like it; the AC
 * encoders keep the pending bits right-aligned in the state's 64-bit buffer, the end-of-band run
 * in eobRun and (refinement) the buffered correction bits in corrBits/corrBitCount; their flush
 * emits the run, then the correction bits, pads the last byte with 1-bits, writes it and leaves
 * the state as after Init (also when a write failed; the first failure is returned). */

/* DC first scan: v = pSrc[0] >> Al (floor), diff = v - *pLastDC, *pLastDC = v before writing;
 * diff is coded as its category symbol and extra bits. A category above 11 gives -63. */
KEPAPI KepResult kepiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                            int* pDstCurrPos, Kep16s* pLastDC, int Al,
                                                            const KepiEncodeHuffmanSpec* pDcTable,
                                                            KepiEncodeHuffmanState* pEncHuffState, int bFlushState);
/* DC refinement scan: one bit, (pSrc[0] >> Al) & 1. */
KEPAPI KepResult kepiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                             int* pDstCurrPos, int Al,
                                                             KepiEncodeHuffmanState* pEncHuffState, int bFlushState);
/* AC first scan over zigzag positions Ss..Se (T.81 G.1.2.2): magnitudes shifted right by Al with
 * the sign kept; run/category symbols with ZRL for 16 zeros; a block ending in zeros adds 1 to the
 * end-of-band run, which is emitted (EOBn symbol n*16 and the n low bits of the run, n = floor(log2
 * run)) before the next nonzero coefficient, when it reaches 32767, or at the flush. */
KEPAPI KepResult kepiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                            int* pDstCurrPos, int Ss, int Se, int Al,
                                                            const KepiEncodeHuffmanSpec* pAcTable,
                                                            KepiEncodeHuffmanState* pEncHuffState, int bFlushState);
/* AC refinement scan (T.81 G.1.2.3): coefficients already significant (|v| >> Al above 1) give one
 * correction bit each, newly significant ones (|v| >> Al equal to 1) a run/category-1 symbol and a
 * sign bit (1 for positive) followed by the correction bits buffered since the previous symbol.
 * The run and the buffered bits of blocks that end in an end-of-band go out together when the run
 * reaches 32767 or more than 937 correction bits are buffered. */
KEPAPI KepResult kepiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes,
                                                             int* pDstCurrPos, int Ss, int Se, int Al,
                                                             const KepiEncodeHuffmanSpec* pAcTable,
                                                             KepiEncodeHuffmanState* pEncHuffState, int bFlushState);

/* Decoders. The caller keeps the block between scans; each decoder changes only what its scan
 * codes. Errors, in order: null pSrc (-8); srcLenBytes < 1 (-6); null pSrcCurrPos, pDst, pLastDC
 * (DC first), pMarker (-8); Al, Ss, Se out of range (-5); null spec (not DC refinement) and state
 * (-8). While decoding: as the baseline decoder (-62, -63); an AC first run past position 63 (-2,
 * positions 64..71 store at natural index 63 and 72..75 at index 1 first, as in the baseline
 * decoder); a refinement symbol of category other than 0 or 1 (-63). What was decoded before an
 * error stays in pDst. */

/* DC first: *pLastDC += the decoded difference (16-bit wrap); pDst[0] = *pLastDC << Al (16-bit). */
KEPAPI KepResult kepiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                            Kep16s* pDst, Kep16s* pLastDC, int* pMarker, int Al,
                                                            const KepiDecodeHuffmanSpec* pDcTable,
                                                            KepiDecodeHuffmanState* pDecHuffState);
/* DC refinement: a 1-bit sets bit Al of pDst[0]; a 0-bit leaves it. */
KEPAPI KepResult kepiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                             Kep16s* pDst, int* pMarker, int Al,
                                                             KepiDecodeHuffmanState* pDecHuffState);
/* AC first: a pending run in the state's eobRun skips the block (run - 1 stays); otherwise the
 * symbols of the band store value << Al (16-bit) at their natural positions, and an EOBn symbol
 * starts a run of 2^n plus n extra bits, this block included. */
KEPAPI KepResult kepiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                            Kep16s* pDst, int* pMarker, int Ss, int Se, int Al,
                                                            const KepiDecodeHuffmanSpec* pAcTable,
                                                            KepiDecodeHuffmanState* pDecHuffState);
/* AC refinement: newly significant coefficients become +-(1 << Al); a correction bit 1 adds
 * 1 << Al in the direction of the sign of a nonzero coefficient whose bit Al is still clear. */
KEPAPI KepResult kepiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                             Kep16s* pDst, int* pMarker, int Ss, int Se, int Al,
                                                             const KepiDecodeHuffmanSpec* pAcTable,
                                                             KepiDecodeHuffmanState* pDecHuffState);

/* Huffman statistics for optimal tables (T.81 K.2): each function counts, in int counters indexed
 * by symbol (zeroed by the caller; kepiEncodeHuffmanRawTableInit_JPEG_8u reads 257 of them), the
 * symbols the matching encoder would emit. Counts are only ever incremented; an error leaves the
 * counts of the symbols met before it. */

/* One lossless difference: pStatistics[category(*pSrc)] += 1 (-32768 has category 16).
 * Errors: null pSrc, pStatistics (-8); a category above 16 (-7, cannot occur for 16-bit values). */
KEPAPI KepResult kepiGetHuffmanStatisticsOne_JPEG_16s_C1(const Kep16s* pSrc, int* pStatistics);
/* Baseline block: the DC difference pSrc[0] - *pLastDC (*pLastDC = pSrc[0]; category above 15
 * gives -63), one ZRL per 16 zeros before a value, run/category symbols (category above 14 gives
 * -63, after the ZRL were counted), EOB when the block ends in zeros. Errors: null pointer (-8). */
KEPAPI KepResult kepiGetHuffmanStatistics8x8_JPEG_16s_C1(const Kep16s* pSrc, int* pDcStatistics, int* pAcStatistics,
                                                         Kep16s* pLastDC);
/* DC first: as the DC first encoder (category above 11: -63). Errors: null pSrc, pDcStatistics,
 * pLastDC (-8); Al outside 0..13 (-5). */
KEPAPI KepResult kepiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const Kep16s* pSrc, int* pDcStatistics,
                                                                 Kep16s* pLastDC, int Al);
/* AC first and refinement: the symbols of the AC encoders, the end-of-band run (and for refinement
 * the number of correction bits) carried in the encoder state across blocks, EOBn counted when the
 * run is emitted. bFlushState != 0 counts the pending EOBn and leaves the state as after Init.
 * Errors, in order: null pAcStatistics, state (-8); [flush]; null pSrc (-8); Ss, Se, Al out of
 * range (-5). */
KEPAPI KepResult kepiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Kep16s* pSrc, int* pAcStatistics, int Ss,
                                                                 int Se, int Al, KepiEncodeHuffmanState* pEncHuffState,
                                                                 int bFlushState);
KEPAPI KepResult kepiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Kep16s* pSrc, int* pAcStatistics, int Ss,
                                                                  int Se, int Al, KepiEncodeHuffmanState* pEncHuffState,
                                                                  int bFlushState);

/* Lossless prediction (T.81 H.1.2.1). Samples and differences are 16-bit rows; all arithmetic is
 * modulo 2^16. Predictors (Ra left, Rb above, Rc above-left): 1 Ra, 2 Rb, 3 Rc, 4 Ra + Rb - Rc,
 * 5 Ra + ((Rb - Rc) >> 1), 6 Rb + ((Ra - Rc) >> 1), 7 (Ra + Rb) >> 1, with arithmetic shifts of
 * the full-width sum or difference. Samples enter the predictors as unsigned 16-bit values (0 to
 * 65535, as samples of 16-bit precision are), which only matters for predictors 5 to 7 with
 * samples of 32768 or more. The point transform is the caller's: the samples are used as given.
 *
 * First row of a scan or restart interval: pDst[0] = pSrc[0] - 2^(P - Pt - 1), then
 * pDst[i] = pSrc[i] - pSrc[i-1]. Reconstruction inverts it. Errors, in order: null pSrc, pDst
 * (-8); width < 1 (-6); P outside 2..16, Pt < 0 or Pt >= P (-5). */
KEPAPI KepResult kepiDiffPredFirstRow_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, int width, int P, int Pt);
KEPAPI KepResult kepiReconstructPredFirstRow_JPEG_16s_C1(const Kep16s* pSrc, Kep16s* pDst, int width, int P,
                                                         int Pt);
/* Other rows: pDst[0] = pSrc[0] - pPrevRow[0] whatever the predictor, pDst[i] = pSrc[i] - Px.
 * Reconstruction takes Ra from its own output. Errors, in order: null pSrc, pPrevRow, pDst (-8);
 * width < 1 (-6); predictor outside 1..7 (-5). */
KEPAPI KepResult kepiDiffPredRow_JPEG_16s_C1(const Kep16s* pSrc, const Kep16s* pPrevRow, Kep16s* pDst, int width,
                                             int predictor);
KEPAPI KepResult kepiReconstructPredRow_JPEG_16s_C1(const Kep16s* pSrc, const Kep16s* pPrevRow, Kep16s* pDst,
                                                    int width, int predictor);

/* Lossless Huffman coding (T.81 H.1.2.2): a difference d is its category symbol s (d = -32768, the
 * difference 32768, has category 16) followed, for s 1..15, by its s extra bits; symbol 16 has no
 * extra bits. The decoder gives 0 for symbol 0, EXTEND of s bits for 1..15 and 0x8000 (-32768)
 * for any symbol of 16 or more. Stream arguments, flush and -62/-63/-64 as for the baseline coders.
 * Encoder errors, in order: null pDst (-8); dstLenBytes < 1 (-6); null pDstCurrPos, state (-8);
 * [flush]; null pSrc, pEncHuffTable (-8). Decoder errors, in order: null pSrc (-8); srcLenBytes
 * < 1 (-6); null pSrcCurrPos, pDst, pMarker, pDecHuffTable, state (-8). */
KEPAPI KepResult kepiEncodeHuffmanOne_JPEG_16s1u_C1(const Kep16s* pSrc, Kep8u* pDst, int dstLenBytes, int* pDstCurrPos,
                                                    const KepiEncodeHuffmanSpec* pEncHuffTable,
                                                    KepiEncodeHuffmanState* pEncHuffState, int bFlushState);
KEPAPI KepResult kepiDecodeHuffmanOne_JPEG_1u16s_C1(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                    Kep16s* pDst, int* pMarker,
                                                    const KepiDecodeHuffmanSpec* pDecHuffTable,
                                                    KepiDecodeHuffmanState* pDecHuffState);
/* A row of up to four interleaved components: for each sample index i, for each component c,
 * pSrc[c][i] is coded with pEncHuffTable[c] (decoded into pDst[c][i] with pDecHuffTable[c]).
 * nComponents above 4 counts as 4. The first failure ends the call; what was coded before stays.
 * Encoder errors, in order: null pDst (-8); dstLenBytes < 1 (-6); null pDstCurrPos, state (-8);
 * [flush]; null pSrc (-8); width or nComponents < 1 (-6); null pEncHuffTable (-8); then per
 * component null pSrc[c], pEncHuffTable[c] (-8). Decoder errors, in order: null pSrc (-8);
 * srcLenBytes < 1 (-6); null pSrcCurrPos, pDst (-8); width or nComponents < 1 (-6); null pMarker,
 * pDecHuffTable, state (-8); then per component null pDst[c], pDecHuffTable[c] (-8). */
KEPAPI KepResult kepiEncodeHuffmanRow_JPEG_16s1u_P4C1(const Kep16s* pSrc[4], int width, int nComponents, Kep8u* pDst,
                                                      int dstLenBytes, int* pDstCurrPos,
                                                      const KepiEncodeHuffmanSpec* pEncHuffTable[4],
                                                      KepiEncodeHuffmanState* pEncHuffState, int bFlushState);
KEPAPI KepResult kepiDecodeHuffmanRow_JPEG_1u16s_C1P4(const Kep8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                      Kep16s* pDst[4], int width, int nComponents, int* pMarker,
                                                      const KepiDecodeHuffmanSpec* pDecHuffTable[4],
                                                      KepiDecodeHuffmanState* pDecHuffState);

/* ---- JPEG colour conversion, down- and up-sampling, MCU conversions ------------------------- */

/* Colour conversion between the RGB family and JFIF YCbCr (ITU-T T.871), with 16-bit fixed-point
 * weights; every pixel of every row gives exactly:
 *   Y  = (19595 R + 38470 G + 7471 B + 32768) >> 16
 *   Cb = (-11059 R - 21709 G + 32768 B + 128 * 65536 + 32767) >> 16
 *   Cr = (32768 R - 27439 G - 5329 B + 128 * 65536 + 32767) >> 16
 * (Y rounds half up; Cb and Cr add one less than a half so that they never exceed 255.)
 *   R = Y + ((91881 (Cr-128) + 32768) >> 16)
 *   G = Y + ((-22554 (Cb-128) - 46802 (Cr-128) + 32768) >> 16)
 *   B = Y + ((116130 (Cb-128) + 32768) >> 16)      (arithmetic shifts; each clamped to 0..255)
 * Layouts: P3/P4 an array of plane pointers sharing one row step; C3 three interleaved bytes per
 * pixel in the named order; C4 four bytes, the fourth ignored on input. 555/565 pixels are one
 * Kep16u, the first-named channel in the low bits; on input each field is widened by bit
 * replication (x << 3 | x >> 2, x << 2 | x >> 4), on output the clamped sample is truncated
 * (R >> 3, G >> 2 or >> 3), bit 15 of 555 written as 0. Steps are in bytes.
 * 422: chroma planes halved horizontally (ceil(width / 2) samples per row, one row per image
 * row); 411: halved in both directions (ceil(width / 2) x ceil(height / 2)); the three planes
 * share the one step. Forward subsampled forms average the full-resolution chroma with the box
 * filters of kepiSampleDownH2V1/H2V2_JPEG_8u_C1R ((a + b + 1) >> 1, (a + b + c + d + 3) >> 2),
 * an odd last column or row being paired with itself. Inverse subsampled forms up-sample with the
 * triangle filters of the row up-samplers (kepiSampleUpRowH2V1/H2V2_Triangle_JPEG_8u_C1) with the
 * edge samples replicated, as a JPEG decoder's "fancy" up-sampling does; the 4:4:4 result is then
 * converted by the formulas above.
 * YCCK (Adobe convention): CMYK to YCCK converts R = 255 - C, G = 255 - M, B = 255 - Y and copies
 * K; YCCK to CMYK writes 255 - R, 255 - G, 255 - B and copies K.
 * Checks, in order: source pointer, destination pointer, source plane pointers, destination plane
 * pointers (-8); source or destination step < 1 (-14); width or height < 1 (-6). Nothing is
 * written when a check fails. The caller guarantees that steps cover the rows. */
KEPAPI KepResult kepiRGBToYCbCr_JPEG_8u_P3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGBToYCbCr_JPEG_8u_C3P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGBToYCbCr_JPEG_8u_C4P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToYCbCr_JPEG_8u_C3P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToYCbCr_JPEG_8u_C4P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGB555ToYCbCr_JPEG_16u8u_C3P3R(const Kep16u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGB565ToYCbCr_JPEG_16u8u_C3P3R(const Kep16u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGR555ToYCbCr_JPEG_16u8u_C3P3R(const Kep16u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGR565ToYCbCr_JPEG_16u8u_C3P3R(const Kep16u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
/* Full-resolution Y, subsampled Cb and Cr (see above). */
KEPAPI KepResult kepiRGBToYCbCr422_JPEG_8u_C3P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGBToYCbCr422_JPEG_8u_C4P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGBToYCbCr411_JPEG_8u_C3P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGBToYCbCr411_JPEG_8u_C4P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToYCbCr422_JPEG_8u_C3P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToYCbCr422_JPEG_8u_C4P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToYCbCr411_JPEG_8u_C3P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToYCbCr411_JPEG_8u_C4P3R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
/* Luminance only: the Y formula above. */
KEPAPI KepResult kepiRGBToY_JPEG_8u_P3C1R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRGBToY_JPEG_8u_C3C1R(const Kep8u* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiBGRToY_JPEG_8u_C3C1R(const Kep8u* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
/* YCbCr 4:4:4 to RGB. */
KEPAPI KepResult kepiYCbCrToRGB_JPEG_8u_P3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* const pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCrToRGB_JPEG_8u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
/* Four bytes per pixel R, G, B, alpha, with alpha the low 8 bits of aval. Checks differ from the
 * rule above, in this order: pDst null (-8); pSrc null, then each plane null (-8); width < 2 or
 * height < 1 (-6); srcStep or dstStep equal to 0 (-14). Negative steps pass and walk upwards. */
KEPAPI KepResult kepiYCbCrToRGB_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize, int aval);
KEPAPI KepResult kepiYCbCrToBGR_JPEG_8u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
/* B, G, R, alpha (low 8 bits of aval); the usual checks. */
KEPAPI KepResult kepiYCbCrToBGR_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize, int aval);
KEPAPI KepResult kepiYCbCrToRGB555_JPEG_8u16u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep16u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCrToRGB565_JPEG_8u16u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep16u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCrToBGR555_JPEG_8u16u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep16u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCrToBGR565_JPEG_8u16u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep16u* pDst, int dstStep, KepiSize roiSize);
/* Subsampled YCbCr to RGB (see above); C4 outputs write alpha 255. */
KEPAPI KepResult kepiYCbCr422ToRGB_JPEG_8u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr422ToRGB_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
/* Source rows of Y0 Cb Y1 Cr byte quadruples, ceil(width / 2) per row (for an odd width the last
 * quadruple's Y1 is not read). */
KEPAPI KepResult kepiYCbCr422ToRGB_JPEG_8u_C2C3R(const Kep8u* pSrc, int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr422ToBGR_JPEG_8u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr422ToBGR_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr411ToRGB_JPEG_8u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr411ToRGB_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr411ToBGR_JPEG_8u_P3C3R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCbCr411ToBGR_JPEG_8u_P3C4R(const Kep8u* const pSrc[3], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);
/* CMYK and YCCK (Adobe convention, see above). */
KEPAPI KepResult kepiCMYKToYCCK_JPEG_8u_P4R(const Kep8u* const pSrc[4], int srcStep, Kep8u* const pDst[4], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiCMYKToYCCK_JPEG_8u_C4P4R(const Kep8u* pSrc, int srcStep, Kep8u* const pDst[4], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCCKToCMYK_JPEG_8u_P4R(const Kep8u* const pSrc[4], int srcStep, Kep8u* const pDst[4], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiYCCKToCMYK_JPEG_8u_P4C4R(const Kep8u* const pSrc[4], int srcStep, Kep8u* pDst, int dstStep, KepiSize roiSize);

/* Chroma down-sampling by two (box filter) and up-sampling by two (triangle filter), H2V1
 * (horizontal) and H2V2 (both directions), on 8-bit planes or single rows.
 * Whole-plane down-sampling: the destination region drives the loops; destination row r, sample
 * j reads source samples 2j, 2j+1 of source row r (H2V1) or of rows 2r, 2r+1 (H2V2):
 *   H2V1: (a + b + 1) >> 1        H2V2: (a + b + c + d + 3) >> 2   (constant biases)
 * The source region is checked but does not bound the reads: the caller provides 2 x destination
 * width samples (and 2 x destination height rows for H2V2).
 * Whole-plane checks, in order: pSrc null (-8), srcStep < 1 (-14), source region < 1 (-6), pDst
 * null (-8), dstStep < 1 (-14), destination region < 1 (-6). */
KEPAPI KepResult kepiSampleDownH2V1_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst, int dstStep, KepiSize dstRoiSize);
KEPAPI KepResult kepiSampleDownH2V2_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst, int dstStep, KepiSize dstRoiSize);
/* Row box down-sampling with biases alternating along the row so that rounding errors do not
 * drift one way: dst[j] = (s[2j] + s[2j+1] + (j & 1)) >> 1. An odd width drops the last sample
 * and returns kepWarnOddWidth (48) after writing width / 2 samples.
 * Checks: pSrc or pDst null (-8); width / 2 < 1 (-6). */
KEPAPI KepResult kepiSampleDownRowH2V1_Box_JPEG_8u_C1(const Kep8u* pSrc, int srcWidth, Kep8u* pDst);
/* dst[j] = (u[2j] + u[2j+1] + l[2j] + l[2j+1] + 1 + (j & 1)) >> 2 for (width + 1) / 2 outputs;
 * for an odd width the last sample of each row is paired with itself (nothing beyond the width
 * is read). Checks: pSrc1, pSrc2 or pDst null (-8); width < 1 (-6). */
KEPAPI KepResult kepiSampleDownRowH2V2_Box_JPEG_8u_C1(const Kep8u* pSrc1, const Kep8u* pSrc2, int srcWidth, Kep8u* pDst);
/* Whole-plane triangle up-sampling; the destination region drives the loops and every source
 * sample is treated as interior, so the caller provides one sample left of the first and right of
 * the last of each source row, and (H2V2) one row above the first and below the last source row
 * (for example by replicating the edges).
 *   H2V1: d[2i] = (3 s[i] + s[i-1] + 1) >> 2, d[2i+1] = (3 s[i] + s[i+1] + 2) >> 2
 *   H2V2: destination row r uses near = source row r / 2 and far = near + 1 (r odd) or near - 1
 *         (r even); with v[i] = 3 near[i] + far[i]: d[2i] = (3 v[i] + v[i-1] + 8) >> 4,
 *         d[2i+1] = (3 v[i] + v[i+1] + 7) >> 4.
 * Checks as for the whole-plane down-samplers. */
KEPAPI KepResult kepiSampleUpH2V1_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst, int dstStep, KepiSize dstRoiSize);
KEPAPI KepResult kepiSampleUpH2V2_JPEG_8u_C1R(const Kep8u* pSrc, int srcStep, KepiSize srcRoiSize, Kep8u* pDst, int dstStep, KepiSize dstRoiSize);
/* Row triangle up-sampling of srcWidth samples to 2 x srcWidth, the formulas above with the edge
 * sample replicated beyond each end: d[0] = s[0], d[2n-1] = s[n-1]; a width of 1 gives two copies.
 * Checks: pSrc or pDst null (-8); width < 1 (-6). */
KEPAPI KepResult kepiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Kep8u* pSrc, int srcWidth, Kep8u* pDst);
/* The H2V2 formulas with pSrc1 the nearer and pSrc2 the farther source row, edge column sums
 * replicated: d[0] = (4 v[0] + 8) >> 4, d[2n-1] = (4 v[n-1] + 7) >> 4. Call once with the row
 * above and once with the row below as the farther row to get the two output rows of a source
 * row. Checks: pSrc1, pSrc2 or pDst null (-8); width < 1 (-6). */
KEPAPI KepResult kepiSampleUpRowH2V2_Triangle_JPEG_8u_C1(const Kep8u* pSrc1, const Kep8u* pSrc2, int srcWidth, Kep8u* pDst);

/* MCU-level conversions between pixels and level-shifted 8x8 blocks, for codecs that work one
 * MCU at a time. Geometry: 444 is 8x8 pixels, one block per component; 422 is 16x8 pixels, two
 * luma blocks (left, right) and one Cb and one Cr block; 411 is 16x16 pixels, four luma blocks in
 * raster order (top left, top right, bottom left, bottom right) and one Cb and one Cr block.
 * Blocks are 64 consecutive Kep16s in row-major order; pDstMCU / pSrcMCU hold one pointer per
 * component (Y, Cb, Cr[, K]) to its consecutive blocks (K of YCCK is laid out like Y).
 * Forward: the colour formulas and pixel layouts of the whole-image conversions above, chroma of
 * 422 / 411 reduced with (a + b + 1) >> 1 / (a + b + c + d + 3) >> 2, then every sample minus 128.
 * Inverse: every block value plus 128 clamped to 0..255, chroma up-sampled by replication (each
 * sample covers 2x1 or 2x2 pixels: an MCU has no neighbours to filter with), then the colour
 * formulas. SampleDown / SampleUp do the same for interleaved Y, Cb, Cr pixels without colour
 * conversion; Split422 / Join422 for 16x8 pixels of Y0 Cb Y1 Cr byte quadruples (32 bytes per row:
 * two luma blocks and natively subsampled Cb, Cr blocks, no filtering).
 * Checks: forward pSrc null (-8), srcStep < 1 (-14), pDstMCU or any of its block pointers null
 * (-8); inverse pSrcMCU or any of its block pointers null (-8), pDst null (-8), dstStep < 1 (-14).
 * Nothing is written when a check fails. */
KEPAPI KepResult kepiRGBToYCbCr444LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGBToYCbCr422LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGBToYCbCr411LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGRToYCbCr444LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGRToYCbCr422LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGRToYCbCr411LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGB555ToYCbCr444LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGB555ToYCbCr422LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGB555ToYCbCr411LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGB565ToYCbCr444LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGB565ToYCbCr422LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiRGB565ToYCbCr411LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const Kep16u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiCMYKToYCCK444LS_MCU_8u16s_C4P4R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[4]);
KEPAPI KepResult kepiCMYKToYCCK422LS_MCU_8u16s_C4P4R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[4]);
KEPAPI KepResult kepiCMYKToYCCK411LS_MCU_8u16s_C4P4R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[4]);
KEPAPI KepResult kepiSampleDown444LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiSampleDown422LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiSampleDown411LS_MCU_8u16s_C3P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiSplit422LS_MCU_8u16s_C2P3R(const Kep8u* pSrc, int srcStep, Kep16s* const pDstMCU[3]);
KEPAPI KepResult kepiYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr444ToRGB555LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr422ToRGB555LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr411ToRGB555LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr444ToRGB565LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr422ToRGB565LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr411ToRGB565LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const Kep16s* const pSrcMCU[3], Kep16u* pDst, int dstStep);
KEPAPI KepResult kepiYCCKToCMYK444LS_MCU_16s8u_P4C4R(const Kep16s* const pSrcMCU[4], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCCKToCMYK422LS_MCU_16s8u_P4C4R(const Kep16s* const pSrcMCU[4], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiYCCKToCMYK411LS_MCU_16s8u_P4C4R(const Kep16s* const pSrcMCU[4], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiSampleUp444LS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiSampleUp422LS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiSampleUp411LS_MCU_16s8u_P3C3R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);
KEPAPI KepResult kepiJoin422LS_MCU_16s8u_P3C2R(const Kep16s* const pSrcMCU[3], Kep8u* pDst, int dstStep);

/* ---- JPEG 2000 component transforms and wavelets (ITU-T T.800 Annex F, G) ------------------- */

/* Every plane, row and scratch buffer of this family must be aligned to its element size
 * (2 bytes for 16s, 4 for 32s and 32f); steps are in bytes. */

/* Component transforms (ITU-T T.800 Annex G), three components, no DC level shift.
 * Layouts: P3IR = three planes in place (pointer array, one shared step); C3P3R = interleaved
 * R,G,B source to three planes Y,Cb,Cr (one shared destination step); P3C3R = three planes to
 * interleaved R,G,B. Steps are in bytes. Errors, in this order: the pointer array, any plane
 * pointer or the interleaved pointer null (-8); any step < 1 (-14); width or height < 1 (-6).
 *
 * RCT (reversible, 16s and 32s): Y = (R + 2G + B) >> 2, Cb = B - G, Cr = R - G; inverse
 * G = Y - ((Cb + Cr) >> 2), R = Cr + G, B = Cb + G. >> is a floor shift; sums are formed at 32
 * bits (wrapping for 32s); 16s results are stored as their low 16 bits, without saturation. */
KEPAPI KepResult kepiRCTFwd_JPEG2K_16s_C3P3R(const Kep16s* pSrc, int srcStep, Kep16s* pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTFwd_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTFwd_JPEG2K_32s_C3P3R(const Kep32s* pSrc, int srcStep, Kep32s* pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTFwd_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTInv_JPEG2K_16s_P3C3R(const Kep16s* pSrc[3], int srcStep, Kep16s* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTInv_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTInv_JPEG2K_32s_P3C3R(const Kep32s* pSrc[3], int srcStep, Kep32s* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiRCTInv_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize);

/* ICT (irreversible YCbCr matrix).
 * 32f, single precision, each sum left to right ((p1 + p2) + p3):
 *   Y = 0.299R + 0.587G + 0.114B, Cb = -0.16875R - 0.33126G + 0.5B, Cr = 0.5R - 0.41869G - 0.08131B;
 *   R = 1.402Cr + Y, G = (-0.34413Cb + -0.71414Cr) + Y, B = 1.772Cb + Y.
 * 32s, 14 fraction bits, rounding offset 8192, floor shift, 32-bit wrapping sums, no saturation:
 *   Y = (4899R + 9617G + 1868B + 8192) >> 14, Cb = (-2765R - 5427G + 8192B + 8192) >> 14,
 *   Cr = (8192R - 6860G - 1332B + 8192) >> 14; R = Y + ((22970Cr + 8192) >> 14),
 *   G = Y + ((-5638Cb - 11700Cr + 8192) >> 14), B = Y + ((29032Cb + 8192) >> 14).
 * 16s, every result saturated to -32768..32767: S = 4899R + 9617G + 1868B, Y = sat((S + 8192) >> 14),
 *   dB = (Kep16s)((16384B - S + 8192) >> 14), dR = (Kep16s)((16384R - S + 8192) >> 14),
 *   Cb = sat((9246dB + 8192) >> 14), Cr = sat((11686dR + 8192) >> 14);
 *   R = sat(Y + ((22970Cr + 8192) >> 14)), G = sat(Y - ((5638Cb + 11700Cr + 8192) >> 14)),
 *   B = sat(Y + ((29032Cb + 8192) >> 14)).
 *   The 16s inverse G subtracts the rounded positive sum where the 32s form adds the rounded
 *   negative one: they differ by one when the sum is an odd multiple of 8192. */
KEPAPI KepResult kepiICTFwd_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTFwd_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTFwd_JPEG2K_32f_C3P3R(const Kep32f* pSrc, int srcStep, Kep32f* pDst[3], int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTFwd_JPEG2K_32f_P3IR(Kep32f* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTInv_JPEG2K_16s_P3IR(Kep16s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTInv_JPEG2K_32s_P3IR(Kep32s* pSrcDst[3], int srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTInv_JPEG2K_32f_P3C3R(const Kep32f* pSrc[3], int srcStep, Kep32f* pDst, int dstStep, KepiSize roiSize);
KEPAPI KepResult kepiICTInv_JPEG2K_32f_P3IR(Kep32f* pSrcDst[3], int srcDstStep, KepiSize roiSize);

/* Reversible 5/3 wavelet, one level (ITU-T T.800 F.3.8, F.4.8), 16s and 32s.
 * Lifting: H = x_odd - ((x_left + x_right) >> 1); L = x_even + ((H_left + H_right + 2) >> 2);
 * the inverse undoes the two steps in reverse order. >> is a floor shift. 32s sums wrap at 32
 * bits; 16s sums are exact and every value is kept as its low 16 bits (the SIMD and scalar paths
 * agree for every input; the transform is lossless when no value leaves the 16-bit range).
 *
 * Row, column and lifting forms do no border extension: the caller places the symmetrically
 * extended samples around the region. phase 0: the first sample of the region is at an even
 * (low-pass) grid position; any other value: odd (high-pass).
 *   Forward, per line of 2*width samples x[0..]: phase 0 reads x[-2] .. x[2*width];
 *     odd phase reads x[-1] .. x[2*width+1]. Outputs width low-pass and width high-pass values.
 *   Inverse, per line: phase 0 reads L[0..width], H[-1..width]; odd phase reads L[-1..width-1],
 *     H[-1..width]; writes 2*width samples.
 * Rows: size = (width per band, rows); columns: size = (columns, rows per band), neighbours one
 * step apart. Errors, in order: any of the three pointers null (-8); any step < 1 (-14);
 * width or height < 1 (-6). */
KEPAPI KepResult kepiWTFwdRow_B53_JPEG2K_16s_C1R(const Kep16s* pSrc, int srcStep, Kep16s* pDstLow, int dstLowStep, Kep16s* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTFwdRow_B53_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, Kep32s* pDstLow, int dstLowStep, Kep32s* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTFwdCol_B53_JPEG2K_16s_C1R(const Kep16s* pSrc, int srcStep, Kep16s* pDstLow, int dstLowStep, Kep16s* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTFwdCol_B53_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, Kep32s* pDstLow, int dstLowStep, Kep32s* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTInvRow_B53_JPEG2K_16s_C1R(const Kep16s* pSrcLow, int srcLowStep, const Kep16s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep16s* pDst, int dstStep, int phase);
KEPAPI KepResult kepiWTInvRow_B53_JPEG2K_32s_C1R(const Kep32s* pSrcLow, int srcLowStep, const Kep32s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep32s* pDst, int dstStep, int phase);
KEPAPI KepResult kepiWTInvCol_B53_JPEG2K_16s_C1R(const Kep16s* pSrcLow, int srcLowStep, const Kep16s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep16s* pDst, int dstStep, int phase);
KEPAPI KepResult kepiWTInvCol_B53_JPEG2K_32s_C1R(const Kep32s* pSrcLow, int srcLowStep, const Kep32s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep32s* pDst, int dstStep, int phase);

/* One vertical lifting step over whole rows of `width` elements, for codecs that stream rows.
 * Forward: H[k] = x[2k+1] - ((x[2k] + x[2k+2]) >> 1); L[k] = x[2k] + ((H[k-1] + H[k] + 2) >> 2).
 * Inverse: x[2k+2] = L[k+1] - ((H[k] + H[k+1] + 2) >> 2); x[2k+1] = H[k] + ((x[2k] + x[2k+2]) >> 1).
 * Errors: any of the six row pointers null (-8); width < 1 (-6). */
KEPAPI KepResult kepiWTFwdColLift_B53_JPEG2K_16s_C1(const Kep16s* pSrc0, const Kep16s* pSrc1, const Kep16s* pSrc2, Kep16s* pDstLow0, const Kep16s* pSrcHighPrev, Kep16s* pDstHigh0, int width);
KEPAPI KepResult kepiWTFwdColLift_B53_JPEG2K_32s_C1(const Kep32s* pSrc0, const Kep32s* pSrc1, const Kep32s* pSrc2, Kep32s* pDstLow0, const Kep32s* pSrcHighPrev, Kep32s* pDstHigh0, int width);
KEPAPI KepResult kepiWTInvColLift_B53_JPEG2K_16s_C1(const Kep16s* pSrcLow1, const Kep16s* pSrcHigh0, const Kep16s* pSrcHigh1, const Kep16s* pSrc0, Kep16s* pDst1, Kep16s* pDst2, int width);
KEPAPI KepResult kepiWTInvColLift_B53_JPEG2K_32s_C1(const Kep32s* pSrcLow1, const Kep32s* pSrcHigh0, const Kep32s* pSrcHigh1, const Kep32s* pSrc0, Kep32s* pDst1, Kep32s* pDst2, int width);

/* Whole tile, one level, with internal symmetric extension (T.800 F.3.7, F.4.7). The tile is
 * (x, y, width, height) on the reference grid; only x & 1 and y & 1 matter. Forward: vertical
 * pass, then horizontal; inverse: horizontal, then vertical. A line of 2 samples with a at the
 * even position and b at the other: d = b - a, low = a + ((d + 1) >> 1) (inverse: a = low -
 * ((d + 1) >> 1), b = d + a); a line of 1 sample is multiplied by 2 at an odd position and kept at
 * an even one (inverse: divided by 2, truncating toward zero).
 * In place (C1IR): the plane ends with LL top left, LH below it, HL right of it, HH bottom right;
 * low-pass extents are ceil(n/2) for an even origin and floor(n/2) for an odd one. A width or
 * height <= 0 returns kepOk without touching the plane. Errors: plane null (-8); step < 1 (-14);
 * rectangle or buffer null (-8).
 * Not in place (C1R): the bands are LL, LH, HL, HH (pointer and step arrays) with fixed extents
 * LL ceil(w/2) x ceil(h/2), LH ceil(w/2) x floor(h/2), HL floor(w/2) x ceil(h/2), HH floor(w/2) x
 * floor(h/2) whatever the origin (for an odd origin with an odd extent use the in-place form).
 * Forward errors: source, pointer array, step array, rectangle or buffer null (-8); source step
 * < 1 (-14); a band pointer null (-8); a band step < 1 (-14); width or height < 1 (-6). The
 * inverse checks its band arrays, destination, rectangle and buffer the same way.
 * pBuffer: scratch of the size kepiWTGetBufSize_B53_* returns for the same rectangle. */
KEPAPI KepResult kepiWTFwd_B53_JPEG2K_16s_C1R(const Kep16s* pSrc, int srcStep, const KepiRect* pTileRect, Kep16s* pDst[4], int dstStep[4], Kep8u* pBuffer);
KEPAPI KepResult kepiWTFwd_B53_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, const KepiRect* pTileRect, Kep32s* pDst[4], int dstStep[4], Kep8u* pBuffer);
KEPAPI KepResult kepiWTFwd_B53_JPEG2K_16s_C1IR(Kep16s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTFwd_B53_JPEG2K_32s_C1IR(Kep32s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_B53_JPEG2K_16s_C1R(const Kep16s* pSrc[4], int srcStep[4], Kep16s* pDst, int dstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_B53_JPEG2K_32s_C1R(const Kep32s* pSrc[4], int srcStep[4], Kep32s* pDst, int dstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_B53_JPEG2K_16s_C1IR(Kep16s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_B53_JPEG2K_32s_C1IR(Kep32s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);

/* Scratch size in bytes for the whole-tile 5/3 forms (E = 2 for 16s, 4 for 32s):
 * in place: 0 when width < 3 and height < 3, else max(E*w + 4E, E*h + 4E);
 * not in place: ((E*w + 31) & ~31) * h + the in-place size.
 * Errors: rectangle or output pointer null (-8). */
KEPAPI KepResult kepiWTGetBufSize_B53_JPEG2K_16s_C1R(const KepiRect* pTileRect, int* pSize);
KEPAPI KepResult kepiWTGetBufSize_B53_JPEG2K_32s_C1R(const KepiRect* pTileRect, int* pSize);
KEPAPI KepResult kepiWTGetBufSize_B53_JPEG2K_16s_C1IR(const KepiRect* pTileRect, int* pSize);
KEPAPI KepResult kepiWTGetBufSize_B53_JPEG2K_32s_C1IR(const KepiRect* pTileRect, int* pSize);

/* Irreversible 9/7 wavelet, forward rows (ITU-T T.800 F.4.8.2 lifting). No border extension:
 * per row, phase 0 reads x[-4] .. x[2*width+2] (low i centred on x[2i], high i on x[2i+1]);
 * odd phase reads x[-3] .. x[2*width+3] (high i on x[2i], low i on x[2i+1]).
 * 32f: steps h += (l + r)*alpha, l += (l + r)*beta, h += (l + r)*gamma, l += (l + r)*delta with
 *   alpha = -1.5861343, beta = -0.052980117, gamma = 0.8829111, delta = 0.44350687, then
 *   low *= 0.8128931, high *= 1.2301741; each update is ((left + right) * c) + centre in single
 *   precision. Width 1 uses the direct 9-tap / 7-tap filters, summed outermost pair first:
 *   low taps 0.026748758, -0.01686412, -0.078223266, 0.26686412, 0.602949;
 *   high taps 0.091271766, -0.057543527, -0.59127176, 1.115087.
 * 16s: 16 fraction bits, alpha -103949, beta -3472, gamma 57862, delta 29066; each update is
 *   centre + (((left + right) * c + 32768) >> 16) in 32-bit (wrapping) arithmetic, saturated to
 *   16 bits before further use. Gains (v * 53274 + 32768) >> 16 (low) and (v * 80621 + 32768)
 *   >> 16 (high, exact product, saturated). The first low of a phase-0 row fuses the last update
 *   and the gain: sat(((hl + hr) * 23627 + l * 53274 + 32768) >> 16) in 32-bit arithmetic; every
 *   other low applies the update, then the gain. Width 1: one rounding over the whole exact sum,
 *   low taps 1753, -1105, -5126, 17489, 39515, high taps 5982, -3771, -38749, 73078; the high is
 *   saturated, the low only clamped above 32767 and otherwise kept as its low 16 bits.
 * 32s: as 16s with 64-bit products and sums, values kept as 32-bit (wrapping), no saturation;
 *   width 1 rounds every tap product separately, ((pair * c + 32768) >> 16), and sums those.
 * Errors: any pointer null (-8); any step < 1 (-14); height or width < 1 (-6). */
KEPAPI KepResult kepiWTFwdRow_D97_JPEG2K_32f_C1R(const Kep32f* pSrc, int srcStep, Kep32f* pDstLow, int dstLowStep, Kep32f* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTFwdRow_D97_JPEG2K_16s_C1R(const Kep16s* pSrc, int srcStep, Kep16s* pDstLow, int dstLowStep, Kep16s* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTFwdRow_D97_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, Kep32s* pDstLow, int dstLowStep, Kep32s* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);

/* Irreversible 9/7 wavelet, the other forms (ITU-T T.800 F.3.8.2 / F.4.8.2 lifting), with the
 * conventions of the 5/3 forms: no border extension in the row and column forms, phase 0 or odd,
 * steps in bytes, the same argument checks in the same order.
 * Inverse rows: each forward step undone in reverse order: low *= K (1.2301741), high *= 1/K
 *   (0.8128931), then l -= delta(h + h), h -= gamma(l + l), l -= beta(h + h), h -= alpha(l + l).
 *   32f computes each as (left + right) * -c + centre in single precision. 16s and 32s subtract
 *   exactly the term the forward step added (((left + right) * c + 32768) >> 16, 16s in 32-bit
 *   wrapping arithmetic and saturated after every step, 32s with 64-bit products and no
 *   saturation), so only the two gains round; the gains are (v * 80621 + 32768) >> 16 for the
 *   low band (saturated in 16s) and (v * 53274 + 32768) >> 16 for the high band. There is no
 *   separate width-1 path. Band samples read per row (w = width): phase 0 L[-1 .. w+1] and
 *   H[-2 .. w+1]; odd phase L[-2 .. w] and H[-2 .. w+1]. Writes 2w samples.
 *   Accuracy: 32f inverse after forward restores the samples to within about 1e-6 of their
 *   range. The fixed-point forms round every lifting step and output integer coefficients: for
 *   samples of up to 12 bits the forward rows stay within 4 of the real T.800 filter bank and a
 *   row round trip (forward, then inverse) within 4 of the input; one level of the whole-tile
 *   forms, whose second pass works on the rounded output of the first, within 8 of the filter
 *   bank and within 10 of the input after the round trip. These bounds are what the library's
 *   tests check; they are not exact-reconstruction guarantees. */
KEPAPI KepResult kepiWTInvRow_D97_JPEG2K_32f_C1R(const Kep32f* pSrcLow, int srcLowStep, const Kep32f* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep32f* pDst, int dstStep, int phase);
KEPAPI KepResult kepiWTInvRow_D97_JPEG2K_16s_C1R(const Kep16s* pSrcLow, int srcLowStep, const Kep16s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep16s* pDst, int dstStep, int phase);
KEPAPI KepResult kepiWTInvRow_D97_JPEG2K_32s_C1R(const Kep32s* pSrcLow, int srcLowStep, const Kep32s* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep32s* pDst, int dstStep, int phase);

/* Float columns: the row lifting (forward, including the direct filters when the band height is
 * 1, and inverse) along columns, neighbours one step apart. Size: width = columns, height = rows
 * per band. The result of each column equals the row form on the transposed data. */
KEPAPI KepResult kepiWTFwdCol_D97_JPEG2K_32f_C1R(const Kep32f* pSrc, int srcStep, Kep32f* pDstLow, int dstLowStep, Kep32f* pDstHigh, int dstHighStep, KepiSize dstRoiSize, int phase);
KEPAPI KepResult kepiWTInvCol_D97_JPEG2K_32f_C1R(const Kep32f* pSrcLow, int srcLowStep, const Kep32f* pSrcHigh, int srcHighStep, KepiSize srcRoiSize, Kep32f* pDst, int dstStep, int phase);

/* 9/7 vertical lifting stages over whole rows of `width` elements, for codecs that stream rows;
 * the rows have the roles of the 5/3 lifting-step arguments. The 9/7 lifting is two stages of
 * the 5/3 shape followed by the gains, chosen by `stage`:
 *   0: H[k] = x[2k+1] + alpha(x[2k] + x[2k+2]);  L[k] = x[2k] + beta(H[k-1] + H[k])
 *   1: the same with gamma and delta, on the rows stage 0 produced;
 *   2: the gains, in place: pDstLow0 *= 1/K, pDstHigh0 *= K (the other rows are not used).
 * The inverse undoes them in reverse order (a codec runs stage 2, then 1, then 0):
 *   2: pDst2 = pSrcLow1 * K, pDst1 = pSrcHigh0 * 1/K;
 *   1, 0: x[2k+2] = L[k+1] - c_update(H[k] + H[k+1]); x[2k+1] = H[k] - c_predict(x[2k] + x[2k+2]).
 * Arithmetic per element type as in the 9/7 rows: 32f (left + right) * c + centre; 16s / 32s
 * with the 16-fraction-bit constants, rounding and bounds of the rows (the inverse subtracts the
 * term the forward step added). Running stages 0, 1, 2 down a column reproduces the column and
 * row forms (the rows' fused first low-pass excepted). Errors: any of the six row pointers null
 * (-8); width < 1 (-6); stage not 0, 1 or 2 (-5). */
KEPAPI KepResult kepiWTFwdColLift_D97_JPEG2K_32f_C1(const Kep32f* pSrc0, const Kep32f* pSrc1, const Kep32f* pSrc2, Kep32f* pDstLow0, const Kep32f* pSrcHighPrev, Kep32f* pDstHigh0, int width, int stage);
KEPAPI KepResult kepiWTFwdColLift_D97_JPEG2K_16s_C1(const Kep16s* pSrc0, const Kep16s* pSrc1, const Kep16s* pSrc2, Kep16s* pDstLow0, const Kep16s* pSrcHighPrev, Kep16s* pDstHigh0, int width, int stage);
KEPAPI KepResult kepiWTFwdColLift_D97_JPEG2K_32s_C1(const Kep32s* pSrc0, const Kep32s* pSrc1, const Kep32s* pSrc2, Kep32s* pDstLow0, const Kep32s* pSrcHighPrev, Kep32s* pDstHigh0, int width, int stage);
KEPAPI KepResult kepiWTInvColLift_D97_JPEG2K_32f_C1(const Kep32f* pSrcLow1, const Kep32f* pSrcHigh0, const Kep32f* pSrcHigh1, const Kep32f* pSrc0, Kep32f* pDst1, Kep32f* pDst2, int width, int stage);
KEPAPI KepResult kepiWTInvColLift_D97_JPEG2K_16s_C1(const Kep16s* pSrcLow1, const Kep16s* pSrcHigh0, const Kep16s* pSrcHigh1, const Kep16s* pSrc0, Kep16s* pDst1, Kep16s* pDst2, int width, int stage);
KEPAPI KepResult kepiWTInvColLift_D97_JPEG2K_32s_C1(const Kep32s* pSrcLow1, const Kep32s* pSrcHigh0, const Kep32s* pSrcHigh1, const Kep32s* pSrc0, Kep32s* pDst1, Kep32s* pDst2, int width, int stage);

/* Whole tile, fixed point (16s, 32s), one level, with internal periodic symmetric extension
 * (T.800 F.3.7): every column and then every row is extended, run through the forward row
 * arithmetic above (including the direct filters for lines of 2 samples) and stored as
 * [low | high]; the inverse runs the rows first, then the columns, each line's bands extended
 * as the symmetric interleaved line extends them. A line of one sample is doubled at an odd
 * position (saturated in 16s, wrapping in 32s) and kept at an even one; the inverse halves it,
 * truncating toward zero. Layout, checks, the in-place acceptance of empty tiles and the fixed
 * band split of the not-in-place forms are those of the 5/3 whole-tile forms. */
KEPAPI KepResult kepiWTFwd_D97_JPEG2K_16s_C1R(const Kep16s* pSrc, int srcStep, const KepiRect* pTileRect, Kep16s* pDst[4], int dstStep[4], Kep8u* pBuffer);
KEPAPI KepResult kepiWTFwd_D97_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, const KepiRect* pTileRect, Kep32s* pDst[4], int dstStep[4], Kep8u* pBuffer);
KEPAPI KepResult kepiWTFwd_D97_JPEG2K_16s_C1IR(Kep16s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTFwd_D97_JPEG2K_32s_C1IR(Kep32s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_D97_JPEG2K_16s_C1R(const Kep16s* pSrc[4], int srcStep[4], Kep16s* pDst, int dstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_D97_JPEG2K_32s_C1R(const Kep32s* pSrc[4], int srcStep[4], Kep32s* pDst, int dstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_D97_JPEG2K_16s_C1IR(Kep16s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);
KEPAPI KepResult kepiWTInv_D97_JPEG2K_32s_C1IR(Kep32s* pSrcDst, int srcDstStep, const KepiRect* pTileRect, Kep8u* pBuffer);

/* Scratch size in bytes for the 9/7 whole-tile forms (E = 2 for 16s, 4 for 32s): in place
 * E * (2 * max(w, h) + 24), 0 for an empty tile; not in place ((E*w + 31) & ~31) * h + the
 * in-place size. Errors: rectangle or output pointer null (-8). */
KEPAPI KepResult kepiWTGetBufSize_D97_JPEG2K_16s_C1R(const KepiRect* pTileRect, int* pSize);
KEPAPI KepResult kepiWTGetBufSize_D97_JPEG2K_32s_C1R(const KepiRect* pTileRect, int* pSize);
KEPAPI KepResult kepiWTGetBufSize_D97_JPEG2K_16s_C1IR(const KepiRect* pTileRect, int* pSize);
KEPAPI KepResult kepiWTGetBufSize_D97_JPEG2K_32s_C1IR(const KepiRect* pTileRect, int* pSize);

/* ---- JPEG 2000 code-block coding (ITU-T T.800 Annex C, D) ----------------------------------- */

/* Code-block coefficients are Kep32s in sign-magnitude form: bit 31 the sign (1 = negative),
 * magnitude bit plane p in bit p. Subband codes: 0 LL, 1 LH, 2 HL, 3 HH (they choose the
 * significance context labels of T.800 Table D.1: LL and LH share one table).
 *
 * Code-block style flags (codeStyleFlags). The low five are the code-block style bits of the
 * COD/COC marker segment (T.800 Table A.19); the rest steer the decoder:
 *   KEP_J2K_CB_VCAUSAL    vertically causal context formation (T.800 D.7): while coding the last
 *                         row of a stripe the next stripe counts as insignificant (in every pass)
 *   KEP_J2K_CB_BYPASS     selective arithmetic-coding bypass (T.800 D.6): from the fifth bit
 *                         plane on, significance propagation and magnitude refinement are raw
 *   KEP_J2K_CB_TERMALL    termination on each coding pass: every pass is its own segment
 *   KEP_J2K_CB_RESET      reset of the contexts to their initial states after each pass
 *   KEP_J2K_CB_SEGSYM     segmentation symbol 1010 (uniform context) after each cleanup pass;
 *                         a wrong symbol is corrupt data
 *   KEP_J2K_CB_MIDPOINT   one-shot decoder: after a corrupt pass, reconstruct the magnitudes at
 *                         the middle of the undecoded plane (see kepiDecodeCodeBlock_...)
 *   KEP_J2K_CB_KEEPBLOCK  Attach does not clear the code-block
 *   KEP_J2K_CB_KEEPLOWBP  one-shot decoder: do not clear the bits below the current bit plane
 *   KEP_J2K_CB_KEEPSTATE  Attach does not clear the coefficient-state buffer
 *   KEP_J2K_CB_PREDTERM   check, at the end of each segment that ends with an MQ pass, that the
 *                         segment ends as a predictable termination (kepMQTermPredictable)
 *                         leaves it; a mismatch is corrupt data */
#define KEP_J2K_CB_VCAUSAL   0x1
#define KEP_J2K_CB_BYPASS    0x2
#define KEP_J2K_CB_TERMALL   0x4
#define KEP_J2K_CB_RESET     0x8
#define KEP_J2K_CB_SEGSYM    0x10
#define KEP_J2K_CB_MIDPOINT  0x10000
#define KEP_J2K_CB_KEEPBLOCK 0x20000
#define KEP_J2K_CB_KEEPLOWBP 0x40000
#define KEP_J2K_CB_KEEPSTATE 0x80000
#define KEP_J2K_CB_PREDTERM  0x100000

/* MQ segment terminations of the code-block encoder (T.800 C.2.9, D.4). Any other value is a
 * flush. */
enum {
    kepMQTermFlush = 0,       /* T.800 FLUSH, with the low bits shifted in as 1s */
    kepMQTermShortest = 1,    /* the fewest bytes that still decode to the same decisions */
    kepMQTermPredictable = 2  /* the predictable termination of T.800 D.4.2 */
};

/* -- Progressive code-block decoder. A state serves one code-block at a time: Init (or
 * InitAlloc), Attach a code-block, SetPassCounter, then one Step per codeword segment. The state
 * starts with the identifier "PAMC"; the functions taking it return kepErrContext (-17) when it
 * is wrong, right after the null check of the state pointer. */

/* Size in bytes of a state for code-blocks up to codeBlockMaxSize:
 * pitch * ((height + 1) / 2 + 2) + 472, pitch = (width + 2) * 4 rounded up to a multiple of 32.
 * Errors: width or height < 1 (-6), checked first; null pStateSize (-8). */
KEPAPI KepResult kepiDecodeCBProgrGetStateSize_JPEG2K(KepiSize codeBlockMaxSize, int* pStateSize);

/* The same size: the one-shot decoder works in the same state. */
KEPAPI KepResult kepiDecodeGetBufSize_JPEG2K(KepiSize codeBlockMaxSize, int* pSize);

/* Initialises a state in caller memory of the GetStateSize size, on an 8-byte boundary (kepMalloc
 * memory is); the coefficient-state buffer inside starts on the next 32-byte boundary after the
 * header. Writes the identifier and leaves the state unattached. Errors: null (-8). */
KEPAPI KepResult kepiDecodeCBProgrInit_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState);

/* Allocates (kepMalloc) and initialises a state. Errors: null ppState (-8); width or height < 1
 * (-6); allocation failure (-9, *ppState set to null). */
KEPAPI KepResult kepiDecodeCBProgrInitAlloc_JPEG2K(KepiDecodeCBProgrState_JPEG2K** ppState, KepiSize codeBlockMaxSize);

/* Frees a state from InitAlloc. Errors: null (-8); wrong identifier (-17). */
KEPAPI KepResult kepiDecodeCBProgrFree_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState);

/* Binds the state to a code-block of codeBlockSize coefficients at pDst (rows dstStep bytes
 * apart), no larger than the size the state was made for. magnBits: the number of magnitude bit
 * planes coded (the first cleanup pass decodes plane magnBits - 1; planes above 30 cannot be held
 * and their passes report corrupt data). Clears the code-block (unless KEP_J2K_CB_KEEPBLOCK) and
 * the coefficient-state buffer (unless KEP_J2K_CB_KEEPSTATE), resets the contexts, the pass
 * counter (0) and the pass sequence. Errors, in this order: null pState or pDst (-8); dstStep < 1
 * (-14); width or height < 1 (-6); wrong identifier (-17). */
KEPAPI KepResult kepiDecodeCBProgrAttach_JPEG2K_32s_C1R(Kep32s* pDst, int dstStep, KepiSize codeBlockSize,
                                                         KepiDecodeCBProgrState_JPEG2K* pState, int subband,
                                                         int magnBits, int codeStyleFlags);

/* Sets how many coding passes the following Steps may decode. Errors: null (-8); identifier (-17). */
KEPAPI KepResult kepiDecodeCBProgrSetPassCounter_JPEG2K(int nPasses, KepiDecodeCBProgrState_JPEG2K* pState);

/* The passes still to decode. Errors: null pointers (-8); identifier (-17). */
KEPAPI KepResult kepiDecodeCBProgrGetPassCounter_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState, int* pNPasses);

/* The bit plane the next cleanup pass decodes (magnBits - 1 after Attach; -1 when all planes are
 * done). Errors: null pointers (-8); identifier (-17). */
KEPAPI KepResult kepiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(KepiDecodeCBProgrState_JPEG2K* pState, int* pBitPlane);

/* Decodes the passes of one codeword segment pSrc[0 .. srcLen-1] (T.800 D.4): one pass with
 * KEP_J2K_CB_TERMALL; otherwise the run of passes up to the next segment boundary (with
 * KEP_J2K_CB_BYPASS: the first four bit planes in one MQ segment, then per plane a raw segment
 * with significance propagation and magnitude refinement and an MQ segment with the cleanup),
 * never more than the pass counter allows. Bytes past srcLen are never read: the MQ decoder
 * feeds 0xFF bytes at the end and after a marker (0xFF followed by a byte above 0x8F), the raw
 * reader 1-bits. Returns 0 at once, reading nothing, when no pass is left. Decoding stops after
 * the first pass that finds corrupt data (a wrong segmentation symbol, a failed predictable-
 * termination check, or a bit plane above 30); the passes decoded before stay in the code-block,
 * and the result is kepErrCorruptSegment (-112). Errors: null pSrc or pState (-8); identifier
 * (-17); not attached (-180). */
KEPAPI KepResult kepiDecodeCBProgrStep_JPEG2K(const Kep8u* pSrc, int srcLen, KepiDecodeCBProgrState_JPEG2K* pState);

/* One-shot decoding: Init, Attach, SetPassCounter(nPasses), then a Step for each of the
 * nSegments segments (lengths pSegLen[]) laid end to end at pSrc, stopping at the first failing
 * Step. After a corrupt segment, *pNOfResidualBp (if not null) receives the current bit plane bp,
 * and with KEP_J2K_CB_MIDPOINT every coefficient c becomes, with v = c & (~0 << bp):
 * v | (1 << bp) if v has a magnitude bit, else +0. Finally, unless KEP_J2K_CB_KEEPLOWBP, when
 * bp >= 1 the bits below plane bp are cleared. nSegments <= 0 decodes nothing (result 0).
 * Errors: null pSrc or pState (-8); width or height < 1 (-6); null pSegLen or pDst (-8);
 * dstStep < 1 (-14); otherwise the result of the last Step. */
KEPAPI KepResult kepiDecodeCodeBlock_JPEG2K_1u32s_C1R(const Kep8u* pSrc, Kep32s* pDst, int dstStep,
                                                       KepiSize codeBlockSize, int subband, int magnBits,
                                                       int nPasses, const int* pSegLen, int nSegments,
                                                       int codeStyleFlags, int* pNOfResidualBp,
                                                       KepiDecodeCBProgrState_JPEG2K* pState);

/* -- Code-block encoder. InitAlloc makes a state for code-blocks up to a maximum size; Load codes
 * one code-block completely (all its coding passes, T.800 D.3 to D.6) into the state; StoreBits
 * hands the coded bytes out, all segments end to end, in pieces of any size; the getters describe
 * the segments and passes of the last Load. The state starts with its own identifier: the
 * functions taking it return kepErrContext (-17) when it is wrong, right after the null check of
 * the state pointer. */

/* Allocates (kepMalloc) an encoder state for code-blocks up to codeBlockMaxSize. Errors: null
 * ppState (-8); width or height < 1 (-6); allocation failure, also for a size whose state would
 * exceed 2 GiB (-9, *ppState set to null). */
KEPAPI KepResult kepiEncodeInitAlloc_JPEG2K(KepiEncodeState_JPEG2K** ppState, KepiSize codeBlockMaxSize);

/* Frees a state from InitAlloc. Errors: null (-8); wrong identifier (-17). */
KEPAPI KepResult kepiEncodeFree_JPEG2K(KepiEncodeState_JPEG2K* pState);

/* Codes the sign-magnitude code-block pSrc (rows srcStep bytes apart; magnitudes below
 * 2^magnBits, bit 31 the sign) of the given subband (0 LL, 1 LH, 2 HL, 3 HH). Coding starts at
 * the most significant non-zero magnitude bit plane P - 1: *pSfBits = magnBits - P planes are
 * skipped (the "zero bit planes" of the packet header; a decoder attaches with magnBits = P),
 * and there are *pNOfPasses = 3P - 2 passes (0 for an all-zero block). The style flags
 * KEP_J2K_CB_VCAUSAL, _BYPASS, _TERMALL, _RESET and _SEGSYM apply, as for the decoder; the
 * passes are grouped into *pNOfTermPasses codeword segments: one per pass with _TERMALL;
 * otherwise one, or with _BYPASS the first four planes, then a raw segment (significance
 * propagation and magnitude refinement) and an MQ segment (cleanup) per plane. Each MQ segment
 * ends with the termination mqTermType (kepMQTermFlush, kepMQTermShortest or
 * kepMQTermPredictable; other values flush); a raw segment is padded with 1-bits and never ends
 * with 0xFF. The source is only read.
 * Errors, in this order: null pSrc (-8); srcStep < 1 (-14); null pState (-8), wrong identifier
 * (-17); null pSfBits, pNOfPasses or pNOfTermPasses (-8); width or height < 1 (-6); a size above
 * the state's maximum, subband outside 0..3, magnBits outside 1..31 (-5); a magnitude of
 * 2^magnBits or more (-7); nothing is changed by these. kepErrStreamEnd (-62) if the coded data
 * outgrows the state's room (16 bytes per coefficient plus 1 KiB; not reachable with the
 * adaptive coder in practice): the state is then left empty. */
KEPAPI KepResult kepiEncodeLoadCodeBlock_JPEG2K_32s_C1R(const Kep32s* pSrc, int srcStep, KepiSize codeBlockSize,
                                                         KepiEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                         int mqTermType, int codeStyleFlags, int* pSfBits,
                                                         int* pNOfPasses, int* pNOfTermPasses);

/* Copies up to *pDstLen of the coded bytes not yet handed out to pDst, writes the number copied
 * to *pDstLen and sets *pIsNotFinish to 1 while bytes remain (0 once all are out). Errors: null
 * pDst or pDstLen (-8); null pState (-8), wrong identifier (-17); null pIsNotFinish (-8);
 * *pDstLen < 1 (-6). */
KEPAPI KepResult kepiEncodeStoreBits_JPEG2K_1u(Kep8u* pDst, int* pDstLen, KepiEncodeState_JPEG2K* pState, int* pIsNotFinish);

/* Length in bytes of codeword segment nTermPass (0 .. *pNOfTermPasses - 1) of the last Load.
 * Errors: null pState (-8), identifier (-17); null pPassLen (-8); index outside (-113). */
KEPAPI KepResult kepiEncodeGetTermPassLen_JPEG2K(KepiEncodeState_JPEG2K* pState, int nTermPass, int* pPassLen);

/* Rate of pass nPass (0 .. *pNOfPasses - 1): the number of bytes, counted from the start of the
 * code-block's data, with which a decoder decodes passes 0 .. nPass correctly (truncating the
 * segment that holds nPass there, the decoder reading 0xFF / 1-bits past it). Exact at a pass
 * that ends a segment; otherwise a safe bound: the bytes emitted so far plus enough to cover the
 * coder's registers, never more than the segment's end. Non-decreasing in nPass.
 * Errors: null pState (-8), identifier (-17); null pRate (-8); index outside (-113). */
KEPAPI KepResult kepiEncodeGetRate_JPEG2K(KepiEncodeState_JPEG2K* pState, int nPass, int* pRate);

/* Distortion decrease of pass nPass: the sum over the coefficients it codes of the decrease of
 * the squared error (in squared coefficient units) when each magnitude known down to plane p is
 * reconstructed at the middle of its remaining interval (known bits + 2^(p-1); exact at p = 0),
 * and an insignificant one as 0. Errors: null pState (-8), identifier (-17); null pDist (-8);
 * index outside (-113). */
KEPAPI KepResult kepiEncodeGetDist_JPEG2K(KepiEncodeState_JPEG2K* pState, int nPass, Kep32f* pDist);

/* ---- JPEG XR photo core transform (ITU-T T.832) --------------------------------------------- */

/* The 4x4 photo core transform, forward and inverse, in place on every 4x4 block of a region.
 * Blocks are taken in strips of four rows from the top, each strip from left to right; the DC
 * coefficient of a block ends in its top-left element. The second stage over the DC coefficients
 * of a macroblock is the caller's: gather them into a block and call the ROI form on it.
 *
 * Forward transform of a block a[r][c], built from three lifting steps:
 *   T2(p,q,s,u;r):  p += u; q -= s; e = ((p - q + r) >> 1) - u0; f = e - s0 + u0;
 *                   q += e; p -= f; s = e; u = f            (s0, u0: s and u on entry)
 *   TO(A,B,C,D):    B -= C; A += D; C += (B+1)>>1; D = ((A+1)>>1) - D;
 *                   B -= (3A+4)>>3; A += (3B+4)>>3; D -= (3C+4)>>3; C += (3D+4)>>3;
 *                   D += B>>1; C -= (A+1)>>1; B -= D; A += C
 *   TOO(A,B,C,D):   B = -B; C = -C; D += A; C -= B; h = D>>1; A -= h; g = C>>1; k = B + g;
 *                   A += (3k+4)>>3; k -= (3A+3)>>2; B = k - g; A += ((3k+3)>>3) + h;
 *                   C += B; D -= A
 * applied as T2(a00,a03,a30,a33;0), T2(a01,a02,a31,a32;0), T2(a10,a13,a20,a23;0),
 * T2(a11,a12,a21,a22;0), T2(a00,a01,a10,a11;1), TO(a02,a03,a12,a13), TO(a20,a30,a21,a31),
 * TOO(a22,a23,a32,a33). The inverse runs the inverse odd steps first, then the five T2 steps
 * (T2 is its own inverse) in reverse order. A constant block v gives 4v at DC and zeros elsewhere.
 *
 * Integer forms: >> is an arithmetic (floor) shift; every expression is evaluated in 32-bit two's
 * complement (sums that leave 32 bits wrap); 16s forms store every updated element back as its
 * low 16 bits, so a caller keeps 16s inputs within the range its bit depth implies. Forward then
 * inverse restores every block exactly while no intermediate sum leaves its width.
 * 32f forms: the same steps in single precision with x>>1 and (x+1)>>1 replaced by 0.5*x,
 * (3x+4)>>3 and (3x+3)>>3 by 0.375*x, (3x+3)>>2 by 0.75*x, and the offset r of T2 dropped.
 *
 * The step is in bytes and need not be a multiple of the element size.
 * ROI forms: width and height multiples of 4. Errors, in this order: null pointer (-8);
 * width or height < 1 (-6); step < width * element size (-14); width or height not a multiple
 * of 4 (-6). Nothing is written when a check fails. */
KEPAPI KepResult kepiPCTFwd_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiPCTFwd_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiPCTFwd_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiPCTInv_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiPCTInv_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep, KepiSize roiSize);
KEPAPI KepResult kepiPCTInv_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep, KepiSize roiSize);

/* Macroblock forms: the same transform on a fixed region of 8 columns x 8 rows, 8 columns x 16
 * rows or 16 x 16 (the chroma and luma macroblocks of the 4:2:0, 4:2:2 and 4:4:4 layouts).
 * Errors, in this order: null pointer (-8); step < region width * element size (-14), i.e. below
 * 16 bytes (8x8, 8x16 16s), 32 bytes (8x8, 8x16 32s/32f; 16x16 16s) or 64 bytes (16x16 32s/32f). */
KEPAPI KepResult kepiPCTFwd8x8_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd8x8_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd8x8_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd8x16_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd8x16_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd8x16_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd16x16_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd16x16_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTFwd16x16_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv8x8_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv8x8_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv8x8_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv8x16_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv8x16_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv8x16_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv16x16_JPEGXR_16s_C1IR(Kep16s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv16x16_JPEGXR_32s_C1IR(Kep32s* pSrcDst, Kep32u srcDstStep);
KEPAPI KepResult kepiPCTInv16x16_JPEGXR_32f_C1IR(Kep32f* pSrcDst, Kep32u srcDstStep);

/* ---- TIFF PackBits and row split and join --------------------------------------------------- */

/* PackBits (TIFF 6.0, compression 32773) encoding of one row of srcLen bytes, appended to the
 * destination buffer at *pDstCurrPos; on return *pDstCurrPos is just past the last byte written.
 * dstLen is the length of the whole buffer from pDst, not the room left. Runs: header n in 0..127
 * copies the next n+1 bytes; n in -127..-1 repeats the next byte 1-n times. The code is fixed:
 * two equal bytes at the start of a run form a replicate run (header -1); inside a literal run an
 * equal pair stays literal unless a third equal byte follows, which ends the literal before the
 * three; runs stop at 128 bytes; -128 is never written.
 * Errors: pSrc, pDst or pDstCurrPos null (-8); srcLen < 1 or dstLen < 1 (-6); a run that does
 * not fit in the destination, or a negative position (-124): the runs before it are written, the
 * position is left at the end of the last of them, and nothing of the failing run is written. */
KEPAPI KepResult kepiPackBitsRow_TIFF_8u_C1(const Kep8u* pSrc, int srcLen, Kep8u* pDst, int* pDstCurrPos,
                                            int dstLen);

/* PackBits decoding of one row of dstLen bytes from the source buffer at *pSrcCurrPos (srcLen is
 * the length of the whole buffer from pSrc). A -128 header is skipped. Decoding stops as soon as
 * the row is complete; *pSrcCurrPos then points at the next header.
 * Note: a replicate header that is the last byte of the source reads its data byte from
 * pSrc[srcLen], one byte past the given length, and leaves the position at srcLen + 1.
 * Errors: pSrc, pSrcCurrPos or pDst null (-8); srcLen < 1 or dstLen < 1 (-6); the source ends
 * before the row is complete, a run that does not fit in the source or the row, or a negative
 * position (-124). The position is then stored just past the header of the failed run (or where
 * the source ran out; unchanged when nothing was read); bytes produced before stay in the row,
 * and the row's bytes after them are unspecified (runs far from the row end are written in whole
 * 16- and 32-byte pieces that the following runs overwrite). Nothing outside the row is written. */
KEPAPI KepResult kepiUnpackBitsRow_TIFF_8u_C1(const Kep8u* pSrc, int* pSrcCurrPos, int srcLen, Kep8u* pDst,
                                              int dstLen);

/* Splits len 16-bit samples into two byte planes: pDst[0][i] = high byte, pDst[1][i] = low byte
 * of sample i. Errors, in this order: pSrc or pDst null (-8); len < 1 (-14, the step code);
 * pDst[0] null (-8); pDst[1] null (-8). */
KEPAPI KepResult kepiSplitRow_TIFF_16u8u_C1(const Kep16u* pSrc, Kep8u* pDst[2], int len);

/* Joins two byte planes into len 16-bit samples: pDst[i] = pSrc[0][i] * 256 + pSrc[1][i].
 * Errors, in this order: pSrc or pDst null (-8); pSrc[0] null (-8); pSrc[1] null (-8);
 * len < 1 (-14, the step code). */
KEPAPI KepResult kepiJoinRow_TIFF_8u16u_C1(const Kep8u* const pSrc[2], Kep16u* pDst, int len);

#ifdef __cplusplus
}
#endif

#endif /* KEPJX1_H */
