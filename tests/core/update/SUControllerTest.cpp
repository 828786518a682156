#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLBundle.h"
#include "KLPlainRunLoop.h"
#include "KLSUController.h"
#include "KLUserDefaults.h"
#include "LoopbackHTTPServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

constexpr double kTimeout = 20;
const std::string kVersions = "/KLSVersions.php";
const std::string kDownloadPath = "/downloads/Fendrel-1.1.tar.gz";
const std::string kNoConnection = "Fendrel encountered an error while checking for new versions. Please check your "
                                  "internet connection or try again later";

// The reply of the version service; the download URL names another host,
// which the download must ignore.
std::string versions(const std::string& version, const std::optional<KLPlist>& note = {}, bool withProduct = true)
{
    KLPlist::Dictionary top;
    if (withProduct)
        top["Fendrel"] = KLPlist::Dictionary{
            {"current version", version},
            {"version byte size", "5242880"},
            {"release notes", "Faster folder scans."},
            {"info page", "http://www.quillmoor.example/fendrel/"},
            {"download URL", "http://mirror.quillmoor.example" + kDownloadPath + "?from=check"},
        };
    if (note)
        top["QOTD"] = *note;
    return KLPlist(top).toXML();
}

// Bytes of every value, NUL included.
std::string downloadBody(std::size_t size)
{
    std::string body(size, '\0');
    std::uint32_t state = 12345;
    for (char& c : body) {
        state = state * 1103515245 + 12345;
        c = static_cast<char>(state >> 16);
    }
    return body;
}

class SUControllerTest : public ::testing::Test
{
protected:
    SUControllerTest()
    {
        KLRunLoop::setMain(loop);
        FendrelPref::initialize();
        // Each case starts from the registered defaults.
        KLUserDefaults::standardUserDefaults().removeDefaultForKey(KLSUController::kDefaultFolderKey);
        controller.setOutlets({.swuPanel = &panel, .progressBar = &progress, .releaseNotes = &releaseNotes,
                               .noteField = &noteField, .detailsTable = &detailsTable, .alerts = &alerts,
                               .workspace = &workspace});
    }

    void useServer(const std::string& address)
    {
        KLUserDefaults::standardUserDefaults().setObject(address, KLUpdateServer::kSettingKey);
    }
    // A server for the next check, which serves the given bodies by path.
    std::unique_ptr<LoopbackHTTPServer> serve(std::map<std::string, std::string> bodies)
    {
        auto server = std::make_unique<LoopbackHTTPServer>(LoopbackHTTPServer::serving(std::move(bodies)));
        useServer(server->address());
        return server;
    }
    // The one alert shown since the last clear(), as title, message and context.
    void expectAlert(const std::string& title, const std::string& message, const std::string& context)
    {
        ASSERT_EQ(alerts.shown.size(), 1u);
        EXPECT_EQ(alerts.shown[0].title, title);
        EXPECT_EQ(alerts.shown[0].message, message);
        EXPECT_EQ(alerts.shown[0].context, context);
        alerts.shown.clear();
    }

    // The loop looks at the condition after each piece of work; a ticking
    // timer makes it look at conditions that other threads change, too.
    bool runUntil(const std::function<bool()>& done, double timeout = kTimeout)
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
        controller.checkForNewVersion();
        ASSERT_TRUE(runUntil([&] { return seen(KLSUController::kEnded) || seen(KLSUController::kCancelled); }));
    }

    // The bytes announced for a path from now on, added up.
    std::shared_ptr<std::int64_t> countSegments(const std::string& path)
    {
        auto total = std::make_shared<std::int64_t>(0);
        segmentObservations.emplace_back(KLSUController::kSegmentDownloaded, KLSUController::segmentObject(path),
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
    std::vector<KLPlist> userInfos;
    KLSUController controller;
    KLObservation observation{"", &controller, [this](const KLNotification& n) {
                                  names.push_back(n.name);
                                  userInfos.push_back(n.userInfo);
                              }};
    std::vector<KLObservation> segmentObservations;
};

TEST_F(SUControllerTest, NewerVersionFillsTheUpdatePanel)
{
    auto server = serve({{kVersions, versions("99.0", "Maintenance tonight")}});
    double before = static_cast<double>(std::time(nullptr)) - 978307200.0;
    check();
    double after = static_cast<double>(std::time(nullptr)) - 978307200.0;

    EXPECT_EQ(names, (std::vector<std::string>{"KLSWUStarted", "KLSWUEnded", "KLSWUUpdated"}));
    double seconds = userInfos.back()["KLSWUSeconds"].doubleReading().value_or(-1);
    EXPECT_GE(seconds, before - 1);
    EXPECT_LE(seconds, after + 1);
    EXPECT_EQ(server->requests(), std::vector<std::string>{requestFor(kVersions)});

    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_EQ(std::tuple(panel.visible, progress.hidden, progress.indeterminate, progress.value, progress.maxValue),
              std::tuple(true, true, false, 0.0, 5242880.0));
    EXPECT_EQ(releaseNotes.text, "Faster folder scans.");
    EXPECT_EQ(noteField.value, "Maintenance tonight");
    EXPECT_EQ(controller.details().numberOfRows(), 1);
    EXPECT_EQ(controller.details().objectAtRow(0, "current version"), KLPlist("99.0"));
    EXPECT_GT(detailsTable.reloads, 0);
    EXPECT_EQ(controller.downloadURL(), "http://mirror.quillmoor.example" + kDownloadPath + "?from=check");
    controller.viewInfoPage();
    EXPECT_EQ(workspace.urls, std::vector<std::string>{"http://www.quillmoor.example/fendrel/"});
}

TEST_F(SUControllerTest, SameOrOlderVersionIsAnnouncedUpToDate)
{
    const std::string upToDate = "This version of Fendrel is up to date.";
    const std::tuple<std::string, std::optional<KLPlist>, std::string> cases[] = {
        {applicationVersion(), std::nullopt, upToDate},
        {"0.9.5", KLPlist("Maintenance tonight"), upToDate + "\n\nKLS Notes: Maintenance tonight"},
        {applicationVersion() + "d", KLPlist(""), upToDate},
        {"0.1", KLPlist(42), upToDate}};
    for (const auto& [version, note, message] : cases) {
        SCOPED_TRACE(version);
        auto server = serve({{kVersions, versions(version, note)}});
        check();
        ASSERT_EQ(alerts.shown.size(), 1u);
        EXPECT_EQ(alerts.shown[0].defaultButton, "OK");
        expectAlert("Up to Date", message, "up to date");
        EXPECT_TRUE(seen("KLSWUUpdated"));
        EXPECT_FALSE(panel.visible);
    }
}

TEST_F(SUControllerTest, ProductMissingFromTheReply)
{
    auto server = serve({{kVersions, versions("", KLPlist("Maintenance tonight"), false)}});
    check();
    EXPECT_EQ(names, (std::vector<std::string>{"KLSWUStarted", "KLSWUEnded"}));
    expectAlert("Product Not Found",
                "This application is not currently listed in Quillmoor's version checking system. Please contact "
                "the author for more information",
                "product not found");
}

// Replies that give no usable property list, hostile ones included (nested
// too deep to read safely, or longer than a version reply may be), all end
// like no reply.
TEST_F(SUControllerTest, NoUsablePropertyListIsTreatedLikeNoReply)
{
    std::string deep = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    for (int i = 0; i < 100000; ++i)
        deep += "<array>";
    deep += "<dict><key>Fendrel</key><dict/></dict>";
    for (int i = 0; i < 100000; ++i)
        deep += "</array>";
    auto serving = [](const std::string& body) { return LoopbackHTTPServer::serving({{kVersions, body}}); };
    const LoopbackHTTPServer::Handler handlers[] = {
        serving("<html><body>Moved</body></html>"),
        serving(""),
        serving(versions("99.0").substr(0, 120)),
        serving("\xff\xfe" + versions("99.0")),
        [](Socket&, const std::string&) {}, // closes at once
        [](Socket& c, const std::string&) { c.writeString("HTTP/1.0 200 OK\r\n"); },
        serving(deep + "</plist>"),
        serving(versions("99.0", KLPlist(std::string(KLSUController::kMaxReplyBytes, 'x')))),
    };
    for (std::size_t i = 0; i < std::size(handlers); ++i) {
        SCOPED_TRACE(i);
        LoopbackHTTPServer server(handlers[i]);
        useServer(server.address());
        check();
        EXPECT_EQ(names, (std::vector<std::string>{"KLSWUStarted", "KLSWUEnded"}));
        expectAlert("Could not connect to server", kNoConnection, "version net access");
        EXPECT_FALSE(controller.error());
    }
}

TEST_F(SUControllerTest, RepliesAreReadUpToTheirLimit)
{
    // A server that does not stop sending until the test ends.
    LoopbackHTTPServer endless([&](Socket& c, const std::string&) {
        c.writeString("HTTP/1.0 200 OK\r\n\r\n<?xml");
        while (!endless.stopping())
            c.writeString(std::string(64 * 1024, ' '));
    });
    useServer(endless.address());
    check();
    expectAlert("Could not connect to server", kNoConnection, "version net access");

    // A long reply within the limit is still read.
    auto server = serve({{kVersions, versions("99.0", KLPlist(std::string(KLSUController::kMaxReplyBytes / 2, 'x')))}});
    check();
    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_TRUE(panel.visible);
}

TEST_F(SUControllerTest, UnknownHostIsNamedAndForgottenByTheNextCheck)
{
    useServer("300.300.300.300:8080");
    check();
    expectAlert("Could not connect to server", kNoConnection + ".\n\n'300.300.300.300' could not be found",
                "version net access");
    EXPECT_EQ(controller.error(), std::optional<std::string>("'300.300.300.300' could not be found"));

    // A refused connection has no reason of its own.
    std::uint16_t closed;
    {
        Socket probe;
        probe.bindTo(INADDR_LOOPBACK, 0);
        closed = probe.localPort();
    }
    useServer("127.0.0.1:" + std::to_string(closed));
    check();
    expectAlert("Could not connect to server", kNoConnection, "version net access");
}

TEST_F(SUControllerTest, SlowServerIsReadUntilItCloses)
{
    std::string reply = LoopbackHTTPServer::reply(versions("99.0"));
    LoopbackHTTPServer server([&](Socket& c, const std::string&) {
        for (std::size_t at = 0; at < reply.size(); at += 97) {
            c.writeString(reply.substr(at, 97));
            server.pause(0.005);
        }
    });
    useServer(server.address());
    auto received = countSegments(kVersions);
    check();
    EXPECT_TRUE(panel.visible);
    EXPECT_EQ(*received, static_cast<std::int64_t>(reply.size()));
}

TEST_F(SUControllerTest, CancelEndsASlowCheckWithoutResult)
{
    LoopbackHTTPServer slow([&](Socket& c, const std::string&) {
        slow.pause(60);
        c.writeString(LoopbackHTTPServer::reply(versions("99.0")));
    });
    useServer(slow.address());
    controller.checkForNewVersion();
    ASSERT_TRUE(runUntil([&] { return !slow.requests().empty(); }));
    controller.cancel();
    ASSERT_TRUE(runUntil([&] { return seen("KLSWUCancelled"); }));
    runUntil([] { return false; }, 0.2);
    EXPECT_EQ(names, (std::vector<std::string>{"KLSWUStarted", "KLSWUCancelled"}));
    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_FALSE(panel.visible);

    // The next check is not cancelled by the earlier cancel.
    auto quick = serve({{kVersions, versions("99.0")}});
    check();
    EXPECT_TRUE(seen("KLSWUEnded"));
    EXPECT_TRUE(panel.visible);
}

TEST_F(SUControllerTest, DownloadIsWrittenWholeAndOpened)
{
    const std::string body = downloadBody(5 * 1024 * 1024);
    auto server = serve({{kVersions, versions("99.0")}, {kDownloadPath, body}});
    check();
    ASSERT_TRUE(panel.visible);

    controller.downloadNewVersion();
    ASSERT_EQ(alerts.savePanels.size(), 1u);
    EXPECT_EQ(alerts.savePanels[0],
              std::make_pair(std::string(std::getenv("HOME")) + "/Desktop", std::string("Fendrel-1.1.tar.gz")));

    TempDir dir;
    std::string path = dir.file("Fendrel-1.1.tar.gz");
    auto received = countSegments(kDownloadPath);
    double closedHeight = panel.height;
    alerts.saveHandler(1, path);
    EXPECT_FALSE(progress.hidden);
    EXPECT_GT(panel.height, closedHeight);
    ASSERT_TRUE(runUntil([&] { return !workspace.files.empty(); }));

    EXPECT_EQ(workspace.files, std::vector<std::string>{path});
    EXPECT_FALSE(panel.visible);
    EXPECT_TRUE(readFile(path) == body);
    std::int64_t replySize = static_cast<std::int64_t>(LoopbackHTTPServer::reply(body).size());
    EXPECT_EQ(*received, replySize);
    EXPECT_EQ(progress.value, static_cast<double>(replySize));
    EXPECT_EQ(server->requests().back(), requestFor(kDownloadPath));
    EXPECT_EQ(KLUserDefaults::standardUserDefaults().stringForKey("SU Default Folder"), dir.path());
}

TEST_F(SUControllerTest, CancelledOrFailedDownloadKeepsTheOldFile)
{
    auto server = serve({{kVersions, versions("99.0")}});
    check();
    controller.downloadNewVersion();
    TempDir dir;
    std::string path = dir.write("Fendrel-1.1.tar.gz", "the old download");
    alerts.saveHandler(0, path);
    runUntil([] { return false; }, 0.2);
    EXPECT_EQ(server->requests().size(), 1u);
    EXPECT_TRUE(progress.hidden);
    EXPECT_TRUE(workspace.files.empty());
    EXPECT_EQ(controller.downloadPath(), "");

    // A failed download keeps the old file and still opens it.
    server.reset();
    controller.downloadNewVersion();
    alerts.saveHandler(1, path);
    ASSERT_TRUE(runUntil([&] { return !workspace.files.empty(); }));
    EXPECT_EQ(workspace.files, std::vector<std::string>{path});
    EXPECT_EQ(readFile(path), "the old download");
}

TEST_F(SUControllerTest, ResultsArrivingAfterTheControllerWentAreDropped)
{
    LoopbackHTTPServer server([&](Socket& c, const std::string&) {
        server.pause(0.2);
        c.writeString(LoopbackHTTPServer::reply(versions("99.0")));
    });
    useServer(server.address());
    {
        KLSUController doomed;
        doomed.setOutlets({.swuPanel = &panel, .alerts = &alerts});
        doomed.checkForNewVersion();
        ASSERT_TRUE(runUntil([&] { return !server.requests().empty(); }));
    }
    runUntil([] { return false; }, 0.5);
    EXPECT_TRUE(alerts.shown.empty());
    EXPECT_FALSE(panel.visible);
}

TEST(UpdateServerTest, SettingIsHostWithAnOptionalPortAndADefault)
{
    const std::pair<const char*, KLUpdateServer> cases[] = {
        {"updates.example.org", {"updates.example.org", 80}}, {" 127.0.0.1:8080\n", {"127.0.0.1", 8080}},
        {"host:65535", {"host", 65535}},
        // A port that is no port stays in the name, so the lookup names it.
        {"host:0", {"host:0", 80}}, {"host:65536", {"host:65536", 80}}, {"host:http", {"host:http", 80}},
        {"host:", {"host:", 80}}, {"host:+81", {"host:+81", 80}}, {"host:8 0", {"host:8 0", 80}}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(KLUpdateServer::parse(text), expected) << text;

    FendrelPref::initialize();
    EXPECT_EQ(FendrelPref::registeredDefaults()["Update Server"], KLPlist(KLUpdateServer::kDefaultServer));
    KLUserDefaults::standardUserDefaults().removeDefaultForKey(KLUpdateServer::kSettingKey);
    EXPECT_EQ(KLUpdateServer::fromDefaults(), (KLUpdateServer{KLUpdateServer::kDefaultServer, 80}));
}

TEST(UpdateURLTest, PathOfURLDropsSchemeHostQueryAndFragment)
{
    const std::pair<const char*, const char*> cases[] = {
        {"http://mirror.example:8080/d/Fendrel 1.1.tgz?x=1#top", "/d/Fendrel 1.1.tgz"},
        {"http://mirror.example", "/"}, {"/d/file.tgz", "/d/file.tgz"}, {"", "/"}};
    for (auto [url, path] : cases)
        EXPECT_EQ(KLSUController::pathOfURL(url), path) << url;
}

} // namespace
