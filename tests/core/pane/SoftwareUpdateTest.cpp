#include "KLNotificationCenter.h"
#include "KLPlainRunLoop.h"
#include "KLSUController.h"
#include "KLSUControllerOutlets.h"
#include "PaneFixture.h"

namespace {

// 2023-06-15 21:05:30 in New York (EDT), in seconds since 2001-01-01 UTC.
constexpr double kNow = 708570330.0;

TEST_F(PaneTest, CheckShowsProgressUntilItEndsAndTellsWhenItLastGotAReply)
{
    auto loop = std::make_shared<KLPlainRunLoop>();
    KLRunLoop::setMain(loop);
    defaults().setObject(KLPlist("127.0.0.1:1"), "Update Server"); // nothing listens: no reply
    FakeWindow swuPanel;
    KLSUControllerOutlets swu{.swuPanel = &swuPanel, .alerts = &alerts, .workspace = &workspace};
    o.swu = &swu;
    wake();
    pref->beginSWUCheck(nullptr);
    ASSERT_NE(pref->SWUController(), nullptr);
    EXPECT_EQ(std::pair(versionCheckProgress.animating, versionCheckButton.titleText), std::pair(true, std::string("Cancel")));
    ASSERT_TRUE(loop->runUntil([&] { return !versionCheckProgress.animating; }, 30));
    EXPECT_EQ(std::tuple(versionCheckButton.titleText, lastCheckText.value), std::tuple("Check Now", "Last Check: never"));

    const char* tz = std::getenv("TZ");
    const std::optional<std::string> savedTZ = tz ? std::optional<std::string>(tz) : std::nullopt;
    ::setenv("TZ", "America/New_York", 1);
    ::tzset();
    pref->setClock([] { return kNow; });
    const std::pair<double, const char*> cases[] = {
        {kNow - 30, "Last Check: Today at 9:05 PM"},
        {708494400.0, "Last Check: Today at 12:00 AM"}, // midnight today
        {708494400.0 - 1, "Last Check: Yesterday at 11:59 PM"},
        {708436800.0, "Last Check: Yesterday at 8:00 AM"},
        {708408000.0 - 1, "Last Check: June 13 at 11:59 PM"}, // before yesterday
        {707317500.0, "Last Check: June 1 at 9:05 AM"},
        {676143900.0, "Last Check: June 5, 2022 at 1:45 PM"},
        // The year is counted from the end of November before it, as built.
        {692809200.0, "Last Check: December 15 at 10:00 AM"},
        {691473600.0, "Last Check: November 29, 2022 at 11:00 PM"},
        {0, "Last Check: never"},
    };
    for (auto [seconds, text] : cases) {
        KLNotificationCenter::defaultCenter().post(KLSUController::kUpdated, pref->SWUController(),
                                                   KLPlist::Dictionary{{KLSUController::kSecondsKey, seconds}});
        EXPECT_EQ(lastCheckText.value, text);
        EXPECT_EQ(defaults().doubleForKey("Last Version Check"), seconds); // stored as well
    }
    savedTZ ? ::setenv("TZ", savedTZ->c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

} // namespace
