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

/* ---- TIFF PackBits and row split and join --------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* KEPJX1_H */
