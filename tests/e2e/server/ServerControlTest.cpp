#include "ApacheSandbox.h"
#include "FakeAuthorizationView.h"
#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLPlainRunLoop.h"
#include "KLUserDefaults.h"
#include "KLWebCheckClient.h"
#include "WebCheckSandbox.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace {

// The whole path: the web server controller with fake views, on its own run loop -> KLWebCheckClient -> WebCheck
// (test build, installed set-user-ID root) -> Debian's apachectl -> a private Apache on a copy of the installed
// configuration.
class ServerControlTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("FENDREL_LAYOUT", "debian", 1);
        FendrelPref::initialize();
        KLRunLoop::setMain(loop);
        KLUserDefaults::standardUserDefaults().setBool(true, "Override Conf Directory Location");
        KLUserDefaults::standardUserDefaults().setBool(false, "Override Log Directory");
        if (!ApacheSandbox::available() || WebCheckSandbox::testBuild().empty())
            GTEST_SKIP() << "needs Debian's apache2 and the test build of WebCheck";
        box = std::make_unique<WebCheckSandbox>();
        apache = std::make_unique<ApacheSandbox>(ApacheSandbox::Setup::Stock);
        box->driveApache(apache->serverRoot(), apache->controlProgram());
        std::ofstream(apache->documentRoot() + "/index.html") << "home\n";
        outlets = {.toggleButton = &toggleButton, .restartButton = &restartButton, .gracefulSwitch = &gracefulSwitch,
                   .configCheckStatus = &configCheckStatus, .configErrorView = &configErrorView, .logPicker = &logPicker,
                   .logDisplayButton = &logDisplayButton, .webcheckButton = &webcheckButton, .authView = &authView,
                   .workspace = &workspace};
    }
    void TearDown() override
    {
        controller.reset();
        KLRunLoop::setMain(nullptr);
        ::unsetenv("FENDREL_LAYOUT");
    }
    KLApacheController& makeWithHelper()
    {
        KLUserDefaults::standardUserDefaults().setObject(box->confDir(), "Apache Conf Directory");
        KLUserDefaults::standardUserDefaults().setObject(WebCheckSandbox::mainConfName(), "Apache Conf File");
        controller = std::make_unique<KLApacheController>(std::make_shared<KLWebCheckClient>(box->tool()));
        controller->setStatusDisplay(&status);
        controller->awakeFromNib(outlets);
        controller->setHelperPath(box->tool());
        controller->setProcessName(apache->processName());
        controller->setControlProgram(apache->controlProgram());
        return *controller;
    }
    bool statusBecomes(const std::string& text)
    {
        return loop->runUntil([&] { return status.stringValue() == text; }, 30);
    }

    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
    FakeButton toggleButton, restartButton, gracefulSwitch, logDisplayButton, webcheckButton;
    FakeTextField configCheckStatus, status;
    FakeTextView configErrorView;
    FakePopUpButton logPicker;
    FakeAuthorizationView authView;
    FakeWorkspace workspace;
    KLApacheControllerOutlets outlets;
    std::unique_ptr<KLApacheController> controller;
    std::unique_ptr<WebCheckSandbox> box;
    std::unique_ptr<ApacheSandbox> apache;
};

TEST_F(ServerControlTest, StartGracefulRestartAndStopChangeWhatTheStatusSees)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "installing WebCheck set-user-ID root needs root";
    KLUserDefaults::standardUserDefaults().setDouble(0.25, "ApacheCheckInterval");
    KLUserDefaults::standardUserDefaults().setBool(true, "Graceful Restart");
    KLApacheController& controller = makeWithHelper();
    authView.setAuthorized(true);
    controller.checkApacheStatus();
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");
    controller.enable();

    controller.toggleApache();
    ASSERT_TRUE(apache->waitForStatus("/", 200, 20)) << apache->errorLog();
    ASSERT_TRUE(statusBecomes("Apache status: Running"));
    EXPECT_EQ(toggleButton.title(), "Stop Apache");
    EXPECT_TRUE(restartButton.isEnabled());
    EXPECT_TRUE(box->tool().size() > 0 && controller.isHelperSetUID()) << "installed on first use";

    // Graceful: the server reads the changed site and keeps running.
    ASSERT_EQ(apache->status("/closed/"), 404);
    apache->setExtraConfig("<Location /closed/>\n    Require all denied\n</Location>\n");
    apache->writeConfig();
    controller.resetApache();
    EXPECT_TRUE(apache->waitForStatus("/closed/", 403, 20)) << apache->errorLog();
    EXPECT_EQ(status.stringValue(), "Apache status: Running");

    // A full restart when the switch is off.
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    apache->setExtraConfig("");
    apache->writeConfig();
    controller.resetApache();
    EXPECT_TRUE(apache->waitForStatus("/closed/", 404, 20)) << apache->errorLog();
    EXPECT_TRUE(statusBecomes("Apache status: Running"));

    controller.toggleApache();
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    EXPECT_TRUE(apache->waitForStatus("/", 0, 20)) << "the port closes";
    // Polling keeps seeing it stopped.
    loop->runUntil([] { return false; }, 3);
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");
    EXPECT_EQ(status.textColor(), controller.colors().at("apacheNotRunning"));
}

} // namespace
