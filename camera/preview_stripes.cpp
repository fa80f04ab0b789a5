// The preview's thread pool and the sharing out of parts.
#include "camera/preview_stripes.h"

#include "camera/preview.h"

#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace {

int allThreads()
{
    return std::max(1, QThread::idealThreadCount());
}

std::atomic<int> g_threads{allThreads()};

// The helpers: threads of the preview's own pool, so that nothing else the program runs on
// Qt's global pool waits behind a frame, or a frame behind it. Made once and kept for the
// program's life: between frames its threads wait idle (and end after a while), so nothing is
// left to tear down at exit.
QThreadPool& helpers()
{
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(std::max(1, g_threads.load() - 1));
        return p;
    }();
    return *pool;
}

// One call of forEachPart. The helpers hold it by a shared pointer: a helper that starts only
// after the caller has returned finds no part left and lets go of it without touching `work`.
struct Job {
    const std::function<void(int)>* work = nullptr;
    int parts = 0;
    std::atomic<int> next{0};
    std::atomic<int> done{0};
    std::mutex mutex;
    std::condition_variable allDone;
};

void takeParts(Job& job)
{
    int finished = 0;
    for (int p = job.next.fetch_add(1); p < job.parts; p = job.next.fetch_add(1)) {
        (*job.work)(p);
        ++finished;
    }
    if (finished > 0 && job.done.fetch_add(finished) + finished == job.parts) {
        std::lock_guard<std::mutex> lock(job.mutex);
        job.allDone.notify_all();
    }
}

}  // namespace

int previewThreads()
{
    return g_threads.load(std::memory_order_relaxed);
}

int setPreviewThreads(int n)
{
    n = n < 1 ? allThreads() : n;
    g_threads.store(n);
    helpers().setMaxThreadCount(std::max(1, n - 1));
    return n;
}

int partsFor(int n, int align)
{
    const int blocks = (std::max(n, 0) + align - 1) / align;
    return std::max(1, std::min(blocks, 4 * previewThreads()));
}

void forEachPart(int parts, const std::function<void(int)>& work)
{
    const int threads = std::min(previewThreads(), parts);
    if (threads <= 1) {
        for (int p = 0; p < parts; ++p) work(p);
        return;
    }
    auto job = std::make_shared<Job>();
    job->work = &work;
    job->parts = parts;
    QThreadPool& pool = helpers();
    for (int t = 1; t < threads; ++t) pool.start([job] { takeParts(*job); });
    takeParts(*job);
    std::unique_lock<std::mutex> lock(job->mutex);
    job->allDone.wait(lock, [&] { return job->done.load() == parts; });
}
