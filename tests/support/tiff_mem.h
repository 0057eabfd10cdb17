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

inline File& fileOf(thandle_t h) { return *static_cast<File*>(h); }

inline TIFF* open(File& f, const char* mode) {
    f.pos = 0;
    TIFFSetWarningHandler(nullptr);
    auto read = [](thandle_t h, tdata_t buf, tsize_t n) -> tsize_t {
        File& f = fileOf(h);
        const size_t got = std::min<size_t>(static_cast<size_t>(n), f.pos < f.data.size() ? f.data.size() - f.pos : 0);
        std::memcpy(buf, f.data.data() + f.pos, got);
        f.pos += got;
        return static_cast<tsize_t>(got);
    };
    auto write = [](thandle_t h, tdata_t buf, tsize_t n) -> tsize_t {
        File& f = fileOf(h);
        f.data.resize(std::max<size_t>(f.data.size(), f.pos + static_cast<size_t>(n)));
        std::memcpy(f.data.data() + f.pos, buf, static_cast<size_t>(n));
        f.pos += static_cast<toff_t>(n);
        return n;
    };
    auto seek = [](thandle_t h, toff_t off, int whence) -> toff_t {
        File& f = fileOf(h);
        return f.pos = (whence == SEEK_SET ? 0 : whence == SEEK_CUR ? f.pos : f.data.size()) + off;
    };
    auto close = [](thandle_t) { return 0; };
    auto size = [](thandle_t h) -> toff_t { return fileOf(h).data.size(); };
    auto map = [](thandle_t, tdata_t*, toff_t*) { return 0; };
    auto unmap = [](thandle_t, tdata_t, toff_t) {};
    return TIFFClientOpen("memory", mode, &f, read, write, seek, close, size, map, unmap);
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
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, rows);
    void* const data = const_cast<uint8_t*>(coded ? coded->data() : pixels);
    const tmsize_t n = coded ? TIFFWriteRawStrip(t, 0, data, static_cast<tmsize_t>(coded->size()))
                             : TIFFWriteEncodedStrip(t, 0, data, static_cast<tmsize_t>(width) * rows);
    TIFFClose(t);
    return n >= 0;
}

// Strip 0 decoded by libtiff (raw = false) or as stored (raw = true); empty on failure.
inline std::vector<uint8_t> read(File& f, bool raw) {
    TIFF* t = open(f, "r");
    if (!t) return {};
    uint64_t* counts = nullptr;
    TIFFGetField(t, TIFFTAG_STRIPBYTECOUNTS, &counts);
    std::vector<uint8_t> out(static_cast<size_t>(raw ? (counts ? counts[0] : 0) : TIFFStripSize(t)));
    const tmsize_t n = raw ? TIFFReadRawStrip(t, 0, out.data(), static_cast<tmsize_t>(out.size()))
                           : TIFFReadEncodedStrip(t, 0, out.data(), static_cast<tmsize_t>(out.size()));
    TIFFClose(t);
    if (n < 0) out.clear();
    return out;
}

}  // namespace tiffmem

#endif  // TIFF_MEM_H
