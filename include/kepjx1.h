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

/* ---- JPEG XR photo core transform (ITU-T T.832) --------------------------------------------- */

/* ---- TIFF PackBits and row split and join --------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* KEPJX1_H */
