#include "ApacheSandbox.h"
#include "KLWebCheckClient.h"
#include "WebCheckSandbox.h"
#include "ServerE2ETest.h"
#include "TempDir.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

// The whole path: controller -> KLWebCheckClient -> WebCheck (test build,
// installed set-user-ID root) -> Debian's apachectl -> a private Apache on a
// copy of the installed configuration, as installed.
class ServerControlTest : public ServerE2ETest
{
protected:
    void SetUp() override
    {
        ServerE2ETest::SetUp();
        if (!ApacheSandbox::available() || WebCheckSandbox::testBuild().empty())
            GTEST_SKIP() << "needs Debian's apache2 and the test build of WebCheck";
        box = std::make_unique<WebCheckSandbox>();
        apache = std::make_unique<ApacheSandbox>(ApacheSandbox::Setup::Stock);
        box->driveApache(apache->serverRoot(), apache->controlProgram());
        std::ofstream(apache->documentRoot() + "/index.html") << "home\n";
    }
    void TearDown() override
    {
        ServerE2ETest::TearDown();
        apache.reset();
        box.reset();
    }
    KLApacheController& makeWithHelper()
    {
        KLApacheController& c = make(box->confDir(), WebCheckSandbox::mainConfName(),
                                     std::make_shared<KLWebCheckClient>(box->tool()));
        c.setHelperPath(box->tool());
        c.setProcessName(apache->processName());
        c.setControlProgram(apache->controlProgram());
        return c;
    }
    bool statusBecomes(const std::string& text)
    {
        return loop->runUntil([&] { return status.stringValue() == text; }, 30);
    }
    void skipUnlessRoot()
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "installing WebCheck set-user-ID root needs root";
    }

    std::unique_ptr<WebCheckSandbox> box;
    std::unique_ptr<ApacheSandbox> apache;
};

TEST_F(ServerControlTest, ConfigurationTestShowsApachesOwnVerdict)
{
    KLApacheController& controller = makeWithHelper();
    controller.checkApacheConfig();
    EXPECT_EQ(configCheckStatus.stringValue(), "Syntax OK") << configErrorView.string();
    EXPECT_FALSE(controller.errorPanelIsVisible());

    apache->setExtraConfig("BogusDirective here\n");
    apache->writeConfig();
    controller.checkApacheConfig();
    EXPECT_EQ(configCheckStatus.stringValue(), "Syntax Errors Encountered!");
    EXPECT_EQ(configCheckStatus.textColor(), controller.colors().at("configError"));
    const std::string text = configErrorView.string();
    EXPECT_NE(text.find("Syntax error on line"), std::string::npos) << text;
    EXPECT_NE(text.find(apache->configPath()), std::string::npos) << text;
    EXPECT_NE(text.find("BogusDirective"), std::string::npos) << text;
    EXPECT_FALSE(text.ends_with("\n")) << "the last line feed is chopped";
    EXPECT_TRUE(controller.errorPanelIsVisible());
    EXPECT_FALSE(configErrorView.isHidden());
}

TEST_F(ServerControlTest, StartGracefulRestartAndStopChangeWhatTheStatusSees)
{
    skipUnlessRoot();
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

TEST_F(ServerControlTest, RepairMakesAnIgnoredAccessFileTakeEffect)
{
    skipUnlessRoot();
    KLUserDefaults::standardUserDefaults().setBool(true, "Graceful Restart");
    const std::string original = readFile(box->mainConf());
    KLApacheController& controller = makeWithHelper();
    std::filesystem::create_directories(apache->documentRoot() + "/private");
    std::ofstream(apache->documentRoot() + "/private/index.html") << "secret\n";
    std::ofstream(apache->documentRoot() + "/private/.htaccess")
        << "AuthType Basic\nAuthName \"Private\"\nAuthUserFile /dev/null\nRequire valid-user\n";
    authView.setAuthorized(true);

    controller.toggleApache();
    ASSERT_TRUE(apache->waitForStatus("/", 200, 20)) << apache->errorLog();
    EXPECT_EQ(apache->status("/private/"), 200) << "AllowOverride None ignores the access file";

    controller.webcheck();
    EXPECT_EQ(pane.errors, std::vector<int>{0}) << "the main file was repaired; there is no user file";
    EXPECT_TRUE(apache->waitForStatus("/private/", 401, 20)) << apache->errorLog();

    // Only the AllowOverride lines of the blocks changed (and one line feed
    // was added at the end).
    std::string expected = original;
    for (std::size_t at = 0; (at = expected.find("AllowOverride None", at)) != std::string::npos;)
        expected.replace(at, 18, "AllowOverride All");
    EXPECT_EQ(readFile(box->mainConf()), expected + "\n");
}

} // namespace
