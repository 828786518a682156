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

// The whole path: the web server controller with fake views, on its own run loop -> KLWebCheckClient -> WebCheck
// (test build, installed set-user-ID root) -> Debian's apachectl -> a private Apache on a copy of the installed
// configuration.
TEST(ServerControlTest, StartGracefulRestartAndStopChangeWhatTheStatusSees)
{
    if (!ApacheSandbox::available() || WebCheckSandbox::testBuild().empty() || ::geteuid() != 0)
        GTEST_SKIP() << "needs Debian's apache2 and the test build of WebCheck, installed set-user-ID root";
    ::setenv("FENDREL_LAYOUT", "debian", 1);
    FendrelPref::initialize();
    auto loop = std::make_shared<KLPlainRunLoop>();
    KLRunLoop::setMain(loop);
    WebCheckSandbox box;
    ApacheSandbox apache(ApacheSandbox::Setup::Stock);
    box.driveApache(apache.serverRoot(), apache.controlProgram());
    std::ofstream(apache.documentRoot() + "/index.html") << "home\n";
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setBool(true, "Override Conf Directory Location");
    defaults.setBool(false, "Override Log Directory");
    defaults.setObject(box.confDir(), "Apache Conf Directory");
    defaults.setObject(WebCheckSandbox::mainConfName(), "Apache Conf File");
    defaults.setDouble(0.25, "ApacheCheckInterval");
    defaults.setBool(true, "Graceful Restart");
    FakeButton toggleButton, restartButton, gracefulSwitch, logDisplayButton, webcheckButton;
    FakeTextField configCheckStatus, status;
    FakeTextView configErrorView;
    FakePopUpButton logPicker;
    FakeAuthorizationView authView;
    FakeWorkspace workspace;
    auto controller = std::make_unique<KLApacheController>(std::make_shared<KLWebCheckClient>(box.tool()));
    controller->setStatusDisplay(&status);
    controller->awakeFromNib({.toggleButton = &toggleButton, .restartButton = &restartButton,
                              .gracefulSwitch = &gracefulSwitch, .configCheckStatus = &configCheckStatus,
                              .configErrorView = &configErrorView, .logPicker = &logPicker,
                              .logDisplayButton = &logDisplayButton, .webcheckButton = &webcheckButton,
                              .authView = &authView, .workspace = &workspace});
    controller->setHelperPath(box.tool());
    controller->setProcessName(apache.processName());
    controller->setControlProgram(apache.controlProgram());
    auto statusBecomes = [&](const std::string& text) {
        return loop->runUntil([&] { return status.stringValue() == text; }, 30);
    };
    authView.setAuthorized(true);
    controller->checkApacheStatus();
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");
    controller->enable();

    controller->toggleApache();
    EXPECT_TRUE(apache.waitForStatus("/", 200, 20)) << apache.errorLog();
    EXPECT_TRUE(statusBecomes("Apache status: Running"));
    EXPECT_EQ(toggleButton.title(), "Stop Apache");
    EXPECT_TRUE(restartButton.isEnabled());
    EXPECT_TRUE(box.tool().size() > 0 && controller->isHelperSetUID()) << "installed on first use";

    // Graceful: the server reads the changed site and keeps running.
    EXPECT_EQ(apache.status("/closed/"), 404);
    apache.setExtraConfig("<Location /closed/>\n    Require all denied\n</Location>\n");
    apache.writeConfig();
    controller->resetApache();
    EXPECT_TRUE(apache.waitForStatus("/closed/", 403, 20)) << apache.errorLog();
    EXPECT_EQ(status.stringValue(), "Apache status: Running");

    controller->toggleApache();
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    EXPECT_TRUE(apache.waitForStatus("/", 0, 20)) << "the port closes";
    EXPECT_TRUE(statusBecomes("Apache status: Stopped"));
    controller.reset();
    KLRunLoop::setMain(nullptr);
    ::unsetenv("FENDREL_LAYOUT");
}
