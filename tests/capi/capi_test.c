/* A C99 program against the public headers: compiled with -std=c99 -pedantic-errors -Werror by the
 * test suite, and again by the install test against an installed tree (CMake package and
 * pkg-config). Exits 0 when every check holds. */
#include <stdio.h>
#include <string.h>

#include "kepcore.h"
#include "kepjx1.h"

static int failures = 0;
#define CHECK(cond)                                                        \
    do {                                                                   \
        if (!(cond)) {                                                     \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                                    \
        }                                                                  \
    } while (0)

int main(void) {
    const KepLibraryVersion* v = kepjGetLibVersion();
    KepiSize roi = {8, 8};
    KepiRect tile = {1, 2, 3, 4};
    Kep8u raw[64];
    Kep16u* fwd;
    Kep16s block[64];
    Kep64u mask = 0;
    int i, cache = 0;

    CHECK(v != NULL && v->major == 8 && v->minor == 2 && v->build == 46212);
    CHECK(strcmp(v->targetCpu, "x1") == 0 || strcmp(v->targetCpu, "x2") == 0);
    CHECK(strcmp(v->Version, "8.2.2 (r46212)") == 0);
    CHECK(roi.width * roi.height == 64 && tile.height == 4);
    CHECK(kepGetCpuFeatures(&mask, NULL) == kepOk && (mask & kepCpuSSSE3));
    CHECK(kepGetMaxCacheSizeB(&cache) == kepOk);
    CHECK(KEPI_DECODE_HUFFMAN_STATE_SIZE == 24);

    memset(raw, 16, sizeof raw);
    CHECK(kepiQuantFwdRawTableInit_JPEG_8u(raw, 50) == kepOk && raw[0] == 16);
    CHECK(kepiQuantFwdRawTableInit_JPEG_8u(raw, 0) == kepErrArgRange);
    fwd = (Kep16u*)kepMalloc(64 * sizeof(Kep16u));
    CHECK(fwd != NULL);
    if (fwd) {
        CHECK(kepiQuantFwdTableInit_JPEG_8u16u(raw, fwd) == kepOk && fwd[0] == 2048);
        for (i = 0; i < 64; ++i) block[i] = (Kep16s)(i * 16 - 512);
        CHECK(kepiQuantFwd8x8_JPEG_16s_C1I(block, fwd) == kepOk);
        CHECK(block[0] == -32 && block[63] == 31);
        kepFree(fwd);
    }
    CHECK(kepiQuantFwd8x8_JPEG_16s_C1I(NULL, NULL) == kepErrNullPtr);
    if (failures == 0) printf("C API: all checks passed (%s)\n", v->Name);
    return failures == 0 ? 0 : 1;
}
