// The correction's thread pool and the sharing out of parts.
#include "parts.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace lsxc {

namespace {

int allThreads()
{
    return std::max(1u, std::thread::hardware_concurrency());
}

std::atomic<int> g_threads{allThreads()};

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

// The helpers: threads of the library's own, started when first needed and kept for the
// program's life, waiting idle between frames. Nothing else waits behind a frame on them, and a
// frame waits behind nothing else. The pool is never torn down: a helper may still be waking
// from its wait while the program exits.
class Helpers {
public:
    void run(const std::shared_ptr<Job>& job, int count)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        while (int(m_threads) < count) {
            std::thread([this] { serve(); }).detach();
            ++m_threads;
        }
        for (int i = 0; i < count; ++i) m_queue.push_back(job);
        m_wake.notify_all();
    }

private:
    void serve()
    {
        for (;;) {
            std::shared_ptr<Job> job;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_wake.wait(lock, [this] { return !m_queue.empty(); });
                job = std::move(m_queue.front());
                m_queue.pop_front();
            }
            takeParts(*job);
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::shared_ptr<Job>> m_queue;
    size_t m_threads = 0;
};

Helpers& helpers()
{
    static Helpers* pool = new Helpers;
    return *pool;
}

}  // namespace

int threads()
{
    return g_threads.load(std::memory_order_relaxed);
}

int setThreads(int n)
{
    n = n < 1 ? allThreads() : n;
    g_threads.store(n);
    return n;
}

int partsFor(int n, int align)
{
    const int blocks = (std::max(n, 0) + align - 1) / align;
    return std::max(1, std::min(blocks, 4 * threads()));
}

void forEachPart(int parts, const std::function<void(int)>& work)
{
    const int count = std::min(threads(), parts);
    if (count <= 1) {
        for (int p = 0; p < parts; ++p) work(p);
        return;
    }
    auto job = std::make_shared<Job>();
    job->work = &work;
    job->parts = parts;
    helpers().run(job, count - 1);
    takeParts(*job);
    std::unique_lock<std::mutex> lock(job->mutex);
    job->allDone.wait(lock, [&] { return job->done.load() == parts; });
}

}  // namespace lsxc
