#include "KLPlainRunLoop.h"

#include <algorithm>
#include <atomic>

class KLPlainRunLoop::Timer : public KLTimer
{
public:
    Timer(Clock::time_point due, Clock::duration interval, bool repeats, std::function<void()> fn)
        : due(due), interval(interval), repeats(repeats), fn(std::move(fn))
    {
    }
    void cancel() override { valid = false; }
    bool isValid() const override { return valid; }

    Clock::time_point due;
    Clock::duration interval;
    bool repeats;
    std::function<void()> fn;
    std::atomic<bool> valid{true};
};

namespace {
std::shared_ptr<KLRunLoop>& mainLoop()
{
    static std::shared_ptr<KLRunLoop> loop;
    return loop;
}
std::mutex& mainLoopMutex()
{
    static std::mutex m;
    return m;
}
} // namespace

KLRunLoop& KLRunLoop::main()
{
    std::lock_guard lock(mainLoopMutex());
    if (!mainLoop())
        mainLoop() = std::make_shared<KLPlainRunLoop>();
    return *mainLoop();
}

void KLRunLoop::setMain(std::shared_ptr<KLRunLoop> loop)
{
    std::lock_guard lock(mainLoopMutex());
    mainLoop() = std::move(loop);
}

void KLPlainRunLoop::post(std::function<void()> fn)
{
    {
        std::lock_guard lock(mutex_);
        posted_.push_back(std::move(fn));
    }
    wake_.notify_all();
}

std::shared_ptr<KLTimer> KLPlainRunLoop::scheduleOnce(double seconds, std::function<void()> fn)
{
    return schedule(seconds, false, std::move(fn));
}

std::shared_ptr<KLTimer> KLPlainRunLoop::scheduleRepeating(double seconds, std::function<void()> fn)
{
    return schedule(seconds, true, std::move(fn));
}

std::shared_ptr<KLTimer> KLPlainRunLoop::schedule(double seconds, bool repeats, std::function<void()> fn)
{
    auto interval = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(std::max(0.0, seconds)));
    auto timer = std::make_shared<Timer>(Clock::now() + interval, interval, repeats, std::move(fn));
    {
        std::lock_guard lock(mutex_);
        timers_.push_back(timer);
    }
    wake_.notify_all();
    return timer;
}

bool KLPlainRunLoop::runOnce(Clock::time_point deadline)
{
    std::function<void()> work;
    {
        std::unique_lock lock(mutex_);
        std::erase_if(timers_, [](const std::shared_ptr<Timer>& t) { return !t->valid; });
        for (;;) {
            if (!posted_.empty()) {
                work = std::move(posted_.front());
                posted_.pop_front();
                break;
            }
            auto next = std::min_element(timers_.begin(), timers_.end(),
                                         [](const auto& a, const auto& b) { return a->due < b->due; });
            auto now = Clock::now();
            if (next != timers_.end() && (*next)->due <= now) {
                std::shared_ptr<Timer> timer = *next;
                if (timer->repeats) {
                    timer->due = now + std::max(timer->interval, Clock::duration(std::chrono::milliseconds(1)));
                } else {
                    timer->valid = false;
                    timers_.erase(next);
                }
                work = [timer] {
                    if (timer->repeats ? timer->valid.load() : true)
                        timer->fn();
                };
                break;
            }
            if (now >= deadline)
                return false;
            auto wakeAt = deadline;
            if (next != timers_.end())
                wakeAt = std::min(wakeAt, (*next)->due);
            wake_.wait_until(lock, wakeAt);
        }
    }
    work();
    return true;
}

bool KLPlainRunLoop::runUntil(const std::function<bool()>& predicate, double timeoutSeconds)
{
    auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeoutSeconds));
    while (!predicate()) {
        if (!runOnce(deadline) && Clock::now() >= deadline)
            return predicate();
    }
    return true;
}

void KLPlainRunLoop::runPending()
{
    auto now = Clock::now();
    while (runOnce(now)) {
    }
}
