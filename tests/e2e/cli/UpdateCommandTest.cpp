#include "CliFixture.h"
#include "KLBundle.h"
#include "KLPlist.h"
#include "LoopbackHTTPServer.h"
#include "Socket.h"
#include "VersionsReply.h"

#include <arpa/inet.h>

namespace {

constexpr const char* kVersionsPath = "/KLSVersions.php";

// Each test points "Update Server" at a server of its own, as a user would.
class UpdateCommandTest : public CliFixture
{
protected:
    void serve(const std::string& body)
    {
        server = std::make_unique<LoopbackHTTPServer>(LoopbackHTTPServer::serving({{kVersionsPath, body}}));
        run({{{"settings", "set", "Update Server", server->address()}}});
    }
    // Both outputs of a check that finds a version: the text starts with `text`, the JSON has `fields`.
    void expectFound(const std::string& text, const nlohmann::json& fields)
    {
        CliResult plain = ctl({"update", "check"});
        EXPECT_EQ(plain.status, 0) << plain.err;
        EXPECT_EQ(plain.err, "");
        EXPECT_EQ(plain.out.rfind(text, 0), 0u) << plain.out;
        EXPECT_NE(plain.out.find("Last Check: Today at "), std::string::npos) << plain.out;
        nlohmann::json found = json({"update", "check"});
        for (const auto& [key, value] : fields.items())
            EXPECT_EQ(found[key], value) << key;
    }

    std::unique_ptr<LoopbackHTTPServer> server;
};

} // namespace

TEST_F(UpdateCommandTest, ANewerVersionIsPrintedWithItsDetailsAndTheCheckRecorded)
{
    serve(versionsReply("99.0"));
    run({{{"settings", "get", "Last Version Check"}, 4}});
    expectFound("A new version of Fendrel is available.\nVersion: 99.0 (running " + applicationVersion() +
                    ")\nSize (bytes): 123456\n",
                {{"status", "newer"}, {"version", "99.0"}, {"running", applicationVersion()},
                 {"releaseNotes", "Folders open faster."},
                 {"note", "Maintenance tonight"}, {"infoPage", "http://127.0.0.1/fendrel/"},
                 {"downloadURL", "http://127.0.0.1/downloads/Fendrel.tar.gz"}});
    std::string plain = ctl({"update", "check"}).out;
    EXPECT_NE(plain.find("Download: http://127.0.0.1/downloads/Fendrel.tar.gz\n"), std::string::npos);
    EXPECT_NE(plain.find("Note: Maintenance tonight\nRelease notes:\nFolders open faster.\n"), std::string::npos);
    EXPECT_GT(json({"settings", "get", "Last Version Check"}).get<double>(), 0);

    serve(versionsReply(applicationVersion()));
    const std::string message = "This version of Fendrel is up to date.\n\nKLS Notes: Maintenance tonight";
    expectFound("Up to Date\n" + message + "\nLast Check: Today at ",
                {{"status", "current"}, {"version", applicationVersion()}, {"title", "Up to Date"}, {"message", message}});
}

// A check without a usable answer fails with the alert's line, in text and in JSON alike, and is not recorded.
TEST_F(UpdateCommandTest, ACheckWithoutAnswerFails)
{
    const std::string noConnection = "Could not connect to server: Fendrel encountered an error while checking for new "
                                     "versions. Please check your internet connection or try again later";
    struct Case
    {
        std::string body, err, status, title;
    };
    const Case cases[] = {
        {KLPlist(KLPlist::Dictionary{{"QOTD", KLPlist("Maintenance tonight")}}).toXML(),
         "Product Not Found: This application is not currently listed in Quillmoor's version checking system. Please "
         "contact the author for more information",
         "not-found", "Product Not Found"},
        {"", noConnection, "no-connection", "Could not connect to server"}, // a port nobody listens on
        {"<html>Moved</html>", noConnection, "no-connection", "Could not connect to server"},
    };
    for (const Case& c : cases) {
        if (c.body.empty()) {
            Socket probe;
            probe.bindTo(INADDR_LOOPBACK, 0);
            run({{{"settings", "set", "Update Server", "127.0.0.1:" + std::to_string(probe.localPort())}}});
        } else {
            serve(c.body);
        }
        run({{{"update", "check"}, 1, c.err, ""}, {{"--json", "update", "check"}, 1, c.err}});
        nlohmann::json failed = ctl({"--json", "update", "check"}).json();
        EXPECT_EQ(failed["status"], c.status);
        EXPECT_EQ(failed["title"], c.title);
        EXPECT_TRUE(c.body.empty() <= failed["error"].is_null()) << failed;
    }
    run({{{"settings", "get", "Last Version Check"}, 4}});
}

TEST_F(UpdateCommandTest, AServerThatNeverAnswersIsGivenUpOn)
{
    LoopbackHTTPServer silent([&silent](Socket&, const std::string&) { silent.pause(60); });
    run({{{"settings", "set", "Update Server", silent.address()}},
         {{"update", "check", "--timeout", "0.5"}, 1, "The update check did not finish within 0.5 seconds", ""}});
    for (const char* bad : {"0", "-1", "soon", "nan", "inf"})
        run({{{"update", "check", "--timeout", bad}, 2,
              "--timeout: must be a number of seconds greater than 0\nRun 'fendrelctl --help' for usage."}});
}
