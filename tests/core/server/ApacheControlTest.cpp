#include "KLAssert.h"
#include "KLBundle.h"
#include "ServerTestSupport.h"

#include <tuple>

namespace {

using ApacheControlTest = ApacheControllerTest;
using Calls = std::vector<std::vector<std::string>>;

std::vector<std::string> ctl(const std::string& command) { return {"-operation", "ctl", "-data", command}; }

TEST_F(ApacheControlTest, StateShowsInTitlesStatusAndColours)
{
    KLApacheController& controller = makeAwake();
    const auto& colors = controller.colors();
    auto shown = [&] {
        return std::tuple(toggleButton.title(), restartButton.isEnabled(), gracefulSwitch.isEnabled(),
                          status.stringValue(), status.textColor());
    };
    authView.setAuthorized(true);
    controller.setApacheState(1);
    EXPECT_EQ(shown(), std::tuple("Stop Apache", true, true, "Apache status: Running", colors.at("statusFine")));
    controller.setApacheState(0);
    EXPECT_FALSE(controller.isApacheRunning());
    EXPECT_EQ(shown(),
              std::tuple("Start Apache", false, false, "Apache status: Stopped", colors.at("apacheNotRunning")));
    authView.setAuthorized(false); // running without the rights: restart stays off
    controller.setApacheState(1);
    EXPECT_EQ(std::tuple(restartButton.isEnabled(), gracefulSwitch.isEnabled()), std::tuple(false, false));
    controller.setApacheState(0); // other values are only stored
    controller.setApacheState(2);
    EXPECT_TRUE(controller.isApacheRunning());
    EXPECT_EQ(std::tuple(toggleButton.title(), status.stringValue()), std::tuple("Start Apache", "Apache status: Stopped"));
}

TEST_F(ApacheControlTest, OnlyTheExactProcessNameCountsAsRunning)
{
    // The Debian layout's server is "apache2".
    for (auto [layout, name] : {std::pair{"macos", "httpd"}, std::pair{"debian", "apache2"}}) {
        ::setenv("FENDREL_LAYOUT", layout, 1);
        KLApacheController& controller = make();
        processes = {"bash", "httpd-worker", "xhttpd", "Httpd", layout == std::string("debian") ? "httpd" : "apache2"};
        controller.checkApacheStatus();
        EXPECT_EQ(status.stringValue(), "Apache status: Stopped") << layout;
        processes.push_back(name);
        controller.checkApacheStatus();
        EXPECT_EQ(status.stringValue(), "Apache status: Running") << layout;
    }
}

TEST_F(ApacheControlTest, CommandsGoThroughTheHelperAndAreRecheckedTwoSecondsLater)
{
    KLApacheController& controller = makeAwake();
    processes = {"httpd"};
    controller.setApacheState(1);
    std::size_t timers = loop->once.size();
    controller.toggleApache();
    EXPECT_EQ(helper->calls, Calls{ctl("stop")});
    ASSERT_EQ(loop->once.size(), timers + 1);
    EXPECT_EQ(loop->once.back().first, 2.0);
    EXPECT_EQ(toggleButton.title(), "Start Apache"); // optimistic at once, whatever the tool did
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
    EXPECT_EQ(helper->calls, (Calls{ctl("stop"), ctl("start")}));
}

TEST_F(ApacheControlTest, RestartIsGracefulAsTheSettingSays)
{
    KLApacheController& controller = makeAwake();
    EXPECT_EQ(gracefulSwitch.state(), 1);
    controller.resetApache();
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    EXPECT_FALSE(KLUserDefaults::standardUserDefaults().boolForKey("Graceful Restart"));
    controller.resetApache();
    EXPECT_EQ(helper->calls, (Calls{ctl("graceful"), ctl("restart")}));
    EXPECT_FALSE(makeAwake().isGraceful()); // a new controller takes the stored setting
    EXPECT_EQ(gracefulSwitch.state(), 0);
}

TEST_F(ApacheControlTest, UnknownCommandsAreProgrammingErrors)
{
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
}

TEST_F(ApacheControlTest, ConfigurationTestShowsTheErrorOutput)
{
    KLApacheController& controller = makeAwake();
    EXPECT_TRUE(configErrorView.isHidden());
    const auto& colors = controller.colors();
    // Only stderr is shown, without its very last line feed; a missing program shows no output.
    const struct {
        std::string program, status, color;
        std::optional<std::string> errors;
    } runs[] = {
        {script("apachectl", "echo \"stdout is not shown\"\n[ \"$1\" = configtest ] || exit 3\n"
                             "printf 'AH00526: Syntax error on line 3\\nInvalid command\\n\\n' >&2\nexit 1\n"),
         "Syntax Errors Encountered!", colors.at("configError"), "AH00526: Syntax error on line 3\nInvalid command\n"},
        {script("apachectl-ok", "echo 'Syntax OK' >&2\n"), "Syntax OK", colors.at("configSuccess"), ""},
        {dir.file("missing-apachectl"), "Syntax Errors Encountered!", colors.at("configError"), std::nullopt},
    };
    for (const auto& run : runs) {
        controller.setControlProgram(run.program);
        controller.checkApacheConfig();
        EXPECT_EQ(std::tuple(configCheckStatus.stringValue(), configCheckStatus.textColor()),
                  std::tuple(run.status, run.color));
        if (!run.errors)
            continue;
        EXPECT_EQ(std::tuple(configErrorView.isHidden(), controller.errorPanelIsVisible()),
                  std::tuple(run.errors->empty(), !run.errors->empty()));
        EXPECT_TRUE(run.errors->empty() || configErrorView.string() == *run.errors) << configErrorView.string();
    }
    EXPECT_TRUE(helper->calls.empty()) << "the test runs without the helper";
}

TEST_F(ApacheControlTest, PollingRunsWhileEnabled)
{
    KLUserDefaults::standardUserDefaults().setDouble(0.02, "ApacheCheckInterval");
    KLApacheController& controller = makeAwake();
    controller.enable(), controller.enable();
    EXPECT_TRUE(controller.isEnabled());
    EXPECT_EQ(listings, 1) << "one look for the notice at once";
    EXPECT_EQ(status.stringValue(), "") << "the status line's first check comes one interval later";
    ASSERT_TRUE(loop->runUntil([&] { return listings >= 5; }, 10));
    authView.setAuthorized(true);
    controller.disable();
    EXPECT_EQ(std::tuple(controller.isEnabled(), authView.deauthorizations, toggleButton.isEnabled()),
              std::tuple(false, 1, false));
    int seen = listings;
    loop->runUntil([] { return false; }, 0.2);
    EXPECT_EQ(listings, seen);
}

TEST_F(ApacheControlTest, TheLockControlEnablesTheActions)
{
    helper->setUID = false;
    KLApacheController& controller = makeAwake();
    const std::string id = KLBundle::main().identifier();
    ASSERT_EQ(authView.rights.size(), 3u);
    EXPECT_EQ(std::tuple(authView.rights[0].name, authView.rights[1].name, authView.rights[2].name),
              std::tuple(id + ".webcheck", id + ".apachectl", "system.privilege.admin"));
    EXPECT_EQ(authView.rights[2].value, controller.helperPath().value_or("?"));
    EXPECT_EQ(authView.delegate, &controller);
    EXPECT_EQ(authView.statusUpdates, 1);
    auto enabled = [&] {
        return std::tuple(toggleButton.isEnabled(), restartButton.isEnabled(), gracefulSwitch.isEnabled(),
                          webcheckButton.isEnabled());
    };
    EXPECT_EQ(enabled(), std::tuple(false, false, false, false)); // the closed lock was reported on waking up
    authView.setAuthorized(true);
    EXPECT_EQ(enabled(), std::tuple(true, false, false, true)) << "nothing to restart";
    authView.setAuthorized(false);
    controller.setApacheState(1);
    authView.setAuthorized(true);
    EXPECT_EQ(enabled(), std::tuple(true, true, true, true));
    authView.setAuthorized(false);
    EXPECT_EQ(enabled(), std::tuple(false, false, false, false));

    helper->setUID = true;
    makeAwake();
    EXPECT_EQ(authView.rights.size(), 2u);
}

TEST_F(ApacheControlTest, RepairActionReportsOnlySuccessAndRestartsGracefully)
{
    dir.write("httpd.conf", "<Directory />\nAllowOverride None\n</Directory>\n");
    KLApacheController& controller = makeAwake();
    controller.webcheck();
    EXPECT_EQ(pane.errors, std::vector<int>{0}); // the user's file does not exist (4, not reported)
    ASSERT_EQ(helper->calls.size(), 2u);
    EXPECT_EQ(std::pair(helper->calls[0][1], helper->calls[1]), std::pair(std::string("webcheck"), ctl("graceful")));
    EXPECT_EQ(listings, 1);

    pane.errors.clear();
    helper->calls.clear();
    helper->result = 7;
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    controller.webcheck();
    EXPECT_EQ(std::pair(pane.errors, helper->calls.size()), std::pair(std::vector<int>{}, std::size_t{1}));
    controller.setHelperPath(std::nullopt);
    controller.webcheck();
    EXPECT_EQ(std::pair(pane.errors, helper->calls.size()), std::pair(std::vector<int>{1}, std::size_t{1}));
}

TEST_F(ApacheControlTest, RepairTurnsOnTheModulesThatAreOffAndRestartsARunningServer)
{
    dir.write("httpd.conf", "");
    dir.mkdir("mods-available");
    for (const char* on : {"auth_basic", "authn_core", "authn_file", "authz_core", "authz_user", "authz_host"})
        dir.write(std::string("mods-enabled/") + on + ".load", "");
    struct Home {
        std::string saved = std::getenv("HOME");
        ~Home() { ::setenv("HOME", saved.c_str(), 1); }
    } home;
    ::setenv("HOME", dir.path().c_str(), 1);
    dir.mkdir("Sites");
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
    Calls expected;
    for (const char* module : {"authz_groupfile", "access_compat", "userdir"})
        expected.push_back({"-operation", "module", "-data", module});
    expected.push_back(ctl("graceful"));
    EXPECT_EQ(helper->calls, expected);
    EXPECT_TRUE(controller.lastRepairChanged());

    for (const char* on : {"authz_groupfile", "access_compat"})
        dir.write(std::string("mods-enabled/") + on + ".load", "");
    ::rmdir((dir.path() + "/Sites").c_str());
    helper->calls.clear();
    controller.webcheck();
    EXPECT_TRUE(helper->calls.empty()) << "nothing to turn on (userdir only with a personal web folder), no restart";
    EXPECT_EQ(std::pair(controller.lastRepairChanged(), problems.isHidden()), std::pair(false, true));
}

// At once, in the web server tab and the access tab's line: the first of
// missing, stopped, ignoring access files, with the button that fixes it.
TEST_F(ApacheControlTest, NoticeSaysWhatKeepsTheServerFromServingAndItsButtonFixesIt)
{
    const char* ignored = "<Directory />\nAllowOverride None\n</Directory>\n";
    const struct {
        bool installed, running;
        const char* conf;
        std::string text, button, operation; // the notice's start, the button, what it asks; empty: hidden, none
    } rows[] = {
        {false, false, ignored, "Apache is not installed", "", ""},
        {true, false, ignored, "Apache is stopped", "Start Apache", "ctl"},
        {true, true, ignored, "Apache ignores the access files", "Repair Configuration", "webcheck"},
        {true, true, "<Directory />\nAllowOverride All\n</Directory>\n", "", "", ""},
    };
    FakeTextField serverNotice, accessNotice;
    FakeButton accessButton;
    outlets.serverNotice = &serverNotice;
    outlets.accessNotice = &accessNotice;
    outlets.accessNoticeButton = &accessButton;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        dir.write("httpd.conf", row.conf);
        processes = row.running ? std::vector<std::string>{"httpd"} : std::vector<std::string>{};
        KLApacheController& controller = makeAwake();
        controller.setControlProgram(row.installed ? script("apachectl", "exit 0") : dir.path() + "/none");
        controller.enable();
        for (FakeTextField* field : {&serverNotice, &accessNotice}) {
            EXPECT_EQ(field->isHidden(), row.text.empty());
            EXPECT_TRUE(field->stringValue().starts_with(row.text)) << field->stringValue();
        }
        EXPECT_EQ(std::tuple(accessButton.isHidden(), accessButton.title()), std::tuple(row.button.empty(), row.button));
        // With the lock closed the button asks for the rights and acts once they come.
        helper->calls.clear();
        authView.rightsRequests = 0;
        controller.fixServerProblem();
        EXPECT_TRUE(helper->calls.empty());
        EXPECT_EQ(authView.rightsRequests, row.operation.empty() ? 0 : 1);
        authView.setAuthorized(true);
        EXPECT_EQ(helper->calls.empty() ? "" : helper->calls[0][1], row.operation);
        authView.setAuthorized(false);
        controller.disable();
        EXPECT_TRUE(serverNotice.isHidden() && accessNotice.isHidden() && accessButton.isHidden());
    }
}

TEST_F(ApacheControlTest, PendingRechecksDieWithTheController)
{
    make().apachectl("start");
    ASSERT_EQ(loop->once.size(), 1u);
    std::shared_ptr<KLTimer> recheck = loop->once.back().second;
    EXPECT_TRUE(recheck->isValid());
    controller.reset();
    EXPECT_FALSE(recheck->isValid()); // run, the recheck would touch the destroyed controller
    loop->runUntil([] { return false; }, 2.3);
    EXPECT_EQ(listings, 0);
}

} // namespace
