// The driver of a fuzz harness where libFuzzer is not linked (the default g++ build): runs every
// file of the seed corpus, then mutations of them (bit flips, byte changes, inserts, cuts and
// splices) from a fixed seed until the time is up, and tells how many inputs it ran. A crash or a
// sanitizer report fails the test as it would under libFuzzer.
//
//   harness CORPUS_DIR SECONDS
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

Bytes mutate(const std::vector<Bytes>& corpus, std::mt19937_64& rng)
{
    Bytes b = corpus[rng() % corpus.size()];
    const int steps = 1 + int(rng() % 8);
    for (int i = 0; i < steps; ++i) {
        switch (rng() % 6) {
        case 0:  // flip a bit
            if (!b.empty()) b[rng() % b.size()] ^= uint8_t(1u << (rng() % 8));
            break;
        case 1:  // an interesting byte
            if (!b.empty()) {
                static const uint8_t values[] = {0, 1, 0x7F, 0x80, 0xFF, '-', '9', '"', '{', '}', ',', ':', '\n', '='};
                b[rng() % b.size()] = values[rng() % sizeof values];
            }
            break;
        case 2:  // insert random bytes
            b.insert(b.begin() + long(b.empty() ? 0 : rng() % b.size()), size_t(1 + rng() % 8), uint8_t(rng()));
            break;
        case 3:  // cut a piece
            if (b.size() > 1) {
                const size_t at = rng() % b.size();
                const size_t n = 1 + rng() % std::min<size_t>(16, b.size() - at);
                b.erase(b.begin() + long(at), b.begin() + long(at + n));
            }
            break;
        case 4: {  // splice another entry in
            const Bytes& other = corpus[rng() % corpus.size()];
            if (!other.empty()) {
                const size_t from = rng() % other.size();
                const size_t n = 1 + rng() % (other.size() - from);
                b.insert(b.begin() + long(b.empty() ? 0 : rng() % b.size()), other.begin() + long(from),
                         other.begin() + long(from + n));
            }
            break;
        }
        default:  // a 32-bit number written over four bytes
            if (b.size() >= 4) {
                static const uint32_t numbers[] = {0, 1, 0x7FFFFFFF, 0x80000000u, 0xFFFFFFFFu, 1000000, 65472, 16384};
                const uint32_t v = numbers[rng() % (sizeof numbers / sizeof numbers[0])];
                const size_t at = rng() % (b.size() - 3);
                for (int k = 0; k < 4; ++k) b[at + size_t(k)] = uint8_t(v >> (8 * k));
            }
        }
    }
    return b;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR SECONDS\n", argv[0]);
        return 2;
    }
    std::vector<Bytes> corpus;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        if (!entry.is_regular_file()) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    if (corpus.empty()) corpus.emplace_back();
    long runs = 0;
    for (const Bytes& b : corpus) {
        LLVMFuzzerTestOneInput(b.data(), b.size());
        ++runs;
    }
    std::mt19937_64 rng(20261122);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(argv[2]));
    while (std::chrono::steady_clock::now() < end) {
        const Bytes b = mutate(corpus, rng);
        LLVMFuzzerTestOneInput(b.data(), b.size());
        ++runs;
    }
    std::printf("%s: %ld inputs from %zu seeds, no failure\n", argv[0], runs, corpus.size());
    return 0;
}
