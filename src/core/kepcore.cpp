// libkepcore: aligned allocation and processor feature detection.
//
// The library is C++ compiled without exceptions or RTTI and uses nothing from the C++ runtime,
// so it depends only on libc.

#include "kepcore.h"

#include <cpuid.h>
#include <stdlib.h>
#include <limits.h>

namespace {

struct CpuidRegs {
    Kep32u eax, ebx, ecx, edx;
};

CpuidRegs cpuid(Kep32u leaf, Kep32u subleaf = 0) {
    CpuidRegs r;
    __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
    return r;
}

Kep32u maxLeaf(Kep32u base) { return cpuid(base).eax; }

// XCR0 through XGETBV; only valid when CPUID.1:ECX.OSXSAVE is set.
Kep64u readXcr0() {
    Kep32u lo, hi;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (static_cast<Kep64u>(hi) << 32) | lo;
}

Kep64u detectFeatures(CpuidRegs* leaf1Out) {
    Kep64u m = 0;
    const Kep32u top = maxLeaf(0);
    CpuidRegs l1 = {0, 0, 0, 0};
    if (top >= 1) l1 = cpuid(1);
    if (leaf1Out) *leaf1Out = l1;

    auto set = [&m](bool cond, Kep64u bit) { if (cond) m |= bit; };
    set(l1.edx & (1u << 23), kepCpuMMX);
    set(l1.edx & (1u << 25), kepCpuSSE);
    set(l1.edx & (1u << 26), kepCpuSSE2);
    set(l1.ecx & (1u << 0), kepCpuSSE3);
    set(l1.ecx & (1u << 1), kepCpuCLMUL);
    set(l1.ecx & (1u << 9), kepCpuSSSE3);
    set(l1.ecx & (1u << 19), kepCpuSSE41);
    set(l1.ecx & (1u << 20), kepCpuSSE42);
    set(l1.ecx & (1u << 22), kepCpuMOVBE);
    set(l1.ecx & (1u << 23), kepCpuPOPCNT);
    set(l1.ecx & (1u << 25), kepCpuAES);
    set(l1.ecx & (1u << 26), kepCpuXSAVE);
    set(l1.ecx & (1u << 30), kepCpuRDRAND);

    // The AVX family needs the OS to save YMM (XCR0 bits 1, 2) and, for AVX-512, the opmask
    // and upper ZMM state (XCR0 bits 5, 6, 7).
    bool osYmm = false, osZmm = false;
    if (l1.ecx & (1u << 27)) {
        m |= kepCpuOSXSAVE;
        const Kep64u xcr0 = readXcr0();
        osYmm = (xcr0 & 0x6) == 0x6;
        osZmm = osYmm && (xcr0 & 0xE0) == 0xE0;
    }
    set(osYmm && (l1.ecx & (1u << 28)), kepCpuAVX);
    set(osYmm && (l1.ecx & (1u << 29)), kepCpuF16C);
    set(osYmm && (l1.ecx & (1u << 12)), kepCpuFMA);

    if (top >= 7) {
        const CpuidRegs l7 = cpuid(7, 0);
        set(l7.ebx & (1u << 3), kepCpuBMI1);
        set(l7.ebx & (1u << 8), kepCpuBMI2);
        set(l7.ebx & (1u << 19), kepCpuADX);
        set(l7.ebx & (1u << 29), kepCpuSHA);
        set(osYmm && (l7.ebx & (1u << 5)), kepCpuAVX2);
        set(osZmm && (l7.ebx & (1u << 16)), kepCpuAVX512F);
        set(osZmm && (l7.ebx & (1u << 17)), kepCpuAVX512DQ);
        set(osZmm && (l7.ebx & (1u << 28)), kepCpuAVX512CD);
        set(osZmm && (l7.ebx & (1u << 30)), kepCpuAVX512BW);
        set(osZmm && (l7.ebx & (1u << 31)), kepCpuAVX512VL);
        set(osZmm && (l7.ecx & (1u << 1)), kepCpuAVX512VBMI);
    }
    if (maxLeaf(0x80000000u) >= 0x80000001u) {
        const CpuidRegs e1 = cpuid(0x80000001u);
        set(e1.ecx & (1u << 5), kepCpuLZCNT);
    }
    return m;
}

// The detected mask, published once; bit 63 marks "detected" so that a zero mask is cached too.
constexpr Kep64u kDetected = 1ULL << 63;
Kep64u g_features = 0;

Kep64u featuresOnce() {
    Kep64u v = __atomic_load_n(&g_features, __ATOMIC_ACQUIRE);
    if (!(v & kDetected)) {
        v = detectFeatures(nullptr) | kDetected;  // idempotent: racing threads store the same value
        __atomic_store_n(&g_features, v, __ATOMIC_RELEASE);
    }
    return v & ~kDetected;
}

// Size of the largest data/unified cache from a deterministic-cache-parameters leaf (Intel leaf 4,
// AMD leaf 0x8000001D share the layout): ways * partitions * line size * sets, all stored minus one.
Kep64u largestCacheFromLeaf(Kep32u leaf) {
    Kep64u best = 0;
    for (Kep32u sub = 0; sub < 64; ++sub) {
        const CpuidRegs r = cpuid(leaf, sub);
        const Kep32u type = r.eax & 0x1F;
        if (type == 0) break;
        if (type == 2) continue;  // instruction cache
        const Kep64u ways = (r.ebx >> 22) + 1;
        const Kep64u parts = ((r.ebx >> 12) & 0x3FF) + 1;
        const Kep64u line = (r.ebx & 0xFFF) + 1;
        const Kep64u sets = static_cast<Kep64u>(r.ecx) + 1;
        const Kep64u size = ways * parts * line * sets;
        if (size > best) best = size;
    }
    return best;
}

}  // namespace

extern "C" {

KEPAPI void* kepMalloc(int length) {
    if (length < 1) return nullptr;
    void* p = nullptr;
    if (posix_memalign(&p, 64, static_cast<size_t>(length)) != 0) return nullptr;
    return p;
}

KEPAPI void kepFree(void* ptr) { free(ptr); }

KEPAPI KepResult kepGetCpuFeatures(Kep64u* pFeaturesMask, Kep32u pCpuidInfoRegs[4]) {
    CpuidRegs l1;
    const Kep64u m = detectFeatures(&l1);
    __atomic_store_n(&g_features, m | kDetected, __ATOMIC_RELEASE);
    if (pFeaturesMask) *pFeaturesMask = m;
    if (pCpuidInfoRegs) {
        pCpuidInfoRegs[0] = l1.eax;
        pCpuidInfoRegs[1] = l1.ebx;
        pCpuidInfoRegs[2] = l1.ecx;
        pCpuidInfoRegs[3] = l1.edx;
    }
    return kepOk;
}

KEPAPI Kep64u kepGetEnabledCpuFeatures(void) { return featuresOnce(); }

KEPAPI KepResult kepGetMaxCacheSizeB(int* pSizeByte) {
    if (!pSizeByte) return kepErrNullPtr;
    Kep64u best = 0;
    if (maxLeaf(0) >= 4) best = largestCacheFromLeaf(4);
    const Kep32u extTop = maxLeaf(0x80000000u);
    if (best == 0 && extTop >= 0x8000001Du) best = largestCacheFromLeaf(0x8000001Du);
    if (best == 0 && extTop >= 0x80000006u) {
        // Legacy AMD leaf: ECX[31:16] = L2 size in KiB, EDX[31:18] = L3 size in 512 KiB units.
        const CpuidRegs r = cpuid(0x80000006u);
        const Kep64u l2 = static_cast<Kep64u>(r.ecx >> 16) * 1024;
        const Kep64u l3 = static_cast<Kep64u>(r.edx >> 18) * 512 * 1024;
        best = l2 > l3 ? l2 : l3;
    }
    *pSizeByte = best > static_cast<Kep64u>(INT_MAX) ? INT_MAX : static_cast<int>(best);
    return kepOk;
}

}  // extern "C"
