/*
 * keptypes.h - element types, result codes and shared records of the kep image-codec libraries.
 *
 * Included by kepcore.h (libkepcore) and kepjx1.h (libkepjx1). Compiles as C99 and as C++.
 */
#ifndef KEPTYPES_H
#define KEPTYPES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Symbol visibility: the libraries are built with hidden visibility by default; only the
 * functions declared with KEPAPI are exported. Users need not define anything. */
#if defined(KEP_BUILDING_LIBRARY) && defined(__GNUC__)
#define KEPAPI __attribute__((visibility("default")))
#else
#define KEPAPI
#endif

/* Element types. Primitive names carry them as suffixes: 8u, 16u, 16s, 32s, 32f.
 * "1u" in a name denotes a bit stream: a Kep8u buffer with a length and a byte position. */
typedef uint8_t  Kep8u;
typedef uint16_t Kep16u;
typedef int16_t  Kep16s;
typedef uint32_t Kep32u;
typedef int32_t  Kep32s;
typedef uint64_t Kep64u;
typedef int64_t  Kep64s;
typedef float    Kep32f;

/* Result of every primitive: 0 success, negative error, positive warning (outputs complete). */
typedef int KepResult;

enum {
    kepOk                 = 0,    /* success */
    kepWarnDivByZero      = 6,    /* a divisor was zero; the other outputs are valid */
    kepWarnOddWidth       = 48,   /* odd row width; the last input sample was ignored */
    kepErrCoeffIndex      = -2,   /* a zero run moved the coefficient position past 63 */
    kepErrArgRange        = -5,   /* a numeric argument outside its permitted range */
    kepErrSize            = -6,   /* a size, length or count less than 1 */
    kepErrDataRange       = -7,   /* a value from the data, or a mode selector, outside its set */
    kepErrNullPtr         = -8,   /* a null pointer argument (or plane pointer in an array) */
    kepErrMemAlloc        = -9,   /* an allocation by kepMalloc failed */
    kepErrStep            = -14,  /* a row step less than 1 */
    kepErrContext         = -17,  /* a state object's identifier does not match its type */
    kepErrStreamEnd       = -62,  /* the bit-stream buffer ran out */
    kepErrHuffmanData     = -63,  /* entropy-coded data that cannot be decoded */
    kepErrHuffmanTable    = -64,  /* an invalid Huffman table, or a symbol without a code */
    kepErrCorruptSegment  = -112, /* a JPEG 2000 coding pass met corrupt code-block data */
    kepErrPassIndex       = -113, /* a coding-pass index outside the code-block's passes */
    kepErrPackBitsOverrun = -124, /* a PackBits run does not fit in the source or destination */
    kepErrNoCodeBlock     = -180  /* a progressive code-block decoder used before Attach */
};

/* A region of interest in elements (not bytes); passed by value. */
typedef struct KepiSize {
    int width;
    int height;
} KepiSize;

/* A JPEG 2000 tile rectangle: origin on the reference grid (only its parity matters to the
 * wavelet primitives), then its size. */
typedef struct KepiRect {
    int x;
    int y;
    int width;
    int height;
} KepiRect;

/* The version record returned by kepjGetLibVersion. The strings are constant data of the
 * library and live as long as it is loaded. */
typedef struct KepLibraryVersion {
    int major;
    int minor;
    int majorBuild;
    int build;
    char targetCpu[4];     /* code path: "x1" (SSSE3) or "x2" (SSSE3 + MOVBE), zero-padded */
    const char* Name;
    const char* Version;
    const char* BuildDate;
} KepLibraryVersion;

/* Opaque coding specs and states. They live in caller memory: ask for the size with the
 * matching ...GetBufSize / ...GetStateSize function (or use the constants below), then
 * initialise with ...Init, or let ...InitAlloc allocate with kepMalloc. The layout is the
 * library's and is not part of the interface beyond the sizes. */
typedef struct KepiEncodeHuffmanSpec KepiEncodeHuffmanSpec;   /* encoder Huffman table */
typedef struct KepiDecodeHuffmanSpec KepiDecodeHuffmanSpec;   /* decoder Huffman table */
typedef struct KepiEncodeHuffmanState KepiEncodeHuffmanState; /* encoder bit-stream state */
typedef struct KepiDecodeHuffmanState KepiDecodeHuffmanState; /* decoder bit-stream state */
typedef struct KepiDecodeCBProgrState_JPEG2K KepiDecodeCBProgrState_JPEG2K; /* J2K code-block decoder */
typedef struct KepiEncodeState_JPEG2K KepiEncodeState_JPEG2K; /* J2K code-block encoder */

enum {
    KEPI_ENCODE_HUFFMAN_SPEC_SIZE  = 1024, /* bytes of a KepiEncodeHuffmanSpec */
    KEPI_DECODE_HUFFMAN_SPEC_SIZE  = 1644, /* bytes of a KepiDecodeHuffmanSpec */
    KEPI_ENCODE_HUFFMAN_STATE_SIZE = 1048, /* bytes of a KepiEncodeHuffmanState */
    KEPI_DECODE_HUFFMAN_STATE_SIZE = 24    /* bytes of a KepiDecodeHuffmanState */
};

#ifdef __cplusplus
}
#endif

#endif /* KEPTYPES_H */
