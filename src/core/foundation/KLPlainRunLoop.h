#pragma once

#include "KLRunLoop.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

// A run loop without a toolkit: a queue of posted functions and a heap of
// timers, run by whoever calls runUntil().
class KLPlainRunLoop : public KLRunLoop
{
public:
    void post(std::function<void()> fn) override;
    std::shared_ptr<KLTimer> scheduleOnce(double seconds, std::function<void()> fn) override;
    std::shared_ptr<KLTimer> scheduleRepeating(double seconds, std::function<void()> fn) override;

    // Runs posted functions and due timers until the predicate holds or the
    // timeout passes; returns whether the predicate held.
    bool runUntil(const std::function<bool()>& predicate, double timeoutSeconds);
    // Runs whatever is due now, without waiting.
    void runPending();

private:
    using Clock = std::chrono::steady_clock;
    struct TimerEntry;
    class Timer;

    std::shared_ptr<KLTimer> schedule(double seconds, bool repeats, std::function<void()> fn);
    bool runOnce(Clock::time_point deadline);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> posted_;
    std::vector<std::shared_ptr<Timer>> timers_;
};
