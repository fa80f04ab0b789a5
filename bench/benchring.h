#pragma once
// What the ring benchmarks share: frames from a ring larger than every cache of the machine, so
// that each frame arrives from memory, and every iteration's time kept for a table of medians.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <unistd.h>

namespace benchring {

// The largest cache the machine reports, in bytes: what the C library says of each level, and
// what the kernel lists per cache. Virtual machines report odd sizes (this one: 32 MB in the
// kernel's list, 384 MB from the processor's own description), so the largest of all is taken.
inline size_t largestCache()
{
    size_t best = 0;
    for (int name : {_SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL4_CACHE_SIZE}) {
        const long v = sysconf(name);
        if (v > 0) best = std::max(best, size_t(v));
    }
    for (int i = 0; i < 8; ++i) {
        std::ifstream in("/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i) + "/size");
        size_t v = 0;
        std::string unit;
        if (!(in >> v)) continue;
        in >> unit;
        if (unit == "K") v <<= 10;
        if (unit == "M") v <<= 20;
        best = std::max(best, v);
    }
    return best;
}

// The ring holds twice the largest cache, and at least 64 MB: each frame arrives from memory, not
// from a cache that still holds it from its last turn.
inline size_t ringBytes()
{
    static const size_t bytes = std::max(size_t(64) << 20, 2 * largestCache());
    return bytes;
}

// Every iteration's time in milliseconds, per format, width and measurement.
struct Key {
    std::string format;
    int width;
    std::string what;
    bool operator<(const Key& o) const { return std::tie(format, width, what) < std::tie(o.format, o.width, o.what); }
};
inline std::map<Key, std::vector<double>>& times()
{
    static std::map<Key, std::vector<double>> t;
    return t;
}

// The benchmark's loop with each iteration timed by hand and kept under `key`.
template <typename Fn>
void timed(benchmark::State& state, const Key& key, Fn&& fn)
{
    std::vector<double>& kept = times()[key];
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        fn();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(s);
        kept.push_back(s * 1000.0);
    }
}

inline double median(std::vector<double> v)
{
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

// The medians of every measurement of one format and width.
inline std::map<std::pair<std::string, int>, std::map<std::string, double>> medians()
{
    std::map<std::pair<std::string, int>, std::map<std::string, double>> rows;
    for (const auto& [key, t] : times()) rows[{key.format, key.width}][key.what] = median(t);
    return rows;
}

}  // namespace benchring
