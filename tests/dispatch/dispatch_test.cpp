// Code-path selection, run in a process of its own for each feature mask: ctest starts this
// program with the core-library double first on the library path and KEP_FAKE_CPU_MASK set, and
// KEP_EXPECT_SLOT says which record the library must then answer with. Linked against the shared
// library, exactly as an application is.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "fake_kepcore_log.h"
#include "kepjx1.h"

namespace {

int expectedSlot() {
    const char* s = std::getenv("KEP_EXPECT_SLOT");
    return s ? std::atoi(s) : -1;
}

const KepFakeCoreLog* fakeLog() {
    using Fn = const KepFakeCoreLog* (*)();
    auto fn = reinterpret_cast<Fn>(dlsym(RTLD_DEFAULT, "kepFakeCoreLog"));
    return fn ? fn() : nullptr;
}

TEST(LoadTimeDispatch, InitializerAsksTheCoreLibraryOnce) {
    const KepFakeCoreLog* log = fakeLog();
    ASSERT_NE(nullptr, log) << "the core-library double was not loaded; check LD_LIBRARY_PATH";
    ASSERT_EQ(2, log->count);
    EXPECT_EQ(1, log->calls[0].function);  // kepGetCpuFeatures(NULL, NULL) first
    EXPECT_TRUE(log->calls[0].maskPtrNull);
    EXPECT_TRUE(log->calls[0].regsPtrNull);
    EXPECT_EQ(2, log->calls[1].function);  // then kepGetEnabledCpuFeatures()
}

TEST(LoadTimeDispatch, RecordOfTheChosenSlot) {
    const int slot = expectedSlot();
    ASSERT_TRUE(slot == 0 || slot == 1) << "KEP_EXPECT_SLOT must be 0 or 1";
    const KepLibraryVersion* v = kepjGetLibVersion();
    ASSERT_NE(nullptr, v);
    EXPECT_EQ(v, kepjGetLibVersion());
    EXPECT_EQ(0, std::memcmp(v->targetCpu, slot ? "x2\0" : "x1\0", 4));
    EXPECT_STREQ(slot ? "kepJP Tern (x2)" : "kepJP SSSE3 (x1)", v->Name);
    EXPECT_STREQ("8.2.2 (r46212)", v->Version);
    EXPECT_STREQ("Apr  1 2015", v->BuildDate);
    EXPECT_EQ(46212, v->build);
    // The feature functions were not called again.
    EXPECT_EQ(2, fakeLog()->count);
}

// The exports work on either path: a documented result through the stub of the chosen slot.
TEST(LoadTimeDispatch, ExportsRunOnTheChosenPath) {
    Kep8u raw[64];
    std::memset(raw, 200, sizeof raw);
    alignas(16) Kep16u inv[64];
    ASSERT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(raw, inv));
    alignas(16) Kep16s block[64] = {300};
    ASSERT_EQ(kepOk, kepiQuantInv8x8_JPEG_16s_C1I(block, inv));
    EXPECT_EQ(-5536, block[0]);
    EXPECT_EQ(kepErrNullPtr, kepiQuantInv8x8_JPEG_16s_C1I(nullptr, inv));
}

}  // namespace
