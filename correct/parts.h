#pragma once
// The correction's work shared out among the processor's cores: the calling thread and the
// helpers of a thread pool of the library's own.
//
// A piece of work is cut into parts that do not depend on each other; the threads take parts
// one after the other until none is left, and the call returns when every part is done. How a
// frame is cut never depends on which thread runs a part, so results that depend only on the
// cut are the same on every run; the kernels are cut so that the results do not depend on the
// cut either (see each caller).

#include <algorithm>
#include <cstdint>
#include <functional>

namespace lsxc {

// Runs work(part) for every part in [0, parts) and returns when all are done, on at most
// threads() threads, the calling thread among them. A part must not throw.
void forEachPart(int parts, const std::function<void(int)>& work);

// [begin, end) of part p when n items are cut into `parts` runs of whole `align`-item blocks,
// as even as the blocks allow; the last part takes the remainder.
struct PartRange {
    int begin = 0;
    int end = 0;
};
inline PartRange partOf(int n, int parts, int p, int align = 1)
{
    const int blocks = (n + align - 1) / align;
    const auto edge = [&](int q) { return std::min(n, static_cast<int>(int64_t(blocks) * q / parts) * align); };
    return {edge(p), edge(p + 1)};
}

// How many parts to cut n items into: about four per thread, so that a thread slowed down by
// another program does not hold up the rest, and no more parts than blocks of `align` items.
int partsFor(int n, int align = 1);

// The threads the work is shared out among, the calling thread included: by default as many as
// the processor runs at once. setThreads(n) asks for n (0 or less: that default) and returns
// what is then in use.
int threads();
int setThreads(int n);

}  // namespace lsxc
