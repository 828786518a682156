#include "KLNotificationCenter.h"
#include "KLPlainRunLoop.h"

#include <gtest/gtest.h>

#include <thread>

TEST(RunLoopTest, PostedWorkAndTimersRunOnTheCallerOfRunUntil)
{
    KLPlainRunLoop loop;
    std::vector<std::string> ran, posted;
    std::thread::id ranOn;
    loop.scheduleOnce(0.05, [&] { ran.push_back("late"); });
    loop.scheduleOnce(0, [&] { ran.push_back("now"); });
    auto cancelled = loop.scheduleOnce(0.01, [&] { ran.push_back("cancelled"); });
    cancelled->cancel();
    std::thread([&] {
        for (int i = 0; i < 3; ++i)
            loop.post([&, i] { posted.push_back(std::to_string(i)), ranOn = std::this_thread::get_id(); });
    }).join();
    EXPECT_TRUE(loop.runUntil([&] { return ran.size() == 2 && posted.size() == 3; }, 5));
    EXPECT_EQ(ran, (std::vector<std::string>{"now", "late"}));
    EXPECT_EQ(posted, (std::vector<std::string>{"0", "1", "2"}));
    EXPECT_TRUE(ranOn == std::this_thread::get_id() && !cancelled->isValid());
    // Nothing left to run: the wait ends at its timeout.
    EXPECT_FALSE(loop.runUntil([&] { return ran.size() > 2; }, 0.1));
}

TEST(NotificationCenterTest, ObserversFilterByNameAndSenderAndEndWhenRemoved)
{
    KLNotificationCenter center;
    int a = 0, b = 0, calls = 0;
    std::vector<std::string> seen;
    center.addObserver("changed", &a, [&](const KLNotification& n) { seen.push_back("a:" + n.name); });
    center.addObserver("", nullptr, [&](const KLNotification& n) { seen.push_back("all:" + n.name); });
    for (auto [name, sender] : {std::pair{"changed", &b}, std::pair{"changed", &a}, std::pair{"started", &a}})
        center.post(name, sender);
    EXPECT_EQ(seen, (std::vector<std::string>{"all:changed", "a:changed", "all:changed", "all:started"}));
    // An observer removed during a post is not called; an observation ends with its owner.
    KLNotificationCenter::Token second = 0;
    center.addObserver("n", nullptr, [&](const KLNotification&) { ++calls, center.removeObserver(second); });
    second = center.addObserver("n", nullptr, [&](const KLNotification&) { ++calls; });
    center.post("n", nullptr);
    {
        KLObservation observation("scoped", nullptr, [&](const KLNotification&) { ++calls; });
        KLNotificationCenter::defaultCenter().post("scoped", nullptr);
    }
    KLNotificationCenter::defaultCenter().post("scoped", nullptr);
    EXPECT_EQ(calls, 2);
}
