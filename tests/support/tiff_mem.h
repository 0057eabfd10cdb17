// In-memory TIFF files through libtiff's client I/O: one-strip 8-bit greyscale PackBits images,
// written from pixels (libtiff encodes) or from a raw coded strip, and read back either way.
// Shared by the interop tests and the benchmarks.
#ifndef TIFF_MEM_H
#define TIFF_MEM_H

#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tiffmem {

struct File {
    std::vector<uint8_t> data;
    toff_t pos = 0;
};

inline tsize_t readProc(thandle_t h, tdata_t buf, tsize_t n) {
    File& f = *static_cast<File*>(h);
    const toff_t avail = f.pos < f.data.size() ? f.data.size() - f.pos : 0;
    const tsize_t got = static_cast<tsize_t>(std::min<toff_t>(avail, static_cast<toff_t>(n)));
    std::memcpy(buf, f.data.data() + f.pos, static_cast<size_t>(got));
    f.pos += static_cast<toff_t>(got);
    return got;
}
inline tsize_t writeProc(thandle_t h, tdata_t buf, tsize_t n) {
    File& f = *static_cast<File*>(h);
    if (f.pos + static_cast<toff_t>(n) > f.data.size()) f.data.resize(f.pos + static_cast<toff_t>(n));
    std::memcpy(f.data.data() + f.pos, buf, static_cast<size_t>(n));
    f.pos += static_cast<toff_t>(n);
    return n;
}
inline toff_t seekProc(thandle_t h, toff_t off, int whence) {
    File& f = *static_cast<File*>(h);
    const toff_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? f.pos : f.data.size();
    f.pos = base + off;
    return f.pos;
}
inline int closeProc(thandle_t) { return 0; }
inline toff_t sizeProc(thandle_t h) { return static_cast<File*>(h)->data.size(); }
inline int mapProc(thandle_t, tdata_t*, toff_t*) { return 0; }
inline void unmapProc(thandle_t, tdata_t, toff_t) {}

inline TIFF* open(File& f, const char* mode) {
    f.pos = 0;
    TIFFSetWarningHandler(nullptr);
    return TIFFClientOpen("memory", mode, &f, readProc, writeProc, seekProc, closeProc, sizeProc, mapProc, unmapProc);
}

// Writes a width x rows image as one PackBits strip: libtiff encodes `pixels`, or, when `coded`
// is given, its bytes are stored as the strip as they are.
inline bool write(File& f, int width, int rows, const uint8_t* pixels, const std::vector<uint8_t>* coded) {
    f.data.clear();
    TIFF* t = open(f, "w");
    if (!t) return false;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, rows);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, rows);
    const tmsize_t n = coded ? TIFFWriteRawStrip(t, 0, const_cast<uint8_t*>(coded->data()), static_cast<tmsize_t>(coded->size()))
                             : TIFFWriteEncodedStrip(t, 0, const_cast<uint8_t*>(pixels), static_cast<tmsize_t>(width) * rows);
    TIFFClose(t);
    return n >= 0;
}

// The decoded pixels of strip 0 (libtiff's decoder), empty on failure.
inline std::vector<uint8_t> readPixels(File& f) {
    TIFF* t = open(f, "r");
    if (!t) return {};
    std::vector<uint8_t> out(static_cast<size_t>(TIFFStripSize(t)));
    const tmsize_t n = TIFFReadEncodedStrip(t, 0, out.data(), static_cast<tmsize_t>(out.size()));
    TIFFClose(t);
    if (n < 0) out.clear();
    return out;
}

// The coded bytes of strip 0 as stored, empty on failure.
inline std::vector<uint8_t> readCoded(File& f) {
    TIFF* t = open(f, "r");
    if (!t) return {};
    uint64_t* counts = nullptr;
    TIFFGetField(t, TIFFTAG_STRIPBYTECOUNTS, &counts);
    std::vector<uint8_t> out(counts ? static_cast<size_t>(counts[0]) : 0);
    const tmsize_t n = TIFFReadRawStrip(t, 0, out.data(), static_cast<tmsize_t>(out.size()));
    TIFFClose(t);
    if (n < 0) out.clear();
    return out;
}

}  // namespace tiffmem

#endif  // TIFF_MEM_H
