#pragma once

#include <functional>
#include <memory>

// A handle to a scheduled timer; cancelling twice or after it fired is fine.
class KLTimer
{
public:
    virtual ~KLTimer() = default;
    virtual void cancel() = 0;
    virtual bool isValid() const = 0;
};

// The main thread's run loop as the core sees it. post() may be called from
// any thread; timers are scheduled and fire on the main thread. The pane
// installs a Qt implementation, the command line and tests the plain one.
class KLRunLoop
{
public:
    virtual ~KLRunLoop() = default;

    virtual void post(std::function<void()> fn) = 0;
    virtual std::shared_ptr<KLTimer> scheduleOnce(double seconds, std::function<void()> fn) = 0;
    virtual std::shared_ptr<KLTimer> scheduleRepeating(double seconds, std::function<void()> fn) = 0;

    // The run loop in use; a plain one is made on first use if none was set.
    static KLRunLoop& main();
    static void setMain(std::shared_ptr<KLRunLoop> loop);
};
