#include "QtRunLoop.h"

#include <QMetaObject>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cmath>

// A scheduled QTimer. The timer itself is made, fired and stopped on the
// main thread only; the flags may be read from anywhere.
class QtRunLoop::Timer : public KLTimer
{
public:
    explicit Timer(bool repeats) : repeats_(repeats) {}

    void cancel() override
    {
        valid_ = false;
        if (timer_) {
            timer_->stop();
            timer_->deleteLater();
        }
    }
    bool isValid() const override { return valid_; }

    void start(QObject* context, int milliseconds, std::function<void()> fn, const std::shared_ptr<Timer>& self)
    {
        if (!valid_)
            return;
        timer_ = new QTimer(context);
        timer_->setSingleShot(!repeats_);
        timer_->setInterval(milliseconds);
        QTimer* timer = timer_;
        QObject::connect(timer, &QTimer::timeout, timer, [self, timer, fn = std::move(fn)] {
            if (!self->valid_)
                return;
            if (!self->repeats_) {
                self->valid_ = false;
                timer->deleteLater();
            }
            fn();
        });
        timer_->start();
    }

private:
    bool repeats_;
    std::atomic<bool> valid_{true};
    QPointer<QTimer> timer_;
};

QtRunLoop::QtRunLoop(QObject* context) : context_(context)
{
}

void QtRunLoop::post(std::function<void()> fn)
{
    if (context_)
        QMetaObject::invokeMethod(context_, std::move(fn), Qt::QueuedConnection);
}

std::shared_ptr<KLTimer> QtRunLoop::scheduleOnce(double seconds, std::function<void()> fn)
{
    return schedule(seconds, false, std::move(fn));
}

std::shared_ptr<KLTimer> QtRunLoop::scheduleRepeating(double seconds, std::function<void()> fn)
{
    return schedule(seconds, true, std::move(fn));
}

std::shared_ptr<KLTimer> QtRunLoop::schedule(double seconds, bool repeats, std::function<void()> fn)
{
    auto timer = std::make_shared<Timer>(repeats);
    int milliseconds = static_cast<int>(std::lround(std::clamp(seconds, 0.0, 2.0e6) * 1000.0));
    QPointer<QObject> context = context_;
    auto start = [timer, context, milliseconds, fn = std::move(fn)]() mutable {
        if (context)
            timer->start(context, milliseconds, std::move(fn), timer);
    };
    if (context_ && QThread::currentThread() == context_->thread())
        start();
    else
        post(std::move(start));
    return timer;
}
