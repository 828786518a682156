#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLBundle.h"
#include "KLPlainRunLoop.h"
#include "KLSUController.h"
#include "KLUserDefaults.h"
#include "LoopbackHTTPServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

const std::string kVersions = "/KLSVersions.php";
const std::string kDownloadPath = "/downloads/Fendrel-1.1.tar.gz";
const std::string kNoConnection = "Fendrel encountered an error while checking for new versions. Please check your "
                                  "internet connection or try again later";

// The reply of the version service; the download URL names another host,
// which the download must ignore.
std::string versions(const std::string& version, const std::optional<KLPlist>& note = {})
{
    KLPlist::Dictionary top;
    top["Fendrel"] = KLPlist::Dictionary{
        {"current version", version}, {"version byte size", "5242880"}, {"release notes", "Faster folder scans."},
        {"info page", "http://www.quillmoor.example/fendrel/"},
        {"download URL", "http://mirror.quillmoor.example" + kDownloadPath + "?from=check"}};
    if (note)
        top["QOTD"] = *note;
    return KLPlist(top).toXML();
}

LoopbackHTTPServer::Handler serving(const std::string& body)
{
    return LoopbackHTTPServer::serving({{kVersions, body}});
}

class SUControllerTest : public ::testing::Test
{
protected:
    SUControllerTest()
    {
        KLRunLoop::setMain(loop);
        FendrelPref::initialize();
        KLUserDefaults::standardUserDefaults().removeDefaultForKey(KLSUController::kDefaultFolderKey);
        controller.setOutlets({.swuPanel = &panel, .progressBar = &progress, .releaseNotes = &releaseNotes,
                               .noteField = &noteField, .detailsTable = &detailsTable, .alerts = &alerts,
                               .workspace = &workspace});
    }
    std::unique_ptr<LoopbackHTTPServer> serve(LoopbackHTTPServer::Handler handler)
    {
        auto server = std::make_unique<LoopbackHTTPServer>(std::move(handler));
        KLUserDefaults::standardUserDefaults().setObject(server->address(), KLUpdateServer::kSettingKey);
        return server;
    }
    // A ticking timer makes the loop look at conditions other threads change.
    bool runUntil(const std::function<bool()>& done, double timeout = 20)
    {
        auto tick = loop->scheduleRepeating(0.01, [] {});
        bool held = loop->runUntil(done, timeout);
        tick->cancel();
        return held;
    }
    bool seen(const std::string& name) const { return std::find(names.begin(), names.end(), name) != names.end(); }
    // Runs one check to its end (a result or a cancel).
    void check()
    {
        names.clear();
        alerts.shown.clear();
        controller.checkForNewVersion();
        ASSERT_TRUE(runUntil([&] { return seen(KLSUController::kEnded) || seen(KLSUController::kCancelled); }));
    }
    // The bytes announced for a path from now on, added up.
    std::shared_ptr<std::int64_t> countSegments(const std::string& path)
    {
        auto total = std::make_shared<std::int64_t>(0);
        segments.emplace_back(KLSUController::kSegmentDownloaded, KLSUController::segmentObject(path),
                              [total](const KLNotification& n) {
                                  *total += n.userInfo[KLSUController::kBytesKey].integerReading().value();
                              });
        return total;
    }
    static std::string requestFor(const std::string& path)
    {
        return "GET " + path + " HTTP/1.0\nHOST: 127.0.0.1\nUser-Agent: Fendrel/" + applicationVersion() + "\n\n";
    }

    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
    FakeWindow panel;
    FakeProgressIndicator progress;
    FakeTextView releaseNotes;
    FakeTextField noteField;
    FakeListView detailsTable{"detailsTable"};
    FakeAlerts alerts;
    FakeWorkspace workspace;
    std::vector<std::string> names;
    KLSUController controller;
    KLObservation observation{"", &controller, [this](const KLNotification& n) { names.push_back(n.name); }};
    std::vector<KLObservation> segments;
};

TEST_F(SUControllerTest, NewerVersionFillsTheUpdatePanel)
{
    auto server = serve(serving(versions("99.0", "Maintenance tonight")));
    check();
    EXPECT_EQ(names, (std::vector<std::string>{"KLSWUStarted", "KLSWUEnded", "KLSWUUpdated"}));
    EXPECT_EQ(server->requests(), std::vector<std::string>{requestFor(kVersions)});
    EXPECT_EQ(std::tuple(alerts.shown.size(), panel.visible, progress.hidden, progress.indeterminate, progress.value,
                         progress.maxValue, detailsTable.reloads > 0),
              std::tuple(0u, true, true, false, 0.0, 5242880.0, true));
    controller.viewInfoPage();
    EXPECT_EQ(workspace.urls, std::vector<std::string>{"http://www.quillmoor.example/fendrel/"});
}

// Every answer that is no newer version ends in one alert; replies without a
// usable property list (too long included) end like no reply.
TEST_F(SUControllerTest, OtherAnswersEndInOneAlert)
{
    const std::string upToDate = "This version of Fendrel is up to date.";
    struct Case
    {
        LoopbackHTTPServer::Handler handler;
        std::string title = "Could not connect to server", message = kNoConnection, context = "version net access";
    };
    const Case cases[] = {
        {serving(versions(applicationVersion())), "Up to Date", upToDate, "up to date"},
        {serving(versions(applicationVersion() + "d", KLPlist(""))), "Up to Date", upToDate, "up to date"},
        {serving(versions("0.1", KLPlist(42))), "Up to Date", upToDate, "up to date"},
        {serving("")}, {serving(versions("99.0").substr(0, 120))}, {serving("\xff\xfe" + versions("99.0"))},
        {[](Socket&, const std::string&) {}}, // closes at once
        {[](Socket& c, const std::string&) { c.writeString("HTTP/1.0 200 OK\r\n"); }},
        {serving(versions("99.0", KLPlist(std::string(KLSUController::kMaxReplyBytes, 'x'))))},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        auto server = serve(cases[i].handler);
        check();
        EXPECT_EQ(names.size(), cases[i].title == "Up to Date" ? 3u : 2u) << "only an answer updates the time";
        ASSERT_EQ(alerts.shown.size(), 1u);
        const KLAlert& alert = alerts.shown[0];
        EXPECT_EQ(std::tuple(alert.title, alert.message, alert.context, alert.defaultButton, panel.visible,
                             controller.error().has_value()),
                  std::tuple(cases[i].title, cases[i].message, cases[i].context, "OK", false, false));
    }
    // A long reply within the limit is still read.
    auto server = serve(serving(versions("99.0", KLPlist(std::string(KLSUController::kMaxReplyBytes / 2, 'x')))));
    check();
    EXPECT_TRUE(alerts.shown.empty() && panel.visible);
    // An unknown host is named.
    KLUserDefaults::standardUserDefaults().setObject("300.300.300.300:8080", KLUpdateServer::kSettingKey);
    check();
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].message, kNoConnection + ".\n\n'300.300.300.300' could not be found");
    EXPECT_EQ(controller.error(), std::optional<std::string>("'300.300.300.300' could not be found"));
}

TEST_F(SUControllerTest, ACancelOrAGoneControllerEndsACheck)
{
    // A server that answers in pieces; a controller gone before the end drops what arrives.
    std::string reply = LoopbackHTTPServer::reply(versions("99.0"));
    std::unique_ptr<LoopbackHTTPServer> server;
    server = serve([&](Socket& c, const std::string&) {
        for (std::size_t at = 0; at < reply.size(); at += 97, server->pause(0.02))
            c.writeString(reply.substr(at, 97));
    });
    {
        KLSUController doomed;
        doomed.setOutlets({.swuPanel = &panel, .alerts = &alerts});
        doomed.checkForNewVersion();
        ASSERT_TRUE(runUntil([&] { return !server->requests().empty(); }));
    }
    runUntil([] { return false; }, 0.5);
    EXPECT_TRUE(alerts.shown.empty() && !panel.visible);
    server = serve([&](Socket& c, const std::string&) {
        server->pause(60);
        c.writeString(reply);
    });
    names.clear();
    controller.checkForNewVersion();
    ASSERT_TRUE(runUntil([&] { return !server->requests().empty(); }));
    controller.cancel();
    ASSERT_TRUE(runUntil([&] { return seen("KLSWUCancelled"); }));
    runUntil([] { return false; }, 0.2);
    EXPECT_EQ(names, (std::vector<std::string>{"KLSWUStarted", "KLSWUCancelled"}));
    EXPECT_TRUE(alerts.shown.empty() && !panel.visible);
    // The next check is not cancelled by the earlier cancel.
    auto quick = serve(serving(versions("99.0")));
    check();
    EXPECT_TRUE(seen("KLSWUEnded") && panel.visible);
}

TEST_F(SUControllerTest, DownloadIsWrittenWholeAndOpenedAndAFailureKeepsTheOldFile)
{
    std::string body(5 * 1024 * 1024, '\0'); // bytes of every value, NUL included
    for (std::uint32_t state = 12345; char& c : body)
        c = static_cast<char>((state = state * 1103515245 + 12345) >> 16);
    auto server = serve(LoopbackHTTPServer::serving({{kVersions, versions("99.0")}, {kDownloadPath, body}}));
    check();
    TempDir dir;
    std::string path = dir.file("Fendrel-1.1.tar.gz");
    controller.downloadNewVersion();
    ASSERT_EQ(alerts.savePanels.size(), 1u);
    EXPECT_EQ(alerts.savePanels[0], std::make_pair(std::string(std::getenv("HOME")) + "/Desktop",
                                                   std::string("Fendrel-1.1.tar.gz")));
    auto received = countSegments(kDownloadPath);
    double closedHeight = panel.height;
    alerts.saveHandler(1, path);
    EXPECT_TRUE(!progress.hidden && panel.height > closedHeight) << "the panel opens its progress bar";
    ASSERT_TRUE(runUntil([&] { return !workspace.files.empty(); }));
    EXPECT_EQ(workspace.files, std::vector<std::string>{path});
    EXPECT_TRUE(!panel.visible && readFile(path) == body);
    std::int64_t replySize = static_cast<std::int64_t>(LoopbackHTTPServer::reply(body).size());
    EXPECT_EQ(std::pair(*received, progress.value), std::pair(replySize, static_cast<double>(replySize)));
    EXPECT_EQ(server->requests().back(), requestFor(kDownloadPath));
    EXPECT_EQ(KLUserDefaults::standardUserDefaults().stringForKey("SU Default Folder"), dir.path());

    // With the server gone the download fails: the old file is kept and still opened.
    server.reset();
    workspace.files.clear();
    controller.downloadNewVersion();
    alerts.saveHandler(1, path);
    ASSERT_TRUE(runUntil([&] { return !workspace.files.empty(); }));
    EXPECT_EQ(workspace.files, std::vector<std::string>{path});
    EXPECT_TRUE(readFile(path) == body);
}

TEST(UpdateServerTest, SettingIsHostWithAnOptionalPort)
{
    // A port that is no port stays in the name, so the lookup names it.
    const std::pair<const char*, KLUpdateServer> cases[] = {
        {"updates.example.org", {"updates.example.org", 80}}, {" 127.0.0.1:8080\n", {"127.0.0.1", 8080}},
        {"host:65535", {"host", 65535}}, {"host:0", {"host:0", 80}}, {"host:65536", {"host:65536", 80}},
        {"host:http", {"host:http", 80}}, {"host:", {"host:", 80}}, {"host:+81", {"host:+81", 80}},
        {"host:8 0", {"host:8 0", 80}}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(KLUpdateServer::parse(text), expected) << text;
    FendrelPref::initialize(); // without a setting the registered default server is asked
    KLUserDefaults::standardUserDefaults().removeDefaultForKey(KLUpdateServer::kSettingKey);
    EXPECT_EQ(KLUpdateServer::fromDefaults(), (KLUpdateServer{KLUpdateServer::kDefaultServer, 80}));
}

} // namespace
