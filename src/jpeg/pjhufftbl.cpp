// Huffman table specs from DHT lists (T.81 Annex C, F.2.2.3) and optimal lists from symbol counts
// (T.81 Annex K.2).

#include "huff.h"
#include "pjdispatch.h"

namespace {

// HUFFSIZE and HUFFCODE of T.81 Figures C.1 and C.2 for a BITS list.
struct CodeList {
    int n;              // number of codes
    Kep8u size[257];    // length of each code, 0-terminated
    Kep32u code[256];   // each code; for overflowing tables it may exceed its length
};

// Builds the lists; false when the counts add up to more than 256.
bool buildCodeList(const Kep8u* bits, CodeList* cl) {
    int n = 0;
    for (int len = 1; len <= 16; ++len) {
        const int count = bits[len - 1];
        if (n + count > 256) return false;
        for (int i = 0; i < count; ++i) cl->size[n++] = static_cast<Kep8u>(len);
    }
    cl->size[n] = 0;
    cl->n = n;
    Kep32u code = 0;
    int size = cl->size[0];
    for (int k = 0; k < n; ++k) {
        if (cl->size[k] != size) {
            code <<= cl->size[k] - size;
            size = cl->size[k];
        }
        cl->code[k] = code++;
    }
    return true;
}

KepResult encodeSpecInit(const Kep8u* bits, const Kep8u* vals, KepiEncodeHuffmanSpec* spec) {
    CodeList cl;
    if (!buildCodeList(bits, &cl)) return kepErrHuffmanTable;
    // After the last code of each length the next code must still fit in that length: the
    // all-ones code word is reserved (T.81 C.2), and a longer run does not fit at all.
    for (int k = 0; k < cl.n; ++k) {
        const bool lastOfLength = k + 1 == cl.n || cl.size[k + 1] != cl.size[k];
        if (lastOfLength && cl.code[k] + 1 >= (1u << cl.size[k])) return kepErrHuffmanTable;
    }
    memset(spec, 0, sizeof *spec);
    for (int k = 0; k < cl.n; ++k) spec->entry[vals[k]] = cl.code[k] | (static_cast<Kep32u>(cl.size[k]) << 16);
    return kepOk;
}

KepResult decodeSpecInit(const Kep8u* bits, const Kep8u* vals, KepiDecodeHuffmanSpec* spec) {
    CodeList cl;
    if (!buildCodeList(bits, &cl)) return kepErrHuffmanTable;
    // The only overflow the decoder spec rejects: lookahead entries of a short code past index 255.
    for (int k = 0; k < cl.n && cl.size[k] <= 8; ++k)
        if (((cl.code[k] + 1) << (8 - cl.size[k])) > 256) return kepErrHuffmanTable;

    memset(spec, 0, sizeof *spec);
    int k = 0;
    for (int len = 1; len <= 16; ++len) {
        const int count = bits[len - 1];
        if (count == 0) {
            spec->maxcode[len] = 0xFFFF;
            continue;
        }
        spec->valptr[len] = static_cast<Kep16u>(k);
        spec->mincode[len] = static_cast<Kep16u>(cl.code[k]);
        for (int i = 0; i < count; ++i) spec->huffval[k + i] = vals[k + i];  // k + count <= 256
        spec->maxcode[len] = static_cast<Kep16u>(cl.code[k + count - 1]);
        k += count;
    }
    spec->maxcode[17] = 0xFFFF;
    for (int c = 0; c < cl.n && cl.size[c] <= 8; ++c) {
        const int len = cl.size[c];
        const Kep32u first = cl.code[c] << (8 - len);
        for (Kep32u i = 0; i < (1u << (8 - len)); ++i)
            spec->lookahead[first + i] = spec->huffval[c] | (static_cast<Kep32u>(len) << 16);
    }
    return kepOk;
}

template <typename Spec, KepResult (*init)(const Kep8u*, const Kep8u*, Spec*)>
KepResult specInitAlloc(const Kep8u* bits, const Kep8u* vals, Spec** ppSpec) {
    if (!bits || !vals || !ppSpec) return kepErrNullPtr;
    Spec* spec = ownHuffAllocZeroed<Spec>();
    if (!spec) return kepErrNullPtr;
    *ppSpec = spec;  // stored also when the table is rejected: the caller frees it
    return init(bits, vals, spec);
}

}  // namespace

KepResult own_kepiEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) {
    return ownHuffGetSize<KepiEncodeHuffmanSpec>(pSize);
}

KepResult own_kepiEncodeHuffmanSpecInit_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                KepiEncodeHuffmanSpec* pEncHuffSpec) {
    if (!pListBits || !pListVals || !pEncHuffSpec) return kepErrNullPtr;
    return encodeSpecInit(pListBits, pListVals, pEncHuffSpec);
}

KepResult own_kepiEncodeHuffmanSpecInitAlloc_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                     KepiEncodeHuffmanSpec** ppEncHuffSpec) {
    return specInitAlloc<KepiEncodeHuffmanSpec, encodeSpecInit>(pListBits, pListVals, ppEncHuffSpec);
}

KepResult own_kepiEncodeHuffmanSpecFree_JPEG_8u(KepiEncodeHuffmanSpec* pEncHuffSpec) {
    return ownHuffFree(pEncHuffSpec);
}

KepResult own_kepiDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) {
    return ownHuffGetSize<KepiDecodeHuffmanSpec>(pSize);
}

KepResult own_kepiDecodeHuffmanSpecInit_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                KepiDecodeHuffmanSpec* pDecHuffSpec) {
    if (!pListBits || !pListVals || !pDecHuffSpec) return kepErrNullPtr;
    return decodeSpecInit(pListBits, pListVals, pDecHuffSpec);
}

KepResult own_kepiDecodeHuffmanSpecInitAlloc_JPEG_8u(const Kep8u* pListBits, const Kep8u* pListVals,
                                                     KepiDecodeHuffmanSpec** ppDecHuffSpec) {
    return specInitAlloc<KepiDecodeHuffmanSpec, decodeSpecInit>(pListBits, pListVals, ppDecHuffSpec);
}

KepResult own_kepiDecodeHuffmanSpecFree_JPEG_8u(KepiDecodeHuffmanSpec* pDecHuffSpec) {
    return ownHuffFree(pDecHuffSpec);
}

// T.81 K.2 (Figures K.1 to K.4). Tie-breaks: among equal smallest counts the larger symbol wins;
// counts are summed in 64 bits so that large statistics cannot overflow.
KepResult own_kepiEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[257], Kep8u* pListBits, Kep8u* pListVals) {
    if (!pStatistics || !pListBits || !pListVals) return kepErrNullPtr;

    Kep64s freq[257];
    int codesize[257], others[257], bits[33] = {};
    for (int v = 0; v < 257; ++v) {
        freq[v] = pStatistics[v];
        codesize[v] = 0;
        others[v] = -1;
    }
    freq[256] = 1;  // reserved code point: no symbol gets the all-ones code

    for (;;) {
        const Kep64s start = 1000000000;
        int v1 = -1, v2 = -1;
        Kep64s min = start;
        for (int v = 0; v < 257; ++v)
            if (freq[v] != 0 && freq[v] <= min) min = freq[v], v1 = v;
        min = start;
        for (int v = 0; v < 257; ++v)
            if (v != v1 && freq[v] != 0 && freq[v] <= min) min = freq[v], v2 = v;
        if (v1 < 0 || v2 < 0) break;

        freq[v1] += freq[v2];
        freq[v2] = 0;
        int v = v1;
        ++codesize[v];
        while (others[v] >= 0) ++codesize[v = others[v]];
        others[v] = v2;
        v = v2;
        ++codesize[v];
        while (others[v] >= 0) ++codesize[v = others[v]];
    }

    for (int v = 0; v < 257; ++v) {
        if (codesize[v] == 0) continue;
        if (codesize[v] > 32) return kepErrHuffmanTable;
        ++bits[codesize[v]];
    }

    // Figure K.3: move pairs of codes up the tree until no length exceeds 16.
    for (int i = 32; i > 16; --i) {
        while (bits[i] > 0) {
            int j = i - 2;
            while (j > 0 && bits[j] == 0) --j;
            // A complete code has an even number of codes at its longest length and a shorter
            // length in use; lengths from several separate trees (counts above 10^9) need not.
            if (j == 0 || bits[i] < 2) return kepErrHuffmanTable;
            bits[i] -= 2;
            bits[i - 1] += 1;
            bits[j + 1] += 2;
            bits[j] -= 1;
        }
    }
    // Figure K.3, last step: drop the reserved code point from the longest length in use.
    for (int i = 16; i > 0; --i)
        if (bits[i] > 0) {
            --bits[i];
            break;
        }

    for (int i = 1; i <= 16; ++i) pListBits[i - 1] = static_cast<Kep8u>(bits[i]);
    // Figure K.4: symbols by code length before limiting, then by value.
    int k = 0;
    for (int len = 1; len <= 32; ++len)
        for (int v = 0; v < 256; ++v)
            if (codesize[v] == len) pListVals[k++] = static_cast<Kep8u>(v);
    return kepOk;
}
