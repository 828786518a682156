#include "KLNotificationCenter.h"
#include "KLPlainRunLoop.h"
#include "KLSUController.h"
#include "KLSUControllerOutlets.h"
#include "PaneFixture.h"

namespace {

// 2023-06-15 21:05:30 in New York (EDT), in seconds since 2001-01-01 UTC.
constexpr double kNow = 708570330.0;

class SoftwareUpdateTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        loop = std::make_shared<KLPlainRunLoop>();
        KLRunLoop::setMain(loop);
        // Nothing listens there: the check ends at once without a reply.
        defaults().setObject(KLPlist("127.0.0.1:1"), "Update Server");
        swu = {.swuPanel = &swuPanel, .alerts = &alerts, .workspace = &workspace};
    }

    std::shared_ptr<KLPlainRunLoop> loop;
    KLSUControllerOutlets swu;
    FakeWindow swuPanel;
};

TEST_F(SoftwareUpdateTest, CheckShowsProgressUntilItEnds)
{
    o.swu = &swu;
    wake();
    versionCheckButton.titleText = "Check Now";
    pref->beginSWUCheck(nullptr);
    ASSERT_NE(pref->SWUController(), nullptr);
    EXPECT_EQ(std::pair(versionCheckProgress.animating, versionCheckButton.titleText), std::pair(true, std::string("Cancel")));

    ASSERT_TRUE(loop->runUntil([&] { return !versionCheckProgress.animating; }, 30));
    EXPECT_EQ(versionCheckButton.titleText, "Check Now");
    EXPECT_EQ(lastCheckText.value, "Last Check: never"); // no reply, no new time

    // A check that got a reply reports its time: today, yesterday, the date or last year's date.
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

    // Notices of other senders are not the pane's.
    int sender = 0;
    KLNotificationCenter::defaultCenter().post(KLSUController::kStarted, &sender);
    EXPECT_FALSE(versionCheckProgress.animating);
}

TEST_F(SoftwareUpdateTest, WithoutTheUpdatePanelTheCheckIsUnavailable)
{
    wake();
    try {
        pref->beginSWUCheck(nullptr);
        ADD_FAILURE() << "a check without the update panel started";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Bundle 'SWU' could not be loaded. Software Update unavailable");
    }
    EXPECT_EQ(pref->SWUController(), nullptr);

    // Selecting the pane still works; its automatic check runs once at most.
    pref->didSelect(), pref->didSelect();
    EXPECT_LE(std::count(log.begin(), log.end(), "Bundle 'SWU' could not be loaded. Software Update unavailable"), 1);
}

} // namespace
