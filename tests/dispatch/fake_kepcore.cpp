// A test double of libkepcore.so.8.2: the same soname and interface, but the feature mask is the
// value of KEP_FAKE_CPU_MASK (read by this double only) and every call of the feature functions
// is recorded, so that a test can see what the image library's load-time initializer did.

#include <stdlib.h>

#include "fake_kepcore_log.h"
#include "kepcore.h"

extern "C" {

static KepFakeCoreLog g_log;

static void record(int function, bool maskNull, bool regsNull) {
    if (g_log.count < 16) g_log.calls[g_log.count] = {function, maskNull, regsNull};
    ++g_log.count;
}

static Kep64u fakeMask() {
    const char* s = getenv("KEP_FAKE_CPU_MASK");
    return s ? strtoull(s, nullptr, 0) : 0;
}

__attribute__((visibility("default"))) const KepFakeCoreLog* kepFakeCoreLog(void) { return &g_log; }

KEPAPI void* kepMalloc(int length) {
    void* p = nullptr;
    if (length < 1 || posix_memalign(&p, 64, static_cast<size_t>(length)) != 0) return nullptr;
    return p;
}

KEPAPI void kepFree(void* ptr) { free(ptr); }

KEPAPI KepResult kepGetCpuFeatures(Kep64u* pFeaturesMask, Kep32u pCpuidInfoRegs[4]) {
    record(1, pFeaturesMask == nullptr, pCpuidInfoRegs == nullptr);
    if (pFeaturesMask) *pFeaturesMask = fakeMask();
    if (pCpuidInfoRegs) pCpuidInfoRegs[0] = pCpuidInfoRegs[1] = pCpuidInfoRegs[2] = pCpuidInfoRegs[3] = 0;
    return kepOk;
}

KEPAPI Kep64u kepGetEnabledCpuFeatures(void) {
    record(2, false, false);
    return fakeMask();
}

KEPAPI KepResult kepGetMaxCacheSizeB(int* pSizeByte) {
    if (!pSizeByte) return kepErrNullPtr;
    *pSizeByte = 1 << 20;
    return kepOk;
}

}  // extern "C"
