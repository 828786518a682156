#include "FakeAuthorizationView.h"
#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLBundle.h"
#include "KLFileExtensions.h"
#include "KLHelperTool.h"
#include "KLLog.h"
#include "KLPlainRunLoop.h"
#include "KLStringExtensions.h"
#include "KLTextFile.h"
#include "KLUserDefaults.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace {

using Calls = std::vector<std::vector<std::string>>;

std::vector<std::string> ctl(const std::string& command) { return {"-operation", "ctl", "-data", command}; }

// Records the helper's runs; for a file replacement, what the temporary file held then.
class FakeHelperTool : public KLHelperTool {
public:
    bool isHelperSetUID() const override { return setUID; }
    int webcheckWithArgs(const std::vector<std::string>& arguments) const override
    {
        calls.push_back(arguments);
        if (arguments.size() == 6 && arguments[1] == "webcheck")
            replacements.push_back(KLTextFile::readBytes(arguments[5]).value_or("<unreadable>"));
        return result;
    }

    bool setUID = true;
    int result = 0;
    mutable std::vector<std::vector<std::string>> calls;
    mutable std::vector<std::string> replacements;
};

// A run loop that remembers the delay and the timer of each one-shot timer.
class RecordingRunLoop : public KLPlainRunLoop {
public:
    std::shared_ptr<KLTimer> scheduleOnce(double seconds, std::function<void()> fn) override
    {
        auto timer = KLPlainRunLoop::scheduleOnce(seconds, std::move(fn));
        once.emplace_back(seconds, timer);
        return timer;
    }
    std::vector<std::pair<double, std::shared_ptr<KLTimer>>> once;
};

// A controller with fake outlets and helper, the configuration in its own folder and its own run loop.
class ApacheControllerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ::setenv("FENDREL_LAYOUT", "macos", 1);
        FendrelPref::initialize();
        KLRunLoop::setMain(loop);
        KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
        d.setBool(true, "Override Conf Directory Location");
        d.setObject(dir.path(), "Apache Conf Directory");
        d.setObject("httpd.conf", "Apache Conf File");
        d.setBool(false, "Override Log Directory");
        d.setBool(true, "Graceful Restart");
        d.setDouble(2.0, "ApacheCheckInterval");
        outlets = {.toggleButton = &toggleButton, .restartButton = &restartButton, .gracefulSwitch = &gracefulSwitch,
                   .logPicker = &logPicker, .logDisplayButton = &logDisplayButton, .webcheckButton = &webcheckButton,
                   .authView = &authView, .workspace = &workspace};
    }
    void TearDown() override
    {
        controller.reset();
        KLRunLoop::setMain(nullptr);
        ::unsetenv("FENDREL_LAYOUT");
    }

    KLApacheController& make()
    {
        controller = std::make_unique<KLApacheController>(helper);
        controller->setStatusDisplay(&status);
        controller->setProcessLister([this] { return ++listings, processes; });
        return *controller;
    }
    KLApacheController& makeAwake()
    {
        make().awakeFromNib(outlets);
        EXPECT_TRUE(loop->runUntil([this] { return !controller->isFindingLogs(); }, 60));
        return *controller;
    }

    TempDir dir;
    std::shared_ptr<RecordingRunLoop> loop = std::make_shared<RecordingRunLoop>();
    std::shared_ptr<FakeHelperTool> helper = std::make_shared<FakeHelperTool>();
    FakePaneContext pane;
    std::vector<std::string> processes;
    int listings = 0;
    FakeButton toggleButton, restartButton, gracefulSwitch, logDisplayButton, webcheckButton;
    FakeTextField status;
    FakePopUpButton logPicker;
    FakeAuthorizationView authView;
    FakeWorkspace workspace;
    KLApacheControllerOutlets outlets;
    std::unique_ptr<KLApacheController> controller;
};

using Names = std::multiset<std::string>;

// Runs `fn` and counts the log lines it writes that begin with `start`.
long loggedLines(const std::string& start, const std::function<void()>& fn)
{
    std::vector<std::string> lines;
    KLSetLogSink([&](const std::string& line) { lines.push_back(line); });
    fn();
    KLSetLogSink(nullptr);
    return std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.starts_with(start); });
}

TEST_F(ApacheControllerTest, StateAndLockShowInTitlesStatusColoursAndEnabledActions)
{
    helper->setUID = false;
    KLApacheController& controller = makeAwake();
    const std::string id = KLBundle::main().identifier();
    ASSERT_EQ(authView.rights.size(), 3u);
    EXPECT_EQ(std::tuple(authView.rights[0].name, authView.rights[1].name, authView.rights[2].name),
              std::tuple(id + ".webcheck", id + ".apachectl", "system.privilege.admin"));
    EXPECT_EQ(authView.rights[2].value, controller.helperPath().value_or("?"));
    EXPECT_EQ(std::tuple(authView.delegate, authView.statusUpdates), std::tuple(&controller, 1));
    const auto& colors = controller.colors();
    auto shown = [&] {
        return std::tuple(toggleButton.title(), toggleButton.isEnabled(), restartButton.isEnabled(),
                          gracefulSwitch.isEnabled(), webcheckButton.isEnabled(), status.stringValue(),
                          status.textColor());
    };
    const std::string stopped = "Apache status: Stopped", running = "Apache status: Running";
    // The closed lock was reported on waking up; with it open, restart only for a running server.
    const struct {
        bool authorized;
        int state;
        std::tuple<std::string, bool, bool, bool, bool, std::string, std::string> expected;
    } steps[] = {
        {false, 0, {"Start Apache", false, false, false, false, stopped, colors.at("apacheNotRunning")}},
        {true, 0, {"Start Apache", true, false, false, true, stopped, colors.at("apacheNotRunning")}},
        {true, 1, {"Stop Apache", true, true, true, true, running, colors.at("statusFine")}},
        {false, 1, {"Stop Apache", false, false, false, false, running, colors.at("statusFine")}},
        {true, 0, {"Start Apache", true, false, false, true, stopped, colors.at("apacheNotRunning")}},
        {true, 2, {"Start Apache", true, false, false, true, stopped, colors.at("apacheNotRunning")}}, // only stored
    };
    for (const auto& step : steps) {
        authView.setAuthorized(step.authorized);
        controller.setApacheState(step.state);
        EXPECT_EQ(shown(), step.expected) << step.authorized << " " << step.state;
    }
    helper->setUID = true;
    makeAwake();
    EXPECT_EQ(authView.rights.size(), 2u);
}

TEST_F(ApacheControllerTest, OnlyTheExactProcessNameCountsAsRunning)
{
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

TEST_F(ApacheControllerTest, CommandsGoThroughTheHelperAndAreRecheckedTwoSecondsLater)
{
    KLApacheController& controller = makeAwake();
    controller.setApacheState(1);
    controller.toggleApache();
    EXPECT_EQ(std::tuple(loop->once.back().first, toggleButton.title(), listings), std::tuple(2.0, "Start Apache", 0))
        << "optimistic at once, checked two seconds later";
    controller.setApacheState(0);
    controller.toggleApache();
    controller.resetApache();
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    EXPECT_FALSE(KLUserDefaults::standardUserDefaults().boolForKey("Graceful Restart"));
    controller.resetApache();
    EXPECT_EQ(helper->calls, (Calls{ctl("stop"), ctl("start"), ctl("graceful"), ctl("restart")}));
    EXPECT_FALSE(makeAwake().isGraceful()); // a new controller takes the stored setting
    EXPECT_EQ(gracefulSwitch.state(), 0);
}

TEST_F(ApacheControllerTest, PollingRunsWhileEnabledAndPendingRechecksDieWithTheController)
{
    KLUserDefaults::standardUserDefaults().setDouble(0.02, "ApacheCheckInterval");
    KLApacheController& controller = makeAwake();
    controller.enable();
    controller.enable();
    EXPECT_EQ(std::tuple(controller.isEnabled(), listings, status.stringValue()), std::tuple(true, 1, ""))
        << "one look for the notice at once, the status line's first one interval later";
    ASSERT_TRUE(loop->runUntil([&] { return listings >= 5; }, 10));
    authView.setAuthorized(true);
    controller.disable();
    EXPECT_EQ(std::tuple(controller.isEnabled(), authView.deauthorizations, toggleButton.isEnabled()),
              std::tuple(false, 1, false));
    int seen = listings;
    controller.apachectl("start");
    std::shared_ptr<KLTimer> recheck = loop->once.back().second;
    EXPECT_TRUE(recheck->isValid());
    this->controller.reset();
    EXPECT_FALSE(recheck->isValid()); // run, the recheck would touch the destroyed controller
    loop->runUntil([] { return false; }, 0.2);
    EXPECT_EQ(listings, seen);
}

TEST_F(ApacheControllerTest, RepairReportsOnlySuccessAndRestartsAfterIt)
{
    dir.write("httpd.conf", "<Directory />\nAllowOverride None\n</Directory>\n");
    KLApacheController& controller = makeAwake();
    controller.webcheck();
    EXPECT_EQ(pane.errors, std::vector<int>{0}); // the user's file does not exist (4, not reported)
    ASSERT_EQ(helper->calls.size(), 2u);
    EXPECT_EQ(std::pair(helper->calls[0][1], helper->calls[1]), std::pair(std::string("webcheck"), ctl("graceful")));
    helper->calls.clear();
    helper->result = 7;
    gracefulSwitch.setState(0);
    controller.toggleGraceful(gracefulSwitch);
    controller.webcheck();
    EXPECT_EQ(std::pair(pane.errors.size(), helper->calls.size()), std::pair(std::size_t{1}, std::size_t{1}))
        << "a failure is the helper's to report, and nothing is restarted";
    controller.setHelperPath(std::nullopt);
    controller.webcheck();
    EXPECT_EQ(pane.errors, (std::vector<int>{0, 1}));
}

TEST_F(ApacheControllerTest, ConfigurationLocationComesFromTheServerBinary)
{
    KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
    d.setBool(false, "Override Conf Directory Location");
    const struct {
        std::string report, dir, name;
    } cases[] = {
        {" -D HTTPD_ROOT=\"/usr\"\n -D SERVER_CONFIG_FILE=\"/private/etc/apache2/httpd.conf\"\n", "/private/etc/apache2",
         "httpd.conf"},
        // A relative value is not joined with the server root.
        {" -D HTTPD_ROOT=\"/etc/apache2\"\n -D SERVER_CONFIG_FILE=\"apache2.conf\"\n", "", "apache2.conf"},
        {"SERVER_CONFIG_FILE = \"conf/httpd.conf", "conf", "httpd.conf"},
        {"Server version: nothing else\n", "", ""},
    };
    for (const auto& c : cases) { // the report only answers "-V"
        std::string binary = dir.write("httpd", "#!/bin/sh\n[ \"$1\" = -V ] && printf '%s' '" + c.report + "'\necho noise >&2\n");
        ::chmod(binary.c_str(), 0755);
        d.setObject(binary, "ApacheBinaryLocation");
        KLApacheController& controller = make();
        EXPECT_EQ(std::pair(controller.confFileDir(), controller.confFileName()), std::pair(c.dir, c.name)) << c.report;
    }
    d.setObject(dir.file("no-such-binary"), "ApacheBinaryLocation");
    EXPECT_EQ(make().httpdConfFile(), "");
}

TEST_F(ApacheControllerTest, LogsComeFromQuotedDirectivesThroughNestedIncludesOrFromTheOverriddenFolder)
{
    EXPECT_TRUE(makeAwake().logs().empty());
    EXPECT_FALSE(logPicker.isEnabled() || logDisplayButton.isEnabled());
    const std::string logs = dir.mkdir("logs");
    for (const char* name : {"error_log", "access_log", "nested log", "unquoted_log", "included_log"})
        dir.write(std::string("logs/") + name, "x");
    const std::string root = dir.path();
    dir.write("httpd.conf", "ErrorLog \"" + logs + "/error_log\"\n"
                            "CustomLog \"" + logs + "/access_log\" common\n"
                            "CustomLog " + logs + "/unquoted_log common\n"
                            "CustomLog \"" + logs + "/missing_log\" common\n"
                            "# CustomLog \"" + logs + "/access_log\" commented\n"
                            "  Include \"" + root + "/conf.d/*.conf\"\n"
                            "Include " + root + "/conf.d/*.conf\n"
                            "Include \"conf.d/relative.conf\"\n");
    // a.conf includes its own folder again, and b.conf the main file: two cycles.
    dir.write("conf.d/a.conf", "IncludeOptional \"" + root + "/nested/b.conf\"\n"
                               "Include \"" + root + "/conf.d/*.conf\"\n");
    dir.write("nested/b.conf", "\tCustomLog \"" + logs + "/nested log\" combined\n"
                               "Include \"" + root + "/httpd.conf\"\n"
                               "ErrorLog \"" + logs + "/access_log\"\n");
    dir.write("conf.d/relative.conf", "ErrorLog \"" + logs + "/included_log\"\n");

    EXPECT_EQ(loggedLines("Include cycle: ", [&] { makeAwake(); }), 2);
    KLApacheController& controller = *this->controller;

    // relative.conf is reached twice (no cycle: listed twice).
    EXPECT_EQ(Names(controller.logs().begin(), controller.logs().end()),
              Names({logs + "/error_log", logs + "/access_log", logs + "/included_log", logs + "/included_log",
                     logs + "/nested log", logs + "/access_log"}));
    ASSERT_EQ(logPicker.items.size(), 6u);
    EXPECT_TRUE(logPicker.isEnabled() && logDisplayButton.isEnabled());
    for (std::size_t i = 0; i < logPicker.items.size(); ++i)
        EXPECT_EQ(std::pair(logPicker.items[i].title, logPicker.items[i].icon),
                  std::pair(lastPathComponent(controller.logs()[i]), controller.logs()[i]));

    // An overridden folder lists all its files but compressed ones, in place of the picker's old items.
    KLUserDefaults::standardUserDefaults().setBool(true, "Override Log Directory");
    for (const char* name : {"access_log.gz", "oldgz", ".hidden"})
        dir.write(std::string("conf.d/") + name, "x");
    KLUserDefaults::standardUserDefaults().setObject(dir.file("conf.d/"), "Apache Log Directory");
    KLApacheController& listed = makeAwake();
    EXPECT_EQ(Names(listed.logs().begin(), listed.logs().end()),
              Names({dir.file("conf.d/a.conf"), dir.file("conf.d/relative.conf"), dir.file("conf.d/.hidden")}));
    EXPECT_EQ(logPicker.numberOfItems(), 3);
    // Opening goes through the desktop; out of range does nothing.
    listed.openLogAtIndex(-1);
    listed.openLogAtIndex(3);
    EXPECT_TRUE(workspace.files.empty());
    logPicker.selectItemAtIndex(1);
    listed.displayLog();
    EXPECT_EQ(workspace.files, std::vector<std::string>{listed.logs()[1]});
}

TEST_F(ApacheControllerTest, IncludeExplosionIsBoundedAndLogged)
{
    // Each file includes the next one twice: 2^30 scans unless bounded.
    dir.write("logs/l", "x");
    dir.write("httpd.conf", "Include \"" + dir.path() + "/f1.conf\"\n");
    for (int i = 1; i < 30; ++i) {
        std::string next = "Include \"" + dir.path() + "/f" + std::to_string(i + 1) + ".conf\"\n";
        dir.write("f" + std::to_string(i) + ".conf", next + next);
    }
    dir.write("f30.conf", "ErrorLog \"" + dir.path() + "/logs/l\"\n");
    EXPECT_EQ(loggedLines("Include limit reached at ", [&] { makeAwake(); }), 1);
}

TEST_F(ApacheControllerTest, RepairRewritesOnlyInsideTheLayoutsBlocks)
{
    auto block = [](const std::string& folder, const char* value) {
        return "<Directory " + folder + ">\nAllowOverride " + value + "\n</Directory>";
    };
    const struct {
        std::string layout, input, expected;
        bool changed;
    } cases[] = {
        // Before any block, after a block's end, and other values stay.
        {"macos", "AllowOverride None\n<Directory /x>\nAllowOverride  None # c\nAllowOverride FileInfo\n</Directory>\n",
         "AllowOverride None\n<Directory /x>\nAllowOverride All # c\nAllowOverride FileInfo\n</Directory>\n\n", true},
        {"macos", "<Directory \"/Library/WebServer/Documents\">\n\tAllowOverride None\r\n</Directory>\n",
         "<Directory \"/Library/WebServer/Documents\">\n\tAllowOverride All\r\n</Directory>\n\n", true},
        {"macos", block("\"/Users/ann/Sites/\"", "None"), block("\"/Users/ann/Sites/\"", "All") + "\n", true},
        {"macos", block("\"/var/www/html\"", "None"), block("\"/var/www/html\"", "None") + "\n", false},
        {"debian", block("\"/var/www/html\"", "None"), block("\"/var/www/html\"", "All") + "\n", true},
        {"debian", block("\"/home/bob/public_html/\"", "None"), block("\"/home/bob/public_html/\"", "All") + "\n", true},
        {"debian", block("\"/Users/ann/Sites/\"", "None"), block("\"/Users/ann/Sites/\"", "None") + "\n", false},
        // Every unquoted block counts as the root's.
        {"debian", block("/var/www/", "None") + "\n<DirectoryMatch \"x\">\nAllowOverride None\n",
         block("/var/www/", "All") + "\n<DirectoryMatch \"x\">\nAllowOverride None\n\n", true},
    };
    const std::string outPath = dir.file("out");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.layout + ": " + c.input);
        ::setenv("FENDREL_LAYOUT", c.layout.c_str(), 1);
        int handle = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(handle, 0);
        EXPECT_EQ(make().grepFile(dir.write("repair.conf", c.input), handle), c.changed);
        ::close(handle);
        EXPECT_EQ(readFile(outPath), c.expected);
    }
}

TEST_F(ApacheControllerTest, RepairHandsTheRewrittenCopyToTheHelper)
{
    const std::string conf = dir.write("httpd.conf", "<Directory />\nAllowOverride None\n</Directory>\n");
    helper->result = 3;
    KLApacheController& controller = make();
    EXPECT_EQ(controller.repairConfFile(conf), 3);
    ASSERT_EQ(helper->calls.size(), 1u);
    std::vector<std::string> args = helper->calls[0];
    EXPECT_FALSE(fileExists(args.at(5))) << "the temporary copy is removed";
    args.pop_back();
    EXPECT_EQ(args, (std::vector<std::string>{"-operation", "webcheck", "-file", conf, "-data"}));
    EXPECT_EQ(helper->replacements[0], "<Directory />\nAllowOverride All\n</Directory>\n\n");
    EXPECT_EQ(readFile(conf), "<Directory />\nAllowOverride None\n</Directory>\n") << "only the helper replaces";
    // Run even when nothing changes; never for a file that cannot be used as text.
    EXPECT_EQ(controller.repairConfFile(dir.write("plain.conf", "ServerName x\n")), 3);
    EXPECT_EQ(helper->replacements.back(), "ServerName x\n\n");
    EXPECT_EQ(controller.repairConfFile(dir.file("missing.conf")), 4);
    EXPECT_EQ(controller.repairConfFile(dir.write("empty.conf", "")), 9);
    EXPECT_EQ(controller.repairConfFile(dir.mkdir("folder.conf")), KLApacheController::kRepairUnreadable);
    EXPECT_EQ(helper->calls.size(), 2u);
}

} // namespace
