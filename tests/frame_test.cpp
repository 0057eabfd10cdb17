// The library frame: every export's stub, the dispatch index, the version records and the
// layout of the public records.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "kepcore.h"
#include "pjdispatch.h"

namespace {

struct ExportEntry {
    const char* name;
    const unsigned char* entry;
    const void* table;
};

#define KEP_EXPORT(n) {#n, reinterpret_cast<const unsigned char*>(&n), static_cast<const void*>(ownTbl_##n)},
#define KEP_EXPORT_PER_SLOT(n) KEP_EXPORT(n)
const ExportEntry kExports[] = {
#include "pjexports.inc"
};
#undef KEP_EXPORT
#undef KEP_EXPORT_PER_SLOT

const void* ripTarget(const unsigned char* insnEnd, const unsigned char* disp32) {
    int32_t d;
    std::memcpy(&d, disp32, 4);
    return insnEnd + d;
}

// Each stub is exactly: movslq index(%rip),%rax; leaq table(%rip),%r11; jmp *(%r11,%rax,8).
// The displacements must reach the dispatch index and the export's own table.
TEST(Dispatch, EveryStubIsALoadAndAnIndirectJumpThroughItsOwnTable) {
    for (const ExportEntry& e : kExports) {
        SCOPED_TRACE(e.name);
        const unsigned char* p = e.entry;
        const unsigned char movslq[] = {0x48, 0x63, 0x05}, leaq[] = {0x4C, 0x8D, 0x1D}, jmp[] = {0x41, 0xFF, 0x24, 0xC3};
        ASSERT_EQ(0, std::memcmp(p, movslq, 3));
        EXPECT_EQ(static_cast<const void*>(&ownDispatchIndex), ripTarget(p + 7, p + 3));
        ASSERT_EQ(0, std::memcmp(p + 7, leaq, 3));
        EXPECT_EQ(e.table, ripTarget(p + 14, p + 10));
        EXPECT_EQ(0, std::memcmp(p + 14, jmp, 4));
    }
}

TEST(Dispatch, IndexFollowsSsse3AndMovbe) {
    const Kep64u m = kepGetEnabledCpuFeatures();
    const int expect = ((m & kepCpuSSSE3) && (m & kepCpuMOVBE)) ? 1 : 0;
    EXPECT_EQ(expect, ownDispatchIndex);
    EXPECT_EQ(ownTbl_kepjGetLibVersion[expect](), kepjGetLibVersion());
}

TEST(Version, RecordsOfBothSlots) {
    const KepLibraryVersion* v[2] = {ownTbl_kepjGetLibVersion[0](), ownTbl_kepjGetLibVersion[1]()};
    const char* target[2] = {"x1\0", "x2\0"};
    const char* name[2] = {"kepJP SSSE3 (x1)", "kepJP Tern (x2)"};
    for (int s = 0; s < 2; ++s) {
        SCOPED_TRACE(s);
        EXPECT_EQ(v[s], ownTbl_kepjGetLibVersion[s]());  // constant records
        EXPECT_EQ(8, v[s]->major);
        EXPECT_EQ(2, v[s]->minor);
        EXPECT_EQ(2, v[s]->majorBuild);
        EXPECT_EQ(46212, v[s]->build);
        EXPECT_EQ(0, std::memcmp(v[s]->targetCpu, target[s], 4));
        EXPECT_STREQ(name[s], v[s]->Name);
        EXPECT_STREQ("8.2.2 (r46212)", v[s]->Version);
        EXPECT_STREQ("Apr  1 2015", v[s]->BuildDate);
    }
    EXPECT_NE(v[0], v[1]);
    EXPECT_EQ(v[0]->Version, v[1]->Version);  // one copy of the shared strings
    EXPECT_EQ(v[0]->BuildDate, v[1]->BuildDate);
    EXPECT_EQ(kepjGetLibVersion(), kepjGetLibVersion());
}

// The public records are part of the ABI: field order and offsets on x86-64.
TEST(PublicTypes, LayoutOfRecords) {
    static_assert(sizeof(KepiSize) == 8 && offsetof(KepiSize, height) == 4, "KepiSize");
    static_assert(sizeof(KepiRect) == 16 && offsetof(KepiRect, y) == 4 && offsetof(KepiRect, width) == 8 &&
                      offsetof(KepiRect, height) == 12, "KepiRect");
    static_assert(offsetof(KepLibraryVersion, minor) == 4 && offsetof(KepLibraryVersion, majorBuild) == 8 &&
                      offsetof(KepLibraryVersion, build) == 12 && offsetof(KepLibraryVersion, targetCpu) == 16 &&
                      offsetof(KepLibraryVersion, Name) == 24 && offsetof(KepLibraryVersion, Version) == 32 &&
                      offsetof(KepLibraryVersion, BuildDate) == 40 && sizeof(KepLibraryVersion) == 48,
                  "KepLibraryVersion");
    static_assert(sizeof(KepResult) == 4 && sizeof(Kep16s) == 2 && sizeof(Kep32f) == 4, "element types");
    SUCCEED();
}

}  // namespace
