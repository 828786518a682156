#include "KLNotificationCenter.h"
#include "KLPlainRunLoop.h"
#include "KLSUController.h"
#include "KLSUControllerOutlets.h"
#include "PaneFixture.h"

namespace {

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

    // A check that got a reply reports its time.
    pref->setClock([] { return 708570330.0; });
    KLNotificationCenter::defaultCenter().post(KLSUController::kUpdated, pref->SWUController(),
                                               KLPlist::Dictionary{{KLSUController::kSecondsKey, 708570300.0}});
    EXPECT_EQ(defaults().doubleForKey("Last Version Check"), 708570300.0);
    EXPECT_NE(lastCheckText.value.find("Last Check: Today at "), std::string::npos);

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
