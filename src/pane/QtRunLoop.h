#pragma once

#include "KLRunLoop.h"

#include <QPointer>

#include <QObject>

// The main run loop over Qt's event loop: posted functions are queued
// invocations on an object of the main thread, timers are QTimers there.
// Install it with KLRunLoop::setMain once the application object exists.
class QtRunLoop : public KLRunLoop
{
public:
    // The context object must live on the main thread (the application).
    explicit QtRunLoop(QObject* context);

    void post(std::function<void()> fn) override;
    std::shared_ptr<KLTimer> scheduleOnce(double seconds, std::function<void()> fn) override;
    std::shared_ptr<KLTimer> scheduleRepeating(double seconds, std::function<void()> fn) override;

private:
    class Timer;
    std::shared_ptr<KLTimer> schedule(double seconds, bool repeats, std::function<void()> fn);

    QPointer<QObject> context_;
};
