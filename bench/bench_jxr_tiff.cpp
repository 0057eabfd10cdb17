// Photo core transform and PackBits.
//
// PCT: 16x16 macroblocks (16 blocks of 4x4) per second, the SSSE3 kernel beside the plain C
// reference and the export; a pool of 64 macroblocks that stays in L1.
// PackBits: a strip of 128 rows of 2048 bytes, photographic or synthetic (runs and literals),
// encoded and decoded row by row by the exports, and by libtiff's PackBits codec through an
// in-memory TIFF kept open (TIFFWriteEncodedStrip / TIFFReadEncodedStrip of strip 0), on the
// same pixels and, for decoding, the same coded bytes; bytes_per_second counts uncompressed
// bytes. libtiff decodes from a mapped file (no copy of the coded strip, as when it reads a file
// from disk); the _copied variants read the strip through the client read procedure first. The
// _strip variants decode the whole strip in one call of the export, the _scanline ones let
// libtiff decode row by row. PackBitsDecodePaired runs all four decoders in every iteration and
// prints the median speed ratios at the end.
//
//   build/bench/kep_bench --benchmark_filter='PCT|PackBits'

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench_median.h"
#include "kepcheck_data.h"
#include "kepjx1.h"
#include "pct.h"
#include "tiff_mem.h"
#include "tiff_rows.h"

namespace {

constexpr int kMacroblocks = 64;

template <typename T>
void pct(benchmark::State& state, void (*kernel)(T*, Kep32u, int, int)) {
    kepcheck::Rng rng(1);
    std::vector<T> pool(256 * kMacroblocks);
    for (T& v : pool) v = static_cast<T>(rng.range(-2048, 2047));
    for (auto _ : state) {
        for (int m = 0; m < kMacroblocks; ++m) kernel(pool.data() + 256 * m, 16 * sizeof(T), 4, 4);
        benchmark::ClobberMemory();
    }
    state.counters["macroblocks/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kMacroblocks, benchmark::Counter::kIsRate);
}

void PCTFwd16x16_16s_c(benchmark::State& s) { pct<Kep16s>(s, ownPCTFwd_16s_c); }
void PCTFwd16x16_16s_ssse3(benchmark::State& s) { pct<Kep16s>(s, ownPCTFwd_16s_ssse3); }
void PCTInv16x16_16s_c(benchmark::State& s) { pct<Kep16s>(s, ownPCTInv_16s_c); }
void PCTInv16x16_16s_ssse3(benchmark::State& s) { pct<Kep16s>(s, ownPCTInv_16s_ssse3); }
void PCTFwd16x16_32s_c(benchmark::State& s) { pct<Kep32s>(s, ownPCTFwd_32s_c); }
void PCTFwd16x16_32s_ssse3(benchmark::State& s) { pct<Kep32s>(s, ownPCTFwd_32s_ssse3); }
void PCTInv16x16_32s_c(benchmark::State& s) { pct<Kep32s>(s, ownPCTInv_32s_c); }
void PCTInv16x16_32s_ssse3(benchmark::State& s) { pct<Kep32s>(s, ownPCTInv_32s_ssse3); }
void PCTFwd16x16_32f_c(benchmark::State& s) { pct<Kep32f>(s, ownPCTFwd_32f_c); }
void PCTFwd16x16_32f_ssse3(benchmark::State& s) { pct<Kep32f>(s, ownPCTFwd_32f_ssse3); }
void PCTFwd16x16_16s_export(benchmark::State& s) {
    pct<Kep16s>(s, [](Kep16s* p, Kep32u step, int, int) { kepiPCTFwd16x16_JPEGXR_16s_C1IR(p, step); });
}
BENCHMARK(PCTFwd16x16_16s_c);
BENCHMARK(PCTFwd16x16_16s_ssse3);
BENCHMARK(PCTFwd16x16_16s_export);
BENCHMARK(PCTInv16x16_16s_c);
BENCHMARK(PCTInv16x16_16s_ssse3);
BENCHMARK(PCTFwd16x16_32s_c);
BENCHMARK(PCTFwd16x16_32s_ssse3);
BENCHMARK(PCTInv16x16_32s_c);
BENCHMARK(PCTInv16x16_32s_ssse3);
BENCHMARK(PCTFwd16x16_32f_c);
BENCHMARK(PCTFwd16x16_32f_ssse3);

// ---- PackBits ------------------------------------------------------------------------------

constexpr int kWidth = 2048, kRows = 128;

std::vector<uint8_t> strip(bool photographic) {
    kepcheck::Rng rng(7);
    std::vector<uint8_t> pixels;
    for (int r = 0; r < kRows; ++r) {
        const auto row = photographic ? tiffrows::photographic(rng, kWidth, r) : tiffrows::synthetic(rng, kWidth);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

void bytes(benchmark::State& state) { state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kRows); }

void encodeOurs(benchmark::State& state, bool photographic) {
    const auto pixels = strip(photographic);
    std::vector<uint8_t> out(pixels.size() * 2);
    for (auto _ : state) {
        int pos = 0;
        for (int r = 0; r < kRows; ++r)
            kepiPackBitsRow_TIFF_8u_C1(pixels.data() + r * kWidth, kWidth, out.data(), &pos, static_cast<int>(out.size()));
        benchmark::DoNotOptimize(pos);
        benchmark::ClobberMemory();
    }
    bytes(state);
}

void encodeLibtiff(benchmark::State& state, bool photographic) {
    const auto pixels = strip(photographic);
    tiffmem::File f;
    if (!tiffmem::write(f, kWidth, kRows, pixels.data(), nullptr)) state.SkipWithError("libtiff write");
    TIFF* t = tiffmem::open(f, "r+");
    if (!t) state.SkipWithError("libtiff open");
    for (auto _ : state) {
        // Rewrites strip 0 in place (the code has the same length every time).
        benchmark::DoNotOptimize(TIFFWriteEncodedStrip(t, 0, const_cast<uint8_t*>(pixels.data()), static_cast<tmsize_t>(pixels.size())));
    }
    if (t) TIFFClose(t);
    bytes(state);
}

std::vector<uint8_t> coded(const std::vector<uint8_t>& pixels) {
    std::vector<uint8_t> out(pixels.size() * 2);
    int pos = 0;
    for (int r = 0; r < kRows; ++r)
        kepiPackBitsRow_TIFF_8u_C1(pixels.data() + r * kWidth, kWidth, out.data(), &pos, static_cast<int>(out.size()));
    out.resize(static_cast<size_t>(pos));
    return out;
}

// One decode of the coded strip by the export: row by row, as a reader that hands out scanlines
// calls it, or the whole strip in one call, as libtiff's strip read decodes it (the rows' runs
// follow one another, so the strip is one run sequence that one call with its length decodes).
void exportDecode(const uint8_t* src, int len, uint8_t* rows, bool wholeStrip) {
    int pos = 0;
    if (wholeStrip) {
        kepiUnpackBitsRow_TIFF_8u_C1(src, &pos, len, rows, kWidth * kRows);
    } else {
        for (int r = 0; r < kRows; ++r) kepiUnpackBitsRow_TIFF_8u_C1(src, &pos, len, rows + r * kWidth, kWidth);
    }
    benchmark::ClobberMemory();
}

struct OurDecode {
    std::vector<uint8_t> src, rows;
    bool wholeStrip;
    OurDecode(bool photographic, bool whole)
        : src(coded(strip(photographic))), rows(static_cast<size_t>(kWidth) * kRows), wholeStrip(whole) {}
    void run() { exportDecode(src.data(), static_cast<int>(src.size()), rows.data(), wholeStrip); }
};

void decodeOurs(benchmark::State& state, bool photographic, bool wholeStrip) {
    OurDecode d(photographic, wholeStrip);
    for (auto _ : state) d.run();
    bytes(state);
}

// libtiff reading from a file it may map, as it does by default for a file opened for reading:
// the coded strip is then decoded where it lies. (Through the client read procedure alone,
// TIFFReadEncodedStrip first copies the whole coded strip into its own buffer, a cost a reader of
// a real file does not pay; the _copied variants keep that path for comparison.)
TIFF* openMapped(tiffmem::File& f) {
    f.pos = 0;
    auto read = [](thandle_t h, tdata_t buf, tsize_t n) -> tsize_t {
        tiffmem::File& f = tiffmem::fileOf(h);
        const size_t got = std::min<size_t>(static_cast<size_t>(n), f.pos < f.data.size() ? f.data.size() - f.pos : 0);
        std::memcpy(buf, f.data.data() + f.pos, got);
        f.pos += got;
        return static_cast<tsize_t>(got);
    };
    auto write = [](thandle_t, tdata_t, tsize_t) -> tsize_t { return -1; };
    auto seek = [](thandle_t h, toff_t off, int whence) -> toff_t {
        tiffmem::File& f = tiffmem::fileOf(h);
        return f.pos = (whence == SEEK_SET ? 0 : whence == SEEK_CUR ? f.pos : f.data.size()) + off;
    };
    auto close = [](thandle_t) { return 0; };
    auto size = [](thandle_t h) -> toff_t { return tiffmem::fileOf(h).data.size(); };
    auto map = [](thandle_t h, tdata_t* base, toff_t* n) {
        tiffmem::File& f = tiffmem::fileOf(h);
        *base = f.data.data();
        *n = f.data.size();
        return 1;
    };
    auto unmap = [](thandle_t, tdata_t, toff_t) {};
    return TIFFClientOpen("memory", "r", &f, read, write, seek, close, size, map, unmap);
}

// One decode of the same coded strip by libtiff: the strip through TIFFReadEncodedStrip, or row
// by row through TIFFReadScanline (libtiff then decodes one row per call, as the row-by-row
// export does).
void libtiffDecode(TIFF* t, uint8_t* rows, bool scanlines) {
    if (scanlines) {
        for (int r = 0; r < kRows; ++r) benchmark::DoNotOptimize(TIFFReadScanline(t, rows + r * kWidth, static_cast<uint32_t>(r), 0));
    } else {
        benchmark::DoNotOptimize(TIFFReadEncodedStrip(t, 0, rows, static_cast<tmsize_t>(kWidth) * kRows));
    }
    benchmark::ClobberMemory();
}

struct LibtiffDecode {
    tiffmem::File f;
    TIFF* t = nullptr;
    std::vector<uint8_t> rows;
    bool scanlines;
    LibtiffDecode(bool photographic, bool mapped, bool byScanline)
        : rows(static_cast<size_t>(kWidth) * kRows), scanlines(byScanline) {
        const auto src = coded(strip(photographic));
        if (tiffmem::write(f, kWidth, kRows, nullptr, &src)) t = mapped ? openMapped(f) : tiffmem::open(f, "r");
    }
    LibtiffDecode(const LibtiffDecode&) = delete;
    LibtiffDecode& operator=(const LibtiffDecode&) = delete;
    ~LibtiffDecode() {
        if (t) TIFFClose(t);
    }
    void run() { libtiffDecode(t, rows.data(), scanlines); }
};

void decodeLibtiff(benchmark::State& state, bool photographic, bool mapped, bool scanlines = false) {
    LibtiffDecode d(photographic, mapped, scanlines);
    if (!d.t) {
        state.SkipWithError("libtiff could not write or open the strip");
        return;
    }
    for (auto _ : state) d.run();
    bytes(state);
}

// The four decoders in every iteration, in an order that rotates, each timed on its own: the
// speed ratios libtiff time / our time of one iteration, whose medians are printed at the end.
// On a shared machine whose speed drifts from minute to minute, this compares the contenders
// under the same load, which separately timed runs do not. All four read the same coded bytes
// (the strip where it lies in libtiff's mapped file) into the same rows, so that each finds the
// caches as the one before it left them.
struct PairedSummary {
    MedianMap r;
    ~PairedSummary() {
        if (r.samples.empty()) return;
        std::printf("\nPackBits decode, paired (speed ratio = libtiff time / our time, median over iterations)\n");
        for (const char* rows : {"photo", "synthetic"}) {
            const std::string k = rows;
            if (!r.count(k + "_row_strip")) continue;
            std::printf("%-10s ours row by row vs libtiff strip %.2f, vs libtiff row by row %.2f; ours strip vs libtiff strip %.2f (%zu iterations)\n",
                        rows, r[k + "_row_strip"], r[k + "_row_row"], r[k + "_strip_strip"], r.samples.at(k + "_row_strip").size());
        }
    }
} pairedSummary;

void decodePaired(benchmark::State& state, bool photographic) {
    const auto src = coded(strip(photographic));
    tiffmem::File f;
    TIFF* byStrip = tiffmem::write(f, kWidth, kRows, nullptr, &src) ? openMapped(f) : nullptr;
    TIFF* byRow = byStrip ? openMapped(f) : nullptr;
    uint64_t* offsets = nullptr;
    if (!byStrip || !byRow || !TIFFGetField(byStrip, TIFFTAG_STRIPOFFSETS, &offsets)) {
        state.SkipWithError("libtiff could not write or open the strip");
        if (byStrip) TIFFClose(byStrip);
        if (byRow) TIFFClose(byRow);
        return;
    }
    const uint8_t* codedStrip = f.data.data() + offsets[0];
    const int codedLen = static_cast<int>(src.size());
    std::vector<uint8_t> rows(static_cast<size_t>(kWidth) * kRows);
    auto run = [&](int which) {
        if (which < 2) exportDecode(codedStrip, codedLen, rows.data(), which == 1);
        else libtiffDecode(which == 2 ? byStrip : byRow, rows.data(), which == 3);
    };
    const std::string key = photographic ? "photo" : "synthetic";
    int iteration = 0;
    for (auto _ : state) {
        double sec[4];
        for (int k = 0; k < 4; ++k) {
            const int which = (k + iteration) % 4;
            const auto t0 = std::chrono::steady_clock::now();
            run(which);
            sec[which] = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        }
        ++iteration;
        pairedSummary.r.add(key + "_row_strip", sec[2] / sec[0]);
        pairedSummary.r.add(key + "_row_row", sec[3] / sec[0]);
        pairedSummary.r.add(key + "_strip_strip", sec[2] / sec[1]);
    }
    TIFFClose(byStrip);
    TIFFClose(byRow);
}

void PackBitsEncode_photo_kep(benchmark::State& s) { encodeOurs(s, true); }
void PackBitsEncode_photo_libtiff(benchmark::State& s) { encodeLibtiff(s, true); }
void PackBitsEncode_synthetic_kep(benchmark::State& s) { encodeOurs(s, false); }
void PackBitsEncode_synthetic_libtiff(benchmark::State& s) { encodeLibtiff(s, false); }
void PackBitsDecode_photo_kep(benchmark::State& s) { decodeOurs(s, true, false); }
void PackBitsDecode_photo_kep_strip(benchmark::State& s) { decodeOurs(s, true, true); }
void PackBitsDecode_photo_libtiff_scanline(benchmark::State& s) { decodeLibtiff(s, true, true, true); }
void PackBitsDecode_photo_libtiff(benchmark::State& s) { decodeLibtiff(s, true, true); }
void PackBitsDecode_photo_libtiff_copied(benchmark::State& s) { decodeLibtiff(s, true, false); }
void PackBitsDecode_synthetic_kep(benchmark::State& s) { decodeOurs(s, false, false); }
void PackBitsDecode_synthetic_kep_strip(benchmark::State& s) { decodeOurs(s, false, true); }
void PackBitsDecode_synthetic_libtiff_scanline(benchmark::State& s) { decodeLibtiff(s, false, true, true); }
void PackBitsDecode_synthetic_libtiff(benchmark::State& s) { decodeLibtiff(s, false, true); }
void PackBitsDecode_synthetic_libtiff_copied(benchmark::State& s) { decodeLibtiff(s, false, false); }
void PackBitsDecodePaired_photo(benchmark::State& s) { decodePaired(s, true); }
void PackBitsDecodePaired_synthetic(benchmark::State& s) { decodePaired(s, false); }
BENCHMARK(PackBitsEncode_photo_kep);
BENCHMARK(PackBitsEncode_photo_libtiff);
BENCHMARK(PackBitsEncode_synthetic_kep);
BENCHMARK(PackBitsEncode_synthetic_libtiff);
BENCHMARK(PackBitsDecode_photo_kep);
BENCHMARK(PackBitsDecode_photo_libtiff);
BENCHMARK(PackBitsDecode_photo_libtiff_copied);
BENCHMARK(PackBitsDecode_photo_kep_strip);
BENCHMARK(PackBitsDecode_photo_libtiff_scanline);
BENCHMARK(PackBitsDecode_synthetic_kep);
BENCHMARK(PackBitsDecode_synthetic_libtiff);
BENCHMARK(PackBitsDecode_synthetic_libtiff_copied);
BENCHMARK(PackBitsDecode_synthetic_kep_strip);
BENCHMARK(PackBitsDecode_synthetic_libtiff_scanline);
BENCHMARK(PackBitsDecodePaired_photo);
BENCHMARK(PackBitsDecodePaired_synthetic);

}  // namespace
