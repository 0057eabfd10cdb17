// The kepj2k decoder beside OpenJPEG's library (opj_decode on a memory stream) on one 12-megapixel
// RGB image, encoded losslessly once by OpenJPEG's encoder (RCT + 5/3, 64x64 code-blocks, 6
// resolutions, one tile, one layer), single-threaded and with two threads; and the opj_decompress
// command on the same file (its time includes reading the file and writing a PPM). At exit the
// ratios (ours / OpenJPEG) of the medians over the repetitions are printed, of wall-clock time and of the CPU time of every thread
// (the second is the steadier figure on a shared machine).
#include <benchmark/benchmark.h>
#include <openjpeg.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "bench_median.h"
#include "codec.h"
#include "j2k.h"

namespace {

struct Summary {
    MedianMap t, cpu;
    ~Summary() {
        auto line = [this](const char* what, const std::string& ours, const std::string& peer) {
            if (!t.count(ours) || !t.count(peer)) return;
            std::printf("%-36s kepj2k %7.1f ms (CPU %7.1f)   OpenJPEG %7.1f ms (CPU %7.1f)   ratio %.2f (CPU %.2f)\n", what,
                        1e3 * t[ours], 1e3 * cpu[ours], 1e3 * t[peer], 1e3 * cpu[peer], t[ours] / t[peer], cpu[ours] / cpu[peer]);
        };
        std::printf("\n12 MP RGB, lossless (ratio = kepj2k time / OpenJPEG time)\n");
        line("decode, 1 thread (opj_decode)", "ours_t1", "opj_t1");
        line("decode, 2 threads (opj_decode)", "ours_t2", "opj_t2");
        line("decode, 1 thread (opj_decompress)", "ours_t1", "opj_cmd_t1");
        line("decode, 2 threads (opj_decompress)", "ours_t2", "opj_cmd_t2");
    }
} summary;

// CPU seconds of every thread of this process, or of its finished children.
double cpuSeconds(bool children = false) {
    if (children) {
        rusage ru{};
        getrusage(RUSAGE_CHILDREN, &ru);
        return double(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) + 1e-6 * double(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
    }
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

void record(benchmark::State& state, const std::string& key, double seconds, double cpu) {
    summary.t.add(key, seconds / double(state.iterations()));
    summary.cpu.add(key, cpu / double(state.iterations()));
    state.counters["CPU_ms"] = 1e3 * cpu / double(state.iterations());
    state.counters["MP/s"] = benchmark::Counter(12.0 * double(state.iterations()) / seconds);
}

// Memory streams for OpenJPEG: a growing buffer to write into, a fixed one to read from.
struct MemStream {
    std::vector<std::uint8_t> data;
    std::size_t pos = 0;
};

OPJ_SIZE_T memRead(void* buf, OPJ_SIZE_T n, void* user) {
    MemStream& m = *static_cast<MemStream*>(user);
    if (m.pos >= m.data.size()) return OPJ_SIZE_T(-1);
    n = std::min<OPJ_SIZE_T>(n, m.data.size() - m.pos);
    std::memcpy(buf, m.data.data() + m.pos, n);
    m.pos += n;
    return n;
}
OPJ_SIZE_T memWrite(void* buf, OPJ_SIZE_T n, void* user) {
    MemStream& m = *static_cast<MemStream*>(user);
    if (m.data.size() < m.pos + n) m.data.resize(m.pos + n);
    std::memcpy(m.data.data() + m.pos, buf, n);
    m.pos += n;
    return n;
}
OPJ_OFF_T memSkip(OPJ_OFF_T n, void* user) {
    MemStream& m = *static_cast<MemStream*>(user);
    if (n < 0 && OPJ_SIZE_T(-n) > m.pos) n = -OPJ_OFF_T(m.pos);
    m.pos += std::size_t(n);
    return n;
}
OPJ_BOOL memSeek(OPJ_OFF_T n, void* user) {
    static_cast<MemStream*>(user)->pos = std::size_t(n);
    return OPJ_TRUE;
}

opj_stream_t* memStream(MemStream& m, bool input) {
    opj_stream_t* s = opj_stream_create(1 << 20, input ? OPJ_TRUE : OPJ_FALSE);
    opj_stream_set_user_data(s, &m, nullptr);
    if (input) {
        opj_stream_set_user_data_length(s, m.data.size());
        opj_stream_set_read_function(s, memRead);
    } else {
        opj_stream_set_write_function(s, memWrite);
    }
    opj_stream_set_skip_function(s, memSkip);
    opj_stream_set_seek_function(s, memSeek);
    return s;
}

// The test image losslessly coded by OpenJPEG's library, once.
const std::vector<std::uint8_t>& codeStream() {
    static const std::vector<std::uint8_t> stream = [] {
        const kepjpeg::Image img = kepjpeg::makeTestImage(4000, 3000, 1);
        opj_image_cmptparm_t cp[3] = {};
        for (auto& c : cp) c.dx = c.dy = 1, c.w = OPJ_UINT32(img.width), c.h = OPJ_UINT32(img.height), c.prec = 8;
        opj_image_t* im = opj_image_create(3, cp, OPJ_CLRSPC_SRGB);
        im->x1 = OPJ_UINT32(img.width), im->y1 = OPJ_UINT32(img.height);
        for (std::size_t i = 0; i < std::size_t(img.width) * img.height; ++i)
            for (int c = 0; c < 3; ++c) im->comps[c].data[i] = img.px8[3 * i + std::size_t(c)];
        opj_cparameters_t p;
        opj_set_default_encoder_parameters(&p);
        p.tcp_numlayers = 1, p.tcp_rates[0] = 0, p.cp_disto_alloc = 1, p.tcp_mct = 1;
        opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
        opj_setup_encoder(codec, &p, im);
        opj_codec_set_threads(codec, 2);
        MemStream m;
        opj_stream_t* s = memStream(m, false);
        const bool ok = opj_start_compress(codec, im, s) && opj_encode(codec, s) && opj_end_compress(codec, s);
        opj_stream_destroy(s);
        opj_destroy_codec(codec);
        opj_image_destroy(im);
        if (!ok) m.data.clear();
        m.data.resize(m.pos);
        return m.data;
    }();
    return stream;
}

void BM_Decode_Kepj2k(benchmark::State& state, int threads, const char* key) {
    const std::vector<std::uint8_t>& stream = codeStream();
    kepj2k::DecodeOptions opt;
    opt.threads = threads;
    double secs = 0, cpu = 0;
    for (auto _ : state) {
        kepj2k::Decoded d;
        std::string err;
        const auto t0 = std::chrono::steady_clock::now();
        const double c0 = cpuSeconds();
        if (!kepj2k::decode(stream.data(), stream.size(), d, err, opt)) state.SkipWithError(err.c_str());
        cpu += cpuSeconds() - c0;
        secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    state.counters["bytes"] = double(stream.size());
    record(state, key, secs, cpu);
}

void BM_Decode_OpenJPEG(benchmark::State& state, int threads, const char* key) {
    MemStream m;
    m.data = codeStream();
    double secs = 0, cpu = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        const double c0 = cpuSeconds();
        m.pos = 0;
        opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
        opj_dparameters_t p;
        opj_set_default_decoder_parameters(&p);
        opj_setup_decoder(codec, &p);
        opj_codec_set_threads(codec, threads);
        opj_stream_t* s = memStream(m, true);
        opj_image_t* im = nullptr;
        const bool ok = opj_read_header(s, codec, &im) && opj_decode(codec, s, im) && opj_end_decompress(codec, s);
        opj_image_destroy(im);
        opj_stream_destroy(s);
        opj_destroy_codec(codec);
        cpu += cpuSeconds() - c0;
        secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (!ok) state.SkipWithError("opj_decode failed");
    }
    record(state, key, secs, cpu);
}

// The command-line decoder on the same stream in a file, writing a PPM.
void BM_Decode_OpjDecompress(benchmark::State& state, int threads, const char* key) {
    const std::string dir = (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + std::string("/kepj2k_bench.") +
                            std::to_string(::getpid());
    std::system(("mkdir -p " + dir).c_str());
    std::string err;
    kepjpeg::writeFile(dir + "/in.j2k", codeStream(), err);
    const std::string cmd = std::string(OPJ_DECOMPRESS) + " -i " + dir + "/in.j2k -o " + dir + "/out.ppm -threads " +
                            std::to_string(threads) + " >/dev/null 2>&1";
    double secs = 0, cpu = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        const double c0 = cpuSeconds(true);
        if (std::system(cmd.c_str()) != 0) state.SkipWithError("opj_decompress failed");
        cpu += cpuSeconds(true) - c0;
        secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    std::system(("rm -rf " + dir).c_str());
    record(state, key, secs, cpu);
}

BENCHMARK_CAPTURE(BM_Decode_Kepj2k, lossless_12MP_t1, 1, "ours_t1")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_OpenJPEG, lossless_12MP_t1, 1, "opj_t1")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_Kepj2k, lossless_12MP_t2, 2, "ours_t2")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_OpenJPEG, lossless_12MP_t2, 2, "opj_t2")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_OpjDecompress, lossless_12MP_t1, 1, "opj_cmd_t1")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_OpjDecompress, lossless_12MP_t2, 2, "opj_cmd_t2")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
