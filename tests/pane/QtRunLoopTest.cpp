#include "KLRunLoop.h"
#include "PaneTestApp.h"

#include <gtest/gtest.h>

#include <QThread>

#include <atomic>
#include <thread>

namespace {

// Work posted and timers scheduled from a worker thread run on the main
// thread, posted work in order.
TEST(QtRunLoopTest, WorkFromAnotherThreadRunsOnTheMainThreadInOrder)
{
    std::vector<int> order;
    QThread* main = QThread::currentThread();
    std::atomic<bool> onMain{true};
    std::thread worker([&] {
        for (int i = 0; i < 3; ++i)
            KLRunLoop::main().post([&, i] { onMain = onMain && QThread::currentThread() == main, order.push_back(i); });
        KLRunLoop::main().scheduleOnce(0.01, [&] { onMain = onMain && QThread::currentThread() == main, order.push_back(3); });
    });
    worker.join();
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return order.size() == 4; }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_TRUE(onMain);
}

TEST(QtRunLoopTest, TimersFireOnceRepeatOrNotAtAllWhenCancelled)
{
    int once = 0, repeated = 0, cancelled = 0;
    auto single = KLRunLoop::main().scheduleOnce(0, [&] { ++once; });
    auto repeating = KLRunLoop::main().scheduleRepeating(0.01, [&] { ++repeated; });
    auto never = KLRunLoop::main().scheduleOnce(0.01, [&] { ++cancelled; });
    never->cancel();
    EXPECT_FALSE(never->isValid());
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return repeated >= 3; }));
    repeating->cancel();
    int seen = repeated;
    PaneTestApp::waitFor([] { return false; }, 50);
    EXPECT_EQ(once, 1);
    EXPECT_FALSE(single->isValid());
    EXPECT_EQ(repeated, seen);
    EXPECT_EQ(cancelled, 0);
}

} // namespace
