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

/* ---- TIFF PackBits and row split and join --------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* KEPJX1_H */
