// A camera library whose lsxGetFrame replays a script of frames queued by the test, for the
// exact cases of grabbing and the preview loop. With nothing queued it times out after a short
// wait, as a camera that delivers nothing. Every other operation succeeds.
#include "lsx.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {
struct Entry {
    lsxStatus status = LSX_OK;
    lsxFrame frame{};
    std::vector<uint8_t> data;
    int delayMs = 0;
};
std::mutex mutex;
std::deque<Entry> script;
std::vector<uint8_t> current;  // valid until the next lsxGetFrame, like the maker's buffer
std::atomic<int> getFrames{0}, starts{0}, stops{0};
std::atomic<int> regionX{0};
std::atomic<bool> timeoutsAtOnce{false};
std::atomic<int> closes{0};

template <typename... A>
lsxStatus answer(A...)
{
    return LSX_OK;
}
}  // namespace

extern "C" {
LSX_API void scriptReset()
{
    std::lock_guard<std::mutex> lock(mutex);
    script.clear();
    getFrames = starts = stops = closes = 0;
    regionX = 0;
    timeoutsAtOnce = false;
}
LSX_API void scriptPush(lsxStatus status, uint32_t format, uint32_t bits, int32_t width, int32_t height,
                        const void* data, uint32_t size, int32_t delayMs)
{
    Entry e;
    e.status = status;
    e.frame.format = format;
    e.frame.bits = bits;
    e.frame.width = width;
    e.frame.height = height;
    e.frame.size = size;
    e.data.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
    e.delayMs = delayMs;
    std::lock_guard<std::mutex> lock(mutex);
    script.push_back(std::move(e));
}
// A frame whose descriptor says what the test wants, over `size` bytes of data (or a null
// buffer with success): for descriptors that do not hold together.
LSX_API void scriptPushDescriptor(const lsxFrame* descriptor, const void* data, uint32_t size, int32_t nullBuffer)
{
    Entry e;
    e.frame = *descriptor;
    if (!nullBuffer) e.data.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
    e.delayMs = nullBuffer ? -1 : 0;
    std::lock_guard<std::mutex> lock(mutex);
    script.push_back(std::move(e));
}
// With nothing queued, time out at once instead of after a short wait: a library that answers
// -1000 as fast as it is asked, for ever, whatever happens to the handle.
LSX_API void scriptTimeoutsAtOnce(int32_t on)
{
    timeoutsAtOnce = on != 0;
}
LSX_API void scriptSetRegionX(int32_t x)
{
    regionX = x;
}
LSX_API int32_t scriptCount(int32_t what)
{
    return what == 0 ? getFrames.load() : what == 1 ? starts.load() : what == 2 ? stops.load() : closes.load();
}

lsxStatus lsxGetFrame(lsxHandle, lsxFrame* frame, void** buffer, uint32_t)
{
    ++getFrames;
    Entry e;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (script.empty()) {
            e.status = LSX_ERR_TIMEOUT;
            e.delayMs = timeoutsAtOnce ? 0 : 5;
        } else {
            e = std::move(script.front());
            script.pop_front();
        }
    }
    if (e.delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(e.delayMs));  // the line time
    if (e.status != LSX_OK) return e.status;
    *frame = e.frame;
    current = std::move(e.data);
    *buffer = e.delayMs < 0 ? nullptr : current.data();
    return LSX_OK;
}
lsxStatus lsxClose(lsxHandle)
{
    ++closes;
    return LSX_OK;
}
lsxStatus lsxStart(lsxHandle)
{
    ++starts;
    return LSX_OK;
}
lsxStatus lsxStop(lsxHandle)
{
    ++stops;
    return LSX_OK;
}
lsxStatus lsxGetRoi(lsxHandle, lsxRegion* region)
{
    std::memset(region, 0, sizeof(*region));
    region->X = regionX;
    return LSX_OK;
}

// Every other operation answers success. The five scripted ones get their answering twins
// under other names here, so that the list can be expanded whole.
#define lsxGetFrame scriptedUnusedGetFrame
#define lsxStart scriptedUnusedStart
#define lsxStop scriptedUnusedStop
#define lsxGetRoi scriptedUnusedGetRoi
#define lsxClose scriptedUnusedClose
#define LSX_ANSWER(name, params, args) \
    lsxStatus name params              \
    {                                  \
        return answer args;            \
    }
LSX_OPERATIONS(LSX_ANSWER)
#undef LSX_ANSWER
#undef lsxGetFrame
#undef lsxStart
#undef lsxStop
#undef lsxGetRoi
#undef lsxClose
lsxStatus lsxDebugFormat(lsxHandle, int32_t, const char*, const char*, ...)
{
    return LSX_OK;
}
}
