// libFuzzer target for the kepj2k tool's decoder: arbitrary bytes as a code stream or a JP2 file
// (a JP2 signature in front of half the inputs), decoded under a 2^20-sample limit with reduced
// resolution, fewer layers, two threads and the first dispatch slot (rather than the one chosen
// for this processor) chosen by the first byte; the header description and the box listing run
// on the same bytes. The input lives in a heap block of exactly its size, so that
// AddressSanitizer sees any read past the end.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "j2k.h"
#include "pjdispatch.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const int mode = data[0];
    ++data, --size;
    std::vector<std::uint8_t> input;
    if (mode & 0x80) {
        // A signature, file type and header box before the data, which then holds the jp2c box
        // and whatever follows (or damaged boxes).
        static const std::uint8_t head[] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A, 0, 0, 0, 20, 'f', 't',
                                            'y', 'p', 'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '};
        input.assign(head, head + sizeof head);
    }
    input.insert(input.end(), data, data + size);
    std::vector<std::uint8_t> exact(input);   // exactly sized heap block
    static const int native = ownDispatchIndex;
    ownDispatchIndex = (mode & 0x40) ? 0 : native;
    kepj2k::DecodeOptions opt;
    opt.reduce = mode & 3;
    opt.layers = (mode >> 2) & 3;
    opt.threads = (mode & 0x10) ? 2 : 1;
    opt.maxSamples = std::size_t(1) << 20;
    kepj2k::Decoded out;
    std::string err;
    const bool ok = kepj2k::decode(exact.data(), exact.size(), out, err, opt);
    if (!ok && err.empty()) __builtin_trap();   // every failure carries a message
    std::size_t begin = 0, n = exact.size();
    std::string boxes;
    if (kepj2k::isJp2(exact.data(), exact.size()) && !kepj2k::readJp2(exact.data(), exact.size(), begin, n, &boxes, err))
        return 0;
    kepj2k::CodestreamInfo info;
    if (kepj2k::parse(exact.data() + begin, n, info, err)) (void)kepj2k::describe(info);
    return 0;
}
