/*
 * kepcore.h - libkepcore.so.8.2: aligned memory and the processor feature mask.
 *
 * The image-codec library libkepjx1 reads the feature mask once, when it is loaded, to choose
 * its code path; its ...InitAlloc functions allocate with kepMalloc. Applications use
 * kepMalloc/kepFree for buffers they hand to the primitives and kepFree for everything an
 * ...InitAlloc function returned.
 */
#ifndef KEPCORE_H
#define KEPCORE_H

#include "keptypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Processor feature bits of the mask returned by kepGetCpuFeatures / kepGetEnabledCpuFeatures.
 * A bit is set when CPUID reports the feature; the AVX family (AVX, AVX2, FMA, F16C and every
 * AVX-512 bit) is set only when the operating system also saves the wider registers (XGETBV). */
#define kepCpuMMX        0x00000001ULL
#define kepCpuSSE        0x00000002ULL
#define kepCpuSSE2       0x00000004ULL
#define kepCpuSSE3       0x00000008ULL
#define kepCpuSSSE3      0x00000010ULL /* the library's baseline: both code paths need it */
#define kepCpuMOVBE      0x00000020ULL /* with SSSE3, selects the second code path ("x2") */
#define kepCpuSSE41      0x00000040ULL
#define kepCpuSSE42      0x00000080ULL
#define kepCpuAVX        0x00000100ULL
#define kepCpuAES        0x00000200ULL
#define kepCpuCLMUL      0x00000400ULL
#define kepCpuRDRAND     0x00000800ULL
#define kepCpuF16C       0x00001000ULL
#define kepCpuAVX2       0x00002000ULL
#define kepCpuBMI1       0x00004000ULL
#define kepCpuBMI2       0x00008000ULL
#define kepCpuLZCNT      0x00010000ULL
#define kepCpuPOPCNT     0x00020000ULL
#define kepCpuFMA        0x00040000ULL
#define kepCpuADX        0x00080000ULL
#define kepCpuSHA        0x00100000ULL
#define kepCpuAVX512F    0x00200000ULL
#define kepCpuAVX512CD   0x00400000ULL
#define kepCpuAVX512BW   0x00800000ULL
#define kepCpuAVX512DQ   0x01000000ULL
#define kepCpuAVX512VL   0x02000000ULL
#define kepCpuAVX512VBMI 0x04000000ULL
#define kepCpuXSAVE      0x08000000ULL
#define kepCpuOSXSAVE    0x10000000ULL /* the OS has enabled XGETBV / extended register state */

/* Allocates length bytes aligned on 64 bytes; null for length < 1 or when memory runs out. */
KEPAPI void* kepMalloc(int length);

/* Frees memory from kepMalloc (or from any ...InitAlloc function); null is ignored. */
KEPAPI void kepFree(void* ptr);

/* Detects the processor with CPUID. Stores the feature mask in *pFeaturesMask and the registers
 * EAX, EBX, ECX, EDX of CPUID leaf 1 in pCpuidInfoRegs[0..3]; either pointer may be null (with
 * both null the call only runs the detection). Returns kepOk. */
KEPAPI KepResult kepGetCpuFeatures(Kep64u* pFeaturesMask, Kep32u pCpuidInfoRegs[4]);

/* The feature mask in force: the detected features (detected on first use if needed). */
KEPAPI Kep64u kepGetEnabledCpuFeatures(void);

/* Stores the size in bytes of the largest data or unified cache reported by CPUID (deterministic
 * cache parameters, leaf 4 or 0x8000001D, else leaf 0x80000006), or 0 when the processor
 * reports none. Null gives kepErrNullPtr. */
KEPAPI KepResult kepGetMaxCacheSizeB(int* pSizeByte);

#ifdef __cplusplus
}
#endif

#endif /* KEPCORE_H */
