// The kepjpeg codec beside TurboJPEG (tjCompress2 / tjDecompress2) on the same 12-megapixel
// image at quality 85, 4:2:0 and 4:4:4, single-threaded; then kepjpeg with two threads on a file
// with a restart marker after every MCU row, and kepjpeg's lossless mode alone. At exit the
// ratios (ours / TurboJPEG) of the median times over the repetitions are printed. The Paired
// benchmarks run both codecs in every iteration and print the median per-iteration ratio.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>

#include "bench_median.h"
#include "codec.h"

namespace {

const kepjpeg::Image& bigImage() {
    static const kepjpeg::Image img = kepjpeg::makeTestImage(4000, 3000, 1);
    return img;
}

// Seconds per iteration of each benchmark run, printed as ratios of their medians when the program ends.
struct Summary {
    MedianMap t;
    ~Summary() {
        auto line = [this](const char* what, const std::string& ours, const std::string& peer) {
            if (!t.count(ours) || !t.count(peer)) return;
            std::printf("%-34s kepjpeg %8.1f ms   TurboJPEG %8.1f ms   ratio %.2f\n", what, 1e3 * t[ours], 1e3 * t[peer],
                        t[ours] / t[peer]);
        };
        std::printf("\n12 MP, quality 85 (ratio = kepjpeg time / TurboJPEG time)\n");
        line("encode 4:2:0, 1 thread", "enc_ours_420", "enc_tj_420");
        line("encode 4:4:4, 1 thread", "enc_ours_444", "enc_tj_444");
        line("decode 4:2:0, 1 thread", "dec_ours_420", "dec_tj_420");
        line("decode 4:4:4, 1 thread", "dec_ours_444", "dec_tj_444");
        line("encode 4:2:0, 2 threads, restarts", "enc_ours_420_t2", "enc_tj_420");
        line("decode 4:2:0, 2 threads, restarts", "dec_ours_420_t2", "dec_tj_420");
        bool pairs = false;
        for (const char* k : {"pair_enc_420", "pair_enc_444", "pair_dec_420", "pair_dec_444"})
            if (t.count(k)) {
                if (!pairs) std::printf("Paired (both codecs in every iteration): median of the per-iteration ratios\n");
                pairs = true;
                std::printf("%-34s kepjpeg %8.1f ms   TurboJPEG %8.1f ms   ratio %.3f over %zu iterations\n", k,
                            1e3 * t[std::string(k) + "_ours"], 1e3 * t[std::string(k) + "_peer"], t[k], t.samples.at(k).size());
            }
        for (const char* k : {"lossless_enc", "lossless_dec"})
            if (t.count(k)) std::printf("%-34s kepjpeg %8.1f ms   %.1f MP/s\n", k, 1e3 * t[k], 12.0 / t[k]);
    }
} summary;

void record(benchmark::State& state, const std::string& key, double seconds) {
    summary.t.add(key, seconds / double(state.iterations()));
    state.counters["MP/s"] = benchmark::Counter(12.0 * double(state.iterations()) / seconds);
}

std::vector<std::uint8_t> turboEncode(int samp) {
    const kepjpeg::Image& img = bigImage();
    tjhandle h = tjInitCompress();
    unsigned char* buf = nullptr;
    unsigned long size = 0;
    tjCompress2(h, img.px8.data(), img.width, 0, img.height, TJPF_RGB, &buf, &size, samp, 85, 0);
    std::vector<std::uint8_t> out(buf, buf + size);
    tjFree(buf);
    tjDestroy(h);
    return out;
}

// One call of each codec on the big image, its buffers kept from call to call.
struct KepEncoder {
    kepjpeg::EncodeOptions opt;
    std::vector<std::uint8_t> out;
    std::string err;
    KepEncoder(kepjpeg::Sampling s, int threads) {
        opt.quality = 85;
        opt.sampling = s;
        opt.threads = threads;
        if (threads > 1) opt.restartRows = 1;
        bigImage();   // made before the clock starts
    }
    const char* run() { return kepjpeg::encode(bigImage(), opt, out, err) ? nullptr : err.c_str(); }
    std::size_t bytes() const { return out.size(); }
};

struct TurboEncoder {
    int samp;
    tjhandle h = tjInitCompress();
    std::vector<unsigned char> buf;
    unsigned long size = 0;
    explicit TurboEncoder(int s) : samp(s), buf(tjBufSize(bigImage().width, bigImage().height, s)) {}
    TurboEncoder(const TurboEncoder&) = delete;
    TurboEncoder& operator=(const TurboEncoder&) = delete;
    ~TurboEncoder() { tjDestroy(h); }
    const char* run() {
        const kepjpeg::Image& img = bigImage();
        unsigned char* p = buf.data();
        size = buf.size();
        return tjCompress2(h, img.px8.data(), img.width, 0, img.height, TJPF_RGB, &p, &size, samp, 85, TJFLAG_NOREALLOC) == 0
                   ? nullptr
                   : tjGetErrorStr2(h);
    }
    std::size_t bytes() const { return size; }
};

struct KepDecoder {
    std::vector<std::uint8_t> jpg;
    kepjpeg::DecodeOptions opt;
    kepjpeg::Image img;
    std::string err;
    KepDecoder(int samp, int threads) {
        if (threads > 1) {
            // The same picture coded by kepjpeg with a restart marker after every MCU row.
            kepjpeg::EncodeOptions eo;
            eo.quality = 85;
            eo.sampling = kepjpeg::Sampling::s420;
            eo.restartRows = 1;
            kepjpeg::encode(bigImage(), eo, jpg, err);
        } else {
            jpg = turboEncode(samp);
        }
        opt.threads = threads;
    }
    const char* run() { return kepjpeg::decode(jpg.data(), jpg.size(), opt, img, err) ? nullptr : err.c_str(); }
};

struct TurboDecoder {
    std::vector<std::uint8_t> jpg;
    std::vector<unsigned char> out;
    tjhandle h = tjInitDecompress();
    explicit TurboDecoder(int samp) : jpg(turboEncode(samp)), out(bigImage().px8.size()) {}
    TurboDecoder(const TurboDecoder&) = delete;
    TurboDecoder& operator=(const TurboDecoder&) = delete;
    ~TurboDecoder() { tjDestroy(h); }
    const char* run() {
        const kepjpeg::Image& ref = bigImage();
        return tjDecompress2(h, jpg.data(), jpg.size(), out.data(), ref.width, 0, ref.height, TJPF_RGB, 0) == 0 ? nullptr
                                                                                                            : tjGetErrorStr2(h);
    }
};

template <class Codec>
double timedRun(benchmark::State& state, Codec& codec) {
    const auto t0 = std::chrono::steady_clock::now();
    if (const char* e = codec.run()) state.SkipWithError(e);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

template <class Codec>
void timed(benchmark::State& state, Codec& codec, const char* key) {
    double secs = 0;
    for (auto _ : state) secs += timedRun(state, codec);
    record(state, key, secs);
}

// Both codecs in every iteration, the first of them alternating, each timed on its own: on a
// shared machine both then meet the same load, and the summary prints the median of the
// per-iteration ratios, steadier than a ratio of two runs timed minutes apart.
template <class Ours, class Peer>
void paired(benchmark::State& state, Ours& ours, Peer& peer, const char* key) {
    long i = 0;
    for (auto _ : state) {
        double t[2];
        for (int j = 0; j < 2; ++j) t[(i + j) & 1] = ((i + j) & 1) ? timedRun(state, peer) : timedRun(state, ours);
        summary.t.add(key, t[0] / t[1]);
        summary.t.add(std::string(key) + "_ours", t[0]);
        summary.t.add(std::string(key) + "_peer", t[1]);
        ++i;
    }
}

void BM_Encode_Kepjpeg(benchmark::State& state, kepjpeg::Sampling s, int threads, const char* key) {
    KepEncoder c(s, threads);
    timed(state, c, key);
    state.counters["bytes"] = double(c.bytes());
}

void BM_Encode_TurboJPEG(benchmark::State& state, int samp, const char* key) {
    TurboEncoder c(samp);
    timed(state, c, key);
    state.counters["bytes"] = double(c.bytes());
}

void BM_Decode_Kepjpeg(benchmark::State& state, int samp, int threads, const char* key) {
    KepDecoder c(samp, threads);
    timed(state, c, key);
}

void BM_Decode_TurboJPEG(benchmark::State& state, int samp, const char* key) {
    TurboDecoder c(samp);
    timed(state, c, key);
}

void BM_Paired_Encode(benchmark::State& state, kepjpeg::Sampling s, int samp, const char* key) {
    KepEncoder ours(s, 1);
    TurboEncoder peer(samp);
    paired(state, ours, peer, key);
}

void BM_Paired_Decode(benchmark::State& state, int samp, const char* key) {
    KepDecoder ours(samp, 1);
    TurboDecoder peer(samp);
    paired(state, ours, peer, key);
}

// Lossless (predictor 4, optimal tables) of the same image: megapixels per second, no peer.
void BM_Lossless_Kepjpeg(benchmark::State& state, bool decode) {
    kepjpeg::EncodeOptions opt;
    opt.lossless = true;
    opt.predictor = 4;
    std::vector<std::uint8_t> jpg;
    std::string err;
    kepjpeg::Image img;
    if (decode && !kepjpeg::encode(bigImage(), opt, jpg, err)) state.SkipWithError(err.c_str());
    double secs = 0;
    bigImage();
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        const bool ok = decode ? kepjpeg::decode(jpg.data(), jpg.size(), kepjpeg::DecodeOptions(), img, err)
                               : kepjpeg::encode(bigImage(), opt, jpg, err);
        if (!ok) state.SkipWithError(err.c_str());
        secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    state.counters["bytes"] = double(jpg.size());
    record(state, decode ? "lossless_dec" : "lossless_enc", secs);
}

BENCHMARK_CAPTURE(BM_Encode_Kepjpeg, q85_420, kepjpeg::Sampling::s420, 1, "enc_ours_420")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Encode_TurboJPEG, q85_420, TJSAMP_420, "enc_tj_420")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Encode_Kepjpeg, q85_444, kepjpeg::Sampling::s444, 1, "enc_ours_444")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Encode_TurboJPEG, q85_444, TJSAMP_444, "enc_tj_444")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_Kepjpeg, q85_420, TJSAMP_420, 1, "dec_ours_420")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_TurboJPEG, q85_420, TJSAMP_420, "dec_tj_420")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_Kepjpeg, q85_444, TJSAMP_444, 1, "dec_ours_444")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_TurboJPEG, q85_444, TJSAMP_444, "dec_tj_444")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Encode_Kepjpeg, q85_420_threads2_restart, kepjpeg::Sampling::s420, 2, "enc_ours_420_t2")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Decode_Kepjpeg, q85_420_threads2_restart, TJSAMP_420, 2, "dec_ours_420_t2")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Paired_Encode, q85_420, kepjpeg::Sampling::s420, TJSAMP_420, "pair_enc_420")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Paired_Encode, q85_444, kepjpeg::Sampling::s444, TJSAMP_444, "pair_enc_444")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Paired_Decode, q85_420, TJSAMP_420, "pair_dec_420")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Paired_Decode, q85_444, TJSAMP_444, "pair_dec_444")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Lossless_Kepjpeg, encode_predictor4, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Lossless_Kepjpeg, decode_predictor4, true)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
