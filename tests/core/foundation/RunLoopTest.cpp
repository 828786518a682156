#include "KLNotificationCenter.h"
#include "KLPlainRunLoop.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(RunLoopTest, WorkPostedFromAnotherThreadRunsOnTheCallerOfRunUntil)
{
    KLPlainRunLoop loop;
    std::vector<int> order;
    std::thread::id ranOn;
    std::thread worker([&] {
        for (int i = 0; i < 3; ++i)
            loop.post([&, i] {
                order.push_back(i);
                ranOn = std::this_thread::get_id();
            });
    });
    worker.join();
    EXPECT_TRUE(loop.runUntil([&] { return order.size() == 3; }, 5));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(RunLoopTest, TimersFireInOrderCancelledOnesNeverAndRunUntilTimesOut)
{
    KLPlainRunLoop loop;
    std::vector<std::string> fired;
    loop.scheduleOnce(0.05, [&] { fired.push_back("late"); });
    loop.scheduleOnce(0, [&] { fired.push_back("now"); });
    auto cancelled = loop.scheduleOnce(0.01, [&] { fired.push_back("cancelled"); });
    cancelled->cancel();
    EXPECT_TRUE(loop.runUntil([&] { return fired.size() == 2; }, 5));
    EXPECT_EQ(fired, (std::vector<std::string>{"now", "late"}));
    EXPECT_FALSE(cancelled->isValid());

    int ticks = 0;
    std::shared_ptr<KLTimer> timer = loop.scheduleRepeating(0.01, [&] {
        if (++ticks == 3)
            timer->cancel();
    });
    EXPECT_TRUE(loop.runUntil([&] { return ticks == 3; }, 5));
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(loop.runUntil([&] { return ticks > 3; }, 0.1));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(ticks, 3);
}

TEST(NotificationCenterTest, ObserversFilterByNameAndSenderAndEndWhenRemoved)
{
    KLNotificationCenter center;
    int senderA = 0, senderB = 0;
    std::vector<std::string> seen;
    center.addObserver("KLAccessFileDidChange", &senderA, [&](const KLNotification& n) { seen.push_back("a:" + n.name); });
    center.addObserver("", nullptr, [&](const KLNotification& n) { seen.push_back("all:" + n.name); });
    center.post("KLAccessFileDidChange", &senderB);
    center.post("KLAccessFileDidChange", &senderA, KLPlist::Dictionary{{"k", 1}});
    center.post("KLSWUStarted", &senderA);
    EXPECT_EQ(seen, (std::vector<std::string>{"all:KLAccessFileDidChange", "a:KLAccessFileDidChange",
                                              "all:KLAccessFileDidChange", "all:KLSWUStarted"}));

    // An observer removed during a post is not called.
    KLNotificationCenter::Token second = 0;
    int calls = 0;
    center.addObserver("n", nullptr, [&](const KLNotification&) {
        ++calls;
        center.removeObserver(second);
    });
    second = center.addObserver("n", nullptr, [&](const KLNotification&) { ++calls; });
    center.post("n", nullptr);
    EXPECT_EQ(calls, 1);

    // An observation ends with its owner.
    {
        KLObservation observation("scoped", nullptr, [&](const KLNotification&) { ++calls; });
        KLNotificationCenter::defaultCenter().post("scoped", nullptr);
    }
    KLNotificationCenter::defaultCenter().post("scoped", nullptr);
    EXPECT_EQ(calls, 2);
}

} // namespace
