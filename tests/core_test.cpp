// libkepcore: aligned allocation, feature detection against the compiler's own detector, and the
// cache size against what the kernel reports in sysfs.

#include <gtest/gtest.h>

#include <cpuid.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "kepcore.h"

namespace {

TEST(CoreMemory, AlignedAndNullBelowOne) {
    for (int len : {1, 3, 63, 64, 65, 4096, 1 << 20}) {
        auto* p = static_cast<unsigned char*>(kepMalloc(len));
        ASSERT_NE(nullptr, p) << len;
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % 64) << len;
        p[0] = 1;
        p[len - 1] = 2;  // the whole length is usable (ASan checks it)
        kepFree(p);
    }
    EXPECT_EQ(nullptr, kepMalloc(0));
    EXPECT_EQ(nullptr, kepMalloc(-1));
    kepFree(nullptr);
}

TEST(CoreFeatures, AgreeWithTheCompilersDetection) {
    Kep64u mask = 0;
    Kep32u regs[4] = {0, 0, 0, 0};
    ASSERT_EQ(kepOk, kepGetCpuFeatures(&mask, regs));
    EXPECT_EQ(mask, kepGetEnabledCpuFeatures());
    EXPECT_EQ(kepOk, kepGetCpuFeatures(nullptr, nullptr));
    EXPECT_EQ(kepOk, kepGetCpuFeatures(&mask, nullptr));
    EXPECT_EQ(kepOk, kepGetCpuFeatures(nullptr, regs));

    unsigned a, b, c, d;
    ASSERT_TRUE(__get_cpuid(1, &a, &b, &c, &d));
    EXPECT_EQ(a, regs[0]);
    EXPECT_EQ(c, regs[2]);
    EXPECT_EQ(d, regs[3]);

    __builtin_cpu_init();
    const struct {
        Kep64u bit;
        bool has;
        const char* name;
    } expect[] = {
        {kepCpuMMX, !!__builtin_cpu_supports("mmx"), "mmx"},
        {kepCpuSSE, !!__builtin_cpu_supports("sse"), "sse"},
        {kepCpuSSE2, !!__builtin_cpu_supports("sse2"), "sse2"},
        {kepCpuSSE3, !!__builtin_cpu_supports("sse3"), "sse3"},
        {kepCpuSSSE3, !!__builtin_cpu_supports("ssse3"), "ssse3"},
        // Not every compiler's builtin knows MOVBE and RDRAND: CPUID.1:ECX bits 22 and 30.
        {kepCpuMOVBE, ((c >> 22) & 1) != 0, "movbe"},
        {kepCpuSSE41, !!__builtin_cpu_supports("sse4.1"), "sse4.1"},
        {kepCpuSSE42, !!__builtin_cpu_supports("sse4.2"), "sse4.2"},
        {kepCpuAVX, !!__builtin_cpu_supports("avx"), "avx"},
        {kepCpuAES, !!__builtin_cpu_supports("aes"), "aes"},
        {kepCpuCLMUL, !!__builtin_cpu_supports("pclmul"), "pclmul"},
        {kepCpuRDRAND, ((c >> 30) & 1) != 0, "rdrnd"},
        {kepCpuAVX2, !!__builtin_cpu_supports("avx2"), "avx2"},
        {kepCpuBMI1, !!__builtin_cpu_supports("bmi"), "bmi"},
        {kepCpuBMI2, !!__builtin_cpu_supports("bmi2"), "bmi2"},
        {kepCpuPOPCNT, !!__builtin_cpu_supports("popcnt"), "popcnt"},
        {kepCpuFMA, !!__builtin_cpu_supports("fma"), "fma"},
        {kepCpuAVX512F, !!__builtin_cpu_supports("avx512f"), "avx512f"},
        {kepCpuAVX512BW, !!__builtin_cpu_supports("avx512bw"), "avx512bw"},
        {kepCpuAVX512VL, !!__builtin_cpu_supports("avx512vl"), "avx512vl"},
    };
    for (const auto& e : expect) EXPECT_EQ(e.has, (mask & e.bit) != 0) << e.name;
}

// The largest data or unified cache of cpu0 as the kernel lists it, in bytes; 0 if unknown.
long long sysfsLargestCache() {
    long long best = 0;
    for (int i = 0; i < 8; ++i) {
        const std::string dir = "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i) + "/";
        std::ifstream type(dir + "type"), size(dir + "size");
        std::string t, s;
        if (!(type >> t) || !(size >> s)) continue;
        if (t == "Instruction") continue;
        long long v = std::stoll(s);
        if (s.back() == 'K') v *= 1024;
        if (s.back() == 'M') v *= 1024 * 1024;
        if (v > best) best = v;
    }
    return best;
}

TEST(CoreCache, LargestCacheMatchesTheKernelsView) {
    EXPECT_EQ(kepErrNullPtr, kepGetMaxCacheSizeB(nullptr));
    int size = -1;
    ASSERT_EQ(kepOk, kepGetMaxCacheSizeB(&size));
    const long long sys = sysfsLargestCache();
    if (sys == 0) GTEST_SKIP() << "no cache information in sysfs; CPUID says " << size;
    EXPECT_EQ(sys, size);
}

}  // namespace
