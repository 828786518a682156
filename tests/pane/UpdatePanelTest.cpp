#include "KLUpdatePanel.h"
#include "LoopbackHTTPServer.h"
#include "PaneFixture.h"
#include "QtTableModel.h"
#include "VersionsReply.h"


namespace {

TEST_F(PaneFixture, ANewerVersionOpensTheUpdatePanelAndLaterClosesIt)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{"/KLSVersions.php", versionsReply("99.0")}}));
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Update Server");
    press("versionCheckButton");
    KLUpdatePanel& panel = *pane().updatePanel();
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return panel.isVisible(); }, 10000));
    EXPECT_EQ(child("versionCheckButton")->text(), "Check Now") << "the check has ended";
    EXPECT_EQ(panel.findChild<QPlainTextEdit*>("releaseNotes")->toPlainText(), "Folders open faster.");
    EXPECT_EQ(panel.findChild<QLabel*>("noteField")->text(), "Maintenance tonight");
    QtTableModel& details = *panel.findChild<KLTableView*>("detailsTable")->tableModel();
    ASSERT_EQ(details.rowCount(), 1);
    EXPECT_EQ(details.index(0, 0).data().toString(), "99.0");
    EXPECT_EQ(details.index(0, 1).data().toString(), "123456");
    EXPECT_NE(child<QLabel>("lastCheckText")->text(), "Last Check: never");
    panel.laterButton()->click();
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(PaneFixture, TheRunningVersionIsAnnouncedUpToDate)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{"/KLSVersions.php", versionsReply("0.1")}}));
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Update Server");
    press("versionCheckButton");
    ASSERT_TRUE(openAlert(10000));
    EXPECT_EQ(openAlert()->text(), "Up to Date");
    EXPECT_TRUE(openAlert()->informativeText().contains("KLS Notes: Maintenance tonight"));
    EXPECT_TRUE(answerAlert("OK"));
    EXPECT_FALSE(pane().updatePanel()->isVisible());
}

} // namespace
