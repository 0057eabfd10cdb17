// Lossless JPEG 2000 encoding of one 12-megapixel RGB image: the kepj2k encoder beside
// OpenJPEG's library (opj_start_compress / opj_encode / opj_end_compress into a memory stream),
// both with 5 levels, 64x64 code-blocks, one layer, RCT + 5/3, on one and on two threads.
// At exit the ratios (ours / OpenJPEG) of the median times over the repetitions are printed.
#include <benchmark/benchmark.h>
#include <openjpeg.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "bench_median.h"
#include "codec.h"
#include "encoder.h"

namespace {

// A photographic-like picture: smooth shading, soft-edged objects, fine texture of varying
// strength and sensor-like noise, so that most code-blocks code many bit planes.
const kepjpeg::Image& photo() {
    static const kepjpeg::Image img = [] {
        kepjpeg::Image im;
        im.width = 4096, im.height = 3072, im.channels = 3;
        im.px8.resize(im.samples());
        std::uint32_t rng = 12345;
        for (int y = 0; y < im.height; ++y)
            for (int x = 0; x < im.width; ++x) {
                const double fx = double(x) / im.width, fy = double(y) / im.height;
                double base = 90 + 60 * std::sin(fx * 5 + fy * 3) + 40 * std::cos(fy * 7 - fx * 2);
                const double dx = fx - 0.6, dy = fy - 0.45, r2 = dx * dx + dy * dy;
                base += 70 / (1 + std::exp((r2 - 0.04) * 400));                     // a soft disc
                const double texture = (12 + 10 * std::sin(fx * 13)) * std::sin(x * 0.37 + std::sin(y * 0.05) * 4) *
                                       std::sin(y * 0.29 + fx * 3);
                for (int c = 0; c < 3; ++c) {
                    rng ^= rng << 13, rng ^= rng >> 17, rng ^= rng << 5;
                    const double noise = double(rng % 9) - 4;
                    const double v = base * (0.8 + 0.15 * c) + texture * (1 - 0.2 * c) + noise + 20 * c * fy;
                    im.px8[(std::size_t(y) * im.width + x) * 3 + c] = std::uint8_t(std::lround(std::fmin(255, std::fmax(0, v))));
                }
            }
        return im;
    }();
    return img;
}

struct Summary {
    MedianMap t;
    std::map<std::string, double> bytes;
    ~Summary() {
        std::printf("\n12.6 MP RGB, lossless, 5 levels, 64x64 blocks (ratio = kepj2k time / OpenJPEG time)\n");
        for (const char* th : {"1", "2"}) {
            const std::string ours = std::string("ours_t") + th, peer = std::string("opj_t") + th;
            if (!t.count(ours) || !t.count(peer)) continue;
            std::printf("encode, %s thread(s): kepj2k %8.1f ms (%zu bytes)   OpenJPEG %8.1f ms (%zu bytes)   ratio %.2f\n", th,
                        1e3 * t[ours], std::size_t(bytes[ours]), 1e3 * t[peer], std::size_t(bytes[peer]), t[ours] / t[peer]);
        }
    }
} summary;

void record(benchmark::State& state, const std::string& key, double seconds, std::size_t size) {
    summary.t.add(key, seconds / double(state.iterations()));
    summary.bytes[key] = double(size);
    state.counters["MP/s"] = benchmark::Counter(12.58 * double(state.iterations()) / seconds);
    state.counters["bytes"] = double(size);
}

void BM_Kepj2kLosslessEncode(benchmark::State& state, int threads, const char* key) {
    kepj2k::EncodeOptions opt;
    opt.threads = threads;
    std::vector<std::uint8_t> out;
    std::string err;
    double secs = 0;
    photo();
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        if (!kepj2k::encode(photo(), opt, out, err)) state.SkipWithError(err.c_str());
        secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    record(state, key, secs, out.size());
}

// OpenJPEG writes through a memory stream that grows as needed.
struct MemStream {
    std::vector<std::uint8_t> data;
    std::size_t pos = 0, end = 0;
    static OPJ_SIZE_T write(void* buf, OPJ_SIZE_T n, void* user) {
        MemStream& m = *static_cast<MemStream*>(user);
        if (m.pos + n > m.data.size()) m.data.resize(std::max(m.pos + n, m.data.size() * 2));
        std::memcpy(m.data.data() + m.pos, buf, n);
        m.pos += n, m.end = std::max(m.end, m.pos);
        return n;
    }
    static OPJ_OFF_T skip(OPJ_OFF_T n, void* user) {
        MemStream& m = *static_cast<MemStream*>(user);
        m.pos += std::size_t(n);
        if (m.pos > m.data.size()) m.data.resize(m.pos);
        m.end = std::max(m.end, m.pos);
        return n;
    }
    static OPJ_BOOL seek(OPJ_OFF_T n, void* user) {
        static_cast<MemStream*>(user)->pos = std::size_t(n);
        return OPJ_TRUE;
    }
};

void BM_OpenJPEGLosslessEncode(benchmark::State& state, int threads, const char* key) {
    const kepjpeg::Image& img = photo();
    // The planar image OpenJPEG takes is made once, outside the timing.
    opj_image_cmptparm_t cp[3];
    std::memset(cp, 0, sizeof cp);
    for (auto& c : cp) c.dx = c.dy = 1, c.w = OPJ_UINT32(img.width), c.h = OPJ_UINT32(img.height), c.prec = 8, c.sgnd = 0;
    opj_image_t* image = opj_image_create(3, cp, OPJ_CLRSPC_SRGB);
    image->x1 = OPJ_UINT32(img.width), image->y1 = OPJ_UINT32(img.height);
    const std::size_t n = std::size_t(img.width) * img.height;
    for (int c = 0; c < 3; ++c)
        for (std::size_t i = 0; i < n; ++i) image->comps[c].data[i] = img.px8[3 * i + std::size_t(c)];
    double secs = 0;
    std::size_t size = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        opj_cparameters_t p;
        opj_set_default_encoder_parameters(&p);
        p.tcp_numlayers = 1, p.tcp_rates[0] = 0, p.cp_disto_alloc = 1;
        p.numresolution = 6, p.cblockw_init = p.cblockh_init = 64, p.tcp_mct = 1, p.irreversible = 0;
        opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
        MemStream mem;
        opj_stream_t* s = opj_stream_create(1 << 20, OPJ_FALSE);
        opj_stream_set_user_data(s, &mem, nullptr);
        opj_stream_set_write_function(s, MemStream::write);
        opj_stream_set_skip_function(s, MemStream::skip);
        opj_stream_set_seek_function(s, MemStream::seek);
        const bool ok = opj_setup_encoder(codec, &p, image) && opj_codec_set_threads(codec, threads) &&
                        opj_start_compress(codec, image, s) && opj_encode(codec, s) && opj_end_compress(codec, s);
        opj_stream_destroy(s);
        opj_destroy_codec(codec);
        secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (!ok) state.SkipWithError("OpenJPEG failed");
        size = mem.end;
    }
    opj_image_destroy(image);
    record(state, key, secs, size);
}

BENCHMARK_CAPTURE(BM_Kepj2kLosslessEncode, t1, 1, "ours_t1")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_OpenJPEGLosslessEncode, t1, 1, "opj_t1")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Kepj2kLosslessEncode, t2, 2, "ours_t2")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_OpenJPEGLosslessEncode, t2, 2, "opj_t2")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
