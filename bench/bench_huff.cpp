// Baseline Huffman coding of a whole 2.3-megapixel image (1920x1200, 4:2:0, example tables) at
// quality 75 and 95, against libjpeg-turbo on the same file. Compare the "s/image" counters of
// the pairs.
//
// What each side measures, per iteration:
// - HuffDecode_ours: every block of the scan decoded through the export into one preallocated
//   coefficient buffer (state Init, last-DC values, the tables of each block looked up once
//   beforehand, as a codec would per component). Entropy decoding only.
// - HuffDecode_libjpeg: jpeg_create_decompress, jpeg_mem_src, jpeg_read_header and
//   jpeg_read_coefficients of the same file (which decodes every block into whole-image
//   coefficient arrays it allocates), then jpeg_finish_decompress and jpeg_destroy_decompress:
//   besides the entropy decoding, the marker parsing, the allocation and zeroing of those arrays
//   and the teardown.
// - HuffEncode_ours: every block encoded through the export into a preallocated buffer, then
//   the flush. Entropy coding only.
// - HuffEncode_libjpeg: jpeg_create_compress, jpeg_mem_dest (reusing the buffer of the previous
//   iteration), jpeg_copy_critical_parameters, jpeg_write_coefficients of the coefficients read
//   from the file, jpeg_finish_compress and jpeg_destroy_compress: besides the entropy coding,
//   writing the markers and copying the blocks out of its coefficient arrays.
// The careful path alone is measured too.
//
//   build/bench/kep_bench --benchmark_filter=Huff --benchmark_min_time=0.5

#include <benchmark/benchmark.h>

#include <map>

#include "huff_jpeg.h"
#include "bench_jpeg_peer.h"

namespace {

struct Image {
    hufftest::JpegFile file;
    std::vector<Kep8u> scan;  // the entropy-coded bytes
    KepiEncodeHuffmanSpec encDc[4], encAc[4];
    KepiDecodeHuffmanSpec decDc[4], decAc[4];
    // Components' coefficients and blocks in coding order.
    // The tables of each block looked up once, as a codec would per component.
    struct Block {
        int comp;
        Kep16s* coef;
        const KepiEncodeHuffmanSpec *encDc, *encAc;
        const KepiDecodeHuffmanSpec *decDc, *decAc;
    };
    std::vector<Block> order;
};

Image& image(int quality) {
    static std::map<int, Image> cache;
    auto it = cache.find(quality);
    if (it != cache.end()) return it->second;
    const hufftest::MakeOptions o = benchjpeg::imageOptions(quality);
    Image& im = cache[quality];
    im.file = hufftest::readJpeg(hufftest::makeJpeg(o));
    im.scan.assign(im.file.bytes.begin() + static_cast<long>(im.file.scanStart), im.file.bytes.end());
    for (int t = 0; t < 4; ++t) {
        if (im.file.dc[t].count()) im.encDc[t] = hufftest::encSpec(im.file.dc[t]), im.decDc[t] = hufftest::decSpec(im.file.dc[t]);
        if (im.file.ac[t].count()) im.encAc[t] = hufftest::encSpec(im.file.ac[t]), im.decAc[t] = hufftest::decSpec(im.file.ac[t]);
    }
    hufftest::forEachBlock(im.file, [&](int c, int bx, int by, int) {
        const auto& comp = im.file.comps[static_cast<size_t>(c)];
        im.order.push_back({c, im.file.block(c, bx, by), &im.encDc[comp.dcTable], &im.encAc[comp.acTable],
                            &im.decDc[comp.dcTable], &im.decAc[comp.acTable]});
    });
    return im;
}

using benchjpeg::perImage;

void HuffDecode_ours(benchmark::State& state) {
    Image& im = image(static_cast<int>(state.range(0)));
    std::vector<Kep16s> out(im.order.size() * 64);
    const int len = static_cast<int>(im.scan.size());
    for (auto _ : state) {
        KepiDecodeHuffmanState st;
        kepiDecodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0, marker = 0;
        Kep16s lastDC[4] = {};
        Kep16s* dst = out.data();
        for (const Image::Block& b : im.order) {
            if (kepiDecodeHuffman8x8_JPEG_1u16s_C1(im.scan.data(), len, &pos, dst, &lastDC[b.comp], &marker, b.decDc,
                                                   b.decAc, &st) != kepOk)
                state.SkipWithError("decode failed");
            dst += 64;
        }
        benchmark::DoNotOptimize(out.data());
    }
    perImage(state);
}

void HuffDecode_careful(benchmark::State& state) {
    Image& im = image(static_cast<int>(state.range(0)));
    std::vector<Kep16s> out(im.order.size() * 64);
    const int len = static_cast<int>(im.scan.size());
    for (auto _ : state) {
        KepiDecodeHuffmanState st = {};
        int pos = 0, marker = 0;
        Kep16s lastDC[4] = {};
        const OwnHuffSrc src = {im.scan.data(), len, &pos, &marker};
        Kep16s* dst = out.data();
        for (const Image::Block& b : im.order) {
            ownHuffDecodeBlock_careful(src, dst, &lastDC[b.comp], b.decDc, b.decAc, &st);
            dst += 64;
        }
        benchmark::DoNotOptimize(out.data());
    }
    perImage(state);
}

void HuffDecode_libjpeg(benchmark::State& state) {
    benchjpeg::libjpegReadCoefficients(state, image(static_cast<int>(state.range(0))).file.bytes);
}

template <bool careful>
void encodeAll(benchmark::State& state) {
    Image& im = image(static_cast<int>(state.range(0)));
    std::vector<Kep8u> out(im.scan.size() * 2 + 65536);
    const int len = static_cast<int>(out.size());
    for (auto _ : state) {
        KepiEncodeHuffmanState st;
        kepiEncodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0;
        Kep16s lastDC[4] = {};
        const OwnHuffDst dst = {out.data(), len, &pos};
        for (const Image::Block& b : im.order) {
            if (careful)
                ownHuffEncodeBlock_careful(b.coef, dst, &lastDC[b.comp], b.encDc, b.encAc, &st);
            else
                kepiEncodeHuffman8x8_JPEG_16s1u_C1(b.coef, out.data(), len, &pos, &lastDC[b.comp], b.encDc, b.encAc, &st, 0);
        }
        kepiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out.data(), len, &pos, nullptr, nullptr, nullptr, &st, 1);
        benchmark::DoNotOptimize(out.data());
    }
    perImage(state);
}
void HuffEncode_ours(benchmark::State& state) { encodeAll<false>(state); }
void HuffEncode_careful(benchmark::State& state) { encodeAll<true>(state); }

// jpeg_write_coefficients of the coefficients read from the file, into memory.
void HuffEncode_libjpeg(benchmark::State& state) {
    Image& im = image(static_cast<int>(state.range(0)));
    jpeg_decompress_struct d;
    jpeg_error_mgr e;
    jvirt_barray_ptr* arrays = hufftest::readCoefficients(d, e, im.file.bytes);
    unsigned char* mem = nullptr;
    unsigned long size = 0;
    for (auto _ : state) {
        jpeg_compress_struct c;
        jpeg_error_mgr ce;
        c.err = jpeg_std_error(&ce);
        jpeg_create_compress(&c);
        jpeg_mem_dest(&c, &mem, &size);
        jpeg_copy_critical_parameters(&d, &c);
        jpeg_write_coefficients(&c, arrays);
        jpeg_finish_compress(&c);
        jpeg_destroy_compress(&c);
        benchmark::DoNotOptimize(mem);
    }
    std::free(mem);
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    perImage(state);
}

BENCHMARK(HuffDecode_ours)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(HuffDecode_careful)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(HuffDecode_libjpeg)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(HuffEncode_ours)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(HuffEncode_careful)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);
BENCHMARK(HuffEncode_libjpeg)->Arg(75)->Arg(95)->Unit(benchmark::kMillisecond);

}  // namespace
