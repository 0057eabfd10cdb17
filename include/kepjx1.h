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

/* ---- JPEG progressive Huffman coding, statistics, lossless coding (ITU-T T.81 G.1, K.2, Annex H) ---- */

/* ---- JPEG colour conversion, down- and up-sampling, MCU conversions ------------------------- */

/* ---- JPEG 2000 component transforms and wavelets (ITU-T T.800 Annex F, G) ------------------- */

/* ---- JPEG 2000 code-block coding (ITU-T T.800 Annex C, D) ----------------------------------- */

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
 * the source ran out; unchanged when nothing was read); bytes produced before stay in the row. */
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
