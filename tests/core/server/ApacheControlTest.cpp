#include "KLAssert.h"
#include "KLBundle.h"
#include "ServerTestSupport.h"

namespace {

using ApacheControlTest = ApacheControllerTest;

const std::vector<std::string> kStop{"-operation", "ctl", "-data", "stop"};

TEST_F(ApacheControlTest, StateShowsInTitlesStatusAndColours) {
    KLApacheController& controller = makeAwake();
    authView.setAuthorized(true);
    controller.setApacheState(1);
    EXPECT_EQ(toggleButton.title(), "Stop Apache");
    EXPECT_TRUE(restartButton.isEnabled());
    EXPECT_TRUE(gracefulSwitch.isEnabled());
    EXPECT_EQ(status.stringValue(), "Apache status: Running");
    EXPECT_EQ(status.textColor(), controller.colors().at("statusFine"));

    controller.setApacheState(0);
    EXPECT_FALSE(controller.isApacheRunning());
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    EXPECT_FALSE(restartButton.isEnabled());
    EXPECT_FALSE(gracefulSwitch.isEnabled());
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");
    EXPECT_EQ(status.textColor(), controller.colors().at("apacheNotRunning"));

    // Running without the rights: restart stays off.
    authView.setAuthorized(false);
    controller.setApacheState(1);
    EXPECT_FALSE(restartButton.isEnabled());
    EXPECT_FALSE(gracefulSwitch.isEnabled());

    // Other values are only stored.
    controller.setApacheState(0);
    controller.setApacheState(2);
    EXPECT_TRUE(controller.isApacheRunning());
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");

    EXPECT_EQ(controller.colors().at("statusFine"), "black");
    for (const char* red : {"statusBoth", "apacheNotConfigured", "apacheNotRunning"})
        EXPECT_EQ(controller.colors().at(red), "red");
    EXPECT_NE(controller.colors().at("configSuccess"), controller.colors().at("configError"));
}

TEST_F(ApacheControlTest, OnlyTheExactProcessNameCountsAsRunning) {
    KLApacheController& controller = make();
    processes = {"bash", "httpd-worker", "xhttpd", "Httpd"};
    controller.checkApacheStatus();
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");
    processes.push_back("httpd");
    controller.checkApacheStatus();
    EXPECT_EQ(status.stringValue(), "Apache status: Running");

    // The Debian layout's server is "apache2".
    ::setenv("FENDREL_LAYOUT", "debian", 1);
    KLApacheController& debian = make();
    debian.checkApacheStatus();
    EXPECT_EQ(status.stringValue(), "Apache status: Stopped");
    processes.push_back("apache2");
    debian.checkApacheStatus();
    EXPECT_EQ(status.stringValue(), "Apache status: Running");
}

TEST_F(ApacheControlTest, CommandsGoThroughTheHelperAndAreRecheckedTwoSecondsLater) {
    KLApacheController& controller = makeAwake();
    processes = {"httpd"};
    controller.setApacheState(1);
    std::size_t timers = loop->once.size();
    controller.toggleApache();
    EXPECT_EQ(helper->calls, std::vector<std::vector<std::string>>{kStop});
    ASSERT_EQ(loop->once.size(), timers + 1);
    EXPECT_EQ(loop->once.back().first, 2.0);
    // Optimistic at once, whatever the tool did.
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    loop->runPending();
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    // The server is still there: the recheck corrects the display.
    EXPECT_TRUE(loop->runUntil([&] { return toggleButton.title() == "Stop Apache"; }, 10));
    EXPECT_EQ(listings, 1);

    processes.clear();
    helper->calls.clear();
    controller.toggleApache(); // running: stop
    controller.setApacheState(0);
    controller.toggleApache(); // stopped: start
    EXPECT_EQ(toggleButton.title(), "Stop Apache");
    EXPECT_TRUE(loop->runUntil([&] { return listings == 3; }, 10));
    EXPECT_EQ(toggleButton.title(), "Start Apache");
    EXPECT_EQ(helper->calls.size(), 2u);
    EXPECT_EQ(helper->calls.back().back(), "start");
}

TEST_F(ApacheControlTest, RestartIsGracefulAsTheSettingSays) {
    KLApacheController& controller = makeAwake();
    EXPECT_EQ(gracefulSwitch.state(), 1);
    controller.resetApache();
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    EXPECT_FALSE(KLUserDefaults::standardUserDefaults().boolForKey("Graceful Restart"));
    controller.resetApache();
    ASSERT_EQ(helper->calls.size(), 2u);
    EXPECT_EQ(helper->calls[0].back(), "graceful");
    EXPECT_EQ(helper->calls[1].back(), "restart");

    // A new controller takes the stored setting.
    EXPECT_FALSE(makeAwake().isGraceful());
    EXPECT_EQ(gracefulSwitch.state(), 0);
}

TEST_F(ApacheControlTest, UnknownCommandsAreProgrammingErrors) {
    KLApacheController& controller = make();
    for (const char* command : {"graceful;id", "-k", "Stop", ""}) {
        try {
            controller.apachectl(command);
            ADD_FAILURE() << command << " was accepted";
        } catch (const KLInvalidParameter& e) {
            EXPECT_EQ(e.condition(), "[validCommands containsObject:command]");
            EXPECT_STREQ(e.what(), "Invalid parameter not satisfying: [validCommands containsObject:command]");
        }
    }
    EXPECT_TRUE(helper->calls.empty());
    EXPECT_EQ(controller.validCommands(),
              (std::vector<std::string>{"start", "stop", "restart", "graceful", "configtest"}));
}

TEST_F(ApacheControlTest, ConfigurationTestShowsTheErrorOutput) {
    KLApacheController& controller = makeAwake();
    EXPECT_TRUE(configErrorView.isHidden());
    controller.setControlProgram(script("apachectl", "echo \"stdout is not shown\"\n"
                                                     "[ \"$1\" = configtest ] || exit 3\n"
                                                     "printf 'AH00526: Syntax error on line 3\\nInvalid command\\n\\n' >&2\n"
                                                     "exit 1\n"));
    controller.checkApacheConfig();
    EXPECT_EQ(configCheckStatus.stringValue(), "Syntax Errors Encountered!");
    EXPECT_EQ(configCheckStatus.textColor(), controller.colors().at("configError"));
    // Only the very last line feed goes.
    EXPECT_EQ(configErrorView.string(), "AH00526: Syntax error on line 3\nInvalid command\n");
    EXPECT_FALSE(configErrorView.isHidden());
    EXPECT_TRUE(controller.errorPanelIsVisible());

    controller.setControlProgram(script("apachectl-ok", "echo 'Syntax OK' >&2\n"));
    controller.checkApacheConfig();
    EXPECT_EQ(configCheckStatus.stringValue(), "Syntax OK");
    EXPECT_EQ(configCheckStatus.textColor(), controller.colors().at("configSuccess"));
    EXPECT_TRUE(configErrorView.isHidden());
    EXPECT_FALSE(controller.errorPanelIsVisible());

    controller.setControlProgram(dir.file("missing-apachectl"));
    controller.checkApacheConfig();
    EXPECT_EQ(configCheckStatus.stringValue(), "Syntax Errors Encountered!");
    EXPECT_TRUE(helper->calls.empty()) << "the test runs without the helper";
}

TEST_F(ApacheControlTest, PollingRunsWhileEnabled) {
    KLUserDefaults::standardUserDefaults().setDouble(0.02, "ApacheCheckInterval");
    KLApacheController& controller = makeAwake();
    controller.enable();
    controller.enable();
    EXPECT_TRUE(controller.isEnabled());
    EXPECT_EQ(listings, 1) << "one look for the notice at once";
    EXPECT_EQ(status.stringValue(), "") << "the status line's first check comes one interval later";
    ASSERT_TRUE(loop->runUntil([&] { return listings >= 5; }, 10));
    authView.setAuthorized(true);
    controller.disable();
    EXPECT_FALSE(controller.isEnabled());
    EXPECT_EQ(authView.deauthorizations, 1);
    EXPECT_FALSE(toggleButton.isEnabled());
    int seen = listings;
    loop->runUntil([] { return false; }, 0.2);
    EXPECT_EQ(listings, seen);
}

TEST_F(ApacheControlTest, TheLockControlEnablesTheActions) {
    helper->setUID = false;
    KLApacheController& controller = makeAwake();
    const std::string id = KLBundle::main().identifier();
    ASSERT_EQ(authView.rights.size(), 3u);
    EXPECT_EQ(authView.rights[0].name, id + ".webcheck");
    EXPECT_EQ(authView.rights[1].name, id + ".apachectl");
    EXPECT_EQ(authView.rights[2].name, "system.privilege.admin");
    EXPECT_EQ(authView.rights[2].value, controller.helperPath().value_or("?"));
    EXPECT_EQ(authView.delegate, &controller);
    EXPECT_EQ(authView.statusUpdates, 1);
    // The closed lock was reported on waking up.
    EXPECT_FALSE(toggleButton.isEnabled());
    EXPECT_FALSE(webcheckButton.isEnabled());

    authView.setAuthorized(true);
    EXPECT_TRUE(toggleButton.isEnabled());
    EXPECT_TRUE(webcheckButton.isEnabled());
    EXPECT_FALSE(restartButton.isEnabled()) << "nothing to restart";
    authView.setAuthorized(false);
    controller.setApacheState(1);
    authView.setAuthorized(true);
    EXPECT_TRUE(restartButton.isEnabled());
    EXPECT_TRUE(gracefulSwitch.isEnabled());
    authView.setAuthorized(false);
    for (FakeButton* b : {&toggleButton, &restartButton, &gracefulSwitch, &webcheckButton})
        EXPECT_FALSE(b->isEnabled());

    helper->setUID = true;
    makeAwake();
    EXPECT_EQ(authView.rights.size(), 2u);
}

TEST_F(ApacheControlTest, RepairActionReportsOnlySuccessAndRestartsGracefully) {
    dir.write("httpd.conf", "<Directory />\nAllowOverride None\n</Directory>\n");
    KLApacheController& controller = makeAwake();
    controller.webcheck();
    // The user's file does not exist (4, not reported).
    EXPECT_EQ(pane.errors, std::vector<int>{0});
    ASSERT_EQ(helper->calls.size(), 2u);
    EXPECT_EQ(helper->calls[0][1], "webcheck");
    EXPECT_EQ(helper->calls[1], (std::vector<std::string>{"-operation", "ctl", "-data", "graceful"}));
    EXPECT_EQ(listings, 1);

    pane.errors.clear();
    helper->calls.clear();
    helper->result = 7;
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    controller.webcheck();
    EXPECT_TRUE(pane.errors.empty());
    EXPECT_EQ(helper->calls.size(), 1u);

    controller.setHelperPath(std::nullopt);
    controller.webcheck();
    EXPECT_EQ(pane.errors, std::vector<int>{1});
    EXPECT_EQ(helper->calls.size(), 1u);
}

TEST_F(ApacheControlTest, RepairTurnsOnTheModulesThatAreOffAndRestartsARunningServer) {
    dir.write("httpd.conf", "");
    ::mkdir((dir.path() + "/mods-available").c_str(), 0755);
    for (const char* on : {"auth_basic", "authn_core", "authn_file", "authz_core", "authz_user", "authz_host"})
        dir.write(std::string("mods-enabled/") + on + ".load", "");
    struct Home {
        std::string saved = std::getenv("HOME");
        ~Home() { ::setenv("HOME", saved.c_str(), 1); }
    } home;
    ::setenv("HOME", dir.path().c_str(), 1);
    ::mkdir((dir.path() + "/Sites").c_str(), 0755);
    FakeTextField problems;
    outlets.moduleProblems = &problems;
    processes = {"httpd"};
    KLApacheController& controller = makeAwake();
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);

    EXPECT_EQ(problems.stringValue(), "Group rules need the Apache module authz_groupfile, which is off.\n"
                                      "Address rules need the Apache module access_compat, which is off.\n"
                                      "Personal web folders are not served: the Apache module userdir is off.");
    EXPECT_FALSE(problems.isHidden());
    controller.webcheck();
    std::vector<std::vector<std::string>> expected;
    for (const char* module : {"authz_groupfile", "access_compat", "userdir"})
        expected.push_back({"-operation", "module", "-data", module});
    expected.push_back({"-operation", "ctl", "-data", "graceful"});
    EXPECT_EQ(helper->calls, expected);
    EXPECT_TRUE(controller.lastRepairChanged());

    for (const char* on : {"authz_groupfile", "access_compat"})
        dir.write(std::string("mods-enabled/") + on + ".load", "");
    ::rmdir((dir.path() + "/Sites").c_str());
    helper->calls.clear();
    controller.webcheck();
    EXPECT_TRUE(helper->calls.empty()) << "nothing to turn on (userdir only with a personal web folder), no restart";
    EXPECT_FALSE(controller.lastRepairChanged());
    EXPECT_TRUE(problems.isHidden());
}

// At once, in the web server tab and the access tab's line: the first of
// missing, stopped, ignoring access files, with the button that fixes it.
TEST_F(ApacheControlTest, NoticeSaysWhatKeepsTheServerFromServingAndItsButtonFixesIt) {
    struct Row {
        bool installed, running;
        const char* conf;
        const char* text;     // the notice begins so; empty: hidden
        const char* button;   // empty: hidden
        const char* operation; // what the button asks of the helper
    };
    const char* ignored = "<Directory />\nAllowOverride None\n</Directory>\n";
    const char* obeyed = "<Directory />\nAllowOverride All\n</Directory>\n";
    const Row rows[] = {
        {false, false, ignored, "Apache is not installed", "", ""},
        {true, false, ignored, "Apache is stopped", "Start Apache", "ctl"},
        {true, true, ignored, "Apache ignores the access files", "Repair Configuration", "webcheck"},
        {true, true, obeyed, "", "", ""},
    };
    FakeTextField serverNotice, accessNotice;
    FakeButton accessButton;
    outlets.serverNotice = &serverNotice;
    outlets.accessNotice = &accessNotice;
    outlets.accessNoticeButton = &accessButton;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        dir.write("httpd.conf", row.conf);
        processes = row.running ? std::vector<std::string>{"httpd"} : std::vector<std::string>{};
        KLApacheController& controller = makeAwake();
        controller.setControlProgram(row.installed ? script("apachectl", "exit 0") : dir.path() + "/none");
        controller.enable();
        for (FakeTextField* field : {&serverNotice, &accessNotice}) {
            EXPECT_EQ(field->isHidden(), !*row.text);
            EXPECT_EQ(field->stringValue().rfind(row.text, 0), 0u) << field->stringValue();
        }
        EXPECT_EQ(accessButton.isHidden(), !*row.button);
        EXPECT_EQ(accessButton.title(), row.button);
        // With the lock closed the button asks for the rights and acts once they come.
        helper->calls.clear();
        authView.rightsRequests = 0;
        controller.fixServerProblem();
        EXPECT_TRUE(helper->calls.empty());
        EXPECT_EQ(authView.rightsRequests, *row.operation ? 1 : 0);
        authView.setAuthorized(true);
        EXPECT_EQ(helper->calls.empty() ? "" : helper->calls[0][1], row.operation);
        authView.setAuthorized(false);
        controller.disable();
        EXPECT_TRUE(serverNotice.isHidden() && accessNotice.isHidden() && accessButton.isHidden());
    }
}

TEST_F(ApacheControlTest, PendingRechecksDieWithTheController) {
    make().apachectl("start");
    ASSERT_EQ(loop->once.size(), 1u);
    std::shared_ptr<KLTimer> recheck = loop->once.back().second;
    EXPECT_TRUE(recheck->isValid());
    controller.reset();
    // Run, the recheck would touch the destroyed controller.
    EXPECT_FALSE(recheck->isValid());
    loop->runUntil([] { return false; }, 2.3);
    EXPECT_EQ(listings, 0);
}

} // namespace
