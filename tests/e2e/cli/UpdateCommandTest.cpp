#include "CliRunner.h"
#include "KLBundle.h"
#include "KLPlist.h"
#include "LoopbackHTTPServer.h"
#include "VersionsReply.h"
#include "Socket.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr const char* kVersionsPath = "/KLSVersions.php";
constexpr const char* kNoConnection =
    "fendrelctl: Could not connect to server: Fendrel encountered an error while checking for new versions. Please "
    "check your internet connection or try again later\n";
constexpr const char* kNotListed =
    "fendrelctl: Product Not Found: This application is not currently listed in Quillmoor's version checking "
    "system. Please contact the author for more information\n";

// A port on 127.0.0.1 that nothing listens on.
std::string closedPortAddress()
{
    Socket probe;
    probe.bindTo(INADDR_LOOPBACK, 0);
    return "127.0.0.1:" + std::to_string(probe.localPort());
}

// Each test starts from the default settings and points "Update Server" at
// its own server, as a user would.
class UpdateCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::remove((std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist").c_str());
    }
    static void useServer(const std::string& address)
    {
        ASSERT_EQ(runCli({"settings", "set", "Update Server", address}).status, 0);
    }
    // A check without a usable answer fails with the alert's line, in text
    // and in JSON alike; returns the JSON.
    static nlohmann::json expectFailedCheck(const std::string& error, const char* status, const char* title)
    {
        CliResult plain = runCli({"update", "check"});
        EXPECT_EQ(plain.status, 1);
        EXPECT_EQ(plain.out, "");
        EXPECT_EQ(plain.err, error);

        CliResult result = runCli({"--json", "update", "check"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, error);
        nlohmann::json json = result.json();
        EXPECT_EQ(json["status"], status);
        EXPECT_EQ(json["title"], title);
        return json;
    }
};

} // namespace

TEST_F(UpdateCommandTest, ANewerVersionIsPrintedWithItsDetails)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{kVersionsPath, versionsReply("99.0")}}));
    useServer(server.address());
    ASSERT_EQ(runCli({"settings", "get", "Last Version Check"}).status, 4) << "never checked before";

    CliResult plain = runCli({"update", "check"});
    EXPECT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(plain.err, "");
    EXPECT_EQ(plain.out.rfind("A new version of Fendrel is available.\nVersion: 99.0 (running " +
                                  applicationVersion() + ")\nSize (bytes): 123456\n",
                              0),
              0u)
        << plain.out;
    EXPECT_NE(plain.out.find("Download: http://127.0.0.1/downloads/Fendrel.tar.gz\n"), std::string::npos);
    EXPECT_NE(plain.out.find("Note: Maintenance tonight\nRelease notes:\nFolders open faster.\n"), std::string::npos);
    EXPECT_NE(plain.out.find("Last Check: Today at "), std::string::npos) << plain.out;
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(LoopbackHTTPServer::requestPath(server.requests()[0]), kVersionsPath);

    CliResult result = runCli({"--json", "update", "check"});
    EXPECT_EQ(result.status, 0) << result.err;
    nlohmann::json json = result.json();
    EXPECT_EQ(json["status"], "newer");
    EXPECT_EQ(json["version"], "99.0");
    EXPECT_EQ(json["running"], applicationVersion());
    EXPECT_EQ(json["details"]["version byte size"], 123456);
    EXPECT_EQ(json["releaseNotes"], "Folders open faster.");
    EXPECT_EQ(json["note"], "Maintenance tonight");
    EXPECT_EQ(json["infoPage"], "http://127.0.0.1/fendrel/");
    EXPECT_EQ(json["downloadURL"], "http://127.0.0.1/downloads/Fendrel.tar.gz");

    // The pane's controller recorded the check, as its status line shows it.
    CliResult stored = runCli({"--json", "settings", "get", "Last Version Check"});
    EXPECT_EQ(stored.status, 0);
    EXPECT_GT(stored.json().get<double>(), 0);
}

TEST_F(UpdateCommandTest, TheRunningVersionIsUpToDate)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{kVersionsPath, versionsReply(applicationVersion())}}));
    useServer(server.address());

    CliResult plain = runCli({"update", "check"});
    EXPECT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(plain.out.rfind("Up to Date\nThis version of Fendrel is up to date.\n\nKLS Notes: Maintenance "
                              "tonight\nLast Check: Today at ",
                              0),
              0u)
        << plain.out;

    CliResult result = runCli({"--json", "update", "check"});
    EXPECT_EQ(result.status, 0) << result.err;
    nlohmann::json json = result.json();
    EXPECT_EQ(json["status"], "current");
    EXPECT_EQ(json["version"], applicationVersion());
    EXPECT_EQ(json["title"], "Up to Date");
    EXPECT_EQ(json["message"], "This version of Fendrel is up to date.\n\nKLS Notes: Maintenance tonight");
}

TEST_F(UpdateCommandTest, AServerThatDoesNotListTheProductFailsTheCheck)
{
    std::string body = KLPlist(KLPlist::Dictionary{{"QOTD", KLPlist("Maintenance tonight")}}).toXML();
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{kVersionsPath, body}}));
    useServer(server.address());
    expectFailedCheck(kNotListed, "not-found", "Product Not Found");
    EXPECT_EQ(runCli({"settings", "get", "Last Version Check"}).status, 4) << "a failed check is not recorded";
}

TEST_F(UpdateCommandTest, AClosedPortOrAGarbledReplyIsNoConnection)
{
    useServer(closedPortAddress());
    nlohmann::json json = expectFailedCheck(kNoConnection, "no-connection", "Could not connect to server");
    EXPECT_TRUE(json["error"].is_null());

    // A reply that is not a property list is no answer either.
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{kVersionsPath, "<html>Moved</html>"}}));
    useServer(server.address());
    CliResult garbled = runCli({"update", "check"});
    EXPECT_EQ(garbled.status, 1);
    EXPECT_EQ(garbled.err, kNoConnection);
}

TEST_F(UpdateCommandTest, AServerThatNeverAnswersIsGivenUpOn)
{
    LoopbackHTTPServer server([&server](Socket&, const std::string&) { server.pause(60); });
    useServer(server.address());
    CliResult result = runCli({"update", "check", "--timeout", "0.5"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "fendrelctl: The update check did not finish within 0.5 seconds\n");
}

TEST_F(UpdateCommandTest, UsageAndHelp)
{
    CliResult help = runCli({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("update"), std::string::npos) << help.out;
    CliResult updateHelp = runCli({"update", "--help"});
    EXPECT_EQ(updateHelp.status, 0);
    EXPECT_NE(updateHelp.out.find("check"), std::string::npos) << updateHelp.out;
    CliResult checkHelp = runCli({"update", "check", "--help"});
    EXPECT_NE(checkHelp.out.find("--timeout"), std::string::npos) << checkHelp.out;

    EXPECT_EQ(runCli({"update"}).status, 2);
    for (const char* bad : {"0", "-1", "soon", "nan", "inf"}) {
        CliResult refused = runCli({"update", "check", "--timeout", bad});
        EXPECT_EQ(refused.status, 2) << bad;
        EXPECT_EQ(refused.err, "fendrelctl: --timeout: must be a number of seconds greater than 0\n"
                               "Run 'fendrelctl --help' for usage.\n")
            << bad;
    }
    EXPECT_EQ(runCli({"update", "fetch"}).status, 2);
}
