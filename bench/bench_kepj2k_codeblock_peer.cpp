// OpenJPEG's whole lossless decode and encode (library API, one thread, in memory) of the image
// whose code-blocks the J2kCodeBlock benchmarks code: one grey component, 5 levels of the 5/3
// wavelet, 64x64 code-blocks, one layer. OpenJPEG's time is mostly its tier-1 code-block coder;
// the rest (wavelet, packets) is what our figure leaves out, so the coef/s of the two are
// comparable as an upper bound on how far our coder is from its tier-1.
//
//   build/bench/kep_bench --benchmark_filter='J2kCodeBlock(Decode|Encode)$|OpenJpegCodeBlockImage'

#include <benchmark/benchmark.h>
#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "bench_j2k_image.h"

namespace {

struct Memory {
    std::vector<uint8_t> bytes;
    size_t pos = 0;
};

OPJ_SIZE_T readMem(void* buf, OPJ_SIZE_T n, void* user) {
    auto* m = static_cast<Memory*>(user);
    if (m->pos >= m->bytes.size()) return static_cast<OPJ_SIZE_T>(-1);
    const size_t k = std::min(n, m->bytes.size() - m->pos);
    std::memcpy(buf, m->bytes.data() + m->pos, k);
    m->pos += k;
    return k;
}
OPJ_SIZE_T writeMem(void* buf, OPJ_SIZE_T n, void* user) {
    auto* m = static_cast<Memory*>(user);
    if (m->bytes.size() < m->pos + n) m->bytes.resize(m->pos + n);
    std::memcpy(m->bytes.data() + m->pos, buf, n);
    m->pos += n;
    return n;
}
OPJ_OFF_T skipMem(OPJ_OFF_T n, void* user) {
    auto* m = static_cast<Memory*>(user);
    m->pos = static_cast<size_t>(static_cast<OPJ_OFF_T>(m->pos) + n);
    return n;
}
OPJ_BOOL seekMem(OPJ_OFF_T n, void* user) {
    static_cast<Memory*>(user)->pos = static_cast<size_t>(n);
    return OPJ_TRUE;
}

opj_stream_t* streamOf(Memory* m, bool input) {
    opj_stream_t* s = opj_stream_create(1 << 16, input ? OPJ_TRUE : OPJ_FALSE);
    opj_stream_set_user_data(s, m, nullptr);
    opj_stream_set_user_data_length(s, m->bytes.size());
    opj_stream_set_read_function(s, readMem);
    opj_stream_set_write_function(s, writeMem);
    opj_stream_set_skip_function(s, skipMem);
    opj_stream_set_seek_function(s, seekMem);
    return s;
}

opj_image_t* greyImage(const std::vector<int>& px) {
    opj_image_cmptparm_t cp{};
    cp.dx = cp.dy = 1;
    cp.w = cp.h = kJ2kBenchSize;
    cp.prec = 8;
    opj_image_t* img = opj_image_create(1, &cp, OPJ_CLRSPC_GRAY);
    img->x1 = img->y1 = kJ2kBenchSize;
    for (size_t i = 0; i < px.size(); ++i) img->comps[0].data[i] = px[i] + 128;
    return img;
}

// Lossless, 6 resolutions (5 levels), 64x64 code-blocks, one layer: OpenJPEG's defaults.
Memory encodeOnce(opj_image_t* img) {
    opj_cparameters_t p;
    opj_set_default_encoder_parameters(&p);
    p.tcp_numlayers = 1;
    p.tcp_rates[0] = 0;
    p.cp_disto_alloc = 1;
    opj_codec_t* c = opj_create_compress(OPJ_CODEC_J2K);
    opj_setup_encoder(c, &p, img);
    Memory m;
    opj_stream_t* s = streamOf(&m, false);
    opj_start_compress(c, img, s);
    opj_encode(c, s);
    opj_end_compress(c, s);
    opj_stream_destroy(s);
    opj_destroy_codec(c);
    return m;
}

void OpenJpegCodeBlockImageDecode(benchmark::State& state) {
    opj_image_t* src = greyImage(j2kBenchImage());
    Memory coded = encodeOnce(src);
    opj_image_destroy(src);
    for (auto _ : state) {
        coded.pos = 0;
        opj_dparameters_t p;
        opj_set_default_decoder_parameters(&p);
        opj_codec_t* c = opj_create_decompress(OPJ_CODEC_J2K);
        opj_setup_decoder(c, &p);
        opj_codec_set_threads(c, 0);  // decode in this thread
        opj_stream_t* s = streamOf(&coded, true);
        opj_image_t* img = nullptr;
        if (!opj_read_header(s, c, &img) || !opj_decode(c, s, img)) state.SkipWithError("OpenJPEG decode failed");
        benchmark::DoNotOptimize(img->comps[0].data);
        opj_image_destroy(img);
        opj_stream_destroy(s);
        opj_destroy_codec(c);
    }
    state.counters["coef/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kJ2kBenchSize * kJ2kBenchSize,
                                                  benchmark::Counter::kIsRate);
    state.counters["bpp"] = static_cast<double>(coded.bytes.size()) * 8 / (kJ2kBenchSize * kJ2kBenchSize);
}

void OpenJpegCodeBlockImageEncode(benchmark::State& state) {
    // A fresh image each time (OpenJPEG's encoder may not take the same image twice); the copy
    // costs well under 1% of the encode.
    const std::vector<int> px = j2kBenchImage();
    for (auto _ : state) {
        opj_image_t* img = greyImage(px);
        benchmark::DoNotOptimize(encodeOnce(img).bytes.data());
        opj_image_destroy(img);
    }
    state.counters["coef/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kJ2kBenchSize * kJ2kBenchSize,
                                                  benchmark::Counter::kIsRate);
}

BENCHMARK(OpenJpegCodeBlockImageDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenJpegCodeBlockImageEncode)->Unit(benchmark::kMillisecond);

}  // namespace
