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
