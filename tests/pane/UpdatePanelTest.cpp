#include "LoopbackHTTPServer.h"
#include "VersionsReply.h"
#include "PaneFixture.h"

#include "KLUpdatePanel.h"
#include "QtTableModel.h"

#include <QAbstractButton>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

namespace {

constexpr const char* kVersionsPath = "/KLSVersions.php";

TEST_F(PaneFixture, ANewerVersionOpensTheUpdatePanelAndLaterClosesIt)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{kVersionsPath, versionsReply("99.0")}}));
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Update Server");
    auto* check = pane().findChild<QAbstractButton*>("versionCheckButton");
    check->click();
    KLUpdatePanel& panel = *pane().updatePanel();
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return panel.isVisible(); }, 10000));
    EXPECT_EQ(check->text(), "Check Now") << "the check has ended";
    EXPECT_EQ(panel.findChild<QPlainTextEdit*>("releaseNotes")->toPlainText(), "Folders open faster.");
    EXPECT_EQ(panel.findChild<QLabel*>("noteField")->text(), "Maintenance tonight");
    auto* details = panel.findChild<KLTableView*>("detailsTable");
    ASSERT_EQ(details->tableModel()->rowCount(), 1);
    EXPECT_EQ(details->tableModel()->index(0, 0).data().toString(), "99.0");
    EXPECT_EQ(details->tableModel()->index(0, 1).data().toString(), "123456");
    EXPECT_NE(pane().findChild<QLabel*>("lastCheckText")->text(), "Last Check: never");

    panel.laterButton()->click();
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(PaneFixture, TheRunningVersionIsAnnouncedUpToDate)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{kVersionsPath, versionsReply("0.1")}}));
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Update Server");
    pane().findChild<QAbstractButton*>("versionCheckButton")->click();
    ASSERT_TRUE(PaneTestApp::waitFor([] { return openAlert() != nullptr; }, 10000));
    EXPECT_EQ(openAlert()->text(), "Up to Date");
    EXPECT_TRUE(openAlert()->informativeText().contains("KLS Notes: Maintenance tonight"));
    EXPECT_TRUE(answerAlert("OK"));
    EXPECT_FALSE(pane().updatePanel()->isVisible());
}

} // namespace
