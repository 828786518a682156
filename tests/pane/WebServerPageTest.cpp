#include "PaneFixture.h"

#include "KLApacheController.h"
#include "KLApachePage.h"
#include "KLHelperTool.h"
#include "QtAuthorizationView.h"

#include <QTabWidget>
#include <QToolButton>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Args = std::vector<std::string>;

// Records what the web server controller asks of the helper tool.
class RecordingHelper : public KLHelperTool
{
public:
    bool isHelperSetUID() const override { return true; }
    int webcheckWithArgs(const Args& arguments) const override { return runs.push_back(arguments), 0; }
    mutable std::vector<Args> runs;
};

// The pane with a web server controller whose configuration test fails,
// whose helper only records and whose server runs when `running` says so.
class WebServerPageTest : public PaneFixture
{
protected:
    WebServerPageTest()
    {
        std::string script = scripts.write("configtest", "#!/bin/sh\necho \"Invalid command 'Requir'\" >&2\nexit 1\n");
        ::chmod(script.c_str(), 0755);
        apacheFactory = [this, script] {
            auto apache = std::make_shared<KLApacheController>(helper);
            apache->setControlProgram(script);
            apache->setProcessName("apache2");
            apache->setProcessLister([this] { return running; });
            return apache;
        };
    }
    void SetUp() override
    {
        PaneFixture::SetUp();
        // Logs from a folder of the test, not the system's configuration.
        KLUserDefaults::standardUserDefaults().setBool(true, "Override Conf Directory Location");
        KLUserDefaults::standardUserDefaults().setObject(KLPlist(scripts.path()), "Apache Conf Directory");
    }
    KLApachePage& page() { return *pane().apachePage(); }
    QtAuthorizationView& lock() { return *page().authorizationView(); }
    // Clicks the lock with this polkit checker and waits for its answer.
    void clickLock(const std::string& pkcheck)
    {
        PaneTestApp::waitFor([&] { return !lock().isAsking(); });
        lock().setPkcheckPath(pkcheck);
        page().findChild<QToolButton*>("authView")->click();
        PaneTestApp::waitFor([&] { return !lock().isAsking(); });
        PaneTestApp::settle();
    }
    void openLock()
    {
        if (PaneTestApp::waitFor([&] { return !lock().isAsking(); }) && !lock().isAuthorized())
            clickLock("/bin/true");
    }
    // Whether the lock is open, and the start and repair buttons with it.
    std::vector<bool> controls() { return {lock().isAuthorized(), page().toggleButton()->isEnabled(), page().webcheckButton()->isEnabled()}; }

    TempDir scripts;
    std::shared_ptr<RecordingHelper> helper = std::make_shared<RecordingHelper>();
    std::vector<std::string> running;
};

TEST_F(WebServerPageTest, TheLockOpensTheControlsOnlyWithTheRights)
{
    openLock();
    EXPECT_EQ(controls(), std::vector<bool>(3, true));
    std::string pkcheck = scripts.write("pkcheck", "#!/bin/sh\necho \"$*\" >> \"$0.log\"\n");
    ::chmod(pkcheck.c_str(), 0755);
    clickLock(pkcheck);
    EXPECT_EQ(controls(), std::vector<bool>(3, false)) << "a click on the open lock closes it";
    EXPECT_EQ(readFile(pkcheck + ".log"), "--revoke-temp\n") << "polkit's kept authorization goes with it";
    if (::geteuid() == 0)
        return; // root holds the rights whatever polkit says
    clickLock("/bin/false");
    EXPECT_EQ(controls(), std::vector<bool>(3, false));
}

TEST_F(WebServerPageTest, ModulesThatAreOffAreNamedAndRepairTurnsThemOn)
{
    scripts.mkdir("mods-available");
    for (const char* on : {"auth_basic", "authn_core", "authn_file", "authz_core", "authz_user", "authz_host", "access_compat"})
        scripts.write(std::string("mods-enabled/") + on + ".load", "");
    pref().apache()->setConfFileDir(scripts.path());
    pref().apache()->showModuleProblems();
    EXPECT_FALSE(page().moduleProblems()->isHidden());
    EXPECT_EQ(page().moduleProblems()->text(), "Group rules need the Apache module authz_groupfile, which is off.");
    openLock();
    pref().apache()->setHelperPath(scripts.path());
    page().webcheckButton()->click();
    ASSERT_FALSE(helper->runs.empty());
    EXPECT_EQ(helper->runs.front(), (Args{"-operation", "module", "-data", "authz_groupfile"}));
}

TEST_F(WebServerPageTest, StartAndStopGoThroughTheHelperAndTheStatusFollows)
{
    // At once, before the first poll: both tabs say the server is stopped.
    auto* notice = child<QLabel>("accessNotice");
    EXPECT_TRUE(notice->text().startsWith("Apache is stopped")) << notice->text().toStdString();
    EXPECT_FALSE(notice->isHidden());
    EXPECT_EQ(page().serverNotice()->text(), notice->text());
    openLock();
    child("accessNoticeButton")->click();
    EXPECT_FALSE(notice->text().startsWith("Apache is stopped"));
    EXPECT_EQ(helper->runs, (std::vector<Args>{{"-operation", "ctl", "-data", "start"}}));
    EXPECT_EQ(page().toggleButton()->text(), "Stop Apache");
    EXPECT_EQ(child<QLabel>("fendrelStatus")->text(), "Apache status: Running");
    running = {"apache2"};
    page().toggleButton()->click();
    EXPECT_EQ(helper->runs.back(), (Args{"-operation", "ctl", "-data", "stop"}));
    EXPECT_EQ(page().toggleButton()->text(), "Start Apache");
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return page().toggleButton()->text() == "Stop Apache"; }, 5000))
        << "the check after two seconds sees the server still running";
}

TEST_F(WebServerPageTest, AFailedConfigurationTestShowsItsErrorsInTheGrowingArea)
{
    QPlainTextEdit* errors = page().configErrorView();
    EXPECT_TRUE(errors->isHidden());
    int before = page().findChild<QWidget*>("apachectlBox")->sizeHint().height();
    page().configCheckButton()->click();
    PaneTestApp::settle();
    auto* status = page().findChild<QLabel*>("configCheckStatus");
    EXPECT_EQ(status->text(), "Syntax Errors Encountered!");
    EXPECT_EQ(status->palette().color(QPalette::WindowText), QColor(0xf5, 0x99, 0x00));
    EXPECT_FALSE(errors->isHidden());
    EXPECT_EQ(errors->toPlainText(), "Invalid command 'Requir'");
    EXPECT_GT(page().findChild<QWidget*>("apachectlBox")->sizeHint().height(), before);
}

TEST_F(WebServerPageTest, TheRemoteServerOptionPutsTheWebServerTabBackWhereItWas)
{
    QTabWidget& tabs = *pane().tabs();
    const int count = tabs.count();
    const QString title = tabs.tabText(2);
    EXPECT_EQ(tabs.indexOf(&page()), 2) << title.toStdString();
    ASSERT_TRUE(child("remoteApacheCheck")->isEnabled()) << "the custom folder is allowed";
    press("remoteApacheCheck");
    EXPECT_EQ(tabs.indexOf(&page()), -1);
    EXPECT_EQ(child<QLabel>("fendrelStatus")->text(), "Apache status not available");
    press("remoteApacheCheck");
    EXPECT_EQ(tabs.count(), count);
    EXPECT_EQ(tabs.indexOf(&page()), 2);
    EXPECT_EQ(tabs.tabText(2), title);
}

} // namespace
